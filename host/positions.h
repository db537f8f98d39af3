// Positions as doubles: the representation of indices and of the plans made from them.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

/// Converts positions, which number `count` elements starting from `first`, to offsets from 0, one for each position.
/// Returns whether each is whole and names an element; if not, the offsets are meaningless. One branch-free pass, for
/// blocks that stay in the first-level cache.
inline bool offsetsOf(std::span<const double> positions, std::uint64_t first, std::uint64_t count,
                      std::uint64_t* offsets) {
    // From 2^52 to 2^53 the doubles are exactly the whole numbers, in the order of their bits. A value that isn't whole
    // returns from there changed; every double out of range, NaN included, gets bits so far off that a sign shows it.
    constexpr double kWholes = 0x1p52;
    const std::uint64_t start = std::bit_cast<std::uint64_t>(kWholes) + first;
    const std::uint64_t last = count - 1;
    std::uint64_t outside = 0;
    std::uint64_t changed = 0;
    for (std::size_t i = 0; i < positions.size(); ++i) {
        const double raised = positions[i] + kWholes;
        const std::uint64_t offset = std::bit_cast<std::uint64_t>(raised) - start;
        outside |= offset | (last - offset);
        changed |= std::bit_cast<std::uint64_t>(raised - kWholes) ^ std::bit_cast<std::uint64_t>(positions[i]);
        offsets[i] = offset;
    }
    return outside >> 63 == 0 && changed == 0;
}
