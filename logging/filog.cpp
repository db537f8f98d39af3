#include "logging/filog.h"

#include "host/EnumStringType.h"
#include "host/hsc.h"
#include "logging/qlogger.h"
#include "logging/shared_logs.h"

namespace {

constinit std::mutex sSharedLogs;

}  // namespace

filog::filog() : mMinLog(qlogger::getStartOfMin()), mMaxLog(qlogger::getStartOfMax()) {}

filog::filog(std::string key, std::string tag, embedded::OperationTypeEnum operation, const NumericType& type,
             double min, double max, std::uint64_t overflows, std::uint64_t underflows)
    : mKey(std::move(key)),
      mTag(std::move(tag)),
      mOperationType(operation),
      mNumericType(type),
      mMinLog(min),
      mMaxLog(max),
      mNumberOfOverflows(overflows),
      mNumberOfUnderflows(underflows) {}

filog::filog(std::string key, const qlogger& logger)
    : filog(std::move(key), logger.getTag(), logger.getOperationType(), logger.getNumericType(),
            logger.getMinAsDouble(), logger.getMaxAsDouble(), logger.getNoverflows(), logger.getNunderflows()) {}

filog::filog(const qlogger& logger) : filog(std::string(), logger) {}

void filog::update(double min, double max, std::uint64_t overflows, std::uint64_t underflows) {
    if (min < mMinLog) {
        mMinLog = min;
    }
    if (max > mMaxLog) {
        mMaxLog = max;
    }
    mNumberOfOverflows += overflows;
    mNumberOfUnderflows += underflows;
}

void filog::disp() const {
    const char* const operation = embedded::getOperationTypeEnum()->getText(static_cast<std::int32_t>(mOperationType));
    hscPrintf("\n          Key: %s", mKey.c_str());
    hscPrintf("\n          Tag: %s", mTag.c_str());
    hscPrintf("\nOperationType: %s", operation == nullptr ? "" : operation);
    hscPrintf("\n  numerictype: %s", mNumericType.tostring("numerictype").c_str());
    hscPrintf("\n       minlog: %g", getMinLogAsRealWorldValue());
    hscPrintf("\n       maxlog: %g", getMaxLogAsRealWorldValue());
    hscPrintf("\n   noverflows: %llu", static_cast<unsigned long long>(mNumberOfOverflows));
    hscPrintf("\n  nunderflows: %llu", static_cast<unsigned long long>(mNumberOfUnderflows));
    hscPrintf("\n");
}

std::map<std::string, filog>& filog::getLogMap() {
    static std::map<std::string, filog> sFiLogMap;
    return sFiLogMap;
}

std::unique_lock<std::mutex> tolvane::detail::lockSharedLogs() {
    return std::unique_lock(sSharedLogs);
}
