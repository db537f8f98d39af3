// Conversions to int that saturate at its bounds, shared by the descriptors: lengths and exponents never wrap around.
#pragma once

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>

namespace tolvane::detail::intbounds {

/// The negative, where the lowest int gives the highest.
constexpr int negated(int value) {
    return value == INT_MIN ? INT_MAX : -value;
}

/// Truncates toward zero; NaN gives 0, values beyond int saturate.
inline int truncated(double value) {
    if (std::isnan(value)) {
        return 0;
    }
    if (value <= INT_MIN) {
        return INT_MIN;
    }
    return value >= INT_MAX ? INT_MAX : static_cast<int>(value);
}

/// Word lengths may come from writers without checks, so exponents are computed in wider integers.
constexpr int saturated(std::int64_t value) {
    return static_cast<int>(std::clamp<std::int64_t>(value, INT_MIN, INT_MAX));
}

}  // namespace tolvane::detail::intbounds
