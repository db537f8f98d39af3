#include "program/value_statistics.h"

#include <algorithm>
#include <bit>

#include "program/exact_value.h"

namespace tolvane::detail {

using integers::Block;

namespace {

constexpr unsigned kLimbBits = 64;

mp_size_t sizeOf(std::size_t width) {
    return static_cast<mp_size_t>(width);
}

bool isNegative(const mp_limb_t* x, std::size_t width) {
    return x[width - 1] >> (kLimbBits - 1) != 0;
}

/// The bits of an integer that isn't negative.
std::size_t lengthOf(const mp_limb_t* x, std::size_t width) {
    while (width > 0 && x[width - 1] == 0) {
        --width;
    }
    return width == 0 ? 0 : (width - 1) * kLimbBits + static_cast<std::size_t>(std::bit_width(x[width - 1]));
}

/// to = x * 2^shift, in more limbs.
void widen(const mp_limb_t* x, std::size_t from, unsigned shift, mp_limb_t* to, std::size_t width) {
    const mp_limb_t sign = isNegative(x, from) ? ~mp_limb_t{0} : 0;
    const std::size_t whole = shift / kLimbBits;
    std::fill_n(to, whole, 0);
    std::copy_n(x, from, to + whole);
    std::fill(to + whole + from, to + width, sign);
    if (shift % kLimbBits != 0) {
        mpn_lshift(to + whole, to + whole, sizeOf(width - whole), shift % kLimbBits);
    }
}

/// Many squares of up to 126 bits.
struct ShortSquares {
    Unsigned128 low = 0;
    mp_limb_t high = 0;
    void add(std::uint64_t magnitude) {
        const Unsigned128 square = Unsigned128{magnitude} * magnitude;
        low += square;
        high += low < square ? 1U : 0U;
    }
};

/// total = total + sum, in no fewer than three limbs.
void addTo(std::vector<mp_limb_t>& total, const ShortSquares& squares) {
    const mp_limb_t limbs[] = {static_cast<mp_limb_t>(squares.low), static_cast<mp_limb_t>(squares.low >> kLimbBits),
                               squares.high};
    mpn_add(total.data(), total.data(), sizeOf(total.size()), limbs, 3);
}

/// Adds the square of an integer that isn't negative.
void addSquare(const mp_limb_t* x, std::size_t width, std::vector<mp_limb_t>& scratch, std::vector<mp_limb_t>& total) {
    mpn_sqr(scratch.data(), x, sizeOf(width));
    mpn_add(total.data(), total.data(), sizeOf(total.size()), scratch.data(), sizeOf(2 * width));
}

std::uint64_t magnitudeOf(std::int64_t value) {
    return value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
}

}  // namespace

void MagnitudeCounts::add(const Block& block, std::size_t count, std::size_t width) {
    mCounts.resize(std::max(mCounts.size(), width * kLimbBits));
    mMagnitude.resize(std::max(mMagnitude.size(), width));
    for (std::size_t i = 0; i < count; ++i) {
        const mp_limb_t* x = block.limbs + i * width;
        const bool isBelow = isNegative(x, width);
        if (isBelow) {
            mpn_neg(mMagnitude.data(), x, sizeOf(width));
            x = mMagnitude.data();
        }
        const std::size_t length = lengthOf(x, width);
        ++(length == 0 ? mZeros : mCounts[length - 1][isBelow ? 1 : 0]);
    }
}

magnitude_histogram MagnitudeCounts::histogram(int exponent) const {
    magnitude_histogram result;
    result.zeros = mZeros;
    for (std::size_t i = 0; i < mCounts.size(); ++i) {
        const auto [positive, negative] = mCounts[i];
        if (positive + negative > 0) {
            result.powers[exponent + static_cast<int>(i)] = {positive, negative};
        }
    }
    return result;
}

void ErrorSums::open(const Block& before, const Block& after, std::size_t width) {
    mBeforeExponent = before.extent.exponent;
    mExponent = std::min(before.extent.exponent, after.extent.exponent);
    mShifts = {static_cast<unsigned>(before.extent.exponent - mExponent),
               static_cast<unsigned>(after.extent.exponent - mExponent)};
    // A limb more holds what the shift in the top limb and the difference need.
    mWidth = width + std::max(mShifts[0], mShifts[1]) / kLimbBits + 1;
    mGreatest.resize(mWidth);
    mSum.resize(mWidth + 1);
    mSquares.resize(2 * mWidth + 1);
    mSignalSquares.resize(2 * width + 1);
    mScratch.resize(4 * mWidth);
}

void ErrorSums::add(const Block& before, const Block& after, std::size_t count, std::size_t width) {
    if (mWidth == 0) {
        open(before, after, width);
    }
    constexpr unsigned kShortBits = 62;
    const auto isShort = [](const Block& block, unsigned shift) {
        return static_cast<unsigned>(block.extent.bits) + shift <= kShortBits;
    };
    if (isShort(before, mShifts[0]) && isShort(after, mShifts[1])) {
        addShort(before, after, count, width);
    } else {
        addLong(before, after, count, width);
    }
}

void ErrorSums::addShort(const Block& before, const Block& after, std::size_t count, std::size_t width) {
    ShortSquares squares;
    ShortSquares signal;
    Int128 sum = 0;
    std::uint64_t greatest = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const auto value = static_cast<std::int64_t>(before.limbs[i * width]);
        const auto made = static_cast<std::int64_t>(after.limbs[i * width]);
        const std::int64_t error = (made << mShifts[1]) - (value << mShifts[0]);
        const std::uint64_t size = magnitudeOf(error);
        sum += error;
        greatest = std::max(greatest, size);
        squares.add(size);
        signal.add(magnitudeOf(value));
    }
    std::fill_n(mScratch.data(), mWidth, 0);
    mScratch[0] = greatest;
    if (mpn_cmp(mScratch.data(), mGreatest.data(), sizeOf(mWidth)) > 0) {
        std::copy_n(mScratch.data(), mWidth, mGreatest.data());
    }
    const mp_limb_t limbs[] = {static_cast<mp_limb_t>(sum), static_cast<mp_limb_t>(sum >> kLimbBits)};
    widen(limbs, 2, 0, mScratch.data(), mSum.size());
    mpn_add_n(mSum.data(), mSum.data(), mScratch.data(), sizeOf(mSum.size()));
    addTo(mSquares, squares);
    addTo(mSignalSquares, signal);
}

