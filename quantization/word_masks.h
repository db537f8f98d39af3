// Masks on the 32-bit chunks of stored words, by bit position: together with the tables of numbers/bit_tables.h, which
// give the chunk of a bit, they avoid variable shifts.
#pragma once

#include <array>
#include <cstdint>

/// Entry i is 2^i.
inline constexpr std::array<std::uint32_t, 32> mask_nthBitOne = [] {
    std::array<std::uint32_t, 32> masks{};
    for (std::uint32_t i = 0; i < 32; ++i) {
        masks[i] = std::uint32_t{1} << i;
    }
    return masks;
}();

/// Entry i has bits 0 to i set.
inline constexpr std::array<std::uint32_t, 32> mask_lsNBitsOne = [] {
    std::array<std::uint32_t, 32> masks{};
    for (std::uint32_t i = 0; i < 32; ++i) {
        masks[i] = (mask_nthBitOne[i] - 1) | mask_nthBitOne[i];
    }
    return masks;
}();

/// Entry i has all bits set except the i lowest.
inline constexpr std::array<std::uint32_t, 32> mask_lsNBitsZero = [] {
    std::array<std::uint32_t, 32> masks{};
    for (std::uint32_t i = 0; i < 32; ++i) {
        masks[i] = ~(mask_nthBitOne[i] - 1);
    }
    return masks;
}();
