// Truncation of a double to an integer that is defined for every double.
//
// Within the range of the result it is the plain conversion. Outside it, results are those of two's-complement
// hardware: the most negative value for a signed target of 32 or 64 bits, the low bits of the wider truncation for the
// others; NaN counts as out of range.
#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace tolvane::detail {

template <std::integral Integer>
Integer truncateTo(double value) {
    if constexpr (std::is_same_v<Integer, std::int64_t>) {
        const bool inRange = value >= -0x1p63 && value < 0x1p63;
        return inRange ? static_cast<std::int64_t>(value) : std::numeric_limits<std::int64_t>::min();
    } else if constexpr (std::is_same_v<Integer, std::uint64_t>) {
        if (value >= 0x1p63 && value < 0x1p64) {
            return static_cast<std::uint64_t>(value);
        }
        return static_cast<std::uint64_t>(truncateTo<std::int64_t>(value));
    } else if constexpr (std::is_same_v<Integer, std::uint32_t>) {
        return static_cast<std::uint32_t>(truncateTo<std::int64_t>(value));
    } else {
        // Truncation moves toward zero, so values less than 1 beyond either bound still fit.
        const bool inRange = value > -0x1p31 - 1.0 && value < 0x1p31;
        const auto wide = inRange ? static_cast<std::int32_t>(value) : std::numeric_limits<std::int32_t>::min();
        return static_cast<Integer>(wide);
    }
}

}  // namespace tolvane::detail
