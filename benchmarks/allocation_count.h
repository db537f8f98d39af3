// Counts what the process takes from the allocator: the malloc family of the program that includes this passes through
// counters. Include it in one source of a program. Only with glibc; elsewhere all counts are 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

struct Allocations {
    std::int64_t count = 0;
    std::int64_t bytes = 0;  // as requested
    std::int64_t held = 0;   // as the allocator rounded them up, less what was freed
};
inline Allocations gAllocations;
inline bool gCountsAllocations = true;

#if defined(__GLIBC__)
// NOLINTBEGIN(bugprone-reserved-identifier): the names of glibc's own functions
extern "C" {
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* memory, std::size_t bytes);
void __libc_free(void* memory);
}
// NOLINTEND(bugprone-reserved-identifier)

inline void giveUp(void* memory) {
    if (gCountsAllocations) {
        gAllocations.held -= static_cast<std::int64_t>(malloc_usable_size(memory));
    }
}

inline void* counted(void* memory, std::size_t bytes) {
    if (gCountsAllocations) {
        ++gAllocations.count;
        gAllocations.bytes += static_cast<std::int64_t>(bytes);
        gAllocations.held += static_cast<std::int64_t>(malloc_usable_size(memory));
    }
    return memory;
}

extern "C" {
void* malloc(std::size_t bytes) noexcept {
    return counted(__libc_malloc(bytes), bytes);
}
void* calloc(std::size_t count, std::size_t bytes) noexcept {
    return counted(__libc_calloc(count, bytes), count * bytes);
}
void* realloc(void* memory, std::size_t bytes) noexcept {
    giveUp(memory);
    return counted(__libc_realloc(memory, bytes), bytes);
}
void free(void* memory) noexcept {
    giveUp(memory);
    __libc_free(memory);
}
}
#endif
