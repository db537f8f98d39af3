// The class "numerictype" as the host sees it.
#include <sstream>

#include "tests/binding/class_tables.h"
#include "tests/binding/session_support.h"

namespace {

class NumericTypeClass : public BindingTest {
 protected:
    Value slopeBias() {
        return made("embedded.numerictype", {{"DataTypeMode", "Fixed-point: slope and bias scaling"},
                                             {"WordLength", 12},
                                             {"Slope", 0.625},
                                             {"Bias", 0.5}});
    }
    static std::string expressionOf(const Value& type) { return type.call("tostring").toText(); }
};

/// A dialog falls silent over bad text; what the text stands for goes the way of the number, warnings and errors too.
TEST_F(NumericTypeClass, ADialogStringShowsItsNumberAndTakesAnExpression) {
    struct Row {
        const char* property;
        const char* shown;
        const char* text;
        const char* after;  // the expression that makes the type then
        const char* id = "";
    };
    const char* const same = "numerictype(true,12,0.625,0.5)";
    const Row rows[] = {
        {"WordLength", "12", "4*5", "numerictype(true,20,0.625,0.5)"},
        {"FractionLength", "1", "3.9", "numerictype(true,12,0.15625,0.5)"},
        {"Slope", "0.625", "3*2^2", "numerictype(true,12,12,0.5)"},
        {"Slope", "0.625", "-1", same, "TolvaneKit:numerictype:InvalidSetting"},
        {"Bias", "0.5", "-1/4", "numerictype(true,12,0.625,-0.25)"},
        {"WordLength", "12", "no such thing (", same},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.property) + " " + row.text);
        const std::string property = "PrivDLG" + std::string(row.property) + "String";
        const Value type = slopeBias();
        EXPECT_EQ(type.get(property).toText(), row.shown);
        EXPECT_EQ(thrownBy([&] { type.set(property, row.text); }).id, row.id);
        EXPECT_EQ(expressionOf(type), row.after);
    }
    const Value type = slopeBias();
    type.set("PrivDLGWordLengthString", "0");
    EXPECT_EQ(session.takeWarnings().size(), 1U);
    EXPECT_EQ(session.takePrinted() + expressionOf(type), same);
}

TEST_F(NumericTypeClass, AWriteTellsTheListenersWhatElseHasChanged) {
    struct Row {
        const char* property;
        Value value;
        const char* heard;
    };
    const char* const scale = "PrivDLGFractionLengthString='3' PrivDLGSlopeString='0.15625' ";
    const Row rows[] = {
        {"WordLength", 9, "PrivDLGWordLengthString='9' "},
        {"FractionLength", 3, scale},
        {"BinaryPoint", 3, scale},
        {"FixedExponent", -3, scale},
        {"Slope", 0.15625, scale},
        {"SlopeAdjustmentFactor", 1.5, "PrivDLGSlopeString='0.75' "},
        {"Bias", 2, "PrivDLGSlopeString='0.625' PrivDLGBiasString='2' "},
        {"PrivDLGWordLengthString", "9", "WordLength=9 "},
        {"PrivDLGFractionLengthString", "3", "FractionLength=3 Slope=0.15625 "},
        {"PrivDLGSlopeString", "5", "FractionLength=-2 Slope=5 "},
        {"PrivDLGBiasString", "2", "Bias=2 "},
        {"Signedness", "Unsigned", ""},
        {"DataTypeMode", "Double", ""},
    };
    for (const Row& row : rows) {
        const Value type = slopeBias();
        const HeardValues heard(type);
        type.set(row.property, row.value);
        EXPECT_EQ(heard.text(), row.heard) << row.property;
    }
}

TEST_F(NumericTypeClass, AnswersByDataTypeAndScaling) {
    const std::string questions =
        "isnumerictype isdouble issingle isboolean isfloat isfixed isscaledtype isscaleddouble isscalingbinarypoint "
        "isscalingslopebias isscalingunspecified isbinarypointscalingset isslopebiasscalingset isslopebiasscaled";
    const std::pair<const char*, const char*> rows[] = {{"Boolean", "1..1.........."},
                                                        {"Single", "1.1.1........."},
                                                        {"Double", "11..1........."},
                                                        {"Fixed-point: unspecified scaling", "1....11...1..."},
                                                        {"Fixed-point: binary point scaling", "1....11.1..1.."},
                                                        {"Fixed-point: slope and bias scaling", "1....11..1..1."},
                                                        {"Scaled double: unspecified scaling", "1.....11..1..."},
                                                        {"Scaled double: binary point scaling", "1.....111..1.."},
                                                        {"Scaled double: slope and bias scaling", "1.....11.1..1."}};
    for (const auto& [mode, answers] : rows) {
        const Value asked = type(mode);
        std::string given;
        std::istringstream asks(questions);
        for (std::string question; asks >> question;) {
            given += session.call(question, {asked}).toBool() ? '1' : '.';
        }
        EXPECT_EQ(given, answers) << mode;
    }
    EXPECT_TRUE(session.call("isslopebiasscaled", {slopeBias()}).toBool());
}

TEST_F(NumericTypeClass, ComparesShowsAndListsTypes) {
    const Value settled = type(true, 16, 0);
    const Value open = type("Fixed-point: unspecified scaling");
    EXPECT_EQ(session.call("isequivalent", {settled, open}), Value(true));
    EXPECT_EQ(session.call("isequivalent", {open, settled}), Value(false));
    EXPECT_EQ(idOf("isequivalent", {open, Value()}), "fixedpoint:method:noObject");
    EXPECT_EQ(expressionOf(slopeBias()) + session.call("qpointstr", {slopeBias()}).toText(),
              "numerictype(true,12,0.625,0.5)s12,0.625,0.5");
    session.display(settled);
    EXPECT_EQ(session.takePrinted(),
              "\n          DataTypeMode: Fixed-point: binary point scaling\n            Signedness: Signed\n"
              "            WordLength: 16\n        FractionLength: 0\n");
    const Value rules = session.construct("embedded.fimath");
    for (const auto& [method, arguments] : {std::pair<const char*, std::vector<Value>>{"disp", {rules}},
                                            {"tostring", {s16(0.5)}},
                                            {"qpointstr", {Value()}},
                                            {"SetBestFractionLength", {rules, 1}}}) {
        EXPECT_EQ(thrownBy([&, name = method, &given = arguments] {
                      session.callStatic("embedded.numerictype", name, given);
                  }).id,
                  "VELMAR:class:WrongObjectType")
            << method;
    }
    EXPECT_EQ(session.call("sqrt", {Value(16), open}), Value(4));
    EXPECT_EQ(session.call("sqrt", {Value(-1), open, rules}), Value::complex(0, 1));
}

TEST_F(NumericTypeClass, SetsTheBestFractionLengthForAValue) {
    for (const auto& [value, fractionLength] :
         {std::pair{1.0, 14}, {-1.0, 15}, {0.0, 15}, {100.0, 8}, {0.3, 16}, {-4096.0, 3}}) {
        const Value given = type(true, 16, 2);
        session.call(0, "SetBestFractionLength", {given, value});
        EXPECT_EQ(integer(given.get("FractionLength")), fractionLength) << value;
    }
    const Value open = made("embedded.numerictype", {{"Signedness", "Auto"}});
    EXPECT_EQ(idOf("SetBestFractionLength", {open, 1}, 0), "fixedpoint:fi:setBestPrecision:unspecifiedSign");
}

}  // namespace
