// Ends long work from outside: a signal, a deadline, a button.
//
//     std::atomic<bool> stop = false;                  // set by a signal handler or another thread
//     interruption until([&] { return stop.load(); });
//     fixed_array y = conv(x, h);                      // throws "tolvane:interrupted" within some milliseconds
#pragma once

#include <functional>
#include <memory>

#include "host/export.h"

namespace tolvane {

namespace detail {
class Interruption;
}

/// While it lives, operations on arrays by the thread that made it ask a function every few milliseconds whether to
/// stop; one of less than about two milliseconds doesn't ask. If the function returns true, the operation throws
/// "tolvane:interrupted" and has changed nothing; logs have heard at most of places whose values were all there, as of
/// the coefficients of a filter. An exception of the function passes. Objects of a thread end in the reverse order of
/// their making, and the functions of all of them are asked. A function isn't asked within itself, whatever it
/// computes.
class TOLVANE_API interruption {
 public:
    explicit interruption(std::function<bool()> ask);
    interruption(const interruption&) = delete;
    interruption& operator=(const interruption&) = delete;
    ~interruption();

 private:
    std::unique_ptr<detail::Interruption> mInterruption;
};

}  // namespace tolvane
