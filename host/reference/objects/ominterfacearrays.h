// Handles inside host arrays. An array and its copies share one external reference.
#pragma once

#include "host/hv.h"

class OMInterface;

struct OMInterfaceArrays {
    /// Makes an array with a new reference.
    static hvArray* create(OMInterface* interface);
    /// Returns the handle of an array, which still owns it; null for an array without one.
    TOLVANE_HOST_API static OMInterface* get(const hvArray* array);
    static void release(void* handle);
    /// Returns whether an array means the null handle: an empty numeric or logical array. Texts, cells and structs
    /// never do.
    static bool isNull(const hvArray* array) { return (hvIsNumeric(array) || hvIsLogical(array)) && hvIsEmpty(array); }
};
