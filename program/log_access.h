// How the arithmetic reaches the logs that live.
#pragma once

#include "program/fixed_log.h"
#include "program/log_level.h"

namespace tolvane {

class LogAccess {
 public:
    /// Whether any log lives.
    static bool isLogging() { return detail::logLevel() != detail::LogLevel::none; }
    /// Whether one wants more than ranges and counts, so that all values have to go through a `Place`.
    static bool wantsMore() { return detail::logLevel() == detail::LogLevel::everything; }
    /// Adds a record of values to every log. Records of one name are merged; the format is that of the last one.
    static void add(const place_record& record);
};

}  // namespace tolvane
