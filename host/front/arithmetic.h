// Quotients, absolute values, convolutions and complex arrays, in the form for users.
//
// Operands are `fi` objects; with two operands, one may be a host array. An empty default Value means that the argument
// was omitted.
#pragma once

#include <string_view>

#include "host/front/shape.h"

namespace front {

/// The type of a quotient. It is signed if either type is, has the longer word length, and the fraction length of the
/// numerator less that of the denominator: a stored integer divided by another one is never longer than itself, so this
/// keeps the whole integer part (except for the lowest number divided by -1). Data types take precedence in the order
/// double, single, scaled double, fixed; a boolean counts as one unsigned bit.
///
/// A host array has the word length of the `fi`, is signed if it holds negative numbers, and has the best precision for
/// its values. Since host denominators are known, the fraction length of their type is that of the greatest power of
/// two not above the least of their magnitudes: a quotient by 3 gains a bit, one by 0.1 loses four.
Value computeDivideType(Session& session, const Value& numerator, const Value& denominator);
/// Divides element by element into that type; a scalar is combined with every element. Raises as the method "divide" of
/// types, which divides into any other type.
Value rdivide(Session& session, const Value& numerator, const Value& denominator);
/// As rdivide, by a scalar; otherwise "fixedpoint:fi:mrdivide:scalarDivisor".
Value mrdivide(Session& session, const Value& numerator, const Value& divisor);

/// Magnitudes, in the array's own type and by its own rules unless others are given; a type of unspecified sign becomes
/// unsigned. Magnitudes of complex fixed-point elements are roots of sums of squares, computed by these rules and by
/// the method "sqrt" with its rounding; a magnitude beyond the type becomes its upper bound.
Value abs(Session& session, const Value& array, const Value& type = {}, const Value& rules = {});
/// The method of the class.
Value sqrt(Session& session, const Value& array, const Value& type = {}, const Value& rules = {});

/// Convolves vectors: "full", "same" (as long as the first) or "valid" (without padding). Throws
/// "fixedpoint:fi:conv:vectors" and "fixedpoint:fi:conv:shape".
Value conv(Session& session, const Value& a, const Value& b, std::string_view shape = "full");

/// A complex array from real and imaginary parts, in the type of the real parts.
Value complex(Session& session, const Value& realPart, const Value& imaginaryPart);
/// A complex array of the elements; for a complex array, a copy.
Value complex(Session& session, const Value& array);

}  // namespace front
