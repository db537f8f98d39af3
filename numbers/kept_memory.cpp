#include "numbers/kept_memory.h"

#include <malloc.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>

#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size)
#define ASAN_UNPOISON_MEMORY_REGION(address, size)
#endif

namespace tolvane::detail {

namespace {

constexpr std::size_t kSlots = 8;

// A slot is emptied by who takes its block, so no other thread looks at a block that may be freed; there is no lock
// that a fork could leave locked.
constinit std::array<std::atomic<void*>, kSlots> sSlots{};
constinit std::atomic<std::size_t> sKeptBytes = 0;
constinit std::atomic<std::size_t> sNext = 0;

/// Takes what a slot has, with its size; null for none.
void* takeFrom(std::atomic<void*>& slot, std::size_t& bytes) {
    if (slot.load(std::memory_order_relaxed) == nullptr) {
        return nullptr;
    }
    void* const memory = slot.exchange(nullptr, std::memory_order_acquire);
    if (memory != nullptr) {
        bytes = malloc_usable_size(memory);
        sKeptBytes.fetch_sub(bytes, std::memory_order_relaxed);
    }
    return memory;
}

/// Puts a block into a slot that is empty.
bool putInto(std::atomic<void*>& slot, void* memory, std::size_t bytes) {
    sKeptBytes.fetch_add(bytes, std::memory_order_relaxed);
    void* empty = nullptr;
    if (slot.compare_exchange_strong(empty, memory, std::memory_order_release, std::memory_order_relaxed)) {
        return true;
    }
    sKeptBytes.fetch_sub(bytes, std::memory_order_relaxed);
    return false;
}

bool freeFrom(std::atomic<void*>& slot) {
    std::size_t bytes = 0;
    void* const memory = takeFrom(slot, bytes);
    std::free(memory);
    return memory != nullptr;
}

/// A block that is not much larger than what is asked for.
void* take(std::size_t bytes) {
    if (bytes < kLeastKeptBytes || sKeptBytes.load(std::memory_order_relaxed) == 0) {
        return nullptr;
    }
    for (std::atomic<void*>& slot : sSlots) {
        std::size_t size = 0;
        void* const memory = takeFrom(slot, size);
        if (memory == nullptr) {
            continue;
        }
        if (size >= bytes && size - bytes <= bytes / 4) {
            ASAN_UNPOISON_MEMORY_REGION(memory, size);
            return memory;
        }
        if (!putInto(slot, memory, size)) {
            std::free(memory);
        }
    }
    return nullptr;
}

/// Null means no memory, so an empty block must not be null.
template <class Allocate>
void* allocateOrFreeKept(std::size_t bytes, const Allocate& allocate) {
    const std::size_t size = bytes == 0 ? 1 : bytes;
    void* const memory = allocate(size);
    return memory == nullptr && freeKept() ? allocate(size) : memory;
}

}  // namespace

void* allocateKept(std::size_t bytes) {
    void* const kept = take(bytes);
    return kept != nullptr ? kept : allocateOrFreeKept(bytes, [](std::size_t size) { return std::malloc(size); });
}

void* allocateKeptZeros(std::size_t bytes) {
    void* const kept = take(bytes);
    return kept != nullptr ? std::memset(kept, 0, bytes)
                           : allocateOrFreeKept(bytes, [](std::size_t size) { return std::calloc(1, size); });
}

void releaseKept(void* memory) {
    const std::size_t bytes = malloc_usable_size(memory);
    if (bytes < kLeastKeptBytes || bytes > kMostKeptBytes) {
        std::free(memory);
        return;
    }
    for (std::size_t tries = 0; sKeptBytes.load(std::memory_order_relaxed) + bytes > kMostKeptBytes; ++tries) {
        freeFrom(sSlots[sNext.fetch_add(1, std::memory_order_relaxed) % kSlots]);
        if (tries == kSlots) {
            std::free(memory);
            return;
        }
    }
    ASAN_POISON_MEMORY_REGION(memory, bytes);
    for (std::atomic<void*>& slot : sSlots) {
        if (putInto(slot, memory, bytes)) {
            return;
        }
    }
    std::atomic<void*>& oldest = sSlots[sNext.fetch_add(1, std::memory_order_relaxed) % kSlots];
    freeFrom(oldest);
    if (!putInto(oldest, memory, bytes)) {
        std::free(memory);
    }
}

bool freeKept() {
    bool isAny = false;
    for (std::atomic<void*>& slot : sSlots) {
        isAny |= freeFrom(slot);
    }
    return isAny;
}

}  // namespace tolvane::detail
