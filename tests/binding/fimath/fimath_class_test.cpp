// The classes "fimath" and "globalfimath" as the host sees them.
#include "tests/binding/class_tables.h"
#include "tests/binding/session_support.h"

namespace {

class FimathClass : public BindingTest {
 protected:
    Value makeRules() { return session.construct("embedded.fimath"); }
    static std::string roundModeOf(const Value& object) { return object.get("RoundMode").toText(); }
    Value callClass(const char* method, std::initializer_list<Value> arguments = {}) {
        return session.callStatic("embedded.fimath", method, arguments);
    }
    /// Every property that a user can read, written down.
    static std::string stateOf(const Value& rules) {
        std::string state;
        for (const OMPropInfo* const property : rules.interface()->getClass()->getProperties()) {
            if (property->isExternalGetAccess()) {
                state += testing::PrintToString(rules.get(property->getName())) + "\n";
            }
        }
        return state;
    }
    void TearDown() override {
        callClass("ResetGlobalFimath");
        BindingTest::TearDown();
    }
};

// Dialog strings

struct Typed {
    const char* number;  // without the name of the register, which stands where "%" does
    const char* text;
    double value;
    const char* shown;
};
constexpr Typed typed[] = {
    {"%WordLength", "8*5", 40, "40"},
    {"Max%WordLength", "99.9", 99, "99"},
    {"%FractionLength", "-2^3", -8, "-8"},
    {"%FixedExponent", "-7.9", -7, "-7"},
    {"%Slope", "2^-4", 0.0625, "2^-4"},
    {"%Slope", "3*2^-5", 0.09375, "0.09375"},
    {"%SlopeAdjustmentFactor", "5/4", 1.25, "1.25"},
    {"%Bias", "-1/4", -0.25, "-0.25"},
    {"%Bias", "1234567", 1234567, "1.2346e+06"},
};

std::string named(const char* pattern, const char* registerName) {
    std::string name = pattern;
    return name.replace(name.find('%'), 1, registerName);
}
std::string dialogNamed(const std::string& number) {
    return "PrivDLG" + number + "String";
}

TEST_F(FimathClass, ADialogStringShowsItsNumberAndTakesAnExpression) {
    for (const char* const which : {"Product", "Sum"}) {
        for (const Typed& row : typed) {
            const std::string number = named(row.number, which);
            SCOPED_TRACE(number);
            const Value rules = makeRules();
            rules.set(dialogNamed(number), row.text);
            EXPECT_EQ(rules.get(number).toDouble(), row.value);
            EXPECT_EQ(rules.get(dialogNamed(number)).toText(), row.shown);

            EXPECT_EQ(stateOf(rules), stateOf(made("embedded.fimath", {{number.c_str(), row.value}})));
            EXPECT_NE(stateOf(rules), stateOf(makeRules()));
        }
    }
}

TEST_F(FimathClass, ABadTextIsAnErrorAndChangesNothing) {
    const Value rules = makeRules();
    const std::string before = stateOf(rules);
    const auto answer = [&](const char* pattern, const char* which, const char* text) {
        const Raised raised = thrownBy([&] { rules.set(dialogNamed(named(pattern, which)), text); });
        EXPECT_EQ(stateOf(rules), before);
        EXPECT_EQ(session.takePrinted(), "");
        return raised.id;
    };
    for (const std::string name : {"Product", "Sum"}) {
        const char* const which = name.c_str();
        for (const Typed& row : typed) {
            for (const char* const text : {"no such thing (", "", "[1 2]", "'a'"}) {
                EXPECT_EQ(answer(row.number, which, text), "fixedpoint:fimath:dialogText") << row.number << text;
            }
        }
        EXPECT_EQ(answer("%FractionLength", which, "1e300"), "fixedpoint:fimath:dialogText");
        EXPECT_EQ(answer("%WordLength", which, "0"), "fixedpoint:fimath:NonPositive" + name + "WordLength");
        EXPECT_EQ(answer("Max%WordLength", which, "2^16"), "fixedpoint:fimath:TooBigMax" + name + "WordLength");
        EXPECT_EQ(answer("%Slope", which, "-1"), "TolvaneKit:fimathInvalidSetting");
        EXPECT_EQ(reports(), "");
        EXPECT_EQ(answer("%SlopeAdjustmentFactor", which, "2"), "");
        EXPECT_EQ(session.takeWarnings().size(), 1U);
    }
}

TEST_F(FimathClass, AWriteTellsTheListenersOfTheOtherForm) {
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"%WordLength", "9", "PrivDLG%WordLengthString='9' "},
        {"Max%WordLength", "9", "PrivDLGMax%WordLengthString='9' "},
        {"%Slope", "0.75",
         "PrivDLG%FractionLengthString='1' PrivDLG%FixedExponentString='-1' PrivDLG%SlopeString='0.75' "
         "PrivDLG%SlopeAdjustmentFactorString='1.5' "},
        {"%Bias", "3", "PrivDLG%BiasString='3' "},
        {"PrivDLG%WordLengthString", "9", "%WordLength=9 "},
        {"PrivDLGMax%WordLengthString", "9", "Max%WordLength=9 "},
        {"PrivDLG%FixedExponentString", "2", "%FractionLength=-2 %FixedExponent=2 %Slope=4 %SlopeAdjustmentFactor=1 "},
        {"PrivDLG%BiasString", "0.5", "%Bias=0.5 "},
    };
    for (const std::string which : {"Product", "Sum"}) {
        for (const auto& [pattern, text, heardPattern] : rows) {
            const std::string property = named(pattern, which.c_str());
            const Value rules = makeRules();
            const HeardValues heard(rules);
            rules.set(property, property.starts_with("PrivDLG") ? Value(text) : Value(std::stod(text)));
            std::string wanted = heardPattern;
            while (wanted.find('%') != std::string::npos) {
                wanted = named(wanted.c_str(), which.c_str());
            }
            EXPECT_EQ(heard.text(), wanted) << property;
        }
    }
}

