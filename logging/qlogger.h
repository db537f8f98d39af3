// The running log of one place where values are quantized: extremes, and counts of overflows, underflows and
// operations.
//
// The gate: counts and extremes change only when the logger's `alwaysLog` or the process-wide switch `getLogging` is
// set; operations marked "gated" do nothing otherwise, and test the gate before they examine a value. Logging is a
// const operation, because const quantizing logs. `Max` and `Min` exclude a type's slope adjustment factor and bias,
// but include the power of two. `Max` at its initial value, the lowest double, marks an empty log. They are plain
// doubles until somebody asks for a `number`, which then is the extreme; the questions on doubles ask for none. When a
// logger is destroyed it can leave its counts in the log map: see the destructor, and filog.h.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "descriptors/NumericType.h"
#include "descriptors/embedded.h"
#include "host/export.h"
#include "numbers/number.h"

class filog;
struct hvArray;

class TOLVANE_API qlogger {
 public:
    /// Makes an empty log without tag, of the default type.
    explicit qlogger(bool writeLogOnDestroy);
    qlogger(const qlogger& other);
    qlogger(const qlogger& other, bool writeLogOnDestroy);
    qlogger(std::string tag, embedded::OperationTypeEnum operation, const EmbeddedTypeSystem::NumericType& type,
            bool alwaysLog, bool writeLogOnDestroy);
    /// Copies all fields; `Max` and `Min` copy only values and keep their kind of body and their precision.
    qlogger& operator=(const qlogger& other);
    /// Writes this log to the log map if it was made to do so, `getLogType` is 1 and the log isn't empty. An error
    /// there loses the entry and doesn't propagate.
    ~qlogger();

    /// As assignment, but keeps tag, operation type, `alwaysLog` and the write at destruction.
    void set(const qlogger& other) const;

    number& getMax() const { return numbers().max; }
    number& getMin() const { return numbers().min; }
    double getMaxAsDouble() const { return mNumbers ? mNumbers->max.todouble() : mMax; }
    double getMinAsDouble() const { return mNumbers ? mNumbers->min.todouble() : mMin; }
    bool isMaxNegative() const { return mNumbers ? mNumbers->max.isnegative() : mMax < 0.0; }
    bool isMinPositive() const { return mNumbers ? mNumbers->min.sign() > 0 : mMin > 0.0; }
    void setMax(const number& value) const {
        if (mNumbers || value.asDouble() == nullptr) {
            numbers().max = value;
        } else {
            mMax = value.todouble();
        }
    }
    void setMin(const number& value) const {
        if (mNumbers || value.asDouble() == nullptr) {
            numbers().min = value;
        } else {
            mMin = value.todouble();
        }
    }
    std::uint64_t getNoverflows() const { return mNoverflows; }
    std::uint64_t getNunderflows() const { return mNunderflows; }
    std::uint64_t getNoperations() const { return mNoperations; }
    std::uint64_t getNMathoperations() const { return mNMathoperations; }
    std::uint64_t getOldOverflows() const { return mOldOverflows; }
    std::uint64_t getOldUnderflows() const { return mOldUnderflows; }
    void setNoverflows(std::uint64_t count) const { mNoverflows = count; }
    void setNunderflows(std::uint64_t count) const { mNunderflows = count; }
    void setNoperations(std::uint64_t count) const { mNoperations = count; }
    void setNMathOperations(std::uint64_t count) const { mNMathoperations = count; }
    void setOldOverflows(std::uint64_t count) const { mOldOverflows = count; }
    void setOldUnderflows(std::uint64_t count) const { mOldUnderflows = count; }
    const std::string& getTag() const { return tag(); }
    std::string& getTag() { return tag(); }
    void setTag(const char* tag) const { this->tag() = tag; }
    embedded::OperationTypeEnum getOperationType() const { return mOperationType; }
    void setOperationType(embedded::OperationTypeEnum operation) const { mOperationType = operation; }
    const EmbeddedTypeSystem::NumericType& getNumericType() const { return mNumericType; }
    EmbeddedTypeSystem::NumericType& getNumericType() { return mNumericType; }
    /// Copies the numeric fields of the type in place.
    void setNumericType(const EmbeddedTypeSystem::NumericType& type) const { mNumericType.set(type); }
    bool alwaysLog() const { return mAlwaysLog; }
    void setAlwaysLog(bool on) const { mAlwaysLog = on; }
    bool writeLogOnDestroy() const { return mWriteLogOnDestroy; }

    /// Returns whether the gate is open.
    bool isLogging() const { return mAlwaysLog || getLogging(); }

    /// Gated.
    void nOverflowsPlusOne() const { addtoOverflows(1); }
    void nUnderflowsPlusOne() const { addtoUnderflows(1); }
    void addtoOverflows(std::uint64_t count) const {
        if (isLogging()) {
            mNoverflows += count;
        }
    }
    void addtoUnderflows(std::uint64_t count) const {
        if (isLogging()) {
            mNunderflows += count;
        }
    }
    /// Adds both counts of the other log; gated.
    void addtoOverUnder(const qlogger& other) const;
    /// Not gated, unlike the other counts.
    void nOperationsPlusOne() const { ++mNoperations; }
    void nMathOperationsPlusOne() const { ++mNMathoperations; }

