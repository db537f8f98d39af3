// Doubles as host integers, on vectors.
#pragma once

#include <cmath>
#include <cstdint>
#include <span>

#include "host/export.h"
#include "numbers/rounding.h"
#include "numbers/truncation.h"

namespace tolvane::detail::wordloops {

/// Rounds half away from zero through |x| + 0.5, which rounds the double below 0.5 to 1. From 2^52 on doubles are
/// whole.
inline double toWhole(double x) {
    const double magnitude = std::fabs(x);
    return magnitude < 0x1p52 ? std::copysign(std::floor(magnitude + 0.5), x) : x;
}

/// The rule of an element: x * 2^shift, rounded and truncated.
template <class T>
T wordOf(double x, int shift) {
    return truncateTo<T>(toWhole(rounding::scaleByPowerOfTwo(x, shift)));
}

/// Sets each element of `out`, of which there are no more than entries, to the word of the entry; T has at most 32
/// bits.
template <class T>
TOLVANE_API void convert(std::span<const double> entries, int shift, std::span<T> out);

}  // namespace tolvane::detail::wordloops
