// Stored integers as a user of the host meets them: properties, methods, and arrays made from words.
#include <cmath>
#include <cstdint>

#include "tests/binding/session_support.h"

namespace {

class FiIntegers : public BindingTest {
 protected:
    static Value chunks(const std::vector<std::uint32_t>& values) { return columnOf(values); }
};

TEST_F(FiIntegers, PropertiesAndMethodsGiveTheSame) {
    const Value values = Value::matrix(2, 2, Numbers{1, -1, 2, -2});
    for (const int wordLength : {6, 16, 30, 40, 64, 100}) {
        const Value object = fi(values, type(true, wordLength, 0));
        for (const char* const name : {"int", "intarray", "dravelinarray"}) {
            EXPECT_EQ(object.get(name), session.call(name, {object})) << name << wordLength;
        }
        const std::vector<Value> both = session.call(2, "intarray", {object});
        ASSERT_EQ(both.size(), 2U);
        EXPECT_EQ(both[0], object.get("intarray"));
        EXPECT_EQ(both[1], Value(std::ceil(wordLength / 32.0)));
    }
    EXPECT_EQ(session.call("single", {fi(0.1, type("Double"))}), columnOf<float>({0.1F}));
    EXPECT_EQ(session.call(2, "intarray", {fi(0.1, type("Double"))}), (Values{0.1, 1}));
}

TEST_F(FiIntegers, WarnWhereADoubleTakesTheirPlace) {
    const Value object = fi(-3, type(true, 65, 0));
    session.takeWarnings();
    EXPECT_EQ(object.get("int"), Value(-3));
    const auto warnings = session.takeWarnings();
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_EQ(warnings[0].id, "fixedpoint:fi:intover64bits");
}

TEST_F(FiIntegers, FollowTheFeatureOfCompactWords) {
    const Value object = fi(-1, type(true, 40, 0));
    EXPECT_EQ(object.get("dravelinarray"), chunks({UINT32_MAX, UINT32_MAX}));
    session.setFeature("Fi33PlusMemoryFootprint", 0);
    EXPECT_EQ(object.get("dravelinarray"), chunks({UINT32_MAX, 0xFF, 0, 0}));
    // What is read as two chunks is not taken as such then.
    EXPECT_EQ(thrownBy([&] { object.set("intarray", object.get("intarray")); }).message,
              "First dimension of integer array must be divisible by 4.");
    session.setFeature("Fi33PlusMemoryFootprint", 1);
}

TEST_F(FiIntegers, MakeAnArrayOfAType) {
    const auto simfi = [&](const Value& type, const Value& words) {
        return session.callStatic("embedded.fi", "simfi", {type, words});
    };
    const Value made = simfi(type(true, 40, 8), chunks({256, 0, 0xFFFFFF00U, UINT32_MAX}));
    EXPECT_EQ(valuesOf(made), (Numbers{1, -1}));
    EXPECT_EQ(typeOf(made), "s40,8");
    EXPECT_FALSE(session.call("isfimathlocal", {made}).toBool());
    EXPECT_EQ(valuesOf(simfi(type(false, 8, 4), columnOf<std::uint8_t>({255}))), Numbers{15.9375});
    EXPECT_EQ(valuesOf(simfi(type("Double"), Value(0.1))), Numbers{0.1});
    EXPECT_EQ(thrownBy([&] { simfi(type("Double"), chunks({1})); }).id, "fixedpoint:fi:intarray:invaliddatatype");
    EXPECT_EQ(thrownBy([&] { simfi(type(true, 40, 8), Value(1)); }).id, "fixedpoint:fi:intarray:not_32or64BitInt");
}

}  // namespace
