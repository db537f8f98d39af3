#include "binding/handles.h"

#include "host/ErrorIdException.h"

EmbeddedTypeSystem::NumericType& numericTypeFromVelmarArray(const hvArray* value) {
    using EmbeddedTypeSystem::NumericType;
    const char* const className = NumericType::getVelmarPackageClassName();
    const OMDataType* const type = hvIsA(value, className) ? OMTypeRepository::getType(className, true) : nullptr;
    const HandleOwner handle(type == nullptr ? nullptr : static_cast<OMInterface*>(omdtConvertFromVelmar(type, value)));
    if (!handle || handle->getObject() == nullptr) {
        raiseError("fixedpoint:numerictype:mustBeNumericType", "This parameter must be a numerictype.");
    }
    // The array keeps the handle.
    return *objectOf<NumericType>(handle.get());
}
