// A multi-precision float for one operation.
//
// A float of up to 1024 bits lives in the object itself, so that operations on mixed kinds allocate nothing for usual
// word lengths. Its precision is fixed: operations of MPFR that reallocate a significand (mpfr_set_prec,
// mpfr_prec_round, mpfr_swap with a plain mpfr_t) must not be used on it.
#pragma once

#include <mpfr.h>

#include <cstddef>
#include <cstdint>

#include "host/export.h"

namespace tolvane::detail {

class TOLVANE_API mpscratch {
 public:
    /// Makes a zero of the given precision in bits. Raises "fixedpoint:fi:outofmemory".
    explicit mpscratch(mpfr_prec_t precision);
    /// Makes a value rounded to nearest at the precision.
    mpscratch(mpfr_prec_t precision, double value) : mpscratch(precision) { mpfr_set_d(mFloat, value, MPFR_RNDN); }
    mpscratch(mpfr_prec_t precision, mpfr_srcptr value) : mpscratch(precision) { mpfr_set(mFloat, value, MPFR_RNDN); }
    ~mpscratch();
    mpscratch(const mpscratch&) = delete;
    mpscratch& operator=(const mpscratch&) = delete;

    operator mpfr_ptr() { return mFloat; }
    operator mpfr_srcptr() const { return mFloat; }

 private:
    static constexpr std::size_t kInsideLimbs = 16;

    mp_limb_t mInside[kInsideLimbs];
    void* mOutside = nullptr;
    mpfr_t mFloat;
};

}  // namespace tolvane::detail
