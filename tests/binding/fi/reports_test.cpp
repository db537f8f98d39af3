// What methods of arrays report while logging is on: warnings, counts in the result and in the session's totals.
#include <cmath>

#include "tests/binding/session_support.h"

namespace {

class FiReports : public BindingTest {
 protected:
    Value column(const Numbers& values, const Value& math) {
        return fi(Value::matrix(values.size(), 1, values), type(true, 8, 0), math);
    }
    Value row(const Numbers& values, const Value& math) { return fi(matrix(1, values), type(true, 8, 0), math); }
    Value complexScalar(double re, double im, const Value& math) {
        return fi(Value::complex(re, im), type(true, 8, 0), math);
    }
};

/// What overflows on the way into the type of an array counts in the result, too.
TEST_F(FiReports, NameTheOperationAndCountInTheResult) {
    const Value bytes = type(true, 8, 0);
    const Value u = fi(Numbers{3, 0, 200}, type(false, 8, 0));
    const Value lowest = fi(Value::complex(-1, -1), type(true, 8, 7));
    const Value half = fi(0.5, type(true, 8, 7));
    const Value wide = fi(Numbers{3, -3}, type(true, 8, 4));
    const Value a = s16(Numbers{0.5, -0.25});
    const Value hundred = s8(Numbers{100, 1, 0});
    const Value fix = fi(Numbers{100, 1, 0}, bytes, rules({{"RoundMode", "fix"}}));
    const Value z = s8(Value::matrix(1, 2, Numbers{1, 2}, Numbers{-128, 5}));
    const Value sums = rules({{"SumMode", "SpecifyPrecision"},
                              {"SumWordLength", 8},
                              {"SumFractionLength", 7},
                              {"CastBeforeSum", true},
                              {"OverflowMode", "saturate"}});
    const Value addends = fi(Numbers{0.75, -0.75, 0.25}, type(true, 8, 7), sums);
    const Value narrow = rules({{"ProductMode", "SpecifyPrecision"},
                                {"ProductWordLength", 8},
                                {"ProductFractionLength", 0},
                                {"SumMode", "SpecifyPrecision"},
                                {"SumWordLength", 8},
                                {"SumFractionLength", 0}});
    const Value factors = column({100, 100, 2}, narrow);
    const Value fractions = fi(matrix(3, {2, 0.5, 0.125}), type(true, 8, 4), narrow);
    const Value large = row({100, 100, 100}, narrow);
    const Value ones = column({1, 1, 2}, narrow);
    const struct {
        const char* method;
        Values arguments;
        const char* reports;
        long overflows;
        long underflows;
    } rows[] = {
        {"plus", {addends, addends}, "2 overflows in +", 2, 0},
        {"minus", {addends, fi(-0.25, type(true, 8, 7), sums)}, "1 overflow in -", 1, 0},
        {"times", {factors, fractions}, "1 product overflow in .*, 1 product underflow in .*", 1, 1},
        {"mtimes", {large, ones}, "1 product overflow in *, 2 sum overflows in *", 3, 0},
        // Sums of a convolution follow the global rules, and their type those of the operands.
        {"convV", {large, column({1, 1}, narrow)}, "3 sum overflows in conv", 3, 0},
        {"leadingdimension_sum", {column({100, 100, -100}, narrow)}, "1 overflow in sum", 1, 0},
        // The complex operand does the work of a real one on its left, and the report is still that of the left one.
        {"times", {row({100, 1}, narrow), complexScalar(2, -2, narrow)}, "2 product overflows in .*", 2, 0},
        {"times", {row({100, 1}, narrow), complexScalar(1, 1, narrow)}, "", 0, 0},
        {"divide",
         {bytes, hundred, fi(Numbers{0.25, 4, 1}, type(true, 8, 2))},
         "1 overflow in divide, 1 underflow in divide",
         1,
         1},
        {"divide", {bytes, hundred, 0.0}, "fi:divideByZero", 0, 0},
        {"uminus", {u}, "2 overflows in unary minus", 2, 0},
        {"uminus", {lowest}, "2 overflows in unary minus", 2, 0},
        {"conj", {lowest}, "1 overflow in conjugation", 1, 0},
        {"conj", {u}, "", 0, 0},
        {"ctranspose", {z}, "1 overflow in conjugate transpose", 1, 0},
        {"toeplitz", {s8(Numbers{1, 2}), fi(Numbers{1, 300, 0.25}, type(true, 16, 2))}, "", 2, 1},
        {"toeplitz", {s8(1), Numbers{1, 300}}, "", 1, 0},
        {"binaryop_complex", {half, wide}, "2 overflows in complex", 2, 0},
        {"binaryop_complex", {half, 3.0}, "1 overflow in complex", 1, 0},
        {"bitshift", {hundred, 2}, "1 overflow in bitshift", 1, 0},
        {"bitshift", {fix, -1}, "1 underflow in bitshift", 0, 1},
        {"pow2", {hundred, 2}, "1 overflow in pow2", 1, 0},
        {"pow2", {fix, -1}, "1 underflow in pow2", 0, 1},
        {"binary_max", {a, 7.0}, "1 overflow in max", 1, 0},
        {"binary_min", {7.0, a}, "1 overflow in min", 1, 0},
        {"binary_min", {a, Numbers{7.0, -7.0}}, "2 overflows in min", 2, 0},
        // The result of two arrays goes on with the log of the left one, which has counted them already.
        {"binary_max", {Numbers{7.0, -7.0}, a}, "4 overflows in max", 4, 0},
        {"binary_max", {a, 1e-9}, "1 underflow in max", 0, 1},
    };
    EXPECT_EQ(reports(), "");
    session.call("resetgloballog", {a});
    for (const auto& given : rows) {
        SCOPED_TRACE(testing::Message() << given.method << " row " << &given - rows);
        logging(false);
        session.call(given.method, given.arguments);
        EXPECT_EQ(reports(), std::string(given.reports) == "fi:divideByZero" ? given.reports : "");
        logging(true);
        const Value result = session.call(given.method, given.arguments);
        EXPECT_EQ(reports(), given.reports);
        EXPECT_EQ(count("noverflows", result), given.overflows);
        EXPECT_EQ(count("nunderflows", result), given.underflows);
    }
    session.call("displaygloballog", {a});
    const std::string printed = session.takePrinted();
    for (const char* const total :
         {"FI sum overflows        : 8\n", "FI product overflows    : 4\n", "FI product underflows   : 1\n"}) {
        EXPECT_NE(printed.find(total), std::string::npos) << printed;
    }
}

TEST_F(FiReports, TellOfConflictsAlways) {
    const Value array = s8(Numbers{1, 2});
    session.call("toeplitz", {array, Numbers{2, 2}});
    session.call("hankel", {array, array});
    EXPECT_EQ(reports(), "fixedpoint:fi:toeplitz:DiagonalConflict, VELMAR:hankel:AntiDiagonalConflict");
}

// The counting itself has tests of its own (tests/logging).
TEST_F(FiReports, CountTheOperationsBehindAResult) {
    const Value cast = rules({{"CastBeforeSum", true}});
    const Value direct = rules({{"CastBeforeSum", false}});
    const Value a = column({1, 2, 3}, cast);
    const Value pair = row({1, 2}, cast);
    const Value zDirect = complexScalar(1, 2, direct);
    const struct {
        const char* method;
        Value a, b;
        long operations, mathOperations;
    } rows[] = {
        {"plus", a, a, 9, 3},
        {"times", a, complexScalar(1, 2, cast), 6, 6},
        {"times", zDirect, zDirect, 6, 6},
        {"mtimes", row({1, 2, 3}, cast), a, 12, 6},
        {"mtimes", column({2}, cast), pair, 2, 2},  // a scalar on the left counts columns
        {"convF", a, pair, 24, 12},
        {"convF", column({1, 2, 3}, direct), zDirect, 24, 12},  // by the global rules
        {"convS", a, pair, 20, 10},
        {"convV", a, pair, 16, 8},
    };
    logging(true);
    for (const auto& given : rows) {
        const Value result = session.call(given.method, {given.a, given.b});
        EXPECT_EQ(count("noperations", result), given.operations) << given.method << &given - rows;
        EXPECT_EQ(count("nmathoperations", result), given.mathOperations) << given.method << &given - rows;
    }
    EXPECT_EQ(reports(), "");
}

}  // namespace
