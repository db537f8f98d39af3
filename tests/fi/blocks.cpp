// Replaces the allocation operators of this executable by counting ones; all other forms end in these.
#include "tests/support/blocks.h"

#include <atomic>
#include <cstdlib>
#include <new>

static std::atomic<std::uint64_t> sBlocks;

std::uint64_t allocatedBlocks() {
    return sBlocks;
}

void* operator new(std::size_t bytes) {
    ++sBlocks;
    if (void* block = std::malloc(bytes == 0 ? 1 : bytes)) {
        return block;
    }
    throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
