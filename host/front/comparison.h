// Equality of arrays, and logical operations on them.
#pragma once

#include "host/front/concatenation.h"

namespace front {

/// Returns whether all arguments have the sizes, the complexity and the real-world values of the leftmost `fi`,
/// whatever their types. A host array is compared as in "eq" of the class: in the word length of the `fi`, at the best
/// precision for its values. A value that isn't numeric, or holds NaN, is equal to nothing.
bool isequal(Session& session, Values values);
/// Returns whether both are objects of one class ("fi", "numerictype" or "fimath") with the same properties: for a
/// `fi`, those of type and rules, and equal elements.
bool ispropequal(Session& session, const Value& a, const Value& b);

using TruthRule = bool (*)(bool a, bool b);
/// Combines the truth values (not zero) of two arrays, element by element, to a logical array; a scalar is combined
/// with every element. Throws "fixedpoint:fi:logical:sizeMismatch".
Value joinTruths(Session& session, TruthRule rule, const Value& a, const Value& b);

}  // namespace front
