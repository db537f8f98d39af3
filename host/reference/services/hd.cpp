#include "host/hd.h"

#include <memory>
#include <set>
#include <string_view>

#include "host/om.h"
#include "host/reference/modules.h"

namespace {

constexpr const char* kDialogPackage = "Lorimer";

std::set<std::string>& presentModules() {
    static std::set<std::string>& names = *new std::set<std::string>{kDialogPackage};
    return names;
}

/// The dialog package has one class here, from which other packages derive theirs.
void makeDialogPackage() {
    if (OMApplicationManager::getApplication(kDialogPackage) == nullptr) {
        auto package = std::make_unique<OMApplication>(kDialogPackage, true);
        auto root = std::make_unique<OMClass>();
        root->setName("Object", true);
        package->addLocalClass(root.get());
        static_cast<void>(root.release());
        OMApplicationManager::addApplication(std::move(package));
    }
}

}  // namespace

bool hdLoadModuleForPackageOrClass(const char* name) {
    if (name == nullptr || !presentModules().contains(name)) {
        return false;
    }
    if (std::string_view(name) == kDialogPackage) {
        makeDialogPackage();
    }
    return true;
}

void hostref::setModulePresent(const std::string& name, bool present) {
    if (present) {
        presentModules().insert(name);
    } else {
        presentModules().erase(name);
    }
}
