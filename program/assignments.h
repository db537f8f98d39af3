// Operations into arrays that exist, for loops that run without new memory:
//
//     fixed_array y = fixed_array::zeros({1024}, "s16,15");
//     assign_sum(y, a, b);                        // y = a + b, each sum quantized once to the type of y
//     assign_product(y, y, h, rounding::floor);   // an operand may be y itself
//
// The target keeps its type, its shape and its name, under which logs know the place. Results are exact before they are
// quantized, whatever types they would have; operands are broadcast to the shape of the target ("tolvane:array:shape"
// if they don't fit). Complex results into a real array raise "tolvane:array:complex".
//
// Results are written into the target's own memory. If a copy shares that, if a log lives, or if the target is complex,
// they are written into other memory, which then becomes the target's. So a copy keeps what it has, and whatever is
// thrown, by a listener of a log too, is thrown before anything has changed.
#pragma once

#include <span>

#include "host/export.h"
#include "program/fixed_array.h"

namespace tolvane {

/// out = x.
TOLVANE_API void assign(fixed_array& out, const fixed_array& x, rounding round = rounding::nearest,
                        overflow over = overflow::saturate, const code_location& where = code_location::current());
/// As many values as the target has elements. Values that aren't finite raise "tolvane:value:finite".
TOLVANE_API void assign(fixed_array& out, std::span<const double> values, rounding round = rounding::nearest,
                        overflow over = overflow::saturate, const code_location& where = code_location::current());
/// out = a + b.
TOLVANE_API void assign_sum(fixed_array& out, const fixed_array& a, const fixed_array& b,
                            rounding round = rounding::nearest, overflow over = overflow::saturate,
                            const code_location& where = code_location::current());
/// out = a - b.
TOLVANE_API void assign_difference(fixed_array& out, const fixed_array& a, const fixed_array& b,
                                   rounding round = rounding::nearest, overflow over = overflow::saturate,
                                   const code_location& where = code_location::current());
/// out = a b.
TOLVANE_API void assign_product(fixed_array& out, const fixed_array& a, const fixed_array& b,
                                rounding round = rounding::nearest, overflow over = overflow::saturate,
                                const code_location& where = code_location::current());

namespace detail {
enum class Operation { sum, difference, product };
/// Whether no value, or no exact result of real numbers, overflows in a format, by the types alone.
TOLVANE_API bool cannotOverflow(const fixed_format& into, const fixed_type& values);
TOLVANE_API bool cannotOverflow(const fixed_format& into, Operation operation, const fixed_array& a,
                                const fixed_array& b);
}  // namespace detail

}  // namespace tolvane
