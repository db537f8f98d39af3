#include "numbers/mpscratch.h"

#include "host/bs.h"
#include "numbers/errors.h"

using namespace tolvane::detail;

mpscratch::mpscratch(mpfr_prec_t precision) {
    void* significand = mInside;
    const std::size_t bytes = mpfr_custom_get_size(precision);
    if (bytes > sizeof(mInside)) {
        mOutside = bsMalloc(bytes);
        if (!mOutside) {
            raiseOutOfMemory();
        }
        significand = mOutside;
    }
    mpfr_custom_init(significand, precision);
    mpfr_custom_init_set(mFloat, MPFR_ZERO_KIND, 0, precision, significand);
}

mpscratch::~mpscratch() {
    bsFree(mOutside);
}
