#include "typesystem/OpaqueType.h"

#include <string_view>

#include "typesystem/EmbeddedTypeVisitor.h"
#include "typesystem/MD5CheckSumModEndian.h"
#include "typesystem/class_records.h"
#include "typesystem/texts.h"

namespace EmbeddedTypeSystem {

OpaqueType::OpaqueType(bool makesHandle) {
    if (makesHandle) {
        getOMI();
    }
}

bool OpaqueType::operator==(const Type& other) const {
    if (this == &other) {
        return true;
    }
    return dynamic_cast<const OpaqueType*>(&other) != nullptr && Type::operator==(other) &&
           std::string_view(textOrEmpty(getIdentifier())) == textOrEmpty(other.getIdentifier());
}

void OpaqueType::accept(EmbeddedTypeVisitor* visitor) {
    visitor->visitOpaqueType(this);
}

bool OpaqueType::canBeConvertedTo(const Type* /*other*/) const {
    return false;
}

OMClass* OpaqueType::getOMClass() const {
    return ClassRecordOf<OpaqueType>::get("opaquetype");
}

void OpaqueType::addCheckSum(MD5CheckSumModEndian& sum) const {
    sum.addText("opaque");
    Type::addCheckSum(sum);
}

}  // namespace EmbeddedTypeSystem
