#include "logging/qlogger.h"

#include <limits>
#include <string>
#include <utility>

#include "host/ErrorIdException.h"
#include "logging/filog.h"
#include "logging/shared_logs.h"
#include "numbers/owned_copy.h"
#include "numbers/services.h"

using EmbeddedTypeSystem::NumericType;
using namespace tolvane::detail;

std::atomic<bool> qlogger::sLogging{false};
std::atomic<embedded::LogTypeEnum> qlogger::sLogType{};

namespace {

number defaultNumber(double value) {
    return number(value, number::getDefaultPrecision(), number::getDefaultForceMultiplePrecision());
}

std::uint64_t exchangeOld(std::uint64_t count, std::uint64_t& old) {
    return count - std::exchange(old, count);
}

}  // namespace

qlogger::qlogger(bool writeLogOnDestroy)
    : qlogger(std::string(), embedded::OperationTypeEnum::Unspecified, NumericType(), false, writeLogOnDestroy) {}

qlogger::qlogger(const qlogger& other)
    : mTag(copyOf(other.mTag)),
      mNumericType(other.mNumericType),
      mMax(other.mMax),
      mMin(other.mMin),
      mNumbers(copyOf(other.mNumbers)),
      mNoverflows(other.mNoverflows),
      mNunderflows(other.mNunderflows),
      mNoperations(other.mNoperations),
      mNMathoperations(other.mNMathoperations),
      mOldOverflows(other.mOldOverflows),
      mOldUnderflows(other.mOldUnderflows),
      mOperationType(other.mOperationType),
      mAlwaysLog(other.mAlwaysLog),
      mWriteLogOnDestroy(other.mWriteLogOnDestroy) {}

qlogger::qlogger(const qlogger& other, bool writeLogOnDestroy) : qlogger(other) {
    mWriteLogOnDestroy = writeLogOnDestroy;
}

qlogger::qlogger(std::string tag, embedded::OperationTypeEnum operation, const NumericType& type, bool alwaysLog,
                 bool writeLogOnDestroy)
    : mTag(tag.empty() ? nullptr : std::make_unique<std::string>(std::move(tag))),
      mNumericType(type),
      mMax(getStartOfMax()),
      mMin(getStartOfMin()),
      mOperationType(operation),
      mAlwaysLog(alwaysLog),
      mWriteLogOnDestroy(writeLogOnDestroy) {
    // The map is made before the constructor of the first logger ends, so it also outlives static loggers.
    filog::getLogMap();
    if (number::getDefaultPrecision() > doublenumber::kScalarPrecision || number::getDefaultForceMultiplePrecision()) {
        mNumbers.reset(new Numbers{defaultNumber(mMax), defaultNumber(mMin)});
    }
}

qlogger& qlogger::operator=(const qlogger& other) {
    if (other.mTag) {
        tag() = *other.mTag;
    } else if (mTag) {
        mTag->clear();
    }
    mOperationType = other.mOperationType;
    mAlwaysLog = other.mAlwaysLog;
    mWriteLogOnDestroy = other.mWriteLogOnDestroy;
    set(other);
    return *this;
}

