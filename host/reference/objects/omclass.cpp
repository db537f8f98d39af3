#include "host/OMClass.h"

#include <cassert>
#include <string_view>
#include <utility>

#include "host/ErrorIdException.h"
#include "host/OMApplication.h"
#include "host/OMDataType.h"
#include "host/OMListenerManager.h"
#include "host/OMTypeRepository.h"
#include "host/reference/objects/generation.h"

namespace {

template <class Record>
Record* findByName(const std::vector<std::unique_ptr<Record>>& records, std::string_view name) {
    for (const auto& record : records) {
        if (record->getName() == name) {
            return record.get();
        }
    }
    return nullptr;
}

template <class Record>
Record* addOrReplace(std::vector<std::unique_ptr<Record>>& records, std::unique_ptr<Record> record) {
    for (auto& own : records) {
        if (std::string_view(own->getName()) == record->getName()) {
            own = std::move(record);
            return own.get();
        }
    }
    records.push_back(std::move(record));
    return records.back().get();
}

/// Appends a class's own records to those of its ancestors, a redefined one in place of the old one.
template <class Pointer, class Record>
std::vector<Pointer> mergeRecords(std::vector<Pointer> inherited, const std::vector<std::unique_ptr<Record>>& own) {
    const std::size_t inheritedCount = inherited.size();
    for (const auto& record : own) {
        std::size_t place = 0;
        while (place < inheritedCount && std::string_view(inherited[place]->getName()) != record->getName()) {
            ++place;
        }
        if (place < inheritedCount) {
            inherited[place] = record.get();
        } else {
            inherited.push_back(record.get());
        }
    }
    return inherited;
}

}  // namespace

OMClass::OMClass() = default;

OMClass::~OMClass() {
    ++hostref::recordGeneration;
    if (mApplication != nullptr) {
        mApplication->forget(this);
        --mKeepers;
    }
    assert(mKeepers == 0);
    if (mSuperClass != nullptr) {
        mSuperClass->letGo();
    }
}

void OMClass::letGo() {
    if (--mKeepers == 0 && mIsOwnedByKeepers) {
        delete this;
    }
}

void OMClass::notifyEvent(OMDatabaseClient* client, const OMEvent& event) {
    if (mListeners) {
        mListeners->notify(client, event);
    }
    if (mSuperClass != nullptr) {
        mSuperClass->notifyEvent(client, event);
    }
}

OMListenerManager* OMClass::getListenerManager() {
    if (!mListeners) {
        mListeners = std::make_unique<OMListenerManager>();
    }
    return mListeners.get();
}

void OMClass::setListenerManager(std::unique_ptr<OMListenerManager> listeners) {
    mListeners = std::move(listeners);
}

OMInterface* OMClass::createClassSpecificObject(OMInterface* /*interface*/, void** /*arguments*/, int /*count*/) {
    return nullptr;
}

OMInterface* OMClass::createClassSpecificObject(OMInterface* interface) {
    return createClassSpecificObject(interface, nullptr, 0);
}

bool OMClass::isPropertyNameReservedByThisClass(const char* /*name*/) const {
    return false;
}

void OMClass::validatePropertyName(const char* /*name*/) const {}

bool OMClass::throwErrorOnGetOfAllProperties() const {
    return false;
}

bool OMClass::canOtherClassContainThisClass(const OMClass* /*other*/) const {
    return true;
}

bool OMClass::canThisClassContainOtherClass(const OMClass* /*other*/) const {
    return true;
}

bool OMClass::canBeConstructed() const {
    return true;
}

void OMClass::prepareForPropertyChanges(OMInterface* /*interface*/) {}

void OMClass::respondToPropertyChanges(OMInterface* /*interface*/) {}

void OMClass::respondToMethodAddedFromVELMAR(OMMethodInfo* /*method*/) {}

bool OMClass::isOkToDestroy(OMInterface* /*interface*/) const {
    return true;
}

void OMClass::destroyObject(OMInterface* /*interface*/) {}

void OMClass::unlink(OMInterface* /*interface*/) {}

OMPropInfo* OMClass::getProperty(const char* name) const {
    if (OMPropInfo* const own = findByName(mProperties, name)) {
        return own;
    }
    return mSuperClass == nullptr ? nullptr : mSuperClass->getProperty(name);
}

