#include "numbers/wordarray.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <functional>
#include <utility>

#include "numbers/gmpinteger.h"

namespace tolvane::detail {

namespace {

constexpr int kLimbBits = WordGrid::kLimbBits;
constexpr std::uint64_t kUnitBits = 64;

std::uint64_t unitsFor(std::uint64_t count) {
    return count / kUnitBits + (count % kUnitBits != 0 ? 1 : 0);
}

/// The magnitude of a word, and its sign. Short words need no memory.
class Magnitude {
 public:
    Magnitude(std::span<const mp_limb_t> word, bool isSigned)
        : mIsNegative(isSigned && (word.back() >> (kLimbBits - 1)) != 0), mLimbs(word.data()), mCount(word.size()) {
        if (mIsNegative) {
            mp_limb_t* const out =
                mCount <= mSmall.size() ? mSmall.data() : (mLarge = allocateHostZeros<mp_limb_t>(mCount, 1)).get();
            mpn_neg(out, word.data(), static_cast<mp_size_t>(mCount));
            mLimbs = out;
        }
        while (mCount > 0 && mLimbs[mCount - 1] == 0) {
            --mCount;
        }
    }
    Magnitude(const Magnitude&) = delete;
    Magnitude& operator=(const Magnitude&) = delete;

    bool isNegative() const { return mIsNegative; }
    const mp_limb_t* limbs() const { return mLimbs; }
    /// Without leading zeros.
    std::size_t count() const { return mCount; }

