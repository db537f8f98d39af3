// Operations on value arrays that a host needn't have. Test the address of one before it is called.
#pragma once

#include "host/hv.h"

/// As hvCreateNumericArray, but leaves the numbers uninitialised; the caller sets each before reading it or handing the
/// array on.
TOLVANE_HOST_API hvArray* hvCreateUnsetNumericArray(std::size_t dimensionCount, const std::size_t* dimensions,
                                                    hvClassID classId, hvComplexity complexity = hvREAL)
    __attribute__((weak));
