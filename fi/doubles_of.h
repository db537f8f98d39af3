// The entries of an array as doubles, for operations that have a loop over those beside the element step.
#pragma once

#include <cstdint>

#include "numbers/number.h"

/// The entries of a part when it holds one double for each element, else null.
inline const double* doublesOf(const number& part, std::uint64_t numel) {
    const doublenumber* doubles = part.asDouble();
    return doubles && doubles->elements().size() == numel ? doubles->elements().data() : nullptr;
}
