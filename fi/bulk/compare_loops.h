// Comparisons of doubles, element by element, on vectors.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tolvane::detail::compareloops {

enum class Relation { isEqual, isUnequal, isLess, isAtMost };

/// What becomes of a flag that is there already.
enum class Join { replace, both, either };

/// A double for each element, or one for all of them.
struct Doubles {
    const double* values;
    bool isScalar;
};

/// Sets `out` to 1 where `a` has the relation to `b`, else to 0; NaN has none but isUnequal.
void compare(Relation relation, Doubles a, Doubles b, std::size_t count, Join join, std::uint8_t* out);

}  // namespace tolvane::detail::compareloops
