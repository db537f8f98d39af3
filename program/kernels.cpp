#include "program/kernels.h"

#include <cmath>

#include "program/log_access.h"
#include "program/random_seed.h"

namespace tolvane::detail {

namespace {

using integers::MoreOverflow;
using integers::MoreRounding;
using Round = embedded::RoundModeEnum;
using Overflow = embedded::OverflowModeEnum;

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

namespace {

/// The bits that a format's words need for values of a range. What is cut off depends on their unit; without one, each
/// has its own.
int bitsNeeded(const fixed_format& place, const value_range& before, std::optional<int> unit) {
    std::uint64_t random = 0;
    const integers::Format words = formatOf(place, &random);
    // Rounding keeps the order, so the extremes need the most bits. They are rounded to words that hold them.
    const int fraction = place.type().fraction;
    int needed = 1;
    for (const exact_value& value : {before.least, before.greatest}) {
        if (value.is_zero()) {
            continue;
        }
        const int lowest = unit.value_or(value.exponent());
        integers::Format format = words;
        format.grid = {-fraction, std::max(value.magnitude_exponent() + fraction, 0) + 3, true};
        format.overflow = Overflow::Wrap;
        format.moreOverflow = MoreOverflow::none;
        if (format.moreRounding == MoreRounding::stochastic) {
            format.moreRounding = MoreRounding::awayFromZero;  // the farthest that it may go
        }
        const integers::Extent extent{lowest, value.magnitude_exponent() - lowest + 1, true};
        const std::size_t width =
            integers::widthFor(std::max(integers::neededBits(format, extent), integers::neededBits(extent) + 1));
        Arena arena(width, 1);
        Block block = arena.next();
        std::ranges::copy(value.magnitude(), block.limbs);
        block.extent = {value.exponent(), value.bits(), true};
        integers::align(lowest, 1, width, block);
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
            rounded.is_negative() && rounded.bits() == 1 && words.moreOverflow != MoreOverflow::symmetric;
        const bool needsSign = place.type().is_signed || before.least.is_negative();
        needed = std::max(needed, rounded.magnitude_exponent() + (isLeastWord ? 0 : 1) + (needsSign ? 1 : 0));
    }
    return needed;
}

}  // namespace

void addRecord(const fixed_format& format, std::optional<int> unit, const value_range& before, const value_range& after,
               std::uint64_t values, std::uint64_t overflows, std::uint64_t underflows, std::uint64_t epoch) {
    LogAccess::add({format.name().empty() ? format.text() : format.name(), format, before, after, values, overflows,
                    underflows, bitsNeeded(format, before, unit)},
                   epoch);
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

void Place::close() {
    if (!mIsLogged || mValues == 0) {
        return;
    }
    addRecord(mPublic, mHasDoubles ? std::nullopt : std::optional(mBefore.exponent),
              mHasDoubles ? mDoublesBefore : rangeOf(mBefore), rangeOf(mAfter), mValues, mOverflows, mUnderflows);
}

}  // namespace tolvane::detail
