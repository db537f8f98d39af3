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

constexpr char kLabel[] = "NUMERICTYPE";

/// Notifies the listeners of a handle of other properties with a new value after a write.
using Tell = void (*)(OMInterface* handle, const NumericType* type);

template <auto get, auto set, Tell... told>
constexpr PropertyFunctions kOfType = {reader<NumericType, get>, [](const PropertyCall& call, const void* value) {
                                           writer<NumericType, get, set>(call, value);
                                           (told(call.handle, &call.object<NumericType>()), ...);
                                       }};

constexpr Tell kWordLengthText = &NumericType::NotifyPrivDLGWordLengthStringPropEvent;
constexpr Tell kFractionLengthText = &NumericType::NotifyPrivDLGFractionLengthStringPropEvent;
constexpr Tell kSlopeText = &NumericType::NotifyPrivDLGSlopeStringPropEvent;
constexpr Tell kBiasText = &NumericType::NotifyPrivDLGBiasStringPropEvent;

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
    type.setSpecifiedSign(value, kLabel);
}
hvArray* getSignednessBool(const NumericType& type) {
    return type.getSignednessBool();
}
void setSignednessBool(NumericType& type, const hvArray* value) {
    type.setSignednessBool(value, kLabel);
}

// clang-format off
// Name, data type, access (the letters of AccessColumn), how it is read and written.
constexpr PropertyRow kTypeProperties[] = {
    {"DataTypeMode",          kDataTypeMode,     "sgSGzclv", {getMode, writer<NumericType, &NumericType::getDataTypeMode, setMode>}},
    {"DataTypeModeNoWarning", kDataTypeMode,     "-g------", {reader<NumericType, &NumericType::getDataTypeMode>, nullptr}},
    {"DataType",              kDataType,         "sgSGz-lv", kOfType<&NumericType::getDataType, &NumericType::setDataType>},
    {"Scaling",               kScaling,          "sgSGz-lv", kOfType<&NumericType::getScaling, &NumericType::setScaling>},
    {"Signed",                kArray,            "sgS-z---", kOfType<getSigned, setSigned>},
    {"SignednessBool",        kArray,            "sgSGzclv", kOfType<getSignednessBool, setSignednessBool>},
    {"Signedness",            kSignedness,       "sgS----v", kOfType<&NumericType::getSignedness, &NumericType::setSignedness>},
    {"WordLength",            kInt32,            "sgSGzclv", kOfType<&NumericType::getWordLength, &NumericType::setWordLength, kWordLengthText>},
    {"FractionLength",        kInt32,            "sgSGz-lv", kOfType<&NumericType::getFractionLength, &NumericType::setFractionLength, kFractionLengthText, kSlopeText>},
    {"BinaryPoint",           kInt32,            "sgSGz-lv", kOfType<&NumericType::getFractionLength, &NumericType::setFractionLength, kFractionLengthText, kSlopeText>},
    {"Slope",                 kReal,             "sgSGz-lv", kOfType<&NumericType::getSlope, &NumericType::setSlope, kFractionLengthText, kSlopeText>},
    {"FixedExponent",         kInt32,            "sgSGzclv", kOfType<&NumericType::getFixedExponent, &NumericType::setFixedExponent, kFractionLengthText, kSlopeText>},
    {"SlopeAdjustmentFactor", kReal,             "sgSGzclv", kOfType<&NumericType::getSlopeAdjustmentFactor, &NumericType::setSlopeAdjustmentFactor, kSlopeText>},
    {"Bias",                  kReal,             "sgSGzclv", kOfType<&NumericType::getBias, &NumericType::setBias, kSlopeText, kBiasText>},
    {"DataTypeOverride",      kDataTypeOverride, "sgSGzclv", kOfType<&NumericType::getDataTypeOverride, &NumericType::setDataTypeOverride>},
    {"PrivDLGWordLengthString",     kText, "sgSG--l-", kOfType<dialogText<&NumericType::getWordLengthString>, &NumericType::setWordLengthString, wordLength>},
    {"PrivDLGFractionLengthString", kText, "sgSG--l-", kOfType<dialogText<&NumericType::getFractionLengthString>, &NumericType::setFractionLengthString, fractionLength, slope>},
    {"PrivDLGSlopeString",          kText, "sgSG--l-", kOfType<dialogText<&NumericType::getSlopeString>, &NumericType::setSlopeString, fractionLength, slope>},
    {"PrivDLGBiasString",           kText, "sgSG--l-", kOfType<dialogText<&NumericType::getBiasString>, &NumericType::setBiasString, bias>},
};
// clang-format on

constexpr DataTypeColumn kTypeHandle = datatypes::kObject<NumericType>;

constexpr SignatureColumn kTypeAndTypeToBool[] = {takes(kTypeHandle, kTypeHandle).to(kBoolean)};
constexpr SignatureColumn kHandleAndValue[] = {takes(kHandle, kReal)};
constexpr SignatureColumn kArrayByTypeToArray[] = {takes(kArray, kTypeHandle).to(kArray),
                                                   takes(kArray, kTypeHandle, kObject<fimath>).to(kArray)};

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
constexpr MethodRow kTypeMethods[] = {
    {"disp", unaryOfHandle<NumericType, &NumericType::disp>},
    {"isequivalent", plain<kTypeAndTypeToBool, compare>},
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
    {"SetBestFractionLength", plain<kHandleAndValue, setBestFractionLength>},
    {"sqrt", plainOnAny<kArrayByTypeToArray, giveHostSqrt>},
    {"transpose", plain<kArrayToArray, raiseNotDefined<NumericType, kTransposeName>>},
    {"ctranspose", plain<kArrayToArray, raiseNotDefined<NumericType, kCtransposeName>>},
    {"set", setOf<kLabel>},
    {"isbinarypointscalingset", asked<&NumericType::isBinaryPointScalingSet>},
    {"isslopebiasscalingset", asked<&NumericType::isSlopeBiasScalingSet>},
    {"isslopebiasscaled", asked<&NumericType::isSlopeBiasScaled>},
};

constexpr MethodRow kTypeFiMethods[] = {
    {"divide", plain<kDivideSignatures, giveQuotient>},
};

}  // namespace

void NumericTypeOMClass::fill() {
    setSuperClass(ScalarTypeOMC::getInstance());
    addProperties(*this, kTypeProperties);
    addMethods(*this, kTypeMethods);
}

void NumericTypeOMClass::fillFiMethods() {
    addMethods(*this, kTypeFiMethods);
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
