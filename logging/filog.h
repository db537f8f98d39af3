// The saved result of all loggers of one key: extremes and counts by tag, operation and type.
//
// The log map holds one for each key for the whole session, so that a user can query the range of a tagged place after
// a run. Loggers write themselves into it when they are destroyed (`qlogger::writeLogMap`). Extremes are doubles
// without the factor and the bias of the type, as in the loggers.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "descriptors/NumericType.h"
#include "descriptors/embedded.h"
#include "host/export.h"

class qlogger;
struct hvArray;

class TOLVANE_API filog {
 public:
    using NumericType = EmbeddedTypeSystem::NumericType;

    /// Makes an empty record of the default type, with the extremes of an empty log.
    filog();
    filog(std::string key, std::string tag, embedded::OperationTypeEnum operation, const NumericType& type, double min,
          double max, std::uint64_t overflows, std::uint64_t underflows);
    /// Takes everything except the key from the logger.
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
    const NumericType& getNumericType() const { return mNumericType; }
    NumericType& getNumericType() { return mNumericType; }
    void setNumericType(const NumericType& type) { mNumericType = type; }
    double getMinLog() const { return mMinLog; }
    void setMinLog(double value) { mMinLog = value; }
    double getMaxLog() const { return mMaxLog; }
    void setMaxLog(double value) { mMaxLog = value; }
    std::uint64_t getNumberOfOverflows() const { return mNumberOfOverflows; }
    void setNumberOfOverflows(std::uint64_t count) { mNumberOfOverflows = count; }
    std::uint64_t getNumberOfUnderflows() const { return mNumberOfUnderflows; }
    void setNumberOfUnderflows(std::uint64_t count) { mNumberOfUnderflows = count; }

    // Extremes with the factor and the bias of the type.

    double getMinLogAsRealWorldValue() const { return addSlopeAdjustmentFactorBias(mMinLog); }
    double getMaxLogAsRealWorldValue() const { return addSlopeAdjustmentFactorBias(mMaxLog); }
    void setMinLogFromRealWorldValue(double value) { mMinLog = removeSlopeAdjustmentFactorBias(value); }
    void setMaxLogFromRealWorldValue(double value) { mMaxLog = removeSlopeAdjustmentFactorBias(value); }

    // The properties of the type, by the operations of NumericType with their errors and refusals. The extremes are
    // unchanged.

    NumericType::DataTypeModeEnum getDataTypeMode() const { return mNumericType.getDataTypeMode(); }
    NumericType::DataTypeEnum getDataType() const { return mNumericType.getDataType(); }
    NumericType::ScalingEnum getScaling() const { return mNumericType.getScaling(); }
    NumericType::Signedness getSignedness() const { return mNumericType.getSignedness(); }
    /// Return new arrays that the caller owns.
    hvArray* getSignednessAsHvArray() const { return mNumericType.getSignednessAsHvArray(); }
    hvArray* getSignednessBool() const { return mNumericType.getSignednessBool(); }
    hvArray* getSpecifiedSignAsHvArray() const { return mNumericType.getSpecifiedSignAsHvArray(); }
    int getWordLength() const { return mNumericType.getWordLength(); }
    int getFractionLength() const { return mNumericType.getFractionLength(); }
    int getFixedExponent() const { return mNumericType.getFixedExponent(); }
    double getSlopeAdjustmentFactor() const { return mNumericType.getSlopeAdjustmentFactor(); }
    double getSlope() const { return mNumericType.getSlope(); }
    double getBias() const { return mNumericType.getBias(); }
    /// Resets the type if a double, single or boolean one becomes fixed-point or scaled double.
    void setDataTypeMode(NumericType::DataTypeModeEnum mode) { mNumericType.setDataTypeMode(mode, true); }
    void setDataType(NumericType::DataTypeEnum dataType) { mNumericType.setDataType(dataType); }
    void setScaling(NumericType::ScalingEnum scaling) { mNumericType.setScaling(scaling); }
    void setSignedness(NumericType::Signedness signedness) { mNumericType.setSignedness(signedness); }
    /// Raise with the object name "FILOG" in the id and message.
    void setSignednessBool(const hvArray* value) { mNumericType.setSignednessBool(value, "FILOG"); }
    void setSpecifiedSign(const hvArray* value) { mNumericType.setSpecifiedSign(value, "FILOG"); }
    void setWordLength(int wordLength) { mNumericType.setWordLength(wordLength); }
    void setFractionLength(int fractionLength) { mNumericType.setFractionLength(fractionLength); }
    void setFixedExponent(int fixedExponent) { mNumericType.setFixedExponent(fixedExponent); }
    void setSlopeAdjustmentFactor(double factor) { mNumericType.setSlopeAdjustmentFactor(factor); }
    void setSlope(double slope) { mNumericType.setSlope(slope); }
    void setBias(double bias) { mNumericType.setBias(bias); }

    /// Prints the record through the host.
    void disp() const;

    // The log map.

    /// Returns the session's log map, which owns its entries; an entry keeps its address until it is erased. The map
    /// outlives every logger.
    static std::map<std::string, filog>& getLogMap();
    /// Returns a host cell column with a copy of each entry, in the order of keys, as external host objects; the caller
    /// owns the cells. Errors as convertToExternalVelmarArray.
    static hvArray* getglobalfilogs();
    static void clearglobalfilogs();

    // Host forms.

    /// Returns "filog".
    static const char* getVelmarClassName();
    /// Returns "embedded.filog".
    static const char* getVelmarPackageClassName();
    /// Put the record into a new handle of its class, and the handle into a new host value, which holds the only
    /// reference to it, an internal or an external one; the caller owns the value. Raise
    /// "fixedpoint:filog:notRegistered" before the class is in the package.
    static hvArray* convertToInternalVelmarArray(std::unique_ptr<filog> record);
    static hvArray* convertToExternalVelmarArray(std::unique_ptr<filog> record);

 private:
    double addSlopeAdjustmentFactorBias(double value) const {
        return mNumericType.getBias() + value * mNumericType.getSlopeAdjustmentFactor();
    }
    double removeSlopeAdjustmentFactorBias(double value) const {
        return (1.0 / mNumericType.getSlopeAdjustmentFactor()) * (value - mNumericType.getBias());
    }

    std::string mKey;
    std::string mTag;
    embedded::OperationTypeEnum mOperationType = embedded::OperationTypeEnum::Unspecified;
    NumericType mNumericType;
    double mMinLog;
    double mMaxLog;
    std::uint64_t mNumberOfOverflows = 0;
    std::uint64_t mNumberOfUnderflows = 0;
};
