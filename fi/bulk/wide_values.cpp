#include "fi/bulk/wide_values.h"

#include <gmp.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <optional>
#include <utility>

#include "fi/bulk/wide_operands.h"
#include "fi/core/word_grids.h"
#include "numbers/mpnumber.h"
#include "numbers/wordarray.h"

namespace tolvane::detail::wide {

namespace {

constexpr std::size_t kUnit = 64;  // of the signs of zeros

/// The words of a part as they are, for changing.
wordarray* wordsOf(number& part) {
    mpnumber* const body = part.asWords();
    return body ? &body->rewrite(*body->grid()) : nullptr;
}

bool isNegative(const mp_limb_t* word, std::size_t limbs) {
    return word[limbs - 1] >> (WordGrid::kLimbBits - 1) != 0;
}
bool isZero(const mp_limb_t* word, std::size_t limbs) {
    return std::all_of(word, word + limbs, [](mp_limb_t limb) { return limb == 0; });
}

/// Whether a signed word is the least one, which has no negative.
bool isLeast(const mp_limb_t* word, const WordGrid& grid) {
    const std::size_t limbs = grid.limbs();
    const auto unused = static_cast<unsigned>(limbs) * WordGrid::kLimbBits - static_cast<unsigned>(grid.bits);
    return word[limbs - 1] == ~mp_limb_t{0} << (WordGrid::kLimbBits - 1 - unused) && isZero(word, limbs - 1);
}
bool hasLeast(const WordSpan& words) {
    const std::size_t limbs = words.grid.limbs();
    bool seen = false;
    for (std::uint64_t i = 0; i < words.count; ++i) {
        seen |= isLeast(words.limbs + i * limbs, words.grid);
    }
    return seen;
}

/// Replaces a word by its negative, and returns whether it is zero.
bool negateWord(mp_limb_t* word, std::size_t limbs) {
    if (limbs == 1) {
        *word = ~*word + 1;
        return *word == 0;
    }
    return mpn_neg(word, word, static_cast<mp_size_t>(limbs)) == 0;
}

bool hasNegativeZero(const WordSpan& words, std::uint64_t i) {
    return words.negativeZeros && (words.negativeZeros[i / kUnit] >> (i % kUnit) & 1U) != 0;
}

bool mayBeWords(const number& part, const WordGrid& grid) {
    return mpnumber::canBeWords(part.numel(), part.getprecision(), grid);
}

}  // namespace

bool negate(number& part) {
    wordarray* const words = wordsOf(part);
    if (!words) {
        return false;
    }
    const WordGrid grid = words->grid();
    if (!grid.isSigned || hasLeast(words->span())) {
        const WordGrid wider{grid.exponent, grid.bits + 1, true};
        if (!mayBeWords(part, wider)) {
            return false;
        }
        *words = wordarray(*words, wider);
    }
    const std::size_t limbs = words->grid().limbs();
    const WordSpan all = words->span();
    mp_limb_t* word = words->limbs();
    for (std::uint64_t begin = 0; begin < all.count; begin += kUnit) {
        const std::uint64_t length = std::min<std::uint64_t>(kUnit, all.count - begin);
        std::uint64_t zeros = 0;
        for (std::uint64_t i = 0; i < length; ++i, word += limbs) {
            zeros |= static_cast<std::uint64_t>(negateWord(word, limbs)) << i;
        }
        const std::uint64_t before = all.negativeZeros ? all.negativeZeros[begin / kUnit] : 0;
        if (zeros != 0) {
            words->setNegativeZeros(begin, length, zeros & ~before);
        }
    }
    return true;
}

bool storeMagnitudes(const number& part, number& to) {
    const mpnumber* const from = part.asWords();
    mpnumber* const out = to.body().asMp();
    if (!from || !out || part.numel() != to.numel()) {
        return false;
    }
    const WordSpan words = from->words();
    WordGrid grid = words.grid;
    grid.isSigned = grid.isSigned && !hasLeast(words);
    if (!mayBeWords(to, grid)) {
        return false;
    }
    const std::size_t limbs = grid.limbs();
    wordarray& made = out->rewrite(grid);
    made.clearNegativeZeros();
    mp_limb_t* target = made.limbs();
    const mp_limb_t* word = words.limbs;
    constexpr std::size_t kFewLimbs = 4;
    for (std::uint64_t i = 0; i < words.count; ++i, word += limbs, target += limbs) {
        const bool turns = words.grid.isSigned && isNegative(word, limbs);
        if (limbs <= kFewLimbs) {
            // Without a branch, as signs are random.
            const mp_limb_t flip = mp_limb_t{0} - static_cast<mp_limb_t>(turns);
            mp_limb_t carry = flip & 1U;
            for (std::size_t j = 0; j < limbs; ++j) {
                target[j] = (word[j] ^ flip) + carry;
                carry &= static_cast<mp_limb_t>(target[j] == 0);
            }
        } else if (turns) {
            mpn_neg(target, word, static_cast<mp_size_t>(limbs));
        } else {
            std::copy_n(word, limbs, target);
        }
    }
    return true;
}

bool storeSigns(const number& part, std::span<std::int8_t> signs) {
    const mpnumber* const from = part.asWords();
    if (!from || part.numel() != signs.size()) {
        return false;
    }
    const WordSpan words = from->words();
    const std::size_t limbs = words.grid.limbs();
    const mp_limb_t* word = words.limbs;
    for (std::int8_t& sign : signs) {
        const bool isBelow = words.grid.isSigned && isNegative(word, limbs);
        // Few words have nothing in the highest limb.
        const bool isAbove = !isBelow && (word[limbs - 1] != 0 || !isZero(word, limbs));
        sign = static_cast<std::int8_t>(static_cast<int>(isAbove) - static_cast<int>(isBelow));
        word += limbs;
    }
    return true;
}

bool haveZerosOfOneSign(const number& first, const number& second) {
    std::uint64_t zeros = 0;
    std::uint64_t negativeZeros = 0;
    for (const number* const part : {&first, &second}) {
        const mpnumber* const body = part->asWords();
        if (!body) {
            return false;
        }
        const WordSpan words = body->words();
        const std::size_t limbs = words.grid.limbs();
        for (std::uint64_t i = 0; i < words.count; ++i) {
            zeros += static_cast<std::uint64_t>(isZero(words.limbs + i * limbs, limbs));
        }
        for (std::uint64_t i = 0; words.negativeZeros && i < words.count; i += kUnit) {
            negativeZeros += static_cast<std::uint64_t>(std::popcount(words.negativeZeros[i / kUnit]));
        }
    }
    return negativeZeros == 0 || negativeZeros == zeros;
}

bool scale(number& part, int k) {
    constexpr int kGreatest = 1 << 20;
    wordarray* const words = wordsOf(part);
    if (!words || std::abs(words->grid().exponent) > kGreatest || k < -kGreatest || k > kGreatest) {
        return false;
    }
    WordGrid grid = words->grid();
    grid.exponent += k;
    words->setGrid(grid);
    return true;
}

std::int64_t reinterpret(const number& part, const EmbeddedTypeSystem::NumericType& type, number& to,
                         const EmbeddedTypeSystem::NumericType& toType) {
    const mpnumber* const from = part.asWords();
    mpnumber* const out = to.body().asMp();
    const WordGrid grid = gridOf(toType);
    if (!from || !out || part.numel() != to.numel() || *from->grid() != gridOf(type) ||
        grid.bits != from->grid()->bits || !mayBeWords(to, grid)) {
        return -1;
    }
    const WordSpan words = from->words();
    wordarray& made = out->rewrite(grid);
    made.clearNegativeZeros();
    const std::size_t limbs = grid.limbs();
    mp_limb_t* target = std::copy_n(words.limbs, words.count * limbs, made.limbs()) - words.count * limbs;
    for (std::uint64_t i = 0; words.negativeZeros && i < words.count; i += kUnit) {
        made.setNegativeZeros(i, std::min<std::uint64_t>(kUnit, words.count - i), words.negativeZeros[i / kUnit]);
    }
    if (grid.isSigned == words.grid.isSigned) {
        return 0;
    }
    // The top bit says whether the integer changes, by the bits above it.
    const unsigned unused = static_cast<unsigned>(limbs) * WordGrid::kLimbBits - static_cast<unsigned>(grid.bits);
    std::int64_t changed = 0;
    for (std::uint64_t i = 0; i < words.count; ++i, target += limbs) {
        const mp_limb_t top = target[limbs - 1] << unused;
        changed += static_cast<std::int64_t>(top >> (WordGrid::kLimbBits - 1));
        target[limbs - 1] =
            grid.isSigned ? static_cast<mp_limb_t>(static_cast<std::int64_t>(top) >> unused) : top >> unused;
    }
    return changed;
}

// Extremes.

bool keepExtremes(Extreme extreme, number& held, const number& challengers, bool isScalar,
                  const EmbeddedTypeSystem::NumericType& type) {
    wordarray* const words = wordsOf(held);
    if (!words || words->grid() != gridOf(type)) {
        return false;
    }
    const std::optional<Source> source = Source::of(challengers, type, held.numel(), isScalar);
    if (!source || !source->words() || source->words()->grid != words->grid()) {
        return false;
    }
    const WordOrder order(words->grid());
    const std::size_t limbs = words->grid().limbs();
    const std::size_t step = isScalar ? 0 : 1;
    const WordSpan others = *source->words();
    const std::uint64_t count = held.numel();
    const bool isGreatest = extreme == Extreme::greatest;
    if (limbs == 1 && !others.negativeZeros && !words->span().negativeZeros) {
        mp_limb_t* const x = words->limbs();
        for (std::uint64_t i = 0; i < count; ++i) {
            const mp_limb_t y = others.limbs[i * step];
            x[i] = order.isLess(x[i], y) == isGreatest ? y : x[i];
        }
        return true;
    }
    const bool hasNegativeZeros = others.negativeZeros || words->span().negativeZeros;
    mp_limb_t* x = words->limbs();
    for (std::uint64_t i = 0; i < count; ++i, x += limbs) {
        const mp_limb_t* const y = others.limbs + i * step * limbs;
        if (isGreatest ? order.isLess(x, y) : order.isLess(y, x)) {
            std::copy_n(y, limbs, x);
            if (hasNegativeZeros) {
                words->setNegativeZero(i, hasNegativeZero(others, i * step));
            }
        }
    }
    return true;
}

bool storeExtremes(Extreme extreme, const number& part, std::uint64_t rows, number& to, double* places) {
    const mpnumber* const body = part.asWords();
    if (!body || rows * to.numel() != part.numel()) {
        return false;
    }
    const WordSpan words = body->words();
    const WordOrder order(words.grid);
    const std::size_t limbs = words.grid.limbs();
    wordarray* made = wordsOf(to);
    made = made && made->grid() == words.grid ? made : nullptr;
    for (std::uint64_t column = 0; column < to.numel(); ++column) {
        const std::uint64_t first = column * rows;
        std::uint64_t best = first;
        for (std::uint64_t i = first + 1; i < first + rows; ++i) {
            const mp_limb_t* const x = words.limbs + i * limbs;
            const mp_limb_t* const y = words.limbs + best * limbs;
            best = (extreme == Extreme::greatest ? order.isLess(y, x) : order.isLess(x, y)) ? i : best;
        }
        if (made) {
            std::copy_n(words.limbs + best * limbs, limbs, made->word(column).data());
            made->setNegativeZero(column, hasNegativeZero(words, best));
        } else {
            to[column].setvalue(part[best]);
        }
        places[column] = static_cast<double>(best - first + 1);
    }
    return true;
}

}  // namespace tolvane::detail::wide
