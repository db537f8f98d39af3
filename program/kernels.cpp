#include "program/kernels.h"

#include <array>
#include <atomic>
#include <cassert>
#include <cmath>

#include "program/log_access.h"
#include "program/random_seed.h"
#include "program/value_statistics.h"

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

void setInteger(const exact_value& value, int exponent, std::size_t width, mp_limb_t* integer) {
    constexpr std::size_t kLimbBits = WordGrid::kLimbBits;
    std::fill_n(integer, width, 0);
    const auto shift = static_cast<std::size_t>(value.is_zero() ? 0 : value.exponent() - exponent);
    std::size_t at = shift / kLimbBits;
    for (const std::uint64_t limb : value.magnitude()) {
        integer[at] |= limb << shift % kLimbBits;
        if (shift % kLimbBits != 0 && at + 1 < width) {
            integer[at + 1] |= limb >> (kLimbBits - shift % kLimbBits);
        }
        ++at;
    }
    if (value.is_negative()) {
        mpn_neg(integer, integer, static_cast<mp_size_t>(width));
    }
}

int bitsNeeded(const fixed_format& format, const value_range& values, std::optional<int> unit) {
    // Rounding keeps the order, so the extremes need the most bits. They are rounded to words that hold them.
    const int fraction = format.type().fraction;
    integers::Format rounding = formatOf(format, nullptr);
    rounding.overflow = Overflow::Wrap;
    rounding.moreOverflow = MoreOverflow::none;
    if (rounding.moreRounding == MoreRounding::stochastic) {
        rounding.moreRounding = MoreRounding::awayFromZero;  // the farthest that it may go
    }
    const bool needsSign = format.type().is_signed || values.least.is_negative();
    int needed = 1;
    for (const exact_value& value : {values.least, values.greatest}) {
        if (value.is_zero()) {
            continue;
        }
        const int exponent = unit.value_or(value.exponent());
        rounding.grid = {-fraction, std::max(value.magnitude_exponent() + fraction, 0) + 3, true};
        const integers::Extent extent{exponent, value.magnitude_exponent() - exponent + 1, true};
        const std::size_t width =
            integers::widthFor(std::max(integers::neededBits(rounding, extent), integers::neededBits(extent) + 1));
        Arena arena(width, 1);
        Block block = arena.next();
        setInteger(value, exponent, width, block.limbs);
        block.extent = extent;
        integers::quantize(rounding, 1, width, block, nullptr);
        const exact_value rounded = exact_value::from_words(block.limbs, width, true, 0);
        if (rounded.is_zero()) {
            continue;
        }
        const bool isLeastWord =
            rounded.is_negative() && rounded.bits() == 1 && format.overflow() != tolvane::overflow::symmetric;
        needed = std::max(needed, rounded.magnitude_exponent() + (isLeastWord ? 0 : 1) + (needsSign ? 1 : 0));
    }
    return needed;
}

namespace {

std::string placeNameOf(const fixed_format& format) {
    return format.name().empty() ? format.text() : format.name();
}

}  // namespace

void addRecord(const fixed_format& format, int unit, const value_range& before, const value_range& after,
               std::uint64_t values, std::uint64_t overflows, std::uint64_t underflows, std::uint64_t moment,
               const code_location& where) {
    place_record made{
        placeNameOf(format), format, before, after, values, overflows, underflows, bitsNeeded(format, before, unit)};
    made.file = where.file_name();
    made.line = where.line();
    if (overflows > 0) {
        made.overflow_file = where.file_name();
        made.overflow_line = where.line();
    }
    LogAccess::add(made, moment);
}

/// What a place does for logs that want more than ranges and counts.
struct Place::More {
    std::optional<integers::Format> specified;  // if another format is in force
    std::optional<MagnitudeCounts> magnitudes;
    std::optional<ErrorSums> errors;
    std::optional<SampleChunk> samples;
    std::optional<Arena> arena;
    bool keepsBefore() const { return errors || samples; }
    Block before;
    Block shadow;  // quantized to the specified format
};

Place::Place(const fixed_format& format, const code_location& where)
    : mSpecified(format),
      mType(format.type()),
      mWhere(where),
      mRandom(nextSeed()),
      mFormat(formatOf(format, &mRandom)),
      mMoment(LogAccess::moment()),
      mIsLogged(LogAccess::isLogging()) {
    if (LogAccess::wantsMore()) {
        startMore();
    }
}

