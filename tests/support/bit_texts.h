// An independent model of long words for tests: texts of '0' and '1', highest bit first, with schoolbook arithmetic.
#pragma once

#include <gmpxx.h>
#include <mpfr.h>

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "numbers/mpnumber.h"
#include "numbers/number.h"

/// The two kinds of number bodies; most tests use both.
enum class Body { doubles, multiPrecision };
inline std::ostream& operator<<(std::ostream& out, Body body) {
    return out << (body == Body::doubles ? "double body" : "multi-precision body");
}

inline std::string randomBits(std::mt19937& random, int count) {
    std::string bits;
    // Runs of equal bits produce carries that evenly mixed bits miss.
    for (bool bit = random() % 2; bits.size() < static_cast<std::size_t>(count); bit ^= random() % 3 == 0) {
        bits += bit ? '1' : '0';
    }
    return bits;
}

/// Returns the digits of a binary text in any base to 36, without leading zeros; "0" for zero.
inline std::string digitsOfBits(const std::string& bits, int base) {
    std::vector<int> digits{0};  // lowest first
    for (const char bit : bits) {
        int carry = bit - '0';
        for (int& digit : digits) {
            const int sum = 2 * digit + carry;
            digit = sum % base;
            carry = sum / base;
        }
        if (carry != 0) {
            digits.push_back(carry);
        }
    }
    std::string text;
    for (const int digit : digits) {
        text.insert(text.begin(), "0123456789abcdefghijklmnopqrstuvwxyz"[digit]);
    }
    return text;
}

/// Returns the binary text of the negative, in two's complement with the same number of bits.
inline std::string negatedBits(std::string bits) {
    const std::size_t lowestOne = bits.rfind('1');
    for (std::size_t i = 0; lowestOne != std::string::npos && i < lowestOne; ++i) {
        bits[i] = bits[i] == '0' ? '1' : '0';
    }
    return bits;
}

/// Returns the text truncated to its last `length` characters, or padded in front to that length.
inline std::string rightAligned(std::string text, std::size_t length, char fill) {
    if (text.size() > length) {
        return text.substr(text.size() - length);
    }
    return std::string(length - text.size(), fill) + text;
}

/// An exact value: the integer of a binary text, in two's complement if `isSigned`, times 2^exponent.
class ExactValue {
 public:
    ExactValue(const std::string& bits, bool isSigned, long exponent) {
        const bool negative = isSigned && !bits.empty() && bits[0] == '1';
        mpfr_init2(mValue, static_cast<mpfr_prec_t>(bits.size()) + 2);
        mpfr_set_str(mValue, ("0" + (negative ? negatedBits(bits) : bits)).c_str(), 2, MPFR_RNDN);
        mpfr_mul_2si(mValue, mValue, exponent, MPFR_RNDN);
        if (negative) {
            mpfr_neg(mValue, mValue, MPFR_RNDN);
        }
    }
    /// A whole number times 2^exponent.
    ExactValue(const mpz_class& integer, long exponent) {
        mpfr_init2(mValue, static_cast<mpfr_prec_t>(mpz_sizeinbase(integer.get_mpz_t(), 2)) + 2);
        mpfr_set_z_2exp(mValue, integer.get_mpz_t(), exponent, MPFR_RNDN);
    }
    ~ExactValue() { mpfr_clear(mValue); }
    ExactValue(const ExactValue&) = delete;
    ExactValue& operator=(const ExactValue&) = delete;

    mpfr_srcptr get() const { return mValue; }

 private:
    mpfr_t mValue;
};

/// One element of the given kind, for `wordBits` bits.
class Element : public number {
 public:
    Element(Body body, int wordBits)
        : number(0.0, static_cast<std::uint32_t>(wordBits), body == Body::multiPrecision) {}
    Element(Body body, int wordBits, mpfr_srcptr exact) : Element(body, wordBits) {
        if (mpnumber* wide = this->body().asMp()) {
            mpfr_set(wide->getmodifiableelement(), exact, MPFR_RNDN);
        } else {
            setvalue(mpfr_get_d(exact, MPFR_RNDN));
        }
    }
    Element(Body body, int wordBits, double value) : Element(body, wordBits) { setvalue(value); }
};

inline bool holds(const number& element, mpfr_srcptr value) {
    if (const mpnumber* wide = element.body().asMp()) {
        return mpfr_equal_p(wide->getelement(), value) != 0;
    }
    return mpfr_cmp_d(value, element.todouble()) == 0;
}

/// 2^wordBits in the forms that bit operations and word conversions take.
struct Modulus {
    explicit Modulus(int wordBits) : word(wordBits < 64 ? std::uint64_t{1} << wordBits : 0) {
        mpfr_init2(wide, 32);
        mpfr_set_ui_2exp(wide, 1, wordBits, MPFR_RNDN);
    }
    ~Modulus() { mpfr_clear(wide); }
    Modulus(const Modulus&) = delete;
    Modulus& operator=(const Modulus&) = delete;

    std::uint64_t word;
    mpfr_t wide;
};
