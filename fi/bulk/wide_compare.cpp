#include "fi/bulk/wide_compare.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "numbers/mpnumber.h"

namespace tolvane::detail::wide {

using compareloops::Join;
using compareloops::Relation;
using compareloops::Words;
using compareloops::WordShape;
using integers::Block;
using integers::kBlock;

std::optional<Comparison> Comparison::of(const Compared& left, const Compared& right, std::uint64_t count) {
    const auto gridOfWords = [](const Compared& side) {
        const mpnumber* const words = side.entries ? side.entries->asWords() : nullptr;
        return words ? words->grid() : nullptr;
    };
    const WordGrid* const leftGrid = gridOfWords(left);
    const WordGrid* const grid = leftGrid ? leftGrid : gridOfWords(right);
    if (!grid) {
        return std::nullopt;
    }
    const auto sourceOf = [&](const Compared& side) {
        return side.entries ? Source::of(*side.entries, side.type, count, side.isScalar)
                            : std::optional(Source::zeros(*grid));
    };
    std::optional<Source> a = sourceOf(left);
    std::optional<Source> b = a ? sourceOf(right) : std::nullopt;
    // Values far apart would make long integers.
    constexpr int kFarApart = 4096;
    if (!b || std::abs(a->extent().exponent - b->extent().exponent) > kFarApart) {
        return std::nullopt;
    }
    return Comparison(std::move(*a), std::move(*b), count);
}

namespace {

/// A value among the words of a grid: the word itself, or the next one below.
class Among {
 public:
    enum class Place { below, within, beyond };

    /// For a shift of few bits between the grids.
    Among(const WordSpan& value, const WordGrid& grid) : mGrid(grid) {
        const int shift = value.grid.exponent - grid.exponent;
        const std::size_t valueLimbs = value.grid.limbs();
        const bool isBelowZero = value.grid.isSigned && value.limbs[valueLimbs - 1] >> (WordGrid::kLimbBits - 1) != 0;
        const mp_limb_t sign = isBelowZero ? ~mp_limb_t{0} : 0;
        mWord.assign(std::max(integers::widthFor(value.grid.bits + 1 + std::max(shift, 0)), grid.limbs() + 1), sign);
        const auto bits = static_cast<std::size_t>(std::abs(shift));
        const std::size_t limbs = bits / WordGrid::kLimbBits;
        const auto rest = static_cast<unsigned>(bits % WordGrid::kLimbBits);
        const auto size = static_cast<mp_size_t>(mWord.size());
        if (shift >= 0) {
            std::fill_n(mWord.begin(), limbs, 0);
            std::copy_n(value.limbs, valueLimbs, mWord.begin() + static_cast<std::ptrdiff_t>(limbs));
            if (rest != 0) {
                mpn_lshift(mWord.data() + limbs, mWord.data() + limbs, size - static_cast<mp_size_t>(limbs), rest);
            }
        } else {
            const std::size_t gone = std::min(limbs, valueLimbs);
            mIsExact = std::all_of(value.limbs, value.limbs + gone, [](mp_limb_t limb) { return limb == 0; }) &&
                       (gone == limbs || sign == 0);
            std::copy(value.limbs + gone, value.limbs + valueLimbs, mWord.begin());
            if (rest != 0) {
                mIsExact = mpn_rshift(mWord.data(), mWord.data(), size, rest) == 0 && mIsExact;
                mWord.back() |= sign << (WordGrid::kLimbBits - rest);
            }
        }
        // All bits from the sign of the words on are its own then.
        const auto used = static_cast<std::size_t>(grid.bits - (grid.isSigned ? 1 : 0));
        bool fits = grid.isSigned || !isBelowZero;
        for (std::size_t i = used / WordGrid::kLimbBits; i < mWord.size(); ++i) {
            const unsigned low = i == used / WordGrid::kLimbBits ? used % WordGrid::kLimbBits : 0;
            fits = fits && (mWord[i] ^ sign) >> low == 0;
        }
        mPlace = fits ? Place::within : isBelowZero ? Place::below : Place::beyond;
    }

