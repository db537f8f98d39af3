// Errors that several sources raise.
//
// Each id and text is written once; the layers above raise the same errors through these functions.
#pragma once

namespace tolvane::detail {

/// Raises "fixedpoint:fi:outofmemory".
[[noreturn]] void raiseOutOfMemory();

/// Raises "fixedpoint:fi:dimagree".
[[noreturn]] void raiseDimensionsDisagree();

}  // namespace tolvane::detail
