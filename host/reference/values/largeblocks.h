// Freed large blocks, kept for the next arrays of about their size.
//
// The system hands out fresh memory page by page, each with a fault and a pass that clears it, which costs more than
// most operations do with an array. So the last few blocks of a mebibyte and more that were freed stay here, up to
// 64 MiB in all, and serve requests of up to a quarter less than they hold. Any thread may call. Where an address
// checker watches, nothing is kept, so that it sees every use of freed memory.
#pragma once

#include <cstddef>

namespace hostref::largeblocks {

/// Takes a kept block of at least so many bytes, the one freed last; null when none fits. It holds old contents.
void* take(std::size_t bytes);
/// Keeps a block of std::malloc, or answers false; then it is still the caller's to free.
bool keep(void* memory);
/// Frees all that is kept; answers whether there was any.
bool drop();

}  // namespace hostref::largeblocks
