// Converts errors that are raised by pointer to HostError values for ordinary C++ code.
#pragma once

#include <utility>

#include "host/reference/HostError.h"
#include "host/reference/calls/boundary.h"
#include "host/reference/calls/sink.h"
#include "host/reference/values/turn.h"

namespace hostref {

/// One command of a user. The outermost one starts and ends with the trap flag cleared, and collects output for its
/// session. Commands of other threads wait.
class Command {
 public:
    explicit Command(OutputSink* sink) noexcept;
    ~Command();
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

 private:
    Turn mTurn;
    OutputSink* mOldSink;
    CallBoundary mBoundary;
};

/// The sink of the running command, or between commands that of the session which this thread opened last, or of the
/// one opened last if it opened none; null if none is open. Call it in a turn.
OutputSink* currentSink() noexcept;

/// Throws the exception being handled as a HostError and keeps it as the last error.
[[noreturn]] void throwAsHostError();

/// Runs an action that only works on arrays.
template <class Action>
decltype(auto) withHostErrors(Action&& action) {
    try {
        return std::forward<Action>(action)();
    } catch (const HostError&) {
        throw;
    } catch (...) {
        throwAsHostError();
    }
}

/// Runs an action that may enter a module.
template <class Action>
decltype(auto) atBoundary(OutputSink* sink, Action&& action) {
    return withHostErrors([&]() -> decltype(auto) {
        const Command command(sink);
        return std::forward<Action>(action)();
    });
}

}  // namespace hostref
