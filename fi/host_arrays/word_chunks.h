// Words of many bits as 32-bit chunks, the lowest first.
#pragma once

#include <cstdint>
#include <span>

#include "host/export.h"
#include "numbers/wordarray.h"
#include "numbers/words.h"

namespace tolvane::detail::wordchunks {

/// Writes the two's complement of each word as `chunkCount` chunks, with zeros above its top bit.
TOLVANE_API void write(const WordSpan& words, std::uint64_t chunkCount, std::span<std::uint32_t> out);
/// Whether all groups of `chunkCount` chunks are words in two's complement, with zeros above the top bit.
TOLVANE_API bool areWords(std::span<const std::uint32_t> chunks, std::uint64_t chunkCount, const WordGrid& grid);
/// Sets all words to such chunks.
TOLVANE_API void read(std::span<const std::uint32_t> chunks, std::uint64_t chunkCount, wordarray& words);

/// Calls `visit` with the index of each word, of the first `count`, that is below zero or -0.
template <class Visit>
void visitNegative(const WordSpan& words, std::uint64_t count, const Visit& visit) {
    const std::size_t limbs = words.grid.limbs();
    for (std::uint64_t i = 0; i < count; ++i) {
        const mp_limb_t top = words.limbs[i * limbs + limbs - 1];
        if ((words.grid.isSigned && top >> (WordGrid::kLimbBits - 1) != 0) || words.hasNegativeZero(i)) {
            visit(i);
        }
    }
}

}  // namespace tolvane::detail::wordchunks
