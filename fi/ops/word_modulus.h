// The data shared by bit operations on entries of one type, computed once for a whole array: for doubles and for
// multi-precision entries.
#pragma once

#include <gmp.h>
#include <mpfr.h>

#include <cstdint>

#include "descriptors/NumericType.h"
#include "numbers/bit_words.h"
#include "numbers/gmpinteger.h"
#include "numbers/mpscratch.h"

namespace tolvane::detail {

/// Doubles hold words of up to 52 bits; the modulus of a wider one is 0 here.
inline WordFormat wordFormatOf(const EmbeddedTypeSystem::NumericType& type) {
    const int bits = type.getWordLength();
    return {type.isSigned(), bits, type.getFixedExponent(), bits >= 0 && bits < 64 ? std::uint64_t{1} << bits : 0};
}

class WordModulus {
 public:
    explicit WordModulus(int wordBits) {
        mpfr_set_ui_2exp(mTwoToWordlength, 1, wordBits, MPFR_RNDN);
        if (wordBits > 0) {
            // 2^n - 1
            setBit(mOnes, static_cast<mp_bitcnt_t>(wordBits));
            mpz_sub_ui(mOnes.withRoom(mOnes.limbs()), mOnes, 1);
        }
    }
    ~WordModulus() = default;
    WordModulus(const WordModulus&) = delete;
    WordModulus& operator=(const WordModulus&) = delete;

    mpfr_srcptr twoToWordlength() const { return mTwoToWordlength; }
    mpz_srcptr ones() const { return mOnes; }

 private:
    mpscratch mTwoToWordlength{MPFR_PREC_MIN};
    gmpinteger mOnes;
};

}  // namespace tolvane::detail
