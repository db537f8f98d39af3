// Replaces the allocation operators of this executable by counting ones. All forms are here, since a sanitizer has
// forms of its own that would not end in the plain ones; blocks of greater alignment stay uncounted.
#include "tests/support/blocks.h"

#include <atomic>
#include <cstdlib>
#include <new>

static std::atomic<std::uint64_t> sBlocks;
static std::atomic<std::size_t> sLeastFailing = SIZE_MAX;

std::uint64_t allocatedBlocks() {
    return sBlocks;
}

void FailingBlocks::setLeast(std::size_t bytes) {
    sLeastFailing = bytes;
}

static void* tryToAllocate(std::size_t bytes) noexcept {
    ++sBlocks;
    return bytes >= sLeastFailing ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
}
static void* allocate(std::size_t bytes) {
    if (void* block = tryToAllocate(bytes)) {
        return block;
    }
    throw std::bad_alloc();
}

void* operator new(std::size_t bytes) {
    return allocate(bytes);
}
void* operator new[](std::size_t bytes) {
    return allocate(bytes);
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return tryToAllocate(bytes);
}
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
    return tryToAllocate(bytes);
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
