// The logs of an array and the session's: what they give the host, where they are kept, when they are silent.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "logging/filog.h"
#include "tests/support/arrays.h"
#include "tests/support/arrays_of_fi.h"
#include "tests/support/errors.h"
#include "tests/support/filog_class.h"

namespace {

/// Logging on with empty session logs and an empty map; all is off and empty afterwards.
struct Logs : testing::Test {
    Logs() { fi::resetGlobalLog(); }
    ~Logs() override {
        fi::resetGlobalLog();
        embedded::setFeatureFiTagLogging(false);
        filog::clearglobalfilogs();
    }
    LoggingOn logging;
};
using SessionLogs = Logs;

NumericType type() {
    return fixedType(true, 8, 4);
}

/// An array with the tag that has seen 100, which saturates at 7.9375, and -0.01, which underflows to 0.
fi seenColumn(const char* tag) {
    fi array = column({100.0, -0.01}, type());
    array.setTag(tag);
    return array;
}

/// Gives the array a sum register with a log of its own.
void fillSumRegister(const fi& array, double max) {
    array.initializeSumRegister(fixedType(true, 20, 6), array.getFimath(), 0);
    const qlogger& log = array.getsumQlogger();
    log.setMaxLogFromRealWorldValue(max);
    log.setMinLogFromRealWorldValue(-max);
    log.setNoverflows(5);
    log.setNunderflows(6);
    log.setNoperations(7);
}

double fieldOf(const hvArrayOwner& structure, const char* log, const char* field) {
    return hvGetScalar(hvGetField(hvGetField(static_cast<const hvArray*>(structure.get()), 0, log), 0, field));
}

std::vector<double> fieldsOf(const hvArrayOwner& structure, const char* log) {
    std::vector<double> values;
    for (const char* field : {"Max", "Min", "NOverflows", "NUnderflows", "NOperations"}) {
        values.push_back(fieldOf(structure, log, field));
    }
    return values;
}

const std::vector<double> kUninitialized = {-std::numeric_limits<double>::max(), std::numeric_limits<double>::max(), 0,
                                            0, 0};

}  // namespace

TEST_F(Logs, GoToTheHostAsAStructureOfFour) {
    const fi array = seenColumn("a");
    hvArrayOwner saved(array.saveLogsInHvArrayStruct());
    EXPECT_EQ(dimensionsOf(saved), (std::vector<std::size_t>{1, 1}));
    ASSERT_EQ(hvGetNumberOfFields(saved.get()), 4);
    const char* const names[] = {"Assignment", "Sum", "Product", "ProductSum"};
    for (int i = 0; i < 4; ++i) {
        EXPECT_STREQ(hvGetFieldNameByNumber(saved.get(), i), names[i]);
    }
    EXPECT_EQ(fieldsOf(saved, "Assignment"), (std::vector<double>{7.9375, 0, 1, 1, 2}));
    for (const char* absent : {"Sum", "Product", "ProductSum"}) {
        EXPECT_EQ(fieldsOf(saved, absent), kUninitialized) << absent;
    }
    fillSumRegister(array, 3.0);
    saved.reset(array.saveLogsInHvArrayStruct());
    EXPECT_EQ(fieldsOf(saved, "Sum"), (std::vector<double>{3.0, -3.0, 5, 6, 7}));
    EXPECT_EQ(fieldsOf(saved, "ProductSum"), kUninitialized);
}

TEST_F(Logs, ReadAndTakeRealWorldExtremes) {
    fi array = scalar(2.0, slopeBiasType(true, 16, 1.25, -3, 2.0));
    array.setMaxLogFromRealWorldValue(7.0);
    array.setMinLogFromRealWorldValue(-3.0);
    EXPECT_EQ(array.getQlogger().getMax().todouble(), 4.0);
    EXPECT_EQ(array.getQlogger().getMin().todouble(), -4.0);
    EXPECT_EQ(array.getMaxLogAsRealWorldValue(), 7.0);
    EXPECT_EQ(array.getMinLogAsRealWorldValue(), -3.0);
    EXPECT_EQ(array.getNoperations(), array.getQlogger().getNoperations());
    EXPECT_EQ(array.getNmathoperations(), 0u);
}

TEST_F(Logs, AreResetTogetherWithThoseOfRegisters) {
    const fi array = seenColumn("a");
    fillSumRegister(array, 3.0);
    array.initializeProductRegister(array.getNumericType(), array.getNumericType(), array.getFimath(), 0);
    for (const qlogger* log : {&array.getproductQlogger(), &array.getproductregsumQlogger()}) {
        log->setMaxLogFromRealWorldValue(3.0);
    }
    fi::setLogging(false);
    array.resetLogging();
    EXPECT_TRUE(array.getQlogger().isreset());
    EXPECT_TRUE(array.getproductQlogger().isreset());
    EXPECT_TRUE(array.getproductregsumQlogger().isreset());
    EXPECT_TRUE(array.getsumQlogger().isreset());
    EXPECT_EQ(array.getNoverflows() + array.getNunderflows() + array.getNoperations(), 0u);
    EXPECT_EQ(array.getsumQlogger().getNoverflows(), 0u);
    EXPECT_EQ(array.getTag(), "a");
}

