// Classes by name, beyond what the type repository offers to modules.
#pragma once

#include <string_view>

class OMClass;

namespace hostref {

/// Finds the one class with that short name in any package; null when there is none or more than one.
OMClass* findClassByShortName(std::string_view name);

}  // namespace hostref
