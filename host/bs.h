// The host's base utilities (`bs` family): memory, strings, constants of double, rounding of a double scalar.
//
// Memory from bsMalloc, bsCalloc, bsMallocWithCheck and bsStrdup is released with bsFree. Sizes are in bytes.
#pragma once

#include <cstddef>

#include "host/export.h"

/// Returns uninitialised memory, or null if there is none.
TOLVANE_HOST_API void* bsMalloc(std::size_t bytes);
/// As bsMalloc, except that it raises "bs:outofmemory" instead of returning null.
TOLVANE_HOST_API void* bsMallocWithCheck(std::size_t bytes);
/// Returns zeroed memory, or null if there is none or count * bytes overflows.
TOLVANE_HOST_API void* bsCalloc(std::size_t count, std::size_t bytes);
TOLVANE_HOST_API void bsFree(void* memory);

TOLVANE_HOST_API std::size_t bsStrlen(const char* text);
TOLVANE_HOST_API char* bsStrcpy(char* target, const char* source);
TOLVANE_HOST_API char* bsStrncpy(char* target, const char* source, std::size_t count);
/// Copies a text to memory that the caller frees with bsFree; null for null.
TOLVANE_HOST_API char* bsStrdup(const char* text);

/// Prints through the host, as hscPrintf; returns the number of characters.
TOLVANE_HOST_API int bsPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

TOLVANE_HOST_API double bsGetNaN();
TOLVANE_HOST_API double bsGetInf();
TOLVANE_HOST_API double bsGetMinusInf();
/// The largest finite double.
TOLVANE_HOST_API double bsGetRealMax();

/// Rounds to the nearest whole number, ties away from zero.
TOLVANE_HOST_API double bsDoubleScalarRound(double value);

/// Restores the floating-point state after integer library calls; x86-64 and arm64 don't change it, so this is empty.
TOLVANE_HOST_API void bsResetFPU();
