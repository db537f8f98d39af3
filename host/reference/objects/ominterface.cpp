#include "host/OMInterface.h"

#include <algorithm>
#include <cassert>
#include <new>

#include "host/OMClass.h"
#include "host/OMDatabaseClient.h"
#include "host/OMPropertyEvent.h"
#include "host/hv.h"
#include "host/reference/objects/ominterfacearrays.h"
#include "host/reference/values/caught_error.h"
#include "host/reference/values/turn.h"

namespace {

/// Precedes every handle in its block. A count of 0 marks a block without a constructed handle: a new expression
/// releases such a block through `operator delete` if its arguments raise.
struct alignas(std::max_align_t) ReferenceCounts {
    int all = 0;
    int external = 0;
};

ReferenceCounts& countsOf(const void* interface) {
    auto* const bytes = static_cast<std::byte*>(const_cast<void*>(interface));
    return *std::launder(reinterpret_cast<ReferenceCounts*>(bytes - sizeof(ReferenceCounts)));
}

}  // namespace

void* OMInterface::operator new(std::size_t bytes) {
    void* const block = ::operator new(sizeof(ReferenceCounts) + bytes);
    new (block) ReferenceCounts;
    return static_cast<std::byte*>(block) + sizeof(ReferenceCounts);
}

void OMInterface::operator delete(void* interface) {
    if (interface == nullptr) {
        return;
    }
    const hostref::Turn turn;
    if (countsOf(interface).all == 0) {
        ::operator delete(static_cast<std::byte*>(interface) - sizeof(ReferenceCounts));
        return;
    }
    release(static_cast<OMInterface*>(interface));
}

OMInterface::OMInterface(void* object, OMClass* objectClass, OMDatabase* /*database*/) noexcept
    : mObject(object), mClass(objectClass) {
    assert(objectClass != nullptr);
    objectClass->keep();
    countsOf(this).all = 1;
}

OMInterface::~OMInterface() = default;

void* OMInterface::getObject() const {
    return mObject;
}

OMInterface* OMInterface::getReference() {
    ++countsOf(this).all;
    return this;
}

OMInterface* OMInterface::getExternalReference() {
    ++countsOf(this).external;
    return getReference();
}

void OMInterface::externalToInternal() {
    ReferenceCounts& counts = countsOf(this);
    counts.external = std::max(counts.external - 1, 0);
}

int OMInterface::getNumberOfReferences() const {
    return countsOf(this).all;
}

int OMInterface::getNumberOfExternalReferences() const {
    return countsOf(this).external;
}

void OMInterface::release(OMInterface* interface) {
    ReferenceCounts& counts = countsOf(interface);
    if (counts.all > 1) {
        --counts.all;
        counts.external = std::min(counts.external, counts.all);
        return;
    }
    // The last reference stays while the object is destroyed, so that code that uses the handle meanwhile can take and
    // release references; releasing one too many must not destroy the object a second time.
    if (interface->mIsBeingDestroyed) {
        return;
    }
    interface->mIsBeingDestroyed = true;
    OMClass* const objectClass = interface->mClass;
    // References are mostly released by destructors.
    hostref::withoutErrors([&] { objectClass->destroyObject(interface); });
    interface->~OMInterface();
    ::operator delete(reinterpret_cast<std::byte*>(interface) - sizeof(ReferenceCounts));
    objectClass->letGo();
}

void OMInterface::releaseExternal(OMInterface* interface) {
    interface->externalToInternal();
    release(interface);
}

OMListenerManager* OMInterface::getListenerManager() {
    if (!mListeners) {
        mListeners = std::make_unique<OMListenerManager>();
    }
    return mListeners.get();
}

void OMInterface::notifyPropEvent(OMDatabaseClient* client, const OMPropertyEvent& event) {
    if (!event.getProperty()->isListenerAccess()) {
        return;
    }
    const struct Hold {
        OMInterface* interface;
        ~Hold() { release(interface); }
    } hold{getReference()};
    if (mListeners) {
        mListeners->notify(client, event);
    }
    mClass->notifyEvent(client, event);
}

// Handles in arrays

hvArray* OMInterfaceArrays::create(OMInterface* interface) {
    static const hvHandleOperations kOperations = {
        &OMInterfaceArrays::release, [](const void* handle, const char* className) {
            for (const OMClass* c = static_cast<const OMInterface*>(handle)->getClass(); c != nullptr;
                 c = c->getSuperClass()) {
                if (std::string(c->getFullName()) == className) {
                    return true;
                }
            }
            return false;
        }};
    interface->getExternalReference();
    try {
        return hvCreateOpaque(interface->getClass()->getFullName(), interface, &kOperations);
    } catch (...) {
        release(interface);
        throw;
    }
}

OMInterface* OMInterfaceArrays::get(const hvArray* array) {
    return hvIsOpaque(array) ? static_cast<OMInterface*>(hvGetHandle(array)) : nullptr;
}

void OMInterfaceArrays::release(void* handle) {
    OMInterface::releaseExternal(static_cast<OMInterface*>(handle));
}
