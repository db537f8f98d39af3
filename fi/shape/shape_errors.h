// Errors of operations on diagonals, in the library and in its methods.
#pragma once

#include <string>

namespace tolvane::detail {

/// Raises "fixedpoint:fi:<operation>:kthDiagInputNotInteger".
[[noreturn]] void raiseNoDiagonalNumber(const std::string& operation);

}  // namespace tolvane::detail
