// Equality and conversion of composite types, which may be deep, share parts and lead back to themselves.
//
// Both are conjunctions over pairs of parts, so each pair is looked at once, from a list: the stack stays flat, shared
// parts cost nothing extra, and two cyclic types are equal, or convert, unless some pair of parts says no. That is the
// greatest relation for which the rules of the classes hold. Where a conversion asks for equal parts, what is known of
// equal and different pairs is kept for the whole of it.
#pragma once

namespace EmbeddedTypeSystem {

class Type;

bool areEqualTrees(const Type& a, const Type& b);
bool isConvertibleTree(const Type& from, const Type* to);

}  // namespace EmbeddedTypeSystem