    /// Widens the extremes to hold the value and counts one operation; a NaN widens nothing. Gated.
    void updateminmax(const number& value) const {
        if (isLogging()) {
            widen(value);
            ++mNoperations;
        }
    }
    /// Adds the counts of the other log and widens the extremes to its extremes, which counts as two operations,
    /// however many the other counted. Gated.
    void updateStates(const qlogger& other) const;
    /// Adds the statistics of an array of `count` quantized values: overflows, underflows, greatest and least value
    /// (without NaN; the initial values if all are NaN). The same as one call per value. Gated.
    void addArrayStatistics(std::uint64_t count, std::uint64_t overflows, std::uint64_t underflows, double max,
                            double min) const;
    void addArrayStatistics(std::uint64_t count, std::uint64_t overflows, std::uint64_t underflows, const number& max,
                            const number& min) const;
    /// Takes the extremes of the other log.
    void copyMinMax(const qlogger& other) const;

    /// Returns the increase of the count since the last call, and remembers the count.
    std::uint64_t changeInOverflows() const;
    std::uint64_t changeInUnderflows() const;

    /// Resets extremes and counts; keeps `NMathoperations`, tag and operation type.
    void reset() const;
    /// Returns whether `Max`, as a double, has its initial value.
    bool isreset() const;

    /// Return the extremes with slope adjustment factor and bias applied, as doubles.
    double getMaxLogAsRealWorldValue() const;
    double getMinLogAsRealWorldValue() const;
    void setMaxLogFromRealWorldValue(double value) const;
    void setMinLogFromRealWorldValue(double value) const;

    /// Process-wide switches, off at load.
    static bool getLogging() { return sLogging.load(std::memory_order_relaxed); }
    static void setLogging(bool on) { sLogging.store(on, std::memory_order_relaxed); }
    static embedded::LogTypeEnum getLogType() { return sLogType.load(std::memory_order_relaxed); }
    static void setLogType(embedded::LogTypeEnum type) { sLogType.store(type, std::memory_order_relaxed); }
    /// Return the values of an empty log: the lowest and the greatest double.
    static double getStartOfMax();
    static double getStartOfMin();

    /// Returns the text of the operation type; types other than "Unspecified", "Assignment", "Product" and "Sum", such
    /// as a difference, give the empty text. Log keys contain it.
    std::string operationTypeToString() const;
    /// Returns tag, operation and type, joined by "|".
    std::string createFilogKey() const;
    /// Merges this log into the entry of its key, or makes the entry; only while tag logging is on.
    void writeLogMap(std::map<std::string, filog>& logs) const;

    /// Returns a 1-by-1 host structure of Max and Min (as real-world values) and the counts, all doubles. The caller
    /// owns it.
    hvArray* toHvArrayStruct() const;
    /// As toHvArrayStruct, for a log that doesn't exist: unconverted initial values, and counts of 0.
    static hvArray* createUninitializedhvArrayStruct();
    /// Prints the log through the host.
    void disp() const;
    /// Returns "qlogger".
    static const char* getVelmarClassName();
    /// Returns "embedded.qlogger".
    static const char* getVelmarPackageClassName();

 private:
    struct Numbers {
        number max;
        number min;
    };
    Numbers& numbers() const {
        if (!mNumbers) [[unlikely]] {
            makeNumbers();
        }
        return *mNumbers;
    }
    void makeNumbers() const;
    std::string& tag() const;
    void widen(double value) const {
        if (mNumbers) [[unlikely]] {
            widenNumbers(number(value, doublenumber::kScalarPrecision, false));
            return;
        }
        if (mMax < value) {
            mMax = value;
        }
        if (mMin > value) {
            mMin = value;
        }
    }
    void widen(const number& value) const {
        if (mNumbers || value.asDouble() == nullptr) [[unlikely]] {
            widenNumbers(value);
        } else {
            widen(value.todouble());
        }
    }
    void widenNumbers(const number& value) const;
    void setExtremes(double max, double min) const;
    double removeSlopeAdjustmentFactorBias(double value) const;

    mutable std::unique_ptr<std::string> mTag;  // null until a tag is set or read
    mutable EmbeddedTypeSystem::NumericType mNumericType;
    mutable double mMax;
    mutable double mMin;
    mutable std::unique_ptr<Numbers> mNumbers;  // the extremes, once it is set
    mutable std::uint64_t mNoverflows = 0;
    mutable std::uint64_t mNunderflows = 0;
    mutable std::uint64_t mNoperations = 0;
    mutable std::uint64_t mNMathoperations = 0;
    mutable std::uint64_t mOldOverflows = 0;
    mutable std::uint64_t mOldUnderflows = 0;
    mutable embedded::OperationTypeEnum mOperationType = embedded::OperationTypeEnum::Unspecified;
    mutable bool mAlwaysLog = false;
    bool mWriteLogOnDestroy;

    static std::atomic<bool> sLogging;
    static std::atomic<embedded::LogTypeEnum> sLogType;
};
