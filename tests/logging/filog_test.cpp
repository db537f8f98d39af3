#include "logging/filog.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <memory>
#include <string>

#include "host/hv.h"
#include "logging/qlogger.h"
#include "tests/support/errors.h"
#include "tests/support/filog_class.h"
#include "tests/support/types.h"

using Operation = embedded::OperationTypeEnum;

namespace {

constexpr double kLargest = std::numeric_limits<double>::max();

NumericType slopeBias() {
    return NumericType(TypeMode::FixedSlopeBias, true, 16, 1.25, -3, 2.0);
}

filog recordOf(const NumericType& type) {
    return filog("k", "t", Operation::Sum, type, -4.0, 4.0, 1, 2);
}

/// Leaves an empty map behind.
struct SessionMap : testing::Test {
    ~SessionMap() override { filog::clearglobalfilogs(); }

    static void insert(const std::string& key, double max) {
        filog::getLogMap().emplace(key, filog(key, "t", Operation::Sum, NumericType(), -1.0, max, 3, 4));
    }
};

}  // namespace

TEST(FreshRecord, HasTheExtremesOfAnEmptyLogAndTheDefaultType) {
    const filog fresh;
    EXPECT_EQ(fresh.getKey(), "");
    EXPECT_EQ(fresh.getTag(), "");
    EXPECT_EQ(fresh.getOperationType(), Operation::Unspecified);
    EXPECT_EQ(fieldsOf(fresh.getNumericType()), fieldsOf(NumericType()));
    EXPECT_EQ(fresh.getMinLog(), kLargest);
    EXPECT_EQ(fresh.getMaxLog(), -kLargest);
    EXPECT_EQ(fresh.getNumberOfOverflows() + fresh.getNumberOfUnderflows(), 0u);
}

TEST(RecordOfALogger, TakesAllButTheKeyWithoutFactorAndBias) {
    const qlogger log("here", Operation::Difference, slopeBias(), true, false);
    log.setMaxLogFromRealWorldValue(7.0);
    log.setMinLogFromRealWorldValue(-3.0);
    log.setNoverflows(5);
    log.setNunderflows(6);
    for (const filog& record : {filog("key", log), filog(log)}) {
        EXPECT_EQ(record.getTag(), "here");
        EXPECT_EQ(record.getOperationType(), Operation::Difference);
        EXPECT_EQ(fieldsOf(record.getNumericType()), fieldsOf(slopeBias()));
        EXPECT_EQ(record.getMaxLog(), 4.0);
        EXPECT_EQ(record.getMinLog(), -4.0);
        EXPECT_EQ(record.getNumberOfOverflows(), 5u);
        EXPECT_EQ(record.getNumberOfUnderflows(), 6u);
    }
    EXPECT_EQ(filog("key", log).getKey(), "key");
    EXPECT_EQ(filog(log).getKey(), "");
}

TEST(Record, WidensItsExtremesAndAddsCounts) {
    struct Row {
        double min, max;
        double expectedMin, expectedMax;
    };
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const Row row : {Row{-5, 3, -5, 4}, {-3, 5, -4, 5}, {-4, 4, -4, 4}, {nan, nan, -4, 4}, {-9, 9, -9, 9}}) {
        SCOPED_TRACE(testing::Message() << row.min << ' ' << row.max);
        filog record = recordOf(NumericType());
        record.update(row.min, row.max, 10, 20);
        EXPECT_EQ(record.getMinLog(), row.expectedMin);
        EXPECT_EQ(record.getMaxLog(), row.expectedMax);
        EXPECT_EQ(record.getNumberOfOverflows(), 11u);
        EXPECT_EQ(record.getNumberOfUnderflows(), 22u);
    }
}

TEST(Record, AppliesFactorAndBiasOnTheWayInAndOut) {
    filog record = recordOf(slopeBias());
    EXPECT_EQ(record.getMinLogAsRealWorldValue(), -3.0);
    EXPECT_EQ(record.getMaxLogAsRealWorldValue(), 7.0);
    record.setMinLogFromRealWorldValue(-8.0);
    record.setMaxLogFromRealWorldValue(12.0);
    EXPECT_EQ(record.getMinLog(), -8.0);
    EXPECT_EQ(record.getMaxLog(), 8.0);
    // A third is rounded once in the reciprocal and once in the product.
    record.getNumericType() = NumericType(TypeMode::FixedSlopeBias, true, 16, 1.5, -3, 0.0);
    record.setMaxLogFromRealWorldValue(5.0);
    EXPECT_EQ(record.getMaxLog(), (1.0 / 1.5) * 5.0);
    EXPECT_NE(record.getMaxLog(), 5.0 / 1.5);
}

