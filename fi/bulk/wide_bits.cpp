#include "fi/bulk/wide_bits.h"

#include <gmp.h>

#include <algorithm>
#include <bit>
#include <optional>

#include "fi/bulk/wide_operands.h"
#include "fi/core/word_grids.h"
#include "numbers/mpnumber.h"
#include "numbers/wordarray.h"

namespace tolvane::detail::wide {

namespace {

constexpr unsigned kLimbBits = WordGrid::kLimbBits;

/// The words of a part that has the grid of the type.
wordarray* wordsOf(number& part, const NumericType& type) {
    mpnumber* const body = part.asWords();
    return body && *body->grid() == gridOf(type) ? &body->rewrite(*body->grid()) : nullptr;
}

struct Place {
    explicit Place(int position)
        : limb(static_cast<unsigned>(position - 1) / kLimbBits), bit(static_cast<unsigned>(position - 1) % kLimbBits) {}
    std::size_t limb;
    unsigned bit;
};

void combineLimbs(Operation operation, mp_limb_t* limbs, const mp_limb_t* others, std::size_t count) {
    const auto size = static_cast<mp_size_t>(count);
    switch (operation) {
        case Operation::conjunction:
            return mpn_and_n(limbs, limbs, others, size);
        case Operation::disjunction:
            return mpn_ior_n(limbs, limbs, others, size);
        case Operation::exclusion:
            return mpn_xor_n(limbs, limbs, others, size);
    }
}

/// Combines all words with one, which is repeated so that fewer steps do.
void combineAll(Operation operation, wordarray& words, const mp_limb_t* word) {
    constexpr std::size_t kTileLimbs = 64;
    const std::size_t limbs = words.grid().limbs();
    std::vector<mp_limb_t> tile;
    while (tile.size() < std::max(limbs, kTileLimbs)) {
        tile.insert(tile.end(), word, word + limbs);
    }
    const std::size_t all = words.span().count * limbs;
    for (std::size_t i = 0; i < all; i += tile.size()) {
        combineLimbs(operation, words.limbs() + i, tile.data(), std::min(tile.size(), all - i));
    }
    words.clearNegativeZeros();
}

/// The word with a bit set, or with all bits up to there. The bits above those of a signed word are its sign.
std::vector<mp_limb_t> maskOf(const WordGrid& grid, int position, bool withBitsBelow) {
    const Place place(position);
    std::vector<mp_limb_t> mask(grid.limbs());
    const mp_limb_t bit = mp_limb_t{1} << place.bit;
    mask[place.limb] = withBitsBelow ? bit | (bit - 1) : bit;
    std::fill_n(mask.begin(), withBitsBelow ? place.limb : 0, ~mp_limb_t{0});
    if (grid.isSigned && position == grid.bits) {
        mask[place.limb] |= ~(bit - 1);
    }
    return mask;
}

}  // namespace

bool combineBits(Operation operation, number& part, const number& others, bool isScalar, const NumericType& type) {
    wordarray* const words = wordsOf(part, type);
    const std::optional<Source> source = words ? Source::of(others, type, part.numel(), isScalar) : std::nullopt;
    if (!source || !source->words() || source->words()->grid != words->grid()) {
        return false;
    }
    if (isScalar) {
        combineAll(operation, *words, source->words()->limbs);
    } else {
        combineLimbs(operation, words->limbs(), source->words()->limbs, part.numel() * words->grid().limbs());
        words->clearNegativeZeros();
    }
    return true;
}

bool complement(number& part, const NumericType& type) {
    wordarray* const words = wordsOf(part, type);
    if (!words) {
        return false;
    }
    const WordGrid grid = words->grid();
    std::vector<std::uint64_t> negativeZeros;
    if (const WordSpan all = words->span(); all.negativeZeros && grid.isSigned) {
        negativeZeros.assign(all.negativeZeros, all.negativeZeros + (all.count + 63) / 64);
    }
    // A negative zero becomes the word of ones without the sign that it has for others, which takes one more bit.
    const bool isWidened = std::ranges::any_of(negativeZeros, [](std::uint64_t signs) { return signs != 0; });
    const WordGrid wider{grid.exponent, grid.bits + 1, grid.isSigned};
    if (isWidened && !mpnumber::canBeWords(part.numel(), part.getprecision(), wider)) {
        return false;
    }
    combineAll(Operation::exclusion, *words, maskOf(grid, grid.bits, true).data());
    if (isWidened) {
        *words = wordarray(*words, wider);
        const std::vector<mp_limb_t> ones = maskOf(wider, grid.bits, true);
        for (std::size_t unit = 0; unit < negativeZeros.size(); ++unit) {
            for (std::uint64_t rest = negativeZeros[unit]; rest != 0; rest &= rest - 1) {
                const std::uint64_t i = unit * 64 + static_cast<unsigned>(std::countr_zero(rest));
                std::ranges::copy(ones, words->word(i).begin());
            }
        }
    }
    return true;
}

bool setBits(number& part, const std::vector<int>& positions, const std::vector<bool>& values,
             const NumericType& type) {
    wordarray* const words = wordsOf(part, type);
    if (!words) {
        return false;
    }
    const WordGrid grid = words->grid();
    if (positions.size() == 1) {
        std::vector<mp_limb_t> mask = maskOf(grid, positions.front(), false);
        if (!values.front()) {
            std::ranges::transform(mask, mask.begin(), [](mp_limb_t limb) { return ~limb; });
        }
        combineAll(values.front() ? Operation::disjunction : Operation::conjunction, *words, mask.data());
        return true;
    }
    for (std::uint64_t i = 0; i < part.numel(); ++i) {
        const Place place(positions[i]);
        mp_limb_t& limb = words->word(i)[place.limb];
        const mp_limb_t bit = mp_limb_t{1} << place.bit;
        const mp_limb_t mask = grid.isSigned && positions[i] == grid.bits ? ~(bit - 1) : bit;
        limb = values[i] ? limb | mask : limb & ~mask;
    }
    words->clearNegativeZeros();
    return true;
}

bool getBits(const number& part, const std::vector<int>& positions, std::span<std::uint8_t> bits,
             const NumericType& type) {
    const mpnumber* const body = part.asWords();
    if (!body || *body->grid() != gridOf(type) || part.numel() != bits.size()) {
        return false;
    }
    const WordSpan words = body->words();
    const std::size_t limbs = words.grid.limbs();
    const std::size_t step = positions.size() == 1 ? 0 : 1;
    for (std::size_t i = 0; i < bits.size(); ++i) {
        const Place place(positions[i * step]);
        bits[i] = static_cast<std::uint8_t>(words.limbs[i * limbs + place.limb] >> place.bit & 1U);
    }
    return true;
}

}  // namespace tolvane::detail::wide
