#include "binding/NumericTypeOMClass.h"

#include <string_view>

#include "binding/TypeOMClasses.h"
#include "binding/divide_method.h"
#include "binding/enum_columns.h"
#include "binding/methods.h"
#include "binding/properties.h"

namespace {

using EmbeddedTypeSystem::NumericType;
using namespace datatypes;

constexpr char label[] = "NUMERICTYPE";

template <auto get, auto set>
constexpr PropertyFunctions ofType = field<NumericType, get, set>();

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
    {"WordLength",            int32,            "sgSGzclv", ofType<&NumericType::getWordLength, &NumericType::setWordLength>},
    {"FractionLength",        int32,            "sgSGz-lv", ofType<&NumericType::getFractionLength, &NumericType::setFractionLength>},
    {"BinaryPoint",           int32,            "sgSGz-lv", ofType<&NumericType::getFractionLength, &NumericType::setFractionLength>},
    {"Slope",                 real,             "sgSGz-lv", ofType<&NumericType::getSlope, &NumericType::setSlope>},
    {"FixedExponent",         int32,            "sgSGzclv", ofType<&NumericType::getFixedExponent, &NumericType::setFixedExponent>},
    {"SlopeAdjustmentFactor", real,             "sgSGzclv", ofType<&NumericType::getSlopeAdjustmentFactor, &NumericType::setSlopeAdjustmentFactor>},
    {"Bias",                  real,             "sgSGzclv", ofType<&NumericType::getBias, &NumericType::setBias>},
    {"DataTypeOverride",      dataTypeOverride, "sgSGzclv", ofType<&NumericType::getDataTypeOverride, &NumericType::setDataTypeOverride>},
};
// clang-format on

// Name, how its record is made.
constexpr MethodRow typeMethods[] = {
    {"divide", plain<divideSignatures, giveQuotient>},
};

}  // namespace

void NumericTypeOMClass::fill() {
    setSuperClass(ScalarTypeOMC::getInstance());
    addProperties(*this, typeProperties);
    addMethods(*this, typeMethods);
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
