// Arrays made, cut, turned and joined: functions that only move elements, and writing into a part of an array.
//
//     fixed_array ramp = full_range(sfix(8, 7));            // every word of a type
//     fixed_array even = sliced(ramp, {{0, 256, 2}});       // from 0 up to 256, every second one
//     put_slice(ramp, {{0, 16}}, even_start);               // quantized into the type of ramp
//
// Axes and indices below zero count from the end. An axis that an array doesn't have raises "tolvane:array:axis", an
// index beyond the last "tolvane:array:index", and shapes that don't fit together "tolvane:array:shape".
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/export.h"
#include "program/fixed_array.h"

namespace tolvane {

using index_list = std::vector<std::ptrdiff_t>;

/// Which elements of one axis: all, one of them, or those from `begin` on that lie before `end`, a step apart. What
/// lies beyond the axis is left out. A step below zero walks back, from the last element unless there is a begin.
class TOLVANE_API index_range {
 public:
    index_range() = default;
    /// One element; the axis is dropped.
    index_range(std::ptrdiff_t index)  // NOLINT(google-explicit-constructor)
        : mBegin(index), mIsSingle(true) {}
    /// A step of zero raises "tolvane:array:step".
    index_range(std::optional<std::ptrdiff_t> begin, std::optional<std::ptrdiff_t> end, std::ptrdiff_t step = 1);

    const std::optional<std::ptrdiff_t>& begin() const { return mBegin; }
    const std::optional<std::ptrdiff_t>& end() const { return mEnd; }
    std::ptrdiff_t step() const { return mStep; }
    bool is_single() const { return mIsSingle; }

 private:
    std::optional<std::ptrdiff_t> mBegin;
    std::optional<std::ptrdiff_t> mEnd;
    std::ptrdiff_t mStep = 1;
    bool mIsSingle = false;
};

// Arrays from nothing.

TOLVANE_API fixed_array zeros(array_shape shape, const fixed_type& type);
/// A value everywhere, quantized once.
TOLVANE_API fixed_array full(const array_shape& shape, const exact_value& value, const fixed_format& format,
                             const code_location& where = code_location::current());
TOLVANE_API fixed_array ones(const array_shape& shape, const fixed_format& format,
                             const code_location& where = code_location::current());
/// start, start + step and so on before `stop`, each exact and quantized once. A step of zero raises
/// "tolvane:array:step".
TOLVANE_API fixed_array arange(const exact_value& start, const exact_value& stop, const exact_value& step,
                               const fixed_format& format, const code_location& where = code_location::current());
/// Every word of a type of up to 24 bits, from the least value to the greatest; longer ones raise
/// "tolvane:array:growth".
TOLVANE_API fixed_array full_range(const fixed_type& type);
/// One dimension of words of any length, in two's complement if signed: for each the limbs of 64 bits that it needs,
/// the lowest first, with the sign (or zeros) above its top bit. Others raise "tolvane:array:word".
TOLVANE_API fixed_array from_limbs(std::span<const std::uint64_t> limbs, const fixed_type& type);
/// Such limbs of an array. A view is valid while the array lives and doesn't change.
TOLVANE_API std::span<const std::uint64_t> limbs_of(const fixed_array& x);
/// No limbs for a real array.
TOLVANE_API std::span<const std::uint64_t> imag_limbs_of(const fixed_array& x);
/// Complex numbers of two real arrays of one shape, in a type that has the values of both.
TOLVANE_API fixed_array complex_of(const fixed_array& real, const fixed_array& imag);

// Parts of arrays. They have the type and the name of the whole.

/// A range for each axis; axes beyond them are taken whole.
TOLVANE_API fixed_array sliced(const fixed_array& x, const std::vector<index_range>& ranges);
/// The elements at some places in memory, as one dimension.
TOLVANE_API fixed_array take(const fixed_array& x, const index_list& places);
/// The same along an axis, which gets as many elements.
TOLVANE_API fixed_array take(const fixed_array& x, const index_list& indices, int axis);
/// The elements where the mask, which has as many entries as the array elements, is set, as one dimension.
TOLVANE_API fixed_array masked(const fixed_array& x, const std::vector<bool>& mask);

// Writing. Values are quantized into the array's type, under its name; they are broadcast to the shape of the part.
// Complex values into a real array raise "tolvane:array:complex".

TOLVANE_API void put_slice(fixed_array& x, const std::vector<index_range>& ranges, const fixed_array& values,
                           rounding round = rounding::nearest, overflow over = overflow::saturate,
                           const code_location& where = code_location::current());
/// At places in memory; the last one of several values for one place stays.
TOLVANE_API void put(fixed_array& x, const index_list& places, const fixed_array& values,
                     rounding round = rounding::nearest, overflow over = overflow::saturate,
                     const code_location& where = code_location::current());
TOLVANE_API void put_mask(fixed_array& x, const std::vector<bool>& mask, const fixed_array& values,
                          rounding round = rounding::nearest, overflow over = overflow::saturate,
                          const code_location& where = code_location::current());

// Order and number of elements.

/// With the axes in the opposite order.
TOLVANE_API fixed_array transpose(const fixed_array& x);
/// With axis order[i] of x as axis i.
TOLVANE_API fixed_array permute(const fixed_array& x, const std::vector<int>& order);
TOLVANE_API fixed_array flip(const fixed_array& x, int axis = -1);
TOLVANE_API fixed_array broadcast_to(const fixed_array& x, const array_shape& shape);
/// Each element so many times, along an axis.
TOLVANE_API fixed_array repeat(const fixed_array& x, std::size_t count, int axis = -1);
/// The diagonal of a matrix, or a matrix with a vector as its diagonal.
TOLVANE_API fixed_array diag(const fixed_array& x);

// Arrays joined, in a type that has the values of all of them.

/// Along an axis that all of them have; the sizes of the others are equal.
TOLVANE_API fixed_array concatenate(const std::vector<fixed_array>& parts, int axis = 0);
/// Along a new axis; all have one shape.
TOLVANE_API fixed_array stacked(const std::vector<fixed_array>& parts, int axis = 0);

}  // namespace tolvane
