// Arrays made in one line: rows of what a user types and of what stands there then.
#include <cmath>

#include "tests/front/front_support.h"

namespace {

class Construction : public FrontTest {
 protected:
    /// Such as "3.125 s8,4 nearest own Tag".
    std::string told(const Value& made) {
        std::ostringstream text;
        text << made.get("double") << " " << typeOf(made) << " " << made.get("RoundMode").toText()
             << (made.get("fimathislocal").toBool() ? " own" : "");
        const std::string tag = made.get("Tag").toText();
        return text.str() + (tag.empty() ? "" : " " + tag);
    }
    const Value eighth = type(true, 8, 3);
    const Value down = rules({{"RoundMode", "floor"}});
};

TEST_F(Construction, TakesWhatAUserHasToSay) {
    const Value pi = 3.14159265;
    const Value own = call("fi", {pi, 1, 8, 4, "RoundMode", "ceil"});
    const struct {
        Arguments arguments;
        const char* told;
        const char* why;
    } rows[] = {
        {{}, "[0-by-0 double] s16,15 nearest", ""},
        {{pi}, "3.1416015625 s16,13 nearest", "25736 / 2^13"},
        {{true}, "1 s16,14 nearest", ""},
        {{pi, 0}, "3.1416015625 u16,14 nearest", "the bit of the sign is for the value"},
        {{pi, true, 8}, "3.15625 s8,5 nearest", "101 / 32"},
        {{pi, 1, 8, 4}, "3.125 s8,4 nearest", "50 / 16"},
        {{pi, 1, 8, 0.25, 0.125}, "3.125 Fixed-point: slope and bias scaling nearest", "12 / 4 + 1 / 8"},
        {{pi, 1, 8, 1.5, -2, 1}, "3.25 Fixed-point: slope and bias scaling nearest", "6 * 1.5 / 4 + 1"},
        {{pi, eighth}, "3.125 s8,3 nearest", ""},
        {{pi, eighth, down}, "3.125 s8,3 floor own", ""},
        {{3.99, eighth, down, "Tag", "x"}, "3.875 s8,3 floor own x", ""},
        {{3.99, 1, 8, 3, down, "RoundMode", "ceil"}, "4 s8,3 ceil own", "settings act in their order"},
        {{3.99, down}, "3.989990234375 s16,13 floor own", "32685 / 2^13"},
        {{pi, "WordLength", 8}, "3.15625 s8,5 nearest", "the best precision"},
        {{pi, "FractionLength", 2, "Signed", 0, "WordLength", 4}, "3.25 u4,2 nearest", ""},
        {{pi, "Slope", 0.5}, "3 Fixed-point: slope and bias scaling nearest", "6 halves"},
        {{pi, "DataType", "double"}, "3.14159265 Double nearest", ""},
        {{pi, "DataType", "ScaledDouble"}, "3.14159265 Scaled double: binary point scaling nearest", ""},
        {{pi, "numerictype", eighth, "fimath", down}, "3.125 s8,3 floor own", ""},
        {{pi, "numerictype", eighth, "WordLength", 4}, "0.875 s4,3 nearest", "saturated"},
        {{pi, 1, 8, 3, "OverflowMode", "wrap", "data", 17}, "-15 s8,3 nearest own", "17 - 32"},
        {{"WordLength", 8, "FractionLength", 7, "hex", "7f 80"}, "[0.9921875 -1] s8,7 nearest", "127, -128"},
        {{0, 1, 4, 2, "bin", "1001"}, "-1.75 s4,2 nearest", "-7 / 4"},
        {{own}, "3.1875 s8,4 ceil own", "type, rules and elements of the other"},
        {{own, "WordLength", 6}, "1.9375 s6,4 ceil own", "31 / 16"},
        {{own, 1, 8, 2, down}, "3 s8,2 floor own", ""},
        {{own, 0}, "3.1875 u16,14 ceil own", "the best precision for its values"},
    };
    for (const auto& [arguments, expected, why] : rows) {
        EXPECT_EQ(told(call("fi", arguments)), expected) << why;
    }
    EXPECT_EQ(told(front::fi(session, 3.99, true, 8, 3, {{"fimath", down}})), "3.875 s8,3 floor own");
    EXPECT_EQ(told(front::fiWith(session, {{"FractionLength", 0}, {"int", 5}})), "5 s16,0 nearest");
    EXPECT_EQ(reports(), "");
}

TEST_F(Construction, RefusesWhatMakesNoSense) {
    const struct {
        Arguments arguments;
        const char* id;
    } rows[] = {
        {{1, "Nope", 3}, "fixedpoint:fi:constructor:unknownProperty"},
        {{1, "noverflows", 3}, "fixedpoint:fi:constructor:unknownProperty"},
        {{1, "Tag"}, "fixedpoint:fi:constructor:pairIncomplete"},
        {{"text"}, "fixedpoint:fi:constructor:pairIncomplete"},
        {{1, 1, 2, 3, 4, 5, 6}, "fixedpoint:fi:constructor:badArgument"},
        {{1, 1, "Tag", "x", 5}, "fixedpoint:fi:constructor:badArgument"},
        {{1, down, eighth}, "fixedpoint:fi:constructor:badArgument"},
        {{1, eighth, eighth}, "fixedpoint:fi:constructor:badArgument"},
        {{1, "numerictype", 5}, "fixedpoint:fi:constructor:badArgument"},
        {{1, "WordLength", 0}, "fixedpoint:fi:constructor:refusedSetting"},
        {{1, 1, 65536, 0}, "fixedpoint:fi:constructor:refusedSetting"},
        {{1, "DataType", "double", "FractionLength", 3}, "fixedpoint:fi:constructor:refusedSetting"},
        {{1, 2}, "fixedpoint:NUMERICTYPE:signed:InvalidValue"},
        {{1, 1, 8.5}, "VELMAR:datatype:badValue"},
        {{1, "SumWordLength", 65536}, "fixedpoint:fimath:TooBigSumWordLength"},
        {{"hex", "7f"}, "fixedpoint:fi:constructor:scalingNeeded"},
        {{"FractionLength", 0, "hex", "xyz"}, "fixedpoint:fi:base2num:InvalidElement"},
        {{std::nan(""), 1, 8, 3}, "fixedpoint:nofixednan"},
        {{Value::cells({}), 1, 8, 3}, "fixedpoint:fi:constructor:numeric"},
    };
    for (const auto& [arguments, id] : rows) {
        EXPECT_EQ(idOf("fi", arguments), id);
    }
    EXPECT_EQ(thrownBy([&] {
                  front::numerictype(session, {{"RoundMode", "floor"}});
              }).id,
              "fixedpoint:fi:constructor:unknownProperty");
    // Whatever was refused, what it was to be made of is as it was.
    const Value source = call("fi", {1.5, eighth, down});
    EXPECT_NE(idOf("fi", {source, "WordLength", 4, "RoundMode", "ceil", "hex", "xyz"}), "");
    EXPECT_NE(idOf("fi", {1, eighth, down, "WordLength", 4, "RoundMode", "ceil", "Nope", 1}), "");
    EXPECT_EQ(told(source), "1.5 s8,3 floor own");
    EXPECT_EQ(integer(eighth.get("WordLength")), 8);
    EXPECT_EQ(down.get("RoundMode"), Value("floor"));
}

TEST_F(Construction, RoundsAsTheClassDoesWithATagOrWithout) {
    session.callStatic("embedded.fimath", "SetGlobalFimath",
                       {rules({{"RoundMode", "floor"}, {"OverflowMode", "wrap"}})});
    const Numbers values = {3.99, 17};
    const auto without = [&](const char* dataType) {
        return session.construct("embedded.fi", {values, type(dataType), Value()});
    };
    const struct {
        Value values;
        const char* told;
        const char* why;
    } rows[] = {
        {values, "[4 15.875] s8,3 floor", "numbers go to the nearest, and saturate"},
        {without("Double"), "[3.875 -15] s8,3 floor", "elements go by the rules"},
        {without("Single"), "[3.875 -15] s8,3 floor", ""},
        {session.construct("embedded.fi", {values, type(true, 40, 20), Value()}), "[3.875 -15] s8,3 floor", ""},
    };
    for (const auto& [from, expected, why] : rows) {
        EXPECT_EQ(told(call("fi", {from, 1, 8, 3})), expected) << why;
        EXPECT_EQ(told(call("fi", {from, 1, 8, 3, "Tag", "x"})), std::string(expected) + " x") << why;
    }
    const Value infinite = call("fi", {HUGE_VAL, "DataType", "double"});
    EXPECT_EQ(idOf("fi", {infinite, "DataType", "Fixed"}), "fixedpoint:nofixedinf");
    EXPECT_EQ(idOf("fi", {infinite, 1, 60}), "fixedpoint:nofixedinf");
}

TEST_F(Construction, TakesWordsBeyondDoublesAsTheyAre) {
    // 2^1040 and -3 * 2^1040 in 1100 bits, and 5 * 2^-1110 in 64: each in hexadecimal digits.
    const auto digits = [](const std::string& head, std::size_t length, char fill = '0') {
        return std::string(length - head.size() - 260, fill) + head + std::string(260, '0');
    };
    const std::string one = digits("1", 275);
    const std::string three = digits("d", 275, 'f');
    const Value limits = rules({{"MaxSumWordLength", 3000}, {"MaxProductWordLength", 3000}});
    const auto words = [&](const std::string& hex) {
        return call("fi", {"WordLength", 1100, "FractionLength", 0, "hex", hex, "fimath", limits});
    };
    const Value large = words(one);
    const Value negative = words(three);
    const Value both = words(one + "   " + three);
    const Value small = call("fi", {"WordLength", 64, "FractionLength", 1110, "hex", "0000000000000005"});
    const struct {
        Arguments arguments;
        const char* type;
        std::string hex;
    } made[] = {
        {{large}, "s1100,0", one},
        {{both, "WordLength", 1200}, "s1200,0", std::string(25, '0') + one + "   " + std::string(25, 'f') + three},
        {{large, 1, 1104, 4}, "s1104,4", one + "0"},
        {{0, 1, 1100, 0, "data", large}, "s1100,0", one},
        {{large, large.get("numerictype"), "Tag", "x"}, "s1100,0", one},
        {{large, 0, 1044, 0}, "u1044,0", one.substr(14)},
        // The best precision: the sign's bit and the value's first one lead.
        {{large, 1, 60}, "s60,-982", "400000000000000"},
        {{large, 0, 64}, "u64,-977", "8000000000000000"},
        {{negative, 1, 60}, "s60,-983", "a00000000000000"},
        {{both, 1, 60}, "s60,-983", "200000000000000   a00000000000000"},
        {{small, 1, 64}, "s64,1170", "5000000000000000"},
        {{words(std::string(275, '0')), 1, 64}, "s64,63", "0000000000000000"},
        {{large, "DataType", "double"}, "Double", "7ff0000000000000"},
        {{large, "DataType", "single"}, "Single", "7f800000"},
    };
    for (const auto& [arguments, type, hex] : made) {
        const Value array = call("fi", arguments);
        EXPECT_EQ(typeOf(array), type);
        EXPECT_EQ(array.get("hex"), Value(hex)) << type;
    }
    EXPECT_EQ(reports(), "");
    // Short words are kept in doubles themselves.
    EXPECT_EQ(idOf("fi", {large, 1, 16}), "fixedpoint:nofixedinf");
    EXPECT_EQ(idOf("fi", {call("fi", {HUGE_VAL, "DataType", "double"}), 1, 64, 0}), "fixedpoint:nofixedinf");

    const std::string gap(275, '0');
    const struct {
        const char* name;
        Arguments arguments;
        const char* type;
        std::string hex;
    } computed[] = {
        {"horzcat", {large, negative, 5}, "s1100,0", one + "   " + three + "   " + gap.substr(1) + "5"},
        {"horzcat", {call("fi", {2, "DataType", "double"}), large}, "Double", "4000000000000000   7ff0000000000000"},
        {"complex", {call("fi", {2, "DataType", "double"}), large}, "Double", "4000000000000000 + 7ff0000000000000 i"},
        {"complex", {large}, "s1100,0", one + " + " + gap + " i"},
        {"sum", {both}, "s1101,0", "1" + digits("e", 275, 'f')},
        {"max", {both}, "s1100,0", one},
        {"min", {large, negative}, "s1100,0", three},
        {"abs", {negative}, "s1100,0", digits("3", 275)},
        {"abs", {call("complex", {words(digits("3", 275)), words(digits("4", 275))})}, "s1100,0", digits("5", 275)},
        {"sqrt", {large}, "s550,0", std::string(7, '0') + "1" + std::string(130, '0')},
        {"rdivide", {negative, large}, "s1100,0", std::string(274, 'f') + "d"},
        {"reshape", {both, 1, 2}, "s1100,0", one + "   " + three},
        {"conv", {large, large}, "s2200,0", std::string(29, '0') + "1" + std::string(520, '0')},
    };
    for (const auto& [name, arguments, type, hex] : computed) {
        const Value result = call(name, arguments);
        EXPECT_EQ(typeOf(result), type) << name;
        EXPECT_EQ(result.get("hex"), Value(hex)) << name;
    }
    EXPECT_TRUE(call("isequal", {both, call("horzcat", {large, negative})}).toBool());
    EXPECT_FALSE(call("isequal", {large, 0}).toBool());
    EXPECT_TRUE(call("and", {both, negative}).toDoubles() == (Numbers{1, 1}));
    const double last = std::numeric_limits<double>::max();
    EXPECT_EQ(typeOf(call("rdivide", {large, Value::complex(last, last)})), "s1100,1024") << "a magnitude of 2^1024.5";
}

TEST_F(Construction, MakesTypesAndRules) {
    const Value half = front::numerictype(session, {{"WordLength", 9}, {"FractionLength", 1}});
    EXPECT_EQ(typeOf(call("fi", {1, half})), "s9,1");
    const Value kept = front::fimath(session, {{"SumMode", "KeepLSB"}, {"SumWordLength", 20}});
    EXPECT_EQ(integer(kept.get("SumWordLength")), 20);
    EXPECT_NE(front::fimath(session, {}).get("SumMode"), kept.get("SumMode")) << "the global rules are as they were";
}

// Comparison

TEST_F(Construction, EqualityIsOfValuesOrOfAll) {
    const auto infinity = std::numeric_limits<double>::infinity();
    const Value a = call("fi", {Numbers{0.5, 2}, 1, 8, 3});
    const Value wide = call("fi", {Numbers{0.5, 2}, 1, 20, 3});
    const Value own = call("fi", {a, "SumMode", "KeepLSB"});
    const Value one = call("fi", {1, 1, 8, 3});
    const Value none = call("fi", {Value::matrix(0, 3, Numbers{})});
    const struct {
        Arguments arguments;
        bool areEqual;
        bool areAlike;  // of the first two: type and rules agree, too
    } rows[] = {
        {{a, a}, true, true},
        {{a, call("fi", {a}), Numbers{0.5, 2}}, true, true},
        {{Numbers{0.5, 2}, a}, true, false},
        {{a, wide}, true, false},
        {{a, own}, true, false},
        {{a, call("fi", {Numbers{0.5, 1}, 1, 8, 3})}, false, false},
        {{a, a, Numbers{0.5, 1}}, false, true},
        {{a, call("transpose", {a})}, false, false},
        {{a, 0.5}, false, false},
        {{one, 1, true, one}, true, false},
        {{one, Value::complex(1, 0)}, false, false},
        {{one, "a"}, false, false},
        {{one, eighth}, false, false},
        {{one, Value::cells(Values{1})}, false, false},
        {{one, std::nan("")}, false, false},
        {{one, infinity}, false, false},
        {{call("fi", {infinity, "DataType", "double"}), infinity}, true, false},
        {{none, Value::matrix(0, 3, Numbers{})}, true, false},
        {{none, Value()}, false, false},
    };
    for (const auto& [arguments, areEqual, areAlike] : rows) {
        EXPECT_EQ(call("isequal", arguments), Value(areEqual)) << &arguments - &rows[0].arguments;
        EXPECT_EQ(call("ispropequal", {arguments[0], arguments[1]}), Value(areAlike));
    }
    EXPECT_EQ(call("ispropequal", {eighth, type(true, 8, 3)}), Value(true));
    EXPECT_EQ(call("ispropequal", {eighth, type(false, 8, 3)}), Value(false));
    EXPECT_EQ(call("ispropequal", {down, rules({{"RoundMode", "floor"}})}), Value(true));
    EXPECT_EQ(call("ispropequal", {down, eighth}), Value(false));
}

TEST_F(Construction, TruthsAreWhatIsNotZero) {
    const Numbers left = {0, 0, 1, 2};
    const Numbers right = {0, 3, 0, -4};
    // A bias makes the stored integer no test; parts of complex numbers count alike.
    const Value biased = call("fi", {left, 1, 8, 1, 0.5, "data", Numbers{0.5, 1.5}});
    const Value turned = call("fi", {Value::matrix(1, 2, Numbers{0, 0}, Numbers{0, 1}), 1, 8, 3});
    for (const Value& a : {call("fi", {left, 1, 8, 3}), Value(left)}) {
        const Value b = a.isObject() ? Value(right) : call("fi", {right, 1, 8, 3});
        EXPECT_EQ(call("and", {a, b}).toDoubles(), (Numbers{0, 0, 0, 1}));
        EXPECT_EQ(call("or", {a, b}).toDoubles(), (Numbers{0, 1, 1, 1}));
        EXPECT_EQ(call("xor", {a, b}).toDoubles(), (Numbers{0, 1, 1, 0}));
    }
    EXPECT_EQ(call("and", {biased, 1}).toDoubles(), (Numbers{1, 1}));
    EXPECT_EQ(call("xor", {true, turned}).toDoubles(), (Numbers{1, 0}));
    EXPECT_EQ(call("or", {turned, 0}).className(), "logical");
    EXPECT_EQ(idOf("and", {turned, left}), "fixedpoint:fi:logical:sizeMismatch");
}

}  // namespace
