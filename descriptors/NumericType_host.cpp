// The host's view of a type: signs as host arrays, enumerations as host types, dialog texts, and property events.
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "descriptors/NumericType.h"
#include "descriptors/NumericType_tables.h"
#include "descriptors/enum_types.h"
#include "descriptors/host_object.h"
#include "descriptors/int_bounds.h"
#include "descriptors/property_events.h"
#include "host/ErrorIdException.h"
#include "host/hi.h"
#include "host/hv.h"

using namespace tolvane::detail;

namespace EmbeddedTypeSystem {

namespace {

using intbounds::truncated;
using namespace numerictypetables;
using propertyevents::findProperty;
using propertyevents::sendPostSet;

bool isNumericOrLogical(const hvArray* value) {
    return hvIsNumeric(value) || hvIsLogical(value);
}

/// Keeps the host quiet about a failing evaluation.
class QuietErrors {
 public:
    QuietErrors() : mOldMode(hvSetErrorMode(-1)) {}
    ~QuietErrors() { hvSetErrorMode(mOldMode); }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

 private:
    int mOldMode;
};

/// Passes the number to which a text evaluates, if there is one, to the action.
template <class Action>
void withNumber(const char* text, Action&& action) {
    hvArray* result = nullptr;
    const int status = NumericType::EvalString(result, text);
    const hvArrayOwner owner(result);
    if (status == 0 && hvIsNumeric(result)) {
        action(hvGetScalar(result));
    }
}

template <class Value>
void sendValue(OMInterface* interface, const char* name, const Value& newValue) {
    sendPostSet(interface, findProperty(interface, name), static_cast<const void*>(&newValue));
}

/// A text is passed as its characters. The buffer holds the longest of the text forms.
void sendText(OMInterface* interface, const char* name, const NumericType* type,
              void (*write)(char* buffer, const NumericType* type)) {
    char text[31];
    write(text, type);
    sendPostSet(interface, findProperty(interface, name), text);
}

/// A sign is passed as a byte, or as a logical array if the record has the type that also allows the empty sign.
void sendSign(OMInterface* interface, const char* name, bool isSigned) {
    const OMPropInfo* property = findProperty(interface, name);
    if (property != nullptr && std::string_view(property->getDataType()->getName()) == "VELMAR array") {
        const hvArrayOwner array(hvCreateLogicalScalar(isSigned));
        sendPostSet(interface, property, array.get());
    } else {
        sendPostSet(interface, property, static_cast<const void*>(&isSigned));
    }
}

}  // namespace

hvArray* NumericType::getSignednessBool() const {
    return isUnspecifiedSign() ? hvCreateLogicalMatrix(0, 0) : hvCreateLogicalScalar(isSigned());
}

hvArray* NumericType::getSignednessAsHvArray() const {
    return hvCreateString(getSignednessString());
}

hvArray* NumericType::getSpecifiedSignAsHvArray() const {
    return hvCreateLogicalScalar(getSpecifiedSign());
}

bool NumericType::getIsSignedFromHvArray(const hvArray* value, const char* name) {
    // An absent array has no class.
    if (!isNumericOrLogical(value) || !hvIsScalar(value) || hvIsComplex(value)) {
        throwSignedUnsignedException(name);
    }
    const double sign = hvGetScalar(value);
    if (sign != 0.0 && sign != 1.0) {
        throwSignedUnsignedException(name);
    }
    return sign == 1.0;
}

NumericType& NumericType::convertFromVelmarArray(const hvArray* value) {
    auto* const object = objectInside<NumericType>(value);
    if (object == nullptr) {
        raiseError("fixedpoint:numerictype:notnumerictype", "This parameter must be a numerictype.");
    }
    return *object;
}

hvArray* NumericType::convertToInternalVelmarArray(std::unique_ptr<NumericType> type) {
    return hostValueAround(std::move(type), HandleOwner::value);
}

hvArray* NumericType::convertToExternalVelmarArray(std::unique_ptr<NumericType> type) {
    return hostValueAround(std::move(type), HandleOwner::workspace);
}

NumericType::Signedness NumericType::getSignednessBoolFromHvArray(const hvArray* value, const char* name) {
    if (hvIsEmpty(value)) {
        return Signedness::Auto;
    }
    if (!isNumericOrLogical(value)) {
        throwSignednessBoolException(name);
    }
    return getIsSignedFromHvArray(value, name) ? Signedness::Signed : Signedness::Unsigned;
}

void NumericType::setSpecifiedSign(const hvArray* value, const char* name) {
    setSigned(getIsSignedFromHvArray(value, name));
}

void NumericType::setSignednessBool(const hvArray* value, const char* name) {
    setSignedness(getSignednessBoolFromHvArray(value, name));
}

EnumStringType* NumericType::getDataTypeModeEnum() {
    static EnumStringType* const kType = enumType("NumericTypeDataTypeModeEnum", kModes);
    return kType;
}
EnumStringType* NumericType::getDataTypeEnum() {
    static EnumStringType* const kType = enumType("NumericTypeDataTypeEnum", kDataTypes);
    return kType;
}
EnumStringType* NumericType::getScalingEnum() {
    static EnumStringType* const kType = enumType("NumericTypeScalingEnum", kScalings);
    return kType;
}
EnumStringType* NumericType::getSignednessEnum() {
    static EnumStringType* const kType = enumType("embedded numerictype Signedness", kSigns);
    return kType;
}
EnumStringType* NumericType::getDataTypeOverrideEnum() {
    static EnumStringType* const kType = enumType("DataTypeOverride", kOverrides);
    return kType;
}

int NumericType::EvalString(hvArray*& result, const char* text) {
    result = nullptr;
    const hvArrayOwner expression(hvCreateString(text));
    hvArray* arguments[] = {expression.get()};
    const QuietErrors quiet;
    return hiCallFcnWithTrap(1, &result, 1, arguments, "eval");
}

void NumericType::setWordLengthString(const char* text) {
    withNumber(text, [this](double value) { setWordLength(truncated(value)); });
}
void NumericType::setFractionLengthString(const char* text) {
    withNumber(text, [this](double value) { setFixedExponent(negated(truncated(value))); });
}
void NumericType::setSlopeString(const char* text) {
    withNumber(text, [this](double value) { setSlope(value); });
}
void NumericType::setBiasString(const char* text) {
    withNumber(text, [this](double value) { setBias(value); });
}

void NumericType::NotifyWordLengthPropEvent(OMInterface* interface, int value) {
    sendValue(interface, "WordLength", value);
}
void NumericType::NotifyFractionLengthPropEvent(OMInterface* interface, int value) {
    sendValue(interface, "FractionLength", value);
}
void NumericType::NotifySlopePropEvent(OMInterface* interface, double value) {
    sendValue(interface, "Slope", value);
}
void NumericType::NotifyBiasPropEvent(OMInterface* interface, double value) {
    sendValue(interface, "Bias", value);
}
void NumericType::NotifySignedPropEvent(OMInterface* interface, bool value) {
    sendSign(interface, "Signed", value);
}
void NumericType::NotifyPrivDLGWordLengthStringPropEvent(OMInterface* interface, const NumericType* type) {
    sendText(interface, "PrivDLGWordLengthString", type, GetWordLengthString);
}
void NumericType::NotifyPrivDLGFractionLengthStringPropEvent(OMInterface* interface, const NumericType* type) {
    sendText(interface, "PrivDLGFractionLengthString", type, GetFractionLengthString);
}
void NumericType::NotifyPrivDLGSlopeStringPropEvent(OMInterface* interface, const NumericType* type) {
    sendText(interface, "PrivDLGSlopeString", type, GetSlopeString);
}
void NumericType::NotifyPrivDLGBiasStringPropEvent(OMInterface* interface, const NumericType* type) {
    sendText(interface, "PrivDLGBiasString", type, GetBiasString);
}
void NumericType::NotifyPrivDLGSignedPropEvent(OMInterface* interface, const NumericType* type) {
    sendSign(interface, "PrivDLGSigned", type->isSigned());
}

}  // namespace EmbeddedTypeSystem
