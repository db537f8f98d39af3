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

constexpr char kLabel[] = "FILOG";

using EmbeddedTypeSystem::NumericType;
using namespace datatypes;

template <auto get, auto set>
constexpr PropertyFunctions kOfLog = field<filog, get, set>();

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
constexpr PropertyRow kLogProperties[] = {
    {"Key",                   kText,          "sgSGzclv", kOfLog<&filog::getKey, setKey>},
    {"Tag",                   kText,          "sgSGzclv", kOfLog<&filog::getTag, setTag>},
    {"OperationType",         kOperationType, "sgSGzclv", kOfLog<&filog::getOperationType, &filog::setOperationType>},
    {"numerictype",           kObject<NumericType>, "-gS-----", {getType, setType}},
    {"DataTypeMode",          kDataTypeMode,  "-gSGzclv", {getDataTypeMode, writer<filog, &filog::getDataTypeMode, &filog::setDataTypeMode>}},
    {"DataType",              kDataType,      "-gSG--lv", kOfLog<&filog::getDataType, &filog::setDataType>},
    {"Scaling",               kScaling,       "-gSG--lv", kOfLog<&filog::getScaling, &filog::setScaling>},
    {"Signed",                kArray,         "-gS-zcl-", kOfLog<&filog::getSpecifiedSignAsHvArray, &filog::setSpecifiedSign>},
    {"SignednessBool",        kArray,         "-gS---l-", kOfLog<&filog::getSignednessBool, &filog::setSignednessBool>},
    {"Signedness",            kSignedness,    "-gS---l-", kOfLog<&filog::getSignedness, &filog::setSignedness>},
    {"WordLength",            kInt32,         "-gSGzclv", kOfLog<&filog::getWordLength, &filog::setWordLength>},
    {"FractionLength",        kInt32,         "-gS---lv", kOfLog<&filog::getFractionLength, &filog::setFractionLength>},
    {"BinaryPoint",           kInt32,         "--SG--lv", kOfLog<&filog::getFractionLength, &filog::setFractionLength>},
    {"FixedExponent",         kInt32,         "-gSGzclv", kOfLog<&filog::getFixedExponent, &filog::setFixedExponent>},
    {"Slope",                 kReal,          "-gSG--lv", kOfLog<&filog::getSlope, &filog::setSlope>},
    {"SlopeAdjustmentFactor", kReal,          "-gSGzclv", kOfLog<&filog::getSlopeAdjustmentFactor, &filog::setSlopeAdjustmentFactor>},
    {"Bias",                  kReal,          "-gSGzclv", kOfLog<&filog::getBias, &filog::setBias>},
    {"minlog",                kReal,          "-gSGzcl-", kOfLog<&filog::getMinLogAsRealWorldValue, &filog::setMinLogFromRealWorldValue>},
    {"maxlog",                kReal,          "-gSGzcl-", kOfLog<&filog::getMaxLogAsRealWorldValue, &filog::setMaxLogFromRealWorldValue>},
    {"noverflows",            kReal,          "-gSGzcl-", countField<filog, &filog::getNumberOfOverflows, &filog::setNumberOfOverflows>()},
    {"nunderflows",           kReal,          "-gSGzcl-", countField<filog, &filog::getNumberOfUnderflows, &filog::setNumberOfUnderflows>()},
};
// clang-format on

constexpr SignatureColumn kNothingToArray[] = {takes().to(kArray)};
constexpr SignatureColumn kNothingToNothing[] = {takes()};

void giveLogs(const MethodCall& call) {
    call.give(filog::getglobalfilogs());
}

void clearLogs(const MethodCall& call) {
    filog::clearglobalfilogs();
    call.giveNothing();
}

// Name, how its record is made.
constexpr MethodRow kLogMethods[] = {
    {"disp", unary<filog, &filog::disp>},
    {"getlogs", plainStatic<kNothingToArray, giveLogs>},
    {"clearlogs", plainStatic<kNothingToNothing, clearLogs>},
    {"set", setOf<kLabel>},
};

}  // namespace

void filogOMClass::fill() {
    addProperties(*this, kLogProperties);
    addMethods(*this, kLogMethods);
}

OMInterface* filogOMClass::createClassSpecificObject(OMInterface* /*interface*/, void** /*arguments*/, int count) {
    errorIfMoreThan(0, count);
    return wrap(std::make_unique<filog>());
}
