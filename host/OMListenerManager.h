// The listeners of one object or of one class.
//
// A listener may add and remove listeners, itself included, while it runs: an event reaches the listeners that were
// registered when it was sent and still are at their turn, in the order in which they were added.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "host/export.h"

class OMDatabaseClient;
class OMEvent;

class TOLVANE_HOST_API OMListenerManager {
 public:
    using Listener = std::function<void(OMDatabaseClient* client, const OMEvent& event)>;
    using Id = std::uint64_t;

    /// Returns the number for removeListener.
    Id addListener(Listener listener);
    /// Does nothing for a number that is not in use.
    void removeListener(Id id);
    void notify(OMDatabaseClient* client, const OMEvent& event) const;

 private:
    struct Entry {
        Id id;
        Listener listener;
        bool isRemoved;
    };
    // Shared, so that a listener outlives its own removal while it runs.
    std::vector<std::shared_ptr<Entry>> mEntries;
    Id mLastId = 0;
};
