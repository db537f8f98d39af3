// The stored integer of a multi-precision element, the common first step of its bit and radix operations.
//
// MPFR exponents reach 2^62, so these functions never build an integer further than its useful bits.
#pragma once

#include <gmp.h>
#include <mpfr.h>

#include "numbers/gmpinteger.h"

namespace tolvane::detail {

/// A value of mantissa * 2^exponent.
struct MantissaAndExponent {
    gmpinteger mantissa;
    mpfr_exp_t exponent = 0;
};

/// Splits an element; zero, NaN and infinities have no mantissa and give a zero.
MantissaAndExponent splitElement(mpfr_srcptr element);

/// Returns x * 2^-exponent as an integer truncated toward zero, with twoToWordlength added first if it is negative,
/// which makes it the word in two's complement. A multiple of 2^usefulBits gives 0, as do zero, NaN and infinities.
/// Changes x to the sum; the sum is rounded to the precision of x.
gmpinteger takeStoredInteger(mpfr_ptr x, int exponent, mpfr_srcptr twoToWordlength, mp_bitcnt_t usefulBits);

}  // namespace tolvane::detail
