// The lock of what the logs of all threads are added to: the log map and the totals of a session.
#pragma once

#include <mutex>

#include "host/export.h"

namespace tolvane::detail {

/// Waits for the lock. It is never held while the host is called, since a warning can lead back into the library.
TOLVANE_API std::unique_lock<std::mutex> lockSharedLogs();

}  // namespace tolvane::detail
