// Call-backs into the host (`hsc` family): printing, warnings, errors, and calling a host function by name.
//
// Printed text and warnings reach the listeners of host/reference/listeners.h; the library writes to no stream itself.
#pragma once

#include "host/export.h"

struct hvArray;

TOLVANE_HOST_API int hscPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));
TOLVANE_HOST_API void hscWarnMsgIdAndTxt(const char* id, const char* format, ...) __attribute__((format(printf, 2, 3)));
TOLVANE_HOST_API void hscWarnMsgTxt(const char* text);
[[noreturn]] TOLVANE_HOST_API void hscErrMsgIdAndTxt(const char* id, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

/// Calls the host function `name`; results are new arrays that the caller owns. Returns 0 when it succeeded. If it
/// fails, the error propagates as an exception, or, with the trap flag set, is kept for "lasterr" and the status
/// returned.
TOLVANE_HOST_API int hscCallVELMAR(int resultCount, hvArray** results, int argumentCount, hvArray** arguments,
                                   const char* name);
/// Sets whether errors in called functions return a status (non-zero) or propagate as exceptions (0).
TOLVANE_HOST_API void hscSetTrapFlag(int flag);
