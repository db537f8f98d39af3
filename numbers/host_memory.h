// Memory of the host with an owner.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

#include "numbers/errors.h"
#include "numbers/services.h"

namespace tolvane::detail {

struct HostFree {
    void operator()(void* memory) const { services().release(memory); }
};
template <class T>
using HostMemory = std::unique_ptr<T[], HostFree>;

/// Returns uninitialised bytes. Raises "fixedpoint:fi:outofmemory".
inline void* allocateHostBytes(std::uint64_t bytes) {
    void* const memory = bytes <= PTRDIFF_MAX ? services().allocate(bytes) : nullptr;
    if (!memory) {
        raiseOutOfMemory();
    }
    return memory;
}

/// Returns zeros, `size` times `count` of them; null for none. Raises "fixedpoint:fi:outofmemory".
template <class T>
HostMemory<T> allocateHostZeros(std::uint64_t count, std::uint64_t size) {
    std::uint64_t all = 0;
    if (__builtin_mul_overflow(count, size, &all) || all > PTRDIFF_MAX / sizeof(T)) {
        raiseOutOfMemory();
    }
    if (all == 0) {
        return nullptr;
    }
    HostMemory<T> memory(static_cast<T*>(services().allocateZeros(all * sizeof(T))));
    if (!memory) {
        raiseOutOfMemory();
    }
    return memory;
}

/// Allocates by `operator new`, but raises "fixedpoint:fi:outofmemory".
template <class T>
struct WorkAllocator {
    using value_type = T;
    WorkAllocator() = default;
    template <class Other>
    // NOLINTNEXTLINE(google-explicit-constructor)
    WorkAllocator(const WorkAllocator<Other>&) {}
    T* allocate(std::size_t count) {
        try {
            return std::allocator<T>().allocate(count);
        } catch (const std::bad_alloc&) {
            raiseOutOfMemory();
        }
    }
    void deallocate(T* memory, std::size_t count) { std::allocator<T>().deallocate(memory, count); }
    bool operator==(const WorkAllocator&) const = default;
};
/// What array code needs while it runs.
template <class T>
using WorkVector = std::vector<T, WorkAllocator<T>>;

}  // namespace tolvane::detail
