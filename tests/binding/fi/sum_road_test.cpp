// The road of a + b from the host's call to a result: operands of every mix, what is refused, what is reported.
#include <array>
#include <cmath>
#include <random>

#include "tests/binding/session_support.h"

namespace {

using SumRoad = BindingTest;

const std::vector<double> four = {0.5, -0.25, 0.125, -1.0};

TEST_F(SumRoad, TypesAndValuesOfEveryMix) {
    const Value a = s16(four);
    const Value scalar = fi(0.75, type(false, 8, 7));
    struct Row {
        const char* method;
        Value a;
        Value b;
        std::vector<double> sum;
        const char* type;
    };
    // A partner made of an array keeps word length and sign, and takes the binary point that its values need.
    const Row rows[] = {
        {"plus", a, a, {1.0, -0.5, 0.25, -2.0}, "s17,15"},
        {"minus", a, a, {0, 0, 0, 0}, "s17,15"},
        {"plus", a, scalar, {1.25, 0.5, 0.875, -0.25}, "s17,15"},
        {"minus", scalar, a, {0.25, 1.0, 0.625, 1.75}, "s17,15"},
        {"plus", a, 1.5, {2.0, 1.25, 1.625, 0.5}, "s18,15"},
        {"plus", 1.5, a, {2.0, 1.25, 1.625, 0.5}, "s18,15"},
        {"minus", 1.5, a, {1.0, 1.75, 1.375, 2.5}, "s18,15"},
        {"minus", a, 1.5, {-1.0, -1.75, -1.375, -2.5}, "s18,15"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.method << " " << row.a << " " << row.b);
        const Value sum = session.call(row.method, {row.a, row.b});
        EXPECT_EQ(sum.className(), "embedded.fi");
        EXPECT_EQ(valuesOf(sum), row.sum);
        EXPECT_EQ(typeOf(sum), row.type);
    }
    EXPECT_EQ(valuesOf(a), four);
}

TEST_F(SumRoad, AnUnsignedOperandDecidesTheTypeOfItsPartner) {
    const Value scalar = fi(0.75, type(false, 8, 7));
    // -0.25 and -1 have no place in an unsigned word.
    EXPECT_EQ(valuesOf(session.call("plus", {scalar, four})), (std::vector<double>{1.25, 0.75, 0.875, 0.75}));
}

TEST_F(SumRoad, AnEmptyArrayIsAnEmptyOperandOfTheOthersType) {
    const Value a = s16(0.5);
    for (const Value& sum : {session.call("plus", {a, Value()}), session.call("plus", {Value(), a}),
                             session.call("minus", {Value(), a})}) {
        EXPECT_EQ(session.call("size", {sum}).toDoubles(), (std::vector<double>{0, 0}));
        EXPECT_EQ(typeOf(sum), "s17,15");
    }
    const Value z = s16(Value::complex(0.5, 0.25));
    EXPECT_FALSE(session.call("isreal", {session.call("plus", {z, Value()})}).toBool());
    EXPECT_EQ(thrownBy([&] {
                  session.call("plus", {s16(four), Value()});
              }),
              (Raised{"fixedpoint:fi:dimagree", "Matrix dimensions must agree."}));
}

TEST_F(SumRoad, NeedsAnArrayOfTheClassAlsoWhenCalledByTheClass) {
    const std::vector<Value> rows[] = {{Value(), Value()}, {Value(), 1.0}, {1.0, Value()}};
    for (const std::vector<Value>& operands : rows) {
        EXPECT_EQ(thrownBy([&] { session.callStatic("embedded.fi", "plus", operands); }),
                  (Raised{"fixedpoint:fi:binaryop:signaturenotfound", "Signature not found."}))
            << operands.front() << " " << operands.back();
    }
}

TEST_F(SumRoad, ComplexOperands) {
    const Value z = s16(Value::complex(0.5, 0.25));
    const Value sum = session.call("minus", {z, Value::complex(0.25, 0.5)});
    EXPECT_EQ(sum.get("double"), Value::complex(0.25, -0.25));
    EXPECT_EQ(session.call("plus", {0.5, z}).get("double"), Value::complex(1.0, 0.25));
}

TEST_F(SumRoad, OnlyTheDecidingOperandIsRefusedForBooleans) {
    const Value boolean = fi(true, type("Boolean"));
    const Value real = fi(0.5, type("Double"));
    const Value fixed = s16(0.5);
    struct Row {
        const char* method;
        Value a;
        Value b;
        Raised raised;
    };
    const auto notAllowed = [](const std::string& method) {
        return Raised{"fixedpoint:fi:" + method + ":boolean:notallowed",
                      "Function '" + method + "' is not defined for FI objects of data type 'boolean'."};
    };
    const Raised noMath = {"fixedpoint:fi:nobooleanmath",
                           "Math operations are not allowed on FI objects with boolean data type."};
    const Row rows[] = {
        {"plus", boolean, real, notAllowed("plus")},
        {"plus", boolean, 1.0, notAllowed("plus")},
        {"plus", 1.0, boolean, notAllowed("plus")},
        {"minus", boolean, boolean, notAllowed("minus")},
        {"plus", boolean, Value(), notAllowed("plus")},
        {"plus", Value(), boolean, notAllowed("plus")},
        {"plus", fixed, boolean, noMath},
        {"minus", real, boolean, noMath},
        {"plus",
         real,
         fixed,
         {"fixedpoint:fi:mixedmath", "Math operations are not allowed on FI objects with different data types."}},
        {"plus",
         fi(0.5, type(true, 16, 15), rules({{"RoundMode", "floor"}})),
         fixed,
         {"fixedpoint:fi:fimathmismatch", "FIMATH of both operands must be equal."}},
        {"plus",
         s16(four),
         s16(std::vector<double>{1, 2, 3}),
         {"fixedpoint:fi:dimagree", "Matrix dimensions must agree."}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.method << " " << row.a << " " << row.b);
        EXPECT_EQ(thrownBy([&] { session.call(row.method, {row.a, row.b}); }), row.raised);
    }
    EXPECT_EQ(valuesOf(fixed), std::vector<double>{0.5});
    EXPECT_EQ(typeOf(fixed), "s16,15");
    EXPECT_EQ(valuesOf(boolean), std::vector<double>{1.0});
    EXPECT_EQ(session.call("plus", {real, 0.25}).get("double").toDouble(), 0.75);
}

TEST_F(SumRoad, TakesNumbersOnly) {
    const Value a = s16(0.5);
    EXPECT_EQ(thrownBy([&] {
                  session.call("plus", {a, true});
              }),
              (Raised{"fixedpoint:fi:setBestPrecision:mustbenumeric", "Data must be numeric."}));
    EXPECT_NE(thrownBy([&] { session.call("plus", {a, "text"}); }).id, "");
    EXPECT_NE(thrownBy([&] { session.call("plus", {a, Value::cells(std::vector<Value>{1})}); }).id, "");
    EXPECT_EQ(thrownBy([&] { session.call("plus", {a, NAN}); }).id, "fixedpoint:fi:nonan");
    EXPECT_EQ(thrownBy([&] { session.call("plus", {a}); }).id, "VELMAR:method:noSignature");
}

TEST_F(SumRoad, RulesAndTagOfTheResult) {
    const Value floor = fi(0.5, type(true, 16, 15), rules({{"RoundMode", "floor"}}));
    EXPECT_EQ(session.call("plus", {floor, 0.25}).get("RoundMode").toText(), "floor");
    EXPECT_EQ(session.call("plus", {0.25, floor}).get("RoundMode").toText(), "floor");
    const Value global = fi(0.5, type(true, 16, 15), false);
    EXPECT_FALSE(session.call("isfimathlocal", {session.call("plus", {global, 0.25})}).toBool());
}

TEST_F(SumRoad, WarnsOfWhatOverflowedAndCountsOperations) {
    const Value wrap = rules({{"SumMode", "SpecifyPrecision"},
                              {"SumWordLength", 8},
                              {"SumFractionLength", 7},
                              {"CastBeforeSum", true},
                              {"OverflowMode", "saturate"}});
    const Value a = fi(std::vector<double>{0.75, -0.75, 0.25}, type(true, 8, 7), wrap);
    EXPECT_EQ(valuesOf(session.call("plus", {a, a})), (std::vector<double>{0.9921875, -1.0, 0.5}));
    EXPECT_TRUE(session.takeWarnings().empty());

    logging(true);
    session.call("resetgloballog", {a});
    const Value sum = session.call("plus", {a, a});
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:overflow", "2 overflows occurred in the fi + operation."}}));
    EXPECT_EQ(session.call("noverflows", {sum}).toDouble(), 2.0);
    EXPECT_EQ(session.call("noperations", {sum}).toDouble(), 9.0);
    EXPECT_EQ(session.call("nmathoperations", {sum}).toDouble(), 3.0);
    session.call("minus", {a, fi(-0.25, type(true, 8, 7), wrap)});
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:overflow", "1 overflow occurred in the fi - operation."}}));
    session.call("displaygloballog", {a});
    EXPECT_NE(session.takePrinted().find("FI sum overflows        : 3\n"), std::string::npos);
    logging(false);
    session.call("plus", {a, a});
    EXPECT_TRUE(session.takeWarnings().empty());
}

/// The exact sum under FullPrecision: both operands are dyadic with few bits, so that doubles hold everything.
TEST_F(SumRoad, FullPrecisionIsExactForRandomTypes) {
    constexpr unsigned seed = 20260801;
    std::mt19937 random(seed);
    const auto in = [&random](int low, int high) { return std::uniform_int_distribution(low, high)(random); };
    for (int i = 0; i < 200; ++i) {
        const int bitsA = in(2, 24);
        const int bitsB = in(2, 24);
        const int pointA = in(-4, 12);
        const int pointB = in(-4, 12);
        const double x = std::ldexp(in(-(1 << (bitsA - 1)), (1 << (bitsA - 1)) - 1), -pointA);
        const double y = std::ldexp(in(-(1 << (bitsB - 1)), (1 << (bitsB - 1)) - 1), -pointB);
        const Value a = fi(x, type(true, bitsA, pointA));
        const Value b = fi(y, type(true, bitsB, pointB));
        const int point = std::max(pointA, pointB);
        const int wordLength = std::max(bitsA - pointA, bitsB - pointB) + 1 + point;
        SCOPED_TRACE(testing::Message() << "seed " << seed << " case " << i << ": " << x << " " << y);
        const Value sum = session.call("plus", {a, b});
        EXPECT_EQ(sum.get("double").toDouble(), x + y);
        EXPECT_EQ(typeOf(sum), "s" + std::to_string(wordLength) + "," + std::to_string(point));
        EXPECT_EQ(session.call("minus", {a, b}).get("double").toDouble(), x - y);
    }
}

}  // namespace
