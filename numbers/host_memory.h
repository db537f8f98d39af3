// Memory of the host with an owner.
#pragma once

#include <cstdint>
#include <memory>

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

}  // namespace tolvane::detail
