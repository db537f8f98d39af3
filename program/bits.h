// The words of arrays as bits: what wires, shifters and counters of hardware do, for words of any length.
//
// Words are in two's complement if signed; bit 0 is the lowest one, whatever its weight is. Arrays are real, and
// complex ones raise "tolvane:array:complex". Two arrays are broadcast like the operands of a sum. Bits that a word
// doesn't have raise "tolvane:bits:range", and words of different lengths where they must be equal
// "tolvane:bits:length".
#pragma once

#include <vector>

#include "host/export.h"
#include "program/fixed_array.h"

namespace tolvane {

// Logic, bit by bit, of words of one length. Results have the type of a.

TOLVANE_API fixed_array and_bits(const fixed_array& a, const fixed_array& b);
TOLVANE_API fixed_array or_bits(const fixed_array& a, const fixed_array& b);
TOLVANE_API fixed_array xor_bits(const fixed_array& a, const fixed_array& b);
TOLVANE_API fixed_array not_bits(const fixed_array& a);

// Parts and wholes.

/// Bits high to low, as unsigned integers.
TOLVANE_API fixed_array slice_bits(const fixed_array& x, int high, int low);
/// The words of a above those of b, as unsigned integers.
TOLVANE_API fixed_array concat_bits(const fixed_array& a, const fixed_array& b);
/// The words of several arrays, the first ones highest; no arrays raise "tolvane:array:shape".
TOLVANE_API fixed_array concat_bits(const std::vector<fixed_array>& parts);
/// One bit, as u1,0.
TOLVANE_API fixed_array get_bit(const fixed_array& x, int bit);
TOLVANE_API fixed_array set_bit(const fixed_array& x, int bit, bool value = true);
/// The same words as those of another type of the same length.
TOLVANE_API fixed_array reinterpret(const fixed_array& x, const fixed_type& type);

// Shifts that keep the type. `scaled` moves the point instead. Places are at least 0, and may exceed the length.

/// Moves the bits up; those beyond the top are lost, and zeros enter.
TOLVANE_API fixed_array shift_left(const fixed_array& x, int places);
/// Multiplies by 2^places, and forces the products into a format.
TOLVANE_API fixed_array shift_left(const fixed_array& x, int places, const fixed_format& format,
                                   const code_location& where = code_location::current());
/// Moves the bits down; copies of the sign enter, or zeros where there is none, and those below the lowest are lost.
TOLVANE_API fixed_array shift_right(const fixed_array& x, int places);
/// As shift_right, except that zeros enter in signed words, too.
TOLVANE_API fixed_array shift_right_logical(const fixed_array& x, int places);
/// Moves the bits up, or down for places below zero; those that leave at one end enter at the other.
TOLVANE_API fixed_array rotate_bits(const fixed_array& x, int places);

// Counts, one for each element.

/// Zeros above the highest one; the length of the word for zero.
TOLVANE_API std::vector<int> leading_zeros(const fixed_array& x);
/// Bits below the top one that are equal to it, down to the first that isn't: how far a signed word can be shifted left
/// without overflow.
TOLVANE_API std::vector<int> leading_signs(const fixed_array& x);
/// Zeros below the lowest one; the length of the word for zero.
TOLVANE_API std::vector<int> trailing_zeros(const fixed_array& x);
TOLVANE_API std::vector<int> count_ones(const fixed_array& x);

}  // namespace tolvane
