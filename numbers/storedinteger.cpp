#include "numbers/storedinteger.h"

#include <utility>

namespace tolvane::detail {

MantissaAndExponent splitElement(mpfr_srcptr element) {
    MantissaAndExponent parts;
    if (mpfr_regular_p(element)) {
        parts.exponent = mpfr_get_z_2exp(parts.mantissa, element);
    }
    return parts;
}

gmpinteger takeStoredInteger(mpfr_ptr x, int exponent, mpfr_srcptr twoToWordlength, mp_bitcnt_t usefulBits) {
    mpfr_mul_2si(x, x, -static_cast<long>(exponent), MPFR_RNDN);
    if (mpfr_regular_p(x) && mpfr_signbit(x)) {
        mpfr_add(x, x, twoToWordlength, MPFR_RNDN);
    }
    MantissaAndExponent parts = splitElement(x);
    gmpinteger& z = parts.mantissa;
    if (parts.exponent < 0) {
        mpz_tdiv_q_2exp(z, z, static_cast<mp_bitcnt_t>(-parts.exponent));
    } else if (static_cast<mp_bitcnt_t>(parts.exponent) < usefulBits) {
        mpz_mul_2exp(z, z, static_cast<mp_bitcnt_t>(parts.exponent));
    } else {
        mpz_set_ui(z, 0);
    }
    return std::move(parts.mantissa);
}

}  // namespace tolvane::detail
