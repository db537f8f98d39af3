// The classes "fimath" and "globalfimath" as the host sees them.
#include <cstring>
#include <random>

#include "tests/binding/class_tables.h"
#include "tests/binding/session_support.h"

namespace {

class FimathClass : public BindingTest {
 protected:
    Value makeRules() { return session.construct("embedded.fimath"); }
    static std::string expressionOf(const Value& rules) { return rules.call("tostring").toText(); }
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

TEST_F(FimathClass, HasItsPropertiesAndMethodsInOrder) {
    const OMClass& rules = *makeRules().interface()->getClass();
    EXPECT_EQ(propertyLines(rules), R"(
sgSGzclv RoundMode quantizer Round Mode
sgSGzclv OverflowMode quantizer Overflow Mode
--SGz-lv PrecisionMode fimathPrecisionModeEnum
sgSGzclv ProductMode fimathArithmeticModeEnum
sgSGzclv ProductWordLength int32
sgSGzclv MaxProductWordLength int32
sgSGzclv ProductFractionLength int32
sgSGzclv ProductFixedExponent int32
sgSGz-lv ProductSlope double
sgSGzclv ProductSlopeAdjustmentFactor double
sgSGzclv ProductBias double
sgSGzclv SumMode fimathArithmeticModeEnum
sgSGzclv SumWordLength int32
sgSGzclv MaxSumWordLength int32
sgSGzclv SumFractionLength int32
sgSGzclv SumFixedExponent int32
sgSGz-lv SumSlope double
sgSGzclv SumSlopeAdjustmentFactor double
sgSGzclv SumBias double
sgSGzclv CastBeforeSum bool
sgSG--l- PrivDLGProductWordLengthString string
sgSG--l- PrivDLGMaxProductWordLengthString string
sgSG--l- PrivDLGProductFractionLengthString string
sgSG--l- PrivDLGProductFixedExponentString string
sgS---l- PrivDLGProductSlopeString string
sgSG--l- PrivDLGProductSlopeAdjustmentFactorString string
sgSG--l- PrivDLGProductBiasString string
sgSG--l- PrivDLGSumWordLengthString string
sgSG--l- PrivDLGMaxSumWordLengthString string
sgSG--l- PrivDLGSumFractionLengthString string
sgSG--l- PrivDLGSumFixedExponentString string
sgS---l- PrivDLGSumSlopeString string
sgSG--l- PrivDLGSumSlopeAdjustmentFactorString string
sgSG--l- PrivDLGSumBiasString string
s-S----- CStyle array
)");
    EXPECT_EQ(methodLines(rules), R"(
disp (fimath)
isequal (fimath, fimath) array
isfimath (fimath) array
any sqrt (array, fimath) array
transpose (array) array
ctranspose (array) array
set (array...) array
tostring (handle) array
static SetGlobalFimath (fimath) (array) (fimath, array)
static ResetGlobalFimath ()
static GetGlobalFimathState () globalfimath
static GetFromFimathDictionary (array) fimath
static FimathDictionaryTagExists (array) array
add (fimath, fi, fi) fi
mpy (fimath, fi, fi) fi
sub (fimath, fi, fi) fi
)");
    ASSERT_EQ(rules.getConstructorSignatures().size(), 1U);
    EXPECT_EQ(signatureText(*rules.getConstructorSignatures().front()), "()");
    const Value global = callClass("GetGlobalFimathState");
    EXPECT_EQ(propertyLines(*global.interface()->getClass()), "\n");
    EXPECT_EQ(methodLines(*global.interface()->getClass()), "\nreset (globalfimath)\n");
}

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

            const Value direct = makeRules();
            direct.set(number, row.value);
            EXPECT_EQ(stateOf(rules), stateOf(direct));
            EXPECT_NE(stateOf(rules), stateOf(makeRules()));
        }
    }
}

