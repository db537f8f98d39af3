// Powers of two, integers without their scale, and the same bits with another type, against big integers.
#include <gtest/gtest.h>

#include <climits>

#include "tests/support/errors.h"
#include "tests/support/product_oracle.h"
#include "tests/support/rules.h"

namespace {

NumericType scaledDoubleType(bool isSigned, int wordBits, double factor, int exponent, double bias) {
    return NumericType(
        factor == 1.0 && bias == 0.0 ? TypeMode::ScaledDoubleBinaryPoint : TypeMode::ScaledDoubleSlopeBias, isSigned,
        wordBits, factor, exponent, bias);
}

TEST(FiPow2, RoundsOnceByTheRulesOrDown) {
    Random random(50911);
    for (int round = 0; round < 2500; ++round) {
        const NumericType type = randomFixedType(random, 200, true);
        const bool isComplex = !type.isSlopeBiasScaled() && random.oneIn(3);
        const Rounding rounding = random.pick(kRoundings);
        const bool wraps = random.oneIn(2);
        const bool floors = random.oneIn(2);
        const bool logs = random.oneIn(2);
        const bool isLocal = random.oneIn(2);
        const GlobalRules global(rulesOf(rounding, wraps));
        const int k = random.oneIn(8) ? random.between(-500, 500) : random.between(-12, 12);
        const KnownArray known = randomArray(random, type, {2, static_cast<std::uint64_t>(random.between(0, 2))},
                                             isComplex, rulesOf(rounding, wraps), isLocal, random.oneIn(4) ? 80 : 0);
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " round " << round << " 2^" << k
                                        << (floors ? " down " : " ") << nameOf(rounding) << (wraps ? " wrap " : " ")
                                        << known.description());
        Stage stage{type, rounding, wraps};
        const auto shifted = [&](const std::vector<Integer>& words) {
            std::vector<Integer> result;
            for (const Integer& word : words) {
                const Rational exact = scaled(Rational(word), k);
                const Integer whole = rounded(exact, floors ? Rounding::floor : rounding);
                const Rational kept = stage(scaled(Rational(whole), type.getFixedExponent()));
                result.push_back(floorOf(scaled(kept, -type.getFixedExponent())));
                stage.counts.underflows += whole == 0 && word != 0;
            }
            return result;
        };
        const std::vector<Integer> re = shifted(known.re);
        const std::vector<Integer> im = shifted(known.im);
        fi::setLogging(logs);
        const FiOwner result(&known.array->pow2(k, floors));
        fi::setLogging(false);
        ASSERT_TRUE(holdsWords(*result, re, im, type.getFixedExponent()));
        ASSERT_EQ(fieldsOf(result->getNumericType()), fieldsOf(type));
        ASSERT_EQ(countsOf(*result), logs ? stage.counts : Counts{});
        // Rounding down applied only to this call.
        ASSERT_EQ(result->getFimathIsLocal(), isLocal);
        ASSERT_EQ(fieldsOf(result->getFimath()), fieldsOf(known.array->getFimath()));
        ASSERT_EQ(result->getAssignmentQuantizer().getRoundMode(), known.array->getRoundMode());
        ASSERT_TRUE(isUnchanged(known));
    }
}

TEST(FiPow2, ReachesTheEndsOfDoublesAndInts) {
    const fi doubles = column({1.0, -3.0, 0.0}, plainType(TypeMode::Double));
    EXPECT_EQ(realParts(*FiOwner(&doubles.pow2(1000, false))), (std::vector<double>{0x1p1000, -0x3p1000, 0.0}));
    EXPECT_EQ(realParts(*FiOwner(&doubles.pow2(-1074, true))), (std::vector<double>{0x1p-1074, -0x3p-1074, 0.0}));
    const fi words = column({1.0, -3.0, 0.0}, fixedType(true, 8, 0));
    EXPECT_EQ(realParts(*FiOwner(&words.pow2(INT_MAX, false))), (std::vector<double>{127.0, -128.0, 0.0}));
    EXPECT_EQ(realParts(*FiOwner(&words.pow2(-1000, true))), (std::vector<double>{0.0, -1.0, 0.0}));
    // Where the double itself underflows to 0, nothing is left to round down.
    EXPECT_EQ(realParts(*FiOwner(&words.pow2(INT_MIN, true))), (std::vector<double>{0.0, 0.0, 0.0}));
}

