// Multi-precision values for wide words, and the steps of a quantizer written directly on MPFR.
#pragma once

#include <gmp.h>
#include <mpfr.h>

#include <vector>

/// Values of one precision.
class WideArray {
 public:
    WideArray(std::size_t count, mpfr_prec_t precision) : mValues(count) {
        for (auto& value : mValues) {
            mpfr_init2(&value, precision);
        }
    }
    ~WideArray() {
        for (auto& value : mValues) {
            mpfr_clear(&value);
        }
    }
    WideArray(WideArray&&) noexcept = default;
    WideArray& operator=(WideArray&&) = delete;
    std::size_t size() const { return mValues.size(); }
    mpfr_ptr operator[](std::size_t i) { return &mValues[i]; }
    mpfr_srcptr operator[](std::size_t i) const { return &mValues[i]; }

 private:
    std::vector<__mpfr_struct> mValues;
};

/// Evenly distributed values in [-0.5, 0.5), as precise as the variables that they go into.
class WideRandom {
 public:
    explicit WideRandom(unsigned long seed) {
        gmp_randinit_default(mState);
        gmp_randseed_ui(mState, seed);
    }
    ~WideRandom() { gmp_randclear(mState); }
    WideRandom(const WideRandom&) = delete;
    WideRandom& operator=(const WideRandom&) = delete;
    void next(mpfr_ptr x) {
        mpfr_urandomb(x, mState);
        mpfr_sub_d(x, x, 0.5, MPFR_RNDN);
    }

 private:
    gmp_randstate_t mState;
};

/// The steps of a quantizer of signed words: nearest at the last bit, then the bounds.
class DirectQuantizer {
 public:
    DirectQuantizer(int wordBits, int fractionBits) : mFraction(fractionBits), mConstants(3, wordBits + 1) {
        mpfr_set_d(mConstants[0], 0.5, MPFR_RNDN);
        mpfr_set_si_2exp(mConstants[1], 1, wordBits - 1, MPFR_RNDN);
        mpfr_sub_ui(mConstants[1], mConstants[1], 1, MPFR_RNDN);
        mpfr_mul_2si(mConstants[1], mConstants[1], -fractionBits, MPFR_RNDN);
        mpfr_set_si_2exp(mConstants[2], -1, wordBits - 1 - fractionBits, MPFR_RNDN);
    }
    void quantize(mpfr_ptr x) const {
        if (mpfr_zero_p(x)) {
            return;
        }
        mpfr_mul_2si(x, x, mFraction, MPFR_RNDN);
        mpfr_add(x, x, mConstants[0], MPFR_RNDN);
        mpfr_rint(x, x, MPFR_RNDD);
        mpfr_mul_2si(x, x, -mFraction, MPFR_RNDN);
        if (mpfr_greater_p(x, mConstants[1])) {
            mpfr_set(x, mConstants[1], MPFR_RNDZ);
        } else if (mpfr_less_p(x, mConstants[2])) {
            mpfr_set(x, mConstants[2], MPFR_RNDZ);
        }
    }

 private:
    int mFraction;
    WideArray mConstants;
};
