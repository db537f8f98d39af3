// The event that listeners receive. For properties it is an OMPropertyEvent.
#pragma once

#include <string>

#include "host/export.h"

class OMInterface;

/// Describes one kind of event: its name, such as "WordLengthPostSet".
class TOLVANE_HOST_API OMEventInfo {
 public:
    explicit OMEventInfo(std::string name);
    const char* getName() const { return mName.c_str(); }

 private:
    std::string mName;
};

class TOLVANE_HOST_API OMEvent {
 public:
    /// Borrows both for the event's life.
    OMEvent(const OMEventInfo* info, OMInterface* source) : mInfo(info), mSource(source) {}
    virtual ~OMEvent();

    const OMEventInfo* getEventInfo() const { return mInfo; }
    OMInterface* getSource() const { return mSource; }

 private:
    const OMEventInfo* mInfo;
    OMInterface* mSource;
};
