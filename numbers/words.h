// Integers of one format side by side: how arrays of words of many bits lie in memory, and loops read them.
#pragma once

#include <gmp.h>

#include <cstddef>
#include <cstdint>

namespace tolvane::detail {

/// The values integer * 2^exponent, for integers of `bits` bits, in two's complement if signed.
struct WordGrid {
    int exponent = 0;
    int bits = 0;
    bool isSigned = true;

    static constexpr int kLimbBits = 64;
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
};

}  // namespace tolvane::detail
