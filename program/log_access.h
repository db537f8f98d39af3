// How the arithmetic reaches the logs that live.
#pragma once

#include "program/fixed_log.h"

namespace tolvane {

class LogAccess {
 public:
    /// Whether any log lives.
    static bool isLogging();
    /// Adds a record of values to every log. Records of one name are merged; the format is that of the last one.
    static void add(const place_record& record);
};

}  // namespace tolvane
