// Negation, conjugation, signs, and complex arrays from their parts and back.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/arrays.h"
#include "tests/support/errors_of_fi.h"
#include "tests/support/product_oracle.h"

namespace {

std::vector<int> signsOf(const fi& array) {
    const hvArrayOwner signs(array.sign());
    EXPECT_EQ(dimensionsOf(signs), sizesOf(array));
    const auto data = hvGetTypedData<std::int8_t>(static_cast<const hvArray*>(signs.get()));
    return {data.begin(), data.end()};
}

TEST(FiSigns, NegateAndConjugateLikeIntegers) {
    Random random(51002);
    for (int round = 0; round < 1500; ++round) {
        const NumericType type = randomFixedType(random, 200, true);
        const bool isComplex = !type.isSlopeBiasScaled() && random.oneIn(2);
        const bool wraps = random.oneIn(2);
        const bool logs = random.oneIn(2);
        KnownArray known = randomArray(random, type, {static_cast<std::uint64_t>(random.between(0, 3)), 2}, isComplex,
                                       rulesOf(random.pick(kRoundings), wraps));
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " round " << round << (wraps ? " wrap " : " ")
                                        << known.description());
        const int exponent = type.getFixedExponent();
        const auto negated = [&](const std::vector<Integer>& words, Stage& tally) {
            std::vector<Integer> result;
            for (const Integer& word : words) {
                const Rational y = tally(scaled(Rational(-word), exponent));
                result.push_back(floorOf(scaled(y, -exponent)));
            }
            return result;
        };
        const auto check = [&](const fi& result, const std::vector<Integer>& re, const std::vector<Integer>& im,
                               const Stage& tally, const NumericType& wantedType) {
            ASSERT_TRUE(holdsWords(result, re, im, exponent));
            ASSERT_EQ(sizesOf(result), sizesOf(*known.array));
            ASSERT_EQ(fieldsOf(result.getNumericType()), fieldsOf(wantedType));
            ASSERT_EQ(countsOf(result), logs ? tally.counts : Counts{});
            if (logs && tally.counts.operations > 0) {
                ASSERT_EQ(result.getQlogger().getMax().todouble(), nearestDouble(tally.max));
                ASSERT_EQ(result.getQlogger().getMin().todouble(), nearestDouble(tally.min));
            }
            ASSERT_TRUE(isUnchanged(known));
        };

        fi::setLogging(logs);
        known.array->getQlogger().nOverflowsPlusOne();
        const FiOwner minus(known.array->uminus());
        const FiOwner conjugate(known.array->conj());
        fi::setLogging(false);

        Stage ofMinus{type, Rounding::nearest, wraps};
        NumericType minusType(type);
        if (type.isSlopeBiasScaled()) {
            minusType.setBias(0.0 - type.getBias());
        }
        const std::vector<Integer> minusRe = negated(known.re, ofMinus);
        const std::vector<Integer> minusIm = negated(known.im, ofMinus);
        check(*minus, minusRe, minusIm, ofMinus, minusType);
        Stage ofConjugate{type, Rounding::nearest, wraps};
        const std::vector<Integer> conjugateIm = negated(known.im, ofConjugate);
        check(*conjugate, known.re, conjugateIm, ofConjugate, type);
    }
}

// Of zeros with both signs, the first is logged as the extreme; a real part is logged before its imaginary part.
TEST(FiSigns, LogTheZeroThatCameFirst) {
    const LoggingOn logging;
    const fi complexUnsigned = column({0.0, 1.0}, {1.0, 0.0}, fixedType(false, 8, 0));
    const FiOwner minus(complexUnsigned.uminus());
    quantizer q = complexUnsigned.getAssignmentQuantizer();
    q.initializestates();
    for (const double x : {-0.0, -1.0, -1.0, -0.0}) {
        number entry(x, 8, false);
        q.quantize(entry);
    }
    EXPECT_TRUE(sameBits(minus->getQlogger().getMax().todouble(), q.getMax().todouble()));
    EXPECT_TRUE(sameBits(minus->getQlogger().getMin().todouble(), q.getMin().todouble()));
}

