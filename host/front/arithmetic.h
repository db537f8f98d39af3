// Quotients, absolute values, convolutions and complex arrays, as a user writes them.
//
// Operands are `fi` objects or, where two are taken, one of them a host array. What is an empty Value by default was
// not given.
#pragma once

#include <string_view>

#include "host/front/shape.h"

namespace front {

/// The type of a quotient. It is signed when one of the types is, as long as the longer of them, and has the fraction
/// length of the numerator's less that of the denominator's: a stored integer divided by another one is never longer
/// than itself, so this keeps all of it that is whole (save the lowest number by -1). Of the data types double wins
/// over single, single over scaled double, and that over fixed; a boolean counts as one unsigned bit.
///
/// A host array has the word length of the `fi`, signed where it holds negative numbers, at the best precision for its
/// values. As denominators are known then, the fraction length of their type is that of the greatest power of two not
/// above the least of their magnitudes: what is divided by 3 gains a bit, by 0.1 loses four.
Value computeDivideType(Session& session, const Value& numerator, const Value& denominator);
/// Divides element by element into that type; a scalar stands for all elements. Raises as the method "divide" of types,
/// which divides into any other one.
Value rdivide(Session& session, const Value& numerator, const Value& denominator);
/// As rdivide, by a scalar, else "fixedpoint:fi:mrdivide:scalarDivisor".
Value mrdivide(Session& session, const Value& numerator, const Value& divisor);

/// Magnitudes, in the array's own type and by its own rules unless others are given; a type of unspecified sign becomes
/// unsigned. Those of complex fixed-point elements are roots of sums of squares, taken by these rules and by the
/// method "sqrt" with its rounding; a magnitude beyond the type is its upper bound.
Value abs(Session& session, const Value& array, const Value& type = {}, const Value& rules = {});
/// The method of the class.
Value sqrt(Session& session, const Value& array, const Value& type = {}, const Value& rules = {});

/// Convolves vectors: "full", "same" (as long as the first) or "valid" (without padding). Throws
/// "fixedpoint:fi:conv:vectors" and "fixedpoint:fi:conv:shape".
Value conv(Session& session, const Value& a, const Value& b, std::string_view shape = "full");

/// A complex array of real parts and imaginary ones, in the type of the former.
Value complex(Session& session, const Value& realPart, const Value& imaginaryPart);
/// A complex array of the elements; a copy of a complex one.
Value complex(Session& session, const Value& array);

}  // namespace front
