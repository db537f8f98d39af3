// The stored integer of a double as an unsigned word, and back: the rules of the word form of bit operations, inline
// for elements and for loops over whole arrays.
//
// A word is the stored integer, plus 2^wordlength for a value below zero, modulo 2^64. Values outside the type keep
// their bits above the word.
#pragma once

#include <cmath>
#include <cstdint>

#include "numbers/rounding.h"

namespace tolvane::detail {

struct WordFormat {
    bool isSigned;
    int wordlength;
    int exponent;
    std::uint64_t twoToWordlength;
};

namespace bitwords {

/// Truncates to a word; values outside it are taken modulo 2^64, and NaN and infinities as 0.
inline std::uint64_t truncateModulo(double whole) {
    if (!std::isfinite(whole)) {
        return 0;
    }
    const double residue = std::fmod(std::trunc(whole), 0x1p64);
    return residue < 0.0 ? ~static_cast<std::uint64_t>(-residue) + 1 : static_cast<std::uint64_t>(residue);
}

/// Rounds to the nearest stored integer, ties away from zero.
inline std::uint64_t wordOf(double x, const WordFormat& format) {
    const double stored = rounding::scaleByPowerOfTwo(x, rounding::negatedExponent(format.exponent));
    if (std::fabs(stored) <= 0x1p52 && format.twoToWordlength <= std::uint64_t{1} << 52) [[likely]] {
        // Below 2^52 the fraction is exact, and so is the sum with the modulus, which integers compute identically.
        const auto whole = static_cast<std::int64_t>(stored);
        const double fraction = stored - static_cast<double>(whole);
        const std::int64_t rounded = whole + (fraction >= 0.5) - (fraction <= -0.5);
        return static_cast<std::uint64_t>(rounded) + (x < 0.0 ? format.twoToWordlength : 0);
    }
    const double whole = std::round(stored);
    return truncateModulo(x < 0.0 ? whole + static_cast<double>(format.twoToWordlength) : whole);
}

/// Returns the value of a word, less twoToWordlength if it represents a negative one.
inline double valueOf(std::uint64_t word, bool isNegative, const WordFormat& format) {
    double value = static_cast<double>(word);
    if (isNegative) {
        value -= static_cast<double>(format.twoToWordlength);
    }
    return rounding::scaleByPowerOfTwo(value, format.exponent);
}

/// As above; a word of a signed type with the sign bit, or any bit above it, represents a negative value.
inline double valueOf(std::uint64_t word, const WordFormat& format) {
    const int bits = format.wordlength;
    const bool reachesSignBit = bits >= 1 && bits <= 64 && word >> (bits - 1) != 0;
    return valueOf(word, format.isSigned && reachesSignBit, format);
}

/// Returns the word with one bit set, position counted from 1; 0 for positions past 64.
inline std::uint64_t bitAt(int position) {
    return position <= 64 ? std::uint64_t{1} << (position - 1) : 0;
}

/// The complement of a stored integer; in a signed type a value at or above zero becomes negative.
inline double complement(double x, const WordFormat& format, std::uint64_t mask) {
    return valueOf(wordOf(x, format) ^ mask, format.isSigned && x >= 0.0, format);
}

inline unsigned char getBit(double x, int position, const WordFormat& format) {
    return (wordOf(x, format) & bitAt(position)) != 0 ? 1 : 0;
}

inline double setBit(double x, int position, bool value, const WordFormat& format) {
    const std::uint64_t word = wordOf(x, format);
    return valueOf(value ? word | bitAt(position) : word & ~bitAt(position), format);
}

}  // namespace bitwords

}  // namespace tolvane::detail
