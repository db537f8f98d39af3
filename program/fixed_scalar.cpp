#include "program/fixed_scalar.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "program/fixed_array.h"
#include "program/kernels.h"
#include "program/log_access.h"
#include "program/random_seed.h"

namespace tolvane {

using detail::Int128;
using detail::Leaf;
using detail::UnitPlace;

/// The variables that note for logs, with the threads that they met the logs on.
class detail::ScalarRegistry {
 public:
    static ScalarRegistry& instance() {
        static auto* const sRegistry = new ScalarRegistry;  // variables may outlive this file's statics
        return *sRegistry;
    }
    void add(fixed_scalar& x) {
        const std::lock_guard guard(mLock);
        if (x.mPlace == fixed_scalar::kUnlisted) {
            mEntries.push_back({&x, std::this_thread::get_id()});
            x.mPlace = mEntries.size() - 1;
        } else {
            mEntries[x.mPlace].thread = std::this_thread::get_id();
        }
    }
    void remove(fixed_scalar& x) {
        if (x.mPlace == fixed_scalar::kUnlisted) {
            return;
        }
        const std::lock_guard guard(mLock);
        mEntries[x.mPlace] = mEntries.back();
        mEntries[x.mPlace].variable->mPlace = x.mPlace;
        mEntries.pop_back();
        x.mPlace = fixed_scalar::kUnlisted;
    }
    void handOverThread() {
        const std::lock_guard guard(mLock);
        for (const Entry& entry : mEntries) {
            if (entry.thread == std::this_thread::get_id()) {
                entry.variable->handOver();
            }
        }
    }

