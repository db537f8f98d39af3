// Stores into elements: between types against exact rationals, and what they leave alone.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/errors_of_fi.h"
#include "tests/support/random_arrays_of_fi.h"

namespace {

// Types with slope and bias are met in the test of their arithmetic.
TEST(FiAssignment, ConvertsBetweenTypesAsExactRationalsSay) {
    Random random(5102);
    int narrowed = 0;
    for (int round = 0; round < 4000; ++round) {
        const NumericType from = randomFixedType(random, 200, false);
        const NumericType to = random.oneIn(10) ? from : randomFixedType(random, 200, false);
        const Rounding rounding = random.pick(kRoundings);
        const bool wraps = random.oneIn(2);
        narrowed += to.getWordLength() <= 52 && from.getWordLength() > 53;
        const KnownArray source = randomArray(random, from, {2, 1}, random.oneIn(4), rulesOf());
        fi target = column({0.0, 0.0, 0.0}, to, rulesOf(rounding, wraps));
        source.array->setIndex(1);
        target.setIndex(2);
        target = *source.array;
        SCOPED_TRACE(testing::Message() << "seed 5102, round " << round << ": " << source.description() << " to "
                                        << to.qpointstr() << ' ' << nameOf(rounding)
                                        << (wraps ? " wrap" : " saturate"));
        const auto wanted = [&](const std::vector<Integer>& words) {
            return quantized(scaled(Rational(words[1]), from.getFixedExponent()), to, rounding, wraps);
        };
        ASSERT_EQ(exactValue(target.real(2)), wanted(source.re));
        ASSERT_EQ(target.iscomplex(), source.array->iscomplex());
        ASSERT_EQ(exactValue(target.imag(2)), source.im.empty() ? Rational(0) : wanted(source.im));
        ASSERT_TRUE(target.realdouble(0) == 0.0 && target.realdouble(1) == 0.0);
        // The same from a real-world double.
        const double value = randomInput(random, to);
        target.setIndex(1);
        target = value;
        ASSERT_EQ(exactValue(target.real(1)), quantized(Rational(value), to, rounding, wraps));
    }
    EXPECT_GT(narrowed, 100);
}

TEST(FiAssignment, CopiesAValueOfItsOwnTypeWithoutQuantizing) {
    const NumericType type = fixedType(true, 8, 2);
    fi source = scalar(1.0, type, rulesOf(Rounding::floor, false));
    source.setvalue(1.1);
    fi target = scalar(0.0, type, rulesOf(Rounding::ceil, true));
    target = source;
    EXPECT_EQ(target.realdouble(), 1.1);

    // A log sees the value all the same, and a scaled double is counted twice.
    const LoggingOn logging;
    target.resetLogging();
    target = source;
    EXPECT_EQ(countsOf(target), (Counts{0, 0, 1}));
    const fi& itself = target;
    target = itself;
    EXPECT_EQ(countsOf(target), (Counts{0, 0, 1}));
    const NumericType scaledDouble(TypeMode::ScaledDoubleBinaryPoint, true, 8, 1.0, -2, 0.0);
    const fi large = scalar(1000.0, scaledDouble);
    fi counted = scalar(0.0, scaledDouble);
    counted.resetLogging();
    counted = large;
    EXPECT_EQ(counted.realdouble(), 1000.0);
    EXPECT_EQ(countsOf(counted), (Counts{1, 0, 2}));
}

TEST(FiAssignment, KeepsNaNAndInfinityInFloatsAndTakesThemIntoScaledDoubles) {
    const double inf = std::numeric_limits<double>::infinity();
    const fi source = column({inf, -inf, std::nan("")}, plainType(TypeMode::Double));
    fi single = column({0, 0, 0}, plainType(TypeMode::Single));
    single.copydata(source);
    EXPECT_EQ(single.realdouble(0), inf);
    EXPECT_TRUE(std::isnan(single.realdouble(2)));
    EXPECT_FALSE(single.isFinite());
    fi fixed = column({0, 0}, NumericType());
    fixed = inf;
    EXPECT_EQ(fixed.realdouble(), 1.0 - std::ldexp(1.0, -15));
    EXPECT_TRUE(fixed.isFinite());
}

// Complexity.

TEST(FiAssignment, TurnsTheWholeTargetComplexAndNeverBack) {
    for (const int wordBits : {16, 70}) {
        const NumericType type = fixedType(true, wordBits, 8);
        const fi complexOne = column({0.5}, {0.25}, fixedType(true, 24, 12));
        const fi realOne = column({2.0}, type);
        fi target = column({1.0, 2.0, 3.0}, type);
        target.setIndex(1);
        target = complexOne;
        EXPECT_EQ(realParts(target), (std::vector<double>{1.0, 0.5, 3.0}));
        EXPECT_EQ(imaginaryParts(target), (std::vector<double>{0.0, 0.25, 0.0}));
        target.setIndex(1);
        target = realOne;
        EXPECT_TRUE(target.iscomplex());
        EXPECT_EQ(imaginaryParts(target), std::vector<double>(3, 0.0));
        // A store without quantizing, by element and by double.
        target.setIndex(2);
        target.setvalue(complexOne);
        EXPECT_EQ(target.imagdouble(2), 0.25);
        target.setvalue(0.3);
        EXPECT_EQ(target.realdouble(2), 0.3);
        EXPECT_EQ(target.imagdouble(2), 0.0);
    }
}

TEST(FiAssignment, LeavesAStoredZeroBesideADoubleEvenWhereThatIsNoRealWorldZero) {
    const ComplexSlopeBias allowed;
    const NumericType type = slopeBiasType(true, 16, 1.5, -8, 4.0);
    fi target = column({1.0, 2.0}, {1.0, 2.0}, type);
    target.setIndex(0);
    target = 7.0;
    EXPECT_EQ(target.imagdouble(0), 0.0);
    // A real array of the same type gives real-world zero.
    const fi source = column({1.0}, type);
    target = source;
    EXPECT_EQ(target.imagdouble(0), quantized(Rational(1.0 / 1.5 * -4.0), type, Rounding::nearest, false).get_d());
}

TEST(FiAssignment, RefusesAComplexSourceForSlopeAndBias) {
    const fi complexOne = column({0.5}, {0.25}, NumericType());
    fi target = column({1.0, 2.0}, slopeBiasType(true, 16, 1.5, -8, 4.0));
    const Snapshot before = snapshotOf(target);
    EXPECT_EQ(raisedBy([&] { target = complexOne; }), kNoComplexResult);
    EXPECT_EQ(raisedBy([&] { target.copydata(complexOne); }), kNoComplexResult);
    EXPECT_EQ(raisedBy([&] { target.setvalue(complexOne); }).id, "fixedpoint:fi:nocomplexslopebias");
    EXPECT_EQ(raisedBy([&] { target.coordinateComplexity(true, 0); }).id, "fixedpoint:fi:nocomplexslopebias");
    EXPECT_EQ(snapshotOf(target), before);
}

// Rules.

TEST(FiAssignment, FollowsTheGlobalRulesFromTheNextStoreOn) {
    const GlobalRules global(rulesOf(Rounding::floor, false));
    const NumericType type = fixedType(true, 8, 0);
    fi a = scalar(0.0, type, rulesOf(Rounding::fix, false), false);
    fi b = scalar(0.0, type, rulesOf(Rounding::fix, false), false);
    fi local = scalar(0.0, type, rulesOf(Rounding::floor, false), true);
    fimath::setGlobalFimath(rulesOf(Rounding::ceil, true));
    const fi source = scalar(129.25, fixedType(true, 20, 4));
    a = source;
    b = 1.25;
    local = 1.25;
    EXPECT_EQ(a.realdouble(), 130.0 - 256.0);
    EXPECT_EQ(b.realdouble(), 2.0);
    EXPECT_EQ(local.realdouble(), 1.0);
    // quantizeAll takes them only when told.
    fi all = column({0.0, 0.0}, type, rulesOf(), false);
    fimath::setGlobalFimath(rulesOf(Rounding::floor, false));
    all.setIndex(0);
    all.setvalue(0.5);
    fi stale(all);
    fimath::setGlobalFimath(rulesOf(Rounding::ceil, false));
    stale.quantizeAll(false);
    EXPECT_EQ(stale.realdouble(0), 0.0);
    all.quantizeAll(true);
    EXPECT_EQ(all.realdouble(0), 1.0);
}

// Reads of one element on another scale, as derived classes have them.

class Reader : public fi {
 public:
    explicit Reader(const fi& source) : fi(source) {}
    using fi::getAdjustedElement;
    using fi::getElement;
};

TEST(FiElement, IsReadOnTheScaleOfAnotherType) {
    const fi other = scalar(0.0, slopeBiasType(true, 24, 1.25, -8, 2.0));
    Reader source(column({6.0, 7.0}, slopeBiasType(true, 32, 1.5, -8, 3.0)));
    source.setIndex(1);
    const double stored = source.realdouble(1);
    const double wanted = stored * (1.5 / 1.25) + (3.0 - 2.0) / 1.25;
    EXPECT_EQ(source.getAdjustedElement(other).realdouble(), wanted);
    EXPECT_EQ(source.getAdjustedReal(other).todouble(), wanted);
    EXPECT_EQ(source.realdouble(1), stored);
    EXPECT_EQ(&source.getAdjustedElement(source), &source);
    EXPECT_EQ(&source.getAdjustedReal(source), &source.real());
    // One way only: it multiplies by the factor.
    EXPECT_EQ(source.adjustReal(5.0), (5.0 - 3.0) * 1.5);
    EXPECT_EQ(source.removeSlopeAdjustmentFactorBias(5.0), (5.0 - 3.0) * (1.0 / 1.5));
}

TEST(FiElement, IsCopiedAgainAfterAChangeOfTypeAndComplexity) {
    Reader source(column({0.5, 0.25}, NumericType()));
    source.setIndex(1);
    EXPECT_EQ(source.getElement().realdouble(), 0.25);
    source.setFractionLength(14);
    source.coordinateComplexity(true, 0);
    source.setIndex(0);
    EXPECT_EQ(source.getElement().realdouble(), 0.5);
    EXPECT_TRUE(source.getElement().iscomplex());
    EXPECT_EQ(source.getElement().getFractionLength(), 14);
}

}  // namespace
