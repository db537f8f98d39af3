// The road of products and convolutions from the host's call to a result: values, what is refused, what is reported.
#include <vector>

#include "tests/binding/session_support.h"

namespace {

class ProductRoad : public BindingTest {
 protected:
    double count(const char* method, const Value& object) { return session.call(method, {object}).toDouble(); }
    /// Integers in words of 8 bits, by rules of these fields.
    Value column(const std::vector<double>& values, const Value& math) {
        return fi(Value::matrix(values.size(), 1, values), type(true, 8, 0), math);
    }
    Value complexScalar(double re, double im, const Value& math) {
        return fi(Value::complex(re, im), type(true, 8, 0), math);
    }
    Value transposed(const std::vector<double>& values, const Value& math) {
        return fi(Value::matrix(1, values.size(), values), type(true, 8, 0), math);
    }
};

const std::vector<double> three = {1, 2, 3};
const std::vector<double> four = {0.5, -0.25, 0.125, -1.0};

TEST_F(ProductRoad, EmptyArraysAreEmptyOperands) {
    const Value a = s16(0.5);
    for (const char* method : {"times", "mtimes"}) {
        const Value result = session.call(method, {a, Value()});
        EXPECT_EQ(session.call("size", {result}).toDoubles(), (std::vector<double>{0, 0})) << method;
        EXPECT_EQ(typeOf(result), "s32,30") << method;
    }
    EXPECT_EQ(session.call("size", {session.call("convF", {Value(), Value(a)})}).toDoubles(),
              (std::vector<double>{1, 0}));
    EXPECT_EQ(thrownBy([&] {
                  session.call("mtimes", {s16(four), Value()});
              }),
              (Raised{"fixedpoint:fi:innerdim", "Inner matrix dimensions must agree."}));
}

TEST_F(ProductRoad, CountsTheOperationsBehindAResult) {
    logging(true);
    const Value cast = rules({{"CastBeforeSum", true}});
    const Value direct = rules({{"CastBeforeSum", false}});
    struct Row {
        const char* method;
        Value a;
        Value b;
        double operations, mathOperations;
    };
    const Value a = column(three, cast);
    const Value row = transposed({1, 2}, cast);
    const Value z = complexScalar(1, 2, cast);
    const Value zDirect = complexScalar(1, 2, direct);
    // The counting itself has tests of its own (tests/logging).
    const Row rows[] = {
        {"times", a, z, 6, 6},
        {"times", zDirect, zDirect, 6, 6},
        {"mtimes", transposed(three, cast), a, 12, 6},
        {"mtimes", column({2}, cast), row, 2, 2},  // a scalar on the left counts columns
        {"convF", a, row, 24, 12},
        {"convF", column(three, direct), zDirect, 24, 12},  // by the global rules
        {"convS", a, row, 20, 10},
        {"convV", a, row, 16, 8},
    };
    for (const Row& given : rows) {
        const Value result = session.call(given.method, {given.a, given.b});
        EXPECT_EQ(count("noperations", result), given.operations) << given.method << &given - rows;
        EXPECT_EQ(count("nmathoperations", result), given.mathOperations) << given.method << &given - rows;
    }
    EXPECT_TRUE(session.takeWarnings().empty());
}

TEST_F(ProductRoad, WarnsOfProductsAndSumsApart) {
    const Value narrow = rules({{"ProductMode", "SpecifyPrecision"},
                                {"ProductWordLength", 8},
                                {"ProductFractionLength", 0},
                                {"SumMode", "SpecifyPrecision"},
                                {"SumWordLength", 8},
                                {"SumFractionLength", 0}});
    const Value a = column({100, 100, 2}, narrow);
    const Value b = fi(Value::matrix(3, 1, std::vector<double>{2, 0.5, 0.125}), type(true, 8, 4), narrow);
    session.call("times", {a, b});
    EXPECT_TRUE(session.takeWarnings().empty());

    logging(true);
    session.call("resetgloballog", {a});
    const Value products = session.call("times", {a, b});
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:overflow", "1 product overflow occurred in the fi .* operation."},
                                    {"fi:underflow", "1 product underflow occurred in the fi .* operation."}}));
    EXPECT_EQ(count("noverflows", products), 1);
    EXPECT_EQ(count("nunderflows", products), 1);

    const Value large = transposed({100, 100, 100}, narrow);
    const Value ones = column({1, 1, 2}, narrow);
    const Value sum = session.call("mtimes", {large, ones});
    EXPECT_EQ(valuesOf(sum), std::vector<double>{127});
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:overflow", "1 product overflow occurred in the fi * operation."},
                                    {"fi:overflow", "2 sum overflows occurred in the fi * operation."}}));
    EXPECT_EQ(count("noverflows", sum), 3);

    // Sums of a convolution follow the global rules, and their type those of the operands.
    session.call("convV", {large, column({1, 1}, narrow)});
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:overflow", "3 sum overflows occurred in the fi conv operation."}}));
    session.call("displaygloballog", {a});
    const std::string printed = session.takePrinted();
    EXPECT_NE(printed.find("FI sum overflows        : 5\n"), std::string::npos) << printed;
    EXPECT_NE(printed.find("FI product overflows    : 2\n"), std::string::npos) << printed;
    EXPECT_NE(printed.find("FI product underflows   : 1\n"), std::string::npos) << printed;

    const Value columnSum = session.call("leadingdimension_sum", {column({100, 100, -100}, narrow)});
    EXPECT_EQ(valuesOf(columnSum), std::vector<double>{27});
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:overflow", "1 overflow occurred in the fi sum operation."}}));
}

// The complex operand does the work of a real one on its left, and the report is still that of the left one.
TEST_F(ProductRoad, ReportsSwappedOperandsWithTheLeftOne) {
    const Value narrow =
        rules({{"ProductMode", "SpecifyPrecision"}, {"ProductWordLength", 8}, {"ProductFractionLength", 0}});
    logging(true);
    const Value a = column({100, 1}, narrow);
    session.call("times", {a, complexScalar(2, -2, narrow)});
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:overflow", "2 product overflows occurred in the fi .* operation."}}));
    session.call("times", {a, complexScalar(1, 1, narrow)});
    EXPECT_TRUE(session.takeWarnings().empty());
}

}  // namespace
