#include "logging/filog.h"

#include "descriptors/enum_texts.h"
#include "logging/qlogger.h"
#include "logging/shared_logs.h"
#include "numbers/services.h"

using namespace tolvane::detail;

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
    print("\n          Key: %s", mKey.c_str());
    print("\n          Tag: %s", mTag.c_str());
    print("\nOperationType: %s", enumtexts::textOf(enumtexts::kOperationTypes, mOperationType));
    print("\n  numerictype: %s", mNumericType.tostring("numerictype").c_str());
    print("\n       minlog: %g", getMinLogAsRealWorldValue());
    print("\n       maxlog: %g", getMaxLogAsRealWorldValue());
    print("\n   noverflows: %llu", static_cast<unsigned long long>(mNumberOfOverflows));
    print("\n  nunderflows: %llu", static_cast<unsigned long long>(mNumberOfUnderflows));
    print("\n");
}

std::map<std::string, filog>& filog::getLogMap() {
    static std::map<std::string, filog> sFiLogMap;
    return sFiLogMap;
}

std::unique_lock<std::mutex> tolvane::detail::lockSharedLogs() {
    return std::unique_lock(sSharedLogs);
}
