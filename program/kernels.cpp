#include "program/kernels.h"

#include <atomic>
#include <cmath>

#include "program/log_access.h"

namespace tolvane::detail {

namespace {

using integers::MoreOverflow;
using integers::MoreRounding;
using Round = embedded::RoundModeEnum;
using Overflow = embedded::OverflowModeEnum;

/// The sequences of stochastic rounding differ from place to place and are the same in every run.
std::uint64_t nextSeed() {
    static std::atomic<std::uint64_t> sSeed = 0;
    return sSeed.fetch_add(1, std::memory_order_relaxed) * 0xD1342543DE82EF95U + 1;
}

}  // namespace

integers::Format formatOf(const fixed_format& format, std::uint64_t* random) {
    struct RoundingRow {
        Round round;
        MoreRounding more = MoreRounding::none;
    };
    struct OverflowRow {
        Overflow overflow;
        MoreOverflow more = MoreOverflow::none;
    };
    // In the order of tolvane::rounding and tolvane::overflow.
    static constexpr RoundingRow kRoundings[] = {{Round::Ceil},
                                                 {Round::Convergent},
                                                 {Round::Fix},
                                                 {Round::Floor},
                                                 {Round::Nearest},
                                                 {Round::Round},
                                                 {Round::Floor, MoreRounding::nearestZero},
                                                 {Round::Floor, MoreRounding::nearestDown},
                                                 {Round::Floor, MoreRounding::nearestOdd},
                                                 {Round::Floor, MoreRounding::awayFromZero},
                                                 {Round::Floor, MoreRounding::jam},
                                                 {Round::Floor, MoreRounding::addSign},
                                                 {Round::Floor, MoreRounding::stochastic}};
    static constexpr OverflowRow kOverflows[] = {{Overflow::Saturate},
                                                 {Overflow::Wrap},
                                                 {Overflow::Saturate, MoreOverflow::symmetric},
                                                 {Overflow::Saturate, MoreOverflow::zero},
                                                 {Overflow::Wrap, MoreOverflow::keepSign}};
    const RoundingRow& rounding = kRoundings[static_cast<std::size_t>(format.rounding())];
    const OverflowRow& overflow = kOverflows[static_cast<std::size_t>(format.overflow())];
    return {gridOf(format.type()), rounding.round, overflow.overflow, rounding.more, overflow.more, random};
}

Place::Place(const fixed_format& format)
    : mPublic(format), mRandom(nextSeed()), mFormat(formatOf(format, &mRandom)), mIsLogged(LogAccess::isLogging()) {}

void Place::open(std::size_t width) {
    mWidth = width;
    if (mIsLogged) {
        mNotes.resize(2 * width);
        for (Extremes* const extremes : {&mBefore, &mAfter}) {
            extremes->least.resize(width);
            extremes->greatest.resize(width);
        }
    }
}

void Place::quantize(Block& block, std::size_t count) {
    if (!mIsLogged) {
        integers::quantize(mFormat, count, mWidth, block, nullptr);
        return;
    }
    note(mBefore, block, count);
    integers::Notes notes{mNotes.data(), mNotes.data() + mWidth};
    integers::quantize(mFormat, count, mWidth, block, &notes);
    join(mAfter, notes, block.extent.exponent);
    addCounts(notes, count);
}

std::size_t Place::kept(const Block& block, std::size_t count, Block& scratch) const {
    if (block.extent.exponent != mFormat.grid.exponent) {
        return 0;
    }
    // Nothing is rounded, and what overflows becomes another word.
    integers::copy(block, count, mWidth, scratch);
    integers::quantize(mFormat, count, mWidth, scratch, nullptr);
    const mp_limb_t* const begin = block.limbs;
    return static_cast<std::size_t>(std::mismatch(begin, begin + count * mWidth, scratch.limbs).first - begin) / mWidth;
}

void Place::quantize(const double* values, std::size_t count, Block& block) {
    if (!mIsLogged) {
        integers::quantize(mFormat, values, count, mWidth, block, nullptr);
        return;
    }
    const auto [least, greatest] = std::minmax_element(values, values + count);
    const value_range range{exact_value(*least), exact_value(*greatest)};
    mDoublesBefore = mHasDoubles ? value_range{std::min(mDoublesBefore.least, range.least),
                                               std::max(mDoublesBefore.greatest, range.greatest)}
                                 : range;
    mHasDoubles = true;
    integers::Notes notes{mNotes.data(), mNotes.data() + mWidth};
    integers::quantize(mFormat, values, count, mWidth, block, &notes);
    join(mAfter, notes, block.extent.exponent);
    addCounts(notes, count);
}

void Place::addCounts(const integers::Notes& notes, std::size_t count) {
    mValues += count;
    mOverflows += notes.overflows;
    mUnderflows += notes.underflows;
}

void Place::note(Extremes& extremes, const Block& block, std::size_t count) {
    integers::Notes notes{mNotes.data(), mNotes.data() + mWidth};
    integers::watch(block, count, mWidth, notes);
    join(extremes, notes, block.extent.exponent);
}

void Place::join(Extremes& extremes, const integers::Notes& notes, int exponent) {
    // All blocks of a place come in one unit.
    if (!extremes.isAny || integers::compare(notes.greatest, extremes.greatest.data(), mWidth) > 0) {
        std::copy_n(notes.greatest, mWidth, extremes.greatest.begin());
    }
    if (!extremes.isAny || integers::compare(notes.least, extremes.least.data(), mWidth) < 0) {
        std::copy_n(notes.least, mWidth, extremes.least.begin());
    }
    extremes.isAny = true;
    extremes.exponent = exponent;
}

value_range Place::rangeOf(const Extremes& extremes) const {
    const auto valueOf = [&](const std::vector<mp_limb_t>& limbs) {
        return exact_value::from_words(limbs.data(), limbs.size(), true, extremes.exponent);
    };
    return {valueOf(extremes.least), valueOf(extremes.greatest)};
}

int Place::bitsNeeded(const value_range& before) const {
    // Rounding keeps the order, so the extremes need the most bits. They are rounded to words that hold them.
    const int fraction = mPublic.type().fraction;
    int needed = 1;
    for (const exact_value& value : {before.least, before.greatest}) {
        if (value.is_zero()) {
            continue;
        }
        const int unit = mHasDoubles ? value.exponent() : mBefore.exponent;
        integers::Format format = mFormat;
        format.grid = {-fraction, std::max(value.magnitude_exponent() + fraction, 0) + 3, true};
        format.overflow = Overflow::Wrap;
        format.moreOverflow = MoreOverflow::none;
        if (format.moreRounding == MoreRounding::stochastic) {
            format.moreRounding = MoreRounding::awayFromZero;  // the farthest that it may go
        }
        const integers::Extent extent{unit, value.magnitude_exponent() - unit + 1, true};
        const std::size_t width =
            integers::widthFor(std::max(integers::neededBits(format, extent), integers::neededBits(extent) + 1));
        Arena arena(width, 1);
        Block block = arena.next();
        std::ranges::copy(value.magnitude(), block.limbs);
        block.extent = {value.exponent(), value.bits(), true};
        integers::align(unit, 1, width, block);
        if (value.is_negative()) {
            integers::negate(1, width, block);
        }
        block.extent = extent;
        integers::quantize(format, 1, width, block, nullptr);
        const exact_value rounded = exact_value::from_words(block.limbs, width, true, 0);
        if (rounded.is_zero()) {
            continue;
        }
        const bool isLeastWord =
            rounded.is_negative() && rounded.bits() == 1 && mFormat.moreOverflow != MoreOverflow::symmetric;
        const bool needsSign = mPublic.type().is_signed || before.least.is_negative();
        needed = std::max(needed, rounded.magnitude_exponent() + (isLeastWord ? 0 : 1) + (needsSign ? 1 : 0));
    }
    return needed;
}

void Place::close() {
    if (!mIsLogged || mValues == 0) {
        return;
    }
    const value_range before = mHasDoubles ? mDoublesBefore : rangeOf(mBefore);
    place_record record{mPublic.name().empty() ? mPublic.text() : mPublic.name(),
                        mPublic,
                        before,
                        rangeOf(mAfter),
                        mValues,
                        mOverflows,
                        mUnderflows,
                        bitsNeeded(before)};
    LogAccess::add(record);
}

}  // namespace tolvane::detail
