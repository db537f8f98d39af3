// Let r be the root rounded down, in steps of the root's type, x an element, and count in squares of a step, so that
// r^2 <= x < (r + 1)^2 unless r is the greatest root. The search stores r where it rounds down or r is the greatest
// root. It stores r + 1 if it rounds up and x > r^2, and if it rounds to nearest and high < low. These are
// low = x - r^2 and high = (r + 1)^2 - x = 2 r + 1 - low, rounded to the type of squares, and x is rounded to it before
// that if the rules cast.
//
// Let low be l + f, for a whole l and 0 <= f < 1. Then high < low means l > r, or l = r and f > 1/2. If the type of
// squares has the places of x, nothing is rounded, and that is all. If its last place is that of r^2, f is rounded:
// - Unless f is 1/2, low and high become l' and 2 r + 1 - l', where l' is l or l + 1, and the same decides.
// - If f is 1/2 and nothing is cast, rounding half up gives l + 1 and 2 r + 1 - l. Half to even gives l and 2 r - l for
//   an even l, otherwise l + 1 and 2 r + 1 - l. Always, high < low means l > r.
// - If f is 1/2 and x is cast, they are l' and 2 r + 1 - l' again. Half up, l' is l + 1, so that l = r is enough. Half
//   to even, r^2 + l' is even. For l = r, so is r^2 + l, and l' is l.
// Other types of squares are left to the search.
#include "fi/bulk/wide_roots.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <optional>

#include "fi/bulk/integer_machine.h"
#include "fi/bulk/wide_operands.h"
#include "fi/core/word_grids.h"
#include "fi/result_types/plain_words.h"
#include "numbers/host_memory.h"

namespace tolvane::detail::wide {

namespace {

using EmbeddedTypeSystem::NumericType;
using integers::Block;
using integers::Extent;
using integers::kBlock;
using Round = embedded::RoundModeEnum;

constexpr int kLimbBits = WordGrid::kLimbBits;

int valueBits(const NumericType& type) {
    return type.getWordLength() - (type.isSigned() ? 1 : 0);
}

std::size_t limbsFor(int bits) {
    return static_cast<std::size_t>(bits + kLimbBits - 1) / kLimbBits;
}

/// What the search is to do, in bits and places.
struct Search {
    int elementBits;
    int shift;     // from elements to squares of steps
    int rootBits;  // of the greatest root, which is all ones
    Round mode;
    bool raisesHalf;  // whether a half above r raises the root
};

/// Whether the search computes without rounding, but for what the proof above says.
bool isExact(const arrayroots::Types& types, const Search& search, const fimath& rules) {
    const NumericType& square = types.square;
    const int step = 2 * types.root.getFixedExponent();
    const int exponent = types.element.getFixedExponent();
    if (search.rootBits < 1 || square.getFixedExponent() > step ||
        valueBits(square) + square.getFixedExponent() < 2 * search.rootBits + step) {
        return false;
    }
    const auto isWide = [](const NumericType& type) {
        return !areEntriesDoubles(static_cast<unsigned>(type.getWordLength()));
    };
    // Doubles would be compared with elements as doubles.
    if (isWide(types.element) && !isWide(square)) {
        return false;
    }
    const int cellBits =
        isWide(square) ? static_cast<int>(mpnumber::elementPrecision(static_cast<unsigned>(square.getWordLength())))
                       : ExtentMachine::kDoubleBits;
    const integers::Format format{gridOf(square), rules.getRoundMode(), rules.getOverflowMode()};
    const auto agrees = [&](const Extent& x) {
        return x.bits <= cellBits && ExtentMachine::agrees(format, x, cellBits);
    };
    if (!agrees({step, 2 * search.rootBits, false})) {
        return false;
    }
    if (arrayroots::roundsDown(search.mode) || search.mode == Round::Ceil) {
        return true;
    }
    // Distances are at most 2 r + 1.
    const Extent distance{std::min(exponent, step), search.rootBits + 2 + std::max(step - exponent, 0), true};
    return (square.getFixedExponent() <= exponent || square.getFixedExponent() == step) &&
           agrees({exponent, search.elementBits, true}) && agrees(distance);
}

/// The work cells of one root after the other.
class Roots {
 public:
    explicit Roots(const Search& search)
        : mSearch(search),
          mSquare(limbsFor(search.elementBits + std::max(search.shift, 0)) + 2),
          mRoot(mSquare.size()),
          mRest(mSquare.size()) {}