struct Setting {
    const char* property;
    std::function<void(filog&)> ofRecord;
    std::function<void(NumericType&)> ofType;
};
/// One action on a record and on a type.
template <class Set>
Setting setting(const char* property, Set set) {
    return {property, set, set};
}

TEST(Record, HasThePropertiesOfItsType) {
    const hvArrayOwner no(hvCreateLogicalScalar(false));
    const Setting settings[] = {
        setting("WordLength", [](auto& t) { t.setWordLength(9); }),
        setting("FractionLength", [](auto& t) { t.setFractionLength(7); }),
        setting("FixedExponent", [](auto& t) { t.setFixedExponent(7); }),
        setting("SlopeAdjustmentFactor", [](auto& t) { t.setSlopeAdjustmentFactor(1.5); }),
        setting("Slope", [](auto& t) { t.setSlope(6.0); }),
        setting("Bias", [](auto& t) { t.setBias(-1.0); }),
        setting("Signedness", [](auto& t) { t.setSignedness(TypeSign::Unsigned); }),
        setting("Scaling", [](auto& t) { t.setScaling(TypeScaling::BinaryPoint); }),
        setting("DataType", [](auto& t) { t.setDataType(TypeData::ScaledDouble); }),
        {"SignednessBool", [&](filog& r) { r.setSignednessBool(no.get()); },
         [](NumericType& t) { t.setSigned(false); }},
        {"SpecifiedSign", [&](filog& r) { r.setSpecifiedSign(no.get()); }, [](NumericType& t) { t.setSigned(false); }},
        // To double and back: the mode setter restarts from the default word.
        {"DataTypeMode",
         [](filog& r) {
             r.setDataTypeMode(TypeMode::Double);
             r.setDataTypeMode(TypeMode::FixedBinaryPoint);
         },
         [](NumericType& t) { t = NumericType(true, 16, 0); }},
    };
    for (const Setting& row : settings) {
        SCOPED_TRACE(row.property);
        filog record = recordOf(slopeBias());
        NumericType type = slopeBias();
        row.ofRecord(record);
        row.ofType(type);
        const TypeFields expected = fieldsOf(type);
        EXPECT_NE(expected, fieldsOf(slopeBias()));
        EXPECT_EQ(fieldsOf(record.getNumericType()), expected);
        EXPECT_EQ((TypeFields{record.getDataTypeMode(), record.getDataType(), record.getScaling(),
                              record.getSignedness(), record.getWordLength(), record.getSlopeAdjustmentFactor(),
                              record.getFixedExponent(), record.getBias()}),
                  expected);
        EXPECT_EQ(record.getFractionLength(), -expected.exponent);
        EXPECT_EQ(record.getSlope(), std::ldexp(expected.factor, expected.exponent));
        EXPECT_EQ(record.getMaxLog(), 4.0);
    }
}

TEST(Record, NamesItselfInTheErrorsOfTheSign) {
    filog record = recordOf(slopeBias());
    const hvArrayOwner two(hvCreateDoubleScalar(2.0));
    const hvArrayOwner text(hvCreateString("x"));
    EXPECT_EQ(raisedBy([&] { record.setSpecifiedSign(two.get()); }).id, "fixedpoint:FILOG:signed:InvalidValue");
    EXPECT_EQ(raisedBy([&] { record.setSignednessBool(text.get()); }),
              (Raised{"fixedpoint:FILOG:SignednessBool:InvalidValue",
                      "The SignednessBool property of the FILOG object must be 1 (true), 0 (false), or [] "
                      "(unspecified)."}));
    const hvArrayOwner none(hvCreateDoubleMatrix(0, 0));
    record.setSignednessBool(none.get());
    EXPECT_EQ(record.getSignedness(), TypeSign::Auto);
    const hvArrayOwner asBool(record.getSignednessBool());
    EXPECT_TRUE(hvIsEmpty(asBool.get()));
    EXPECT_EQ(raisedBy([&] { hvDestroyArray(record.getSpecifiedSignAsHvArray()); }).id,
              "fixedpoint:NUMERICTYPE:signed:InvalidValue");
    const hvArrayOwner asText(record.getSignednessAsHvArray());
    EXPECT_EQ(hvArray2String(asText.get()), "Auto");
}

