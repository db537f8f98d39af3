// Bit operations of plain double elements: the word forms, and the refusals of the multi-precision forms.
#include <cassert>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>

#include "host/bs.h"
#include "numbers/bit_position.h"
#include "numbers/doublenumber.h"
#include "numbers/internal_error.h"

namespace {

/// Truncates to a word; what lies outside it counts modulo 2^64, and NaN and infinities as 0.
std::uint64_t wordOf(double whole) {
    if (!std::isfinite(whole)) return 0;
    const double residue = std::fmod(std::trunc(whole), 0x1p64);
    return residue < 0.0 ? ~static_cast<std::uint64_t>(-residue) + 1 : static_cast<std::uint64_t>(residue);
}

/// Returns the word with one bit, position counted from 1; positions past 64 hold nothing.
std::uint64_t bitMask(int bit) {
    return bit <= 64 ? std::uint64_t{1} << (bit - 1) : 0;
}

/// True when the word has the sign bit, or any bit above it.
bool reachesSignBit(std::uint64_t word, int wordlength) {
    return wordlength >= 1 && wordlength <= 64 && word >> (wordlength - 1) != 0;
}

/// Returns the value of a stored integer, less twoToWordlength when it stands for a negative one.
double valueOf(std::uint64_t word, bool isNegative, int exponent, std::uint64_t twoToWordlength) {
    double value = static_cast<double>(word);
    if (isNegative) value -= static_cast<double>(twoToWordlength);
    return std::ldexp(value, exponent);
}

/// Puts the stored integer `combine` makes of those of x and other in the place of x.
template <class Combine>
doublenumber& combineWords(doublenumber& x, const numberrepbody& other, bool isSigned, int wordlength, double slope,
                           int exponent, double bias, std::uint64_t twoToWordlength, Combine combine) {
    assert(other.isDouble());
    const auto& right = static_cast<const doublenumber&>(other);
    const std::uint64_t word = combine(x.convertToUnsignedInteger(slope, exponent, bias, twoToWordlength),
                                       right.convertToUnsignedInteger(slope, exponent, bias, twoToWordlength));
    x.setelement(valueOf(word, isSigned && reachesSignBit(word, wordlength), exponent, twoToWordlength));
    return x;
}

[[noreturn]] void refuseMultiPrecision(const char* operation, const char* method) {
    raiseInternalError(std::string("fixedpoint:fi:doublenumber:") + operation + ":mpnumberparameters",
                       std::string(method) + " has been called with mpnumber parameters");
}

}  // namespace

std::uint64_t doublenumber::convertToUnsignedInteger(double /*slope*/, int exponent, double /*bias*/,
                                                     std::uint64_t twoToWordlength) const {
    const double x = getelement();
    double whole = bsDoubleScalarRound(rounding::scaleByPowerOfTwo(x, rounding::negatedExponent(exponent)));
    if (x < 0.0) whole += static_cast<double>(twoToWordlength);
    return wordOf(whole);
}

std::uint64_t doublenumber::bitcmpXorMask(int wordlength) {
    if (wordlength <= 0) return 0;
    return wordlength < 64 ? (std::uint64_t{1} << wordlength) - 1 : ~std::uint64_t{0};
}

doublenumber& doublenumber::bitcmp(bool isSigned, int /*wordlength*/, double slope, int exponent, double bias,
                                   std::uint64_t mask, std::uint64_t twoToWordlength) {
    const bool turnsNegative = isSigned && getelement() >= 0.0;
    const std::uint64_t word = convertToUnsignedInteger(slope, exponent, bias, twoToWordlength) ^ mask;
    setelement(valueOf(word, turnsNegative, exponent, twoToWordlength));
    return *this;
}

doublenumber& doublenumber::fibitand(const numberrepbody& other, bool isSigned, int wordlength, double slope,
                                     int exponent, double bias, std::uint64_t twoToWordlength) {
    return combineWords(*this, other, isSigned, wordlength, slope, exponent, bias, twoToWordlength, std::bit_and());
}

doublenumber& doublenumber::fibitor(const numberrepbody& other, bool isSigned, int wordlength, double slope,
                                    int exponent, double bias, std::uint64_t twoToWordlength) {
    return combineWords(*this, other, isSigned, wordlength, slope, exponent, bias, twoToWordlength, std::bit_or());
}

doublenumber& doublenumber::bitxor(const numberrepbody& other, bool isSigned, int wordlength, double slope,
                                   int exponent, double bias, std::uint64_t twoToWordlength) {
    return combineWords(*this, other, isSigned, wordlength, slope, exponent, bias, twoToWordlength, std::bit_xor());
}

unsigned char doublenumber::bitget(int bit, bool /*isSigned*/, int wordlength, double slope, int exponent, double bias,
                                   std::uint64_t twoToWordlength) const {
    checkBitPosition(bit, wordlength, "fixedpoint:fi:bitget:BITOutOfRange");
    return (convertToUnsignedInteger(slope, exponent, bias, twoToWordlength) & bitMask(bit)) != 0 ? 1 : 0;
}

doublenumber& doublenumber::bitset(int bit, bool value, bool isSigned, int wordlength, double slope, int exponent,
                                   double bias, std::uint64_t twoToWordlength) {
    checkBitPosition(bit, wordlength, "fixedpoint:fi:bitset:BITOutOfRange");
    std::uint64_t word = convertToUnsignedInteger(slope, exponent, bias, twoToWordlength);
    word = value ? word | bitMask(bit) : word & ~bitMask(bit);
    setelement(valueOf(word, isSigned && reachesSignBit(word, wordlength), exponent, twoToWordlength));
    return *this;
}

// The multi-precision forms.

doublenumber& doublenumber::bitcmp(bool, int, double, int, double, mpz_srcptr, mpfr_srcptr) {
    refuseMultiPrecision("bitcmp", "doublenumber::bitcmp");
}

doublenumber& doublenumber::fibitand(const numberrepbody&, bool, int, double, int, double, mpfr_srcptr) {
    // Callers compare this text, so the other class in it stays.
    refuseMultiPrecision("fibitand", "mpnumber::fibitand");
}

doublenumber& doublenumber::fibitor(const numberrepbody&, bool, int, double, int, double, mpfr_srcptr) {
    refuseMultiPrecision("fibitor", "doublenumber::fibitor");
}

doublenumber& doublenumber::bitxor(const numberrepbody&, bool, int, double, int, double, mpfr_srcptr) {
    refuseMultiPrecision("bitxor", "doublenumber::bitxor");
}

unsigned char doublenumber::bitget(int, bool, int, double, int, double, mpfr_srcptr) const {
    refuseMultiPrecision("bitget", "doublenumber::bitget");
}

doublenumber& doublenumber::bitset(int, bool, bool, int, double, int, double, mpfr_srcptr) {
    refuseMultiPrecision("bitset", "doublenumber::bitset");
}
