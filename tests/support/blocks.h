// Counts allocations by `operator new`, in a test executable that has tests/fi/blocks.cpp.
#pragma once

#include <cstdint>

/// Blocks allocated so far by all forms of `operator new`.
std::uint64_t allocatedBlocks();

template <class Action>
std::uint64_t blocksOf(Action action) {
    const std::uint64_t before = allocatedBlocks();
    action();
    return allocatedBlocks() - before;
}
