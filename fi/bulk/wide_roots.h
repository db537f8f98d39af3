// Square roots of whole arrays where elements, roots or squares have too many bits for doubles.
#pragma once

#include "descriptors/fimath.h"
#include "fi/bulk/roots.h"
#include "numbers/number.h"

namespace tolvane::detail::wide {

/// Stores the roots that the search bit by bit (fi/ops/sqrt.cpp) finds of all elements, none of which is negative,
/// while nothing is logged. Returns false, and has changed nothing, where integers don't do.
bool findRoots(const number& elements, const arrayroots::Types& types, const fimath& rules, number& roots);

}  // namespace tolvane::detail::wide
