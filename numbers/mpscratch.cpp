#include "numbers/mpscratch.h"

#include "numbers/errors.h"
#include "numbers/services.h"

using namespace tolvane::detail;

mpscratch::mpscratch(mpfr_prec_t precision) {
    void* significand = mInside;
    const std::size_t bytes = mpfr_custom_get_size(precision);
    if (bytes > sizeof(mInside)) {
        mOutside = services().allocate(bytes);
        if (!mOutside) {
            raiseOutOfMemory();
        }
        significand = mOutside;
    }
    mpfr_custom_init(significand, precision);
    mpfr_custom_init_set(mFloat, MPFR_ZERO_KIND, 0, precision, significand);
}

mpscratch::~mpscratch() {
    services().release(mOutside);
}
