// What operations on diagonals raise, in the library and in its methods.
#pragma once

#include <string>

/// Raises "fixedpoint:fi:<operation>:kthDiagInputNotInteger".
[[noreturn]] void raiseNoDiagonalNumber(const std::string& operation);