Place::~Place() = default;

void Place::startMore() {
    const LogAccess::Wishes wishes = LogAccess::wishes();
    const std::optional<LogAccess::Override> types = LogAccess::overrideOf(mType);
    if (!wishes.histogram && !wishes.errors && !wishes.samples && !types) {
        return;
    }
    mMore = std::make_unique<More>();
    if (wishes.histogram) {
        mMore->magnitudes.emplace();
    }
    if (wishes.errors) {
        mMore->errors.emplace();
    }
    if (wishes.samples) {
        mMore->samples.emplace();
    }
    if (types) {
        mSpecified = fixed_format(types->specified, mSpecified.rounding(), mSpecified.overflow(), mSpecified.name());
        mMore->specified = formatOf(mSpecified, &mRandom);
        mType = types->inForce;
        mFormat = formatOf(mType, nullptr);
    }
}

int Place::neededBits(const integers::Extent& x) const {
    const int needed = integers::neededBits(mFormat, x);
    return mMore && mMore->specified ? std::max(needed, integers::neededBits(*mMore->specified, x)) : needed;
}

void Place::takeValues() {
    for (integers::Format* const format : {&mFormat, mMore && mMore->specified ? &*mMore->specified : nullptr}) {
        if (format && format->moreRounding == MoreRounding::addSign) {
            // A value with places to cut off isn't a multiple of the last one that is kept.
            format->moreRounding = MoreRounding::none;
            format->round = Round::Fix;
        }
    }
}

void Place::open(std::size_t width) {
    mWidth = width;
    if (mIsLogged) {
        mNotes.resize(2 * width);
        for (Extremes* const extremes : {&mBefore, &mAfter}) {
            extremes->least.resize(width);
            extremes->greatest.resize(width);
        }
    }
    if (mMore) {
        mMore->arena.emplace(width, 2);
        mMore->before = mMore->arena->next();
        mMore->shadow = mMore->arena->next();
    }
}

void Place::quantize(Block& block, std::size_t count) {
    if (mMore) {
        quantizeWithMore(block, count);
        return;
    }
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

void Place::quantizeWithMore(Block& block, std::size_t count) {
    note(mBefore, block, count);
    if (mMore->magnitudes) {
        mMore->magnitudes->add(block, count, mWidth);
    }
    if (mMore->keepsBefore()) {
        integers::copy(block, count, mWidth, mMore->before);
    }
    if (mMore->specified) {
        integers::copy(block, count, mWidth, mMore->shadow);
        integers::Notes notes{mNotes.data(), mNotes.data() + mWidth};
        integers::quantize(*mMore->specified, count, mWidth, mMore->shadow, &notes);
        addCounts(notes, count);
    }
    integers::Notes notes{mNotes.data(), mNotes.data() + mWidth};
    integers::quantize(mFormat, count, mWidth, block, &notes);
    join(mAfter, notes, block.extent.exponent);
    if (!mMore->specified) {
        addCounts(notes, count);
    }
    if (mMore->errors) {
        mMore->errors->add(mMore->before, block, count, mWidth);
    }
    if (mMore->samples) {
        SampleChunk& samples = *mMore->samples;
        samples.exponentBefore = mMore->before.extent.exponent;
        samples.exponentAfter = block.extent.exponent;
        samples.width = mWidth;
        const Block* const from[] = {&mMore->before, &block};
        std::vector<std::uint64_t>* const to[] = {&samples.before, &samples.after};
        for (std::size_t i = 0; i < std::size(from); ++i) {
            to[i]->insert(to[i]->end(), from[i]->limbs, from[i]->limbs + count * mWidth);
        }
    }
}

void Place::quantize(const double* values, std::size_t count, Block& block) {
    assert(!mMore);
    if (!mIsLogged) {
        integers::quantize(mFormat, values, count, mWidth, block, nullptr);
        return;
    }
    if (count == 0) {
        return;
    }
    // Independent lanes, for each comparison takes longer than it takes to begin the next.
    constexpr std::size_t kLanes = 8;
    std::array<double, kLanes> least;
    std::array<double, kLanes> greatest;
    least.fill(values[0]);
    greatest.fill(values[0]);
    std::size_t i = 0;
    for (; i + kLanes <= count; i += kLanes) {
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            const double x = values[i + lane];
            least[lane] = x < least[lane] ? x : least[lane];
            greatest[lane] = x > greatest[lane] ? x : greatest[lane];
        }
    }
    for (; i < count; ++i) {
        least[0] = std::min(least[0], values[i]);
        greatest[0] = std::max(greatest[0], values[i]);
    }
    join(DoubleRange{*std::ranges::min_element(least), *std::ranges::max_element(greatest)});
    integers::Notes notes{mNotes.data(), mNotes.data() + mWidth};
    integers::quantize(mFormat, values, count, mWidth, block, &notes);
    join(mAfter, notes, block.extent.exponent);
    addCounts(notes, count);
}

