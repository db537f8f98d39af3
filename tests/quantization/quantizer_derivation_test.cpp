#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

#include "quantization/quantizer.h"
#include "tests/support/errors.h"
#include "tests/support/quantizers.h"

namespace {

quantizer make(Mode mode, int word, int second) {
    return Description{mode, word, second}.make();
}

void expectKind(const quantizer& q, bool wide) {
    for (const number* constant : {&q.getRealmax(), &q.getLowerBound(), &q.getPositiveEps(), &q.getNegativeEps(),
                                   &q.getWrapAround(), &q.getDenormalmin(), &q.getRealmin()}) {
        EXPECT_EQ(constant->gettype() == embedded::numbertype::mpnumber, wide);
    }
}

}  // namespace

TEST(FixedDerivation, GivesTheWordsOfIntegersOfAnyLength) {
    struct Row {
        int word;
        int fraction;
    };
    const Row rows[] = {{1, 0},  {1, 5},    {8, 12},   {16, 15},  {16, -4},    {51, 3},    {52, 3},
                        {53, 9}, {64, 700}, {128, 64}, {1000, 1}, {65535, -7}, {65535, 32}};
    for (const Row row : rows) {
        for (const Mode mode : {Mode::Fixed, Mode::ScaledDouble, Mode::Ufixed, Mode::UnsignedScaledDouble}) {
            const quantizer q = make(mode, row.word, row.fraction);
            SCOPED_TRACE(testing::Message()
                         << static_cast<int>(mode) << " [" << row.word << ' ' << row.fraction << ']');
            const bool isSigned = mode == Mode::Fixed || mode == Mode::ScaledDouble;
            const Rational step = twoTo(-row.fraction);
            const Rational range = twoTo(row.word - row.fraction);
            const Rational top = isSigned ? Rational(range / 2) : range;
            EXPECT_EQ(exactValue(q.getRealmax()), top - step);
            EXPECT_EQ(exactValue(q.getUpperBound()), top - step);
            EXPECT_EQ(exactValue(q.getLowerBound()), isSigned ? Rational(-top) : Rational(0));
            EXPECT_EQ(exactValue(q.getWrapAround()), range);
            EXPECT_EQ(exactValue(q.getPositiveEps()), step);
            EXPECT_EQ(exactValue(q.getNegativeEps()), -step);
            const Rational least = mode == Mode::Fixed && row.word == 1 ? Rational(-step) : step;
            EXPECT_EQ(exactValue(q.getEps()), least);
            EXPECT_EQ(exactValue(q.getRealmin()), least);
            EXPECT_EQ(exactValue(q.getDenormalmin()), least);
            EXPECT_EQ(exactValue(q.getDenormalmax()), least);
            EXPECT_EQ(q.getPrecision(), static_cast<unsigned>(isSigned ? row.word : row.word + 1));
            EXPECT_EQ(q.getExponentlength() + q.getExponentmax() + q.getExponentmin(), 0);
            expectKind(q, q.getPrecision() > 52);
        }
    }
}

TEST(FloatDerivation, GivesBoundsFromMantissaAndExponent) {
    struct Row {
        int word;
        int exponent;
        int exponentmax;
        bool wide;
    };
    const Row rows[] = {{16, 5, 15, false},   {32, 8, 127, false},   {64, 11, 1023, false},  {65, 11, 1023, true},
                        {40, 12, 2047, true}, {80, 15, 16383, true}, {10, 0, -1, false},     {6, 5, 15, false},
                        {1, 0, -1, false},    {200, 3, 3, true},     {3000, 16, 32767, true}};
    for (const Row row : rows) {
        SCOPED_TRACE(testing::Message() << row.word << ' ' << row.exponent);
        const quantizer q = make(Mode::Float, row.word, row.exponent);
        const int f = row.word - row.exponent - 1;
        EXPECT_EQ(q.getFractionlength(), f);
        EXPECT_EQ(q.getPrecision(), static_cast<unsigned>(f));
        EXPECT_EQ(q.getExponentlength(), row.exponent);
        EXPECT_EQ(q.getExponentmax(), row.exponentmax);
        EXPECT_EQ(q.getExponentbias(), row.exponentmax);
        EXPECT_EQ(q.getExponentmin(), 1 - row.exponentmax);
        const Rational realmax = (Rational(2) - twoTo(-f)) * twoTo(row.exponentmax);
        // As a copy of a forced constant would lose it, the comparison takes the constant itself.
        const auto same = [](const number& constant, const Rational& expected) {
            return constant == makeNumber(expected, 4000);
        };
        EXPECT_TRUE(same(q.getRealmax(), realmax));
        EXPECT_TRUE(same(q.getLowerBound(), -realmax));
        EXPECT_TRUE(same(q.getRealmin(), twoTo(1 - row.exponentmax)));
        EXPECT_TRUE(same(q.getDenormalmin(), twoTo(1 - row.exponentmax - f)));
        EXPECT_TRUE(same(q.getPositiveEps(), twoTo(-f)));
        EXPECT_TRUE(same(q.getNegativeEps(), -twoTo(-f)));
        EXPECT_TRUE(q.getWrapAround().iszero());
        expectKind(q, row.wide);
    }
}

