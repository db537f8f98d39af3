#include "logging/qlogger.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "host/hv.h"
#include "logging/filog.h"
#include "tests/support/errors.h"

using EmbeddedTypeSystem::NumericType;
using Operation = embedded::OperationTypeEnum;

namespace {

constexpr double kLargest = std::numeric_limits<double>::max();

number value(double x) {
    return number(x, 52, false);
}

qlogger logger(const char* tag, Operation operation = Operation::Sum, bool alwaysLog = true, bool writes = true) {
    return qlogger(tag, operation, NumericType(true, 16, 15), alwaysLog, writes);
}

/// Restores the initial values of the process-wide switches.
struct Switches : testing::Test {
    ~Switches() override {
        qlogger::setLogging(false);
        qlogger::setLogType(embedded::LogTypeEnum::Off);
        embedded::setFeatureFiTagLogging(false);
        filog::getLogMap().clear();
    }
};

using Gate = Switches;
using LogMap = Switches;

}  // namespace

TEST(FreshLogger, HasSeenNothing) {
    const NumericType type(NumericType::DataTypeModeEnum::FixedSlopeBias, true, 16, 1.5, -3, 2.0);
    const qlogger fresh("t", Operation::Product, type, false, false);
    EXPECT_TRUE(fresh.isreset());
    EXPECT_EQ(fresh.getMax().todouble(), -kLargest);
    EXPECT_EQ(fresh.getMin().todouble(), kLargest);
    EXPECT_EQ(fresh.getMaxLogAsRealWorldValue(), 1.5 * -kLargest + 2.0);
    EXPECT_FALSE(fresh.alwaysLog());
    const qlogger bare(true);
    EXPECT_EQ(bare.getTag(), "");
    EXPECT_EQ(bare.getOperationType(), Operation::Unspecified);
    EXPECT_EQ(bare.getNumericType().getWordLength(), 16);
    EXPECT_TRUE(bare.writeLogOnDestroy());
    EXPECT_FALSE(qlogger(bare, false).writeLogOnDestroy());
}

TEST_F(Gate, OpensByTheLoggerOrByTheProcess) {
    struct Row {
        bool always;
        bool process;
        bool open;
    };
    for (const Row row : {Row{false, false, false}, {true, false, true}, {false, true, true}, {true, true, true}}) {
        SCOPED_TRACE(testing::Message() << row.always << row.process);
        qlogger::setLogging(row.process);
        const qlogger log = logger("", Operation::Sum, row.always, false);
        const qlogger other = logger("", Operation::Sum, true, false);
        other.setMax(value(7));
        other.setMin(value(-9));
        other.setNoverflows(10);
        other.setNunderflows(20);
        other.setNoperations(1000);
        log.nOverflowsPlusOne();
        log.nUnderflowsPlusOne();
        log.addtoOverflows(100);
        log.addtoUnderflows(200);
        log.addtoOverUnder(other);
        log.updateminmax(value(3));
        log.updateStates(other);
        log.addArrayStatistics(5, 1000, 2000, 8, -1);
        const std::uint64_t one = row.open ? 1 : 0;
        EXPECT_EQ(log.getNoverflows(), one * 1121);
        EXPECT_EQ(log.getNunderflows(), one * 2241);
        // One value, two extremes of the other log, five of the array.
        EXPECT_EQ(log.getNoperations(), one * 8);
        EXPECT_EQ(log.getMax().todouble(), row.open ? 8 : -kLargest);
        EXPECT_EQ(log.getMin().todouble(), row.open ? -9 : kLargest);
        log.nOperationsPlusOne();
        log.nMathOperationsPlusOne();
        log.setNoverflows(1);
        EXPECT_EQ(log.getNoperations(), one * 8 + 1);
        EXPECT_EQ(log.getNMathoperations(), 1u);
        EXPECT_EQ(log.getNoverflows(), 1u);
    }
}