    /// Stores the root of an element of `width` limbs in `rootWidth` limbs.
    void find(const mp_limb_t* element, std::size_t width, mp_limb_t* root, std::size_t rootWidth) {
        std::size_t size = width;
        while (size > 0 && element[size - 1] == 0) {
            --size;
        }
        std::fill_n(root, rootWidth, 0);
        if (size == 0) {
            return;
        }
        const Order half = shift(element, size);
        if (mSize <= 1) {
            findOfOneLimb(mSize == 1 ? mSquare[0] : 0);
        } else {
            mRootSize = (mSize + 1) / 2;
            mRestSize = static_cast<std::size_t>(
                mpn_sqrtrem(mRoot.data(), mRest.data(), mSquare.data(), static_cast<mp_size_t>(mSize)));
        }
        if (isAtGreatest()) {
            const auto full = static_cast<std::size_t>(mSearch.rootBits / kLimbBits);
            std::fill_n(root, full, ~mp_limb_t{0});
            if (mSearch.rootBits % kLimbBits != 0) {
                root[full] = (mp_limb_t{1} << (mSearch.rootBits % kLimbBits)) - 1;
            }
            return;
        }
        std::copy_n(mRoot.data(), mRootSize, root);
        if (goesUp(half)) {
            mpn_add_1(root, root, static_cast<mp_size_t>(rootWidth), 1);
        }
    }

 private:
    /// How what was cut off compares with a half.
    enum class Order { none, below, equal, above };

    /// Brings an element to squares of steps.
    Order shift(const mp_limb_t* element, std::size_t size) {
        const auto places = static_cast<std::size_t>(std::abs(mSearch.shift));
        const std::size_t limbs = places / kLimbBits;
        const auto bits = static_cast<unsigned>(places % kLimbBits);
        if (mSearch.shift >= 0) {
            std::fill_n(mSquare.data(), limbs, 0);
            std::copy_n(element, size, mSquare.data() + limbs);
            mSize = limbs + size;
            if (bits > 0) {
                mSquare[mSize] = mpn_lshift(mSquare.data() + limbs, element, static_cast<mp_size_t>(size), bits);
                mSize += mSquare[mSize] != 0 ? 1U : 0U;
            }
            return Order::none;
        }
        const bool isTop = hasBit(element, size, places - 1);
        const bool hasMore = mpn_scan1(element, 0) < places - 1;
        mSize = 0;
        if (limbs < size) {
            mSize = size - limbs;
            if (bits > 0) {
                mpn_rshift(mSquare.data(), element + limbs, static_cast<mp_size_t>(mSize), bits);
            } else {
                std::copy_n(element + limbs, mSize, mSquare.data());
            }
            mSize -= mSquare[mSize - 1] == 0 ? 1U : 0U;
        }
        return isTop ? (hasMore ? Order::above : Order::equal) : (hasMore ? Order::below : Order::none);
    }
    static bool hasBit(const mp_limb_t* limbs, std::size_t size, std::size_t place) {
        const std::size_t limb = place / kLimbBits;
        return limb < size && (limbs[limb] >> (place % kLimbBits) & 1U) != 0;
    }

