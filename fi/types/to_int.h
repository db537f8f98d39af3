// Sums of lengths and exponents, made in 64 bits, on their way back into the fields of a type.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>

/// Ends at the bounds of int.
constexpr int toInt(std::int64_t value) {
    return static_cast<int>(std::clamp<std::int64_t>(value, INT_MIN, INT_MAX));
}