 private:
    bool mIsNegative;
    const mp_limb_t* mLimbs;
    std::size_t mCount;
    std::array<mp_limb_t, 16> mSmall;  // set only for a word below zero
    HostMemory<mp_limb_t> mLarge;
};

}  // namespace

wordarray::wordarray(std::uint64_t count, const WordGrid& grid)
    : mGrid(grid),
      mLimbsPerWord(grid.limbs()),
      mCount(count),
      mLimbs(allocateHostZeros<mp_limb_t>(count, mLimbsPerWord)) {}

wordarray::wordarray(std::uint64_t count, const WordGrid& grid, Uninitialised /*tag*/)
    : mGrid(grid), mLimbsPerWord(grid.limbs()), mCount(count) {
    std::uint64_t bytes = 0;
    if (__builtin_mul_overflow(count, mLimbsPerWord * sizeof(mp_limb_t), &bytes)) {
        raiseOutOfMemory();
    }
    if (bytes != 0) {
        mLimbs.reset(static_cast<mp_limb_t*>(allocateHostBytes(bytes)));
    }
}

wordarray::wordarray(const wordarray& source, std::uint64_t start, std::uint64_t count)
    : wordarray(count, source.mGrid) {
    copyRun(source.span(), start, 0, count);
}

wordarray::wordarray(const wordarray& source, const WordGrid& grid) : wordarray(source.mCount, grid) {
    for (std::uint64_t i = 0; i < mCount; ++i) {
        const std::span<const mp_limb_t> from = source.word(i);
        const std::span<mp_limb_t> to = word(i);
        const bool isNegative = source.mGrid.isSigned && from.back() >> (kLimbBits - 1) != 0;
        const auto rest = std::ranges::copy(from, to.begin()).out;
        std::fill(rest, to.end(), isNegative ? ~mp_limb_t{0} : 0);
        if (source.hasNegativeZero(i)) {
            setNegativeZero(i, true);
        }
    }
}

bool wordarray::isZero(std::uint64_t index) const {
    return std::ranges::all_of(word(index), [](mp_limb_t limb) { return limb == 0; });
}

bool wordarray::isNegative(std::uint64_t index) const {
    return (mGrid.isSigned && (word(index).back() >> (kLimbBits - 1)) != 0) || hasNegativeZero(index);
}

void wordarray::load(std::uint64_t index, mpfr_ptr out) const {
    const Magnitude magnitude(word(index), mGrid.isSigned);
    if (magnitude.count() == 0) {
        mpfr_set_zero(out, hasNegativeZero(index) ? -1 : 1);
        return;
    }
    mpz_t integer;
    mpfr_set_z_2exp(out, mpz_roinit_n(integer, magnitude.limbs(), static_cast<mp_size_t>(magnitude.count())),
                    mGrid.exponent, MPFR_RNDN);
    if (magnitude.isNegative()) {
        mpfr_neg(out, out, MPFR_RNDN);
    }
}

double wordarray::toDouble(std::uint64_t index) const {
    const Magnitude magnitude(word(index), mGrid.isSigned);
    if (magnitude.count() == 0) {
        return hasNegativeZero(index) ? -0.0 : 0.0;
    }
    // The leading 64 bits, with whatever lies below them as a last bit, round as the whole.
    const std::size_t last = magnitude.count() - 1;
    const mp_limb_t* const limbs = magnitude.limbs();
    const int zeros = std::countl_zero(limbs[last]);
    mp_limb_t leading = limbs[last] << zeros;
    bool hasMore = false;
    if (last > 0) {
        leading |= zeros == 0 ? 0 : limbs[last - 1] >> (kLimbBits - zeros);
        hasMore = (limbs[last - 1] << zeros) != 0 ||
                  std::any_of(limbs, limbs + last - 1, [](mp_limb_t limb) { return limb != 0; });
    }
    leading |= hasMore ? 1 : 0;
    const std::int64_t exponent = mGrid.exponent + static_cast<std::int64_t>(last) * kLimbBits - zeros;
    constexpr std::int64_t kSafeExponent = 900;
    double size = 0.0;
    if (exponent >= -kSafeExponent && exponent <= kSafeExponent) {
        size = std::ldexp(static_cast<double>(leading), static_cast<int>(exponent));
    } else {
        // Subnormal results are rounded once, too.
        mpfr_t value;
        mp_limb_t significand = leading;
        mpfr_custom_init_set(value, MPFR_REGULAR_KIND, exponent + kLimbBits, kLimbBits, &significand);
        size = mpfr_get_d(value, MPFR_RNDN);
    }
    return magnitude.isNegative() ? -size : size;
}

bool wordarray::store(std::uint64_t index, mpfr_srcptr value) {
    const std::span<mp_limb_t> out = word(index);
    const bool isNegative = mpfr_signbit(value) != 0;
    if (mpfr_zero_p(value) != 0) {
        setNegativeZero(index, isNegative);
        std::ranges::fill(out, 0);
        return true;
    }
    if (mpfr_regular_p(value) == 0 || (isNegative && !mGrid.isSigned)) {
        return false;
    }
    // The magnitude is below 2^bits on the grid, and the significand S means S * 2^-drop.
    const auto* const significand = static_cast<const mp_limb_t*>(mpfr_custom_get_significand(value));
    const auto length = static_cast<mp_size_t>((mpfr_get_prec(value) + kLimbBits - 1) / kLimbBits);
    const std::int64_t bits = mpfr_get_exp(value) - mGrid.exponent;
    const std::int64_t drop = length * kLimbBits - bits;
    const std::int64_t valueBits = mGrid.isSigned ? mGrid.bits - 1 : mGrid.bits;
    const auto trailing = static_cast<std::int64_t>(mpn_scan1(significand, 0));
    const bool isPowerOfTwo = trailing == length * kLimbBits - 1;
    if (bits <= 0 || trailing < drop || bits > valueBits + 1 ||
        (bits == valueBits + 1 && !(isNegative && isPowerOfTwo))) {
        return false;
    }
    std::ranges::fill(out, 0);
    const auto kept = static_cast<mp_size_t>((bits + kLimbBits - 1) / kLimbBits);
    if (drop >= 0) {
        const auto whole = static_cast<mp_size_t>(drop / kLimbBits);
        const auto rest = static_cast<unsigned>(drop % kLimbBits);
        // All but the lowest `length - whole` limbs of a shifted significand are zero.
        if (rest == 0) {
            std::copy_n(significand + whole, kept, out.data());
        } else {
            for (mp_size_t i = 0; i < kept; ++i) {
                const mp_limb_t above = i + whole + 1 < length ? significand[i + whole + 1] : 0;
                out[static_cast<std::size_t>(i)] =
                    significand[i + whole] >> rest | above << (static_cast<unsigned>(kLimbBits) - rest);
            }
        }
    } else {
        const auto whole = static_cast<mp_size_t>(-drop / kLimbBits);
        const auto rest = static_cast<unsigned>(-drop % kLimbBits);
        for (mp_size_t i = whole; i < kept; ++i) {
            const mp_size_t from = i - whole;
            const mp_limb_t here = from < length ? significand[from] << rest : 0;
            const mp_limb_t below =
                rest != 0 && from > 0 ? significand[from - 1] >> (static_cast<unsigned>(kLimbBits) - rest) : 0;
            out[static_cast<std::size_t>(i)] = here | below;
        }
    }
    if (isNegative) {
        mpn_neg(out.data(), out.data(), static_cast<mp_size_t>(out.size()));
    }
    if (hasNegativeZero(index)) {
        setNegativeZero(index, false);
    }
    return true;
}

void wordarray::makeNegativeZeros() {
    if (!mNegativeZeros) {
        mNegativeZeros = allocateHostZeros<std::uint64_t>(unitsFor(mCount), 1);
    }
}

void wordarray::setNegativeZeros(std::uint64_t index, std::size_t count, std::uint64_t signs) {
    if (signs != 0) {
        makeNegativeZeros();
    }
    if (!mNegativeZeros) {
        return;
    }
    const std::uint64_t mask = count == kUnitBits ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1;
    std::uint64_t* const unit = mNegativeZeros.get() + index / kUnitBits;
    const auto shift = static_cast<unsigned>(index % kUnitBits);
    unit[0] = (unit[0] & ~(mask << shift)) | signs << shift;
    if (shift != 0 && kUnitBits - shift < count) {
        const auto above = static_cast<unsigned>(kUnitBits) - shift;
        unit[1] = (unit[1] & ~(mask >> above)) | signs >> above;
    }
}

void wordarray::setNegativeZero(std::uint64_t index, bool isNegative) {
    if (isNegative) {
        makeNegativeZeros();
        mNegativeZeros.get()[index / kUnitBits] |= std::uint64_t{1} << (index % kUnitBits);
    } else if (mNegativeZeros) {
        mNegativeZeros.get()[index / kUnitBits] &= ~(std::uint64_t{1} << (index % kUnitBits));
    }
}

void wordarray::copyRun(const WordSpan& source, std::uint64_t from, std::uint64_t to, std::uint64_t count) {
    if (count == 0) {
        return;
    }
    std::copy_n(source.limbs + from * mLimbsPerWord, count * mLimbsPerWord, word(to).data());
    copySignsOfZeros(source, from, to, count);
}

void wordarray::copySignsOfZeros(const WordSpan& source, std::uint64_t from, std::uint64_t to, std::uint64_t count) {
    for (std::uint64_t i = 0; (source.negativeZeros || mNegativeZeros) && i < count; i += kUnitBits) {
        const std::size_t length = std::min(kUnitBits, count - i);
        setNegativeZeros(to + i, length, source.negativeZerosFrom(from + i, length));
    }
}

void wordarray::clearRun(std::uint64_t to, std::uint64_t count) {
    std::fill_n(mLimbs.get() + to * mLimbsPerWord, count * mLimbsPerWord, mp_limb_t{0});
    for (std::uint64_t i = 0; mNegativeZeros && i < count; i += kUnitBits) {
        setNegativeZeros(to + i, std::min(kUnitBits, count - i), 0);
    }
}

void wordarray::resize(std::uint64_t count) {
    wordarray fresh(count, mGrid);
    fresh.copyRun(span(), 0, 0, std::min(count, mCount));
    *this = std::move(fresh);
}

void wordarray::permute(std::span<const std::uint64_t> order) {
    wordarray fresh(mCount, mGrid);
    fresh.copyEach(
        span(), mCount, [order](std::uint64_t i) { return order[i]; }, std::identity());
    *this = std::move(fresh);
}

}  // namespace tolvane::detail
