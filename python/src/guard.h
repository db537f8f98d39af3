// What happens around an operation that quantizes: the line of the user's program for logs, and what the errors of the
// context say about overflows.
#pragma once

#include <optional>
#include <utility>

#include "turns.h"

namespace tolvane::python {

/// What the context says about overflows.
enum class OverflowMode : std::uint8_t { ignore, warn, raise };

/// The mode in force: that of the context, or `ignore` while a log puts doubles in place of formats on this thread.
OverflowMode overflowMode();
/// The line of the program that called into the package.
code_location callersLine();
/// The same if a log lives that wants to know.
inline code_location callersLineForLogs() {
    return detail::logLevel() == detail::LogLevel::none ? code_location() : callersLine();
}
/// Warns of what overflowed at places of a log, or raises. With a warning that has become an error it raises that.
void reportOverflows(const std::vector<place_record>& places, OverflowMode mode);

/// How many logs of this thread put doubles in place of formats. Logs share it, for they may end on another thread.
const std::shared_ptr<int>& overridesOfThread();

/// Whether a float beside fixed-point numbers is rounded to the best precision, by the rules of the context.
bool areConstantsBest();

/// Does `operation(where)` as work, and then what the mode asks for.
template <class Operation>
auto quantizing(const Operation& operation) {
    const code_location where = callersLineForLogs();
    const OverflowMode mode = overflowMode();
    const auto computed = [&] { return working([&] { return operation(where); }); };
    if (mode == OverflowMode::ignore) {
        return computed();
    }
    fixed_log log;
    auto result = computed();
    log.stop();
    reportOverflows(log.places(), mode);
    return result;
}

}  // namespace tolvane::python
