// Errors of operations on diagonals, in the library and in its methods.
#pragma once

#include <string>

#include "host/export.h"

namespace tolvane::detail {

/// Raises "fixedpoint:fi:<operation>:kthDiagInputNotInteger".
[[noreturn]] TOLVANE_API void raiseNoDiagonalNumber(const std::string& operation);

}  // namespace tolvane::detail
