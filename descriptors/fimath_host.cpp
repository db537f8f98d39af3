// The host's view of the rules: enumerations as host types, objects in host values, property events.
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "descriptors/enum_texts.h"
#include "descriptors/enum_types.h"
#include "descriptors/fimath.h"
#include "descriptors/host_object.h"
#include "descriptors/int_bounds.h"
#include "descriptors/property_events.h"
#include "host/ErrorIdException.h"
#include "host/hv.h"

using namespace tolvane::detail;

EnumStringType* fimath::getPrecisionModeEnum() {
    static EnumStringType* const kType = enumType("fimathPrecisionModeEnum", enumtexts::kPrecisionModes);
    return kType;
}

EnumStringType* fimath::getArithmeticModeEnum() {
    static EnumStringType* const kType = enumType("fimathArithmeticModeEnum", enumtexts::kArithmeticModes);
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

fimath::fimath(const hvArray* value) : fimath(convertFromVelmarArray(value)) {}

bool fimath::setCStyle(const hvArray* value) {
    constexpr int kDefaultWordLength = 32;
    const bool isOfNumbers = hvIsNumeric(value) || hvIsLogical(value);
    const bool isEmpty = hvIsEmpty(value);
    // The scalar is read last, since other classes have none.
    if (!isOfNumbers || (!isEmpty && (!hvIsScalar(value) || std::isnan(hvGetScalar(value))))) {
        raiseError("fixedpoint:fimath:cstyle:badvalue", "Word length must be scalar integer.");
    }
    const int wordLength = isEmpty ? kDefaultWordLength : intbounds::truncated(hvGetScalar(value));
    if (wordLength != 0) {
        // 1 is a logical true and requests the default preset.
        setCStyle(wordLength == 1 ? kDefaultWordLength : wordLength);
    }
    return wordLength != 0;
}

hvArray* fimath::getCStyle() const {
    return hvCreateDoubleScalar(isCStyle() ? 1.0 : 0.0);
}
