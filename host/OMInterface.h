// The host's handle on an object: it owns one object of the library and knows its class.
//
// Handles are reference-counted. Construction gives the first reference, getReference adds one, and a call of
// `OMInterface::operator delete` releases one; releasing the last one calls the class's destroyObject. A delete
// expression does not compile, since it would destroy a handle that others still hold. A reference is external when a
// value of the host's user holds it and internal otherwise; the two kinds are counted separately, but any reference
// keeps the object alive.
#pragma once

#include <cstddef>
#include <memory>

#include "host/OMListenerManager.h"
#include "host/export.h"

class OMClass;
class OMDatabase;
class OMPropertyEvent;

class TOLVANE_HOST_API OMInterface {
 public:
    /// Takes ownership of the object, which may be null; the class must not be null. No object is in a database, so the
    /// last argument is null.
    OMInterface(void* object, OMClass* objectClass, OMDatabase* database) noexcept;
    OMInterface(const OMInterface&) = delete;
    OMInterface& operator=(const OMInterface&) = delete;

    static void* operator new(std::size_t bytes);
    static void* operator new[](std::size_t bytes) = delete;
    /// Releases one reference; null is harmless. The class's destroyObject, called for the last reference, must not
    /// raise. A compiler may warn of a later use of the pointer, although other references keep the handle alive.
    static void operator delete(void* interface);
    static void operator delete[](void* interface) = delete;

    /// Returns the held object, still owned by the handle.
    virtual void* getObject() const;

    /// Adds an internal reference and returns this handle.
    OMInterface* getReference();
    /// Adds an external reference, as an array that holds the handle does.
    OMInterface* getExternalReference();
    /// Turns an external reference into an internal one; does nothing if there is none.
    void externalToInternal();
    /// Counts the references of both kinds.
    int getNumberOfReferences() const;
    int getNumberOfExternalReferences() const;

    OMClass* getClass() const { return mClass; }

    /// The listeners of this object alone.
    OMListenerManager* getListenerManager();
    /// Sends an event to the object's listeners, then to those of its class and of the class's ancestors. A property
    /// without listener access sends none. The object is kept alive until all have returned.
    void notifyPropEvent(OMDatabaseClient* client, const OMPropertyEvent& event);

 protected:
    virtual ~OMInterface();

 private:
    friend struct OMInterfaceArrays;
    static void releaseExternal(OMInterface* interface);
    static void release(OMInterface* interface);

    void* mObject;
    OMClass* mClass;
    std::unique_ptr<OMListenerManager> mListeners;
    bool mIsBeingDestroyed = false;
};
