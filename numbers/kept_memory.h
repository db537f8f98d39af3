// Large blocks of malloc's that are kept when they are released, for the next results of the same size.
//
// The C library gives large blocks back to the system, and every page of a fresh one costs a fault, which takes longer
// than most arithmetic on it. Up to 8 blocks and 64 MiB are kept, by all threads together; the oldest makes room.
// Blocks are plain ones of malloc: any of them may be released by free, and kept ones are found by the leak checker.
#pragma once

#include <cstddef>

#include "host/export.h"

namespace tolvane::detail {

/// The least size of blocks that are kept, and the most bytes of all of them.
constexpr std::size_t kLeastKeptBytes = std::size_t{1} << 17U;
constexpr std::size_t kMostKeptBytes = std::size_t{1} << 26U;

/// A block that was kept or a fresh one, uninitialised; null if there is no memory, when nothing is kept any more.
TOLVANE_API void* allocateKept(std::size_t bytes);
/// The same of zeros.
TOLVANE_API void* allocateKeptZeros(std::size_t bytes);
/// Takes any block of malloc's, and null.
TOLVANE_API void releaseKept(void* memory);
/// Frees all blocks that are kept, and returns whether there was one.
TOLVANE_API bool freeKept();

}  // namespace tolvane::detail
