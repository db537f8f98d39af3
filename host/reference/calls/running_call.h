// The running call, for the text that the host adds to warnings sent during it.
#pragma once

#include <span>
#include <string>

#include "host/reference/calls/dispatch.h"

namespace hostref {

/// Holds the arguments of a method, or the object of a property, while its code runs.
class RunningCall {
 public:
    explicit RunningCall(std::span<const Argument> arguments) noexcept;
    ~RunningCall();
    RunningCall(const RunningCall&) = delete;
    RunningCall& operator=(const RunningCall&) = delete;

    /// Returns a line such as "\nTag: gains" for the first object of the innermost call that has a property "Tag": the
    /// one that is changed, or whose tag the result has. Empty when that has no text.
    static std::string tagLine();

 private:
    std::span<const Argument> mArguments;
    const RunningCall* mOuter;
};

}  // namespace hostref
