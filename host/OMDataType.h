// A data type of the object model: the form in which property values and method arguments of that type are passed, and
// their conversion to and from host arrays.
//
// A value is passed by an untyped pointer. Each type defines the form behind it: "int32" and enumerations an int32,
// "double" a double, "bool" a byte, "string" a text from bsMalloc (null for the empty one), "VELMAR array" an hvArray,
// a class or "handle" an OMInterface. Types live in the OMTypeRepository, which owns them.
#pragma once

#include <string>

#include "host/export.h"

struct hvArray;

/// The conversion object of a data type.
class TOLVANE_HOST_API OMVelmarConversion {
 public:
    virtual ~OMVelmarConversion();
    /// Makes a new array from a value; the caller keeps the value and owns the array.
    virtual hvArray* convertToVelmar(const void* value) const = 0;
    /// Makes a new value that the caller releases with OMDataType::releaseValue. An array that can't be converted
    /// raises "VELMAR:datatype:badValue".
    virtual void* convertFromVelmar(const hvArray* array) const = 0;
};

class TOLVANE_HOST_API OMDataType : private OMVelmarConversion {
 public:
    explicit OMDataType(std::string name);
    ~OMDataType() override;
    OMDataType(const OMDataType&) = delete;
    OMDataType& operator=(const OMDataType&) = delete;

    const char* getName() const { return mName.c_str(); }
    const OMVelmarConversion* getVelmarConversion() const { return this; }
    /// Destroys a value made by this type's conversion or by a property of this type; null is harmless.
    virtual void releaseValue(void* value) const = 0;

    /// Raises "VELMAR:datatype:badValue".
    [[noreturn]] void raiseBadValue() const;

 private:
    std::string mName;
};

/// As the to-array operation of the type's conversion object.
TOLVANE_HOST_API hvArray* omdtConvertToVelmar(const OMDataType* type, const void* value);
/// As the from-array operation of the type's conversion object.
TOLVANE_HOST_API void* omdtConvertFromVelmar(const OMDataType* type, const hvArray* array);
