#include "logging/qlogger.h"

#include <iterator>
#include <string>
#include <utility>

#include "host/ErrorIdException.h"
#include "host/bs.h"
#include "host/hsc.h"
#include "host/hv.h"
#include "logging/filog.h"

using EmbeddedTypeSystem::NumericType;

bool qlogger::sLogging = false;
embedded::LogTypeEnum qlogger::sLogType{};

namespace {

number defaultNumber(double value) {
    return number(value, number::getDefaultPrecision(), number::getDefaultForceMultiplePrecision());
}

/// Converts as a signed count and corrects negative results, so the greatest counts round in two steps.
double countAsDouble(std::uint64_t count) {
    const auto value = static_cast<double>(static_cast<std::int64_t>(count));
    return value < 0.0 ? value + 0x1p64 : value;
}

std::uint64_t exchangeOld(std::uint64_t count, std::uint64_t& old) {
    return count - std::exchange(old, count);
}

hvArray* makeStruct(double max, double min, std::uint64_t overflows, std::uint64_t underflows,
                    std::uint64_t operations) {
    static constexpr const char* kNames[] = {"Max", "Min", "NOverflows", "NUnderflows", "NOperations"};
    const double values[] = {max, min, countAsDouble(overflows), countAsDouble(underflows), countAsDouble(operations)};
    hvArrayOwner result(hvCreateStructMatrix(1, 1, std::size(kNames), kNames));
    for (std::size_t i = 0; i < std::size(kNames); ++i) {
        hvSetField(result.get(), 0, kNames[i], hvCreateDoubleScalar(values[i]));
    }
    return result.release();
}

}  // namespace

qlogger::qlogger(bool writeLogOnDestroy)
    : qlogger(std::string(), embedded::OperationTypeEnum::Unspecified, NumericType(), false, writeLogOnDestroy) {}

qlogger::qlogger(const qlogger& other) = default;

qlogger::qlogger(const qlogger& other, bool writeLogOnDestroy) : qlogger(other) {
    mWriteLogOnDestroy = writeLogOnDestroy;
}

qlogger::qlogger(std::string tag, embedded::OperationTypeEnum operation, const NumericType& type, bool alwaysLog,
                 bool writeLogOnDestroy)
    : mTag(std::move(tag)),
      mOperationType(operation),
      mNumericType(type),
      mMax(defaultNumber(getStartOfMax())),
      mMin(defaultNumber(getStartOfMin())),
      mAlwaysLog(alwaysLog),
      mWriteLogOnDestroy(writeLogOnDestroy) {
    // The map is made before the constructor of the first logger ends, so it also outlives static loggers.
    filog::getLogMap();
}

qlogger& qlogger::operator=(const qlogger& other) = default;

qlogger::~qlogger() {
    if (!mWriteLogOnDestroy || sLogType != embedded::LogTypeEnum::WriteLogMap || isreset()) {
        return;
    }
    try {
        writeLogMap(filog::getLogMap());
    } catch (ErrorIdException* error) {
        delete error;
    } catch (...) {
        // A destructor can't report errors; the log entry is lost and the process continues.
    }
}

void qlogger::set(const qlogger& other) const {
    mNumericType = other.mNumericType;
    mMax = other.mMax;
    mMin = other.mMin;
    mNoverflows = other.mNoverflows;
    mNunderflows = other.mNunderflows;
    mNoperations = other.mNoperations;
    mNMathoperations = other.mNMathoperations;
    mOldOverflows = other.mOldOverflows;
    mOldUnderflows = other.mOldUnderflows;
}

void qlogger::addtoOverUnder(const qlogger& other) const {
    addtoOverflows(other.mNoverflows);
    addtoUnderflows(other.mNunderflows);
}

void qlogger::updateStates(const qlogger& other) const {
    addtoOverUnder(other);
    updateminmax(other.mMax);
    updateminmax(other.mMin);
}

