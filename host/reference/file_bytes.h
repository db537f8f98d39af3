// The bytes of a file in memory.
#pragma once

#include <cstddef>
#include <new>
#include <utility>
#include <vector>

#include "host/bs.h"

namespace hostref {

/// Allocates by bsMalloc, which reuses large blocks, and leaves elements uninitialised that no value is given for.
template <class T>
class BlockAllocator {
 public:
    using value_type = T;
    static T* allocate(std::size_t count) {
        void* const memory = bsMalloc(count * sizeof(T));
        if (memory == nullptr) {
            throw std::bad_alloc();
        }
        return static_cast<T*>(memory);
    }
    static void deallocate(T* memory, std::size_t /*count*/) { bsFree(memory); }
    template <class... Value>
    static void construct(T* place, Value&&... value) {
        if constexpr (sizeof...(Value) == 0) {
            ::new (place) T;
        } else {
            ::new (place) T(std::forward<Value>(value)...);
        }
    }
    bool operator==(const BlockAllocator&) const = default;
};

using FileBytes = std::vector<std::byte, BlockAllocator<std::byte>>;

}  // namespace hostref
