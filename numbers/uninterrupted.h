// The end of an operation, in which results take the place of what was there.
#pragma once

#include "host/export.h"

namespace tolvane::detail {

/// While it lives, nobody asks this thread to stop (numbers/interruption.h), for what is written would be half-changed.
class TOLVANE_API Uninterrupted {
 public:
    Uninterrupted();
    Uninterrupted(const Uninterrupted&) = delete;
    Uninterrupted& operator=(const Uninterrupted&) = delete;
    ~Uninterrupted();

 private:
    bool mWasQuiet;
};

}  // namespace tolvane::detail
