// Counts allocations by `operator new`, and lets them fail, in a test executable that has tests/fi/blocks.cpp.
#pragma once

#include <cstddef>
#include <cstdint>

/// Blocks allocated so far by all forms of `operator new`.
std::uint64_t allocatedBlocks();

/// While it lives, blocks of so many bytes and more can't be had.
class FailingBlocks {
 public:
    explicit FailingBlocks(std::size_t bytes) { setLeast(bytes); }
    FailingBlocks(const FailingBlocks&) = delete;
    FailingBlocks& operator=(const FailingBlocks&) = delete;
    ~FailingBlocks() { setLeast(SIZE_MAX); }

 private:
    static void setLeast(std::size_t bytes);
};

template <class Action>
std::uint64_t blocksOf(Action action) {
    const std::uint64_t before = allocatedBlocks();
    action();
    return allocatedBlocks() - before;
}
