// What a user does with logs: objects of class "qlogger" and "filog", the switches and the log map.
#include <cmath>
#include <limits>

#include "tests/binding/session_support.h"

namespace {

class LogClasses : public BindingTest {
 protected:
    /// Values are 2 + 0.1875 k with k of 12 bits.
    Value slopeBias() {
        return made("embedded.numerictype", {{"DataTypeMode", "Fixed-point: slope and bias scaling"},
                                             {"WordLength", 12},
                                             {"Slope", 0.1875},
                                             {"Bias", 2}});
    }
    /// Gives values to an array with a tag, which then is gone.
    void use(const std::vector<double>& values, const Value& type, const char* tag) {
        fi(values, type).set("Tag", tag);
    }
    Value logs() { return session.callStatic("embedded.filog", "getlogs"); }
    void TearDown() override {
        session.callStatic("embedded.qlogger", "SetLogType", {0});
        session.setFeature("FiTagLogging", 0);
        session.callStatic("embedded.filog", "clearlogs");
        BindingTest::TearDown();
    }
};

TEST_F(LogClasses, AreNamedWhereSetIsRefused) {
    for (const auto& [name, label] : {std::pair("qlogger", "QLOGGER"), std::pair("filog", "FILOG")}) {
        const Value object = session.construct(std::string("embedded.") + name);
        const Raised raised = refusal("set", {object, "Tag", "x"});
        EXPECT_NE(raised.message.find(std::string("of a ") + label + " object"), std::string::npos);
    }
}

TEST_F(LogClasses, ALogIsReadAndWrittenInRealWorldValues) {
    logging(true);
    const Value log = fi(Numbers{5.2, -1.05, 1e6}, slopeBias()).call("getqloggerstruct", {0});
    EXPECT_EQ(log.get("Max"), Value(2 + 0.1875 * 2047));
    EXPECT_EQ(log.get("Min"), Value(-1));
    EXPECT_EQ(log.get("NOverflows"), Value(1));
    EXPECT_EQ(log.get("NOperations"), Value(3));
    const std::tuple<const char*, Value, Value> rows[] = {{"Max", 5.5, 5.5},
                                                          {"Min", 2.1875, 2.1875},
                                                          {"NUnderflows", -3, 0},
                                                          {"NOperations", 0x1.8p63, 0x1.8p63},
                                                          {"NOverflows", 0x1p80, 0x1p64},
                                                          {"NOverflows", 7.9, 7},
                                                          {"Tag", "here", "here"}};
    for (const auto& [name, written, read] : rows) {
        log.set(name, written);
        EXPECT_EQ(log.get(name), read) << name;
    }
    session.display(log);
    EXPECT_EQ(session.takePrinted(),
              "        Max: 5.5\n        Min: 2.1875\n NOverflows: 7\nNUnderflows: 0\n        Tag: here\n");
}

TEST_F(LogClasses, TaggedArraysLeaveRecordsWhileTheSwitchesAreOn) {
    const struct {
        bool isLogging;
        double logType;
        int feature;
        bool isKept;
    } rows[] = {{true, 1, 1, true},
                {true, 1.9, 1, true},
                {true, 0, 1, false},
                {true, -0.9, 1, false},
                {false, 1, 1, false},
                {true, 1, 0, false},
                {true, std::nan(""), 1, false},
                {true, 1e300, 1, false}};
    for (const auto& row : rows) {
        logging(row.isLogging);
        EXPECT_EQ(s16(1).get("Logging"), Value(row.isLogging));
        session.setFeature("FiTagLogging", row.feature);
        session.callStatic("embedded.qlogger", "SetLogType", {row.logType});
        use({100, -0.01, -2}, type(true, 8, 4), "in");
        use({0.5, -7}, type(true, 8, 4), "in");
        use({5.2}, slopeBias(), "other");
        session.callStatic("embedded.qlogger", "SetLogType", {0});
        const Value kept = logs();
        ASSERT_EQ(kept.dimensions(), (std::vector<std::size_t>{row.isKept ? 2U : 0U, 1})) << &row - rows;
        EXPECT_TRUE(session.callStatic("embedded.filog", "clearlogs").isEmpty());
        EXPECT_TRUE(logs().isEmpty());
        if (row.isKept) {
            // The user's own copies, which the map's end leaves alone.
            EXPECT_EQ(typeOf(kept.cell(0)), "s8,4");
            EXPECT_EQ(kept.cell(0).get("Key").toText().substr(0, 14), "in|Assignment|");
            const std::pair<const char*, Value> wanted[] = {{"Tag", "in"},          {"OperationType", "Assignment"},
                                                            {"DataType", "Fixed"},  {"Scaling", "BinaryPoint"},
                                                            {"Signed", true},       {"Signedness", "Signed"},
                                                            {"Slope", 0x1p-4},      {"minlog", -7},
                                                            {"maxlog", 127.0 / 16}, {"noverflows", 1},
                                                            {"nunderflows", 1}};
            for (const auto& [name, value] : wanted) {
                EXPECT_EQ(kept.cell(0).get(name), value) << name;
            }
            EXPECT_EQ(kept.cell(1).get("maxlog"), Value(5.1875));
        }
    }
}

TEST_F(LogClasses, TheSessionAddsOnceWhatItWarnsOf) {
    const Value values = Numbers{9, 8, 1e-9};
    const Value t = type(true, 8, 4);
    const auto array = [&] { return fi(Numbers{1, 2, 3}, t); };
    const std::pair<const char*, std::function<Value()>> roads[] = {
        {"data",
         [&] {
             const Value made = array();
             made.set("data", values);
             return made;
         }},
        {"copydata",
         [&] {
             const Value made = array();
             session.call(0, "copydata", {made, fi(values, type("Double"))});
             return made;
         }},
        {"constructor", [&] { return fi(values, t, true); }},
        {"elements", [&] { return session.assign(array(), {hostref::paren(hostref::colon())}, values); }}};
    for (const auto& [name, assigned] : roads) {
        SCOPED_TRACE(name);
        logging(false);
        assigned();
        EXPECT_EQ(reports(), "");
        logging(true);
        session.call(0, "resetgloballog", {array()});
        const Value made = assigned();
        EXPECT_EQ(reports(), "2 overflows in assignment, 1 underflow in assignment");
        for (int again = 0; again < 2; ++again) {
            EXPECT_EQ(assignmentTotals(made), "FI assignment overflows : 2\nFI assignment underflows: 1\n");
            session.assign(made, {hostref::paren(1)}, 0);
            EXPECT_EQ(reports(), "");
        }

        // What was counted and not yet told waits until logging is on again.
        const Value waiting = fi(100, t);
        logging(false);
        waiting.set("data", values);
        session.call(0, "copydata", {waiting, made});
        EXPECT_EQ(reports(), "");
        logging(true);
        waiting.set("data", 0);
        EXPECT_EQ(reports(), "1 overflow in assignment");
        EXPECT_EQ(assignmentTotals(made), "FI assignment overflows : 3\nFI assignment underflows: 1\n");
    }
}

// The number is an array for a moment, which logs, too.
TEST_F(LogClasses, ANumberBesideATaggedArrayLeavesNoRecordUnderItsTag) {
    logging(true);
    session.setFeature("FiTagLogging", 1);
    session.callStatic("embedded.qlogger", "SetLogType", {1});
    const Value tagged = s16(0.5);
    tagged.set("Tag", "in");
    EXPECT_EQ(session.call("eq", {tagged, 0.5}), Value(true));
    const Value kept = logs();
    for (std::size_t i = 0; i < kept.numberOfElements(); ++i) {
        EXPECT_NE(kept.cell(i).get("Tag"), Value("in"));
    }
}

TEST_F(LogClasses, TheTypeOfARecordIsWrittenByTheSystem) {
    const Value record = session.construct("embedded.filog");
    EXPECT_EQ(typeOf(record), "s16,15");
    record.set("OperationType", "Difference");
    record.set("Key", "k");
    setInternally(record, "numerictype", slopeBias().interface());
    // Extremes are kept without factor and bias.
    const std::pair<const char*, double> reals[] = {{"maxlog", 5},          {"minlog", -1},
                                                    {"noverflows", 0x1p63}, {"nunderflows", 3},
                                                    {"Bias", -4},           {"SlopeAdjustmentFactor", 1.25}};
    for (const auto& [name, value] : reals) {
        setInternally(record, name, &value);
        EXPECT_EQ(record.get(name).toDouble(), value) << name;
    }
    EXPECT_EQ(record.get("maxlog"), Value(1.25 * 2 - 4));
    const std::tuple<const char*, std::int32_t, double> steps[] = {{"WordLength", 9, 0x1.4p-3},
                                                                   {"FractionLength", 4, 0x1.4p-4},
                                                                   {"BinaryPoint", 6, 0x1.4p-6},
                                                                   {"FixedExponent", 2, 5}};
    for (const auto& [name, value, slope] : steps) {
        setInternally(record, name, &value);
        EXPECT_EQ(record.get("Slope"), Value(slope)) << name;
    }
    for (const char* const name : {"SignednessBool", "Signed"}) {
        for (const bool isSigned : {false, true}) {
            setInternally(record, name, Value(isSigned).array());
            EXPECT_EQ(record.get("Signedness"), Value(isSigned ? "Signed" : "Unsigned"));
        }
        EXPECT_EQ(raisedBy([&, name] { setInternally(record, name, Value(3).array()); }).id.substr(0, 17),
                  "fixedpoint:FILOG:");
    }
    session.display(record);
    EXPECT_EQ(session.takePrinted().substr(0, 75),
              "\n          Key: k\n          Tag: \nOperationType: Difference\n  numerictype: ");
    const std::int32_t doubles = 2;
    setInternally(record, "DataType", &doubles);
    session.takeWarnings();
    EXPECT_EQ(record.get("DataTypeMode"), Value("Double"));
    EXPECT_EQ(session.takeWarnings().at(0).id, "fi:getdatatypemode");
}

}  // namespace
