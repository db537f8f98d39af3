// For a library that put its services in force and leaves the process, which takes its table with it.
#pragma once

#include "numbers/services.h"

namespace tolvane::detail {

/// Puts a program's own services in force again, with the memory of those in force, which arrays may still have.
TOLVANE_API void keepOnlyMemoryServices();

}  // namespace tolvane::detail
