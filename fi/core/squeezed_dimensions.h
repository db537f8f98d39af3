// Dimensions without their singletons.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

/// Drops the dimensions of size 1, and keeps two: of a vector the one that is longer, at its place if that is one of
/// the first two, else first. Two dimensions and less stay.
inline std::vector<std::uint64_t> squeezedDimensions(const std::vector<std::uint64_t>& dims) {
    if (dims.size() <= 2) {
        return dims;
    }
    std::vector<std::uint64_t> kept;
    std::ranges::copy_if(dims, std::back_inserter(kept), [](std::uint64_t size) { return size != 1; });
    if (kept.size() >= 2) {
        return kept;
    }
    if (dims[1] != 1) {
        return {1, dims[1]};
    }
    return {kept.empty() ? 1 : kept.front(), 1};
}
