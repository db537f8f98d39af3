// Char arrays as lines of text, and a text about fields. A text has one row at most; in storage order the characters of
// several would interleave.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/hv.h"

namespace hostref {

/// Returns whether the array is char and has no second row, in any page.
bool isText(const hvArray* array);

/// The row that begins at an offset in a char array with pages of `rows` by `columns`, as UTF-8.
std::string charRow(const hvArray* array, std::size_t offset, std::size_t rows, std::size_t columns);

/// The rows of a char array, page by page; another class raises "VELMAR:array:notChar".
std::vector<std::string> textLines(const hvArray* array);

/// The number of characters of a value shown in an error.
inline constexpr std::size_t kLongestGivenText = 80;
/// Writes an array in one line: short ones completely, others as "[3-by-4 double]"; likewise texts of more than
/// `longestText` characters.
std::string inlineText(const hvArray* array, std::size_t longestText = SIZE_MAX);

/// The error for a name that is no field of a struct array.
constexpr const char* kNoField = "VELMAR:array:noField";
std::string noFieldText(const char* name);

}  // namespace hostref
