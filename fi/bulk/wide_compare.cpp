#include "fi/bulk/wide_compare.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

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
