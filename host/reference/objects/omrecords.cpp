#include <algorithm>
#include <cassert>
#include <utility>

#include "host/om.h"
#include "host/reference/objects/generation.h"
#include "host/reference/values/caught_error.h"

// Events and listeners

OMEventInfo::OMEventInfo(std::string name) : mName(std::move(name)) {}

OMEvent::~OMEvent() = default;

OMPropertyEvent::OMPropertyEvent(const OMPropInfo* property, Kind kind, OMInterface* source, const void* newValue)
    : OMEvent(property->getInternalEvent(kind), source), mProperty(property), mKind(kind), mNewValue(newValue) {}

OMListenerManager::Id OMListenerManager::addListener(Listener listener) {
    mEntries.push_back(std::make_shared<Entry>(Entry{mLastId + 1, std::move(listener), false}));
    return ++mLastId;
}

void OMListenerManager::removeListener(Id id) {
    const auto found =
        std::find_if(mEntries.begin(), mEntries.end(), [id](const auto& entry) { return entry->id == id; });
    if (found != mEntries.end()) {
        (*found)->isRemoved = true;
        mEntries.erase(found);
    }
}

void OMListenerManager::notify(OMDatabaseClient* client, const OMEvent& event) const {
    const auto entries = mEntries;
    for (const auto& entry : entries) {
        if (!entry->isRemoved) {
            entry->listener(client, event);
        }
    }
}

// OMDatabaseClient

OMDatabaseClient* OMDatabaseClient::getInternalClient() {
    static OMDatabaseClient client(true);
    return &client;
}

OMDatabaseClient* OMDatabaseClient::getExternalClient() {
    static OMDatabaseClient client(false);
    return &client;
}

// OMErrorStatus

OMErrorStatus::Error::Error(std::string id, std::string message) : mId(std::move(id)), mMessage(std::move(message)) {}

void OMErrorStatus::addError(std::string id, std::string message) {
    mErrors.emplace_back(std::move(id), std::move(message));
}

void OMErrorStatus::addCaught() {
    hostref::LastError error = hostref::caughtError();
    addError(std::move(error.id), std::move(error.message));
}

// Property records

OMPropInfo::~OMPropInfo() = default;

OMPropInfoTemplate::OMPropInfoTemplate(std::string name, OMDataType* dataType, const OMPropertyAccess& access,
                                       bool isVisible)
    : mName(std::move(name)),
      mDataType(dataType),
      mAccess(access),
      mIsVisible(isVisible),
      mEvents{OMEventInfo(mName + "PreGet"), OMEventInfo(mName + "PostGet"), OMEventInfo(mName + "PreSet"),
              OMEventInfo(mName + "PostSet")} {
    assert(dataType != nullptr);
}

OMPropInfoTemplate::~OMPropInfoTemplate() = default;

const char* OMPropInfoTemplate::getName() const {
    return mName.c_str();
}

const OMEventInfo* OMPropInfoTemplate::getInternalEvent(OMPropertyEvent::Kind kind) const {
    return &mEvents[static_cast<std::size_t>(kind)];
}

const char* OMPropInfoTemplate::getDisplayName() const {
    return getName();
}

const char* OMPropInfoTemplate::getDescription() const {
    return mDescription.c_str();
}

void OMPropInfoTemplate::setDescription(const char* description) {
    mDescription = description;
}

void* OMPropInfoTemplate::getFactoryDefault() const {
    return nullptr;
}

OMClass* OMPropInfoTemplate::getClass() const {
    return mClass;
}

void OMPropInfoTemplate::setClass(OMClass* objectClass) {
    mClass = objectClass;
}

bool OMPropInfoTemplate::isRuntime() const {
    return false;
}

OMInterface* OMPropInfoTemplate::getInterface() {
    return nullptr;
}

void OMPropInfoTemplate::applyFactoryDefault(OMInterface* interface) {
    applyFactoryDefault(OMDatabaseClient::getInternalClient(), interface);
}

void OMPropInfoTemplate::applyFactoryDefault(OMDatabaseClient* client, OMInterface* interface) {
    const auto release = [this](void* value) { hostref::withoutErrors([&] { mDataType->releaseValue(value); }); };
    const std::unique_ptr<void, decltype(release)> value(getFactoryDefault(), release);
    if (value) {
        setValue(client, interface, value.get());
    }
}

OMDataType* OMPropInfoTemplate::getDataType() const {
    return mDataType;
}

const OMPropertyAccess& OMPropInfoTemplate::getAccess() const {
    return mAccess;
}

void OMPropInfoTemplate::setAccess(const OMPropertyAccess& access) {
    mAccess = access;
}

bool OMPropInfoTemplate::isExternalGetAccess() const {
    return mAccess.isExternalGetAccess;
}

bool OMPropInfoTemplate::isExternalSetAccess() const {
    return mAccess.isExternalSetAccess;
}

bool OMPropInfoTemplate::isInternalGetAccess() const {
    return mAccess.isInternalGetAccess;
}

