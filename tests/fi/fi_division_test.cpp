// Quotients: values against exact rationals rounded at the working precision, zero divisors, types, array code against
// element steps, errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <sstream>

#include "tests/support/arrays_of_fi.h"
#include "tests/support/errors_of_fi.h"
#include "tests/support/exact_arrays.h"

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

/// What an operation of work cells of a precision gives: a double's 53 bits, or one bit more than was asked for.
struct Cells {
    int bits;
    Rational operator()(const Rational& exact) const { return atPrecision(exact, bits <= 52 ? 53 : bits + 1); }
};

struct Expected {
    std::vector<Rational> values;
    std::uint64_t overflows = 0;
    std::uint64_t operations = 0;
    bool lastIsZeroDivision = false;

    void divide(const Rational& numerator, const Rational& divisor, Cells cells, const NumericType& type,
                Rounding rounding, bool wraps) {
        lastIsZeroDivision = divisor == 0;
        if (divisor == 0) {
            const Rational beyond = scaled(Rational(numerator < 0 ? -1 : 1), 5000);
            values.push_back(quantized(beyond, type, Rounding::floor, false));
            return;
        }
        const Rational exact = cells(numerator / divisor);
        values.push_back(quantized(exact, type, rounding, wraps));
        ++operations;
        const NumericType unbounded = fixedType(true, 4000, type.getFractionLength());
        if (values.back() != quantized(exact, unbounded, rounding, false)) {
            ++overflows;
        }
    }
};

TEST(Quotient, IsTheExactOneRoundedAtTheWorkingPrecisionAndQuantizedOnce) {
    Random random(5501);
    const LoggingOn logging;
    int zeroDivisions = 0;
    for (int round = 0; round < 3000; ++round) {
        const int maxBits = random.oneIn(3) ? 200 : 22;
        const NumericType leftType = randomFixedType(random, maxBits, false);
        const NumericType rightType = randomFixedType(random, maxBits, false);
        const NumericType type = randomFixedType(random, random.oneIn(3) ? 100 : 22, false);
        const Rounding rounding = random.pick(kRoundings);
        const bool wraps = random.oneIn(2);
        const fimath rules = rulesOf(rounding, wraps);
        const int shape = random.between(0, 3);
        const std::size_t count = static_cast<std::size_t>(random.between(0, 6));
        const auto part = [&](const NumericType& of, bool isScalar, bool isComplex) {
            Part made;
            for (std::size_t i = 0; i < (isScalar ? 1 : count); ++i) {
                made.re.push_back(random.oneIn(6) ? Rational(0) : randomValue(random, of));
                if (isComplex) {
                    made.im.push_back(random.oneIn(3) ? Rational(0) : randomValue(random, of));
                }
            }
            return made;
        };
        const bool leftComplex = random.oneIn(2);
        const bool rightComplex = random.oneIn(2);
        const Part left = part(leftType, shape == 0, leftComplex);
        const Part right = part(rightType, shape == 1, rightComplex);
        Owner a = arrayOf(left, leftType, rules);
        Owner b = arrayOf(right, rightType, rules);
        if (leftComplex && left.re.empty()) a->setIsReal(false);
        if (rightComplex && right.re.empty()) b->setIsReal(false);
        const Snapshot aBefore = snapshotOf(*a);
        const Snapshot bBefore = snapshotOf(*b);

        const int bits = workBits(type.getWordLength(), leftType.getWordLength(), rightType.getWordLength());
        const Cells cells{rightComplex ? 2 * bits : bits};
        const std::size_t numel = left.re.size() == 1 ? right.re.size() : left.re.size();
        Expected re;
        Expected im;
        for (std::size_t i = 0; i < numel; ++i) {
            const std::size_t l = left.re.size() == 1 ? 0 : i;
            const std::size_t r = right.re.size() == 1 ? 0 : i;
            const Rational ar = left.re[l];
            const Rational ai = leftComplex ? left.im[l] : Rational(0);
            const Rational br = right.re[r];
            const Rational bi = rightComplex ? right.im[r] : Rational(0);
            if (!rightComplex) {
                re.divide(ar, br, cells, type, rounding, wraps);
                if (leftComplex) {
                    im.divide(ai, br, cells, type, rounding, wraps);
                }
                continue;
            }
            const Rational d = cells(cells(br * br) + cells(bi * bi));
            const Rational cross = cells(cells(ai * br) - cells(ar * bi));
            re.divide(cells(cells(ar * br) + cells(ai * bi)), d, cells, type, rounding, wraps);
            im.divide(cross, d, cells, type, rounding, wraps);
        }
        std::ostringstream what;
        what << "seed " << random.seed() << " round " << round << ": " << leftType.tostring("") << " over "
             << rightType.tostring("") << " into " << type.tostring("") << ", " << left.re.size() << " and "
             << right.re.size() << (leftComplex ? ", left complex" : "") << (rightComplex ? ", right complex" : "")
             << ", " << nameOf(rounding) << (wraps ? " wrap" : " saturate");

        Warnings warnings;
        Owner result;
        {
            HostCapture host;
            result = quotient(*a, *b, type);
            warnings = host.warnings;
        }
        ASSERT_EQ(fieldsOf(result->getNumericType()), fieldsOf(type)) << what.str();
        ASSERT_EQ(result->iscomplex(), leftComplex || rightComplex) << what.str();
        ASSERT_EQ(result->numel(), numel) << what.str();
        for (std::size_t i = 0; i < numel; ++i) {
            ASSERT_EQ(exactValue(result->real(i)), re.values[i]) << what.str() << ", element " << i;
            if (result->iscomplex()) {
                ASSERT_EQ(exactValue(result->imag(i)), im.values[i]) << what.str() << ", imaginary element " << i;
            }
        }
        ASSERT_EQ(result->getNoverflows(), re.overflows + im.overflows) << what.str();
        ASSERT_EQ(result->getNoperations(), re.operations + im.operations) << what.str();
        ASSERT_EQ(warnings, re.lastIsZeroDivision ? kDivideByZero : Warnings()) << what.str();
        ASSERT_EQ(snapshotOf(*a), aBefore) << what.str();
        ASSERT_EQ(snapshotOf(*b), bBefore) << what.str();
        zeroDivisions += re.lastIsZeroDivision ? 1 : 0;
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

// Types, rules, kSizesDiffer.

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
    // A type with slope and bias takes the quotient for the stored value, as it is.
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

TEST(Quotient, TakesTheSizesOfTheOperandThatIsNoScalar) {
    const NumericType type = fixedType(true, 8, 0);
    const Sizes cube{2, 1, 3};
    const Sizes none{0, 3};
    const std::vector<double> values{2, 4, 6, 8, 10, 12};
    const fi a(values.data(), cube.data(), 3, type, rulesOf(), "", true, Operation::Assignment);
    EXPECT_EQ(sizesOf(*quotient(a, scalar(2, type), type)), cube);
    EXPECT_EQ(realParts(*quotient(a, scalar(2, type), type)), (std::vector<double>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(sizesOf(*quotient(scalar(24, type), a, type)), cube);
    EXPECT_EQ(realParts(*quotient(scalar(24, type), a, type)), (std::vector<double>{12, 6, 4, 3, 2, 2}));
    EXPECT_EQ(realParts(*quotient(a, a, type)), std::vector<double>(6, 1));
    const fi empty(none.data(), 2, type, rulesOf(), true, "", true, Operation::Assignment, 0U);
    EXPECT_EQ(sizesOf(*quotient(empty, scalar(2, type), type)), none);
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
