#include "binding/logs/filogOMClass.h"

#include <memory>
#include <string>

#include "binding/frame/EmbeddedFiSetMethodInfo.h"
#include "binding/frame/enum_columns.h"
#include "binding/frame/methods.h"
#include "binding/frame/properties.h"
#include "binding/numerictype/NumericTypeOMClass.h"

using namespace tolvane::detail;

namespace {

constexpr char label[] = "FILOG";

using EmbeddedTypeSystem::NumericType;
using namespace datatypes;

template <auto get, auto set>
constexpr PropertyFunctions ofLog = field<filog, get, set>();

void setKey(filog& log, const char* key) {
    log.setKey(key);
}
void setTag(filog& log, const char* tag) {
    log.setTag(tag);
}

void* getType(const PropertyCall& call) {
    return NumericTypeOMClass::wrap(std::make_unique<NumericType>(call.object<filog>().getNumericType()));
}
void setType(const PropertyCall& call, const void* value) {
    // A handle is passed as a pointer to void, and the type behind it is only read.
    call.object<filog>().setNumericType(*objectOf<NumericType>(const_cast<void*>(value)));
}

void* getDataTypeMode(const PropertyCall& call) {
    warnOfDataTypeMode(call);
    return reader<filog, &filog::getDataTypeMode>(call);
}

// clang-format off
// Name, data type, access (the letters of AccessColumn), how it is read and written.
constexpr PropertyRow logProperties[] = {
    {"Key",                   text,          "sgSGzclv", ofLog<&filog::getKey, setKey>},
    {"Tag",                   text,          "sgSGzclv", ofLog<&filog::getTag, setTag>},
    {"OperationType",         operationType, "sgSGzclv", ofLog<&filog::getOperationType, &filog::setOperationType>},
    {"numerictype",           object<NumericType>, "-gS-----", {getType, setType}},
    {"DataTypeMode",          dataTypeMode,  "-gSGzclv", {getDataTypeMode, writer<filog, &filog::getDataTypeMode, &filog::setDataTypeMode>}},
    {"DataType",              dataType,      "-gSG--lv", ofLog<&filog::getDataType, &filog::setDataType>},
    {"Scaling",               scaling,       "-gSG--lv", ofLog<&filog::getScaling, &filog::setScaling>},
    {"Signed",                array,         "-gS-zcl-", ofLog<&filog::getSpecifiedSignAsHvArray, &filog::setSpecifiedSign>},
    {"SignednessBool",        array,         "-gS---l-", ofLog<&filog::getSignednessBool, &filog::setSignednessBool>},
    {"Signedness",            signedness,    "-gS---l-", ofLog<&filog::getSignedness, &filog::setSignedness>},
    {"WordLength",            int32,         "-gSGzclv", ofLog<&filog::getWordLength, &filog::setWordLength>},
    {"FractionLength",        int32,         "-gS---lv", ofLog<&filog::getFractionLength, &filog::setFractionLength>},
    {"BinaryPoint",           int32,         "--SG--lv", ofLog<&filog::getFractionLength, &filog::setFractionLength>},
    {"FixedExponent",         int32,         "-gSGzclv", ofLog<&filog::getFixedExponent, &filog::setFixedExponent>},
    {"Slope",                 real,          "-gSG--lv", ofLog<&filog::getSlope, &filog::setSlope>},
    {"SlopeAdjustmentFactor", real,          "-gSGzclv", ofLog<&filog::getSlopeAdjustmentFactor, &filog::setSlopeAdjustmentFactor>},
    {"Bias",                  real,          "-gSGzclv", ofLog<&filog::getBias, &filog::setBias>},
    {"minlog",                real,          "-gSGzcl-", ofLog<&filog::getMinLogAsRealWorldValue, &filog::setMinLogFromRealWorldValue>},
    {"maxlog",                real,          "-gSGzcl-", ofLog<&filog::getMaxLogAsRealWorldValue, &filog::setMaxLogFromRealWorldValue>},
    {"noverflows",            real,          "-gSGzcl-", countField<filog, &filog::getNumberOfOverflows, &filog::setNumberOfOverflows>()},
    {"nunderflows",           real,          "-gSGzcl-", countField<filog, &filog::getNumberOfUnderflows, &filog::setNumberOfUnderflows>()},
};
// clang-format on

constexpr SignatureColumn nothingToArray[] = {takes().to(array)};
constexpr SignatureColumn nothingToNothing[] = {takes()};

void giveLogs(const MethodCall& call) {
    call.give(filog::getglobalfilogs());
}

void clearLogs(const MethodCall& call) {
    filog::clearglobalfilogs();
    call.giveNothing();
}

// Name, how its record is made.
constexpr MethodRow logMethods[] = {
    {"disp", unary<filog, &filog::disp>},
    {"getlogs", plainStatic<nothingToArray, giveLogs>},
    {"clearlogs", plainStatic<nothingToNothing, clearLogs>},
    {"set", setOf<label>},
};

}  // namespace

void filogOMClass::fill() {
    addProperties(*this, logProperties);
    addMethods(*this, logMethods);
}

OMInterface* filogOMClass::createClassSpecificObject(OMInterface* /*interface*/, void** /*arguments*/, int count) {
    errorIfMoreThan(0, count);
    return wrap(std::make_unique<filog>());
}
