// Comparisons of doubles and of words, element by element; doubles and words of one limb are compared on vectors.
#pragma once

#include <gmp.h>

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

/// As doubles, words of one format.
struct Words {
    const mp_limb_t* limbs;
    bool isScalar;
};
struct WordShape {
    std::size_t limbs;
    bool isSigned;
};
void compare(Relation relation, const WordShape& shape, Words a, Words b, std::size_t count, Join join,
             std::uint8_t* out);

}  // namespace tolvane::detail::compareloops