qlogger::~qlogger() {
    if (!mWriteLogOnDestroy || getLogType() != embedded::LogTypeEnum::WriteLogMap || isreset()) {
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
    copyMinMax(other);
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
    if (!isLogging()) {
        return;
    }
    if (other.mNumbers) {
        widen(other.mNumbers->max);
        widen(other.mNumbers->min);
    } else {
        widen(other.mMax);
        widen(other.mMin);
    }
    mNoperations += 2;
}

void qlogger::addArrayStatistics(std::uint64_t count, std::uint64_t overflows, std::uint64_t underflows, double max,
                                 double min) const {
    if (!isLogging()) {
        return;
    }
    if (mNumbers) {
        number value(max, doublenumber::kScalarPrecision, false);
        if (mNumbers->max < value) {
            mNumbers->max = value;
        }
        value = min;
        if (mNumbers->min > value) {
            mNumbers->min = value;
        }
    } else {
        mMax = mMax < max ? max : mMax;
        mMin = mMin > min ? min : mMin;
    }
    mNoverflows += overflows;
    mNunderflows += underflows;
    mNoperations += count;
}

void qlogger::addArrayStatistics(std::uint64_t count, std::uint64_t overflows, std::uint64_t underflows,
                                 const number& max, const number& min) const {
    if (!isLogging()) {
        return;
    }
    Numbers& extremes = numbers();
    if (extremes.max < max) {
        extremes.max = max;
    }
    if (extremes.min > min) {
        extremes.min = min;
    }
    mNoverflows += overflows;
    mNunderflows += underflows;
    mNoperations += count;
}

void qlogger::makeNumbers() const {
    mNumbers.reset(new Numbers{number(mMax, doublenumber::kScalarPrecision, false),
                               number(mMin, doublenumber::kScalarPrecision, false)});
}

void qlogger::widenNumbers(const number& value) const {
    Numbers& extremes = numbers();
    if (extremes.max < value) {
        extremes.max = value;
    }
    if (extremes.min > value) {
        extremes.min = value;
    }
}

void qlogger::copyMinMax(const qlogger& other) const {
    if (other.mNumbers) {
        setMax(other.mNumbers->max);
        setMin(other.mNumbers->min);
    } else {
        setExtremes(other.mMax, other.mMin);
    }
}

void qlogger::setExtremes(double max, double min) const {
    if (mNumbers) {
        mNumbers->max = max;
        mNumbers->min = min;
    } else {
        mMax = max;
        mMin = min;
    }
}

std::uint64_t qlogger::changeInOverflows() const {
    return exchangeOld(mNoverflows, mOldOverflows);
}

std::uint64_t qlogger::changeInUnderflows() const {
    return exchangeOld(mNunderflows, mOldUnderflows);
}

void qlogger::reset() const {
    setExtremes(getStartOfMax(), getStartOfMin());
    mNoverflows = 0;
    mNunderflows = 0;
    mNoperations = 0;
    mOldOverflows = 0;
    mOldUnderflows = 0;
}

bool qlogger::isreset() const {
    return getMaxAsDouble() == getStartOfMax();
}

double qlogger::getMaxLogAsRealWorldValue() const {
    return mNumericType.addSlopeAdjustmentFactorBias(getMaxAsDouble());
}

double qlogger::getMinLogAsRealWorldValue() const {
    return mNumericType.addSlopeAdjustmentFactorBias(getMinAsDouble());
}

void qlogger::setMaxLogFromRealWorldValue(double value) const {
    setMax(defaultNumber(removeSlopeAdjustmentFactorBias(value)));
}

void qlogger::setMinLogFromRealWorldValue(double value) const {
    setMin(defaultNumber(removeSlopeAdjustmentFactorBias(value)));
}

double qlogger::removeSlopeAdjustmentFactorBias(double value) const {
    return (value - mNumericType.getBias()) * (1.0 / mNumericType.getSlopeAdjustmentFactor());
}

std::string& qlogger::tag() const {
    if (!mTag) {
        mTag = std::make_unique<std::string>();
    }
    return *mTag;
}

double qlogger::getStartOfMax() {
    return std::numeric_limits<double>::lowest();
}

double qlogger::getStartOfMin() {
    return std::numeric_limits<double>::max();
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
    return getTag() + "|" + operationTypeToString() + "|" + mNumericType.qpointstr();
}

void qlogger::writeLogMap(std::map<std::string, filog>& logs) const {
    if (!embedded::getFeatureFiTagLogging()) {
        return;
    }
    std::string key = createFilogKey();
    const auto lock = lockSharedLogs();
    if (const auto entry = logs.find(key); entry != logs.end()) {
        entry->second.update(getMinAsDouble(), getMaxAsDouble(), mNoverflows, mNunderflows);
    } else {
        filog record(key, *this);
        logs.emplace(std::move(key), std::move(record));
    }
}

void qlogger::disp() const {
    print("        Max: %g\n", getMaxLogAsRealWorldValue());
    print("        Min: %g\n", getMinLogAsRealWorldValue());
    print(" NOverflows: %ld\n", static_cast<long>(mNoverflows));
    print("NUnderflows: %ld\n", static_cast<long>(mNunderflows));
    print("        Tag: %s\n", getTag().c_str());
}

const char* qlogger::getVelmarClassName() {
    return "qlogger";
}

const char* qlogger::getVelmarPackageClassName() {
    static const std::string kName = std::string(embedded::getEmbeddedPackageName()) + "." + getVelmarClassName();
    return kName.c_str();
}
