#include "typesystem/VoidType.h"

#include "typesystem/EmbeddedTypeVisitor.h"
#include "typesystem/MD5CheckSumModEndian.h"
#include "typesystem/class_records.h"

namespace EmbeddedTypeSystem {

VoidType::VoidType(bool makesHandle) {
    if (makesHandle) {
        getOMI();
    }
}

bool VoidType::operator==(const Type& other) const {
    return this == &other || (dynamic_cast<const VoidType*>(&other) != nullptr && Type::operator==(other));
}

void VoidType::accept(EmbeddedTypeVisitor* visitor) {
    visitor->visitVoidType(this);
}

bool VoidType::canBeConvertedTo(const Type* /*other*/) const {
    return true;
}

OMClass* VoidType::getOMClass() const {
    return ClassRecordOf<VoidType>::get("voidtype");
}

void VoidType::addCheckSum(MD5CheckSumModEndian& sum) const {
    sum.addText("void");
    Type::addCheckSum(sum);
}

}  // namespace EmbeddedTypeSystem
