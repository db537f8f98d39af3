// The rules of fixed-point and floating-point formats (quantization/fixed_rules.inl.h, float_rules.inl.h) for doubles.
#pragma once

#include <bit>
#include <cstdint>
#include <limits>

#include "numbers/rounding.h"
#include "numbers/rule_list.h"
#include "quantization/fixed_limits.h"
#include "quantization/float_limits.h"

namespace tolvane::detail::rounding {

inline bool either(bool a, bool b) {
    return a || b;
}
inline bool both(bool a, bool b) {
    return a && b;
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

inline double exponentPart(double x) {
    return std::bit_cast<double>(std::bit_cast<std::uint64_t>(x) & kExponentBits);
}
inline double powerReciprocal(double x) {
    return std::bit_cast<double>(kReciprocalBits - std::bit_cast<std::uint64_t>(x));
}

#include "numbers/rounding_list.inl.h"
#include "quantization/fixed_rules.inl.h"
#include "quantization/float_rules.inl.h"

}  // namespace tolvane::detail::rounding
