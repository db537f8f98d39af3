// Handles inside host arrays. An array and its copies hold one external reference together.
#pragma once

struct hvArray;
class OMInterface;

struct OMInterfaceArrays {
    /// Makes an array with a reference of its own.
    static hvArray* create(OMInterface* interface);
    /// Returns the handle of an array, still held by it; null for an array without one.
    static OMInterface* get(const hvArray* array);
    static void release(void* handle);
};
