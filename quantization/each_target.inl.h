// Highway, for a source file that is compiled once for each instruction set. The file defines HWY_TARGET_INCLUDE as its
// own path before it includes this, which then includes it once for each set.
//
// No include guard: Highway's vectors are declared anew for each set.

// The sets between these add nothing to arithmetic on doubles.
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#include <hwy/foreach_target.h>  // NOLINT(misc-unused-includes): must come before highway.h
#include <hwy/highway.h>