 private:
    struct Entry {
        fixed_scalar* variable;
        std::thread::id thread;
    };
    std::mutex mLock;
    std::vector<Entry> mEntries;
};

void detail::handOverVariables() {
    ScalarRegistry::instance().handOverThread();
}

struct detail::LongReference::Held {
    exact_value value;
    std::atomic<int> references = 1;
};
detail::LongReference::LongReference(exact_value value) : mHeld(new Held{std::move(value)}) {}
const exact_value& detail::LongReference::operator*() const {
    return mHeld->value;
}
void detail::LongReference::retain(Held* held) {
    held->references.fetch_add(1, std::memory_order_relaxed);
}
void detail::LongReference::release(Held* held) {
    if (held->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete held;
    }
}

template <class Int>
bool UnitPlace<Int>::meet(const fixed_format& format, Int& value, int exponent, std::uint64_t epoch) {
    if (place.limit >= 0) {
        if (value == 0) {
            return true;
        }
        // Adding the sign depends on whether anything can be cut off, so there the unit has to be the value's.
        if (exponent > unit && format.rounding() != tolvane::rounding::add_sign) {
            bool isTooLong = false;
            const Int moved = detail::raised(value, exponent - unit, isTooLong);
            if (!isTooLong) {
                value = moved;
            }
            return !isTooLong;
        }
    }
    detail::handOver(format, unit, place.notes, epoch);
    const std::uint64_t seed = place.random != 0 ? place.random : detail::nextSeed();
    unit = exponent;
    if (!detail::makeNarrowPlace(format, exponent, seed, place)) {
        place.limit = -1;
        return false;
    }
    return true;
}
template struct detail::UnitPlace<std::int64_t>;
template struct detail::UnitPlace<Int128>;

exact_value Leaf::scaledValue(Int128 word, int exponent) {
    const std::uint64_t limbs[] = {static_cast<std::uint64_t>(word), static_cast<std::uint64_t>(word >> 64)};
    return exact_value::from_words(limbs, 2, true, exponent);
}

Leaf detail::leafOf(const exact_value& value) {
    constexpr int kMostBits = 126;
    if (value.bits() > kMostBits) {
        return {LongReference(value), 0};
    }
    detail::Unsigned128 magnitude = 0;
    for (std::size_t i = value.magnitude().size(); i-- > 0;) {
        magnitude = magnitude << 64 | value.magnitude()[i];
    }
    const auto word = static_cast<Int128>(magnitude);
    return {value.is_negative() ? -word : word, value.exponent(), 0};
}

void detail::refuseConstant(double value, int bits) {
    const exact_value exact(value);
    throw error("tolvane:array:constant",
                "The constant " + exact.text() + " has " + std::to_string(exact.bits()) +
                    " significant bits, more than the words of " + std::to_string(bits) +
                    " bits beside it. Quantize it first, by a variable of its own, or write an exact_value.");
}

fixed_scalar::fixed_scalar(fixed_format format) : mFormat(std::move(format)) {
    mShort.unit = -mFormat.type().fraction;
}
fixed_scalar::fixed_scalar(const fixed_scalar& other)
    : mFormat(other.mFormat), mLow(other.mLow), mHigh(other.mHigh), mLong(other.mLong) {
    mShort.unit = other.mShort.unit;
}
fixed_scalar::~fixed_scalar() {
    handOver();
    detail::ScalarRegistry::instance().remove(*this);
}

void fixed_scalar::handOver() {
    detail::handOver(mFormat, mShort.unit, mShort.place.notes, mEpoch);
    if (mMiddle) {
        detail::handOver(mFormat, mMiddle->unit, mMiddle->place.notes, mEpoch);
    }
}

void fixed_scalar::meetLogs() {
    handOver();
    mEpoch = detail::currentLogEpoch.load(std::memory_order_relaxed);
    mIsLogged = LogAccess::isLogging();
    mIsSlow = LogAccess::wantsMore();
    if (mIsLogged) {
        detail::ScalarRegistry::instance().add(*this);
    } else {
        detail::ScalarRegistry::instance().remove(*this);
    }
    if (mShort.place.limit < 0) {
        std::int64_t one = 1;
        mShort.meet(mFormat, one, mShort.unit, mEpoch);
    }
}

bool fixed_scalar::setElsewhere(std::int64_t value, int exponent) {
    if (mIsSlow || (exponent != mShort.unit && !mShort.meet(mFormat, value, exponent, mEpoch)) ||
        !mShort.serves(value)) {
        return false;
    }
    setShortWord(value);
    return true;
}

bool fixed_scalar::setMiddle(Int128 value, int exponent) {
    if (detail::currentLogEpoch.load(std::memory_order_relaxed) != mEpoch) {
        meetLogs();
    }
    if (mIsSlow) {
        return false;
    }
    if (!mMiddle) {
        mMiddle = std::make_unique<UnitPlace<Int128>>();
        mMiddle->unit = exponent + 1;
    }
    if ((exponent != mMiddle->unit && !mMiddle->meet(mFormat, value, exponent, mEpoch)) || !mMiddle->serves(value)) {
        return false;
    }
    setWord(mIsLogged ? mMiddle->place.apply<true>(value) : mMiddle->place.apply<false>(value));
    return true;
}

void fixed_scalar::setWord(Int128 word) {
    mLow = static_cast<std::int64_t>(word);
    mHigh = static_cast<std::int64_t>(word >> 64);
    mLong = {};
}

void fixed_scalar::setAny(const exact_value& value, int exponent, const code_location& where) {
    const std::vector<exact_value> values{value};
    if (mFormat.rounding() == tolvane::rounding::add_sign && !value.is_zero()) {
        // Here it shows whether the expression has places that are cut off, even if they are zero.
        const fixed_type type = sfix(value.magnitude_exponent() - exponent + 2, -exponent);
        hold(cast(fixed_array(values, type), mFormat, where).at(0));
    } else {
        hold(fixed_array(values, mFormat, where).at(0));
    }
}

void fixed_scalar::setQuotient(const exact_value& dividend, const exact_value& divisor, const code_location& where) {
    // The operands are exact, so they are no places of a log.
    const auto single = [](const exact_value& value) { return constant_for(fixed_array(), value, true); };
    hold(divide(single(dividend), single(divisor), mFormat, where).at(0));
}

void fixed_scalar::hold(const exact_value& value) {
    constexpr int kMostBits = 126;
    const Leaf leaf = detail::leafOf(value);
    bool isTooLong = false;
    const detail::Term<Int128> term = leaf.term<Int128>(isTooLong);
    const int places = term.exponent + mFormat.type().fraction;
    isTooLong |= places < 0 && term.value != 0;
    const Int128 word = detail::raised(term.value, std::max(places, 0), isTooLong);
    if (isTooLong || value.bits() > kMostBits) {
        mLong = detail::LongReference(value);
    } else {
        setWord(word);
    }
}

namespace {

bool isWordOf(const fixed_type& type, std::int64_t word) {
    const int unused = 64 - type.bits;
    const auto pattern = static_cast<std::uint64_t>(word);
    return unused >= 0 && (type.is_signed ? static_cast<std::int64_t>(pattern << unused) >> unused == word
                                          : pattern << unused >> unused == pattern);
}

}  // namespace

void fixed_scalar::set_word(std::int64_t word) {
    const fixed_type& type = mFormat.type();
    if (!isWordOf(type, word)) {
        throw error("tolvane:array:word", std::to_string(word) + " is no word of " + type.text() + ".");
    }
    setWord(type.is_signed ? Int128{word} : static_cast<Int128>(static_cast<std::uint64_t>(word)));
}

fixed_scalar::operator fixed_array() const {
    const fixed_type& type = mFormat.type();
    if (!mLong && isWordOf(type, mLow) && (mHigh == mLow >> 63 || (!type.is_signed && mHigh == 0))) {
        return fixed_array::from_words({&mLow, 1}, type).reshaped({});  // which no log hears of
    }
    return fixed_array(std::vector<exact_value>{value()}, fixed_format(type)).reshaped({});
}

Leaf fixed_array::operator[](std::size_t index) const {
    constexpr int kMostBits = 127;
    const detail::WordSpan words = mReal->span();
    if (index >= words.count || mImag) {
        if (mImag) {
            throw error("tolvane:array:complex", "Elements of complex arrays are no expressions; use at and imag_at.");
        }
        (void)at(index);  // raises
    }
    const detail::WordGrid& grid = mReal->grid();
    if (grid.bits > kMostBits) {
        return {detail::LongReference(at(index)), grid.exponent, grid.bits};
    }
    const std::span<const mp_limb_t> word = mReal->word(index);
    const auto low = static_cast<std::int64_t>(word[0]);
    const std::int64_t high = word.size() > 1 ? static_cast<std::int64_t>(word[1]) : grid.isSigned ? low >> 63 : 0;
    return {low, high, grid.exponent, grid.bits, detail::LongReference()};
}

std::int64_t fixed_scalar::word() const {
    const int bits = mFormat.type().bits;
    if (bits > 64 || mLong) {
        throw error("tolvane:array:word", "Words of " + mFormat.type().text() + " are longer than 64 bits.");
    }
    return mLow;
}

}  // namespace tolvane