TEST(FiSigns, ConjugateLogsTheRealPartsOfScaledDoubles) {
    const LoggingOn logging;
    const NumericType scaledDouble(TypeMode::ScaledDoubleBinaryPoint, true, 8, 1.0, 0, 0.0);
    const FiOwner fromReal(column({1.5, 300.0}, scaledDouble).conj());
    EXPECT_EQ(realParts(*fromReal), (std::vector<double>{1.5, 300.0}));
    EXPECT_EQ(countsOf(*fromReal), (Counts{1, 0, 2}));
    const FiOwner fromComplex(column({1.5, 300.0}, {-300.0, 2.0}, scaledDouble).conj());
    EXPECT_EQ(imaginaryParts(*fromComplex), (std::vector<double>{300.0, -2.0}));
    EXPECT_EQ(countsOf(*fromComplex), (Counts{2, 0, 4}));
    // Fixed-point real parts are not examined.
    EXPECT_EQ(FiOwner(column({1.5}, fixedType(true, 8, 4)).conj())->getNoperations(), 0u);
}

TEST(FiSigns, SignIsThatOfTheRealWorldValue) {
    Random random(51003);
    for (int round = 0; round < 600; ++round) {
        const NumericType type = randomFixedType(random, 200, true);
        const KnownArray known = randomArray(random, type, {3, 1, 2}, false, rulesOf());
        std::vector<int> wanted;
        for (const Integer& word : known.re) {
            // Slope and bias are applied in doubles.
            const double stored = nearestDouble(scaled(Rational(word), type.getFixedExponent()));
            const double value = type.isSlopeBiasScaled() ? stored * type.getSlopeAdjustmentFactor() + type.getBias()
                                                          : static_cast<double>(sgn(word));
            wanted.push_back((value > 0.0) - (value < 0.0));
        }
        ASSERT_EQ(signsOf(*known.array), wanted) << "seed " << random.seed() << ' ' << known.description();
        ASSERT_TRUE(isUnchanged(known));
    }
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(signsOf(column({nan, inf, -inf, -0.0}, plainType(TypeMode::Double))), (std::vector<int>{0, 1, -1, 0}));
    const fi biased(1, 1, slopeBiasType(true, 8, 1.5, 0, 2.0), rulesOf(), false, "", true, Operation::Assignment, 0);
    fi stored(biased);
    stored.setvalue(0.0);
    EXPECT_EQ(signsOf(stored), std::vector<int>{1});
}

TEST(FiSigns, ComplexQuantizesTheImaginaryPartsAlone) {
    Random random(51004);
    for (int round = 0; round < 1500; ++round) {
        const NumericType type = randomFixedType(random, 120, false);
        const NumericType imagType = randomFixedType(random, 120, false);
        const Rounding rounding = random.pick(kRoundings);
        const bool wraps = random.oneIn(2);
        const bool logs = random.oneIn(2);
        const bool isScalar[] = {random.oneIn(3), random.oneIn(3)};
        const auto count = static_cast<std::uint64_t>(random.between(0, 4));
        const auto sizes = [&](bool single) { return single ? Sizes{1, 1} : Sizes{count, 1}; };
        const KnownArray re = randomArray(random, type, sizes(isScalar[0]), false, rulesOf(rounding, wraps));
        const KnownArray im = randomArray(random, imagType, sizes(isScalar[1]), false, rulesOf());
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " round " << round << ' ' << re.description()
                                        << ", " << im.description() << ' ' << nameOf(rounding));
        fi::setLogging(logs);
        const FiOwner result(&re.array->complex(*im.array));
        fi::setLogging(false);

        const std::size_t wantedCount = isScalar[0] ? im.re.size() : re.re.size();
        std::vector<Integer> wantedRe;
        std::vector<Integer> wantedIm;
        for (std::size_t i = 0; i < wantedCount; ++i) {
            wantedRe.push_back(re.re[re.re.size() == 1 ? 0 : i]);
            const Rational value = scaled(Rational(im.re[im.re.size() == 1 ? 0 : i]), imagType.getFixedExponent());
            wantedIm.push_back(floorOf(scaled(quantized(value, type, rounding, wraps), -type.getFixedExponent())));
        }
        ASSERT_EQ(sizesOf(*result), sizesOf(isScalar[0] ? *im.array : *re.array));
        ASSERT_TRUE(result->iscomplex());
        ASSERT_TRUE(holdsWords(*result, false, wantedRe, type.getFixedExponent()));
        ASSERT_TRUE(holdsWords(*result, true, wantedIm, type.getFixedExponent()));
        ASSERT_EQ(fieldsOf(result->getNumericType()), fieldsOf(type));
        // A scalar imaginary part is quantized once for all real parts; for a scalar real part, each imaginary one is.
        const bool isOnce = im.re.size() == 1 && re.re.size() != 1;
        ASSERT_EQ(result->getNoperations(), logs ? (isOnce ? 1 : im.re.size()) : 0);
        ASSERT_TRUE(isUnchanged(re));
        ASSERT_TRUE(isUnchanged(im));
    }
}

