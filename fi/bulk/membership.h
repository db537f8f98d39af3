// A test for the values of a fixed-point type among doubles; fi/bulk/membership.inl.h is its part on vectors.
//
// The sum of a value and `shifter`, a double whose last bit has the weight of bit 0 of the type, has the stored integer
// k in its low-order bits. k plus the lowest integer's magnitude is a word of `wordBits` bits just for the values in
// range; any other value, infinity and NaN included, sets a bit above that. Taking the shifter off again gives the
// value unless it was off the grid. The shifter is in the middle of its binade for signed words and at the start for
// unsigned ones, so that words of 52 bits stay in the binade.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

#include "quantization/quantizer.h"

namespace tolvane::detail {

struct Membership {
    double shifter = 0.0;
    std::uint64_t offset = 0;  // what takes the bits of a sum to the word
    int wordBits = 0;
};

/// Whether there is a test for the values of this quantizer.
inline bool hasMembership(const quantizer& q) {
    return (q.isSignedFixed() || q.isUnsignedFixed()) && q.getDoubleLimits().valid;
}

inline Membership membershipOf(const quantizer& q) {
    constexpr int kMantissaBits = 52;
    const bool isSigned = q.isSignedFixed();
    const double shifter = std::ldexp(isSigned ? 1.5 : 1.0, kMantissaBits - q.getFractionlength());
    const int wordBits = q.getWordlength();
    const std::uint64_t lowest = isSigned ? std::uint64_t{1} << (wordBits - 1) : 0;
    return {shifter, lowest - std::bit_cast<std::uint64_t>(shifter), wordBits};
}

/// Whether all values of the second quantizer's format are values of the first's; both are fixed-point.
inline bool covers(const quantizer& q, const quantizer& other) {
    const FixedDoubleLimits& limits = q.getDoubleLimits();
    const FixedDoubleLimits& others = other.getDoubleLimits();
    return q.getFractionlength() >= other.getFractionlength() && limits.lowerbound <= others.lowerbound &&
           limits.realmax >= others.realmax;
}

}  // namespace tolvane::detail