    void findOfOneLimb(mp_limb_t square) {
        // At most one step off. Wrapped differences tell on which side.
        constexpr mp_limb_t kGreatest = 0xFFFFFFFF;
        mp_limb_t root = std::min(static_cast<mp_limb_t>(std::sqrt(static_cast<double>(square))), kGreatest);
        root -= root * root > square ? 1 : 0;
        root += root < kGreatest && (root + 1) * (root + 1) <= square ? 1 : 0;
        mRoot[0] = root;
        mRest[0] = square - root * root;
        mRootSize = root != 0 ? 1 : 0;
        mRestSize = mRest[0] != 0 ? 1 : 0;
    }
    int rootLength() const {
        return mRootSize == 0 ? 0 : static_cast<int>(mRootSize) * kLimbBits - std::countl_zero(mRoot[mRootSize - 1]);
    }
    /// Whether the root is at or beyond the greatest one.
    bool isAtGreatest() const {
        const int length = rootLength();
        return length > mSearch.rootBits ||
               (length == mSearch.rootBits &&
                mpn_popcount(mRoot.data(), static_cast<mp_size_t>(mRootSize)) == static_cast<mp_bitcnt_t>(length));
    }
    bool goesUp(Order half) const {
        if (arrayroots::roundsDown(mSearch.mode)) {
            return false;
        }
        if (mSearch.mode == Round::Ceil) {
            return mRestSize > 0 || half != Order::none;
        }
        const int order =
            mRestSize != mRootSize
                ? (mRestSize < mRootSize ? -1 : 1)
                : (mRootSize == 0 ? 0 : mpn_cmp(mRest.data(), mRoot.data(), static_cast<mp_size_t>(mRootSize)));
        return order > 0 || (order == 0 && (half == Order::above || (half == Order::equal && mSearch.raisesHalf)));
    }

    const Search& mSearch;
    WorkVector<mp_limb_t> mSquare;
    WorkVector<mp_limb_t> mRoot;
    WorkVector<mp_limb_t> mRest;
    std::size_t mSize = 0;
    std::size_t mRootSize = 0;
    std::size_t mRestSize = 0;
};

}  // namespace

bool findRoots(const number& elements, const arrayroots::Types& types, const fimath& rules, number& roots) {
    constexpr int kMostBits = 1 << 16;
    const std::uint64_t count = elements.numel();
    const auto isUsual = [](const NumericType& type) {
        return gridOf(type).isUsual() && std::abs(type.getFixedExponent()) < kMostBits;
    };
    if (count == 0 || roots.numel() != count || !isUsual(types.element) || !isUsual(types.root) ||
        !isUsual(types.square) || rules.isSumSlopeBiasScaled() || rules.isProductSlopeBiasScaled() ||
        number::getDefaultForceMultiplePrecision()) {
        return false;
    }
    const int shift = types.element.getFixedExponent() - 2 * types.root.getFixedExponent();
    const bool isRounded = types.square.getFixedExponent() > types.element.getFixedExponent();
    const Search search{valueBits(types.element), shift, valueBits(types.root), rules.getRoundMode(),
                        isRounded && rules.getCastBeforeSum() && rules.getRoundMode() != Round::Convergent};
    if (!isExact(types, search, rules) || shift > kMostBits) {
        return false;
    }
    std::optional<Source> source = Source::of(elements, types.element, count, count == 1);
    if (!source || (source->words() && source->words()->grid != gridOf(types.element))) {
        return false;
    }
    const std::size_t width = integers::widthFor(integers::neededBits(source->extent()));
    const std::size_t rootWidth = integers::widthFor(search.rootBits + 1);
    integers::Arena squareArena(width, 1);
    integers::Arena rootArena(rootWidth, 1);
    source->open(squareArena, width);
    Block found = rootArena.next();
    found.extent = integers::extentOf(gridOf(types.root));
    Roots oneByOne(search);
    std::optional<Target> target = Target::of(roots, types.root, count);
    if (!target) {
        return false;
    }
    for (std::uint64_t begin = 0; begin < count; begin += kBlock) {
        const std::size_t length = std::min<std::uint64_t>(kBlock, count - begin);
        const Block& block = source->block(begin, length);
        for (std::size_t i = 0; i < length; ++i) {
            oneByOne.find(block.limbs + i * width, width, found.limbs + i * rootWidth, rootWidth);
        }
        target->store(found, begin, length, rootWidth);
    }
    return true;
}

}  // namespace tolvane::detail::wide
