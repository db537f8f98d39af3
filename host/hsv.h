// The host's text forms of values (`hsv` family).
#pragma once

#include <string>

#include "host/export.h"

/// The shortest decimal text that reads back as the same double: "0.1", "1e+22", "-0"; "NaN", "Inf" and "-Inf".
TOLVANE_HOST_API std::string hsv_dtoa_tolvane(double value);
