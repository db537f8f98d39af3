#include "host/OMApplication.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "host/ErrorIdException.h"
#include "host/OMApplicationManager.h"
#include "host/OMClass.h"
#include "host/OMTypeRepository.h"
#include "host/hd.h"
#include "host/om.h"

namespace {

[[noreturn]] void raiseClassExists(const std::string& package, const char* name) {
    raiseError("VELMAR:package:classExists", "Package '" + package + "' can't take the class '" + name + "'.");
}

}  // namespace

OMApplication::OMApplication(std::string name, bool isPublic) : mName(std::move(name)), mIsPublic(isPublic) {}

OMApplication::~OMApplication() {
    while (!mClasses.empty()) {
        removeLocalClass(mClasses.back());
    }
}

void OMApplication::addLocalClass(OMClass* objectClass) {
    if (objectClass->mApplication != nullptr || getLocalClass(objectClass->getName()) != nullptr) {
        raiseClassExists(mName, objectClass->getName());
    }
    std::string fullName = mName + "." + objectClass->getName();
    mClasses.reserve(mClasses.size() + 1);
    OMTypeRepository::addClass(fullName, objectClass);
    objectClass->mFullName = std::move(fullName);
    objectClass->mApplication = this;
    objectClass->mIsOwnedByKeepers = true;
    objectClass->keep();
    mClasses.push_back(objectClass);
}

void OMApplication::rename(OMClass* objectClass, const char* name) {
    if (getLocalClass(name) != nullptr) {
        raiseClassExists(mName, name);
    }
    std::string shortName = name;
    std::string fullName = mName + "." + shortName;
    OMTypeRepository::addClass(fullName, objectClass);
    OMTypeRepository::removeClass(objectClass->mFullName);
    objectClass->mName = std::move(shortName);
    objectClass->mFullName = std::move(fullName);
}

OMClass* OMApplication::getLocalClass(const char* name) const {
    const auto found = std::find_if(mClasses.begin(), mClasses.end(), [name](const OMClass* objectClass) {
        return std::string_view(objectClass->getName()) == name;
    });
    return found == mClasses.end() ? nullptr : *found;
}

void OMApplication::removeLocalClass(OMClass* objectClass) {
    if (std::find(mClasses.begin(), mClasses.end(), objectClass) != mClasses.end()) {
        forget(objectClass);
        objectClass->mApplication = nullptr;
        objectClass->letGo();
    }
}

void OMApplication::forget(OMClass* objectClass) {
    OMTypeRepository::removeClass(objectClass->mFullName);
    std::erase(mClasses, objectClass);
}

// OMApplicationManager

namespace {

using Applications = std::vector<std::unique_ptr<OMApplication>>;

// Never destroyed: at the end of the process the code of a class may be unloaded before this library is.
Applications& applications() {
    static Applications& instance = *new Applications;
    return instance;
}

}  // namespace

OMApplication* OMApplicationManager::addApplication(std::unique_ptr<OMApplication> application) {
    if (getApplication(application->getName()) != nullptr) {
        raiseError("VELMAR:package:exists", "Package '" + std::string(application->getName()) + "' exists already.");
    }
    applications().push_back(std::move(application));
    return applications().back().get();
}

OMApplication* OMApplicationManager::getApplication(const char* name) {
    for (const auto& application : applications()) {
        if (std::string_view(application->getName()) == name) {
            return application.get();
        }
    }
    return nullptr;
}

void OMApplicationManager::removeApplication(OMApplication* application) {
    const auto found = std::find_if(applications().begin(), applications().end(),
                                    [application](const auto& owner) { return owner.get() == application; });
    if (found != applications().end()) {
        // Removed before it is destroyed, so that the destruction of its classes can't find it.
        const std::unique_ptr<OMApplication> ended = std::move(*found);
        applications().erase(found);
    }
}

OMApplication* omFindPackageOnPath(const char* name) {
    OMApplication* application = OMApplicationManager::getApplication(name);
    if (application == nullptr && hdLoadModuleForPackageOrClass(name)) {
        application = OMApplicationManager::getApplication(name);
    }
    return application != nullptr && application->isPublic() ? application : nullptr;
}
