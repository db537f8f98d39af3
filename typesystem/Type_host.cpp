// The handles that a host holds on descriptors.
#include "host/OMInterface.h"
#include "typesystem/Type.h"

namespace EmbeddedTypeSystem {

OMInterface* Type::getOMI() {
    if (mInterface == nullptr) {
        mInterface = new OMInterface(this, getOMClass(), nullptr);
    }
    return mInterface;
}

void Type::setOMI(OMInterface* interface) {
    OMInterface* const old = mInterface;
    mInterface = interface;
    OMInterface::operator delete(old);
}

void Type::endWithHandle(OMInterface* interface) {
    auto* const type = static_cast<Type*>(interface->getObject());
    if (type == nullptr) {
        return;
    }
    type->mCanDeleteOMI = false;
    if (!type->mBeingDeleted) {
        delete type;
    }
}

}  // namespace EmbeddedTypeSystem
