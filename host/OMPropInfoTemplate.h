// A property record with its attributes as data: a derived record adds getValue, setValue and releaseValue.
//
// An attribute that a record doesn't set keeps the template's default: true for external and internal set and get,
// serialize, copy, listener and visible, false for the others.
#pragma once

#include <array>
#include <string>

#include "host/OMPropInfo.h"

class TOLVANE_HOST_API OMPropInfoTemplate : public OMPropInfo {
 public:
    /// Borrows the data type for the lifetime of the record; the type repository keeps types for that of the process.
    OMPropInfoTemplate(std::string name, OMDataType* dataType, const OMPropertyAccess& access = {},
                       bool isVisible = true);
    ~OMPropInfoTemplate() override;

    const char* getName() const override;
    const OMEventInfo* getInternalEvent(OMPropertyEvent::Kind kind) const override;
    const char* getDisplayName() const override;
    const char* getDescription() const override;
    void setDescription(const char* description) override;
    void* getFactoryDefault() const override;
    OMClass* getClass() const override;
    bool isRuntime() const override;
    OMInterface* getInterface() override;
    void applyFactoryDefault(OMInterface* interface) override;
    void applyFactoryDefault(OMDatabaseClient* client, OMInterface* interface) override;
    OMDataType* getDataType() const override;
    const OMPropertyAccess& getAccess() const override;
    void setAccess(const OMPropertyAccess& access) override;
    bool isExternalGetAccess() const override;
    bool isExternalSetAccess() const override;
    bool isInternalGetAccess() const override;
    bool isInternalSetAccess() const override;
    bool isInitAccess() const override;
    bool isDefaultAccess() const override;
    bool isResetAccess() const override;
    bool isSerializeAccess() const override;
    bool isCopyAccess() const override;
    bool isListenerAccess() const override;
    bool isAbortSetAccess() const override;
    bool isInspectAccess() const override;
    bool isGrandfathered() const override;
    bool isVisible() const override;
    bool isReadOnly() const override;
    OMPropInfo* getGrandfatheredProp() const override;
    const hvArray* getGetFunction() const override;
    void setGetFunction(const hvArray* function) override;
    const hvArray* getSetFunction() const override;
    void setSetFunction(const hvArray* function) override;
    void* getValueE(OMDatabaseClient* client, OMInterface* interface, OMErrorStatus& status) override;
    void setValueE(OMDatabaseClient* client, OMInterface* interface, const void* value, OMErrorStatus& status) override;
    /// Destroys the value through its data type.
    void releaseValue(OMDatabaseClient* client, OMInterface* interface, void* value) override;
    OMClass* getSubPropertyClass() const override;
    OMPropInfo* getSuperProperty() const override;
    /// Returns true; a record whose values hold no handles overrides this.
    bool canContainOMInterfaces(OMInterface* interface) const override;

 private:
    void setClass(OMClass* objectClass) override;

    std::string mName;
    OMDataType* mDataType;
    OMPropertyAccess mAccess;
    bool mIsVisible;
    std::string mDescription;
    OMClass* mClass = nullptr;
    const hvArray* mGetFunction = nullptr;
    const hvArray* mSetFunction = nullptr;
    std::array<OMEventInfo, 4> mEvents;
};
