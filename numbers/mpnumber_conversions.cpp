// Radix, text and word-array conversions of multi-precision elements.
//
// Every fixed-point form starts from the stored integer m * 2^(g + fractionlength), truncated, of an element m * 2^g.
// Exponents reach 2^62, so an integer is only computed as far as the caller's field can show it.
#include <gmp.h>
#include <mpfr.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "numbers/gmpinteger.h"
#include "numbers/mpnumber.inl.h"
#include "numbers/mpscratch.h"
#include "numbers/services.h"
#include "numbers/storedinteger.h"

using namespace tolvane::detail;

namespace {

/// The caller's characters for a text, and the base of the digits in them.
struct TextField {
    char* out;
    std::size_t length;
    int base;

    /// GMP has digits for these bases; for any other base only zeros are written.
    bool hasDigits() const { return base >= 2 && base <= 62; }
    /// Returns base^length, which the integers that don't fit in the field reach or exceed.
    gmpinteger modulus() const {
        gmpinteger result;
        power(result, static_cast<unsigned long>(base), length);
        return result;
    }
    /// Returns a number of bits that no integer which fits in the field exceeds.
    mp_bitcnt_t bitBound() const { return 6 * static_cast<mp_bitcnt_t>(length); }
};

/// True when value * 2^shift is certain to have more digits than the field, by enough to make computing it wasteful.
bool dwarfs(const gmpinteger& value, long shift, const TextField& field) {
    constexpr mp_bitcnt_t kSlackBits = 64;
    return value.sign() != 0 && shift > 0 &&
           value.bitCount() + static_cast<mp_bitcnt_t>(shift) > field.bitBound() + kSlackBits;
}

/// Returns value * 2^shift truncated toward zero. A product that dwarfs the field is replaced by its remainder by
/// base^length, since only its low-order digits can show.
gmpinteger scaled(const gmpinteger& value, long shift, const TextField& field) {
    gmpinteger result;
    if (shift <= 0) {
        shiftRight(result, value, static_cast<mp_bitcnt_t>(-shift));
    } else if (dwarfs(value, shift, field)) {
        const gmpinteger modulus = field.modulus();
        mpz_powm_ui(result.withRoom(modulus.limbs() + 1), gmpinteger(2), static_cast<unsigned long>(shift), modulus);
        multiply(result, result, value);
        mpz_tdiv_r(result.withRoom(modulus.limbs() + 1), result, modulus);
    } else {
        shiftLeft(result, value, value.sign() == 0 ? 0 : static_cast<mp_bitcnt_t>(shift));
    }
    return result;
}

gmpinteger powerOfTwo(long exponent, const TextField& field) {
    return scaled(gmpinteger(1), exponent, field);
}

/// Fills the whole field with the text, right-aligned after `fill`; of a longer text the low-order end.
void writeRightAligned(const TextField& field, std::string_view text, char fill) {
    if (text.size() > field.length) {
        text.remove_prefix(text.size() - field.length);
    }
    const std::size_t blank = field.length - text.size();
    std::fill_n(field.out, blank, fill);
    std::copy(text.begin(), text.end(), field.out + blank);
}

/// Writes the digits of a pattern, zero-filled. Terms that were reduced to remainders may have left it below zero; its
/// residue then has the same low-order digits.
void writePattern(const TextField& field, gmpinteger pattern) {
    if (pattern.sign() < 0) {
        const gmpinteger modulus = field.modulus();
        mpz_fdiv_r(pattern.withRoom(std::max(pattern.limbs(), modulus.limbs()) + 1), pattern, modulus);
    }
    writeRightAligned(field, digitsOf(pattern, field.base), '0');
}

/// Writes zeros in place of a pattern that has no digits.
void writeZeros(const TextField& field) {
    writeRightAligned(field, {}, '0');
}

/// Returns the integer of a text, zero for one that GMP refuses.
gmpinteger parsed(const char* text, int base) {
    gmpinteger value;
    // GMP leaves its behaviour unspecified for other bases; base 0 reads the prefixes of C.
    const bool known = base == 0 || (base >= 2 && base <= 62);
    if (!known || !readDigits(value, text, base)) {
        set(value, 0);
    }
    return value;
}

/// Tests the top bit of a word; no bit for a word length below 1.
bool hasSignBit(const gmpinteger& value, int wordlength) {
    return wordlength >= 1 && mpz_tstbit(value, static_cast<mp_bitcnt_t>(wordlength - 1)) != 0;
}

mp_bitcnt_t bitsOrNone(int count) {
    return count > 0 ? static_cast<mp_bitcnt_t>(count) : 0;
}

/// Returns the value as a long, or the nearest of +-2^40 beyond those: past every sum of two ints.
long clampedToLong(const gmpinteger& value) {
    constexpr mp_bitcnt_t kClampBits = 40;
    if (value.bitCount() <= kClampBits) {
        return mpz_get_si(value);
    }
    return value.sign() < 0 ? -(1L << kClampBits) : 1L << kClampBits;
}

}  // namespace

