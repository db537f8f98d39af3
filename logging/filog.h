// The saved result of all loggers of one key: extremes and counts by tag, operation and type.
//
// The log map holds one for each key for the whole session, so that a user can ask after a run what range a tagged
// place has seen. Loggers write themselves into it when they die (`qlogger::writeLogMap`). Extremes are doubles without
// the factor and the bias of the type, as in the loggers.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "descriptors/NumericType.h"
#include "descriptors/embedded.h"
#include "host/export.h"

class qlogger;

class TOLVANE_API filog {
 public:
    /// Makes an empty record of the default type, with the extremes of an empty log.
    filog();
    filog(std::string key, std::string tag, embedded::OperationTypeEnum operation,
          const EmbeddedTypeSystem::NumericType& type, double min, double max, std::uint64_t overflows,
          std::uint64_t underflows);
    /// Takes everything but the key from the logger.
    filog(std::string key, const qlogger& logger);
    explicit filog(const qlogger& logger);

    /// Widens the extremes to the given ones and adds the counts.
    void update(double min, double max, std::uint64_t overflows, std::uint64_t underflows);

    const std::string& getKey() const { return mKey; }
    void setKey(std::string key) { mKey = std::move(key); }
    const std::string& getTag() const { return mTag; }
    void setTag(std::string tag) { mTag = std::move(tag); }
    embedded::OperationTypeEnum getOperationType() const { return mOperationType; }
    void setOperationType(embedded::OperationTypeEnum operation) { mOperationType = operation; }
    const EmbeddedTypeSystem::NumericType& getNumericType() const { return mNumericType; }
    EmbeddedTypeSystem::NumericType& getNumericType() { return mNumericType; }
    void setNumericType(const EmbeddedTypeSystem::NumericType& type) { mNumericType = type; }
    double getMinLog() const { return mMinLog; }
    void setMinLog(double value) { mMinLog = value; }
    double getMaxLog() const { return mMaxLog; }
    void setMaxLog(double value) { mMaxLog = value; }
    std::uint64_t getNumberOfOverflows() const { return mNumberOfOverflows; }
    void setNumberOfOverflows(std::uint64_t count) { mNumberOfOverflows = count; }
    std::uint64_t getNumberOfUnderflows() const { return mNumberOfUnderflows; }
    void setNumberOfUnderflows(std::uint64_t count) { mNumberOfUnderflows = count; }

    /// Returns the session's log map, which owns its entries; an entry keeps its address until it is erased. The map
    /// outlives every logger.
    static std::map<std::string, filog>& getLogMap();

 private:
    std::string mKey;
    std::string mTag;
    embedded::OperationTypeEnum mOperationType = embedded::OperationTypeEnum::Unspecified;
    EmbeddedTypeSystem::NumericType mNumericType;
    double mMinLog;
    double mMaxLog;
    std::uint64_t mNumberOfOverflows = 0;
    std::uint64_t mNumberOfUnderflows = 0;
};