TEST(Extremes, IgnoreNaNAndKeepWhatIsWiderInAnyKind) {
    const double nan = std::nan("");
    for (const unsigned precision : {52u, 80u}) {
        SCOPED_TRACE(precision);
        const unsigned old = number::getDefaultPrecision();
        number::setDefaultPrecision(precision, false);
        const qlogger log = logger("", Operation::Sum, true, false);
        number::setDefaultPrecision(old, false);
        for (const double x : {nan, 0.25, -2.0, nan, 1.0}) {
            log.updateminmax(value(x));
            log.updateminmax(number(x, 70, false));
        }
        EXPECT_EQ(log.getMax().todouble(), 1.0);
        EXPECT_EQ(log.getMin().todouble(), -2.0);
        EXPECT_EQ(log.getNoperations(), 10u);
        log.addArrayStatistics(2, 0, 0, qlogger::getStartOfMax(), qlogger::getStartOfMin());
        EXPECT_EQ(log.getMax().todouble(), 1.0);
        EXPECT_EQ(log.getMin().todouble(), -2.0);
    }
}

TEST(Extremes, AreTheNumberThatWasAskedFor) {
    const qlogger log = logger("");
    log.updateminmax(value(3));
    number& max = log.getMax();
    number& min = log.getMin();
    log.updateminmax(value(4));
    log.addArrayStatistics(1, 0, 0, 2, -5);
    EXPECT_EQ(max.todouble(), 4.0);
    EXPECT_EQ(min.todouble(), -5.0);
    max = 9.0;
    EXPECT_EQ(log.getMaxLogAsRealWorldValue(), 9.0);
    EXPECT_EQ(qlogger(log).getMaxAsDouble(), 9.0);
    const qlogger other = logger("");
    other.updateminmax(value(1));
    log.copyMinMax(other);
    EXPECT_EQ(max.todouble(), 1.0);
    EXPECT_FALSE(log.isMaxNegative());
    EXPECT_TRUE(log.isMinPositive());
    log.reset();
    EXPECT_EQ(max.todouble(), -kLargest);
    EXPECT_EQ(&log.getMax(), &max);
}

TEST(Logger, ResetKeepsMathOperationsAndNames) {
    const qlogger log = logger("here");
    log.updateminmax(value(1));
    log.setNMathOperations(4);
    log.setNoverflows(3);
    log.setNunderflows(3);
    log.setOldOverflows(2);
    log.setOldUnderflows(2);
    EXPECT_FALSE(log.isreset());
    log.reset();
    EXPECT_TRUE(log.isreset());
    EXPECT_EQ(log.getMin().todouble(), kLargest);
    EXPECT_EQ(log.getNoverflows() + log.getNunderflows() + log.getNoperations() + log.getOldOverflows() +
                  log.getOldUnderflows(),
              0u);
    EXPECT_EQ(log.getNMathoperations(), 4u);
    EXPECT_EQ(log.getTag(), "here");
    EXPECT_EQ(log.getOperationType(), Operation::Sum);
}

TEST(Logger, TellsEachChangeOnce) {
    const qlogger log = logger("");
    log.addtoOverflows(5);
    log.addtoUnderflows(7);
    EXPECT_EQ(log.changeInOverflows(), 5u);
    EXPECT_EQ(log.changeInOverflows(), 0u);
    EXPECT_EQ(log.changeInUnderflows(), 7u);
    EXPECT_EQ(log.changeInUnderflows(), 0u);
    log.addtoOverflows(2);
    EXPECT_EQ(log.changeInOverflows(), 2u);
}

