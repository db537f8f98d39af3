// Word lengths as precisions, and numbers for intermediate results.
#pragma once

#include <algorithm>

#include "fi/fi.h"

namespace tolvane::detail {

inline unsigned wordBits(const fi& x) {
    return static_cast<unsigned>(std::max(x.getWordLength(), 0));
}

/// A work cell of the given precision.
inline number cell(double value, unsigned precision) {
    return number(value, precision, number::getDefaultForceMultiplePrecision());
}

}  // namespace tolvane::detail
