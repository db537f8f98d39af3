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