void Place::join(const DoubleRange& range) {
    if (!mDoublesBefore) {
        mDoublesBefore = range;
        return;
    }
    mDoublesBefore->least = std::min(mDoublesBefore->least, range.least);
    mDoublesBefore->greatest = std::max(mDoublesBefore->greatest, range.greatest);
}

void Place::join(Extremes& extremes, std::int64_t least, std::int64_t greatest, int exponent) {
    integers::Notes notes{mNotes.data(), mNotes.data() + mWidth};
    const auto set = [&](mp_limb_t* limbs, std::int64_t value) {
        std::fill_n(limbs, mWidth, value < 0 ? ~mp_limb_t{0} : 0);
        limbs[0] = static_cast<mp_limb_t>(value);
    };
    set(notes.least, least);
    set(notes.greatest, greatest);
    join(extremes, notes, exponent);
}

template <class Value>
void Place::take(const integers::ShortNotes<Value>& notes, std::size_t count) {
    join(mAfter, notes.leastWord, notes.greatestWord, mFormat.grid.exponent);
    mValues += count;
    mOverflows += notes.overflows;
    mUnderflows += notes.underflows;
}

bool Place::leaves(const integers::Extent& x) const {
    return !mIsLogged && !mMore && integers::covers(mFormat, x) && mFormat.moreOverflow != MoreOverflow::symmetric;
}

bool Place::quantizeAll(const WordSpan& x, mp_limb_t* out) {
    integers::ShortNotes<std::int64_t> notes{};
    if (mMore || !integers::quantize(mFormat, x, out, mIsLogged ? &notes : nullptr)) {
        return false;
    }
    if (mIsLogged && x.count > 0) {
        join(mBefore, notes.least, notes.greatest, x.grid.exponent);
        take(notes, x.count);
    }
    return true;
}

bool Place::quantizeAll(std::span<const double> x, mp_limb_t* out) {
    integers::ShortNotes<double> notes{};
    if (mMore || !integers::quantize(mFormat, x, out, mIsLogged ? &notes : nullptr)) {
        return false;
    }
    if (mIsLogged && !x.empty()) {
        join(DoubleRange{notes.least, notes.greatest});
        take(notes, x.size());
    }
    return true;
}

void castWords(const WordSpan& x, Place& place, wordarray& out) {
    const integers::Extent extent = integers::extentOf(x.grid);
    const std::size_t width = integers::widthFor(std::max(place.neededBits(extent), integers::neededBits(extent)));
    place.open(width);
    if (place.quantizeAll(x, out.limbs())) {
        return;
    }
    Arena arena(width, 1);
    Block block = arena.next();
    forEachBlock(x.count, [&](std::uint64_t begin, std::size_t count) {
        integers::load(x, begin, count, width, block);
        place.quantize(block, count);
        store(block, count, width, out, begin);
    });
}

void castDoubles(std::span<const double> x, Place& place, wordarray& out) {
    const std::size_t width = integers::widthFor(place.type().bits + 1);
    place.open(width);
    if (place.quantizeAll(x, out.limbs())) {
        return;
    }
    Arena arena(width, 1);
    Block block = arena.next();
    forEachBlock(x.size(), [&](std::uint64_t begin, std::size_t count) {
        place.quantize(x.data() + begin, count, block);
        store(block, count, width, out, begin);
    });
}

