// The rounding rules for doubles, and scaling by a power of two, the basis of rounding at a given bit.
//
// The rules themselves are generic over the value type and are in numbers/rounding_rules.inl.h, which the vector
// kernels also include. A rule is branch-free and uses only + - * / < >= == on V and these functions:
//     roundFloor(V), roundCeil(V), roundTruncated(V), roundEven(V)   to a whole value
//     withSignOf(V, double)         the size of the double with the sign of V
//     magnitude(V)                  the value with its sign bit cleared
//     choose(mask, V a, V b)        a where the mask (the result of a comparison) holds, else b
//     like(V, double)               the double as a V, broadcast to as many lanes
#pragma once

#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>

namespace tolvane::detail::rounding {

// std::floor and its like are exact operations of IEEE 754, so they agree with the host's on every value; the compiler
// inlines them.
inline double roundFloor(double x) {
    return std::floor(x);
}
inline double roundCeil(double x) {
    return std::ceil(x);
}
inline double roundTruncated(double x) {
    return std::trunc(x);
}
inline double roundEven(double x) {
    return std::nearbyint(x);
}
inline double withSignOf(double x, double size) {
    return std::copysign(size, x);
}
inline double magnitude(double x) {
    return std::fabs(x);
}
inline double choose(bool mask, double a, double b) {
    return mask ? a : b;
}
inline double like(double, double value) {
    return value;
}

#include "numbers/rounding_rules.inl.h"  // the rules CeilRule ... RoundRule, modWhole and modFractional

/// Returns x * 2^n, rounded once to nearest.
///
/// 2^n is a normal double for n from -1022 to 1023. IEEE multiplication and ldexp both give the one double nearest to
/// the exact product x * 2^n (ties to even, infinity on overflow, NaN and infinity pass), so the branches agree.
inline double scaleByPowerOfTwo(double x, int n) {
    if (n >= -1022 && n <= 1023) {
        return x * std::bit_cast<double>(static_cast<std::uint64_t>(n + 1023) << 52);
    }
    return std::ldexp(x, n);
}

/// Returns -n, or INT_MAX for INT_MIN: beyond 2^5000 the scale no longer affects a double.
constexpr int negatedExponent(int n) {
    return n == INT_MIN ? INT_MAX : -n;
}

/// Rounds x by the rule at the bit of weight 2^-n.
template <class Rule>
double applyAtBit(double x, int n) {
    return scaleByPowerOfTwo(Rule::apply(scaleByPowerOfTwo(x, n)), negatedExponent(n));
}

}  // namespace tolvane::detail::rounding
