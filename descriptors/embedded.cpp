#include "descriptors/embedded.h"

std::atomic<bool> embedded::s_feature_fi_tag_logging{false};
std::atomic<bool> embedded::s_feature_fi_stack_trace_logging{false};
std::atomic<bool> embedded::s_feature_fi_33plus_memory_footprint{true};
std::atomic<bool> embedded::s_feature_numerictype_unspecified_sign{true};
std::atomic<bool> embedded::s_feature_fi_realonly_slope_bias{true};
std::atomic<bool> embedded::s_feature_fimathless_fis{true};
std::atomic<bool> embedded::s_log_with_stack_trace{false};

const char* embedded::getEmbeddedPackageName() {
    return "embedded";
}
