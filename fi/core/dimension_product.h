// The element count of dimensions, checked.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "numbers/errors.h"

namespace tolvane::detail {

/// Returns the product, 1 for no dimensions; a zero makes it 0. Raises "fixedpoint:fi:outofmemory" beyond 64 bits.
inline std::uint64_t dimensionProduct(std::span<const std::uint64_t> dims) {
    if (std::ranges::find(dims, std::uint64_t{0}) != dims.end()) {
        return 0;
    }
    std::uint64_t product = 1;
    for (const std::uint64_t size : dims) {
        if (__builtin_mul_overflow(product, size, &product)) {
            raiseOutOfMemory();
        }
    }
    return product;
}

}  // namespace tolvane::detail
