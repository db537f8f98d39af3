// Lack of memory, as programs meet it.
//
// The layers below raise an error by pointer, as a host has it. A program gets std::bad_alloc, as from its own arrays.
#pragma once

#include <memory>
#include <new>
#include <utility>

#include "host/ErrorIdException.h"
#include "numbers/out_of_memory.h"

namespace tolvane::detail {

/// Runs an action of the layers below. Where they raise that memory ran out, throws std::bad_alloc.
template <class Action>
decltype(auto) programMemory(Action&& action) {
    try {
        return std::forward<Action>(action)();
    } catch (ErrorIdException* raised) {
        if (raised == nullptr || !isOutOfMemory(*raised)) {
            throw;
        }
        delete raised;
        throw std::bad_alloc();
    }
}

}  // namespace tolvane::detail