TEST_F(Logs, BecomeRecordsOfThoseThatHaveSeenValues) {
    const FilogPackage package;
    {
        const hvArrayOwner none(
            fi(1, 1, type(), rulesOf(), false, "", true, Operation::Assignment, 0).getlocalfilogs());
        EXPECT_TRUE(hvIsCell(none.get()));
        EXPECT_EQ(dimensionsOf(none), (std::vector<std::size_t>{0, 1}));

        const fi array = seenColumn("a");
        fillSumRegister(array, 3.0);
        const hvArrayOwner cells(array.getlocalfilogs());
        ASSERT_EQ(dimensionsOf(cells), (std::vector<std::size_t>{2, 1}));
        EXPECT_EQ(keysIn(cells.get()), (std::vector<std::string>{"a|Assignment|s8,4", "a|Sum|s20,6"}));
        EXPECT_EQ(recordIn(cells.get(), 0).getMaxLog(), 7.9375);
        EXPECT_EQ(recordIn(cells.get(), 0).getNumberOfOverflows(), 1u);
        EXPECT_EQ(recordIn(cells.get(), 1).getNumberOfUnderflows(), 6u);
        for (std::size_t row = 0; row < 2; ++row) {
            EXPECT_EQ(handleIn(cells.get(), row)->getNumberOfReferences(), 1);
            EXPECT_EQ(handleIn(cells.get(), row)->getNumberOfExternalReferences(), 0);
        }
        // Nothing was reset or written.
        EXPECT_EQ(array.getNoverflows(), 1u);
        EXPECT_TRUE(filog::getLogMap().empty());

        array.getQlogger().reset();
        const hvArrayOwner sum(array.getlocalfilogs());
        EXPECT_EQ(keysIn(sum.get()), std::vector<std::string>{"a|Sum|s20,6"});
    }
    EXPECT_EQ(FilogClass::sDestroyed, 3);
}

TEST_F(Logs, NeedTheClassOfRecordsOnlyWhenThereAreSome) {
    EXPECT_EQ(raisedBy([] { hvDestroyArray(seenColumn("a").getlocalfilogs()); }).id, "fixedpoint:filog:notRegistered");
    const hvArrayOwner none(fi().getlocalfilogs());
    EXPECT_TRUE(hvIsEmpty(none.get()));
}

TEST_F(Logs, MoveIntoTheMapAndMergeThere) {
    embedded::setFeatureFiTagLogging(true);
    const fi array = seenColumn("a");
    fillSumRegister(array, 3.0);
    array.consolidatelocalfilogs();
    EXPECT_TRUE(array.getQlogger().isreset());
    EXPECT_TRUE(array.getsumQlogger().isreset());
    // What has been moved is not moved again.
    array.consolidatelocalfilogs();
    seenColumn("a").consolidatelocalfilogs();
    fillSumRegister(array, 8.0);
    array.consolidatelocalfilogs();
    const auto& logs = filog::getLogMap();
    ASSERT_EQ(logs.size(), 2u);
    EXPECT_EQ(logs.at("a|Assignment|s8,4").getNumberOfOverflows(), 2u);
    EXPECT_EQ(logs.at("a|Assignment|s8,4").getMaxLog(), 7.9375);
    EXPECT_EQ(logs.at("a|Sum|s20,6").getMaxLog(), 8.0);
    EXPECT_EQ(logs.at("a|Sum|s20,6").getMinLog(), -8.0);
    EXPECT_EQ(logs.at("a|Sum|s20,6").getNumberOfOverflows(), 10u);
    EXPECT_EQ(logs.at("a|Sum|s20,6").getNumberOfUnderflows(), 12u);
}

TEST_F(Logs, AreWrittenOnceByAnArrayThatIsAssigned) {
    for (const bool isIntoItself : {false, true}) {
        {
            fi wide = seenColumn("w");
            fi narrow = scalar(0.0, fixedType(true, 4, 0));
            narrow = wide;
            embedded::setFeatureFiTagLogging(true);
            qlogger::setLogType(embedded::LogTypeEnum::WriteLogMap);
            if (isIntoItself) {
                wide.subscriptedOverwriteAssignment(doubles(2, 1, {-1, -2}).get(), wide);
            }
            EXPECT_TRUE(filog::getLogMap().empty());
        }
        qlogger::setLogType({});
        const auto record = filog::getLogMap().find("w|Assignment|s8,4");
        ASSERT_NE(record, filog::getLogMap().end());
        EXPECT_EQ(record->second.getNumberOfOverflows(), 1u);
        EXPECT_EQ(record->second.getNumberOfUnderflows(), 1u);
        filog::clearglobalfilogs();
    }
}

