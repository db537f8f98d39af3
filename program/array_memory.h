// Arrays from the memory of a caller, and values into it, in one pass: what bindings to other languages need. Not
// installed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "host/export.h"
#include "program/fixed_array.h"

namespace tolvane::detail {

class Place;
class wordarray;

/// Plain integers in memory.
struct PlainIntegers {
    const void* data;
    std::size_t itemBytes;  // 1, 2, 4 or 8
    bool isSigned;
};

// Arrays of numbers that are each quantized once.

TOLVANE_API fixed_array quantizedIntegers(const PlainIntegers& integers, const array_shape& shape,
                                          const fixed_format& format, const code_location& where);
/// Values that aren't finite raise "tolvane:value:finite".
TOLVANE_API fixed_array quantizedDoubles(std::span<const double> values, const array_shape& shape,
                                         const fixed_format& format, const code_location& where);
/// Sets all words, for a place that takes doubles. Raises as well, when some are set.
void quantizeInto(std::span<const double> values, Place& place, wordarray& words);

/// An array of integers that are words of a type; others raise "tolvane:array:word". Unsigned ones count as the signed
/// ones with their bits if the words have 64.
TOLVANE_API fixed_array arrayOfWords(const PlainIntegers& integers, const array_shape& shape, const fixed_type& type);

/// Sets the nearest doubles of the real parts; as many as the array has elements.
TOLVANE_API void doublesInto(const fixed_array& x, std::span<double> out);

/// The number of elements of two operands when they are broadcast.
TOLVANE_API std::size_t sizeOfBoth(const fixed_array& a, const fixed_array& b);
enum class Relation { equal, notEqual, less, lessEqual };
/// Sets a byte for each pair of broadcast elements to 1 if it is in a relation, or to 0. Order needs real numbers.
TOLVANE_API void compareInto(Relation relation, const fixed_array& a, const fixed_array& b,
                             std::span<std::uint8_t> out);

}  // namespace tolvane::detail
