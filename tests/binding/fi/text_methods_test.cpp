// What a user does with the words of an array as text.
#include <cmath>
#include <limits>

#include "tests/binding/session_support.h"

namespace {

class TextMethods : public BindingTest {
 protected:
    Value u8(const Value& value) { return fi(value, type(false, 8, 0)); }
    Value scaledDouble() { return fi(1.0, type("Scaled double: binary point scaling")); }
    static Raised scaledDoubleOn(const std::string& name) {
        return {"fixedpoint:fi:" + name + ":ScaledDoubleOn",
                name + " is not supported when the DataType is 'ScaledDouble'."};
    }
};

struct Radix {
    const char* name;
    const char* text;  // of 1, 10 and 255
    const char* other;
    double otherValue;
    double ordinal;
};
constexpr Radix kRadixes[] = {
    {"bin", "00000001   00001010   11111111", "101", 5, 30},
    {"oct", "001   012   377", "17", 15, 31},
    {"dec", "001   010   255", "19", 19, 32},
    {"hex", "01   0a   ff", "1F", 31, 33},
};

TEST_F(TextMethods, ReadAndWriteInFourBases) {
    for (const Radix& radix : kRadixes) {
        SCOPED_TRACE(radix.name);
        const Value a = u8(Numbers{1, 10, 255});
        EXPECT_EQ(a.get(radix.name), Value(radix.text));
        EXPECT_EQ(session.call(radix.name, {a}), Value(radix.text));
        a.set(radix.name, radix.other);
        EXPECT_EQ(valuesOf(a), Numbers{radix.otherValue});
        EXPECT_EQ(session.call("LastPropertySet", {a}).toDouble(), radix.ordinal);
        EXPECT_EQ(typeOf(a), "u8,0");
        a.set(radix.name, radix.text);
        EXPECT_EQ(valuesOf(a), (Numbers{1, 10, 255}));
        a.set(radix.name, "1 + 10 i");
        EXPECT_TRUE(a.get("double").isComplex());

        EXPECT_EQ(thrownBy([&] { a.set(radix.name, 1.0); }).id, "fixedpoint:fi:base2num:NotCharArray");
        EXPECT_EQ(thrownBy([&] { a.set(radix.name, "1 x"); }).message, "Input array invalid at element (1,2)");
        EXPECT_TRUE(a.get("double").isComplex());
        const Value scaled = scaledDouble();
        EXPECT_EQ(thrownBy([&] { scaled.get(radix.name); }), scaledDoubleOn(radix.name));
        EXPECT_EQ(refusal(radix.name, {scaled}), scaledDoubleOn(radix.name));
        EXPECT_EQ(thrownBy([&] { scaled.set(radix.name, "1"); }), scaledDoubleOn(radix.name));
    }
}

TEST_F(TextMethods, WriteInEveryBaseAndReadUpToEighteen) {
    const Value a = u8(Numbers{35, 255});
    EXPECT_EQ(session.call("num2base", {a, 36}), Value("0z   73"));
    EXPECT_EQ(session.call("num2base", {a, 2.9}), session.call("bin", {a}));
    EXPECT_EQ(session.call("num2sdec", {a}), Value("  35    255"));
    EXPECT_EQ(session.call("num2sdec", {fi(Value::complex(-3, -4), type(true, 8, 0))}).toText(),
              std::string("  -3 -   4 i\0", 13));
    EXPECT_TRUE(session.call(0, "base2num", Values{a, "0h 11", 18.9}).empty());
    EXPECT_EQ(valuesOf(a), (Numbers{17, 19}));
    EXPECT_EQ(session.call("LastPropertySet", {a}).toDouble(), -1.0);
    EXPECT_EQ(reports(), "");
    session.call(0, "base2num", Values{a, "100", 16});
    EXPECT_EQ(session.takeWarnings().at(0).id, "fixedpoint:base2fixed:too_many_bits");
    EXPECT_EQ(valuesOf(a), Numbers{0});
}

TEST_F(TextMethods, CheckTheBase) {
    const Value a = u8(7);
    const std::string none;
    const std::string range = "baseoutofrange";
    const std::string kind = "basemustbenumeric";
    const struct {
        Value base;
        std::string write, read;  // the ids under the method
    } rows[] = {
        {"2", kind, kind},
        {true, kind, kind},
        {1.99, range, range},
        {-2, range, range},
        {18.5, none, none},
        {19, none, range},
        {36.9, none, range},
        {37, range, range},
        {4294967298.0, range, range},
        {std::nan(""), range, range},
        {std::numeric_limits<double>::infinity(), range, range},
        {Value(), range, range},
    };
    const auto under = [](const std::string& method, const std::string& id) {
        return id.empty() ? id : "fixedpoint:fi:" + method + ":" + id;
    };
    for (const auto& [base, write, read] : rows) {
        SCOPED_TRACE(testing::Message() << base);
        EXPECT_EQ(idOf("num2base", {a, base}), under("num2base", write));
        EXPECT_EQ(idOf("base2num", {a, "1", base}, 0), under("base2num", read));
        EXPECT_EQ(refusal("num2base", {scaledDouble(), base}), scaledDoubleOn("num2base"));
        EXPECT_EQ(refusal("base2num", {scaledDouble(), 1.0, base}, 0), scaledDoubleOn("base2num"));
    }
    EXPECT_EQ(refusal("num2base", {a, 37}).message, "Base value must be >= 2 and <= 36");
    EXPECT_EQ(refusal("base2num", {a, "1", 37}, 0).message, "Base value must be >= 2 and <= 18");
    EXPECT_EQ(refusal("num2base", {a, "2"}).message, "Base must be numeric.");
    EXPECT_EQ(refusal("num2sdec", {scaledDouble()}), scaledDoubleOn("num2sdec"));
    EXPECT_EQ(idOf("num2sdec", {fi(1.0, type("Double"))}), "fixedpoint:quantizer:sdec:fixedonly");
}

}  // namespace
