// The position of a bit of a long stored integer in its array of 32-bit words, least significant word first.
//
// The tables cover the first 128 positions, enough for the usual words, without a division; for positions from 128 up
// callers compute position / 32 and position % 32. The host's own chunk is also a 32-bit word, so its tables are the
// same.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tolvane::detail {

inline constexpr std::size_t kTabulatedBitCount = 128;

}  // namespace tolvane::detail

/// Entry i is the index of the 32-bit word that holds bit i.
inline constexpr std::array<std::uint32_t, tolvane::detail::kTabulatedBitCount> idxOfUint32ChunkForOverallBit = [] {
    std::array<std::uint32_t, tolvane::detail::kTabulatedBitCount> chunks{};
    for (std::uint32_t bit = 0; bit < tolvane::detail::kTabulatedBitCount; ++bit) {
        chunks[bit] = bit / 32;
    }
    return chunks;
}();

/// Entry i is the position of bit i within its 32-bit word.
inline constexpr std::array<std::uint32_t, tolvane::detail::kTabulatedBitCount> idxBitInUint32ChunkForOverallBit = [] {
    std::array<std::uint32_t, tolvane::detail::kTabulatedBitCount> bits{};
    for (std::uint32_t bit = 0; bit < tolvane::detail::kTabulatedBitCount; ++bit) {
        bits[bit] = bit % 32;
    }
    return bits;
}();

inline constexpr const std::uint32_t* idxHostChunkForOverallBit = idxOfUint32ChunkForOverallBit.data();
inline constexpr const std::uint32_t* idxBitInHostChunkForOverallBit = idxBitInUint32ChunkForOverallBit.data();
