#include "binding/logs/QloggerOMClass.h"

#include <cmath>
#include <cstdint>
#include <string>

#include "binding/frame/EmbeddedFiSetMethodInfo.h"
#include "binding/frame/methods.h"
#include "binding/frame/properties.h"
#include "numbers/truncation.h"

using namespace tolvane::detail;

namespace {

constexpr char kLabel[] = "QLOGGER";

using namespace datatypes;

const std::string& getTag(const qlogger& log) {
    return log.getTag();
}

// clang-format off
// Name, data type, access (the letters of AccessColumn), how it is read and written.
constexpr PropertyRow kLogProperties[] = {
    {"Max",         kReal, "sgSGzclv", field<qlogger, &qlogger::getMaxLogAsRealWorldValue, &qlogger::setMaxLogFromRealWorldValue>()},
    {"Min",         kReal, "sgSGzclv", field<qlogger, &qlogger::getMinLogAsRealWorldValue, &qlogger::setMinLogFromRealWorldValue>()},
    {"NOverflows",  kReal, "sgSGzclv", countField<qlogger, &qlogger::getNoverflows, &qlogger::setNoverflows>()},
    {"NUnderflows", kReal, "sgSGzclv", countField<qlogger, &qlogger::getNunderflows, &qlogger::setNunderflows>()},
    {"NOperations", kReal, "sgSGzclv", countField<qlogger, &qlogger::getNoperations, &qlogger::setNoperations>()},
    {"Tag",         kText, "sgSGzclv", field<qlogger, getTag, &qlogger::setTag>()},
};
// clang-format on

constexpr SignatureColumn kFlagToNothing[] = {takes(kBoolean)};
constexpr SignatureColumn kNumberToNothing[] = {takes(kReal)};

void setLoggingMode(const MethodCall& call) {
    qlogger::setLogging(Shape<bool>::unbox(call.arguments[0]));
    call.giveNothing();
}

void setLogType(const MethodCall& call) {
    const auto type = truncateTo<std::int32_t>(Shape<double>::unbox(call.arguments[0]));
    qlogger::setLogType(static_cast<embedded::LogTypeEnum>(type));
    call.giveNothing();
}

// Name, how its record is made.
constexpr MethodRow kLogMethods[] = {
    {"disp", unary<qlogger, &qlogger::disp>},
    {"SetLoggingMode", plainStatic<kFlagToNothing, setLoggingMode>},
    {"SetLogType", plainStatic<kNumberToNothing, setLogType>},
    {"set", setOf<kLabel>},
};

}  // namespace

void QloggerOMClass::fill() {
    addProperties(*this, kLogProperties);
    addMethods(*this, kLogMethods);
}

OMInterface* QloggerOMClass::createClassSpecificObject(OMInterface* /*interface*/, void** /*arguments*/, int count) {
    errorIfMoreThan(0, count);
    return wrap(std::make_unique<qlogger>(false));
}