TEST(FloatDerivation, GoesAsFarAsTheExponentsOfMpfr) {
    const quantizer q = make(Mode::Float, 65535, 30);
    EXPECT_EQ(q.getExponentmax(), (1 << 29) - 1);
    EXPECT_EQ(q.getRealmax().unbiasedexponent(), (1 << 29) - 1);
    EXPECT_EQ(q.getDenormalmin().unbiasedexponent(), q.getExponentmin() - q.getFractionlength());
    // With 31 bits the bound is 2^(2^30) less a step, which MPFR's default range does not hold.
    const quantizer beyond = make(Mode::Float, 65535, 31);
    EXPECT_EQ(beyond.getExponentmax(), (1 << 30) - 1);
    EXPECT_TRUE(beyond.getRealmax().myisinf());
}

TEST(FixedModes, ForceTheirFormat) {
    struct Row {
        Mode mode;
        double first;
        double second;
        int fraction;
        double realmax;
        double denormalmin;
    };
    const double largest = std::numeric_limits<double>::max();
    const Row rows[] = {
        {Mode::Double, 64, 11, 52, largest, std::numeric_limits<double>::denorm_min()},
        {Mode::None, 64, 11, 52, largest, std::numeric_limits<double>::denorm_min()},
        {Mode::Single, 32, 8, 23, std::numeric_limits<float>::max(), std::numeric_limits<float>::denorm_min()},
        {Mode::Boolean, 1, 0, 0, 1.0, 1.0},
    };
    for (const Row& row : rows) {
        const quantizer q = make(row.mode, 24, 7);
        EXPECT_EQ(q.getFormat(), (RealPoint{row.first, row.second}));
        EXPECT_EQ(q.getWordlength(), row.first);
        EXPECT_EQ(q.getFractionlength(), row.fraction);
        EXPECT_EQ(q.getRealmax().todouble(), row.realmax);
        EXPECT_EQ(q.getDenormalmin().todouble(), row.denormalmin);
        expectKind(q, false);
    }
    EXPECT_EQ(make(Mode::Single, 1, 1).getDenormalmax().todouble(), 0x1p-126 - 0x1p-149);
}

TEST(FractionLength, IsTakenAtBothEndsOfInt) {
    for (const int fraction : {INT_MIN, INT_MIN + 1, INT_MAX}) {
        for (const Mode mode : {Mode::Fixed, Mode::Ufixed}) {
            const quantizer narrow = make(mode, 16, fraction);
            EXPECT_EQ(narrow.getFractionlength(), fraction);
            number x(1.5, 52, false);
            narrow.quantize(x);
            const quantizer wide = make(mode, 64, fraction);
            EXPECT_EQ(wide.getFractionlength(), fraction);
            number y(1.5, 64, false);
            wide.quantize(y);
        }
    }
}

TEST(DefaultPrecision, DoesNotReachTheConstants) {
    number::setDefaultPrecision(100, true);
    const quantizer q = make(Mode::Fixed, 16, 15);
    const quantizer u = make(Mode::Ufixed, 16, 15);
    number::setDefaultPrecision(52, false);
    expectKind(q, false);
    expectKind(u, false);
    EXPECT_EQ(q.getWrapAround().todouble(), 2.0);
    EXPECT_EQ(q.getMax().gettype(), embedded::numbertype::mpnumber);
    number x(1.0, 52, false);
    EXPECT_EQ(q.quantize(x).todouble(), 1.0 - 0x1p-15);
    EXPECT_EQ(q.getMax().todouble(), 1.0 - 0x1p-15);
}