bool OMPropInfoTemplate::isInternalSetAccess() const {
    return mAccess.isInternalSetAccess;
}

bool OMPropInfoTemplate::isInitAccess() const {
    return mAccess.isInitAccess;
}

bool OMPropInfoTemplate::isDefaultAccess() const {
    return mAccess.isDefaultAccess;
}

bool OMPropInfoTemplate::isResetAccess() const {
    return mAccess.isResetAccess;
}

bool OMPropInfoTemplate::isSerializeAccess() const {
    return mAccess.isSerializeAccess;
}

bool OMPropInfoTemplate::isCopyAccess() const {
    return mAccess.isCopyAccess;
}

bool OMPropInfoTemplate::isListenerAccess() const {
    return mAccess.isListenerAccess;
}

bool OMPropInfoTemplate::isAbortSetAccess() const {
    return mAccess.isAbortSetAccess;
}

bool OMPropInfoTemplate::isInspectAccess() const {
    return false;
}

bool OMPropInfoTemplate::isGrandfathered() const {
    return false;
}

bool OMPropInfoTemplate::isVisible() const {
    return mIsVisible;
}

bool OMPropInfoTemplate::isReadOnly() const {
    return !mAccess.isExternalSetAccess && !mAccess.isInternalSetAccess;
}

OMPropInfo* OMPropInfoTemplate::getGrandfatheredProp() const {
    return nullptr;
}

const hvArray* OMPropInfoTemplate::getGetFunction() const {
    return mGetFunction;
}

void OMPropInfoTemplate::setGetFunction(const hvArray* function) {
    mGetFunction = function;
}

const hvArray* OMPropInfoTemplate::getSetFunction() const {
    return mSetFunction;
}

void OMPropInfoTemplate::setSetFunction(const hvArray* function) {
    mSetFunction = function;
}

void* OMPropInfoTemplate::getValueE(OMDatabaseClient* client, OMInterface* interface, OMErrorStatus& status) {
    void* value = nullptr;
    status.collect([&] { value = getValue(client, interface); });
    return value;
}

void OMPropInfoTemplate::setValueE(OMDatabaseClient* client, OMInterface* interface, const void* value,
                                   OMErrorStatus& status) {
    status.collect([&] { setValue(client, interface, value); });
}

void OMPropInfoTemplate::releaseValue(OMDatabaseClient* /*client*/, OMInterface* /*interface*/, void* value) {
    mDataType->releaseValue(value);
}

OMClass* OMPropInfoTemplate::getSubPropertyClass() const {
    const auto* const handles = dynamic_cast<const OMInterfaceType*>(mDataType);
    return handles == nullptr ? nullptr : handles->getClass();
}

OMPropInfo* OMPropInfoTemplate::getSuperProperty() const {
    return nullptr;
}

bool OMPropInfoTemplate::canContainOMInterfaces(OMInterface* /*interface*/) const {
    return true;
}

// Method records

OMMethodSignature::~OMMethodSignature() = default;

void OMMethodSignature::addArgument(OMDataType* dataType, const void* defaultValue) {
    ++hostref::recordGeneration;
    mArguments.push_back({dataType, defaultValue});
}

void OMMethodSignature::addReturnType(OMDataType* dataType) {
    mReturnTypes.push_back(dataType);
}

int OMMethodSignature::getNumberOfReturnArgs() const {
    return static_cast<int>(mReturnTypes.size());
}

OMDataType* OMMethodSignature::getReturnType(int index) const {
    const bool isInRange = index >= 0 && static_cast<std::size_t>(index) < mReturnTypes.size();
    return isInRange ? mReturnTypes[static_cast<std::size_t>(index)] : nullptr;
}

OMMethodInfo::OMMethodInfo(int /*attributes*/) {}

OMMethodInfo::~OMMethodInfo() = default;

OMClass* OMMethodInfo::getClass() const {
    return mClass;
}

bool OMMethodInfo::isReadOnly() const {
    return true;
}

const std::vector<std::unique_ptr<OMMethodSignature>>& OMMethodInfo::getMethodSignatures() const {
    return mSignatures;
}

void OMMethodInfo::invokeMethodE(OMMethodSignature* signature, int* resultCount, void** results, int argumentCount,
                                 void** arguments, OMErrorStatus& status) {
    if (!status.collect([&] { invokeMethod(signature, resultCount, results, argumentCount, arguments); })) {
        *resultCount = 0;
    }
}

OMInterface* OMMethodInfo::getInterface() {
    return nullptr;
}

void OMMethodInfo::setName(const char* name, bool isVisible) {
    ++hostref::recordGeneration;
    mName = name;
    mIsVisible = isVisible;
}

OMMethodSignature* OMMethodInfo::addMethodSignature(std::unique_ptr<OMMethodSignature> signature) {
    ++hostref::recordGeneration;
    mSignatures.push_back(std::move(signature));
    return mSignatures.back().get();
}
