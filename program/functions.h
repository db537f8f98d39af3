// Functions over arrays, along axes and element by element, beyond those that operators are: sums, products of
// matrices, extremes, comparisons, roots and powers.
//
// Results are exact, in types that hold every value that the types of the operands allow, except where a format stands.
// Axes below zero count from the end, and one that an array doesn't have raises "tolvane:array:axis". What has an order
// needs real numbers and raises "tolvane:array:complex".
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "host/export.h"
#include "program/fixed_array.h"
#include "program/shapes.h"

namespace tolvane {

/// An operand that is an array or a plain number. A number counts as exact, in the shortest type that holds it; beside
/// an array whose words are shorter than the mantissa of a double it raises "tolvane:array:constant".
class TOLVANE_API array_or_number {
 public:
    array_or_number(const fixed_array& x) : mArray(x) {}  // NOLINT(google-explicit-constructor)
    template <plain_number Number>
    array_or_number(Number value)  // NOLINT(google-explicit-constructor)
        : mValue(value), mIsWhole(whole_number<Number>) {}
    array_or_number(const exact_value& value) : mValue(value) {}  // NOLINT(google-explicit-constructor)

    /// The array that it is beside another operand.
    fixed_array beside(const array_or_number& other) const;
    /// The same, whatever the length of the mantissa.
    fixed_array exact() const;

 private:
    std::optional<fixed_array> mArray;
    exact_value mValue;
    bool mIsWhole = true;
};

// Sums. Real and imaginary parts of complex sums have places of their own, and the parts of a product are quantized
// once each.

/// The sums along an axis, which is dropped. See sum of fixed_array.h for the formats.
TOLVANE_API fixed_array sum(const fixed_array& x, int axis, const sum_formats& formats = {},
                            const code_location& where = code_location::current());
/// All sums along an axis, exact or each of them quantized before the next term is added.
TOLVANE_API fixed_array cumsum(const fixed_array& x, int axis, const std::optional<fixed_format>& format = std::nullopt,
                               const code_location& where = code_location::current());
/// The exact sum over the number of elements, rounded once. No elements raise "tolvane:array:shape".
TOLVANE_API fixed_array mean(const fixed_array& x, const fixed_format& format,
                             const code_location& where = code_location::current());
TOLVANE_API fixed_array mean(const fixed_array& x, int axis, const fixed_format& format,
                             const code_location& where = code_location::current());
/// Products of the matrices in the last two axes; other axes are broadcast. A vector is a row on the left and a column
/// on the right, and its axis is dropped. Sizes that don't fit raise "tolvane:array:shape".
TOLVANE_API fixed_array matmul(const fixed_array& a, const fixed_array& b, const sum_formats& formats = {},
                               const code_location& where = code_location::current());

// Extremes and order. Among equal values the first one counts. No elements raise "tolvane:array:shape".

/// Along an axis, which is dropped.
TOLVANE_API fixed_array max(const fixed_array& x, int axis);
TOLVANE_API fixed_array min(const fixed_array& x, int axis);
/// The place in memory of an extreme of all elements; along an axis, the index of each one in its row.
TOLVANE_API std::ptrdiff_t argmax(const fixed_array& x);
TOLVANE_API std::ptrdiff_t argmin(const fixed_array& x);
TOLVANE_API index_list argmax(const fixed_array& x, int axis);
TOLVANE_API index_list argmin(const fixed_array& x, int axis);
/// In ascending order along an axis, and the indices that bring each row into this order.
TOLVANE_API fixed_array sort(const fixed_array& x, int axis = -1);
TOLVANE_API index_list argsort(const fixed_array& x, int axis = -1);
/// The greater or the lesser one of two elements, in a type that has the values of both operands.
TOLVANE_API fixed_array maximum(const array_or_number& a, const array_or_number& b);
TOLVANE_API fixed_array minimum(const array_or_number& a, const array_or_number& b);
/// The elements, or the bounds where they are beyond; the high one where the bounds are in the wrong order.
TOLVANE_API fixed_array clip(const fixed_array& x, const array_or_number& low, const array_or_number& high);

// Truth. A number is true if it isn't zero.

TOLVANE_API bool any_of(const fixed_array& x);
TOLVANE_API bool all_of(const fixed_array& x);
TOLVANE_API std::vector<bool> any_of(const fixed_array& x, int axis);
TOLVANE_API std::vector<bool> all_of(const fixed_array& x, int axis);
/// The places in memory of all elements that aren't zero, and of all entries of a mask that are set.
TOLVANE_API index_list find(const fixed_array& x);
TOLVANE_API index_list find(const std::vector<bool>& mask);
/// The indices of such elements, one for each axis.
TOLVANE_API std::vector<array_shape> argwhere(const fixed_array& x);
/// The elements of a where the mask is set, and those of b elsewhere, in a type that has the values of both. The mask
/// has as many entries as the elements of both when they are broadcast; others raise "tolvane:array:shape".
TOLVANE_API fixed_array where(const std::vector<bool>& mask, const array_or_number& a, const array_or_number& b);

// Comparisons of broadcast operands by exact value, whatever their types.

TOLVANE_API std::vector<bool> is_equal(const array_or_number& a, const array_or_number& b);
TOLVANE_API std::vector<bool> is_not_equal(const array_or_number& a, const array_or_number& b);
TOLVANE_API std::vector<bool> is_less(const array_or_number& a, const array_or_number& b);
TOLVANE_API std::vector<bool> is_less_equal(const array_or_number& a, const array_or_number& b);
TOLVANE_API std::vector<bool> is_greater(const array_or_number& a, const array_or_number& b);
TOLVANE_API std::vector<bool> is_greater_equal(const array_or_number& a, const array_or_number& b);

// Element by element.

/// Whole numbers, each part of complex ones by itself.
TOLVANE_API fixed_array floor(const fixed_array& x);
TOLVANE_API fixed_array ceil(const fixed_array& x);
TOLVANE_API fixed_array trunc(const fixed_array& x);
TOLVANE_API fixed_array round(const fixed_array& x, rounding rule = rounding::nearest);
/// -1, 0 or 1.
TOLVANE_API fixed_array sign(const fixed_array& x);
TOLVANE_API fixed_array conj(const fixed_array& x);
/// Square roots, each rounded once. Elements below zero raise "tolvane:array:root".
TOLVANE_API fixed_array sqrt(const fixed_array& x, const fixed_format& format,
                             const code_location& where = code_location::current());
/// Powers with a whole exponent of at least 0; others raise "tolvane:array:exponent".
TOLVANE_API fixed_array power(const fixed_array& x, int exponent);

}  // namespace tolvane
