// Stores into elements: between types against exact rationals, and what they leave alone.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/arrays_of_fi.h"
#include "tests/support/errors.h"

namespace {

// The oracle of a store between two types: by rationals alone for binary point, with the quantized ratio and net bias
// for slope and bias.
Rational oracleOfRatio(double ratio, const NumericType& reference) {
    // The bit of greatest weight is the leading one of the ratio; a ratio that rounds beyond the word saturates.
    const int magnitudeBits = reference.getWordLength() - (reference.isSigned() ? 1 : 0);
    const Rational exact(ratio);
    const int exponent = leadingExponent(exact) + 1 - magnitudeBits;
    return quantized(exact, fixedType(reference.isSigned(), reference.getWordLength(), -exponent), Rounding::nearest,
                     false);
}

Rational oracleOfStore(const Rational& stored, const NumericType& from, const NumericType& to, Rounding rounding,
                       bool wraps) {
    if (from.isequivalent(to)) {
        return stored;
    }
    if (!from.isSlopeBiasScaled() && !to.isSlopeBiasScaled()) {
        return quantized(stored, to, rounding, wraps);
    }
    const double ratio = from.getSlopeAdjustmentFactor() / to.getSlopeAdjustmentFactor();
    const double net = (from.getBias() - to.getBias()) / to.getSlopeAdjustmentFactor();
    const bool subtracts = net < 0.0 && !to.isSigned();
    const Rational netBias = quantized(Rational(subtracts ? -net : net), to, Rounding::nearest, false);
    const Rational product = quantized(oracleOfRatio(ratio, from) * stored, to, rounding, wraps);
    return quantized(subtracts ? Rational(product - netBias) : Rational(product + netBias), to, rounding, wraps);
}

TEST(FiAssignment, ConvertsBetweenTypesAsExactRationalsSay) {
    Random random(5102);
    int narrowed = 0;
    int slopeBias = 0;
    for (int round = 0; round < 4000; ++round) {
        const bool allowsSlopeBias = random.oneIn(3);
        // The ratio of factors times a stored value must be exact in the target, as its element has few spare bits.
        const int maxBits = allowsSlopeBias ? 24 : 200;
        const NumericType from = randomFixedType(random, maxBits, allowsSlopeBias);
        const NumericType to = random.oneIn(10) ? from : randomFixedType(random, maxBits, allowsSlopeBias);
        const Rounding rounding = random.pick(kRoundings);
        const bool wraps = random.oneIn(2);
        if ((from.isSlopeBiasScaled() || to.isSlopeBiasScaled()) &&
            (from.getWordLength() < 4 || from.getWordLength() > 20)) {
            continue;
        }
        slopeBias += from.isSlopeBiasScaled() || to.isSlopeBiasScaled();
        narrowed += to.getWordLength() < from.getWordLength() && to.getWordLength() <= 52 && from.getWordLength() > 53;
        const fi source = column({0.0, randomInput(random, from)}, from);
        fi target = column({0.0, 0.0, 0.0}, to, rulesOf(rounding, wraps));
        source.setIndex(1);
        target.setIndex(2);
        const Rational stored = exactValue(source.real());
        target = source;
        const Rational wanted = oracleOfStore(stored, from, to, rounding, wraps);
        ASSERT_TRUE(exactValue(target.real(2)) == wanted)
            << "seed 5102, round " << round << ": " << from.qpointstr() << " to " << to.qpointstr() << ' '
            << nameOf(rounding) << (wraps ? " wrap " : " saturate ") << text(stored) << " gives "
            << text(exactValue(target.real(2))) << ", not " << text(wanted);
        ASSERT_EQ(target.realdouble(0), target.realdouble(1));
        // The same from a real-world double.
        if (round % 4 == 0) {
            const double value = randomInput(random, to);
            target.setIndex(1);
            target = value;
            ASSERT_TRUE(exactValue(target.real(1)) == quantized(Rational(storedSide(value, to)), to, rounding, wraps));
        }
    }
    EXPECT_GT(narrowed, 100);
    EXPECT_GT(slopeBias, 300);
}

TEST(FiAssignment, RoundsANarrowerWordAtThePrecisionOfTheSource) {
    // 2^-1 + 2^-80 lies just above a tie that a double would see; floor after ceil in a double would lose it.
    fi wide = scalar(std::ldexp(1.0, -80), fixedType(true, 100, 90));
    const fi half = scalar(0.5, fixedType(true, 100, 90));
    wide += half;
    fi target = scalar(0.0, fixedType(true, 16, 0), rulesOf(Rounding::ceil, false));
    target = wide;
    EXPECT_EQ(target.realdouble(), 1.0);
    fi convergent = scalar(0.0, fixedType(true, 16, 0), rulesOf(Rounding::convergent, false));
    convergent = wide;
    EXPECT_EQ(convergent.realdouble(), 1.0);
    convergent = half;
    EXPECT_EQ(convergent.realdouble(), 0.0);
    EXPECT_EQ(exactValue(wide.real()), Rational(0.5) + twoTo(-80));
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
    const Raised refused{"fixedpoint:fi:noopleadingtocomplexslopebias",
                         "All complex FI objects created by Tolvane Kit operations must have an integer power of 2 "
                         "slope, and a bias of 0."};
    EXPECT_EQ(raisedBy([&] { target = complexOne; }), refused);
    EXPECT_EQ(raisedBy([&] { target.copydata(complexOne); }), refused);
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

TEST(FiAssignment, ComputesSlopeBiasFactorsAgainWhenTheSourceTypeChanges) {
    const NumericType to = slopeBiasType(false, 16, 1.25, -4, 10.0);
    fi target = scalar(20.0, to);
    for (const auto& [factor, bias] : {std::pair{1.5, 5.0}, {1.0, 12.0}, {1.75, 5.0}, {1.5, 5.0}}) {
        const NumericType from = slopeBiasType(false, 12, factor, -3, bias);
        const fi source = scalar(40.0, from);
        target = source;
        EXPECT_TRUE(exactValue(target.real()) ==
                    oracleOfStore(exactValue(source.real()), from, to, Rounding::nearest, false))
            << factor << ' ' << bias;
        EXPECT_NEAR(target.addSlopeAdjustmentFactorBias(target.realdouble()), 40.0, 0.5);
    }
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
