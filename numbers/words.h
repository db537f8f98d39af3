// Integers of one format side by side: how arrays of words of many bits lie in memory, and loops read them.
#pragma once

#include <gmp.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tolvane::detail {

/// The values integer * 2^exponent, for integers of `bits` bits, in two's complement if signed.
struct WordGrid {
    int exponent = 0;
    int bits = 0;
    bool isSigned = true;

    static constexpr int kLimbBits = 64;
    static constexpr int kGreatestExponent = 1 << 20;

    /// Whether there is a grid, and floats and sums of exponents and lengths don't leave their range.
    bool isUsual() const { return bits > 0 && exponent <= kGreatestExponent && exponent >= -kGreatestExponent; }
    std::size_t limbs() const { return static_cast<std::size_t>(bits + kLimbBits - 1) / kLimbBits; }
    bool operator==(const WordGrid&) const = default;
};

/// The words of an array: `limbs()` limbs each, the lowest first, with the sign (or zeros) above the top bit. A zero
/// whose bit is set in `negativeZeros`, 64 to a unit, is -0; null stands for none.
struct WordSpan {
    const mp_limb_t* limbs;
    const std::uint64_t* negativeZeros;
    std::uint64_t count;
    WordGrid grid;

    bool hasNegativeZero(std::uint64_t index) const {
        return negativeZeros && (negativeZeros[index / 64] >> (index % 64) & 1U) != 0;
    }
    /// The signs of up to 64 zeros from an index on, the first one's lowest.
    std::uint64_t negativeZerosFrom(std::uint64_t index, std::size_t number) const {
        if (!negativeZeros) {
            return 0;
        }
        const std::uint64_t* const unit = negativeZeros + index / 64;
        const auto shift = static_cast<unsigned>(index % 64);
        std::uint64_t signs = *unit >> shift;
        if (shift != 0 && 64 - shift < number) {
            signs |= unit[1] << (64 - shift);
        }
        return number == 64 ? signs : signs & ((std::uint64_t{1} << number) - 1);
    }
};

/// The order of words of one format, found from the highest limb down, in which most differ.
class WordOrder {
 public:
    WordOrder(std::size_t limbs, bool isSigned)
        : mTop(limbs - 1), mFlip(isSigned ? mp_limb_t{1} << (WordGrid::kLimbBits - 1) : 0) {}
    explicit WordOrder(const WordGrid& grid) : WordOrder(grid.limbs(), grid.isSigned) {}

    bool isLess(const mp_limb_t* a, const mp_limb_t* b) const {
        return a[mTop] != b[mTop] ? isLess(a[mTop], b[mTop]) : mpn_cmp(a, b, static_cast<mp_size_t>(mTop)) < 0;
    }
    bool isEqual(const mp_limb_t* a, const mp_limb_t* b) const {
        return a[mTop] == b[mTop] && std::memcmp(a, b, mTop * sizeof(mp_limb_t)) == 0;
    }
    /// For words of one limb.
    bool isLess(mp_limb_t a, mp_limb_t b) const { return (a ^ mFlip) < (b ^ mFlip); }

 private:
    std::size_t mTop;
    mp_limb_t mFlip;
};

}  // namespace tolvane::detail
