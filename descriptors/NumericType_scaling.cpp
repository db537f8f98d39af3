// Scaling arithmetic of a type alone: best precision for a value or for data, and the quotient of host doubles.
//
// frexp gives a mantissa in [0.5, 1) and an exponent; 0, NaN and infinity are their own mantissa with exponent 0.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

#include "descriptors/NumericType.h"
#include "host/ErrorIdException.h"
#include "host/hm.h"
#include "host/hv.h"
#include "numbers/errors.h"

using namespace tolvane::detail;

namespace EmbeddedTypeSystem {

namespace {

struct Split {
    double mantissa;
    int exponent;
};

Split split(double value) {
    if (!std::isfinite(value)) {
        return {value, 0};
    }
    Split result{};
    result.mantissa = hmFdlibm_frexp(value, &result.exponent);
    return result;
}

void requireSign(const NumericType& type) {
    if (type.isUnspecifiedSign()) {
        raiseError("fixedpoint:fi:setBestPrecision:unspecifiedSign",
                   "Sign must be specified true (signed) or false (unsigned) to compute best precision.");
    }
}

/// Rounds a mantissa to a number of fraction bits, ties away from zero. A mantissa has at most 53 such bits, so from 53
/// bits on there is nothing to round, and below the scaling cannot overflow.
double roundMantissa(double mantissa, std::int64_t bits) {
    if (bits >= 53) {
        return mantissa;
    }
    const int shift = static_cast<int>(std::max<std::int64_t>(bits, -1));  // fewer than no bits leave 0 either way
    const double magnitude = hmFdlibm_floor(std::ldexp(std::fabs(mantissa), shift) + 0.5);
    return std::copysign(std::ldexp(magnitude, -shift), mantissa);
}

/// Word lengths may come from writers without checks, so exponents are computed in wider integers and saturate at the
/// bounds of int.
int saturated(std::int64_t value) {
    return static_cast<int>(std::clamp<std::int64_t>(value, INT_MIN, INT_MAX));
}

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

void NumericType::fxpBestPrecisionExponent(double value) {
    if (!isScaledType()) {
        return;
    }
    requireSign(*this);
    if (isUnspecifiedScaling()) {
        setScaling(ScalingEnum::BinaryPoint);
    }
    const std::int64_t magnitudeBits = std::int64_t{getWordLength()} - (isSigned() ? 1 : 0);
    if (value == 0.0 || (value < 0.0 && !isSigned())) {
        setFractionLength(saturated(magnitudeBits));
        return;
    }
    auto [mantissa, exponent] = split(value);
    mantissa = roundMantissa(mantissa, magnitudeBits);
    // A two's complement word holds one more negative power of two, and rounding may carry into the next one.
    if (mantissa == -0.5) {
        exponent -= 1;
    } else if (mantissa == 1.0) {
        exponent += 1;
    }
    setFixedExponent(saturated(exponent - magnitudeBits));
}

void NumericType::setBestPrecisionFromMaxAbs(double maxAbs) {
    if (!isScaledType()) {
        return;
    }
    requireSign(*this);
    auto [mantissa, exponent] = split(std::fabs(maxAbs));
    const bool isPowerOfTwo = mantissa == 0.5;
    if (isPowerOfTwo) {
        exponent -= 1;
    }
    const int extraBits = isSigned() ? (maxAbs > 0.0 && isPowerOfTwo ? 2 : 1) : (isPowerOfTwo ? 1 : 0);
    setFixedExponent(saturated(std::int64_t{exponent} + extraBits - getWordLength()));
}

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