void ErrorSums::addLong(const Block& before, const Block& after, std::size_t count, std::size_t width) {
    std::vector<mp_limb_t> error(mWidth + 1);
    std::vector<mp_limb_t> value(mWidth + 1);
    for (std::size_t i = 0; i < count; ++i) {
        widen(after.limbs + i * width, width, mShifts[1], error.data(), error.size());
        widen(before.limbs + i * width, width, mShifts[0], value.data(), value.size());
        mpn_sub_n(error.data(), error.data(), value.data(), sizeOf(error.size()));
        mpn_add_n(mSum.data(), mSum.data(), error.data(), sizeOf(mSum.size()));
        if (isNegative(error.data(), error.size())) {
            mpn_neg(error.data(), error.data(), sizeOf(error.size()));
        }
        if (mpn_cmp(error.data(), mGreatest.data(), sizeOf(mWidth)) > 0) {
            std::copy_n(error.data(), mWidth, mGreatest.data());
        }
        addSquare(error.data(), mWidth, mScratch, mSquares);
        std::copy_n(before.limbs + i * width, width, value.data());
        if (isNegative(value.data(), width)) {
            mpn_neg(value.data(), value.data(), sizeOf(width));
        }
        addSquare(value.data(), width, mScratch, mSignalSquares);
    }
}

error_sums ErrorSums::sums() const {
    if (mWidth == 0) {
        return {};
    }
    const auto valueOf = [](const std::vector<mp_limb_t>& limbs, bool isSigned, int exponent) {
        return exact_value::from_words(limbs.data(), limbs.size(), isSigned, exponent);
    };
    return {valueOf(mGreatest, false, mExponent), valueOf(mSum, true, mExponent),
            valueOf(mSquares, false, 2 * mExponent), valueOf(mSignalSquares, false, 2 * mBeforeExponent)};
}

}  // namespace tolvane::detail
