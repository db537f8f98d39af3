// Operations into arrays that exist, with what the errors of the context say about overflows.
#pragma once

#include <utility>

#include "guard.h"
#include "turns.h"

namespace tolvane::python {

/// Does `operation(array, where)` with the target or a copy of it; if it raises, the target is as it was. What can't
/// overflow needs no log, and is written in place while nobody computes with the target on another thread.
template <class Operation>
void quantizingInto(fixed_array& out, bool cannotOverflow, const Operation& operation) {
    const code_location where = callersLineForLogs();
    const OverflowMode mode = cannotOverflow ? OverflowMode::ignore : overflowMode();
    if (mode == OverflowMode::ignore) {
        const Writing turn;
        operation(out, where);
        return;
    }
    fixed_array made = out;
    fixed_log log;
    working([&] { operation(made, where); });
    log.stop();
    reportOverflows(log.places(), mode);
    const Writing turn;
    out = std::move(made);
}

}  // namespace tolvane::python
