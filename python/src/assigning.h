// Operations into arrays that exist, with what the errors of the context say about overflows.
#pragma once

#include <utility>

#include "guard.h"

namespace tolvane::python {

/// Does `operation(array, where)` with the target or a copy of it; if it raises, the target is as it was. What can't
/// overflow needs no log.
template <class Operation>
void quantizingInto(fixed_array& out, bool cannotOverflow, const Operation& operation) {
    const code_location where = callersLineForLogs();
    const OverflowMode mode = cannotOverflow ? OverflowMode::ignore : overflowMode();
    if (mode == OverflowMode::ignore) {
        operation(out, where);
        return;
    }
    fixed_array made = out;
    fixed_log log;
    operation(made, where);
    log.stop();
    reportOverflows(log.places(), mode);
    out = std::move(made);
}

}  // namespace tolvane::python