TEST(FiStripscaling, LeavesTheStoredIntegers) {
    Random random(50912);
    for (int round = 0; round < 1000; ++round) {
        const NumericType type = randomFixedType(random, 200, true);
        const KnownArray known =
            randomArray(random, type, {2, 1, 2}, !type.isSlopeBiasScaled() && random.oneIn(2),
                        rulesOf(random.pick(kRoundings), random.oneIn(2)), random.oneIn(2), random.oneIn(4) ? 80 : 0);
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << ' ' << known.description());
        const FiOwner result(&known.array->stripscaling());
        ASSERT_TRUE(holdsWords(*result, known.re, known.im, 0));
        ASSERT_EQ(sizesOf(*result), (Sizes{2, 1, 2}));
        ASSERT_EQ(fieldsOf(result->getNumericType()), fieldsOf(fixedType(type.isSigned(), type.getWordLength(), 0)));
        ASSERT_EQ(result->getFimathIsLocal(), known.array->getFimathIsLocal());
        ASSERT_TRUE(isUnchanged(known));
    }
}

TEST(FiStripscaling, ChangesTheTypeOfAScaledDoubleAloneAndNothingOfOthers) {
    for (const double factor : {1.0, 1.5}) {
        const fi array = column({0.3, 7.1}, scaledDoubleType(true, 12, factor, -3, factor - 1.0));
        const FiOwner result(&array.stripscaling());
        EXPECT_EQ(realParts(*result), realParts(array));
        EXPECT_EQ(fieldsOf(result->getNumericType()), fieldsOf(scaledDoubleType(true, 12, 1.0, 0, 0.0)));
    }
    for (const TypeMode mode : {TypeMode::Double, TypeMode::Single, TypeMode::Boolean}) {
        const fi array = scalar(1.0, plainType(mode));
        EXPECT_EQ(snapshotOf(*FiOwner(&array.stripscaling())), snapshotOf(array));
    }
}

// Integers outside the word because of slope and bias are quantized; without slope and bias they stay as they are.
TEST(FiStripscaling, QuantizesWhatHadSlopeAndBias) {
    const LoggingOn logging;
    fi plain = scalar(1.0, fixedType(true, 8, 4));
    fi biased = scalar(1.0, slopeBiasType(true, 8, 1.5, -4, 1.0));
    plain.resetLogging();
    biased.resetLogging();
    plain.setvalue(100.0);
    biased.setvalue(100.0);
    const FiOwner fromPlain(&plain.stripscaling());
    const FiOwner fromBiased(&biased.stripscaling());
    EXPECT_EQ(fromPlain->realdouble(0), 1600.0);
    EXPECT_EQ(fromPlain->getNoperations(), 0u);
    EXPECT_EQ(fromBiased->realdouble(0), 127.0);
    EXPECT_EQ(fromBiased->getNoverflows(), 1u);
}

