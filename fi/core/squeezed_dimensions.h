// Dimensions without their singletons.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <span>
#include <vector>

namespace tolvane::detail {

/// Removes dimensions of size 1 but keeps two. For a vector, the longer dimension stays in place if it is one of the
/// first two, otherwise it becomes the first. Up to two dimensions are unchanged.
inline std::vector<std::uint64_t> squeezedDimensions(std::span<const std::uint64_t> dims) {
    if (dims.size() <= 2) {
        return {dims.begin(), dims.end()};
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

}  // namespace tolvane::detail
