#include "host/reference/values/largeblocks.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <mutex>
#include <utility>

#if defined(__SANITIZE_ADDRESS__)
#define TOLVANE_ADDRESS_CHECKED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TOLVANE_ADDRESS_CHECKED
#endif
#endif
#if defined(__GLIBC__) && !defined(TOLVANE_ADDRESS_CHECKED)
#include <malloc.h>
#define TOLVANE_KEEPS_BLOCKS
#endif

namespace hostref::largeblocks {

#ifdef TOLVANE_KEEPS_BLOCKS

namespace {

constexpr std::size_t kSmallest = std::size_t{1} << 20;
constexpr std::size_t kMostInAll = std::size_t{1} << 26;

struct Block {
    void* memory = nullptr;
    std::size_t bytes = 0;
};

/// The block freed last is first. It is never destroyed, since arrays may be destroyed after any static object.
struct Store {
    std::mutex guard;
    std::array<Block, 8> blocks{};
};
constinit Store sStore;

}  // namespace

void* take(std::size_t bytes) {
    if (bytes < kSmallest) {
        return nullptr;
    }
    const std::lock_guard lock(sStore.guard);
    auto& blocks = sStore.blocks;
    for (auto block = blocks.begin(); block != blocks.end(); ++block) {
        if (block->bytes >= bytes && block->bytes - block->bytes / 4 <= bytes) {
            void* const memory = block->memory;
            std::move(block + 1, blocks.end(), block);
            blocks.back() = {};
            return memory;
        }
    }
    return nullptr;
}

bool keep(void* memory) {
    if (memory == nullptr) {
        return false;
    }
    const std::size_t bytes = malloc_usable_size(memory);
    if (bytes < kSmallest || bytes > kMostInAll) {
        return false;
    }
    const std::lock_guard lock(sStore.guard);
    auto& blocks = sStore.blocks;
    std::free(blocks.back().memory);
    std::shift_right(blocks.begin(), blocks.end(), 1);
    blocks.front() = {memory, bytes};
    std::size_t total = 0;
    for (Block& block : blocks) {
        total += block.bytes;
        if (total > kMostInAll) {
            total -= block.bytes;
            std::free(std::exchange(block, {}).memory);
        }
    }
    return true;
}

bool drop() {
    const std::lock_guard lock(sStore.guard);
    bool wasAny = false;
    for (Block& block : sStore.blocks) {
        wasAny = wasAny || block.memory != nullptr;
        std::free(std::exchange(block, {}).memory);
    }
    return wasAny;
}

#else

void* take(std::size_t) {
    return nullptr;
}
bool keep(void*) {
    return false;
}
bool drop() {
    return false;
}

#endif

}  // namespace hostref::largeblocks
