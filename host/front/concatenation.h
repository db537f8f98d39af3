// Horizontal and vertical concatenation, and the argument that decides the type of the result.
//
// The leftmost `fi` decides the type and the rules of the result; all others are quantized to that type by those rules.
// Any argument may be a host array. Arguments of 0-by-0 matter only for that decision.
#pragma once

#include <cstddef>
#include <span>

#include "host/front/shape.h"

namespace front {

using Values = std::span<const Value>;

/// The leftmost `fi`. Throws "fixedpoint:fi:firstobj:noFi".
const Value& firstobj(Values values);
/// A new 0-by-0 `fi` with the type and rules of the leftmost one.
Value emptyfirstobj(Session& session, Values values);

/// Joins arrays along a dimension, from 0, into a new `fi`. All other dimensions must be equal; otherwise
/// "fixedpoint:fi:cat:dimensionMismatch". With logging on, overflows are reported as those of a concatenation, and each
/// argument costs a pass over the result's elements; otherwise only each doubling of the number of arguments does.
Value cat(Session& session, std::size_t dimension, Values values);
inline Value vertcat(Session& session, Values values) {
    return cat(session, 0, values);
}
inline Value horzcat(Session& session, Values values) {
    return cat(session, 1, values);
}

/// A cell row of the arguments, with each `fi` replaced by its real-world values as doubles.
Value todoublecell(Session& session, Values values);

}  // namespace front
