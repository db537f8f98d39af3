// Whether arrays are equal, and what they say as truth values.
#pragma once

#include "host/front/concatenation.h"

namespace front {

/// Answers whether all arguments have the sizes, the complexity and the real-world values of the leftmost `fi`,
/// whatever their types are. A host array is compared as the class compares: in the word length of the `fi`, at the
/// best precision for its values, as by "eq". What holds no numbers, or NaN, is equal to nothing.
bool isequal(Session& session, Values values);
/// Answers whether both are objects of one class, of "fi", "numerictype" and "fimath", with the same properties: for a
/// `fi` those of type and rules, and equal elements.
bool ispropequal(Session& session, const Value& a, const Value& b);

using TruthRule = bool (*)(bool a, bool b);
/// Joins what is not zero in two arrays, element by element, into a logical array; a scalar stands for all elements.
/// Throws "fixedpoint:fi:logical:sizeMismatch".
Value joinTruths(Session& session, TruthRule rule, const Value& a, const Value& b);

}  // namespace front