void qlogger::addArrayStatistics(std::uint64_t count, std::uint64_t overflows, std::uint64_t underflows, double max,
                                 double min) const {
    if (!isLogging()) {
        return;
    }
    number value(max, doublenumber::kScalarPrecision, false);
    if (mMax < value) {
        mMax = value;
    }
    value = min;
    if (mMin > value) {
        mMin = value;
    }
    mNoverflows += overflows;
    mNunderflows += underflows;
    mNoperations += count;
}

void qlogger::copyMinMax(const qlogger& other) const {
    mMax = other.mMax;
    mMin = other.mMin;
}

std::uint64_t qlogger::changeInOverflows() const {
    return exchangeOld(mNoverflows, mOldOverflows);
}

std::uint64_t qlogger::changeInUnderflows() const {
    return exchangeOld(mNunderflows, mOldUnderflows);
}

void qlogger::reset() const {
    mMax = getStartOfMax();
    mMin = getStartOfMin();
    mNoverflows = 0;
    mNunderflows = 0;
    mNoperations = 0;
    mOldOverflows = 0;
    mOldUnderflows = 0;
}

bool qlogger::isreset() const {
    return mMax.todouble() == getStartOfMax();
}

double qlogger::getMaxLogAsRealWorldValue() const {
    return mNumericType.addSlopeAdjustmentFactorBias(mMax.todouble());
}

double qlogger::getMinLogAsRealWorldValue() const {
    return mNumericType.addSlopeAdjustmentFactorBias(mMin.todouble());
}

void qlogger::setMaxLogFromRealWorldValue(double value) const {
    mMax = defaultNumber(removeSlopeAdjustmentFactorBias(value));
}

void qlogger::setMinLogFromRealWorldValue(double value) const {
    mMin = defaultNumber(removeSlopeAdjustmentFactorBias(value));
}

double qlogger::removeSlopeAdjustmentFactorBias(double value) const {
    return (value - mNumericType.getBias()) * (1.0 / mNumericType.getSlopeAdjustmentFactor());
}

double qlogger::getStartOfMax() {
    return -bsGetRealMax();
}

double qlogger::getStartOfMin() {
    return bsGetRealMax();
}

std::string qlogger::operationTypeToString() const {
    switch (mOperationType) {
        case embedded::OperationTypeEnum::Unspecified:
            return "Unspecified";
        case embedded::OperationTypeEnum::Assignment:
            return "Assignment";
        case embedded::OperationTypeEnum::Product:
            return "Product";
        case embedded::OperationTypeEnum::Sum:
            return "Sum";
        default:
            return {};
    }
}

std::string qlogger::createFilogKey() const {
    return mTag + "|" + operationTypeToString() + "|" + mNumericType.qpointstr();
}

void qlogger::writeLogMap(std::map<std::string, filog>& logs) const {
    if (!embedded::getFeatureFiTagLogging()) {
        return;
    }
    std::string key = createFilogKey();
    if (const auto entry = logs.find(key); entry != logs.end()) {
        entry->second.update(mMin.todouble(), mMax.todouble(), mNoverflows, mNunderflows);
    } else {
        filog record(key, *this);
        logs.emplace(std::move(key), std::move(record));
    }
}

hvArray* qlogger::toHvArrayStruct() const {
    return makeStruct(getMaxLogAsRealWorldValue(), getMinLogAsRealWorldValue(), mNoverflows, mNunderflows,
                      mNoperations);
}

hvArray* qlogger::createUninitializedhvArrayStruct() {
    return makeStruct(getStartOfMax(), getStartOfMin(), 0, 0, 0);
}

void qlogger::disp() const {
    hscPrintf("        Max: %g\n", getMaxLogAsRealWorldValue());
    hscPrintf("        Min: %g\n", getMinLogAsRealWorldValue());
    hscPrintf(" NOverflows: %ld\n", static_cast<long>(mNoverflows));
    hscPrintf("NUnderflows: %ld\n", static_cast<long>(mNunderflows));
    hscPrintf("        Tag: %s\n", mTag.c_str());
}

const char* qlogger::getVelmarClassName() {
    return "qlogger";
}

const char* qlogger::getVelmarPackageClassName() {
    static const std::string kName = std::string(embedded::getEmbeddedPackageName()) + "." + getVelmarClassName();
    return kName.c_str();
}
