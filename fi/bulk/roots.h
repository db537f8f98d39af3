// Square roots of whole arrays of doubles, where squares of roots are exact.
//
// They give the values of the search bit by bit (fi/ops/sqrt.cpp) in every bit. The search finds the greatest root
// whose square does not exceed the element; where no square is rounded or leaves its type, that is the root rounded
// down, which a floating-point root of a short word gives.
#pragma once

#include <span>

#include "descriptors/NumericType.h"
#include "descriptors/fimath.h"

namespace tolvane::detail::arrayroots {

struct Types {
    const EmbeddedTypeSystem::NumericType& element;
    const EmbeddedTypeSystem::NumericType& root;
    /// That of the squares by which roots are judged.
    const EmbeddedTypeSystem::NumericType& square;
};

/// Answers whether `find` may be called: every square of a root is a value of its type, and all doubles are exact.
bool areSquaresExact(const Types& types, const fimath& rules);

/// Stores a root of each element, none of which is negative, rounded by the rules as the search rounds.
void find(std::span<const double> elements, std::span<double> roots, const Types& types, const fimath& rules);

}  // namespace tolvane::detail::arrayroots