// Methods

TEST_F(FimathClass, ComparesAndShowsRules) {
    const Value rules = makeRules();
    EXPECT_TRUE(session.call("isfimath", {rules}).toBool());
    const Value other = made("embedded.fimath", {{"ProductWordLength", 9}});
    EXPECT_TRUE(session.call("isequal", {rules, other}).toBool());
    other.set("ProductMode", "KeepLSB");
    EXPECT_FALSE(session.call("isequal", {rules, other}).toBool());
    EXPECT_EQ(idOf("isequal", {rules, Value()}), "fixedpoint:method:noObject");
    EXPECT_EQ(other.call("tostring").toText(),
              "fimath('RoundMode', 'nearest',...\n'OverflowMode', 'saturate',...\n'ProductMode', 'KeepLSB',...\n"
              "'ProductWordLength', 9,...\n'SumMode','FullPrecision',...\n'MaxSumWordLength', 128)");
    EXPECT_EQ(thrownBy([&] { callClass("tostring", {type(true, 8, 0)}); }).id, "VELMAR:class:WrongObjectType");
    session.display(other);
    EXPECT_EQ(session.takePrinted(),
              "\n             RoundMode: nearest\n          OverflowMode: saturate\n           ProductMode: KeepLSB\n"
              "     ProductWordLength: 9\n               SumMode: FullPrecision\n      MaxSumWordLength: 128\n");
    EXPECT_EQ(session.call("sqrt", {Value(Numbers{4, 9}), rules}), Value(Numbers{2, 3}));
    EXPECT_NE(idOf("sqrt", {"text", rules}), "");
}

TEST_F(FimathClass, RulesAndTypesListTheirPropertiesAndHaveNoTranspose) {
    const std::tuple<Value, const char*, const char*, std::size_t> rows[] = {
        {makeRules(), "FIMATH", "RoundMode", 6}, {type(true, 8, 0), "NUMERICTYPE", "Scaling", 4}};
    for (const auto& [object, label, property, count] : rows) {
        SCOPED_TRACE(label);
        EXPECT_EQ(object.call("set", {property}).numberOfElements(), count);
        EXPECT_EQ(
            thrownBy([&, &of = object, name = property] {
                of.call("set", {name, 1});
            }),
            (Raised{"fixedpoint:set:InvalidUse", std::string("You cannot use SET to change the properties of a ") +
                                                     label + " object; use dot notation instead."}));
        for (const std::string name : {"transpose", "ctranspose"}) {
            const std::string id = "fixedpoint:" + object.className().substr(9) + ":" + name + ":notdefined";
            EXPECT_EQ(thrownBy([&, &of = object] { of.call(name); }).id, id);
        }
    }
}

TEST_F(FimathClass, MethodsOfTheHostsLanguageMayChangeTheWayTheyAreCalled) {
    inOwnProcess([this] {
        const auto seven = [](int, std::span<const hvArray* const>) {
            std::vector<hvArrayOwner> results;
            results.emplace_back(hvCreateDoubleScalar(7));
            return results;
        };
        for (const Value& object : {makeRules(), type(true, 8, 0)}) {
            for (const char* const name : {"abs", "loadobj"}) {
                session.addMethod(object.className(), name, seven);
            }
            EXPECT_EQ(session.call("abs", {1, object}), Value(7));
            EXPECT_EQ(object.interface()->getClass()->getMethod("loadobj")->isStatic(),
                      object.className() == "embedded.numerictype");
        }
    });
}