void mpnumber::fixed2sdec(char* out, unsigned length, unsigned /*wordlength*/, int fractionlength) const {
    // A caller's negative length arrives here as a huge one.
    if (length == 0 || length > static_cast<unsigned>(INT_MAX)) {
        return;
    }
    const TextField field{out, length, 10};
    const MantissaAndExponent parts = splitElement(Reading(*this));
    const long shift = parts.exponent + fractionlength;
    std::string text = digitsOf(scaled(parts.mantissa, shift, field), field.base);
    if (dwarfs(parts.mantissa, shift, field)) {
        text.insert(0, field.length - std::min(field.length, text.size()), '0');
    }
    // Truncation can leave a zero of a negative element, which has no sign.
    if (parts.mantissa.sign() < 0 && text != "0") {
        text.insert(0, 1, '-');
    }
    writeRightAligned(field, text, ' ');
}

void mpnumber::fixed2base(char* out, int length, int base, int wordlength, int fractionlength) const {
    if (length <= 0) {
        return;
    }
    const TextField field{out, static_cast<std::size_t>(length), base};
    if (!field.hasDigits()) {
        writeZeros(field);
        return;
    }
    const MantissaAndExponent parts = splitElement(Reading(*this));
    const long shift = parts.exponent + fractionlength;
    const long wordBits = std::max(wordlength, 0);
    gmpinteger pattern;
    if (parts.mantissa.sign() >= 0) {
        pattern = scaled(parts.mantissa, shift, field);
    } else if (shift < wordBits) {
        // Two's complement: z + 2^wordlength, and of a z too low for the word its residue modulo 2^wordlength, which
        // for a shift of the whole word and more is the zero that stands.
        const long keptShift = std::max(shift, 0L);
        const auto keptBits = static_cast<mp_bitcnt_t>(wordBits - keptShift);
        const gmpinteger kept = scaled(parts.mantissa, std::min(shift, 0L), field);
        if (kept.bitCount() > keptBits) {
            gmpinteger residue;
            lowBitsFromZero(residue, kept, keptBits);
            pattern = scaled(residue, keptShift, field);
        } else {
            add(pattern, powerOfTwo(wordBits, field), scaled(kept, keptShift, field));
        }
    }
    writePattern(field, std::move(pattern));
}

void mpnumber::float2base(char* out, int length, int base, int wordlength, int exponentlength, int fractionlength,
                          int exponentmax, int exponentmin) const {
    if (length <= 0) {
        return;
    }
    const TextField field{out, static_cast<std::size_t>(length), base};
    if (!field.hasDigits()) {
        writeZeros(field);
        return;
    }
    const Reading element(*this);
    const mpfr_srcptr x = element;
    const long exponentBits = std::max(exponentlength, 0);
    const bool negative = isnegative();
    gmpinteger pattern;
    const auto add = [&](const gmpinteger& value, long shift) {
        tolvane::detail::add(pattern, pattern, scaled(value, shift, field));
    };
    const gmpinteger one(1);
    const gmpinteger minusOne(-1);
    // A run of ones from bit `low` to below bit `high` is 2^high - 2^low.
    const auto addOnes = [&](long high, long low) {
        add(one, high);
        add(minusOne, low);
    };

    if (myisnan()) {
        // The sign, the exponent and the top fraction bit; a word too short for them is outgrown.
        const long ones = (exponentlength < 0 ? 0L : exponentBits + 1) + (fractionlength > 0 ? 1 : 0);
        const long bits = std::max<long>(wordlength, ones);
        addOnes(bits, bits - ones);
    } else if (!mpfr_regular_p(x)) {
        const long exponentOnes = myisinf() ? exponentBits : 0;
        const long signBit = std::max<long>(wordlength, 1 + exponentOnes) - 1;
        if (negative) {
            add(one, signBit);
        }
        addOnes(signBit, signBit - exponentOnes);
    } else {
        if (negative) {
            add(one, std::max(wordlength, 1) - 1);
        }
        MantissaAndExponent parts = splitElement(x);
        parts.mantissa.makePositive();
        const long exponent = static_cast<long>(mpfr_get_exp(x)) - 1;
        if (exponent < exponentmin) {
            add(parts.mantissa, parts.exponent - exponentmin + fractionlength);
        } else {
            add(gmpinteger(exponent + exponentmax), fractionlength);
            if (fractionlength >= 0) {
                // Brought to fractionlength + 1 bits the mantissa has its leading one at bit fractionlength; dropping
                // it there leaves the fraction field.
                add(parts.mantissa, fractionlength - static_cast<long>(parts.mantissa.bitCount()) + 1);
                add(minusOne, fractionlength);
            }
        }
    }
    writePattern(field, std::move(pattern));
}