TEST_F(Logs, AreResetThoughTheMapTakesNothing) {
    const fi array = seenColumn("a");
    array.consolidatelocalfilogs();
    EXPECT_TRUE(filog::getLogMap().empty());
    EXPECT_TRUE(array.getQlogger().isreset());
}

// Assignments and the session

TEST_F(SessionLogs, TakeWhatALogHasGainedOnceAndItsExtremes) {
    const fi array = seenColumn("a");
    fi::updateAssignlog(array.getQlogger());
    fi::updateAssignlog(array.getQlogger());
    EXPECT_EQ(fi::getAssignlog().getNoverflows(), 1u);
    EXPECT_EQ(fi::getAssignlog().getNunderflows(), 1u);
    EXPECT_EQ(fi::getAssignlog().getMax().todouble(), 7.9375);
    // Extremes are those of the last log and not of all.
    const fi smaller = column({-2.0, 1.0}, type());
    fi::updateAssignlog(smaller.getQlogger());
    EXPECT_EQ(fi::getAssignlog().getMax().todouble(), 1.0);
    EXPECT_EQ(fi::getAssignlog().getMin().todouble(), -2.0);
    EXPECT_EQ(fi::getAssignlog().getNoverflows(), 1u);
    EXPECT_TRUE(fi::getSumlog().isreset() && fi::getProductlog().isreset());
}

TEST_F(SessionLogs, AddThroughTheirGateAndMoveTheMarksAnyway) {
    const fi array = seenColumn("a");
    fi::setLogging(false);
    fi::updateAssignlog(array.getQlogger());
    EXPECT_EQ(fi::getAssignlog().getNoverflows(), 0u);
    EXPECT_EQ(array.getQlogger().getOldOverflows(), 1u);
    EXPECT_EQ(fi::getAssignlog().getMax().todouble(), 7.9375);
    array.getQlogger().setOldOverflows(0);
    fi::getAssignlog().setAlwaysLog(true);
    fi::updateAssignlog(array.getQlogger());
    fi::getAssignlog().setAlwaysLog(false);
    EXPECT_EQ(fi::getAssignlog().getNoverflows(), 1u);
    fi::setLogging(true);
}

TEST_F(SessionLogs, HearNothingOfWhatWasReportedBefore) {
    const fi array = seenColumn("a");
    HostCapture capture;
    fi::displaySubsasgnLogging(array.getQlogger());
    fi::updateAssignlog(array.getQlogger());
    fi::displaySubsasgnLogging(array.getQlogger());
    EXPECT_EQ(capture.warnings, (std::vector<HostCapture::Warning>{
                                    {"fi:overflow", "1 overflow occurred in the fi assignment operation."},
                                    {"fi:underflow", "1 underflow occurred in the fi assignment operation."}}));
    EXPECT_EQ(fi::getAssignlog().getNoverflows(), 0u);
}

TEST_F(SessionLogs, ArePrintedAndResetWhileLoggingIsOn) {
    const qlogger* const logs[] = {&fi::getAssignlog(), &fi::getSumlog(), &fi::getProductlog()};
    std::uint64_t count = 1;
    for (const qlogger* log : logs) {
        log->setNoverflows(count++);
        log->setNunderflows(10000000000 * count++);
    }
    const std::string printed =
        "FI assignment overflows : 1\nFI assignment underflows: 20000000000\nFI sum overflows        : 3\n"
        "FI sum underflows       : 40000000000\nFI product overflows    : 5\nFI product underflows   : 60000000000\n";
    HostCapture capture;
    fi::displayGlobalLog();
    EXPECT_EQ(capture.printed, printed);
    fi::setLogging(false);
    fi::displayGlobalLog();
    fi::resetGlobalLog();
    EXPECT_EQ(capture.printed, printed);
    EXPECT_EQ(fi::getProductlog().getNunderflows(), 60000000000u);
    fi::setLogging(true);
    fi::resetGlobalLog();
    for (const qlogger* log : logs) {
        EXPECT_EQ(log->getNoverflows() + log->getNunderflows(), 0u);
    }
}

TEST_F(SessionLogs, HoldDoublesWhateverPrecisionNumbersTakeLater) {
    for (const qlogger* log : {&fi::getAssignlog(), &fi::getSumlog(), &fi::getProductlog()}) {
        EXPECT_NE(log->getMax().asDouble(), nullptr);
        EXPECT_FALSE(log->writeLogOnDestroy());
    }
}
