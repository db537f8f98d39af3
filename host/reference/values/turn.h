// One thread at a time is in the host and its modules; others wait.
#pragma once

#include "host/export.h"

namespace hostref {

/// Waits until no other thread has a turn, and has one while it lives. Within a turn of the same thread it costs no
/// lock. Never wait for another thread within a turn.
class TOLVANE_HOST_API Turn {
 public:
    Turn() noexcept;
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn();
};

}  // namespace hostref
