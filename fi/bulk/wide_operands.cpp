#include "fi/bulk/wide_operands.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <span>

#include "fi/core/word_grids.h"
#include "numbers/mpnumber.h"

namespace tolvane::detail::wide {

using integers::Block;

namespace {

/// Whether doubles hold all words, which those of an array whose precision was changed needn't, and the powers of two
/// between values and their integers.
bool isUsualForDoubles(const WordGrid& grid) {
    constexpr int kGreatestExponent = 900;
    constexpr int kDoubleBits = 53;
    return grid.isUsual() && grid.bits <= kDoubleBits && std::abs(grid.exponent) <= kGreatestExponent;
}

}  // namespace

std::optional<Source> Source::of(const number& part, const EmbeddedTypeSystem::NumericType& type, std::uint64_t count,
                                 bool isScalar) {
    if (part.numel() != (isScalar ? 1 : count)) {
        return std::nullopt;
    }
    const mpnumber* const words = part.asWords();
    const WordGrid grid = words ? *words->grid() : gridOf(type);
    if (!grid.isUsual()) {
        return std::nullopt;
    }
    Source source(integers::extentOf(grid));
    if (words && !isScalar) {
        source.mWords = words->words();
        return source;
    }
    if (isScalar) {
        source.mScalar.emplace(1, grid);
        // The precision that a double was made with says nothing of its bits.
        number value(0.0, std::max(part.getprecision(), doublenumber::kScalarPrecision), true);
        value.setvalue(part);
        if (!source.mScalar->store(0, value.body().asMp()->getelement())) {
            return std::nullopt;
        }
        source.mWords = source.mScalar->span();
        return source;
    }
    const doublenumber* const doubles = part.asDouble();
    if (!doubles || !isUsualForDoubles(grid) || !integers::areWithin(doubles->elements(), source.mExtent)) {
        return std::nullopt;
    }
    source.mDoubles = doubles->elements().data();
    return source;
}

Source Source::zeros(const WordGrid& grid) {
    Source source(integers::extentOf(grid));
    source.mScalar.emplace(1, grid);
    source.mWords = source.mScalar->span();
    return source;
}

void Source::open(integers::Arena& arena, std::size_t width) {
    mWidth = width;
    mBlock = arena.next();
    if (mScalar) {
        integers::load(*mWords, 0, 1, width, mBlock);
        integers::spread(integers::kBlock, width, mBlock);
    }
}

const Block& Source::block(std::uint64_t begin, std::size_t count) {
    if (!mScalar) {
        take(begin, count, mBlock);
    }
    return mBlock;
}

void Source::take(std::uint64_t begin, std::size_t count, Block& out) const {
    if (mDoubles) {
        integers::load(mDoubles + begin, count, mExtent, mWidth, out);
    } else if (mScalar) {
        integers::copy(mBlock, count, mWidth, out);
    } else {
        integers::load(*mWords, begin, count, mWidth, out);
    }
}

void Source::gather(const std::uint64_t* places, std::size_t count, Block& out) const {
    if (mDoubles) {
        std::array<double, integers::kBlock> values;
        std::transform(places, places + count, values.begin(), [this](std::uint64_t place) { return mDoubles[place]; });
        integers::load(values.data(), count, mExtent, mWidth, out);
    } else if (mScalar) {
        integers::copy(mBlock, count, mWidth, out);
    } else {
        integers::gather(*mWords, places, count, mWidth, out);
    }
}

std::optional<Target> Target::within(number& part, const EmbeddedTypeSystem::NumericType& type, std::uint64_t count) {
    const mpnumber* const words = part.asWords();
    const bool keepsForm = words ? *words->grid() == gridOf(type) : part.asDouble() != nullptr;
    return keepsForm ? of(part, type, count) : std::nullopt;
}

std::optional<Target> Target::of(number& part, const EmbeddedTypeSystem::NumericType& type, std::uint64_t count) {
    const WordGrid grid = gridOf(type);
    if (part.numel() != count || !grid.isUsual()) {
        return std::nullopt;
    }
    Target target;
    if (doublenumber* const doubles = part.asDouble()) {
        target.mDoubles = doubles->elements().data();
        return isUsualForDoubles(grid) ? std::optional(target) : std::nullopt;
    }
    if (!mpnumber::canBeWords(count, part.getprecision(), grid)) {
        return std::nullopt;
    }
    target.mWords = &part.body().asMp()->rewrite(grid);
    return target;
}

std::optional<Target> Target::ofSums(number& part, const EmbeddedTypeSystem::NumericType& type, std::uint64_t count) {
    const WordGrid grid = gridOf(type);
    if (count > 1 || part.numel() != count || part.asDouble()) {
        return of(part, type, count);
    }
    if (!grid.isUsual() || grid.bits > mpnumber::elementPrecision(part.getprecision())) {
        return std::nullopt;
    }
    Target target;
    target.mSingle = std::make_shared<wordarray>(1, grid);
    target.mElement = &part;
    return target;
}

void Target::store(const Block& block, std::uint64_t begin, std::size_t count, std::size_t width,
                   std::uint64_t stride) {
    if (mDoubles) {
        integers::store(block, count, width, mDoubles + begin, stride);
    } else if (mSingle) {
        integers::store(block, 1, width, *mSingle, 0);
        mSingle->load(0, mElement->body().asMp()->getmodifiableelement());
    } else {
        integers::store(block, count, width, *mWords, begin, stride);
    }
}

void Target::clear(std::uint64_t count) {
    if (mDoubles) {
        std::fill_n(mDoubles, count, 0.0);
    } else if (mSingle) {
        mElement->setvalue(0.0);
    } else {
        *mWords = wordarray(count, mWords->grid());
    }
}

Panel::Panel(std::uint64_t count, const Source& source, std::size_t width)
    : mExtent(source.extent()),
      mWords(count, {source.extent().exponent, static_cast<int>(width) * WordGrid::kLimbBits, true}) {}

Panel::Panel(Source& source, std::uint64_t count, std::size_t width) : Panel(count, source, width) {
    integers::Arena arena(width, 1);
    source.open(arena, width);
    for (std::uint64_t begin = 0; begin < count; begin += integers::kBlock) {
        const std::size_t length = std::min<std::uint64_t>(integers::kBlock, count - begin);
        integers::store(source.block(begin, length), length, width, mWords, begin);
    }
}

Panel::Panel(Source& source, std::uint64_t rows, std::uint64_t columns, std::size_t width)
    : Panel(rows * columns, source, width) {
    integers::Arena arena(width, 1);
    source.open(arena, width);
    for (std::uint64_t column = 0; column < columns; ++column) {
        for (std::uint64_t row = 0; row < rows; row += integers::kBlock) {
            const std::size_t length = std::min<std::uint64_t>(integers::kBlock, rows - row);
            integers::store(source.block(column * rows + row, length), length, width, mWords, row * columns + column,
                            columns);
        }
    }
}

Block Panel::block(std::uint64_t begin, std::size_t count) const {
    Block block = integers::view(mWords.span(), begin, count);
    block.extent = mExtent;
    return block;
}

void Target::scatter(const Block& block, const std::uint64_t* places, std::size_t count, std::size_t width) {
    if (mWords) {
        integers::scatter(block, places, count, width, *mWords);
        return;
    }
    std::array<double, integers::kBlock> values;
    integers::store(block, count, width, values.data());
    for (std::size_t i = 0; i < count; ++i) {
        mDoubles[places[i]] = values[i];
    }
}

std::optional<bool> Target::signOfZero(std::uint64_t place) const {
    if (mWords) {
        return mWords->isZero(place) ? std::optional(mWords->isNegative(place)) : std::nullopt;
    }
    return mDoubles[place] == 0.0 ? std::optional(std::signbit(mDoubles[place])) : std::nullopt;
}

}  // namespace tolvane::detail::wide
