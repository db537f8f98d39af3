// The host's module loader (`hd` family).
#pragma once

#include "host/export.h"

/// Loads the module that defines a package or class, such as "Lorimer", and returns whether it is present. Loading
/// twice is harmless.
TOLVANE_HOST_API bool hdLoadModuleForPackageOrClass(const char* name);
