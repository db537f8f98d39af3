#include "numbers/storedinteger.h"

#include <algorithm>
#include <utility>

namespace tolvane::detail {

namespace {

/// Into parts that are zero.
void split(mpfr_srcptr element, MantissaAndExponent& parts) {
    if (!mpfr_regular_p(element)) {
        return;
    }
    // mpfr_get_z_2exp would move the integer into memory of GMP.
    const auto precision = static_cast<std::size_t>(mpfr_get_prec(element));
    const std::size_t limbs = (precision + gmpinteger::kLimbBits - 1) / gmpinteger::kLimbBits;
    gmpinteger& mantissa = parts.mantissa;
    setUnits(mantissa, limbs, sizeof(mp_limb_t), mpfr_custom_get_significand(element));
    shiftRight(mantissa, mantissa, limbs * gmpinteger::kLimbBits - precision);
    if (mpfr_signbit(element) != 0) {
        mantissa.negate();
    }
    parts.exponent = mpfr_get_exp(element) - mpfr_get_prec(element);
}

}  // namespace

MantissaAndExponent splitElement(mpfr_srcptr element) {
    MantissaAndExponent parts;
    split(element, parts);
    return parts;
}

gmpinteger takeStoredInteger(mpfr_ptr x, int exponent, mpfr_srcptr twoToWordlength, mp_bitcnt_t usefulBits) {
    // Before x changes.
    MantissaAndExponent parts;
    parts.mantissa.withRoomForBits(static_cast<mp_bitcnt_t>(mpfr_get_prec(x)) + usefulBits + gmpinteger::kLimbBits);
    mpfr_mul_2si(x, x, -static_cast<long>(exponent), MPFR_RNDN);
    if (mpfr_regular_p(x) && mpfr_signbit(x)) {
        mpfr_add(x, x, twoToWordlength, MPFR_RNDN);
    }
    split(x, parts);
    gmpinteger& z = parts.mantissa;
    if (parts.exponent < 0) {
        shiftRight(z, z, static_cast<mp_bitcnt_t>(-parts.exponent));
    } else if (static_cast<mp_bitcnt_t>(parts.exponent) < usefulBits) {
        shiftLeft(z, z, static_cast<mp_bitcnt_t>(parts.exponent));
    } else {
        set(z, 0);
    }
    return std::move(parts.mantissa);
}

}  // namespace tolvane::detail
