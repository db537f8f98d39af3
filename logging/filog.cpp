#include "logging/filog.h"

#include "logging/qlogger.h"

using EmbeddedTypeSystem::NumericType;

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
            logger.getMin().todouble(), logger.getMax().todouble(), logger.getNoverflows(), logger.getNunderflows()) {}

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

std::map<std::string, filog>& filog::getLogMap() {
    static std::map<std::string, filog> sFiLogMap;
    return sFiLogMap;
}
