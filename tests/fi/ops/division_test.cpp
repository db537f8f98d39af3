// Quotients: values against exact rationals rounded at the working precision, zero divisors, types, array code against
// element steps, errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "tests/support/errors_of_fi.h"
#include "tests/support/product_oracle.h"

namespace {

using Owner = std::unique_ptr<fi>;
using Warnings = std::vector<HostCapture::Warning>;

const Warnings kDivideByZero = {{"fi:divideByZero", "Division by zero occurred. Quotient was saturated."}};

Owner quotient(const fi& a, const fi& b, const NumericType& type) {
    return Owner(&a.over(b, type));
}

// Values.

/// The working precision of a fixed-point result, from the word lengths alone.
int workBits(int resultBits, int leftBits, int rightBits) {
    const int bits = std::max({resultBits + 10, leftBits, rightBits});
    return bits > 32 ? std::max(bits, 128) : bits;
}

/// The result of an operation on work cells of a precision: a double's 53 bits, or one bit more than requested.
struct Cells {
    int bits;
    Rational operator()(const Rational& exact) const { return atPrecision(exact, cellBits(bits)); }
};

TEST(Quotient, IsTheExactOneRoundedAtTheWorkingPrecisionAndQuantizedOnce) {
    Random random(5501);
    const LoggingOn logging;
    int zeroDivisions = 0;
    for (int round = 0; round < 3000; ++round) {
        const int maxBits = random.oneIn(3) ? 200 : 22;
        const NumericType type = randomFixedType(random, random.oneIn(3) ? 100 : 22, false);
        const Rounding rounding = random.pick(kRoundings);
        const bool wraps = random.oneIn(2);
        const auto count = static_cast<std::uint64_t>(random.between(0, 6));
        const auto make = [&](bool isScalar) {
            KnownArray made = randomArray(random, randomFixedType(random, maxBits, false), {isScalar ? 1 : count, 1},
                                          random.oneIn(2), rulesOf(rounding, wraps));
            const auto zero = [](Integer& word, const number& entry) {
                word = 0;
                const_cast<number&>(entry).setvalue(0.0);
            };
            for (std::size_t i = 0; i < made.re.size(); ++i) {
                if (random.oneIn(5)) {
                    zero(made.re[i], made.array->real(i));
                }
                if (!made.im.empty() && random.oneIn(3)) {
                    zero(made.im[i], made.array->imag(i));
                }
            }
            made.array->setIndex(0);
            return made;
        };
        const int shape = random.between(0, 3);
        const KnownArray a = make(shape == 0);
        const KnownArray b = make(shape == 1);
        const bool isByComplex = b.array->iscomplex();
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " round " << round << ": " << a.description()
                                        << " over " << b.description() << " into " << type.tostring("") << ", "
                                        << nameOf(rounding) << (wraps ? " wrap" : " saturate"));

        const int bits = workBits(type.getWordLength(), a.type.getWordLength(), b.type.getWordLength());
        const Cells cells{isByComplex ? 2 * bits : bits};
        Stage stage{type, rounding, wraps};
        const auto divide = [&](const Rational& numerator, const Rational& divisor) {
            return divisor == 0
                       ? quantized(scaled(Rational(numerator < 0 ? -1 : 1), 5000), type, Rounding::floor, false)
                       : stage(cells(numerator / divisor));
        };
        std::vector<Element> wanted;
        bool lastIsZeroDivision = false;
        for (std::size_t i = 0; i < (a.re.size() == 1 ? b : a).re.size(); ++i) {
            const Element x = elementOf(a, a.re.size() == 1 ? 0 : i);
            const Element y = elementOf(b, b.re.size() == 1 ? 0 : i);
            const Rational divisor = isByComplex ? cells(cells(y.re * y.re) + cells(y.im * y.im)) : y.re;
            const Rational re = isByComplex ? cells(cells(x.re * y.re) + cells(x.im * y.im)) : x.re;
            const Rational im = isByComplex ? cells(cells(x.im * y.re) - cells(x.re * y.im)) : x.im;
            const bool isComplex = isByComplex || a.array->iscomplex();
            lastIsZeroDivision = divisor == 0;
            wanted.push_back({divide(re, divisor), isComplex ? divide(im, divisor) : Rational(0)});
        }
        HostCapture host;
        const Owner result = quotient(*a.array, *b.array, type);
        ASSERT_TRUE(holds(*result, wanted));
        ASSERT_EQ(fieldsOf(result->getNumericType()), fieldsOf(type));
        ASSERT_EQ(result->iscomplex(), isByComplex || a.array->iscomplex());
        ASSERT_EQ(countsOf(*result), stage.counts);
        ASSERT_EQ(host.warnings, lastIsZeroDivision ? kDivideByZero : Warnings());
        ASSERT_TRUE(isUnchanged(a) && isUnchanged(b));
        zeroDivisions += lastIsZeroDivision ? 1 : 0;
    }
    EXPECT_GT(zeroDivisions, 100);
}

// Zero divisors.

TEST(Quotient, ByZeroIsTheBoundByTheSignOfTheNumeratorInEitherOverflowMode) {
    for (const bool wraps : {false, true}) {
        const fimath rules = rulesOf(Rounding::nearest, wraps);
        for (const int bits : {8, 40}) {
            for (const bool isSigned : {false, true}) {
                const NumericType type = fixedType(isSigned, bits, 3);
                const LoggingOn logging;
                const HostCapture host;
                const Owner result = quotient(column({1, -1, 0, -0.0}, fixedType(true, 8, 0), rules),
                                              scalar(0, fixedType(true, 8, 0), rules), type);
                const double high = std::ldexp(std::ldexp(1.0, isSigned ? bits - 1 : bits) - 1, -3);
                const double low = isSigned ? -std::ldexp(1.0, bits - 4) : 0.0;
                EXPECT_EQ(realParts(*result), (std::vector<double>{high, low, high, high}));
                EXPECT_EQ(countsOf(*result), Counts());
                EXPECT_TRUE(result->getQlogger().isreset());
                EXPECT_EQ(host.warnings, kDivideByZero);
            }
        }
    }
}

