// Objects and the host's handles around them. A handle owns its object; it never points at a part of another object.
#pragma once

#include <concepts>
#include <memory>
#include <string>

#include "descriptors/NumericType.h"
#include "host/ErrorIdException.h"
#include "host/OMClass.h"
#include "host/OMDataType.h"
#include "host/OMInterface.h"
#include "host/OMInterfaceType.h"
#include "host/OMTypeRepository.h"
#include "host/hv.h"

namespace tolvane::detail {

/// Releases one reference at the end of a scope.
struct HandleReleaser {
    void operator()(OMInterface* handle) const { OMInterface::operator delete(handle); }
};
using HandleOwner = std::unique_ptr<OMInterface, HandleReleaser>;

/// Returns the object that a handle, given as OMInterface, owns.
template <class Object>
Object* objectOf(void* handle) {
    return static_cast<Object*>(static_cast<OMInterface*>(handle)->getObject());
}

/// Puts an object into a new handle of a class; the caller owns the only reference to it. A type stores its handle.
template <class Object>
OMInterface* newHandle(std::unique_ptr<Object> object, OMClass* objectClass) {
    auto* const handle = new OMInterface(object.get(), objectClass, nullptr);
    if constexpr (std::derived_from<Object, EmbeddedTypeSystem::Type>) {
        object->setOMI(handle);
    }
    static_cast<void>(object.release());
    return handle;
}

/// Returns a new reference to the handle inside a host value of a class; `check` accepts the value or raises.
template <class Check>
HandleOwner handleInside(const hvArray* value, const char* className, Check&& check) {
    static_cast<void>(check(value));
    return HandleOwner(
        static_cast<OMInterface*>(omdtConvertFromVelmar(OMTypeRepository::getType(className, true), value)));
}

[[noreturn]] inline void raiseWrongObject(const char* className) {
    raiseError("VELMAR:class:WrongObjectType",
               std::string("Expected an object belonging to class: ") + className + ".");
}

/// Raises "VELMAR:class:WrongObjectType" if the handle is null or not of the class or a descendant.
inline void errorIfNotOfClass(const OMInterface* handle, const char* className) {
    const auto* const type = dynamic_cast<const OMInterfaceType*>(OMTypeRepository::getType(className, true));
    if (handle == nullptr || type == nullptr || type->getClass() == nullptr ||
        !handle->getClass()->isDescendantOf(type->getClass())) {
        raiseWrongObject(className);
    }
}

}  // namespace tolvane::detail
