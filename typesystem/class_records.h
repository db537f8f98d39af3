// The class record of each kind of type. The records are built in binding/, on a higher layer, which tells here how to
// get each; the telling makes no host call, so that it may happen while the library is loaded.
#pragma once

#include <string>

#include "host/ErrorIdException.h"

class OMClass;

namespace EmbeddedTypeSystem {

class StructElement;

template <class Described>
class ClassRecordOf {
 public:
    /// Returns the record, and builds it on first use.
    using Getter = OMClass* (*)();

    static void set(Getter getter) { sGetter = getter; }
    /// Raises "embeddedtype:class:notRegistered", and what building the record raises.
    static OMClass* get(const char* className) {
        if (sGetter == nullptr) {
            raiseError("embeddedtype:class:notRegistered",
                       std::string("The class 'embedded.") + className + "' is not registered.");
        }
        return sGetter();
    }

 private:
    static inline constinit Getter sGetter = nullptr;
};

}  // namespace EmbeddedTypeSystem
