// What a user asks an array for: constants of its type, its sign, its parts.
#include "tests/binding/session_support.h"

namespace {

using ConstantMethods = BindingTest;

TEST_F(ConstantMethods, GiveNewArrays) {
    const Value a = fi(std::vector<double>{0.5, -0.25}, type(true, 8, 7));
    const Value z = fi(Value::complex(0.5, -0.25), type(true, 8, 7));
    const Value u = fi(std::vector<double>{3, 200}, type(false, 8, 0));
    struct Row {
        const char* method;
        Value argument;
        std::vector<double> values;
        const char* type;
    };
    const Row rows[] = {
        {"realmax", a, {0.9921875}, "s8,7"},    {"upperbound", a, {0.9921875}, "s8,7"},
        {"lowerbound", a, {-1}, "s8,7"},        {"realmin", a, {0.0078125}, "s8,7"},
        {"fieps", a, {0.0078125}, "s8,7"},      {"intmax", a, {127}, "s8,0"},
        {"intmin", a, {-128}, "s8,0"},          {"range", u, {0, 255}, "u8,0"},
        {"uminus", a, {-0.5, 0.25}, "s8,7"},    {"uminus", u, {0, 0}, "u8,0"},
        {"conj", a, {0.5, -0.25}, "s8,7"},      {"real", z, {0.5}, "s8,7"},
        {"imag", z, {-0.25}, "s8,7"},           {"imag", a, {0, 0}, "s8,7"},
        {"stripscaling", a, {64, -32}, "s8,0"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.method);
        const Value result = session.call(row.method, {row.argument});
        EXPECT_EQ(result.className(), "embedded.fi");
        EXPECT_EQ(valuesOf(result), row.values);
        EXPECT_EQ(typeOf(result), row.type);
    }
    EXPECT_EQ(session.call("conj", {z}).get("double"), Value::complex(0.5, 0.25));
    EXPECT_EQ(valuesOf(a), (std::vector<double>{0.5, -0.25}));
    EXPECT_EQ(session.call("sign", {a}).toDoubles(), (std::vector<double>{1, -1}));
    EXPECT_EQ(session.call("sign", {a}).className(), "int8");
    EXPECT_EQ(thrownBy([&] { session.call("sign", {z}); }).id, "fixedpoint:fi:complexnotdefined");
}

TEST_F(ConstantMethods, RangeGivesARowOrBothBounds) {
    const Value a = fi(std::vector<double>{0.5, -0.25}, type(true, 8, 7));
    EXPECT_EQ(session.call("size", {session.call("range", {a})}).toDoubles(), (std::vector<double>{1, 2}));
    const std::vector<Value> bounds = session.call(2, "range", {a});
    ASSERT_EQ(bounds.size(), 2u);
    EXPECT_EQ(valuesOf(bounds[0]), std::vector<double>{-1});
    EXPECT_EQ(valuesOf(bounds[1]), std::vector<double>{0.9921875});
}

TEST_F(ConstantMethods, ReinterpretTheBitsUnderAnotherType) {
    const Value a = fi(std::vector<double>{-1, 1}, type(true, 8, 0));
    const Value cast = session.call("reinterpretcast", {a, type(false, 8, 4)});
    EXPECT_EQ(valuesOf(cast), (std::vector<double>{15.9375, 0.0625}));
    EXPECT_EQ(typeOf(cast), "u8,4");
    EXPECT_EQ(thrownBy([&] {
                  session.call("reinterpretcast", {a, type(true, 9, 0)});
              }).id,
              "fixedpoint:fi:reinterpretcast:wrongwordlength");
}

TEST_F(ConstantMethods, ComplexTakesArraysInTheTypeOfTheOther) {
    const Value a = fi(0.5, type(true, 8, 7));
    EXPECT_EQ(session.call("binaryop_complex", {a, 0.25}).get("double"), Value::complex(0.5, 0.25));
    EXPECT_EQ(session.call("binaryop_complex", {0.25, a}).get("double"), Value::complex(0.25, 0.5));
    const Value both = session.call("binaryop_complex", {a, fi(0.75, type(true, 16, 4))});
    EXPECT_EQ(both.get("double"), Value::complex(0.5, 0.75));
    EXPECT_EQ(typeOf(both), "s8,7");
    logging(true);
    session.takeWarnings();
    const Value wide = fi(std::vector<double>{3, -3}, type(true, 8, 4));
    EXPECT_TRUE(session.takeWarnings().empty());
    session.call("binaryop_complex", {a, wide});
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:overflow", "2 overflows occurred in the fi complex operation."}}));
    // The array overflows where it becomes an operand, which is counted and told with the rest.
    EXPECT_EQ(session.call("noverflows", {session.call("binaryop_complex", {a, 3.0})}).toDouble(), 1.0);
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:overflow", "1 overflow occurred in the fi complex operation."}}));
}

TEST_F(ConstantMethods, NewSignsTellWhatOverflowed) {
    const Value u = fi(std::vector<double>{3, 0, 200}, type(false, 8, 0));
    const Value lowest = fi(Value::complex(-1, -1), type(true, 8, 7));
    struct Row {
        const char* method;
        Value argument;
        std::vector<Warning> told;
    };
    const Row rows[] = {
        {"uminus", u, {{"fi:overflow", "2 overflows occurred in the fi unary minus operation."}}},
        {"uminus", lowest, {{"fi:overflow", "2 overflows occurred in the fi unary minus operation."}}},
        {"conj", lowest, {{"fi:overflow", "1 overflow occurred in the fi conjugation operation."}}},
        {"conj", u, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.method);
        logging(false);
        session.call(row.method, {row.argument});
        EXPECT_TRUE(session.takeWarnings().empty());
        logging(true);
        session.call(row.method, {row.argument});
        EXPECT_EQ(session.takeWarnings(), row.told);
    }
}

}  // namespace
