#include "quantization/integer_tally.h"

#include <algorithm>
#include <bit>

#include "numbers/mpnumber.h"
#include "numbers/wordarray.h"

namespace tolvane::detail::integers {

namespace {

bool isZero(const mp_limb_t* limbs, std::size_t width) {
    return std::all_of(limbs, limbs + width, [](mp_limb_t limb) { return limb == 0; });
}

/// Whether the magnitude has no more bits than given.
bool isBelow(const std::vector<mp_limb_t>& limbs, int bits) {
    const mp_limb_t sign = limbs.back() >> (WordGrid::kLimbBits - 1) != 0 ? ~mp_limb_t{0} : 0;
    for (std::size_t i = limbs.size(); i-- > 0;) {
        if (limbs[i] != sign) {
            return static_cast<int>(i + 1) * WordGrid::kLimbBits - std::countl_zero(limbs[i] ^ sign) <= bits;
        }
    }
    return true;
}

}  // namespace

void IntegerTally::clear() {
    mGreatest.zeros = Tally::none;
    mLeast.zeros = Tally::none;
    mValues = 0;
    mOverflows = 0;
    mUnderflows = 0;
}

/// Where limbs lie relative to an extreme.
IntegerTally::Order IntegerTally::orderOf(const mp_limb_t* limbs, const Extreme& held, bool isGreatest) const {
    if (mValues == 0) {
        return Order::beyond;
    }
    const int order = compare(limbs, held.limbs.data(), held.limbs.size());
    return order == 0 ? Order::equal : (order > 0) == isGreatest ? Order::beyond : Order::within;
}

void IntegerTally::join(Extreme& held, const mp_limb_t* limbs, unsigned zeros, bool isGreatest) const {
    const Order order = orderOf(limbs, held, isGreatest);
    if (order == Order::within) {
        return;
    }
    const unsigned own = isZero(limbs, held.limbs.size()) ? zeros : static_cast<unsigned>(Tally::none);
    if (order == Order::beyond) {
        std::copy_n(limbs, held.limbs.size(), held.limbs.begin());
        held.zeros = own;
    } else {
        held.zeros |= own;
    }
}

void IntegerTally::join(const Notes& notes, std::size_t values, int exponent) {
    join(mGreatest, notes.greatest, notes.zeros, true);
    join(mLeast, notes.least, notes.zeros, false);
    mExponent = exponent;
    mValues += values;
    mOverflows += notes.overflows;
    mUnderflows += notes.underflows;
}

void IntegerTally::append(const IntegerTally& next) {
    if (next.mValues == 0) {
        return;
    }
    if (orderOf(next.mGreatest.limbs.data(), mGreatest, true) == Order::beyond) {
        mGreatest = next.mGreatest;
    }
    if (orderOf(next.mLeast.limbs.data(), mLeast, false) == Order::beyond) {
        mLeast = next.mLeast;
    }
    mExponent = next.mExponent;
    mValues += next.mValues;
    mOverflows += next.mOverflows;
    mUnderflows += next.mUnderflows;
}

bool IntegerTally::isOpenFor(const qlogger& log) const {
    return (mGreatest.zeros == Tally::both && log.isMaxNegative()) ||
           (mLeast.zeros == Tally::both && log.isMinPositive());
}

bool IntegerTally::hasTinyExtremes() const {
    const int bits = kLeastDouble - mExponent;
    return mValues > 0 && bits > 0 && (isBelow(mGreatest.limbs, bits) || isBelow(mLeast.limbs, bits));
}

void IntegerTally::settle(bool isFirstZeroNegative) {
    const unsigned sign = isFirstZeroNegative ? Tally::minus : Tally::plus;
    mGreatest.zeros = mGreatest.zeros == Tally::both ? sign : mGreatest.zeros;
    mLeast.zeros = mLeast.zeros == Tally::both ? sign : mLeast.zeros;
}

bool IntegerTally::isOpenAfter(const IntegerTally& next, const qlogger& log) const {
    // A value that is too small for a double can become a zero in the log, whose sign depends on the order, too.
    const auto isOpen = [&](const Extreme& held, const Extreme& later, bool isGreatest) {
        return (later.zeros == Tally::both ||
                (next.mExponent < kLeastDouble && isBelow(later.limbs, kLeastDouble - next.mExponent))) &&
               orderOf(later.limbs.data(), held, isGreatest) == Order::beyond;
    };
    return (isOpen(mGreatest, next.mGreatest, true) && log.isMaxNegative()) ||
           (isOpen(mLeast, next.mLeast, false) && log.isMinPositive());
}

number IntegerTally::numberOf(const Extreme& extreme) const {
    const int bits = static_cast<int>(extreme.limbs.size()) * WordGrid::kLimbBits;
    wordarray word(1, {mExponent, bits, true});
    std::ranges::copy(extreme.limbs, word.limbs());
    word.setNegativeZero(0, extreme.zeros == Tally::minus);
    number result(0.0, static_cast<std::uint32_t>(bits), true);
    word.load(0, result.body().asMp()->getmodifiableelement());
    return result;
}

void IntegerTally::handTo(const qlogger& log) const {
    if (mValues > 0 && log.isLogging()) {
        log.addArrayStatistics(mValues, mOverflows, mUnderflows, numberOf(mGreatest), numberOf(mLeast));
    }
}

}  // namespace tolvane::detail::integers