    /// Compares all words with the value, which is on the right or on the left.
    void compare(Relation relation, Words words, bool isOnRight, std::size_t count, Join join,
                 std::uint8_t* out) const {
        const bool isOrder = relation == Relation::isLess || relation == Relation::isAtMost;
        const WordShape shape{mGrid.limbs(), mGrid.isSigned};
        const auto run = [&](Relation by, Words left, Words right) {
            compareloops::compare(by, shape, left, right, count, join, out);
        };
        if (mPlace != Place::within || (!isOrder && !mIsExact)) {
            const bool isAlways = isOrder ? (mPlace == Place::beyond) == isOnRight : relation == Relation::isUnequal;
            const std::vector<mp_limb_t> least = leastWord();
            const Words scalar{least.data(), true};
            isAlways ? run(Relation::isAtMost, scalar, words) : run(Relation::isLess, words, scalar);
            return;
        }
        const Words scalar{mWord.data(), true};
        if (!isOnRight) {
            run(mIsExact || !isOrder ? relation : Relation::isLess, scalar, words);
        } else {
            run(mIsExact || !isOrder ? relation : Relation::isAtMost, words, scalar);
        }
    }

 private:
    std::vector<mp_limb_t> leastWord() const {
        std::vector<mp_limb_t> least(mGrid.limbs());
        if (mGrid.isSigned) {
            least.back() = ~mp_limb_t{0} << ((mGrid.bits - 1) % WordGrid::kLimbBits);
        }
        return least;
    }

    WordGrid mGrid;
    std::vector<mp_limb_t> mWord;
    bool mIsExact = true;
    Place mPlace;
};

}  // namespace

template <class Run>
void Comparison::byGrid(const Run& run) {
    if (mLeft.words() && mRight.words() && mLeft.words()->grid == mRight.words()->grid) {
        const WordGrid& grid = mLeft.words()->grid;
        const auto side = [](const Source& source) { return Words{source.words()->limbs, source.isScalar()}; };
        run(0, mCount, WordShape{grid.limbs(), grid.isSigned}, side(mLeft), side(mRight));
        return;
    }
    const int exponent = std::min(mLeft.extent().exponent, mRight.extent().exponent);
    const auto bits = [exponent](const Source& source) {
        return integers::neededBits(source.extent()) + source.extent().exponent - exponent;
    };
    const std::size_t width = integers::widthFor(std::max(bits(mLeft), bits(mRight)));
    integers::Arena arena(width, 4);
    mLeft.open(arena, width);
    mRight.open(arena, width);
    Block left = arena.next();
    Block right = arena.next();
    for (std::uint64_t begin = 0; begin < mCount; begin += kBlock) {
        const std::size_t length = std::min<std::uint64_t>(kBlock, mCount - begin);
        mLeft.take(begin, length, left);
        mRight.take(begin, length, right);
        integers::align(exponent, length, width, left);
        integers::align(exponent, length, width, right);
        run(begin, length, WordShape{width, true}, Words{left.limbs, false}, Words{right.limbs, false});
    }
}

void Comparison::run(Relation relation, Join join, std::uint8_t* out) {
    if (mLeft.words() && mRight.words() && mLeft.isScalar() != mRight.isScalar() &&
        mLeft.words()->grid != mRight.words()->grid) {
        const bool isOnRight = mRight.isScalar();
        const WordSpan& all = *(isOnRight ? mLeft : mRight).words();
        const Among value(*(isOnRight ? mRight : mLeft).words(), all.grid);
        value.compare(relation, {all.limbs, false}, isOnRight, mCount, join, out);
        return;
    }
    byGrid([&](std::uint64_t begin, std::size_t length, const WordShape& shape, Words left, Words right) {
        compareloops::compare(relation, shape, left, right, length, join, out + begin);
    });
}

std::uint64_t Comparison::firstDifference() {
    std::uint64_t first = mCount;
    byGrid([&](std::uint64_t begin, std::size_t length, const WordShape& shape, Words left, Words right) {
        constexpr std::size_t kLimbsAtOnce = 512;
        const std::size_t limbs = length * shape.limbs;
        for (std::size_t i = 0; first == mCount && i < limbs; i += kLimbsAtOnce) {
            const std::size_t some = std::min(kLimbsAtOnce, limbs - i);
            const mp_limb_t* const x = left.limbs + i;
            if (std::memcmp(x, right.limbs + i, some * sizeof(mp_limb_t)) != 0) {
                const mp_limb_t* const difference = std::mismatch(x, x + some, right.limbs + i).first;
                first = begin + static_cast<std::size_t>(difference - left.limbs) / shape.limbs;
            }
        }
    });
    return first;
}

}  // namespace tolvane::detail::wide
