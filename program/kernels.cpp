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
    integers::Format made{gridOf(format.type()), Round::Floor, Overflow::Saturate};
    made.random = random;
    switch (format.rounding()) {
        case rounding::ceil:
            made.round = Round::Ceil;
            break;
        case rounding::convergent:
            made.round = Round::Convergent;
            break;
        case rounding::toward_zero:
            made.round = Round::Fix;
            break;
        case rounding::floor:
            break;
        case rounding::nearest:
            made.round = Round::Nearest;
            break;
        case rounding::nearest_away:
            made.round = Round::Round;
            break;
        case rounding::nearest_zero:
            made.moreRounding = MoreRounding::nearestZero;
            break;
        case rounding::nearest_down:
            made.moreRounding = MoreRounding::nearestDown;
            break;
        case rounding::nearest_odd:
            made.moreRounding = MoreRounding::nearestOdd;
            break;
        case rounding::away_from_zero:
            made.moreRounding = MoreRounding::awayFromZero;
            break;
        case rounding::jam:
            made.moreRounding = MoreRounding::jam;
            break;
        case rounding::add_sign:
            made.moreRounding = MoreRounding::addSign;
            break;
        case rounding::stochastic:
            made.moreRounding = MoreRounding::stochastic;
            break;
    }
    switch (format.overflow()) {
        case overflow::saturate:
            break;
        case overflow::wrap:
            made.overflow = Overflow::Wrap;
            break;
        case overflow::symmetric:
            made.moreOverflow = MoreOverflow::symmetric;
            break;
        case overflow::zero:
            made.moreOverflow = MoreOverflow::zero;
            break;
        case overflow::keep_sign:
            made.overflow = Overflow::Wrap;
            made.moreOverflow = MoreOverflow::keepSign;
            break;
    }
    return made;
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
    mValues += count;
    mOverflows += notes.overflows;
    mUnderflows += notes.underflows;
}

void Place::quantize(const double* values, std::size_t count, Block& block) {
    if (mIsLogged) {
        const auto [least, greatest] = std::minmax_element(values, values + count);
        const value_range range{exact_value(*least), exact_value(*greatest)};
        mDoublesBefore = mHasDoubles ? value_range{std::min(mDoublesBefore.least, range.least),
                                                   std::max(mDoublesBefore.greatest, range.greatest)}
                                     : range;
        mHasDoubles = true;
    }
    integers::Notes notes{mNotes.data(), mNotes.data() + mWidth};
    integers::quantize(mFormat, values, count, mWidth, block, mIsLogged ? &notes : nullptr);
    if (mIsLogged) {
        join(mAfter, notes, block.extent.exponent);
        mValues += count;
        mOverflows += notes.overflows;
        mUnderflows += notes.underflows;
    }
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
    int needed = 1;
    for (const exact_value& value : {before.least, before.greatest}) {
        if (value.is_zero()) {
            continue;
        }
        const int whole = std::max(value.magnitude_exponent() + mPublic.type().fraction, 0) + 3;
        const int shift = -mPublic.type().fraction - value.exponent();
        const int bits = std::max(whole + std::max(shift, 0), value.bits() + 2);
        const std::size_t width = integers::widthFor(bits + std::max(-shift, 0));
        Arena arena(width, 1);
        Block block = arena.next();
        std::fill_n(block.limbs, width, 0);
        std::copy(value.magnitude().begin(), value.magnitude().end(), block.limbs);
        block.extent = {value.exponent(), value.bits(), true};
        if (value.is_negative()) {
            integers::negate(1, width, block);
            block.negativeZeros = 0;
            block.extent = {value.exponent(), value.bits(), true};
        }
        std::uint64_t random = mRandom;
        integers::Format format = mFormat;
        format.grid.bits = whole;
        format.grid.isSigned = true;
        format.overflow = Overflow::Wrap;
        format.moreOverflow = MoreOverflow::none;
        if (format.moreRounding == MoreRounding::stochastic) {
            format.moreRounding = MoreRounding::awayFromZero;  // the farthest that it may go
        }
        format.random = &random;
        integers::quantize(format, 1, width, block, nullptr);
        const exact_value rounded = exact_value::from_words(block.limbs, width, true, 0);
        if (rounded.is_zero()) {
            continue;
        }
        const int bitsOfSize = rounded.magnitude_exponent() + 1;
        const bool isLeastWord =
            rounded.is_negative() && rounded.bits() == 1 && mFormat.moreOverflow != MoreOverflow::symmetric;
        const bool needsSign = mPublic.type().is_signed || before.least.is_negative();
        needed = std::max(needed, bitsOfSize - (isLeastWord ? 1 : 0) + (needsSign ? 1 : 0));
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
