// Subscripts in parentheses on arrays of values: reading, assigning with growth, and deleting elements.
//
// Indices count from 1. An index is a numeric array of positive whole numbers, a logical mask (the positions of its
// true elements), or the text ":" for all. One index counts through the whole array column by column; with several, the
// last one counts through all remaining dimensions, and dimensions beyond the last are 1. Accepts arrays of every class
// with plain data, and cells. Results are new arrays; no argument changes.
#pragma once

#include <span>
#include <string>

#include "host/export.h"
#include "host/hv.h"

namespace hostref {

/// Raises "VELMAR:subs:notSupported".
[[noreturn]] void raiseNoIndexing(const std::string& className);

using Indices = std::span<const hvArray* const>;

/// Returns the elements at the indices: with one index in its shape, or along the array's direction when both are
/// vectors, and as a column for ":"; with several in the shape of their counts. Without indices, returns the array.
/// Raises "VELMAR:subs:badSubscript" for an invalid index and "VELMAR:subs:exceedsDimensions".
TOLVANE_HOST_API hvArrayOwner elementsAt(const hvArray* array, Indices indices);

/// Returns the array with the elements at the indices replaced: by one value for all, or by as many as there are
/// positions; if several values have the same position, the last one remains. An array grows as far as the indices
/// require, with new elements zero; with one index only a vector, a scalar or a 0-by-0 array can grow, the latter two
/// to a row. In an empty dimension, ":" means as many positions as the values have. Raises "VELMAR:subs:badSubscript",
/// "VELMAR:subs:countMismatch", "VELMAR:subs:dimensionMismatch", "VELMAR:subs:cannotResize", and
/// "VELMAR:subs:classMismatch" for values of another class, except that double arrays accept all numbers and a 0-by-0
/// double array takes the values' class.
TOLVANE_HOST_API hvArrayOwner withElements(const hvArray* array, Indices indices, const hvArray* values);

/// Returns the array without the elements at the indices. With one index, a matrix becomes a row; of several indices,
/// all but one must select their whole dimension. Raises "VELMAR:subs:badSubscript", "VELMAR:subs:exceedsDimensions"
/// and "VELMAR:subs:badDeletion".
TOLVANE_HOST_API hvArrayOwner withoutElements(const hvArray* array, Indices indices);

}  // namespace hostref
