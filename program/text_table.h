// Tables for people.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "program/exact_value.h"

namespace tolvane::detail {

using TextRow = std::vector<std::string>;

/// A line for each row, all of the first one's size, which holds the names of the columns. The first `texts` columns
/// are set to the left, and the last one if it `endsInText`; others, of numbers, to the right.
std::string tableOf(const std::vector<TextRow>& rows, std::size_t texts, bool endsInText = false);
/// A number to six digits.
std::string shortText(double value);
std::string shortText(const exact_value& value);

}  // namespace tolvane::detail
