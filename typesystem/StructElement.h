// One element of a structure: an identifier and a type.
#pragma once

#include <string>

#include "host/export.h"
#include "typesystem/PartReference.h"

namespace EmbeddedTypeSystem {

class TOLVANE_API StructElement {
 public:
    /// Makes an element without type and identifier.
    StructElement() = default;
    /// Sets both (null leaves either unset); raises as the setters.
    StructElement(Type* type, const char* identifier);
    StructElement(const StructElement& other);
    StructElement& operator=(const StructElement& other);
    virtual ~StructElement();

    /// As Type::setIdentifier.
    void setIdentifier(const char* identifier);
    /// Returns the identifier, or null.
    const char* getIdentifier() const;
    /// Takes a complete type that isn't a structure with this element in it; makes a host handle for the type, and
    /// holds that. For null, raises "embeddedtype:elementtype:nulltype" unless there is no type yet. Also raises
    /// "embeddedtype:elementtype:incompletetype", "embeddedtype:elementtype:invalidtype" and
    /// "embeddedtype:class:notRegistered".
    void setType(Type* type);
    /// Returns the type, or null.
    Type* getType() const { return mType.get(); }
    /// Returns whether both are set.
    bool isComplete() const { return getType() != nullptr && getIdentifier() != nullptr; }

    /// Compares types and identifiers; an unset identifier equals an empty one, and an unset type an unset one.
    bool operator==(const StructElement& other) const;

    /// The destroy operation of the class of elements, for OMClass::destroyObject.
    static void endWithHandle(OMInterface* interface);

 private:
    friend class TypeCycles;

    std::string mIdentifier;
    PartReference mType;
};

}  // namespace EmbeddedTypeSystem
