// What was thrown, whoever threw it: the host catches everything that comes out of a module or a function.
#pragma once

#include <utility>

#include "host/reference/functions.h"

namespace hostref {

/// Returns the error in the exception being handled, whatever its type, and frees an ErrorIdException; to be called in
/// a catch block.
TOLVANE_HOST_API LastError caughtError();
/// Only frees it, and needs no memory for that.
TOLVANE_HOST_API void dropCaughtError() noexcept;
/// Whether an id is one of those for lack of memory: "VELMAR:nomem", or a module's that ends with "outofmemory".
bool isLackOfMemory(const std::string& id);

/// Runs code of a module for a caller that can't report errors, such as a destructor.
template <class Action>
void withoutErrors(Action&& action) noexcept {
    try {
        std::forward<Action>(action)();
    } catch (...) {
        dropCaughtError();
    }
}

}  // namespace hostref
