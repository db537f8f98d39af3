// Char arrays as lines of text. A text has one row at most; in storage order the characters of several would
// interleave.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/hv.h"

namespace hostref {

/// Answers whether the array is char and has no second row, in any page.
bool isText(const hvArray* array);

/// The row that begins at an offset in a char array whose pages are of `rows` by `columns`, as UTF-8.
std::string charRow(const hvArray* array, std::size_t offset, std::size_t rows, std::size_t columns);

/// The rows of a char array, page by page; another class raises "VELMAR:array:notChar".
std::vector<std::string> textLines(const hvArray* array);

}  // namespace hostref
