// Notifies the listeners of a host handle of a property's new value: a post-set event, sent as the internal client. A
// class without the property has no listeners for it.
#pragma once

#include "host/OMClass.h"
#include "host/OMDatabaseClient.h"
#include "host/OMInterface.h"
#include "host/OMPropertyEvent.h"

namespace tolvane::detail::propertyevents {

inline const OMPropInfo* findProperty(const OMInterface* interface, const char* name) {
    return interface->getClass()->getProperty(name);
}

/// Borrows the value, in the form of the property's data type, for the duration of the call.
inline void sendPostSet(OMInterface* interface, const OMPropInfo* property, const void* newValue) {
    if (property == nullptr) {
        return;
    }
    const OMPropertyEvent event(property, OMPropertyEvent::Kind::PostSet, interface, newValue);
    interface->notifyPropEvent(OMDatabaseClient::getInternalClient(), event);
}

}  // namespace tolvane::detail::propertyevents
