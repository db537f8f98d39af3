// What was thrown, whoever threw it: the host catches everything that comes out of a module or a function.
#pragma once

#include <utility>

#include "host/reference/functions.h"

namespace hostref {

/// Tells what the exception being handled says, whatever its type, and frees an ErrorIdException; to be called in a
/// catch block.
LastError caughtError();

/// Runs code of a module for a caller that nobody can be told an error through, such as a destructor.
template <class Action>
void withoutErrors(Action&& action) noexcept {
    try {
        std::forward<Action>(action)();
    } catch (...) {
        static_cast<void>(caughtError());
    }
}

}  // namespace hostref