TEST(FiSigns, ComplexTakesTheLogOfAScalarLeftOperand) {
    const LoggingOn logging;
    const NumericType type = fixedType(true, 8, 0);
    const fi left = scalar(7.0, type);
    EXPECT_EQ(FiOwner(&left.complex(column({1.0, -2.0}, type)))->getQlogger().getMax().todouble(), 7.0);
    EXPECT_EQ(FiOwner(&column({7.0, 7.0}, type).complex(column({1.0, -2.0}, type)))->getQlogger().getMax().todouble(),
              1.0);
    const NumericType scaledDouble(TypeMode::ScaledDoubleBinaryPoint, true, 8, 1.0, 0, 0.0);
    const FiOwner scaled(&column({200.0, 1.0}, scaledDouble).complex(scalar(0.25, scaledDouble)));
    EXPECT_EQ(realParts(*scaled), (std::vector<double>{200.0, 1.0}));
    EXPECT_EQ(imaginaryParts(*scaled), (std::vector<double>{0.25, 0.25}));
    // The scalar once, then each real part.
    EXPECT_EQ(scaled->getNoperations(), 3u);
    EXPECT_EQ(scaled->getNoverflows(), 1u);
}

TEST(FiSigns, PartsAreArraysOfTheirOwn) {
    const fi array = column({1.0, 2.0}, {3.0, -4.0}, fixedType(true, 8, 2));
    const FiOwner re(array.getRealFi());
    const FiOwner im(array.getImagFi());
    EXPECT_TRUE(re->isreal() && im->isreal());
    EXPECT_EQ(realParts(*re), (std::vector<double>{1.0, 2.0}));
    EXPECT_EQ(realParts(*im), (std::vector<double>{3.0, -4.0}));
    EXPECT_EQ(realParts(*FiOwner(re->getImagFi())), (std::vector<double>{0.0, 0.0}));
    EXPECT_EQ(realParts(*FiOwner(&re->complex(*im))), realParts(array));
}

TEST(FiSigns, RefuseWhatHasNoAnswer) {
    const NumericType s8 = fixedType(true, 8, 2);
    const NumericType slope = slopeBiasType(true, 8, 1.5, 0, 1.0);
    const fi real = scalar(1.0, s8);
    const fi complexValue = column({1.0}, {2.0}, s8);
    const fi boolean = scalar(1.0, plainType(TypeMode::Boolean));
    const Raised noBoolean = {"fixedpoint:fi:complex:nologicalcomplex",
                              "Input arguments to COMPLEX cannot be boolean."};
    const Raised notReal = {"fixedpoint:fi:complex:invalidRealPartInput",
                            "Input arguments to COMPLEX must be real-valued."};
    struct Row {
        fi re, im;
        Raised raised;
    };
    const Row rows[] = {
        {scalar(1.0, slope), boolean, kNoComplexSlopeBias},
        {boolean, complexValue, noBoolean},
        {complexValue, boolean, noBoolean},
        {complexValue, real, notReal},
        {real, complexValue, notReal},
        {column({1.0, 2.0}, s8), column({1.0, 2.0, 3.0}, s8), kSizesDiffer},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(raisedBy([&] { delete &row.re.complex(row.im); }), row.raised);
    }
    EXPECT_EQ(
        raisedBy([&] { hvDestroyArray(complexValue.sign()); }),
        (Raised{"fixedpoint:fi:complexnotdefined", "Function 'sign' is not defined for complex-valued FI objects."}));
    const ComplexSlopeBias feature;
    EXPECT_EQ(raisedBy([&] { delete column({1.0}, {2.0}, slope).conj(); }),
              (Raised{"fixedpoint:fi:complexslopebiasnotdefined",
                      "Function 'conj' is only supported for complex-value FI objects that have an integer power of 2 "
                      "slope, and a bias of 0."}));
    EXPECT_EQ(raisedBy([&] { delete &scalar(1.0, slope).complex(scalar(1.0, slope)); }), Raised{});
}

}  // namespace
