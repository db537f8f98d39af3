// The constants of a quantizer as plain doubles.
//
// A quantizer holds its constants as `number`s of any precision. Where doubles hold them exactly, the element functions
// and the array kernels work on these copies instead. The rule itself is in quantization/fixed_rules.inl.h.
#pragma once

#include "host/export.h"

namespace tolvane::detail {

struct TOLVANE_API FixedDoubleLimits {
    double scale = 0.0;         // 2^f
    double inverseScale = 0.0;  // 2^-f
    double realmax = 0.0;
    double lowerbound = 0.0;
    double wraparound = 0.0;  // W
    double inverseWraparound = 0.0;
    double positiveEps = 0.0;
    double negativeEps = 0.0;
    /// The bounds and the eps are exactly the quantizer's; comparisons with them and copies of them are exact.
    bool hasBounds = false;
    /// All fields are set and `quantizeFixedValue` gives the same values and counts as the operations on `number`, in
    /// every bit, for any double: fixed-point modes only. See `quantizer::updatelimits` for the proof.
    bool valid = false;
};

}  // namespace tolvane::detail
