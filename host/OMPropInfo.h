// A property record: name, data type, access rights, and how its value is read and written.
//
// Most records derive from OMPropInfoTemplate, which holds these attributes. A value is an untyped pointer in the form
// of the data type (OMDataType.h): getValue returns a new one, releaseValue destroys it, setValue borrows one.
#pragma once

#include "host/OMPropertyEvent.h"
#include "host/export.h"

class OMClass;
class OMDatabaseClient;
class OMDataType;
class OMErrorStatus;
class OMInterface;
struct hvArray;

/// Access rights of a property.
struct OMPropertyAccess {
    bool isExternalSetAccess = true;
    bool isExternalGetAccess = true;
    bool isInternalSetAccess = true;
    bool isInternalGetAccess = true;
    bool isInitAccess = false;
    bool isDefaultAccess = false;
    bool isResetAccess = false;
    bool isSerializeAccess = true;
    bool isCopyAccess = true;
    bool isListenerAccess = true;
    bool isAbortSetAccess = false;

    bool operator==(const OMPropertyAccess&) const = default;
};

class TOLVANE_HOST_API OMPropInfo {
 public:
    OMPropInfo() = default;
    OMPropInfo(const OMPropInfo&) = delete;
    OMPropInfo& operator=(const OMPropInfo&) = delete;

    virtual const char* getName() const = 0;

    /// Describes the event of that kind; the record owns the description.
    virtual const OMEventInfo* getInternalEvent(OMPropertyEvent::Kind kind) const = 0;
    virtual ~OMPropInfo();
    virtual const char* getDisplayName() const = 0;
    virtual const char* getDescription() const = 0;
    virtual void setDescription(const char* description) = 0;
    /// Returns a new value of the data type, or null if the property has no factory default.
    virtual void* getFactoryDefault() const = 0;
    /// The class that the record was added to, or null.
    virtual OMClass* getClass() const = 0;
    /// Returns whether the property was added to one object at run time.
    virtual bool isRuntime() const = 0;
    /// The handle on the record itself, for hosts that show records as objects; null here.
    virtual OMInterface* getInterface() = 0;
    /// Writes the factory default, if there is one, to the object as the internal client, or as the one given.
    virtual void applyFactoryDefault(OMInterface* interface) = 0;
    virtual void applyFactoryDefault(OMDatabaseClient* client, OMInterface* interface) = 0;
    virtual OMDataType* getDataType() const = 0;
    virtual const OMPropertyAccess& getAccess() const = 0;
    virtual void setAccess(const OMPropertyAccess& access) = 0;
    virtual bool isExternalGetAccess() const = 0;
    virtual bool isExternalSetAccess() const = 0;
    virtual bool isInternalGetAccess() const = 0;
    virtual bool isInternalSetAccess() const = 0;
    virtual bool isInitAccess() const = 0;
    virtual bool isDefaultAccess() const = 0;
    virtual bool isResetAccess() const = 0;
    virtual bool isSerializeAccess() const = 0;
    virtual bool isCopyAccess() const = 0;
    virtual bool isListenerAccess() const = 0;
    virtual bool isAbortSetAccess() const = 0;
    virtual bool isInspectAccess() const = 0;
    virtual bool isGrandfathered() const = 0;
    virtual bool isVisible() const = 0;
    /// Returns whether no client may write the property.
    virtual bool isReadOnly() const = 0;
    virtual OMPropInfo* getGrandfatheredProp() const = 0;
    /// The functions in the host's language that filter reads and writes; null for none. The caller keeps ownership.
    virtual const hvArray* getGetFunction() const = 0;
    virtual void setGetFunction(const hvArray* function) = 0;
    virtual const hvArray* getSetFunction() const = 0;
    virtual void setSetFunction(const hvArray* function) = 0;
    /// Returns a new value that the caller destroys with releaseValue.
    virtual void* getValue(OMDatabaseClient* client, OMInterface* interface) = 0;
    /// As getValue, except that an error goes into the status and null is returned.
    virtual void* getValueE(OMDatabaseClient* client, OMInterface* interface, OMErrorStatus& status) = 0;
    /// Stores a value, which the caller still owns; ignores null.
    virtual void setValue(OMDatabaseClient* client, OMInterface* interface, const void* value) = 0;
    /// As setValue, except that an error goes into the status.
    virtual void setValueE(OMDatabaseClient* client, OMInterface* interface, const void* value,
                           OMErrorStatus& status) = 0;
    virtual void releaseValue(OMDatabaseClient* client, OMInterface* interface, void* value) = 0;
    virtual OMClass* getSubPropertyClass() const = 0;
    virtual OMPropInfo* getSuperProperty() const = 0;
    virtual bool canContainOMInterfaces(OMInterface* interface) const = 0;

 private:
    friend class OMClass;
    virtual void setClass(OMClass* objectClass) = 0;
};
