// Handles inside host arrays. An array and its copies hold one external reference together.
#pragma once

#include "host/hv.h"

class OMInterface;

struct OMInterfaceArrays {
    /// Makes an array with a reference of its own.
    static hvArray* create(OMInterface* interface);
    /// Returns the handle of an array, still held by it; null for an array without one.
    static OMInterface* get(const hvArray* array);
    static void release(void* handle);
    /// Says whether an array stands for the null handle: one without elements, of numbers or logicals. Text never does,
    /// and neither do cells and structs.
    static bool isNull(const hvArray* array) { return (hvIsNumeric(array) || hvIsLogical(array)) && hvIsEmpty(array); }
};
