// Bases for texts of digits: the valid ones, and the number of digits of a word.
#pragma once

#include <string>

#include "host/export.h"

namespace tolvane::detail {

/// Raises the error of that id unless the base is from 2 to `greatest`.
TOLVANE_API void requireBase(int base, int greatest, const std::string& id);

/// Returns the number of digits for any word of 1 to 65535 bits in a base from 2 to 36.
TOLVANE_API int digitCount(int wordBits, int base);

}  // namespace tolvane::detail