TEST(Logger, SetKeepsTagOperationAndFlagsWhereAssignmentTakesThem) {
    qlogger source("source", Operation::Product, NumericType(false, 8, 4), true, true);
    source.setMax(value(2));
    source.setNMathOperations(6);
    source.setOldOverflows(3);
    source.setOldUnderflows(5);
    const auto target = [] { return qlogger("target", Operation::Sum, NumericType(), false, false); };
    qlogger kept = target();
    kept.set(source);
    EXPECT_EQ(kept.getTag(), "target");
    EXPECT_EQ(kept.getOperationType(), Operation::Sum);
    EXPECT_FALSE(kept.alwaysLog());
    EXPECT_FALSE(kept.writeLogOnDestroy());
    qlogger taken = target();
    taken = source;
    EXPECT_EQ(taken.getTag(), "source");
    EXPECT_EQ(taken.getOperationType(), Operation::Product);
    EXPECT_TRUE(taken.alwaysLog());
    EXPECT_TRUE(taken.writeLogOnDestroy());
    for (const qlogger* log : {&kept, &taken}) {
        EXPECT_EQ(log->getNumericType().getWordLength(), 8);
        EXPECT_EQ(log->getMax().todouble(), 2.0);
        EXPECT_EQ(log->getNMathoperations(), 6u);
        EXPECT_EQ(log->getOldOverflows(), 3u);
        EXPECT_EQ(log->getOldUnderflows(), 5u);
    }
    taken.copyMinMax(target());
    EXPECT_TRUE(taken.isreset());
}

TEST(Logger, AppliesFactorAndBiasOnTheWayInAndOut) {
    const NumericType type(NumericType::DataTypeModeEnum::FixedSlopeBias, true, 16, 1.25, -3, 2.0);
    const qlogger log("", Operation::Sum, type, true, false);
    log.setMaxLogFromRealWorldValue(7.0);
    log.setMinLogFromRealWorldValue(-3.0);
    EXPECT_EQ(log.getMax().todouble(), 4.0);
    EXPECT_EQ(log.getMin().todouble(), -4.0);
    EXPECT_EQ(log.getMaxLogAsRealWorldValue(), 7.0);
    EXPECT_EQ(log.getMinLogAsRealWorldValue(), -3.0);
}

TEST(Logger, RoundsExtremesThatAreSetToTheDefaultPrecision) {
    // A multi-precision element has at least 32 bits.
    const qlogger log("", Operation::Sum, NumericType(), true, false);
    number::setDefaultPrecision(8, true);
    log.setMaxLogFromRealWorldValue(0x1p40 + 1.0);
    log.setMinLogFromRealWorldValue(-0x1p40 - 1.0);
    number::setDefaultPrecision(52, false);
    EXPECT_EQ(log.getMax().todouble(), 0x1p40);
    EXPECT_EQ(log.getMin().todouble(), -0x1p40);
}

TEST(Logger, ShowsItself) {
    const qlogger log("speed", Operation::Sum, NumericType(), true, false);
    log.setMax(value(0.5));
    log.setMin(value(-0.25));
    log.setNoverflows(3);
    log.setNunderflows(12);
    HostCapture capture;
    log.disp();
    EXPECT_EQ(capture.printed,
              "        Max: 0.5\n        Min: -0.25\n NOverflows: 3\nNUnderflows: 12\n        Tag: speed\n");
    EXPECT_STREQ(qlogger::getVelmarClassName(), "qlogger");
    EXPECT_STREQ(qlogger::getVelmarPackageClassName(), "embedded.qlogger");
}

