// Positions as doubles, which is how indices and the plans made of them count elements.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

/// Turns positions that count `count` elements from `first` on into offsets from 0, as many as there are positions.
/// Answers whether each is whole and names an element; if not, the offsets mean nothing. One pass without branches, for
/// blocks that stay in the first-level cache.
inline bool offsetsOf(std::span<const double> positions, std::uint64_t first, std::uint64_t count,
                      std::uint64_t* offsets) {
    // From 2^52 to 2^53 doubles are the whole numbers and count up with their bits. What isn't whole comes back from
    // there changed; every double outside of the range, NaN included, gets bits so far off that a sign shows it.
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