// Types, rules, sizes.

TEST(QuotientType, FollowsTheDataTypeOfTheOperands) {
    const NumericType fixed = fixedType(true, 16, 8);
    const NumericType scaledDouble(TypeMode::ScaledDoubleBinaryPoint, true, 16, 1.0, -8, 0.0);
    const NumericType doubles = plainType(TypeMode::Double);
    const NumericType singles = plainType(TypeMode::Single);
    const NumericType boolean = plainType(TypeMode::Boolean);
    struct Row {
        const char* why;
        NumericType a, b, type, wanted;
        double value;
    };
    const Row rows[] = {
        {"left is double", doubles, singles, fixed, doubles, 0.4},
        {"left is single", singles, doubles, fixed, singles, 0.4f},
        {"a scaled double follows too", singles, singles, scaledDouble, singles, 0.4f},
        {"both scaled double", scaledDouble, scaledDouble, fixed, scaledDouble, 0.4},
        {"only one of them", fixed, scaledDouble, fixed, fixed, 0.3984375},
        {"only one of them", scaledDouble, fixed, fixed, fixed, 0.3984375},
        {"a float beside a fixed one", doubles, fixed, fixed, fixed, 0.3984375},
        {"told single", fixed, fixed, singles, singles, 0.4f},
        {"told boolean", fixed, fixed, boolean, boolean, 1.0},
        {"told scaled double", fixed, fixed, scaledDouble, scaledDouble, 0.4},
    };
    for (const Row& row : rows) {
        const Owner result = quotient(scalar(2, row.a), scalar(5, row.b), row.type);
        EXPECT_EQ(fieldsOf(result->getNumericType()), fieldsOf(row.wanted)) << row.why;
        EXPECT_EQ(result->realdouble(), row.value) << row.why;
    }
    // With slope and bias, the quotient itself becomes the stored value.
    const Owner stored = quotient(scalar(3, fixed), scalar(2, fixed), slopeBiasType(true, 16, 1.5, -2, 10.0));
    EXPECT_EQ(stored->realdouble(), 1.5);
    EXPECT_EQ(quotient(scalar(3, fixed), scalar(1, boolean), fixed)->realdouble(), 3.0);
}

TEST(QuotientType, TakesTheRulesOfTheLeftOperandFirstAndItsTag) {
    const GlobalRules global(rulesOf(Rounding::ceil, false));
    const NumericType type = fixedType(true, 8, 0);
    for (int locals = 0; locals < 4; ++locals) {
        fi a = scalar(2, type, rulesOf(Rounding::floor, false), (locals & 1) != 0);
        const fi b = scalar(4, type, rulesOf(Rounding::nearest, false), (locals & 2) != 0);
        a.setTag("left");
        // 2/4 lies between 0 and 1.
        const Owner result = quotient(a, b, type);
        EXPECT_EQ(result->realdouble(), (locals & 1) != 0 ? 0.0 : 1.0) << locals;
        EXPECT_EQ(result->getFimathIsLocal(), locals != 0);
        EXPECT_EQ(result->getTag(), "left");
        EXPECT_EQ(result->getQlogger().getOperationType(), Operation::Assignment);
        EXPECT_FALSE(result->isSumRegisterInitialized() || result->isProductRegisterInitialized());
    }
}

TEST(Quotient, RefusesOperandsAndTypes) {
    const NumericType fixed = fixedType(true, 8, 0);
    const NumericType boolean = plainType(TypeMode::Boolean);
    const NumericType sloped = slopeBiasType(true, 8, 1.5, 0, 0.0);
    const NumericType unspecified(TypeMode::FixedUnspecified, true, 8, 1.0, 0, 0.0);
    const Raised noSlope{"fixedpoint:fi:onlybinarypointdivide",
                         "Function 'divide' is only supported for FI object operands that have an integer power of 2 "
                         "slope, and a bias of 0."};
    const fi one = scalar(1, fixed);
    const fi z = column({1}, {1}, fixed);
    struct Row {
        fi a, b;
        NumericType type;
        Raised raised;
    };
    const Row rows[] = {
        {scalar(1, boolean), one, fixed, kNoBooleanMath},
        {scalar(1, boolean), scalar(1, sloped), sloped, kNoBooleanMath},
        {scalar(1, sloped), one, fixed, noSlope},
        {z, scalar(1, sloped), sloped, noSlope},
        {z, one, sloped, kNoComplexResult},
        {one, z, sloped, kNoComplexResult},
        {column({1, 2}, fixed), column({1, 2, 3}, fixed), fixed, kSizesDiffer},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(raisedBy([&] { quotient(row.a, row.b, row.type); }), row.raised);
    }
    {
        const ComplexSlopeBias allowed;
        EXPECT_EQ(raisedBy([&] { quotient(z, one, sloped); }), kNoComplexResult);
    }
    EXPECT_EQ(raisedBy([&] {
                  quotient(column({1, 2}, fixed), column({1, 2, 3}, fixed), unspecified);
              }).id,
              "fixedpoint:quantizer:unspecifiedscaling");
}

}  // namespace
