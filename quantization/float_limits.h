// The constants of a floating-point format as plain doubles, for the rule on doubles.
#pragma once

#include <cstdint>

namespace tolvane::detail {

struct FloatDoubleLimits {
    double realmax = 0.0;
    double lowerbound = 0.0;
    double leastNormal = 0.0;           // 2^exponentmin
    double mantissaScale = 1.0;         // 2^fractionlength
    double inverseMantissaScale = 1.0;  // 2^-fractionlength
};

/// The exponent field of a double's bits, and the bits from which those of a power of two are subtracted to give its
/// reciprocal: the exponent fields of p and 1 / p add up to 2046.
constexpr std::uint64_t kExponentBits = 0x7FF0000000000000;
constexpr std::uint64_t kReciprocalBits = 0x7FE0000000000000;

}  // namespace tolvane::detail