TEST_F(FimathClass, ABadTextIsAnErrorAndChangesNothing) {
    const Value rules = makeRules();
    const std::string before = stateOf(rules);
    const auto answer = [&](const std::string& number, const char* text) {
        const Raised raised = thrownBy([&] { rules.set(dialogNamed(number), text); });
        EXPECT_EQ(stateOf(rules), before);
        return raised.id;
    };
    for (const char* const which : {"Product", "Sum"}) {
        for (const Typed& row : typed) {
            const std::string number = named(row.number, which);
            for (const char* const text : {"no such thing (", "", "[1 2]", "'a'"}) {
                EXPECT_EQ(answer(number, text), "fixedpoint:fimath:dialogText") << number << " " << text;
            }
            const bool isInt = rules.get(number).className() == "int32";
            EXPECT_EQ(isInt ? answer(number, "1e300") : "fixedpoint:fimath:dialogText", "fixedpoint:fimath:dialogText");
        }
        const std::string name = which;
        EXPECT_EQ(answer(name + "WordLength", "0"), "fixedpoint:fimath:NonPositive" + name + "WordLength");
        EXPECT_EQ(answer("Max" + name + "WordLength", "2^16"), "fixedpoint:fimath:TooBigMax" + name + "WordLength");
        EXPECT_EQ(answer(name + "Slope", "-1"), "TolvaneKit:fimathInvalidSetting");
        EXPECT_TRUE(session.takeWarnings().empty());
        EXPECT_EQ(answer(name + "SlopeAdjustmentFactor", "2"), "");
        EXPECT_EQ(session.takeWarnings().size(), 1U);
    }
    EXPECT_EQ(session.takePrinted(), "");
}

TEST_F(FimathClass, AWriteTellsTheListenersOfTheOtherForm) {
    struct Row {
        const char* written;
        const char* value;
        const char* heard;
    };
    const Row rows[] = {
        {"%WordLength", "9", "PrivDLG%WordLengthString=9 "},
        {"Max%WordLength", "9", "PrivDLGMax%WordLengthString=9 "},
        {"%FractionLength", "9",
         "PrivDLG%FractionLengthString=9 PrivDLG%FixedExponentString=-9 PrivDLG%SlopeString=2^-9 "
         "PrivDLG%SlopeAdjustmentFactorString=1 "},
        {"%Slope", "0.75",
         "PrivDLG%FractionLengthString=1 PrivDLG%FixedExponentString=-1 PrivDLG%SlopeString=0.75 "
         "PrivDLG%SlopeAdjustmentFactorString=1.5 "},
        {"%Bias", "3", "PrivDLG%BiasString=3 "},
        {"PrivDLG%WordLengthString", "9", "%WordLength=9 "},
        {"PrivDLGMax%WordLengthString", "9", "Max%WordLength=9 "},
        {"PrivDLG%FixedExponentString", "2", "%FractionLength=-2 %FixedExponent=2 %Slope=4 %SlopeAdjustmentFactor=1 "},
        {"PrivDLG%SlopeAdjustmentFactorString", "1.5",
         "%FractionLength=30 %FixedExponent=-30 %Slope=1.39698e-09 %SlopeAdjustmentFactor=1.5 "},
        {"PrivDLG%BiasString", "0.5", "%Bias=0.5 "},
    };
    for (const std::string which : {"Product", "Sum"}) {
        for (const Row& row : rows) {
            const std::string property = named(row.written, which.c_str());
            SCOPED_TRACE(property);
            const Value rules = makeRules();
            const HeardValues heard(rules);
            if (property.starts_with("PrivDLG")) {
                rules.set(property, row.value);
            } else {
                rules.set(property, std::stod(row.value));
            }
            std::string wanted = row.heard;
            for (std::size_t at = 0; (at = wanted.find('%', at)) != std::string::npos;) {
                wanted.replace(at, 1, which);
            }
            EXPECT_EQ(heard.text(), wanted);
        }
    }
}

// Methods

