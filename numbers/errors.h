// Errors that several sources raise.
//
// Each id and text is written once; the layers above raise the same errors through these functions.
#pragma once

#include "host/export.h"

namespace tolvane::detail {

/// Raises "fixedpoint:fi:outofmemory".
[[noreturn]] TOLVANE_API void raiseOutOfMemory();

/// Raises "fixedpoint:fi:dimagree".
[[noreturn]] TOLVANE_API void raiseDimensionsDisagree();

}  // namespace tolvane::detail
