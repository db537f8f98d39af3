// Conversions to int that end at its bounds, shared by the descriptors: lengths and exponents never wrap around.
#pragma once

#include <climits>
#include <cmath>

namespace intbounds {

/// The negative, where the lowest int, whose negative does not exist, gives the highest.
constexpr int negated(int value) {
    return value == INT_MIN ? INT_MAX : -value;
}

/// Truncates toward zero; NaN gives 0 and values beyond int its bounds.
inline int truncated(double value) {
    if (std::isnan(value)) {
        return 0;
    }
    if (value <= INT_MIN) {
        return INT_MIN;
    }
    return value >= INT_MAX ? INT_MAX : static_cast<int>(value);
}

}  // namespace intbounds
