#include "fi/host_arrays/word_chunks.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace tolvane::detail::wordchunks {

namespace {

static_assert(std::endian::native == std::endian::little, "chunks are halves of limbs");

constexpr std::uint64_t kChunkBits = 32;

/// The bits of the top limb that belong to the word.
mp_limb_t topMask(const WordGrid& grid) {
    return ~mp_limb_t{0} >> (grid.limbs() * WordGrid::kLimbBits - static_cast<std::size_t>(grid.bits));
}

}  // namespace

void write(const WordSpan& words, std::uint64_t chunkCount, std::span<std::uint32_t> out) {
    const std::size_t limbs = words.grid.limbs();
    const std::uint64_t count = out.size() / chunkCount;
    const mp_limb_t mask = topMask(words.grid);
    if (chunkCount == 2 * limbs && mask == ~mp_limb_t{0}) {
        std::memcpy(out.data(), words.limbs, out.size_bytes());
        return;
    }
    if (chunkCount == 2 && limbs == 1) {
        for (std::uint64_t i = 0; i < count; ++i) {
            const mp_limb_t word = words.limbs[i] & mask;
            std::memcpy(out.data() + 2 * i, &word, sizeof(word));
        }
        return;
    }
    const std::uint64_t written = std::min<std::uint64_t>(chunkCount, 2 * limbs);
    for (std::uint64_t i = 0; i < count; ++i) {
        std::uint32_t* const to = out.data() + i * chunkCount;
        std::memcpy(to, words.limbs + i * limbs, written * sizeof(std::uint32_t));
        std::fill(to + written, to + chunkCount, 0U);
        if (written > 2 * limbs - 2) {
            to[2 * limbs - 2] &= static_cast<std::uint32_t>(mask);
        }
        if (written > 2 * limbs - 1) {
            to[2 * limbs - 1] &= static_cast<std::uint32_t>(mask >> kChunkBits);
        }
    }
}

bool areWords(std::span<const std::uint32_t> chunks, std::uint64_t chunkCount, const WordGrid& grid) {
    const auto bits = static_cast<std::uint64_t>(grid.bits);
    std::uint32_t beyond = 0;
    for (std::uint64_t place = bits / kChunkBits; place < chunkCount; ++place) {
        const std::uint32_t mask = place == bits / kChunkBits ? UINT32_MAX << (bits % kChunkBits) : UINT32_MAX;
        for (std::uint64_t i = place; i < chunks.size(); i += chunkCount) {
            beyond |= chunks[i] & mask;
        }
    }
    return beyond == 0;
}

void read(std::span<const std::uint32_t> chunks, std::uint64_t chunkCount, wordarray& words) {
    const WordGrid& grid = words.grid();
    const std::size_t limbs = grid.limbs();
    const std::uint64_t count = chunks.size() / chunkCount;
    for (std::uint64_t i = 0; words.span().negativeZeros && i < count; i += WordGrid::kLimbBits) {
        words.setNegativeZeros(i, std::min<std::uint64_t>(WordGrid::kLimbBits, count - i), 0);
    }
    const auto unused = static_cast<unsigned>(limbs * WordGrid::kLimbBits - static_cast<std::size_t>(grid.bits));
    mp_limb_t* const out = words.limbs();
    const auto signExtended = [unused](mp_limb_t top) {
        return static_cast<mp_limb_t>(static_cast<std::int64_t>(top << unused) >> unused);
    };
    const bool isExtended = grid.isSigned && unused != 0;
    if (chunkCount == 2 * limbs) {
        std::memcpy(out, chunks.data(), chunks.size_bytes());
        for (std::uint64_t i = limbs - 1; isExtended && i < count * limbs; i += limbs) {
            out[i] = signExtended(out[i]);
        }
        return;
    }
    const std::uint64_t readChunks = std::min<std::uint64_t>(chunkCount, 2 * limbs);
    for (std::uint64_t i = 0; i < count; ++i) {
        mp_limb_t* const to = out + i * limbs;
        std::fill(to + readChunks / 2, to + limbs, mp_limb_t{0});
        std::memcpy(to, chunks.data() + i * chunkCount, readChunks * sizeof(std::uint32_t));
        if (isExtended) {
            to[limbs - 1] = signExtended(to[limbs - 1]);
        }
    }
}

}  // namespace tolvane::detail::wordchunks
