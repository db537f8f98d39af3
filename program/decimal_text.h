// Decimal numbers as text, for numbers that are exact and for those that a format rounds. Not installed.
#pragma once

#include <optional>
#include <string_view>

#include "program/exact_value.h"

namespace tolvane::detail {

/// Reads "-12.375e-3". A number that is no multiple of 2^`lastPlace` becomes the odd one of the two multiples beside
/// it, so that every rounding to multiples of four units or more makes the same of it. Without a last place it must
/// have a finite binary form. Raises "tolvane:value:text".
exact_value readDecimal(std::string_view text, std::optional<int> lastPlace);

}  // namespace tolvane::detail
