// The packages and classes that the reference host can load; "Lorimer" is present initially.
#pragma once

#include <string>

#include "host/export.h"

namespace hostref {

/// Makes hdLoadModuleForPackageOrClass find a package or class, or no longer find it.
TOLVANE_HOST_API void setModulePresent(const std::string& name, bool present);

}  // namespace hostref
