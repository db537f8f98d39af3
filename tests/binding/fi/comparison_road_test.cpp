// What a user asks of values in the host: comparisons, extremes, sorted copies, single elements.
#include <cmath>
#include <limits>

#include "tests/binding/session_support.h"

namespace {

using Numbers = std::vector<double>;

class ComparisonRoad : public BindingTest {
 protected:
    Numbers sizeOf(const Value& value) { return session.call("size", {value}).toDoubles(); }
    Raised raised(const char* method, const std::vector<Value>& arguments) {
        return thrownBy([&] { session.call(method, arguments); });
    }
};

TEST_F(ComparisonRoad, TakesAnEmptyArrayAndRefusesOtherSizes) {
    for (const char* method : {"eq", "ne", "gt", "ge", "lt", "le"}) {
        EXPECT_EQ(sizeOf(session.call(method, {s16(0.5), Value()})), (Numbers{0, 0})) << method;
        EXPECT_EQ(sizeOf(session.call(method, {Value(), s16(0.5)})), (Numbers{0, 0})) << method;
        EXPECT_EQ(raised(method, {s16(Numbers{0.5, 0.25}), Numbers{1, 2, 3}}),
                  (Raised{"fixedpoint:fi:dimagree", "Matrix dimensions must agree."}));
    }
    EXPECT_TRUE(session.call("binaryop_isequal", {s16(Value()), Value()}).toBool());
    EXPECT_FALSE(session.call("binaryop_isequal", {s16(0.5), Value()}).toBool());
}

TEST_F(ComparisonRoad, ChoosesAmongArraysOfOneTypeSizeAndRules) {
    const Value a = s16(Numbers{0.5, -0.25, 0.125});
    EXPECT_EQ(raised("binary_max", {a, Value()}).id, "fixedpoint:fi:dimagree");
    for (const char* const method : {"unary_max", "unary_min"}) {
        EXPECT_EQ(thrownBy([&] { session.callStatic("embedded.fi", method, {Value()}); }).id,
                  "fixedpoint:method:noObject");
    }
    EXPECT_EQ(sizeOf(session.call("binary_max", {s16(0.5), Value()})), (Numbers{0, 0}));
    EXPECT_EQ(raised("binary_min", {a, fi(0.5, type(true, 8, 7))}),
              (Raised{"fixedpoint:fi:min:numerictypemismatch", "NUMERICTYPE of both operands must be equal."}));
    EXPECT_EQ(raised("binary_max", {a, fi(0.5, type(true, 16, 15), rules({{"RoundMode", "floor"}}))}),
              (Raised{"fixedpoint:fi:max:fimathmismatch", "FIMATH of both operands must be equal."}));
}

/// What overflowed on the way into the type counts in the result, and the user is told.
TEST_F(ComparisonRoad, WarnsOfNumbersThatDontFit) {
    logging(true);
    const Value a = s16(Numbers{0.5, -0.25});
    struct Row {
        const char* method;
        Value a, b;
        double overflows;
        const char* warning;
        double underflows = 0;
    };
    const Row rows[] = {
        {"binary_max", a, 7.0, 1, "1 overflow occurred in the fi max operation."},
        {"binary_min", 7.0, a, 1, "1 overflow occurred in the fi min operation."},
        {"binary_min", a, Numbers{7.0, -7.0}, 2, "2 overflows occurred in the fi min operation."},
        // The result of two arrays goes on with the log of the left one, which has counted them already.
        {"binary_max", Numbers{7.0, -7.0}, a, 4, "4 overflows occurred in the fi max operation."},
        {"binary_max", a, 1e-9, 0, "1 underflow occurred in the fi max operation.", 1},
    };
    session.takeWarnings();
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.method << " " << row.a << " " << row.b);
        const Value result = session.call(row.method, {row.a, row.b});
        EXPECT_EQ(session.takeWarnings(),
                  (std::vector<Warning>{{row.overflows > 0 ? "fi:overflow" : "fi:underflow", row.warning}}));
        EXPECT_EQ(session.call("noverflows", {result}).toDouble(), row.overflows);
        EXPECT_EQ(session.call("nunderflows", {result}).toDouble(), row.underflows);
    }
}

TEST_F(ComparisonRoad, ReadsAndWritesOneElement) {
    const Value a = s16(Numbers{0.5, -0.25, 0.125});
    const auto read = [&](double number) { return valuesOf(session.call("get_element", {a, number})); };
    const auto write = [&](const Value& number, const Value& value) {
        session.call(0, "set_element", {a, number, value});
        return valuesOf(a);
    };
    EXPECT_EQ(read(2), Numbers{-0.25});
    EXPECT_EQ(read(3.75), Numbers{0.125});
    EXPECT_EQ(typeOf(session.call("get_element", {a, 1})), "s16,15");
    EXPECT_EQ(session.call("get_element", {s16(Value::complex(0.5, 0.25)), 1}).get("double"),
              Value::complex(0.5, 0.25));
    EXPECT_EQ(write(2, 0.75), (Numbers{0.5, 0.75, 0.125}));
    EXPECT_EQ(write(3, fi(0.30078125, type(true, 20, 12))), (Numbers{0.5, 0.75, 0.30078125}));
    EXPECT_EQ(write(1, -9.0), (Numbers{-1.0, 0.75, 0.30078125}));
    EXPECT_EQ(write(3, a), (Numbers{-1.0, 0.75, -1.0}));

    const Raised below = {"fixedpoint:fi:badsubscript",
                          "Subscript indices must either be real positive integers or logicals."};
    const Raised beyond = {"fixedpoint:fi:badindex", "Index exceeds matrix dimensions."};
    struct Row {
        double number;
        Raised wanted;
    };
    const Row rows[] = {{0, below}, {0.5, below}, {-3, below}, {NAN, below}, {4, beyond}, {1e300, beyond}};
    for (const Row& row : rows) {
        EXPECT_EQ(raised("get_element", {a, row.number}), row.wanted) << row.number;
        EXPECT_EQ(raised("set_element", {a, row.number, 0.5}), row.wanted) << row.number;
    }
    EXPECT_EQ(raised("get_element", {s16(Value()), 1}), beyond);
    EXPECT_EQ(raised("set_element", {a, 1, s16(Value())}), beyond);
    EXPECT_EQ(raised("set_element", {a, 1, Value()}).id, "fixedpoint:method:noObject");
    EXPECT_EQ(valuesOf(a), (Numbers{-1.0, 0.75, -1.0}));
}

}  // namespace
