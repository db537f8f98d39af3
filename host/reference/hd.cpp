#include "host/hd.h"

#include <set>

#include "host/reference/modules.h"

namespace {

std::set<std::string>& presentModules() {
    static std::set<std::string> names{"Lorimer"};
    return names;
}

}  // namespace

bool hdLoadModuleForPackageOrClass(const char* name) {
    return name != nullptr && presentModules().contains(name);
}

void hostref::setModulePresent(const std::string& name, bool present) {
    if (present) {
        presentModules().insert(name);
    } else {
        presentModules().erase(name);
    }
}