TEST(Logger, GivesAHostStructure) {
    const NumericType type(NumericType::DataTypeModeEnum::FixedSlopeBias, true, 16, 1.25, -3, 2.0);
    const qlogger log("", Operation::Sum, type, true, false);
    log.setMax(value(4));
    log.setMin(value(-4));
    log.setNoverflows(1);
    // Converted through a signed count, 2^63 + 1025 becomes a tie.
    log.setNunderflows((std::uint64_t{1} << 63) + 1025);
    log.setNoperations(std::numeric_limits<std::uint64_t>::max());
    struct Field {
        const char* name;
        double logged;
        double uninitialized;
    };
    const Field fields[] = {{"Max", 7.0, -kLargest},
                            {"Min", -3.0, kLargest},
                            {"NOverflows", 1.0, 0.0},
                            {"NUnderflows", 0x1p63, 0.0},
                            {"NOperations", 0x1p64, 0.0}};
    const hvArrayOwner logged(log.toHvArrayStruct());
    const hvArrayOwner uninitialized(qlogger::createUninitializedhvArrayStruct());
    for (int i = 0; i < 5; ++i) {
        SCOPED_TRACE(fields[i].name);
        EXPECT_STREQ(hvGetFieldNameByNumber(logged.get(), i), fields[i].name);
        EXPECT_EQ(hvGetScalar(hvGetField(logged.get(), 0, fields[i].name)), fields[i].logged);
        EXPECT_EQ(hvGetScalar(hvGetField(uninitialized.get(), 0, fields[i].name)), fields[i].uninitialized);
    }
}

TEST(LogKey, JoinsTagOperationAndTypeAndHasNoTextForDifferences) {
    const std::pair<Operation, const char*> rows[] = {{Operation::Unspecified, "t|Unspecified|s16,15"},
                                                      {Operation::Assignment, "t|Assignment|s16,15"},
                                                      {Operation::Product, "t|Product|s16,15"},
                                                      {Operation::Sum, "t|Sum|s16,15"},
                                                      {Operation::Difference, "t||s16,15"}};
    for (const auto& [operation, key] : rows) {
        EXPECT_EQ(logger("t", operation).createFilogKey(), key);
    }
}

TEST_F(LogMap, TakesALoggerAtItsEndUnderAllConditions) {
    struct Row {
        bool tagLogging;
        bool logType;
        bool writes;
        bool seen;
    };
    for (int bits = 0; bits < 16; ++bits) {
        SCOPED_TRACE(bits);
        const Row row{(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, (bits & 8) != 0};
        filog::getLogMap().clear();
        embedded::setFeatureFiTagLogging(row.tagLogging);
        qlogger::setLogType(row.logType ? embedded::LogTypeEnum::WriteLogMap : embedded::LogTypeEnum::Off);
        {
            const qlogger log = logger("t", Operation::Sum, true, row.writes);
            if (row.seen) {
                log.updateminmax(value(1));
            }
        }
        EXPECT_EQ(filog::getLogMap().size(), bits == 15 ? 1u : 0u);
    }
}

TEST_F(LogMap, MergesLoggersOfOneKey) {
    embedded::setFeatureFiTagLogging(true);
    qlogger::setLogType(embedded::LogTypeEnum::WriteLogMap);
    for (const double x : {2.0, -5.0, 3.0}) {
        const qlogger log = logger("a");
        log.updateminmax(value(x));
        log.addtoOverflows(1);
        log.addtoUnderflows(10);
    }
    logger("b", Operation::Product).updateminmax(value(9));
    auto& logs = filog::getLogMap();
    ASSERT_EQ(logs.size(), 2u);
    const filog& merged = logs.at("a|Sum|s16,15");
    EXPECT_EQ(merged.getKey(), "a|Sum|s16,15");
    EXPECT_EQ(merged.getTag(), "a");
    EXPECT_EQ(merged.getOperationType(), Operation::Sum);
    EXPECT_EQ(merged.getNumericType().getFractionLength(), 15);
    EXPECT_EQ(merged.getMinLog(), -5.0);
    EXPECT_EQ(merged.getMaxLog(), 3.0);
    EXPECT_EQ(merged.getNumberOfOverflows(), 3u);
    EXPECT_EQ(merged.getNumberOfUnderflows(), 30u);
    EXPECT_EQ(logs.at("b|Product|s16,15").getMaxLog(), 9.0);
    EXPECT_EQ(filog().getMaxLog(), -kLargest);
    EXPECT_EQ(filog().getMinLog(), kLargest);
}
