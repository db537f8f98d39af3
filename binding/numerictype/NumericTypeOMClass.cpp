#include "binding/numerictype/NumericTypeOMClass.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "binding/frame/EmbeddedFiSetMethodInfo.h"
#include "binding/frame/descriptor_methods.h"
#include "binding/frame/enum_columns.h"
#include "binding/frame/methods.h"
#include "binding/frame/properties.h"
#include "binding/numerictype/divide_method.h"
#include "binding/types/type_classes.h"

using namespace tolvane::detail;

namespace {

using EmbeddedTypeSystem::NumericType;
using namespace datatypes;

constexpr char label[] = "NUMERICTYPE";

/// Notifies the listeners of a handle of other properties with a new value after a write.
using Tell = void (*)(OMInterface* handle, const NumericType* type);

template <auto get, auto set, Tell... told>
constexpr PropertyFunctions ofType = {reader<NumericType, get>, [](const PropertyCall& call, const void* value) {
                                          writer<NumericType, get, set>(call, value);
                                          (told(call.handle, &call.object<NumericType>()), ...);
                                      }};

constexpr Tell wordLengthText = &NumericType::NotifyPrivDLGWordLengthStringPropEvent;
constexpr Tell fractionLengthText = &NumericType::NotifyPrivDLGFractionLengthStringPropEvent;
constexpr Tell slopeText = &NumericType::NotifyPrivDLGSlopeStringPropEvent;
constexpr Tell biasText = &NumericType::NotifyPrivDLGBiasStringPropEvent;

void wordLength(OMInterface* handle, const NumericType* type) {
    NumericType::NotifyWordLengthPropEvent(handle, type->getWordLength());
}
void fractionLength(OMInterface* handle, const NumericType* type) {
    NumericType::NotifyFractionLengthPropEvent(handle, type->getFractionLength());
}
void slope(OMInterface* handle, const NumericType* type) {
    NumericType::NotifySlopePropEvent(handle, type->getSlope());
}
void bias(OMInterface* handle, const NumericType* type) {
    NumericType::NotifyBiasPropEvent(handle, type->getBias());
}

/// A text form of the type, for a dialog.
template <auto write>
std::string dialogText(const NumericType& type) {
    char text[31];
    std::invoke(write, type, text);
    return text;
}

void* getMode(const PropertyCall& call) {
    warnOfDataTypeMode(call);
    return reader<NumericType, &NumericType::getDataTypeMode>(call);
}
void setMode(NumericType& type, NumericType::DataTypeModeEnum mode) {
    type.setDataTypeMode(mode, true);
}
hvArray* getSigned(const NumericType& type) {
    return type.getSpecifiedSignAsHvArray();
}
void setSigned(NumericType& type, const hvArray* value) {
    type.setSpecifiedSign(value, label);
}
hvArray* getSignednessBool(const NumericType& type) {
    return type.getSignednessBool();
}
void setSignednessBool(NumericType& type, const hvArray* value) {
    type.setSignednessBool(value, label);
}

// clang-format off
// Name, data type, access (the letters of AccessColumn), how it is read and written.
constexpr PropertyRow typeProperties[] = {
    {"DataTypeMode",          dataTypeMode,     "sgSGzclv", {getMode, writer<NumericType, &NumericType::getDataTypeMode, setMode>}},
    {"DataTypeModeNoWarning", dataTypeMode,     "-g------", {reader<NumericType, &NumericType::getDataTypeMode>, nullptr}},
    {"DataType",              dataType,         "sgSGz-lv", ofType<&NumericType::getDataType, &NumericType::setDataType>},
    {"Scaling",               scaling,          "sgSGz-lv", ofType<&NumericType::getScaling, &NumericType::setScaling>},
    {"Signed",                array,            "sgS-z---", ofType<getSigned, setSigned>},
    {"SignednessBool",        array,            "sgSGzclv", ofType<getSignednessBool, setSignednessBool>},
    {"Signedness",            signedness,       "sgS----v", ofType<&NumericType::getSignedness, &NumericType::setSignedness>},
    {"WordLength",            int32,            "sgSGzclv", ofType<&NumericType::getWordLength, &NumericType::setWordLength, wordLengthText>},
    {"FractionLength",        int32,            "sgSGz-lv", ofType<&NumericType::getFractionLength, &NumericType::setFractionLength, fractionLengthText, slopeText>},
    {"BinaryPoint",           int32,            "sgSGz-lv", ofType<&NumericType::getFractionLength, &NumericType::setFractionLength, fractionLengthText, slopeText>},
    {"Slope",                 real,             "sgSGz-lv", ofType<&NumericType::getSlope, &NumericType::setSlope, fractionLengthText, slopeText>},
    {"FixedExponent",         int32,            "sgSGzclv", ofType<&NumericType::getFixedExponent, &NumericType::setFixedExponent, fractionLengthText, slopeText>},
    {"SlopeAdjustmentFactor", real,             "sgSGzclv", ofType<&NumericType::getSlopeAdjustmentFactor, &NumericType::setSlopeAdjustmentFactor, slopeText>},
    {"Bias",                  real,             "sgSGzclv", ofType<&NumericType::getBias, &NumericType::setBias, slopeText, biasText>},
    {"DataTypeOverride",      dataTypeOverride, "sgSGzclv", ofType<&NumericType::getDataTypeOverride, &NumericType::setDataTypeOverride>},
    {"PrivDLGWordLengthString",     text, "sgSG--l-", ofType<dialogText<&NumericType::getWordLengthString>, &NumericType::setWordLengthString, wordLength>},
    {"PrivDLGFractionLengthString", text, "sgSG--l-", ofType<dialogText<&NumericType::getFractionLengthString>, &NumericType::setFractionLengthString, fractionLength, slope>},
    {"PrivDLGSlopeString",          text, "sgSG--l-", ofType<dialogText<&NumericType::getSlopeString>, &NumericType::setSlopeString, fractionLength, slope>},
    {"PrivDLGBiasString",           text, "sgSG--l-", ofType<dialogText<&NumericType::getBiasString>, &NumericType::setBiasString, bias>},
};
// clang-format on

constexpr DataTypeColumn typeHandle = datatypes::object<NumericType>;

constexpr SignatureColumn typeAndTypeToBool[] = {takes(typeHandle, typeHandle).to(boolean)};
constexpr SignatureColumn handleAndValue[] = {takes(handle, real)};
constexpr SignatureColumn arrayByTypeToArray[] = {takes(array, typeHandle).to(array),
                                                  takes(array, typeHandle, object<fimath>).to(array)};

bool isNumericType(const NumericType& /*type*/) {
    return true;
}
template <NumericType::ScalingEnum scaling>
bool hasScaling(const NumericType& type) {
    return type.getScaling() == scaling;
}
std::string expressionOf(const NumericType& type) {
    return type.tostring(NumericType::getVelmarClassName());
}

void compare(const MethodCall& call) {
    call.give(Shape<bool>::box(call.object<NumericType>(0).isequivalent(call.object<NumericType>(1))));
}

void setBestFractionLength(const MethodCall& call) {
    call.objectInHandle<NumericType>(0).fxpBestPrecisionExponent(Shape<double>::unbox(call.arguments[1]));
    call.giveNothing();
}

template <auto question>
std::unique_ptr<OMMethodInfo> asked(const char* name) {
    return unary<NumericType, question>(name);
}

// Name, how its record is made.
constexpr MethodRow typeMethods[] = {
    {"disp", unaryOfHandle<NumericType, &NumericType::disp>},
    {"isequivalent", plain<typeAndTypeToBool, compare>},
    {"tostring", unaryOfHandle<NumericType, expressionOf>},
    {"qpointstr", unaryOfHandle<NumericType, &NumericType::qpointstr>},
    {"isnumerictype", asked<isNumericType>},
    {"isdouble", asked<&NumericType::isDouble>},
    {"issingle", asked<&NumericType::isSingle>},
    {"isboolean", asked<&NumericType::isBoolean>},
    {"isfloat", asked<&NumericType::isFloat>},
    {"isfixed", asked<&NumericType::isFixed>},
    {"isscaledtype", asked<&NumericType::isScaledType>},
    {"isscaleddouble", asked<&NumericType::isScaledDouble>},
    {"isscalingbinarypoint", asked<hasScaling<NumericType::ScalingEnum::BinaryPoint>>},
    {"isscalingslopebias", asked<hasScaling<NumericType::ScalingEnum::SlopeBias>>},
    {"isscalingunspecified", asked<hasScaling<NumericType::ScalingEnum::Unspecified>>},
    {"SetBestFractionLength", plain<handleAndValue, setBestFractionLength>},
    {"sqrt", plainOnAny<arrayByTypeToArray, giveHostSqrt>},
    {"transpose", plain<arrayToArray, raiseNotDefined<NumericType, transposeName>>},
    {"ctranspose", plain<arrayToArray, raiseNotDefined<NumericType, ctransposeName>>},
    {"set", setOf<label>},
    {"isbinarypointscalingset", asked<&NumericType::isBinaryPointScalingSet>},
    {"isslopebiasscalingset", asked<&NumericType::isSlopeBiasScalingSet>},
    {"isslopebiasscaled", asked<&NumericType::isSlopeBiasScaled>},
};

constexpr MethodRow typeFiMethods[] = {
    {"divide", plain<divideSignatures, giveQuotient>},
};

}  // namespace

void NumericTypeOMClass::fill() {
    setSuperClass(ScalarTypeOMC::getInstance());
    addProperties(*this, typeProperties);
    addMethods(*this, typeMethods);
}

void NumericTypeOMClass::fillFiMethods() {
    addMethods(*this, typeFiMethods);
}

OMInterface* NumericTypeOMClass::createClassSpecificObject(OMInterface* /*interface*/, void** /*arguments*/,
                                                           int count) {
    errorIfMoreThan(0, count);
    return wrap(std::make_unique<NumericType>());
}

void NumericTypeOMClass::respondToMethodAddedFromVELMAR(OMMethodInfo* method) {
    const std::string_view name = method->getName();
    if (name == "abs") {
        method->setDispatchedOnFirstArgument(false);
    } else if (name == "loadobj") {
        method->setStatic(true);
    }
}
