// How the arithmetic reaches the logs that live.
#pragma once

#include <cstdint>

#include "program/fixed_log.h"
#include "program/log_level.h"

namespace tolvane {

class LogAccess {
 public:
    /// Whether any log lives.
    static bool isLogging() { return detail::logLevel() != detail::LogLevel::none; }
    /// Whether one wants more than ranges and counts, so that all values have to go through a `Place`.
    static bool wantsMore() { return detail::logLevel() == detail::LogLevel::everything; }
    /// Adds a record of values to every log that lived in an epoch and lives. Records of one name are merged; the
    /// format is that of the last one.
    static void add(const place_record& record, std::uint64_t epoch = kNow);
    static constexpr std::uint64_t kNow = ~std::uint64_t{0};
};

namespace detail {
/// Hands over what the variables of this thread have noted.
void handOverVariables();
}  // namespace detail

}  // namespace tolvane
