// The host's math utilities (`hm` family): IEEE double functions with one result on every machine.
#pragma once

#include "host/export.h"

TOLVANE_HOST_API double hmFdlibm_floor(double value);
TOLVANE_HOST_API double hmFdlibm_ceil(double value);
TOLVANE_HOST_API double hmFdlibm_hypot(double a, double b);
/// Splits a value into a mantissa of magnitude in [0.5, 1), which is returned, and a power of two.
TOLVANE_HOST_API double hmFdlibm_frexp(double value, int* exponent);
TOLVANE_HOST_API double hmFdlibm_log(double value);
/// The binary logarithm, exact for powers of two.
TOLVANE_HOST_API double DoubleScalarLog2(double value);
