// The constants of a quantizer as plain doubles, and the fixed-point rule on one double.
//
// A quantizer holds its constants as `number`s of any precision. Where doubles carry them exactly, the element
// functions and the array kernels work on these copies instead. The rule itself is in quantization/fixed_rules.inl.h.
#pragma once

#include <bit>
#include <cstdint>
#include <limits>

#include "host/export.h"
#include "numbers/rounding.h"

struct TOLVANE_API FixedDoubleLimits {
    double scale = 0.0;         // 2^f
    double inverseScale = 0.0;  // 2^-f
    double realmax = 0.0;
    double lowerbound = 0.0;
    double wraparound = 0.0;  // W
    double inverseWraparound = 0.0;
    double positiveEps = 0.0;
    double negativeEps = 0.0;
    /// The bounds and the eps are exactly the quantizer's; comparisons with them and copies of them are exact.
    bool hasBounds = false;
    /// All fields are set and `quantizeFixedValue` gives the values and counts of the operations on `number`, in every
    /// bit, for any double: fixed-point modes only. See `quantizer::updatelimits` for the proof.
    bool valid = false;
};

namespace rounding {

inline bool either(bool a, bool b) {
    return a || b;
}
inline bool butNot(bool a, bool b) {
    return a && !b;
}
inline bool anyOf(bool a) {
    return a;
}
inline bool otherBits(double a, double b) {
    return std::bit_cast<std::uint64_t>(a) != std::bit_cast<std::uint64_t>(b);
}
inline double lesserOf(double limit, double x) {
    return limit < x ? limit : x;
}
inline double greaterOf(double limit, double x) {
    return limit > x ? limit : x;
}

#include "quantization/fixed_rules.inl.h"

}  // namespace rounding
