// The boundary between the host and the code of a module: what one call leaves set doesn't reach the next.
#pragma once

#include <utility>

#include "host/reference/functions.h"

namespace hostref {

/// Runs code of a module with the trap flag cleared; gives trap flag and error mode their old state at the end.
class CallBoundary {
 public:
    CallBoundary();
    ~CallBoundary();
    CallBoundary(const CallBoundary&) = delete;
    CallBoundary& operator=(const CallBoundary&) = delete;

    /// Leaves the trap flag cleared at the end.
    void forgetTrap() { mIsTrapping = false; }

 private:
    bool mIsTrapping;
    int mErrorMode;
};

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
