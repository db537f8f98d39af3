#include "quantization/word_limits.h"

#include <cmath>

#include "quantization/word_conversion.h"

namespace tolvane::detail {

// With F the fixed exponent, w the word length and y = x * 2^-F, each step below is exact, or wrong where it doesn't
// matter.
//
// y. Exact for F <= 0, but for an overflow to infinity; that is out of range, and its low bits are all 0, as the word
// of an infinity that wraps, for from 2^1024 up the lowest bit of 53 weighs 2^972 or more and w is less. For F > 0 a
// tiny y may lose bits or become 0: rounding to 0, as `fix` and the three rules of halves do, comes out the same, but
// not `ceil` and `floor`, which would see 0.
//
// Rounding gives a whole number that is a double. The rules compare the distance to the whole number below with 1/2;
// where that distance rounds it stays on its side of 1/2.
//
// Saturating takes the nearest doubles of the bounds. Only 2^n - 1 for n >= 54 isn't one, and 2^n is in its place: what
// valueOfWord makes of that word, while no double lies between the two.
//
// Wrapping subtracts a whole multiple k of the modulus. y / 2^w is exact, k and k * 2^w are doubles. The signed result
// is no greater than |y| and a multiple of its lowest bit, so it's exact, and so is the unsigned one of a y from 0 up.
// That of a negative y has up to w bits: the difference is the double nearest to it, as is the sum of two chunks; more
// than two would be rounded more than once.
//
// The last product is exact since the least bit is a normal double, and doesn't overflow.
std::optional<WordLimits> wordLimitsOf(const EmbeddedTypeSystem::NumericType& type, int roundCode, bool saturates) {
    constexpr int kLeastExponent = -1022;
    constexpr int kGreatestExponent = 970;
    const int exponent = type.getFixedExponent();
    const int wordBits = type.getWordLength();
    const bool seesTinyValues = roundCode == 2 || roundCode == 3;
    if (type.isSlopeBiasScaled() || exponent < kLeastExponent || exponent > (seesTinyValues ? 0 : kGreatestExponent) ||
        wordBits > kGreatestExponent - (exponent > 0 ? exponent : 0) ||
        (!saturates && !type.isSigned() && wordconversion::chunkCountOf(wordBits) > 2)) {
        return std::nullopt;
    }
    const double modulus = std::ldexp(1.0, wordBits);
    WordLimits limits;
    limits.scale = std::ldexp(1.0, -exponent);
    limits.inverseScale = std::ldexp(1.0, exponent);
    limits.greatest = (type.isSigned() ? modulus / 2 : modulus) - 1.0;
    limits.least = type.isSigned() ? -modulus / 2 : 0.0;
    limits.modulus = modulus;
    limits.inverseModulus = 1.0 / modulus;
    return limits;
}

}  // namespace tolvane::detail
