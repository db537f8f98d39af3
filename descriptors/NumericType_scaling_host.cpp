// Best precision for host arrays, and the quotient of host doubles.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

#include "descriptors/NumericType.h"
#include "descriptors/int_bounds.h"
#include "host/ErrorIdException.h"
#include "host/hv.h"
#include "numbers/errors.h"

using namespace tolvane::detail;
using tolvane::detail::intbounds::saturated;

namespace EmbeddedTypeSystem {

namespace {

/// The element of greatest magnitude with its sign; of two equal magnitudes the positive one. Minus zero for no data.
template <class Value>
double greatestWithSign(std::span<const Value> re, std::span<const Value> im) {
    Value magnitude = 0;
    bool isNegative = true;
    for (const std::span<const Value> part : {re, im}) {
        for (const Value value : part) {
            if (std::isnan(value)) {
                raiseError("fixedpoint:fi:nonan", "NaN is not allowed in FI.");
            }
            const Value candidate = std::fabs(value);
            if (candidate > magnitude || (candidate == magnitude && isNegative)) {
                magnitude = candidate;
                isNegative = value < 0;
            }
        }
    }
    return static_cast<double>(isNegative ? -magnitude : magnitude);
}

template <class Value>
double greatestWithSign(const hvArray* data) {
    return greatestWithSign(hvGetTypedData<Value>(data), hvGetTypedImagData<Value>(data));
}

struct IntegerClass {
    hvClassID classId;
    bool isSigned;
    int wordBits;
};

constexpr IntegerClass kIntegerClasses[] = {
    {hvINT8_CLASS, true, 8},   {hvUINT8_CLASS, false, 8},   {hvINT16_CLASS, true, 16}, {hvUINT16_CLASS, false, 16},
    {hvINT32_CLASS, true, 32}, {hvUINT32_CLASS, false, 32}, {hvINT64_CLASS, true, 64}, {hvUINT64_CLASS, false, 64},
};

[[noreturn]] void raiseNotNumeric(const char* message) {
    raiseError("fixedpoint:fi:setBestPrecision:mustbenumeric", message);
}

}  // namespace

void NumericType::setBestPrecision(const hvArray* data) {
    if (!isScaledType()) {
        return;
    }
    if (isUnspecifiedSign()) {
        setSignedness(Signedness::Signed);
    }
    setDataTypeMode(convertToDataTypeMode(getDataType(), ScalingEnum::BinaryPoint), true);
    if (hvIsEmpty(data)) {
        setFractionLength(saturated(std::int64_t{getWordLength()} - 1));
        return;
    }
    if (!hvIsNumeric(data)) {
        raiseNotNumeric("Data must be numeric.");
    }
    const hvClassID classId = hvGetClassID(data);
    if (classId == hvDOUBLE_CLASS) {
        fxpBestPrecisionExponent(greatestWithSign<double>(data));
        return;
    }
    if (classId == hvSINGLE_CLASS) {
        fxpBestPrecisionExponent(greatestWithSign<float>(data));
        return;
    }
    for (const IntegerClass& integer : kIntegerClasses) {
        if (integer.classId == classId) {
            setFixedPointProps(integer.isSigned, integer.wordBits, 1.0, 0, 0.0);
            return;
        }
    }
    raiseNotNumeric("Set Best Precision only valid for numeric data");
}

hvArray* NumericType::divide(const hvArray* a, const hvArray* b) {
    if (!hvIsDouble(a) || !hvIsDouble(b)) {
        raiseError("fixedpoint:fi:divide:nonondouble",
                   "Fixed-point DIVIDE not supported for (builtin non-double)/(builtin non-double).");
    }
    const bool isScalarA = hvGetNumberOfElements(a) == 1;
    const bool isScalarB = hvGetNumberOfElements(b) == 1;
    if (!isScalarA && !isScalarB && !std::ranges::equal(hvGetDims(a), hvGetDims(b))) {
        raiseDimensionsDisagree();
    }
    const bool isComplexA = hvIsComplex(a);
    const bool isComplexB = hvIsComplex(b);
    const std::span<const std::size_t> dimensions = hvGetDims(isScalarB ? a : b);
    hvArrayOwner result(hvCreateNumericArray(dimensions.size(), dimensions.data(), hvDOUBLE_CLASS,
                                             isComplexA || isComplexB ? hvCOMPLEX : hvREAL));
    const double* const ar = hvGetPr(a);
    const double* const ai = hvGetPi(a);
    const double* const br = hvGetPr(b);
    const double* const bi = hvGetPi(b);
    double* const re = hvGetPr(result.get());
    double* const im = hvGetPi(result.get());
    const std::size_t count = hvGetNumberOfElements(result.get());
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t ia = isScalarA ? 0 : i;
        const std::size_t ib = isScalarB ? 0 : i;
        if (isComplexB) {
            const double d = br[ib] * br[ib] + bi[ib] * bi[ib];
            if (isComplexA) {
                re[i] = (ar[ia] * br[ib] + ai[ia] * bi[ib]) / d;
                im[i] = (ai[ia] * br[ib] - ar[ia] * bi[ib]) / d;
            } else {
                re[i] = (ar[ia] * br[ib]) / d;
                im[i] = -((ar[ia] * bi[ib]) / d);
            }
        } else {
            re[i] = ar[ia] / br[ib];
            if (isComplexA) {
                im[i] = ai[ia] / br[ib];
            }
        }
    }
    return result.release();
}

}  // namespace EmbeddedTypeSystem
