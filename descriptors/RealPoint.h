// A number format as one value: the word length in bits, then the fraction length, or the exponent length of a
// floating-point format.
#pragma once

#include "host/export.h"

struct TOLVANE_API RealPoint {
    double first = 0.0;
    double second = 0.0;
    bool operator==(const RealPoint&) const = default;
};
