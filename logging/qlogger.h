// The running log of one quantizing place: the extremes seen, and the counts of overflows, underflows and operations.
//
// The gate: counts and extremes change only when the logger's `alwaysLog` or the process-wide switch `getLogging` is
// set; operations that say "gated" do nothing otherwise, and test the gate before they look at a value. Logging is a
// const operation, because const quantizing logs. `Max` and `Min` are on the stored side of a type's slope adjustment
// factor and bias, with the power of two in them. `Max` at its start value, the lowest double, marks a log that has
// seen nothing. When a logger dies it can leave its counts in the log map: see the destructor, and filog.h.
#pragma once

#include <cstdint>
#include <map>
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
    /// Copies all fields; `Max` and `Min` take values and keep their kind of body and their precision.
    qlogger& operator=(const qlogger& other);
    /// Writes this log to the log map when it was made so, `getLogType` is 1 and the log has seen a value. An error in
    /// that loses the entry and goes no further.
    ~qlogger();

    /// As assignment, except that tag, operation type, `alwaysLog` and the write at destruction stay.
    void set(const qlogger& other) const;

    number& getMax() const { return mMax; }
    number& getMin() const { return mMin; }
    void setMax(const number& value) const { mMax = value; }
    void setMin(const number& value) const { mMin = value; }
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
    const std::string& getTag() const { return mTag; }
    std::string& getTag() { return mTag; }
    void setTag(const char* tag) const { mTag = tag; }
    embedded::OperationTypeEnum getOperationType() const { return mOperationType; }
    void setOperationType(embedded::OperationTypeEnum operation) const { mOperationType = operation; }
    const EmbeddedTypeSystem::NumericType& getNumericType() const { return mNumericType; }
    EmbeddedTypeSystem::NumericType& getNumericType() { return mNumericType; }
    /// Copies the numeric fields of the type in place.
    void setNumericType(const EmbeddedTypeSystem::NumericType& type) const { mNumericType.set(type); }
    bool alwaysLog() const { return mAlwaysLog; }
    void setAlwaysLog(bool on) const { mAlwaysLog = on; }
    bool writeLogOnDestroy() const { return mWriteLogOnDestroy; }

    /// Says whether the gate is open.
    bool isLogging() const { return mAlwaysLog || sLogging; }

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
            if (mMax < value) {
                mMax = value;
            }
            if (mMin > value) {
                mMin = value;
            }
            ++mNoperations;
        }
    }
    /// Adds the counts of the other log and widens the extremes to its extremes, which counts as two operations,
    /// however many the other has. Gated.
    void updateStates(const qlogger& other) const;
    /// Adds what an array of `count` quantized values gave: their overflows, underflows, greatest and least value (NaN
    /// left out; the start values for an array of NaN only). The same as one call for every value. Gated.
    void addArrayStatistics(std::uint64_t count, std::uint64_t overflows, std::uint64_t underflows, double max,
                            double min) const;
    /// Takes the extremes of the other log.
    void copyMinMax(const qlogger& other) const;

    /// Returns how far the count has grown since the last call, and remembers it.
    std::uint64_t changeInOverflows() const;
    std::uint64_t changeInUnderflows() const;

    /// Brings extremes and counts to their start; `NMathoperations`, tag and operation type stay.
    void reset() const;
    /// Says whether `Max`, as a double, is at its start value.
    bool isreset() const;

    /// Return the extremes with slope adjustment factor and bias applied, as doubles.
    double getMaxLogAsRealWorldValue() const;
    double getMinLogAsRealWorldValue() const;
    void setMaxLogFromRealWorldValue(double value) const;
    void setMinLogFromRealWorldValue(double value) const;

    /// Process-wide switches, off at load.
    static bool getLogging() { return sLogging; }
    static void setLogging(bool on) { sLogging = on; }
    static embedded::LogTypeEnum getLogType() { return sLogType; }
    static void setLogType(embedded::LogTypeEnum type) { sLogType = type; }
    /// Return the values of an empty log: the lowest and the greatest double.
    static double getStartOfMax();
    static double getStartOfMin();

    /// Returns the text of the operation type; anything but "Unspecified", "Assignment", "Product" and "Sum", and so
    /// also a difference, gives the empty text. Log keys contain it.
    std::string operationTypeToString() const;
    /// Returns tag, operation and type, joined by "|".
    std::string createFilogKey() const;
    /// Merges this log into the entry of its key, or makes the entry; only while tag logging is on.
    void writeLogMap(std::map<std::string, filog>& logs) const;

    /// Returns a 1-by-1 host structure of Max and Min (as real-world values) and the counts, all doubles. The caller
    /// owns it.
    hvArray* toHvArrayStruct() const;
    /// As toHvArrayStruct, for a log that doesn't exist: start values as they are, and counts of 0.
    static hvArray* createUninitializedhvArrayStruct();
    /// Prints the log through the host.
    void disp() const;
    /// Returns "qlogger".
    static const char* getVelmarClassName();
    /// Returns "embedded.qlogger".
    static const char* getVelmarPackageClassName();

 private:
    double removeSlopeAdjustmentFactorBias(double value) const;

    mutable std::string mTag;
    mutable embedded::OperationTypeEnum mOperationType = embedded::OperationTypeEnum::Unspecified;
    mutable EmbeddedTypeSystem::NumericType mNumericType;
    mutable number mMax;
    mutable number mMin;
    mutable std::uint64_t mNoverflows = 0;
    mutable std::uint64_t mNunderflows = 0;
    mutable std::uint64_t mNoperations = 0;
    mutable std::uint64_t mNMathoperations = 0;
    mutable std::uint64_t mOldOverflows = 0;
    mutable std::uint64_t mOldUnderflows = 0;
    mutable bool mAlwaysLog = false;
    bool mWriteLogOnDestroy;

    static bool sLogging;
    static embedded::LogTypeEnum sLogType;
};
