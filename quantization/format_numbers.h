// The numbers of a format as entered by a user.
#pragma once

#include <algorithm>
#include <climits>
#include <cmath>

namespace tolvane::detail::formatnumbers {

/// Truncates; NaN becomes 0 and values beyond int saturate.
inline int toInt(double value) {
    if (std::isnan(value)) {
        return 0;
    }
    return static_cast<int>(std::clamp(value, static_cast<double>(INT_MIN), static_cast<double>(INT_MAX)));
}

/// Raises "fixedpoint:quantizer:wordlengthtoobig" above 65535 bits and "fixedpoint:quantizer:wordlengthtoosmall" below
/// 1.
void requireWordlength(double wordlength);

}  // namespace tolvane::detail::formatnumbers
