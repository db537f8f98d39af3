#include "typesystem/StructElement.h"

#include <string_view>

#include "host/ErrorIdException.h"
#include "host/OMInterface.h"
#include "typesystem/StructType.h"
#include "typesystem/texts.h"

namespace EmbeddedTypeSystem {

StructElement::StructElement(Type* type, const char* identifier) {
    setType(type);
    setIdentifier(identifier);
}

StructElement::StructElement(const StructElement& other) : mIdentifier(other.mIdentifier), mType(other.getType()) {}

StructElement& StructElement::operator=(const StructElement& other) {
    if (this != &other) {
        mIdentifier = other.mIdentifier;
        mType = PartReference(other.getType());
    }
    return *this;
}

StructElement::~StructElement() = default;

void StructElement::setIdentifier(const char* identifier) {
    storeText(mIdentifier, identifier);
}

const char* StructElement::getIdentifier() const {
    return mIdentifier.empty() ? nullptr : mIdentifier.c_str();
}

void StructElement::setType(Type* type) {
    if (type == getType()) {
        return;
    }
    if (type == nullptr) {
        raiseError("embeddedtype:elementtype:nulltype", "Parameter is invalid");
    }
    if (!type->isComplete()) {
        raiseError("embeddedtype:elementtype:incompletetype", "Parameter is not a completely specified type.");
    }
    const auto* structure = dynamic_cast<const StructType*>(type);
    if (structure != nullptr && structure->isElement(this)) {
        raiseError("embeddedtype:elementtype:invalidtype", "Parameter is not a valid element type.");
    }
    type->getOMI();
    mType = PartReference(type);
}

bool StructElement::operator==(const StructElement& other) const {
    if (this == &other) {
        return true;
    }
    if (mIdentifier != other.mIdentifier) {
        return false;
    }
    const Type* const type = getType();
    const Type* const otherType = other.getType();
    return type == nullptr || otherType == nullptr ? type == otherType : *type == *otherType;
}

void StructElement::endWithHandle(OMInterface* interface) {
    delete static_cast<StructElement*>(interface->getObject());
}

}  // namespace EmbeddedTypeSystem
