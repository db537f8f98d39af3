// The event of a property before or after it is read or written.
#pragma once

#include "host/OMEvent.h"

class OMPropInfo;

class TOLVANE_HOST_API OMPropertyEvent : public OMEvent {
 public:
    enum class Kind : int { PreGet = 0, PostGet = 1, PreSet = 2, PostSet = 3 };

    /// Carries `newValue` in the form of the property's data type, borrowed for the lifetime of the event; it may be
    /// null.
    OMPropertyEvent(const OMPropInfo* property, Kind kind, OMInterface* source, const void* newValue);

    const OMPropInfo* getProperty() const { return mProperty; }
    Kind getKind() const { return mKind; }
    const void* getNewValue() const { return mNewValue; }

 private:
    const OMPropInfo* mProperty;
    Kind mKind;
    const void* mNewValue;
};