template <class Int>
void castIntegers(std::span<const Int> x, Place& place, wordarray& out) {
    constexpr WordGrid kGrid{0, static_cast<int>(8 * sizeof(Int)), std::is_signed_v<Int>};
    if constexpr (sizeof(Int) == sizeof(mp_limb_t)) {
        castWords({reinterpret_cast<const mp_limb_t*>(x.data()), nullptr, x.size(), kGrid}, place, out);
        return;
    } else {
        // In parts that stay in the cache.
        constexpr std::size_t kPart = 16 * kBlock;
        std::array<mp_limb_t, kPart> words;
        const integers::Extent extent = integers::extentOf(kGrid);
        const std::size_t width = integers::widthFor(std::max(place.neededBits(extent), integers::neededBits(extent)));
        place.open(width);
        Arena arena(width, 1);
        Block block = arena.next();
        for (std::size_t done = 0; done < x.size(); done += kPart) {
            const std::size_t count = std::min(kPart, x.size() - done);
            integers::widen(x.subspan(done, count), words.data());
            const WordSpan part{words.data(), nullptr, count, kGrid};
            if (place.quantizeAll(part, out.limbs() + done * out.grid().limbs())) {
                continue;
            }
            forEachBlock(count, [&](std::uint64_t begin, std::size_t length) {
                integers::load(part, begin, length, width, block);
                place.quantize(block, length);
                store(block, length, width, out, done + begin);
            });
        }
    }
}
template void castIntegers(std::span<const std::int8_t> x, Place& place, wordarray& out);
template void castIntegers(std::span<const std::uint8_t> x, Place& place, wordarray& out);
template void castIntegers(std::span<const std::int16_t> x, Place& place, wordarray& out);
template void castIntegers(std::span<const std::uint16_t> x, Place& place, wordarray& out);
template void castIntegers(std::span<const std::int32_t> x, Place& place, wordarray& out);
template void castIntegers(std::span<const std::uint32_t> x, Place& place, wordarray& out);
template void castIntegers(std::span<const std::int64_t> x, Place& place, wordarray& out);
template void castIntegers(std::span<const std::uint64_t> x, Place& place, wordarray& out);

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

place_record Place::record() const {
    const value_range before =
        mDoublesBefore ? value_range{mDoublesBefore->least, mDoublesBefore->greatest} : rangeOf(mBefore);
    const std::optional<int> unit = mDoublesBefore ? std::nullopt : std::optional(mBefore.exponent);
    place_record made{placeNameOf(mSpecified),
                      mSpecified,
                      before,
                      rangeOf(mAfter),
                      mValues,
                      mOverflows,
                      mUnderflows,
                      bitsNeeded(mSpecified, before, unit)};
    made.file = mWhere.file_name();
    made.line = mWhere.line();
    if (mOverflows > 0) {
        made.overflow_file = mWhere.file_name();
        made.overflow_line = mWhere.line();
    }
    if (mMore && mMore->magnitudes) {
        made.histogram = mMore->magnitudes->histogram(mBefore.exponent);
    }
    if (mMore && mMore->errors) {
        made.errors = mMore->errors->sums();
    }
    return made;
}

void Place::close(std::span<const Place* const> places) {
    std::vector<overflow_event> events;
    std::uint64_t moment = LogAccess::kAnyMoment;
    bool hasSamples = false;
    for (const Place* const place : places) {
        if (place == nullptr || !place->mIsLogged || place->mValues == 0) {
            continue;
        }
        const place_record made = place->record();
        LogAccess::add(made, place->mMoment, place->mMore && place->mMore->samples ? &*place->mMore->samples : nullptr);
        hasSamples = hasSamples || (place->mMore && place->mMore->samples);
        moment = std::min(moment, place->mMoment);
        if (made.overflows == 0) {
            continue;
        }
        const auto found = std::ranges::find(events, made.name, &overflow_event::place);
        if (found != events.end()) {
            found->count += made.overflows;
        } else {
            events.push_back({made.name, made.format, made.overflows, place->mWhere});
        }
    }
    if (hasSamples) {
        LogAccess::endOperation();
    }
    if (!events.empty()) {
        LogAccess::announce(events, moment);
    }
}

}  // namespace tolvane::detail
