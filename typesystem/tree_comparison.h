// Equality and conversion of composite types, which may be deep, share parts and be cyclic.
//
// Both are conjunctions over pairs of parts, so each pair is examined once, from a list: the stack stays flat, shared
// parts cost nothing extra, and two cyclic types are equal, or convert, unless some pair of parts does not. That is the
// greatest relation for which the rules of the classes hold. If a conversion requires equal parts, known equal and
// different pairs are kept for its whole duration.
#pragma once

namespace EmbeddedTypeSystem {

class Type;

bool areEqualTrees(const Type& a, const Type& b);
bool isConvertibleTree(const Type& from, const Type* to);

}  // namespace EmbeddedTypeSystem
