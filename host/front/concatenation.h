// Arrays beside and under one another, and which of several arguments decides.
//
// The leftmost `fi` decides the type and the rules of the result; all others are quantized into that type by those
// rules. Host arrays may stand at any place. Arguments of 0-by-0 count for nothing but for that decision.
#pragma once

#include <cstddef>
#include <span>

#include "host/front/shape.h"

namespace front {

using Values = std::span<const Value>;

/// The leftmost `fi`. Throws "fixedpoint:fi:firstobj:noFi".
const Value& firstobj(Values values);
/// A new `fi` of 0-by-0 with the type and rules of the leftmost one.
Value emptyfirstobj(Session& session, Values values);

/// Joins arrays along a dimension, from 0, into a new `fi`. All other dimensions must be equal, else
/// "fixedpoint:fi:cat:dimensionMismatch". With logging on, what overflowed is reported as that of a concatenation, and
/// time is that of the result's elements for each argument; else for each doubling of their number.
Value cat(Session& session, std::size_t dimension, Values values);
inline Value vertcat(Session& session, Values values) {
    return cat(session, 0, values);
}
inline Value horzcat(Session& session, Values values) {
    return cat(session, 1, values);
}

/// A cell row of the arguments, the real-world values as doubles where a `fi` stood.
Value todoublecell(Session& session, Values values);

}  // namespace front
