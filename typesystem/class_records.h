// The class record of each kind of type. The records are built in binding/, a higher layer, which registers here how to
// get each one; registration makes no host call, so it may happen while the library is loaded.
#pragma once

#include <string>

#include "host/export.h"
#include "numbers/services.h"

class OMClass;

namespace EmbeddedTypeSystem {

class StructElement;

template <class Described>
class TOLVANE_API ClassRecordOf {
 public:
    /// Returns the record, built on first use.
    using Getter = OMClass* (*)();

    static void set(Getter getter) { sGetter = getter; }
    /// Raises "embeddedtype:class:notRegistered", and any error from building the record.
    static OMClass* get(const char* className) {
        if (sGetter == nullptr) {
            tolvane::detail::raise("embeddedtype:class:notRegistered",
                                   std::string("The class 'embedded.") + className + "' is not registered.");
        }
        return sGetter();
    }

 private:
    static inline constinit Getter sGetter = nullptr;
};

}  // namespace EmbeddedTypeSystem
