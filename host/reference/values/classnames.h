// Look-up of classes by name, beyond that of the type repository for modules.
#pragma once

#include <string_view>

class OMClass;

namespace hostref {

/// Finds the one class with that short name in any package; null if there is none or more than one.
OMClass* findClassByShortName(std::string_view name);

}  // namespace hostref
