// The fixed-point rules (quantization/fixed_rules.inl.h) for doubles.
#pragma once

#include <bit>
#include <cstdint>

#include "numbers/rounding.h"

namespace tolvane::detail::rounding {

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

}  // namespace tolvane::detail::rounding
