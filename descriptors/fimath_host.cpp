// The host's view of the rules: enumerations as host types, objects in host values, property events.
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "descriptors/fimath.h"
#include "descriptors/host_object.h"
#include "descriptors/property_events.h"
#include "host/EnumStringType.h"
#include "host/ErrorIdException.h"
#include "host/hv.h"

using namespace tolvane::detail;

EnumStringType* fimath::getPrecisionModeEnum() {
    static EnumStringType* const kType =
        EnumStringType::findOrAdd("fimathPrecisionModeEnum", {{0, "Arbitrary"}, {1, "Stepped"}});
    return kType;
}

EnumStringType* fimath::getArithmeticModeEnum() {
    static EnumStringType* const kType = EnumStringType::findOrAdd(
        "fimathArithmeticModeEnum", {{0, "FullPrecision"}, {1, "KeepLSB"}, {2, "KeepMSB"}, {3, "SpecifyPrecision"}});
    return kType;
}

const char* fimath::getVelmarClassName() {
    return "fimath";
}

const char* fimath::getVelmarPackageClassName() {
    static const std::string kName = std::string(embedded::getEmbeddedPackageName()) + "." + getVelmarClassName();
    return kName.c_str();
}

fimath* fimath::getObjFromPrhs(void* handle) {
    return static_cast<fimath*>(static_cast<OMInterface*>(handle)->getObject());
}

fimath& fimath::convertFromVelmarArray(const hvArray* value) {
    fimath* const object = objectInside<fimath>(value);
    if (object == nullptr) {
        raiseError("fixedpoint:fimath:mustBeFimath", "This parameter must be a fimath.");
    }
    return *object;
}

hvArray* fimath::convertToInternalVelmarArray(std::unique_ptr<fimath> object) {
    return hostValueAround(std::move(object), HandleOwner::value);
}

hvArray* fimath::convertToExternalVelmarArray(std::unique_ptr<fimath> object) {
    return hostValueAround(std::move(object), HandleOwner::workspace);
}

void fimath::fimathNotifyFixedPropEvent(OMInterface* interface, int value, const char* property) {
    const std::int32_t sent = value;
    propertyevents::sendPostSet(interface, propertyevents::findProperty(interface, property), &sent);
}

void fimath::fimathNotifyFixedPropEvent(OMInterface* interface, double value, const char* property) {
    propertyevents::sendPostSet(interface, propertyevents::findProperty(interface, property), &value);
}

void fimath::fimathNotifyFixedPropsStringPropEvent(OMInterface* interface, const char* text, const char* property) {
    propertyevents::sendPostSet(interface, propertyevents::findProperty(interface, property), text);
}
