// The destinations of the reference host's printed text and warnings: listeners that a program or a test can set.
//
// By default printed text goes to stdout and a warning, as "Warning: text [id]", to stderr.
#pragma once

#include <functional>
#include <string>

#include "host/export.h"

namespace hostref {

using WarningListener = std::function<void(const std::string& id, const std::string& text)>;
using PrintListener = std::function<void(const std::string& text)>;

/// Sets the listener and returns the one it replaces; an empty function restores the default.
TOLVANE_HOST_API WarningListener setWarningListener(WarningListener listener);
/// As setWarningListener, for printed text.
TOLVANE_HOST_API PrintListener setPrintListener(PrintListener listener);

/// Switches the warnings of one id, or with "all" every warning that has no switch of its own; returns the old state.
/// A warning that is off reaches no listener.
TOLVANE_HOST_API bool setWarningEnabled(const std::string& id, bool enabled);

}  // namespace hostref
