// Bit operations of multi-precision elements: the integer forms, and the refusals of the word forms.
#include <gmp.h>
#include <mpfr.h>

#include <algorithm>
#include <cassert>
#include <string>
#include <utility>

#include "numbers/bit_position.h"
#include "numbers/gmpinteger.h"
#include "numbers/internal_error.h"
#include "numbers/mpnumber.inl.h"
#include "numbers/mpscratch.h"
#include "numbers/services.h"
#include "numbers/storedinteger.h"

using namespace tolvane::detail;

namespace {

/// Returns the stored integer of x, which is changed. Only the word matters, so higher powers of two need not be built.
gmpinteger takeWord(mpfr_ptr x, int exponent, mpfr_srcptr twoToWordlength) {
    const mpfr_exp_t wordBits = mpfr_regular_p(twoToWordlength) ? mpfr_get_exp(twoToWordlength) - 1 : 0;
    return takeStoredInteger(x, exponent, twoToWordlength, wordBits > 0 ? static_cast<mp_bitcnt_t>(wordBits) : 0);
}

/// As `takeWord`, of a copy.
gmpinteger wordOf(mpfr_srcptr element, int exponent, mpfr_srcptr twoToWordlength) {
    mpscratch copy(mpfr_get_prec(element), element);
    return takeWord(copy, exponent, twoToWordlength);
}

bool hasSignBit(mpz_srcptr word, int wordlength) {
    return wordlength >= 1 && mpz_tstbit(word, static_cast<mp_bitcnt_t>(wordlength - 1)) != 0;
}

/// Makes x the value of a stored integer, less twoToWordlength if it represents a negative one. The element is at least
/// one bit wider than the word, so a word isn't rounded.
void setStoredInteger(mpfr_ptr x, mpz_srcptr word, bool isNegative, int exponent, mpfr_srcptr twoToWordlength,
                      mpfr_rnd_t rounding) {
    mpfr_set_z(x, word, rounding);
    if (isNegative) {
        mpfr_sub(x, x, twoToWordlength, rounding);
    }
    mpfr_mul_2si(x, x, exponent, MPFR_RNDN);
}

/// Replaces x by the stored integer that `combine` makes from those of x and other.
mpnumber& combineWords(mpnumber& x, const numberrepbody& other, bool isSigned, int wordlength, int exponent,
                       mpfr_srcptr twoToWordlength, void (*combine)(mpz_ptr, mpz_srcptr, mpz_srcptr)) {
    assert(!other.isDouble());
    const gmpinteger right = wordOf(mpnumber::Reading(static_cast<const mpnumber&>(other)), exponent, twoToWordlength);
    return x.change([&](mpfr_ptr element) {
        gmpinteger word = takeWord(element, exponent, twoToWordlength);
        combine(word.withRoom(std::max(word.limbs(), right.limbs()) + 1), word, right);
        setStoredInteger(element, word, isSigned && hasSignBit(word, wordlength), exponent, twoToWordlength, MPFR_RNDZ);
    });
}

[[noreturn]] void refuseWords(const char* operation) {
    raiseInternalError(std::string("fixedpoint:fi:mpnumber:") + operation + ":doublenumberparameter",
                       std::string("mpnumber::") + operation + " has been called with doublenumber parameters");
}

}  // namespace

void mpnumber::convertToUnsignedInteger(mpz_ptr out, double /*slope*/, int exponent, double /*bias*/,
                                        mpfr_srcptr twoToWordlength) {
    change([&](mpfr_ptr x) {
        gmpinteger word = takeWord(x, exponent, twoToWordlength);
        mpz_init_set(out, word);
    });
}

void mpnumber::bitcmpXorMask(mpz_ptr mask, int wordlength) {
    mpz_init(mask);
    if (wordlength <= 0) {
        return;
    }
    mpz_setbit(mask, static_cast<mp_bitcnt_t>(wordlength));
    mpz_sub_ui(mask, mask, 1);
}

mpnumber& mpnumber::bitcmp(bool isSigned, int /*wordlength*/, double /*slope*/, int exponent, double /*bias*/,
                           mpz_srcptr mask, mpfr_srcptr twoToWordlength) {
    const bool turnsNegative = isSigned && !isnegative();
    return change([&](mpfr_ptr x) {
        gmpinteger word = takeWord(x, exponent, twoToWordlength);
        mpz_xor(word.withRoom(std::max(word.limbs(), mpz_size(mask)) + 1), word, mask);
        setStoredInteger(x, word, turnsNegative, exponent, twoToWordlength, MPFR_RNDN);
    });
}

mpnumber& mpnumber::fibitand(const numberrepbody& other, bool isSigned, int wordlength, double /*slope*/, int exponent,
                             double /*bias*/, mpfr_srcptr twoToWordlength) {
    return combineWords(*this, other, isSigned, wordlength, exponent, twoToWordlength, mpz_and);
}

mpnumber& mpnumber::fibitor(const numberrepbody& other, bool isSigned, int wordlength, double /*slope*/, int exponent,
                            double /*bias*/, mpfr_srcptr twoToWordlength) {
    return combineWords(*this, other, isSigned, wordlength, exponent, twoToWordlength, mpz_ior);
}

mpnumber& mpnumber::bitxor(const numberrepbody& other, bool isSigned, int wordlength, double /*slope*/, int exponent,
                           double /*bias*/, mpfr_srcptr twoToWordlength) {
    return combineWords(*this, other, isSigned, wordlength, exponent, twoToWordlength, mpz_xor);
}

unsigned char mpnumber::bitget(int bit, bool /*isSigned*/, int wordlength, double /*slope*/, int exponent,
                               double /*bias*/, mpfr_srcptr twoToWordlength) const {
    checkBitPosition(bit, wordlength, kBitgetOutOfRange);
    const gmpinteger word = wordOf(Reading(*this), exponent, twoToWordlength);
    return mpz_tstbit(word, static_cast<mp_bitcnt_t>(bit - 1)) != 0 ? 1 : 0;
}

mpnumber& mpnumber::bitset(int bit, bool value, bool isSigned, int wordlength, double /*slope*/, int exponent,
                           double /*bias*/, mpfr_srcptr twoToWordlength) {
    checkBitPosition(bit, wordlength, kBitsetOutOfRange);
    return change([&](mpfr_ptr x) {
        gmpinteger word = takeWord(x, exponent, twoToWordlength);
        (value ? setBit : clearBit)(word, static_cast<mp_bitcnt_t>(bit - 1));
        setStoredInteger(x, word, isSigned && hasSignBit(word, wordlength), exponent, twoToWordlength, MPFR_RNDN);
    });
}

// The word forms.

mpnumber& mpnumber::bitcmp(bool, int, double, int, double, std::uint64_t, std::uint64_t) {
    refuseWords("bitcmp");
}

mpnumber& mpnumber::fibitand(const numberrepbody&, bool, int, double, int, double, std::uint64_t) {
    refuseWords("fibitand");
}

mpnumber& mpnumber::fibitor(const numberrepbody&, bool, int, double, int, double, std::uint64_t) {
    refuseWords("fibitor");
}

mpnumber& mpnumber::bitxor(const numberrepbody&, bool, int, double, int, double, std::uint64_t) {
    refuseWords("bitxor");
}

unsigned char mpnumber::bitget(int, bool, int, double, int, double, std::uint64_t) const {
    refuseWords("bitget");
}

mpnumber& mpnumber::bitset(int, bool, bool, int, double, int, double, std::uint64_t) {
    refuseWords("bitset");
}