TEST_F(FimathClass, TheGlobalRulesAreSetWrappedAndReset) {
    const Value given = rules({{"RoundMode", "floor"}});
    const Value array = fi(0.5, type(true, 8, 4), false);
    callClass("SetGlobalFimath", {given});
    given.set("RoundMode", "ceil");
    EXPECT_EQ(roundModeOf(array) + roundModeOf(makeRules()), "floorfloor");
    {
        const Value global = callClass("GetGlobalFimathState");
        EXPECT_EQ(global.className(), "embedded.globalfimath");
        global.set("RoundMode", "fix");
        EXPECT_EQ(roundModeOf(array), "fix");
        callClass("SetGlobalFimath", {given});
        EXPECT_EQ(roundModeOf(global), "ceil");
        callClass("SetGlobalFimath", {global});
        EXPECT_EQ(roundModeOf(array), "ceil");
        global.call("reset");
        EXPECT_EQ(roundModeOf(global) + roundModeOf(array), "nearestnearest");
    }
    callClass("SetGlobalFimath", {given});
    callClass("ResetGlobalFimath");
    EXPECT_EQ(roundModeOf(array), "nearest");
}

TEST_F(FimathClass, TheDictionaryKeepsRulesByTag) {
    inOwnProcess([this] {
        const char* const tag = "class test";
        const Value given = rules({{"RoundMode", "floor"}});
        EXPECT_FALSE(callClass("FimathDictionaryTagExists", {tag}).toBool());
        EXPECT_EQ(thrownBy([&] { callClass("SetGlobalFimath", {tag}); }).id, "VELMAR:class:MustBeHandle");
        callClass("SetGlobalFimath", {given, tag});
        EXPECT_TRUE(callClass("FimathDictionaryTagExists", {tag}).toBool());
        given.set("RoundMode", "ceil");
        const auto again = [&] { callClass("SetGlobalFimath", {given, tag}); };
        EXPECT_EQ(thrownBy(again).id, "fixedpoint:fimath:FimathKeyExists");
        EXPECT_EQ(roundModeOf(makeRules()), "floor");
        callClass("GetFromFimathDictionary", {tag}).set("RoundMode", "fix");
        EXPECT_EQ(roundModeOf(callClass("GetFromFimathDictionary", {tag})), "floor");
        callClass("ResetGlobalFimath");
        const Value array = fi(0.5, type(true, 8, 4));
        array.set("fimath", tag);
        EXPECT_EQ(roundModeOf(makeRules()) + roundModeOf(array), "nearestfloor");
        callClass("SetGlobalFimath", {tag});
        EXPECT_EQ(roundModeOf(makeRules()), "floor");

        const std::pair<const char*, std::string> rows[] = {{"SetGlobalFimath", "AddToFimathDictionary"},
                                                            {"GetFromFimathDictionary", "GetFromFimathDictionary"},
                                                            {"FimathDictionaryTagExists", "FimathDictionaryTagExists"}};
        for (const auto& [method, operation] : rows) {
            for (const Value& bad : {Value(1), Value(), type(true, 8, 0)}) {
                EXPECT_EQ(thrownBy([&, name = method] { callClass(name, {bad}); }),
                          (Raised{"VELMAR:UndefinedFunction", "No method '" + operation +
                                                                  "' with matching signature found for class "
                                                                  "embedded.fimath"}));
            }
        }
        const auto numbered = [&] { callClass("SetGlobalFimath", {given, 1}); };
        EXPECT_EQ(thrownBy(numbered).id, "VELMAR:UndefinedFunction");
        EXPECT_EQ(roundModeOf(makeRules()), "floor");
    });
}

TEST_F(FimathClass, AddSubAndMpyFollowTheGivenRules) {
    const Value wraps = rules({{"OverflowMode", "wrap"},
                               {"ProductMode", "KeepLSB"},
                               {"ProductWordLength", 9},
                               {"SumMode", "KeepLSB"},
                               {"SumWordLength", 7}});
    // Integers, modulo 2^7 and 2^9.
    const std::tuple<const char*, double, double, double, const char*> rows[] = {
        {"add", 60, 50, -18, "s7,0"}, {"sub", -60, 50, 18, "s7,0"}, {"mpy", -100, 50, 120, "s9,0"}};
    for (const auto& [method, a, b, value, typeName] : rows) {
        for (const bool isLocal : {false, true}) {
            const Value left = fi(a, type(true, 8, 0), isLocal);
            const Value right = s8(b);
            const Value result = session.call(method, {wraps, left, right});
            EXPECT_EQ(valuesOf(result), Numbers{value}) << method;
            EXPECT_EQ(typeOf(result), typeName);
            EXPECT_TRUE(session.call("isequal", {result.get("fimath"), wraps}).toBool());
            EXPECT_EQ(right.get("SumMode").toText(), "FullPrecision");
            EXPECT_EQ(valuesOf(left), Numbers{a});
        }
    }
    EXPECT_EQ(idOf("add", {wraps, s8(1), Value()}), "fixedpoint:method:noObject");
}

}  // namespace