TEST(Record, ShowsItself) {
    struct Row {
        filog record;
        const char* printed;
    };
    const Row rows[] = {
        {filog("a|Sum|s16,15", "a", Operation::Sum, NumericType(), -0.5, 0.25, 3, 12),
         "\n          Key: a|Sum|s16,15\n          Tag: a\nOperationType: Sum\n  numerictype: numerictype(true,16,15)"
         "\n       minlog: -0.5\n       maxlog: 0.25\n   noverflows: 3\n  nunderflows: 12\n"},
        // Here a difference has a name, and counts beyond int are unchanged.
        {filog("", "", Operation::Difference, NumericType(TypeMode::FixedSlopeBias, true, 16, 1.25, -3, 2.0), -4, 4,
               5000000000u, std::numeric_limits<std::uint64_t>::max()),
         "\n          Key: \n          Tag: \nOperationType: Difference\n  numerictype: numerictype(true,16,0.15625,2)"
         "\n       minlog: -3\n       maxlog: 7\n   noverflows: 5000000000\n  nunderflows: 18446744073709551615\n"}};
    for (const Row& row : rows) {
        HostCapture capture;
        row.record.disp();
        EXPECT_EQ(capture.printed, row.printed);
    }
}

// The log map and the host

TEST_F(SessionMap, GivesTheHostCopiesInTheOrderOfKeys) {
    insert("b", 2.0);
    insert("B", 1.0);
    insert("", 0.0);
    insert("b|", 3.0);
    const FilogPackage package;
    {
        const hvArrayOwner cells(filog::getglobalfilogs());
        ASSERT_TRUE(hvIsCell(cells.get()));
        EXPECT_EQ(hvGetM(cells.get()), 4u);
        EXPECT_EQ(hvGetN(cells.get()), 1u);
        EXPECT_EQ(keysIn(cells.get()), (std::vector<std::string>{"", "B", "b", "b|"}));
        EXPECT_STREQ(hvGetClassName(hvGetCell(cells.get(), 0)), "embedded.filog");
        for (std::size_t row = 0; row < 4; ++row) {
            EXPECT_EQ(recordIn(cells.get(), row).getMaxLog(), static_cast<double>(row));
            EXPECT_EQ(recordIn(cells.get(), row).getNumberOfUnderflows(), 4u);
            // The cell holds the only reference, an external one.
            EXPECT_EQ(handleIn(cells.get(), row)->getNumberOfReferences(), 1);
            EXPECT_EQ(handleIn(cells.get(), row)->getNumberOfExternalReferences(), 1);
        }
        // The host's records and the map are independent.
        recordIn(cells.get(), 2).setMaxLog(99.0);
        EXPECT_EQ(filog::getLogMap().at("b").getMaxLog(), 2.0);
        filog::clearglobalfilogs();
        EXPECT_TRUE(filog::getLogMap().empty());
        EXPECT_EQ(recordIn(cells.get(), 3).getKey(), "b|");
        EXPECT_EQ(FilogClass::sDestroyed, 0);
    }
    EXPECT_EQ(FilogClass::sDestroyed, 4);
}

TEST_F(SessionMap, GivesNoRowsWhenItIsEmpty) {
    // Nothing is wrapped, so no class is needed.
    const hvArrayOwner cells(filog::getglobalfilogs());
    EXPECT_TRUE(hvIsCell(cells.get()));
    EXPECT_EQ(hvGetM(cells.get()), 0u);
    EXPECT_EQ(hvGetN(cells.get()), 1u);
    filog::clearglobalfilogs();
    EXPECT_TRUE(filog::getLogMap().empty());
}

TEST_F(SessionMap, NeedsTheClassForItsRecords) {
    insert("a", 1.0);
    EXPECT_EQ(raisedBy([] { filog::getglobalfilogs(); }),
              (Raised{"fixedpoint:filog:notRegistered", "The class 'embedded.filog' is not registered."}));
    EXPECT_EQ(filog::getLogMap().size(), 1u);
}

TEST(HostValueOfARecord, IsInternalWhenItWasAskedSo) {
    const FilogPackage package;
    {
        const hvArrayOwner value(filog::convertToInternalVelmarArray(std::make_unique<filog>(recordOf(slopeBias()))));
        auto* const handle = static_cast<OMInterface*>(hvGetHandle(value.get()));
        EXPECT_EQ(handle->getNumberOfReferences(), 1);
        EXPECT_EQ(handle->getNumberOfExternalReferences(), 0);
    }
    EXPECT_EQ(FilogClass::sDestroyed, 1);
}
