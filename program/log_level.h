// What the logs that live want to hear, where inline code can ask for it at the cost of one load.
#pragma once

#include <atomic>

#include "host/export.h"

namespace tolvane::detail {

enum class LogLevel : int {
    none,       // no log lives
    ranges,     // ranges and counts of each place
    everything  // more than that of each value, a call on overflow, or another format in force
};

/// The highest level that any living log wants.
TOLVANE_API extern std::atomic<int> currentLogLevel;

inline LogLevel logLevel() {
    return static_cast<LogLevel>(currentLogLevel.load(std::memory_order_relaxed));
}

}  // namespace tolvane::detail
