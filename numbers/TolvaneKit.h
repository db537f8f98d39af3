// Rounding helpers on plain doubles, offered to callers outside the library.
//
// They are pure and safe to call from any thread. The rules behind them are those of numbers/rounding.h. An argument n
// is the number of fraction bits kept: values are rounded at the bit of weight 2^-n.
#pragma once

#include "host/export.h"

/// Returns 2^n; 0 or infinity where a double cannot hold it.
TOLVANE_API double pow2(int n);

/// Returns the binary logarithm of |n|; raises "fixedpoint:exactlog2:exactpower" if |n| isn't a power of two.
TOLVANE_API int exactlog2(int n);

namespace TolvaneKit {

/// Returns x modulo y, with the sign of y. A zero y gives x, whatever x is; otherwise NaN or infinity gives NaN.
TOLVANE_API double mod(double x, double y);

/// Rounds to nearest, ties to even.
TOLVANE_API double convergent(double x);
TOLVANE_API double convergent(double x, int n);
/// Rounds toward plus infinity.
TOLVANE_API double ceil(double x, int n);
/// Rounds toward minus infinity.
TOLVANE_API double floor(double x, int n);
/// Rounds toward zero.
TOLVANE_API double fix(double x, int n);
/// Rounds to nearest, ties away from zero.
TOLVANE_API double round(double x, int n);

}  // namespace TolvaneKit