void mpnumber::base2fixed(const char* text, int base, int wordlength, int fractionlength, bool isSigned) {
    const gmpinteger z = parsed(text, base);
    gmpinteger kept;
    lowBits(kept, z, bitsOrNone(wordlength));
    if (mpz_cmp(kept, z) != 0) {
        warn(
            "fixedpoint:base2fixed:too_many_bits",
            "The word length of the fi object is shorter than the number of bits you were trying to assign. Only the " +
                std::to_string(wordlength) + " least-significant bits were used.");
    }

    if (isSigned && hasSignBit(kept, wordlength)) {
        // The exact difference, which is rounded once below.
        gmpinteger modulus;
        setBit(modulus, bitsOrNone(wordlength));
        subtract(kept, kept, modulus);
    }
    change([&](mpfr_ptr x) {
        mpfr_set_z(x, kept, MPFR_RNDN);
        mpfr_div_2si(x, x, fractionlength, MPFR_RNDN);
    });
}

void mpnumber::base2float(const char* text, int base, int wordlength, int /*exponentlength*/, int fractionlength,
                          int exponentmax, int exponentmin) {
    gmpinteger z = parsed(text, base);
    if (z.sign() > 0 && z.bitCount() > bitsOrNone(wordlength)) {
        raise("fixedpoint:fi:base2float:valuetoolarge", "Value is too large for indicated wordlength.");
    }
    // A text with a minus has all high bits set; clearing one must not build more than the widest word there is.
    constexpr int kWidestWord = 65535;
    const int wordBits = std::min(wordlength, kWidestWord);
    const bool negative = hasSignBit(z, wordBits);
    if (negative) {
        clearBit(z, static_cast<mp_bitcnt_t>(wordBits - 1));
    }

    gmpinteger exponentField;
    gmpinteger fraction;
    if (fractionlength >= 0) {
        const auto fractionBits = static_cast<mp_bitcnt_t>(fractionlength);
        shiftRight(exponentField, z, fractionBits);
        lowBits(fraction, z, fractionBits);
    } else {
        // Beyond 64 bits the field exceeds every exponent, so its exact value no longer matters.
        shiftLeft(exponentField, z, static_cast<mp_bitcnt_t>(std::min(-static_cast<long>(fractionlength), 64L)));
    }
    const long exponent = clampedToLong(exponentField) - exponentmax;
    const long specialExponent = static_cast<long>(exponentmax) + 1;

    change([&](mpfr_ptr x) {
        if (exponentField.sign() == 0 && fraction.sign() != 0) {
            mpfr_set_z(x, fraction, MPFR_RNDN);
            mpfr_div_2si(x, x, fractionlength, MPFR_RNDN);
            mpfr_div_2si(x, x, -static_cast<long>(exponentmin), MPFR_RNDN);
        } else if (exponentField.sign() != 0 && exponent < specialExponent) {
            mpfr_set_z(x, fraction, MPFR_RNDN);
            mpfr_div_2si(x, x, fractionlength, MPFR_RNDN);
            mpfr_add_ui(x, x, 1, MPFR_RNDN);
            mpfr_mul_2si(x, x, exponent, MPFR_RNDN);
        } else if (exponent == specialExponent) {
            if (fraction.sign() != 0) {
                mpfr_set_nan(x);
            } else {
                mpfr_set_inf(x, mpfr_sgn(x) < 0 ? -1 : 1);
            }
        }
        if (negative) {
            mpfr_neg(x, x, MPFR_RNDN);
        }
    });
}

void mpnumber::fixed2IntArray(std::uint32_t* out, int words, int /*wordlength*/, double /*slope*/, int exponent,
                              double /*bias*/, mpfr_srcptr twoToWordlength) const {
    if (words <= 0) {
        return;
    }
    const std::size_t wordCount = static_cast<std::size_t>(words);
    const mp_bitcnt_t outBits = wordCount * 32;
    const Reading element(*this);
    const mpfr_srcptr x = element;
    mpscratch t(mpfr_get_prec(x) + 1, x);
    gmpinteger z = takeStoredInteger(t, exponent, twoToWordlength, outBits);
    // The words are in two's complement even for a value too low for the word.
    lowBitsFromZero(z, z, outBits);
    std::size_t written = 0;
    mpz_export(out, &written, -1, sizeof(std::uint32_t), 0, 0, z);
    std::fill(out + written, out + wordCount, 0U);
}