TEST_F(FimathClass, ComparesShowsAndListsRules) {
    const Value rules = makeRules();
    const Value other = makeRules();
    EXPECT_TRUE(session.call("isfimath", {rules}).toBool());
    EXPECT_TRUE(session.call("isequal", {rules, other}).toBool());
    other.set("ProductWordLength", 9);
    EXPECT_TRUE(session.call("isequal", {rules, other}).toBool());
    other.set("ProductMode", "KeepLSB");
    EXPECT_FALSE(session.call("isequal", {rules, other}).toBool());
    EXPECT_EQ(thrownBy([&] { session.call("isequal", {rules, Value()}); }).id, "fixedpoint:method:noObject");
    EXPECT_EQ(expressionOf(other),
              "fimath('RoundMode', 'nearest',...\n'OverflowMode', 'saturate',...\n"
              "'ProductMode', 'KeepLSB',...\n'ProductWordLength', 9,...\n"
              "'SumMode','FullPrecision',...\n'MaxSumWordLength', 128)");
    session.display(other);
    EXPECT_EQ(session.takePrinted(),
              "\n             RoundMode: nearest\n          OverflowMode: saturate\n"
              "           ProductMode: KeepLSB\n     ProductWordLength: 9\n"
              "               SumMode: FullPrecision\n      MaxSumWordLength: 128\n");
    EXPECT_EQ(thrownBy([&] {
                  session.call("set", {rules, "RoundMode", "fix"});
              }),
              (Raised{"fixedpoint:set:InvalidUse",
                      "You cannot use SET to change the properties of a FIMATH object; use dot notation instead."}));
    EXPECT_EQ(session.call("set", {rules, "RoundMode"}).numberOfElements(), 6U);
    for (const std::string name : {"transpose", "ctranspose"}) {
        EXPECT_EQ(thrownBy([&] { session.call(name, {rules}); }).id, "fixedpoint:fimath:" + name + ":notdefined");
    }
    EXPECT_EQ(thrownBy([&] { callClass("tostring", {type(true, 8, 0)}); }).id, "VELMAR:class:WrongObjectType");
    EXPECT_EQ(session.call("sqrt", {Value(std::vector<double>{4, 9}), rules}), Value(std::vector<double>{2, 3}));
    EXPECT_NE(thrownBy([&] { session.call("sqrt", {"text", rules}); }).id, "");
}

TEST_F(FimathClass, AnAbsOfTheHostsLanguageFindsRulesAtAnyPlace) {
    inOwnProcess([this] {
        session.addMethod("embedded.fimath", "abs", [](int, std::span<const hvArray* const>) {
            std::vector<hvArrayOwner> results;
            results.emplace_back(hvCreateDoubleScalar(7));
            return results;
        });
        EXPECT_EQ(session.call("abs", {1, makeRules()}), Value(7));
    });
}

TEST_F(FimathClass, TheGlobalRulesAreSetWrappedAndReset) {
    const Value floors = rules({{"RoundMode", "floor"}});
    const Value array = fi(0.5, type(true, 8, 4), false);
    callClass("SetGlobalFimath", {floors});
    floors.set("RoundMode", "ceil");
    EXPECT_EQ(array.get("RoundMode").toText(), "floor");
    EXPECT_EQ(makeRules().get("RoundMode").toText(), "floor");
    {
        const Value global = callClass("GetGlobalFimathState");
        EXPECT_EQ(global.className(), "embedded.globalfimath");
        global.set("SumMode", "KeepMSB");
        EXPECT_EQ(array.get("SumMode").toText(), "KeepMSB");
        callClass("SetGlobalFimath", {floors});
        EXPECT_EQ(global.get("RoundMode").toText(), "ceil");
        callClass("ResetGlobalFimath");
        EXPECT_EQ(global.get("RoundMode").toText(), "nearest");
        global.set("RoundMode", "fix");
        callClass("SetGlobalFimath", {global});
        EXPECT_EQ(array.get("RoundMode").toText(), "fix");
        global.call("reset");
        EXPECT_EQ(array.get("RoundMode").toText(), "nearest");
    }
    callClass("SetGlobalFimath", {floors});
    callClass("ResetGlobalFimath");
    EXPECT_EQ(array.get("RoundMode").toText(), "nearest");
}

