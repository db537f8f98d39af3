// Square roots of whole arrays of doubles, where squares of roots are exact.
//
// They give the values of the search bit by bit (fi/ops/sqrt.cpp) in every bit, and its statistics. The search finds
// the greatest root whose square does not exceed the element; where no square is rounded or leaves its type, that is
// the root rounded down, which a floating-point root of a short word gives. The bits of that root tell which trials
// the search makes and which of them it stores, so nothing of the search need be run to know its statistics.
#pragma once

#include <span>

#include "descriptors/NumericType.h"
#include "descriptors/fimath.h"
#include "quantization/quantizer.h"
#include "quantization/tally.h"

namespace tolvane::detail::arrayroots {

struct Types {
    const EmbeddedTypeSystem::NumericType& element;
    const EmbeddedTypeSystem::NumericType& root;
    /// That of the squares by which roots are judged.
    const EmbeddedTypeSystem::NumericType& square;
};

/// What the objects that the search works with note. They are gone before anybody can ask for mathematical operations.
struct Tallies {
    Tally elements;
    Tally trials;   // roots from which trials start, and those rounded down that may be raised
    Tally squares;  // of trials and of roots rounded down
    Tally roots;    // as they are stored
    Tally neighbours;
    Tally neighbourSquares;
    Tally below;  // distances of elements from the squares below them, and what was cast for these
    Tally above;  // distances from the squares above
};

/// Whether a mode rounds values that aren't negative down.
inline bool roundsDown(embedded::RoundModeEnum mode) {
    return mode == embedded::RoundModeEnum::Floor || mode == embedded::RoundModeEnum::Fix;
}

/// Answers whether `find` may be called: every square of a root is a value of its type, and all doubles are exact.
bool areSquaresExact(const Types& types, const fimath& rules);

/// Stores a root of each element, none of which is negative, rounded by the rules as the search rounds. The elements
/// need not be values of their type.
void find(std::span<const double> elements, std::span<double> roots, const Types& types, const fimath& rules);
/// As above with the statistics. `distances` quantizes by the rules to the type of the squares by a fixed kernel, and
/// logs nothing.
Tallies findAndTally(std::span<const double> elements, std::span<double> roots, const Types& types, const fimath& rules,
                     const quantizer& distances);

}  // namespace tolvane::detail::arrayroots
