// The host's interpreter services (`hi` family): calling a host function by name.
//
// Both calls use the function table of host/reference/functions.h. Results are new arrays that the caller owns; if a
// call fails, no result is stored. See hsc.h for the call that respects the trap flag.
#pragma once

#include "host/export.h"

struct hvArray;

/// Calls the function whose name is the char array `arguments[0]` with the other arguments. An error propagates as an
/// exception.
TOLVANE_HOST_API void hiFullFevalFcn(int resultCount, hvArray** results, int argumentCount, hvArray** arguments);

/// Calls the function `name` and returns 0, or non-zero if it failed; "lasterr" then returns the error.
TOLVANE_HOST_API int hiCallFcnWithTrap(int resultCount, hvArray** results, int argumentCount, hvArray** arguments,
                                       const char* name);

/// Returns whether a call of `name` runs the host's own function, which no program has replaced; the library then may
/// do the function's work itself. A host needn't have this operation: test its address first. Without it every function
/// counts as replaced.
TOLVANE_HOST_API bool hiIsOwnFunction(const char* name) __attribute__((weak));
