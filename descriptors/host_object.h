// C++ objects and host values: the object inside a value, and a new value around an object.
#pragma once

#include <concepts>
#include <memory>
#include <string>

#include "host/ErrorIdException.h"
#include "host/OMDataType.h"
#include "host/OMInterface.h"
#include "host/OMInterfaceType.h"
#include "host/OMTypeRepository.h"
#include "host/hv.h"
#include "typesystem/Type.h"

namespace tolvane::detail {

/// Returns the object in the handle that a host value of Object's class holds, null for any other value. The value
/// keeps the handle and thus the object alive; it must outlive its use.
template <class Object>
Object* objectInside(const hvArray* value) {
    const char* const className = Object::getVelmarPackageClassName();
    const OMDataType* const type = hvIsA(value, className) ? OMTypeRepository::getType(className, true) : nullptr;
    if (type == nullptr) {
        return nullptr;
    }
    void* const handle = omdtConvertFromVelmar(type, value);
    auto* const object = handle == nullptr ? nullptr : static_cast<OMInterface*>(handle)->getObject();
    type->releaseValue(handle);
    return static_cast<Object*>(object);
}

/// The kind of reference that a new host value holds: internal, or external like a value of the user's workspace.
enum class HandleOwner { value, workspace };

/// Makes a host value of Object's class around the object, which it owns. Raises "fixedpoint:<class>:notRegistered"
/// before the class is in the package.
template <class Object>
hvArray* hostValueAround(std::unique_ptr<Object> object, HandleOwner owner) {
    const char* const className = Object::getVelmarPackageClassName();
    const auto* const type = dynamic_cast<const OMInterfaceType*>(OMTypeRepository::getType(className, true));
    if (type == nullptr || type->getClass() == nullptr) {
        raiseError(std::string("fixedpoint:") + Object::getVelmarClassName() + ":notRegistered",
                   std::string("The class '") + className + "' is not registered.");
    }
    struct Reference {
        OMInterface* handle;
        ~Reference() { OMInterface::operator delete(handle); }
    };
    const Reference reference{new OMInterface(object.get(), type->getClass(), nullptr)};
    if constexpr (std::derived_from<Object, EmbeddedTypeSystem::Type>) {
        object->setOMI(reference.handle);
    }
    // From here on the handle's class destroys the object.
    static_cast<void>(object.release());
    hvArray* const value = omdtConvertToVelmar(type, reference.handle);
    if (owner == HandleOwner::value) {
        reference.handle->externalToInternal();
    }
    return value;
}

}  // namespace tolvane::detail
