// The data types by name, for the life of the process.
//
// Built in are "VELMAR array", "int32", "int" (of the same form), "double", "bool", "string", "handle", "real point",
// "string vector" and "handle vector". The type of a class is available under its full name, such as "embedded.fi", as
// soon as the class is in a package.
#pragma once

#include <memory>

#include "host/OMDataType.h"

class OMClass;

class TOLVANE_HOST_API OMTypeRepository {
 public:
    OMTypeRepository() = delete;

    /// Returns the type, owned by the repository, or null. Finds types of classes only with `withClasses`.
    static OMDataType* getType(const char* name, bool withClasses);
    /// Registers a type, takes ownership of it, and returns it. A name in use raises "VELMAR:datatype:nameInUse".
    static OMDataType* addType(std::unique_ptr<OMDataType> type);

 private:
    friend class OMApplication;
    static void addClass(const std::string& fullName, OMClass* objectClass);
    static void removeClass(const std::string& fullName);
};