TEST(FiReinterpretcast, KeepsTheBits) {
    Random random(50913);
    for (int round = 0; round < 2000; ++round) {
        const NumericType type = randomFixedType(random, 200, false);
        const int bits = type.getWordLength();
        const NumericType target = fixedType(random.oneIn(2), bits, random.between(-20, 40));
        const bool logs = random.oneIn(2);
        KnownArray known = randomArray(random, type, {2, 1, 2}, random.oneIn(2), rulesOf(), random.oneIn(2));
        known.array->setTag("bits");
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << ' ' << known.description() << " as "
                                        << target.tostring("type"));
        Counts counts;
        const auto cast = [&](const std::vector<Integer>& words) {
            std::vector<Integer> result;
            for (const Integer& word : words) {
                result.push_back(wrapped(word, target.isSigned(), bits));
                counts.overflows += result.back() != word;
            }
            return result;
        };
        const std::vector<Integer> re = cast(known.re);
        const std::vector<Integer> im = cast(known.im);
        fi::setLogging(logs);
        const FiOwner result(&known.array->reinterpretcast(target));
        fi::setLogging(false);
        ASSERT_TRUE(holdsWords(*result, re, im, target.getFixedExponent()));
        ASSERT_EQ(sizesOf(*result), (Sizes{2, 1, 2}));
        ASSERT_EQ(fieldsOf(result->getNumericType()), fieldsOf(target));
        ASSERT_EQ(countsOf(*result), logs ? counts : Counts{});
        ASSERT_EQ(result->getTag(), "bits");
        ASSERT_EQ(result->getFimathIsLocal(), known.array->getFimathIsLocal());
        ASSERT_TRUE(isUnchanged(known));
    }
}

TEST(FiReinterpretcast, OfScaledDoublesGivesScaledDoubles) {
    const fi values = column({-1.5, 300.25}, scaledDoubleType(true, 8, 1.0, 0, 0.0));
    const FiOwner result(&values.reinterpretcast(fixedType(false, 8, 1)));
    EXPECT_EQ(fieldsOf(result->getNumericType()), fieldsOf(scaledDoubleType(false, 8, 1.0, -1, 0.0)));
    // Half the scale, then modulo 128 if out of range.
    EXPECT_EQ(realParts(*result), (std::vector<double>{127.25, 22.125}));
    const FiOwner sameSign(&values.reinterpretcast(fixedType(true, 8, 1)));
    EXPECT_EQ(realParts(*sameSign), (std::vector<double>{-0.75, 150.125}));
}

TEST(FiReinterpretcast, RefusesTypesThatHaveNoBits) {
    const NumericType s8 = fixedType(true, 8, 0);
    const NumericType slope = slopeBiasType(true, 8, 1.5, 0, 0.0);
    NumericType noSign(s8);
    noSign.setSignedness(TypeSign::Auto);
    const NumericType noScaling(TypeMode::FixedUnspecified, true, 8, 1.0, 0, 0.0);
    const Raised noBits = {"fixedpoint:fi:reinterpretcast:onlyfixedpointnumerictype",
                           "The REINTERPRETCAST function only supports integer, fixed-point, and ScaledDouble inputs."};
    const Raised biased = {"fixedpoint:fi:onlybinarypointmath",
                           "REINTERPRETCAST is only supported for operands that have an integer power of 2 slope, and "
                           "a bias of 0."};
    struct Row {
        NumericType from, to;
        Raised raised;
    };
    const Row rows[] = {
        {plainType(TypeMode::Double), slope, noBits},
        {slope, plainType(TypeMode::Boolean), noBits},
        {slope, noSign, biased},
        {s8, slope, biased},
        {s8,
         noSign,
         {"fixedpoint:fi:reinterpretcast:unspecifiedsign",
          "REINTERPRETCAST(A,T) is only supported when the SIGNEDNESS of NUMERICTYPE object T is SIGNED or UNSIGNED."}},
        {s8,
         noScaling,
         {"fixedpoint:fi:reinterpretcast:unspecifiedscaling",
          "REINTERPRETCAST(A,T) is not supported when numerictype T has unspecified scaling."}},
        {s8,
         fixedType(true, 9, 0),
         {"fixedpoint:fi:reinterpretcast:wrongwordlength",
          "The word length of the numeric type must be equal to the word length of the fi object being cast."}},
    };
    for (const Row& row : rows) {
        const fi array = scalar(1.0, row.from);
        EXPECT_EQ(raisedBy([&] { delete &array.reinterpretcast(row.to); }), row.raised);
    }
}

}  // namespace
