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
#include "quantization/integer_tally.h"

namespace tolvane::detail::wide {

namespace {

constexpr std::size_t kUnit = 64;  // of the signs of zeros

struct ComplexWords {
    WordSpan real;
    WordSpan imag;
};

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

bool copy(const number& part, const EmbeddedTypeSystem::NumericType& type, bool isScalar, number& to) {
    std::optional<Source> source = Source::of(part, type, to.numel(), isScalar);
    if (!source || (source->words() && source->words()->grid != gridOf(type))) {
        return false;
    }
    std::optional<Target> target = Target::of(to, type, to.numel());
    if (!target) {
        return false;
    }
    if (source->words() && !isScalar && target->words()) {
        target->words()->copyRun(*source->words(), 0, 0, to.numel());
        return true;
    }
    const std::size_t width = integers::widthFor(integers::neededBits(source->extent()));
    integers::Arena arena(width, 1);
    source->open(arena, width);
    for (std::uint64_t begin = 0; begin < to.numel(); begin += integers::kBlock) {
        const std::size_t length = std::min<std::uint64_t>(integers::kBlock, to.numel() - begin);
        target->store(source->block(begin, length), begin, length, width);
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

namespace {

/// What the stores of single words leave in a log.
class LoggedWords {
 public:
    /// Null logs nothing.
    LoggedWords(const WordGrid& grid, const qlogger* log) : mLog(log), mOrder(grid), mFound(log ? 2 : 0, grid) {}

    void note(const WordSpan& words, std::uint64_t i) {
        const std::size_t limbs = words.grid.limbs();
        const mp_limb_t* const word = words.limbs + i * limbs;
        const auto take = [&](std::uint64_t which) {
            std::copy_n(word, limbs, mFound.word(which).data());
            mFound.setNegativeZero(which, words.hasNegativeZero(i));
        };
        // The first of equal values remains.
        if (mCount == 0 || mOrder.isLess(mFound.word(kGreatest).data(), word)) {
            take(kGreatest);
        }
        if (mCount == 0 || mOrder.isLess(word, mFound.word(kLeast).data())) {
            take(kLeast);
        }
        ++mCount;
    }
    void handOver() const {
        if (mCount > 0) {
            mLog->addArrayStatistics(mCount, 0, 0, numberOf(kGreatest), numberOf(kLeast));
        }
    }
    /// Values that are too small for doubles can become zeros in a log, whose signs depend on the order.
    static bool canLog(const WordGrid& grid, const qlogger* log) {
        return !log || grid.exponent >= integers::IntegerTally::kLeastDouble;
    }

 private:
    static constexpr std::uint64_t kGreatest = 0;
    static constexpr std::uint64_t kLeast = 1;
    number numberOf(std::uint64_t which) const {
        number result(0.0, static_cast<std::uint32_t>(mFound.grid().bits), true);
        mFound.load(which, result.body().asMp()->getmodifiableelement());
        return result;
    }

    const qlogger* mLog;
    WordOrder mOrder;
    wordarray mFound;
    std::uint64_t mCount = 0;
};

/// The words of a part for many elements, or for a scalar that meets them, if they are of the grid.
std::optional<Source> wordsOf(const number& part, const EmbeddedTypeSystem::NumericType& type, const WordGrid& grid,
                              std::uint64_t count, bool isScalar) {
    std::optional<Source> source = Source::of(part, type, count, isScalar);
    return source && source->words() && source->words()->grid == grid ? std::move(source) : std::nullopt;
}

void copyWord(const WordSpan& from, std::uint64_t i, wordarray& to, std::uint64_t place) {
    const std::size_t limbs = from.grid.limbs();
    std::copy_n(from.limbs + i * limbs, limbs, to.word(place).data());
    to.setNegativeZero(place, from.hasNegativeZero(i));
}

/// Stores a word of a part in an element of another array.
void storeBest(number& target, const number& part, const WordSpan& from, std::uint64_t best, std::uint64_t column) {
    wordarray* const made = wordsOf(target);
    if (made && made->grid() == from.grid) {
        copyWord(from, best, *made, column);
    } else {
        target[column].setvalue(part[best]);
    }
}

/// Squares of magnitudes of complex words on some scale, as doubles with a few wrong bits unless they are tiny.
class Squares {
 public:
    static constexpr double kTiny = 0x1p-900;

    explicit Squares(const WordGrid& grid) : mGrid(grid) {}

    double operator()(const ComplexWords& x, std::uint64_t i) const {
        const double re = magnitude(x.real, i);
        const double im = magnitude(x.imag, i);
        return re * re + im * im;
    }

 private:
    /// In units of the highest limb.
    double magnitude(const WordSpan& words, std::uint64_t i) const {
        constexpr double kDown = 0x1p-64;
        const std::size_t limbs = mGrid.limbs();
        const mp_limb_t* const word = words.limbs + i * limbs;
        const mp_limb_t turned = mGrid.isSigned && isNegative(word, limbs) ? ~mp_limb_t{0} : 0;
        std::size_t top = limbs - 1;
        double unit = 1.0;
        while (top > 0 && (word[top] ^ turned) == 0) {
            --top;
            unit *= kDown;
        }
        const auto value = static_cast<double>(word[top] ^ turned);
        // Two's complement adds 1 to the lowest limb, which doesn't matter elsewhere.
        return (top == 0 ? value + static_cast<double>(turned & 1U)
                         : value + static_cast<double>(word[top - 1] ^ turned) * kDown) *
               unit;
    }

    WordGrid mGrid;
};

bool areEqual(const ComplexWords& x, std::uint64_t i, const ComplexWords& y, std::uint64_t j) {
    const std::size_t limbs = x.real.grid.limbs();
    const auto same = [=](const WordSpan& a, const WordSpan& b) {
        return std::equal(a.limbs + i * limbs, a.limbs + (i + 1) * limbs, b.limbs + j * limbs);
    };
    return same(x.real, y.real) && same(x.imag, y.imag);
}

/// Whether the challenger's square beats that of the holder, or nothing if that can't be seen: magnitudes are rounded
/// to at least 54 bits, so that those as far apart as this differ.
std::optional<bool> beats(Extreme extreme, double challenger, double holder) {
    constexpr double kFar = 1.0 + 0x1p-40;
    if (std::max(challenger, holder) < Squares::kTiny) {
        return std::nullopt;
    }
    if (challenger > holder * kFar) {
        return extreme == Extreme::greatest;
    }
    if (holder > challenger * kFar) {
        return extreme == Extreme::least;
    }
    return std::nullopt;
}

}  // namespace

bool keepExtremes(Extreme extreme, number& held, const number& challengers, bool isScalar,
                  const EmbeddedTypeSystem::NumericType& type, const qlogger* log) {
    const WordGrid grid = gridOf(type);
    wordarray* const words = wordsOf(held);
    if (!words || words->grid() != grid || !LoggedWords::canLog(grid, log)) {
        return false;
    }
    const std::optional<Source> source = wordsOf(challengers, type, grid, held.numel(), isScalar);
    if (!source) {
        return false;
    }
    const WordOrder order(grid);
    const std::size_t limbs = grid.limbs();
    const std::size_t step = isScalar ? 0 : 1;
    const WordSpan others = *source->words();
    const std::uint64_t count = held.numel();
    const bool isGreatest = extreme == Extreme::greatest;
    const bool hasNegativeZeros = others.negativeZeros || words->span().negativeZeros;
    if (limbs == 1 && !hasNegativeZeros && !log) {
        mp_limb_t* const x = words->limbs();
        for (std::uint64_t i = 0; i < count; ++i) {
            const mp_limb_t y = others.limbs[i * step];
            x[i] = order.isLess(x[i], y) == isGreatest ? y : x[i];
        }
        return true;
    }
    LoggedWords stores(grid, log);
    mp_limb_t* x = words->limbs();
    for (std::uint64_t i = 0; i < count; ++i, x += limbs) {
        const mp_limb_t* const y = others.limbs + i * step * limbs;
        if (isGreatest ? order.isLess(x, y) : order.isLess(y, x)) {
            std::copy_n(y, limbs, x);
            if (hasNegativeZeros) {
                words->setNegativeZero(i, others.hasNegativeZero(i * step));
            }
            if (log) {
                stores.note(others, i * step);
            }
        }
    }
    stores.handOver();
    return true;
}

bool keepExtremes(Extreme extreme, const ComplexPart<number>& held, const ComplexPart<const number>& challengers,
                  bool isScalar, const EmbeddedTypeSystem::NumericType& type, const qlogger* log,
                  const Decide& decide) {
    const WordGrid grid = gridOf(type);
    wordarray* const real = wordsOf(held.real);
    wordarray* const imag = wordsOf(held.imag);
    const std::uint64_t count = held.real.numel();
    if (!real || !imag || real->grid() != grid || imag->grid() != grid || !LoggedWords::canLog(grid, log)) {
        return false;
    }
    const std::optional<Source> sources[] = {wordsOf(challengers.real, type, grid, count, isScalar),
                                             wordsOf(challengers.imag, type, grid, count, isScalar)};
    if (!sources[0] || !sources[1]) {
        return false;
    }
    const ComplexWords others{*sources[0]->words(), *sources[1]->words()};
    const Squares square(grid);
    const std::size_t step = isScalar ? 0 : 1;
    LoggedWords stores(grid, log);
    for (std::uint64_t i = 0; i < count; ++i) {
        const ComplexWords own{real->span(), imag->span()};
        const std::uint64_t from = i * step;
        const std::optional<bool> isSeen = beats(extreme, square(others, from), square(own, i));
        if (isSeen ? *isSeen : !areEqual(others, from, own, i) && decide(from, i)) {
            copyWord(others.real, from, *real, i);
            copyWord(others.imag, from, *imag, i);
            if (log) {
                stores.note(others.real, from);
                stores.note(others.imag, from);
            }
        }
    }
    stores.handOver();
    return true;
}

bool storeExtremes(Extreme extreme, const number& part, std::uint64_t rows, number& to, double* places,
                   const qlogger* log) {
    const mpnumber* const body = part.asWords();
    if (!body || rows * to.numel() != part.numel()) {
        return false;
    }
    const WordSpan words = body->words();
    if (!LoggedWords::canLog(words.grid, log) ||
        (log && words.grid.bits > mpnumber::elementPrecision(to.getprecision()))) {
        return false;
    }
    const WordOrder order(words.grid);
    const std::size_t limbs = words.grid.limbs();
    LoggedWords stores(words.grid, log);
    for (std::uint64_t column = 0; column < to.numel(); ++column) {
        const std::uint64_t first = column * rows;
        std::uint64_t best = first;
        if (log) {
            stores.note(words, first);
        }
        for (std::uint64_t i = first + 1; i < first + rows; ++i) {
            const mp_limb_t* const x = words.limbs + i * limbs;
            const mp_limb_t* const y = words.limbs + best * limbs;
            if (extreme == Extreme::greatest ? order.isLess(y, x) : order.isLess(x, y)) {
                best = i;
                if (log) {
                    stores.note(words, i);
                }
            }
        }
        storeBest(to, part, words, best, column);
        places[column] = static_cast<double>(best - first + 1);
    }
    stores.handOver();
    return true;
}

bool storeExtremes(Extreme extreme, const ComplexPart<const number>& parts, std::uint64_t rows,
                   const ComplexPart<number>& to, double* places, const qlogger* log, const Decide& decide) {
    const mpnumber* const real = parts.real.asWords();
    const mpnumber* const imag = parts.imag.asWords();
    if (!real || !imag || rows * to.real.numel() != parts.real.numel()) {
        return false;
    }
    const ComplexWords words{real->words(), imag->words()};
    const WordGrid grid = words.real.grid;
    if (words.imag.grid != grid || !LoggedWords::canLog(grid, log) ||
        grid.bits > mpnumber::elementPrecision(to.real.getprecision())) {
        return false;
    }
    const Squares square(grid);
    LoggedWords stores(grid, log);
    const auto note = [&](std::uint64_t i) {
        if (log) {
            stores.note(words.real, i);
            stores.note(words.imag, i);
        }
    };
    for (std::uint64_t column = 0; column < to.real.numel(); ++column) {
        const std::uint64_t first = column * rows;
        std::uint64_t best = first;
        double bestSquare = square(words, first);
        note(first);
        for (std::uint64_t i = first + 1; i < first + rows; ++i) {
            const double next = square(words, i);
            const std::optional<bool> isSeen = beats(extreme, next, bestSquare);
            if (isSeen ? *isSeen : !areEqual(words, i, words, best) && decide(i, best)) {
                best = i;
                bestSquare = next;
                note(i);
            }
        }
        storeBest(to.real, parts.real, words.real, best, column);
        storeBest(to.imag, parts.imag, words.imag, best, column);
        places[column] = static_cast<double>(best - first + 1);
    }
    stores.handOver();
    return true;
}

}  // namespace tolvane::detail::wide
