// Freed large blocks, kept for later arrays of similar size.
//
// The system provides new memory page by page, each with a fault and a pass that clears it, which costs more than most
// operations on an array. So the last few freed blocks of a mebibyte and more are kept here, up to 64 MiB in all, and
// reused for requests of up to a quarter less than their size. Any thread may call. Under an address sanitizer nothing
// is kept, so that it sees every use of freed memory.
#pragma once

#include <cstddef>

namespace hostref::largeblocks {

/// Takes a kept block of at least this many bytes, the one freed last; null if none fits. It holds old contents.
void* take(std::size_t bytes);
/// Keeps a block of std::malloc and returns true; if false, the caller still has to free it.
bool keep(void* memory);
/// Frees all kept blocks; returns whether there were any.
bool drop();

}  // namespace hostref::largeblocks
