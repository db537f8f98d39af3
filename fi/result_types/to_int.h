// Converts sums of lengths and exponents, computed in 64 bits, back to the fields of a type.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>

namespace tolvane::detail {

/// Saturates at the bounds of int.
constexpr int toInt(std::int64_t value) {
    return static_cast<int>(std::clamp<std::int64_t>(value, INT_MIN, INT_MAX));
}

}  // namespace tolvane::detail
