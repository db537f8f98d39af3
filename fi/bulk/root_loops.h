// Vector loops under the square roots of whole arrays (fi/bulk/roots.h).
//
// Proof that `find` gives the roots of the search. Count in units of the square of the root's step, r being the whole
// root rounded down of an element x, and let the types satisfy `arrayroots::areSquaresExact`. If r is the greatest
// root, no mode raises it. Otherwise r^2 <= x < (r + 1)^2, and both squares are values of their type. Rounding to a
// grid never passes a value of that grid, so x cast to the type of squares stays between them, and so do both distances
// between 0 and 2 r + 1: none overflows, none wraps, and to quantize them is to round them. Distances from an x that
// was cast are differences of values on the grid of squares, at most 52 bits apart: exact, and rounding keeps them.
// Scaling by powers of two near 1 changes no bit, and the differences in doubles are those that the search computes.
// NaN gives the root zero, and its distances compare false.
#pragma once

#include <cstddef>

#include "descriptors/embedded.h"

namespace tolvane::detail::rootloops {

/// Elements of a type, whole roots, and squares in units of the last bit of their type.
struct Scales {
    double fromElement;     // gives squares of whole roots
    double greatest;        // root
    double toRoot;          // of whole roots: the step of their type
    double toSquare;        // from squares of whole roots: the square of that step
    double elementToUnits;  // of squares
    double squareToUnits;   // from squares of whole roots
};

/// Stores the greatest whole roots whose squares are not above the elements; 0 for NaN.
///
/// Rounding never lifts a floating-point root to a whole number r above the true one if the element has at most 52
/// bits: below the square of r it is below it by more than 2^-52 of itself, its root below r by more than 2^-53 of
/// itself, and that is half the distance of doubles there or more. Other elements, which a change of type can leave
/// behind, are at most one step off.
void findFloors(const Scales& scales, const double* elements, double* roots, std::size_t count);

/// Stores the values of the roots that a search stores which rounds by the mode and `casts` elements to the type of
/// squares before it takes distances.
void find(const Scales& scales, embedded::RoundModeEnum mode, bool casts, const double* elements, double* roots,
          std::size_t count);

}  // namespace tolvane::detail::rootloops