OMPropInfo* OMClass::getCompoundProperty(const char* name) const {
    const std::string_view path = name;
    const std::size_t dot = path.find('.');
    if (dot == std::string_view::npos) {
        return getProperty(name);
    }
    const OMPropInfo* const outer = getProperty(std::string(path.substr(0, dot)).c_str());
    const OMClass* const inner = outer == nullptr ? nullptr : outer->getSubPropertyClass();
    return inner == nullptr ? nullptr : inner->getCompoundProperty(name + dot + 1);
}

OMMethodInfo* OMClass::getMethod(const char* name) const {
    if (OMMethodInfo* const own = findByName(mMethods, name)) {
        return own;
    }
    return mSuperClass == nullptr ? nullptr : mSuperClass->getMethod(name);
}

const OMEventInfo* OMClass::getEvent(const char* name) const {
    if (const OMEventInfo* const own = findByName(mEvents, name)) {
        return own;
    }
    return mSuperClass == nullptr ? nullptr : mSuperClass->getEvent(name);
}

std::vector<OMPropInfo*> OMClass::getProperties() const {
    return mergeRecords(mSuperClass == nullptr ? std::vector<OMPropInfo*>() : mSuperClass->getProperties(),
                        mProperties);
}

std::vector<OMMethodInfo*> OMClass::getMethods() const {
    return mergeRecords(mSuperClass == nullptr ? std::vector<OMMethodInfo*>() : mSuperClass->getMethods(), mMethods);
}

std::vector<const OMEventInfo*> OMClass::getEvents() const {
    return mergeRecords(mSuperClass == nullptr ? std::vector<const OMEventInfo*>() : mSuperClass->getEvents(), mEvents);
}

int OMClass::getNumberOfRuntimeProperties(OMInterface* /*interface*/) const {
    return 0;
}

const char* OMClass::getFullName() const {
    return mFullName.c_str();
}

const char* OMClass::getDescription() const {
    return mDescription.c_str();
}

void OMClass::setDescription(const char* description) {
    mDescription = description;
}

ErrorIdException* OMClass::filterPropAccessException(ErrorIdException* error, OMPropInfo* /*property*/) {
    return error;
}

int OMClass::getDispatcherClassID() const {
    return 0;
}

void OMClass::setName(const char* name, bool isVisible) {
    ++hostref::recordGeneration;
    if (mApplication == nullptr) {
        mName = name;
        mFullName = mName;
    } else if (mName != name) {
        mApplication->rename(this, name);
    }
    mIsVisible = isVisible;
}

void OMClass::setSuperClass(OMClass* superClass) {
    if (superClass != nullptr && superClass->isDescendantOf(this)) {
        raiseError("VELMAR:class:cyclicSuperclass", "Class '" + mName + "' can't be its own ancestor.");
    }
    ++hostref::recordGeneration;
    if (superClass != nullptr) {
        superClass->keep();
    }
    if (OMClass* const old = std::exchange(mSuperClass, superClass)) {
        old->letGo();
    }
}

bool OMClass::isDescendantOf(const OMClass* other) const {
    const OMClass* candidate = this;
    while (candidate != nullptr && candidate != other) {
        candidate = candidate->mSuperClass;
    }
    return candidate != nullptr;
}

OMPropInfo* OMClass::addProperty(std::unique_ptr<OMPropInfo> property) {
    ++hostref::recordGeneration;
    property->setClass(this);
    return addOrReplace(mProperties, std::move(property));
}

OMMethodInfo* OMClass::addMethod(std::unique_ptr<OMMethodInfo> method) {
    ++hostref::recordGeneration;
    method->mClass = this;
    return addOrReplace(mMethods, std::move(method));
}

const OMEventInfo* OMClass::addEvent(std::unique_ptr<OMEventInfo> event) {
    return addOrReplace(mEvents, std::move(event));
}

OMMethodSignature* OMClass::addConstructorSignature(std::unique_ptr<OMMethodSignature> signature) {
    mConstructorSignatures.push_back(std::move(signature));
    return mConstructorSignatures.back().get();
}
