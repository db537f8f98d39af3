// Tells the error for lack of memory from others.
#pragma once

#include "host/export.h"

class ErrorIdException;

namespace tolvane::detail {

/// Whether an error is that of `raiseOutOfMemory` (numbers/errors.h).
TOLVANE_API bool isOutOfMemory(const ErrorIdException& error);

}  // namespace tolvane::detail