TEST_F(FimathClass, TheDictionaryKeepsRulesByTag) {
    const Value floors = rules({{"RoundMode", "floor"}});
    const auto isKnown = [&](const char* tag) { return callClass("FimathDictionaryTagExists", {tag}).toBool(); };
    EXPECT_FALSE(isKnown("class test"));
    EXPECT_EQ(thrownBy([&] { callClass("SetGlobalFimath", {"class test"}); }).id, "VELMAR:class:MustBeHandle");
    callClass("SetGlobalFimath", {floors, "class test"});
    EXPECT_TRUE(isKnown("class test"));
    EXPECT_EQ(makeRules().get("RoundMode").toText(), "floor");
    const Value ceils = rules({{"RoundMode", "ceil"}});
    EXPECT_EQ(thrownBy([&] {
                  callClass("SetGlobalFimath", {ceils, "class test"});
              }),
              (Raised{"fixedpoint:fimath:FimathKeyExists",
                      "The fimath dictionary already contains a fimath with the tag: class test"}));
    EXPECT_EQ(makeRules().get("RoundMode").toText(), "floor");

    const Value copy = callClass("GetFromFimathDictionary", {"class test"});
    copy.set("RoundMode", "fix");
    EXPECT_EQ(callClass("GetFromFimathDictionary", {"class test"}).get("RoundMode").toText(), "floor");
    callClass("ResetGlobalFimath");
    callClass("SetGlobalFimath", {"class test"});
    EXPECT_EQ(makeRules().get("RoundMode").toText(), "floor");
    const Value array = fi(0.5, type(true, 8, 4));
    array.set("fimath", "class test");
    EXPECT_EQ(array.get("RoundMode").toText(), "floor");

    const std::pair<const char*, const char*> named[] = {{"SetGlobalFimath", "AddToFimathDictionary"},
                                                         {"GetFromFimathDictionary", "GetFromFimathDictionary"},
                                                         {"FimathDictionaryTagExists", "FimathDictionaryTagExists"}};
    for (const auto& [method, operation] : named) {
        const Raised refused{"VELMAR:UndefinedFunction", std::string("No method '") + operation +
                                                             "' with matching signature found for class "
                                                             "embedded.fimath"};
        for (const Value& bad : {Value(1), Value(), Value(true), type(true, 8, 0)}) {
            EXPECT_EQ(thrownBy([&, name = method] { callClass(name, {bad}); }), refused);
        }
    }
    EXPECT_EQ(thrownBy([&] { callClass("SetGlobalFimath", {ceils, 1}); }).id, "VELMAR:UndefinedFunction");
    EXPECT_EQ(makeRules().get("RoundMode").toText(), "floor");
}

/// Under KeepLSB, wrap and fraction length 0 a sum or product is that of the integers, modulo the register.
TEST_F(FimathClass, AddSubAndMpyFollowTheGivenRules) {
    const Value wraps = rules({{"OverflowMode", "wrap"},
                               {"ProductMode", "KeepLSB"},
                               {"ProductWordLength", 9},
                               {"SumMode", "KeepLSB"},
                               {"SumWordLength", 7}});
    constexpr unsigned seed = 41;
    std::mt19937 random(seed);
    const auto wrapped = [](int value, int bits) {
        const int period = 1 << bits;
        return ((value % period) + period + period / 2) % period - period / 2;
    };
    for (int i = 0; i < 200; ++i) {
        const int a = static_cast<int>(random() % 256) - 128;
        const int b = static_cast<int>(random() % 256) - 128;
        SCOPED_TRACE(testing::Message() << "seed " << seed << ": " << a << ", " << b);
        const Value left = fi(a, type(true, 8, 0), random() % 2 == 0);
        const Value right = fi(b, type(true, 8, 0));
        const std::tuple<const char*, int, const char*> results[] = {
            {"add", wrapped(wrapped(a, 7) + wrapped(b, 7), 7), "s7,0"},
            {"sub", wrapped(wrapped(a, 7) - wrapped(b, 7), 7), "s7,0"},
            {"mpy", wrapped(a * b, 9), "s9,0"}};
        for (const auto& [method, value, typeName] : results) {
            const Value result = session.call(method, {wraps, left, right});
            EXPECT_EQ(valuesOf(result), std::vector<double>{static_cast<double>(value)}) << method;
            EXPECT_EQ(typeOf(result), typeName);
            EXPECT_TRUE(session.call("isequal", {result.get("fimath"), wraps}).toBool());
        }
        EXPECT_EQ(right.get("SumMode").toText(), "FullPrecision");
        EXPECT_EQ(valuesOf(left), std::vector<double>{static_cast<double>(a)});
    }
    EXPECT_EQ(thrownBy([&] {
                  session.call("add", {wraps, fi(1, type(true, 8, 0)), Value()});
              }).id,
              "fixedpoint:method:noObject");
}

}  // namespace
