// Bit operations of plain double elements: the word forms, and the refusals of the multi-precision forms.
#include <cassert>
#include <cstdint>
#include <functional>
#include <string>

#include "numbers/bit_position.h"
#include "numbers/bit_words.h"
#include "numbers/doublenumber.h"
#include "numbers/internal_error.h"

using namespace tolvane::detail;

namespace {

/// Replaces x by the stored integer that `combine` makes from those of x and other.
template <class Combine>
doublenumber& combineWords(doublenumber& x, const numberrepbody& other, bool isSigned, int wordlength, int exponent,
                           std::uint64_t twoToWordlength, Combine combine) {
    assert(other.isDouble());
    const auto& right = static_cast<const doublenumber&>(other);
    const WordFormat format{isSigned, wordlength, exponent, twoToWordlength};
    const std::uint64_t word =
        combine(bitwords::wordOf(x.getelement(), format), bitwords::wordOf(right.getelement(), format));
    x.setelement(bitwords::valueOf(word, format));
    return x;
}

[[noreturn]] void refuseMultiPrecision(const char* operation, const char* method) {
    raiseInternalError(std::string("fixedpoint:fi:doublenumber:") + operation + ":mpnumberparameters",
                       std::string(method) + " has been called with mpnumber parameters");
}

}  // namespace

std::uint64_t doublenumber::convertToUnsignedInteger(double /*slope*/, int exponent, double /*bias*/,
                                                     std::uint64_t twoToWordlength) const {
    return bitwords::wordOf(getelement(), {false, 0, exponent, twoToWordlength});
}

std::uint64_t doublenumber::bitcmpXorMask(int wordlength) {
    if (wordlength <= 0) {
        return 0;
    }
    return wordlength < 64 ? (std::uint64_t{1} << wordlength) - 1 : ~std::uint64_t{0};
}

doublenumber& doublenumber::bitcmp(bool isSigned, int wordlength, double /*slope*/, int exponent, double /*bias*/,
                                   std::uint64_t mask, std::uint64_t twoToWordlength) {
    setelement(bitwords::complement(getelement(), {isSigned, wordlength, exponent, twoToWordlength}, mask));
    return *this;
}

doublenumber& doublenumber::fibitand(const numberrepbody& other, bool isSigned, int wordlength, double /*slope*/,
                                     int exponent, double /*bias*/, std::uint64_t twoToWordlength) {
    return combineWords(*this, other, isSigned, wordlength, exponent, twoToWordlength, std::bit_and());
}

doublenumber& doublenumber::fibitor(const numberrepbody& other, bool isSigned, int wordlength, double /*slope*/,
                                    int exponent, double /*bias*/, std::uint64_t twoToWordlength) {
    return combineWords(*this, other, isSigned, wordlength, exponent, twoToWordlength, std::bit_or());
}

doublenumber& doublenumber::bitxor(const numberrepbody& other, bool isSigned, int wordlength, double /*slope*/,
                                   int exponent, double /*bias*/, std::uint64_t twoToWordlength) {
    return combineWords(*this, other, isSigned, wordlength, exponent, twoToWordlength, std::bit_xor());
}

unsigned char doublenumber::bitget(int bit, bool isSigned, int wordlength, double /*slope*/, int exponent,
                                   double /*bias*/, std::uint64_t twoToWordlength) const {
    checkBitPosition(bit, wordlength, kBitgetOutOfRange);
    return bitwords::getBit(getelement(), bit, {isSigned, wordlength, exponent, twoToWordlength});
}

doublenumber& doublenumber::bitset(int bit, bool value, bool isSigned, int wordlength, double /*slope*/, int exponent,
                                   double /*bias*/, std::uint64_t twoToWordlength) {
    checkBitPosition(bit, wordlength, kBitsetOutOfRange);
    setelement(bitwords::setBit(getelement(), bit, value, {isSigned, wordlength, exponent, twoToWordlength}));
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
