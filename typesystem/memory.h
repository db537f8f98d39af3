// The single error of types for lack of memory, however it shows.
#pragma once

#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "host/ErrorIdException.h"
#include "host/hv.h"

namespace EmbeddedTypeSystem {

[[noreturn]] inline void raiseOutOfMemory() {
    raiseError("embeddedtype:memory:OutofMemory", "Insufficient memory: Out of memory error");
}

/// Runs the action and returns its result. Raises "embeddedtype:memory:OutofMemory" for the exceptions of the standard
/// library for lack of memory.
template <class Action>
auto orOutOfMemory(Action&& action) {
    try {
        return std::forward<Action>(action)();
    } catch (const std::bad_alloc&) {
        raiseOutOfMemory();
    } catch (const std::length_error&) {
        raiseOutOfMemory();
    }
}

/// Returns the array that the action makes. Raises "embeddedtype:memory:OutofMemory" if the host makes none, which
/// means lack of memory.
template <class Make>
hvArrayOwner ownedArray(Make&& make) {
    hvArrayOwner made;
    try {
        made.reset(std::forward<Make>(make)());
    } catch (ErrorIdException* error) {
        delete error;
    }
    if (made == nullptr) {
        raiseOutOfMemory();
    }
    return made;
}

inline hvArrayOwner zeroColumn(std::size_t count) {
    return ownedArray([count] { return hvFastZeros(count, 1); });
}
inline hvArrayOwner duplicateOf(const hvArray* array) {
    return ownedArray([array] { return hvDuplicateArray(array); });
}

}  // namespace EmbeddedTypeSystem
