// Scaling arithmetic of a type alone: best precision for a value.
//
// frexp gives a mantissa in [0.5, 1) and an exponent; 0, NaN and infinity are their own mantissa with exponent 0.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "descriptors/NumericType.h"
#include "descriptors/int_bounds.h"
#include "numbers/services.h"

using namespace tolvane::detail;
using tolvane::detail::intbounds::saturated;

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
    result.mantissa = std::frexp(value, &result.exponent);
    return result;
}

void requireSign(const NumericType& type) {
    if (type.isUnspecifiedSign()) {
        raise("fixedpoint:fi:setBestPrecision:unspecifiedSign",
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
    const double magnitude = std::floor(std::ldexp(std::fabs(mantissa), shift) + 0.5);
    return std::copysign(std::ldexp(magnitude, -shift), mantissa);
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

}  // namespace EmbeddedTypeSystem
