#include "examples/studies/stored_word.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace study {
namespace {

/// The magnitude of a whole number below 2^1024: its low 64 bits and whether it reaches 2^63, which no word does.
struct Whole {
    bool negative = false;
    bool huge = false;
    std::uint64_t low = 0;
};

enum class Rest { None, Half, Other };

/// Truncates a finite double toward zero; `rest` classifies the dropped fraction.
Whole truncated(double value, Rest& rest) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const auto field = static_cast<int>(bits >> 52 & 0x7ff);
    std::uint64_t mantissa = bits & ((std::uint64_t{1} << 52) - 1);
    if (field != 0) {
        mantissa |= std::uint64_t{1} << 52;
    }
    const int shift = std::max(field, 1) - 1075;

    Whole whole{bits >> 63 != 0, false, 0};
    rest = Rest::None;
    if (shift >= 0) {
        whole.huge = mantissa != 0 && shift > 10;
        whole.low = shift < 64 ? mantissa << shift : 0;
    } else if (shift <= -64) {
        rest = mantissa == 0 ? Rest::None : Rest::Other;
    } else {
        whole.low = mantissa >> -shift;
        const std::uint64_t cut = mantissa & ((std::uint64_t{1} << -shift) - 1);
        if (cut != 0) {
            rest = cut == std::uint64_t{1} << (-shift - 1) ? Rest::Half : Rest::Other;
        }
    }
    return whole;
}

/// `away` is the sign for which a dropped fraction moves the result one further from zero.
Whole directed(double value, bool awayWhenNegative, bool awayWhenPositive) {
    Rest rest;
    Whole whole = truncated(value, rest);
    if (rest != Rest::None && (whole.negative ? awayWhenNegative : awayWhenPositive)) {
        ++whole.low;
    }
    return whole;
}

Whole rounded(double value, Round round) {
    switch (round) {
        case Round::Ceil:
            return directed(value, false, true);
        case Round::Fix:
            return directed(value, false, false);
        case Round::Floor:
            return directed(value, true, false);
        case Round::Round: {
            const double magnitude = std::fabs(value);
            Whole whole = directed(magnitude < 0x1p52 ? magnitude + 0.5 : magnitude, false, false);
            whole.negative = std::signbit(value);
            return whole;
        }
        case Round::Convergent: {
            Rest rest;
            Whole whole = truncated(value, rest);
            if (rest == Rest::Half) {
                whole.low += whole.low & 1;
                if (whole.low == 0) {
                    whole.negative = false;
                }
                return whole;
            }
            break;
        }
        case Round::Nearest:
            break;
    }
    return directed(value + 0.5, true, false);
}

/// Whether the whole number lies within the word, both ends included.
bool isInRange(const Whole& whole, Kind kind, int wordBits) {
    if (whole.huge) {
        return false;
    }
    if (kind == Kind::Unsigned) {
        return whole.negative ? whole.low == 0 : whole.low <= (std::uint64_t{1} << wordBits) - 1;
    }
    const std::uint64_t half = std::uint64_t{1} << (wordBits - 1);
    return whole.negative ? whole.low <= half : whole.low < half;
}

std::uint64_t maskOf(int wordBits) {
    return ~std::uint64_t{0} >> (64 - wordBits);
}

std::uint64_t fixedWord(double sample, const Format& format) {
    const Whole whole = rounded(std::ldexp(sample, format.fractionBits), format.round);
    const std::uint64_t mask = maskOf(format.wordBits);
    if (format.overflow == Overflow::Saturate && !isInRange(whole, format.kind, format.wordBits)) {
        if (format.kind == Kind::Unsigned) {
            return whole.negative ? 0 : mask;
        }
        return whole.negative ? mask ^ (mask >> 1) : mask >> 1;
    }
    return (whole.negative ? std::uint64_t{0} - whole.low : whole.low) & mask;
}

std::uint64_t floatWord(double sample, const Format& format) {
    const int fraction = format.mantissaBits();
    const int bias = (1 << (format.exponentBits - 1)) - 1;
    const std::uint64_t hidden = std::uint64_t{1} << fraction;
    const std::uint64_t infinity = ((std::uint64_t{1} << format.exponentBits) - 1) << fraction;
    const std::uint64_t sign = std::uint64_t{1} << (format.wordBits - 1);
    if (sample == 0.0) {
        return std::signbit(sample) ? sign : 0;
    }

    int exponent = std::ilogb(sample);
    const double greatest = std::ldexp(2.0 - std::ldexp(1.0, -fraction), bias);
    if (std::fabs(sample) > greatest) {
        return (std::signbit(sample) ? sign : 0) | infinity;
    }
    exponent = std::max(exponent, 1 - bias);
    const Whole whole = rounded(std::ldexp(sample, fraction - exponent), format.round);
    // A carry out of the fraction runs into the exponent field, which is the right value. A number below the smallest
    // normal one has no hidden bit to remove, and its exponent field is 0.
    const std::uint64_t pattern =
        whole.low < hidden ? whole.low
                           : (static_cast<std::uint64_t>(exponent + bias) << fraction) + (whole.low - hidden);
    return (whole.negative ? sign : 0) | pattern;
}

}  // namespace

std::uint64_t storedWord(double sample, const Format& format) {
    return format.kind == Kind::Float ? floatWord(sample, format) : fixedWord(sample, format);
}

int coveringFraction(double smallest, double greatest, Kind kind, int wordBits, Round round) {
    const int magnitudeBits = kind == Kind::Signed ? wordBits - 1 : wordBits;
    const double low = kind == Kind::Signed ? smallest : std::max(smallest, 0.0);
    const double peak = std::max(-low, greatest);
    if (!(peak > 0.0)) {
        return magnitudeBits;
    }

    // The peak lies in [2^p, 2^(p+1)); only rounding can move it beyond that.
    const int start = std::clamp(magnitudeBits - std::ilogb(peak), -kFractionBitsLimit, kFractionBitsLimit);
    for (int fraction = start; fraction > start - 3 && fraction >= -kFractionBitsLimit; --fraction) {
        const auto fits = [&](double end) {
            return isInRange(rounded(std::ldexp(end, fraction), round), kind, wordBits);
        };
        if (fits(low) && fits(greatest)) {
            return fraction;
        }
    }
    return std::max(start - 1, -kFractionBitsLimit);
}

}  // namespace study
