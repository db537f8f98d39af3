// The C++ object inside a host value.
#pragma once

#include "host/OMDataType.h"
#include "host/OMInterface.h"
#include "host/OMTypeRepository.h"
#include "host/hv.h"

/// Returns the object in the handle that a host value of Object's class holds, null for any other value. The value
/// keeps the handle and so the object; it must outlive its use.
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
