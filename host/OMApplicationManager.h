// The packages by name. It owns them until they are removed.
#pragma once

#include <memory>

#include "host/export.h"

class OMApplication;

class TOLVANE_HOST_API OMApplicationManager {
 public:
    OMApplicationManager() = delete;

    /// Takes over a package and returns it. A name in use raises "VELMAR:package:exists".
    static OMApplication* addApplication(std::unique_ptr<OMApplication> application);
    /// Returns null for an unknown name.
    static OMApplication* getApplication(const char* name);
    /// Destroys a package with its classes; does nothing for null or an unregistered package.
    static void removeApplication(OMApplication* application);
};
