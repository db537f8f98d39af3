// Quantizes host arrays.
#include <algorithm>
#include <cstdint>
#include <span>
#include <type_traits>

#include "host/ErrorIdException.h"
#include "host/hv.h"
#include "quantization/quantize_numeric.h"
#include "quantization/quantizer.h"

namespace {

/// Quantizes one part of an array by the element function, as numbers of the quantizer's precision.
void quantizeWide(const quantizer& q, std::span<double> values) {
    number element(0.0, q.getPrecision(), false);
    for (double& value : values) {
        element.setvalue(value);
        value = q.quantize(element).todouble();
    }
}

/// Quantizes one part of an array of T.
template <class T>
void quantizePart(const quantizer& q, std::span<const T> in, std::span<double> out) {
    const bool fitsDoubles = q.getPrecision() <= doublenumber::kScalarPrecision;
    if constexpr (std::is_same_v<T, double>) {
        if (fitsDoubles) {
            q.quantize(in, out);
            return;
        }
    }
    std::ranges::copy(in, out.begin());
    if (fitsDoubles) {
        q.quantize(out, out);
    } else {
        quantizeWide(q, out);
    }
}

template <class T>
void quantizeElements(const quantizer& q, const hvArray* values, hvArray* result) {
    quantizePart(q, hvGetTypedData<T>(values), hvGetTypedData<double>(result));
    if (hvIsComplex(values)) {
        quantizePart(q, hvGetTypedImagData<T>(values), hvGetTypedImagData<double>(result));
    }
}

}  // namespace

hvArray* quantizeNumeric(const quantizer& q, const hvArray* values) {
    if (!hvIsNumeric(values) && !hvIsLogical(values) && !hvIsChar(values)) {
        raiseError("fixedpoint:quantizer:quantize:notnumeric", "Value to quantize must be numeric.");
    }
    const std::span<const std::size_t> dims = hvGetDims(values);
    const hvComplexity complexity = hvIsComplex(values) ? hvCOMPLEX : hvREAL;
    hvArrayOwner result;
    hvDispatchClass(hvGetClassID(values), [&]<class T>(std::type_identity<T>) {
        if constexpr (sizeof(T) < sizeof(std::int64_t) || std::is_same_v<T, double>) {
            result.reset(hvCreateNumericArray(dims.size(), dims.data(), hvDOUBLE_CLASS, complexity));
            quantizeElements<T>(q, values, result.get());
        }
    });
    if (result == nullptr) {
        raiseError("fixedpoint:quantizer:quantize:numericonly",
                   "Only inputs of type double, single, [u]int[8,16,32] allowed.");
    }
    return result.release();
}
