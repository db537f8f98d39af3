// Arithmetic between types with slope and bias: values by exact rationals with the quantized ratios computed here, and
// the life of the cached factors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <sstream>
#include <utility>
#include <vector>

#include "tests/support/arrays_of_fi.h"
#include "tests/support/errors.h"

namespace {

using SumMode = fimath::ArithmeticModeEnum;
using Owner = std::unique_ptr<fi>;

/// Shows the factors, which only heirs may read.
class Factors : public fi {
 public:
    explicit Factors(const fi& source) : fi(source) {}
    using fi::operator=;
    double netBiasOfAssignment() const { return getBnetForEquals(); }
    double slopeOfAssignment() const { return getFsxForEquals(); }
    double netBiasOfSum() const { return getBnetForSlopeBiasPlus(); }
    double netBiasOfDifference() const { return getBnetForSlopeBiasMinus(); }
    double slopeOfLeft() const { return getFsaForPlus(); }
    double slopeOfRight() const { return getFsbForPlus(); }
    double slopeOfProduct() const { return getFscForTimes(); }
    fi& leftOfWorstCase() const { return getAForSlopeBiasTimes(); }
    fi& rightOfWorstCase() const { return getBForSlopeBiasTimes(); }
};

/// The ratio of two factors as a word of the reference's length and sign holds it at the finest scaling that has it in
/// range: nearest, saturated.
Rational quantizedRatio(double denominator, double numerator, const NumericType& reference) {
    const Rational ratio(numerator / denominator);
    const int magnitudeBits = reference.getWordLength() - (reference.isSigned() ? 1 : 0);
    const int top = leadingExponent(ratio) + 1;  // ratio < 2^top
    const NumericType type(reference.isSigned(), reference.getWordLength(), magnitudeBits - top);
    return quantized(ratio, type, Rounding::nearest, false);
}

/// The net bias of an operation as the result's word holds it; the magnitude for an unsigned result.
Rational quantizedBias(double bias, const NumericType& result) {
    double stored = bias / result.getSlopeAdjustmentFactor();
    if (!result.isSigned() && stored < 0.0) {
        stored = -stored;
    }
    return quantized(Rational(stored), result, Rounding::nearest, false);
}

NumericType randomScaledType(Random& random) {
    const int wordBits = random.between(2, 24);
    const bool hasSlopeBias = !random.oneIn(4);
    const int exponent = random.between(-10, 0);
    if (!hasSlopeBias) {
        return fixedType(random.oneIn(2), wordBits, -exponent);
    }
    return slopeBiasType(random.oneIn(2), wordBits, random.oneIn(4) ? 1.0 : 1.0 + random.between(0, 63) / 64.0,
                         exponent, random.oneIn(3) ? 0.0 : random.between(-64, 64) / 8.0);
}

Rational storedValue(const fi& array) {
    return exactValue(array.real());
}

TEST(SlopeBias, SumsUseTheQuantizedRatios) {
    Random random(5401);
    int done = 0;
    for (int round = 0; round < 4000; ++round) {
        const NumericType types[] = {randomScaledType(random), randomScaledType(random)};
        const Rounding rounding = random.pick(kRoundings);
        const bool wraps = random.oneIn(2);
        const bool subtracts = random.oneIn(2);
        fimath rules = rulesOf(rounding, wraps);
        rules.setSumMode(SumMode::SpecifyPrecision);
        rules.setSumWordLength(random.between(2, 24));
        rules.setSumFractionLength(random.between(0, 10));
        if (!random.oneIn(3)) {
            rules.setSumSlopeAdjustmentFactor(1.0 + random.between(0, 63) / 64.0);
            rules.setSumBias(random.between(-64, 64) / 8.0);
        }
        const Factors a(column({randomInput(random, types[0]), randomInput(random, types[0])}, types[0], rules));
        const fi b = scalar(randomInput(random, types[1]), types[1], rules);
        if (!a.isSlopeBiasScaled() && !b.isSlopeBiasScaled() && !rules.isSumSlopeBiasScaled()) {
            continue;
        }
        ++done;
        const Owner result(subtracts ? &a.minus(b) : &a.plus(b));
        const NumericType type = result->getNumericType();
        std::ostringstream what;
        what << "seed " << random.seed() << " round " << round << (subtracts ? ": " : ": + ") << types[0].tostring("")
             << " and " << types[1].tostring("") << " into " << type.tostring("") << ", " << rules.toString();

        const double factor = type.getSlopeAdjustmentFactor();
        const double plusBias = b.getBias() + a.getBias() - type.getBias();
        const double minusBias = a.getBias() - b.getBias() - type.getBias();
        const Rational left = quantizedRatio(factor, a.getSlopeAdjustmentFactor(), types[0]);
        const Rational right = quantizedRatio(factor, b.getSlopeAdjustmentFactor(), types[1]);
        ASSERT_TRUE(Rational(a.slopeOfLeft()) == left) << what.str() << ": " << a.slopeOfLeft() << " " << text(left);
        ASSERT_TRUE(Rational(a.slopeOfRight()) == right) << what.str() << ": " << text(a.slopeOfRight());
        ASSERT_TRUE(Rational(a.netBiasOfSum()) == quantizedBias(plusBias, type)) << what.str();
        ASSERT_TRUE(Rational(a.netBiasOfDifference()) == quantizedBias(minusBias, type)) << what.str();

        const auto q = [&](const Rational& x) { return quantized(x, type, rounding, wraps); };
        const double bias = subtracts ? minusBias : plusBias;
        const Rational net = quantizedBias(bias, type);
        const Rational rightTerm = q(right * storedValue(b)) * (subtracts ? -1 : 1);
        for (const std::uint64_t i : {0U, 1U}) {
            const Rational leftTerm = q(left * exactValue(a.real(i)));
            const bool isLast = bias < 0.0 && !type.isSigned();
            const Rational wanted = isLast ? q(q(leftTerm + rightTerm) - net) : q(q(net + leftTerm) + rightTerm);
            ASSERT_EQ(exactValue(result->real(i)), wanted) << what.str();
        }
        ASSERT_EQ(result->getNmathoperations(), 0u);
    }
    EXPECT_GT(done, 3000);
}

TEST(SlopeBias, AssignmentUsesTheQuantizedRatio) {
    Random random(5402);
    int done = 0;
    for (int round = 0; round < 4000; ++round) {
        const NumericType from = randomScaledType(random);
        const NumericType to = randomScaledType(random);
        const Rounding rounding = random.pick(kRoundings);
        const bool wraps = random.oneIn(2);
        const fi source = scalar(randomInput(random, from), from);
        Factors target(scalar(0.0, to, rulesOf(rounding, wraps)));
        if (from.isequivalent(to) || (!source.isSlopeBiasScaled() && !target.isSlopeBiasScaled())) {
            continue;
        }
        ++done;
        target = source;
        const double bias = from.getBias() - to.getBias();
        const Rational ratio = quantizedRatio(to.getSlopeAdjustmentFactor(), from.getSlopeAdjustmentFactor(), from);
        const Rational net = quantizedBias(bias, to);
        const auto q = [&](const Rational& x) { return quantized(x, to, rounding, wraps); };
        const Rational term = q(ratio * storedValue(source));
        const Rational wanted = q(bias < 0.0 && !to.isSigned() ? Rational(term - net) : Rational(term + net));
        ASSERT_TRUE(Rational(target.slopeOfAssignment()) == ratio && Rational(target.netBiasOfAssignment()) == net &&
                    storedValue(target) == wanted)
            << "seed " << random.seed() << " round " << round << ": " << from.tostring("") << " to " << to.tostring("")
            << ": " << text(storedValue(target)) << ", not " << text(wanted);
    }
    EXPECT_GT(done, 3000);
}

TEST(SlopeBias, FactorsLastUntilTheirTypesChange) {
    fi source = scalar(1.5, slopeBiasType(true, 16, 1.5, -8, 0.0));
    Factors target(scalar(0.0, slopeBiasType(true, 16, 1.0, -8, 1.0)));
    target = source;
    EXPECT_EQ(target.slopeOfAssignment(), 1.5);
    // Only the source's type is the key: a change of the target goes unseen.
    target.setSlopeAdjustmentFactor(1.5);
    target.initSlopeBiasCorrectionFactorsForEquals(source);
    EXPECT_EQ(target.slopeOfAssignment(), 1.5);
    source.setBias(2.0);
    target.initSlopeBiasCorrectionFactorsForEquals(source);
    EXPECT_EQ(target.slopeOfAssignment(), 1.0);
    EXPECT_EQ(target.netBiasOfAssignment(), std::ldexp(std::floor(1.0 / 1.5 * 256.0 + 0.5), -8));

    fi b = scalar(1.0, slopeBiasType(true, 16, 1.25, -8, 0.0));
    fi result = scalar(0.0, slopeBiasType(true, 16, 1.0, -8, 0.0));
    const Factors a(source);
    EXPECT_TRUE(a.needToInitSlopeBiasCorrectionFactorsForPlus(b, result));
    a.initSlopeBiasCorrectionFactorsForPlus(b, result);
    EXPECT_FALSE(a.needToInitSlopeBiasCorrectionFactorsForPlus(b, result));
    EXPECT_EQ(a.slopeOfRight(), 1.25);
    EXPECT_EQ(a.netBiasOfSum(), 2.0);
    b.setBias(-3.0);
    EXPECT_TRUE(a.needToInitSlopeBiasCorrectionFactorsForPlus(b, result));
    a.initSlopeBiasCorrectionFactorsForPlus(b, result);
    EXPECT_EQ(a.netBiasOfSum(), -1.0);
    EXPECT_EQ(a.netBiasOfDifference(), 5.0);
    result.setWordLength(17);
    EXPECT_TRUE(a.needToInitSlopeBiasCorrectionFactorsForPlus(b, result));
    // A copy starts without.
    EXPECT_TRUE(Factors(a).needToInitSlopeBiasCorrectionFactorsForPlus(b, result));
}

// The cell of an operation in place is its left operand, and may be the right one as well.
TEST(SlopeBias, OperationsInPlaceReadTheirOperandsFirst) {
    fi a = scalar(6.0, slopeBiasType(true, 16, 1.0, -4, 2.0));
    a += a;
    EXPECT_EQ(a.addSlopeAdjustmentFactorBias(a.realdouble()), 12.0);
    const fi b = scalar(3.0, slopeBiasType(true, 16, 1.0, -4, 1.0));
    a -= b;
    EXPECT_EQ(a.addSlopeAdjustmentFactorBias(a.realdouble()), 9.0);
}

// Products.

TEST(SlopeBias, TheFactorOfProductsLastsUntilNetSlopeOrResultChanges) {
    const Factors a(scalar(0.0, slopeBiasType(true, 16, 1.25, -8, 0.0)));
    fi result = scalar(0.0, slopeBiasType(true, 4, 1.5, -8, 0.0));
    // A signed word of 4 bits has 3 for the magnitude: 1.3 falls between 1.25 and 1.5.
    a.initSlopeCorrectionFactorForTimes(1.3, result);
    EXPECT_EQ(a.slopeOfProduct(), 1.25);
    a.initSlopeCorrectionFactorForTimes(1.45, result);
    EXPECT_EQ(a.slopeOfProduct(), 1.5);
    result.setWordLength(8);
    a.initSlopeCorrectionFactorForTimes(1.45, result);
    EXPECT_EQ(a.slopeOfProduct(), 93.0 / 64.0);
    result.setSigned(false);
    a.initSlopeCorrectionFactorForTimes(1.45, result);
    EXPECT_EQ(a.slopeOfProduct(), 186.0 / 128.0);
    a.initSlopeCorrectionFactorForTimes(1.0, result);
    EXPECT_EQ(a.slopeOfProduct(), 1.0);
    // A copy starts without, and makes its own.
    const Factors copy(a);
    EXPECT_EQ(copy.slopeOfProduct(), 0.0);
    copy.initSlopeCorrectionFactorForTimes(1.0, result);
    EXPECT_EQ(copy.slopeOfProduct(), 1.0);
}

Rational realWorld(const fi& array) {
    return Rational(array.getSlopeAdjustmentFactor()) * storedValue(array) + Rational(array.getBias());
}

/// The least and the greatest value of a binary point type.
std::pair<Rational, Rational> boundsOf(const NumericType& type) {
    const Rational far = twoTo(type.getWordLength() + type.getFixedExponent() + 1);
    return {quantized(-far, type, Rounding::floor, false), quantized(far, type, Rounding::floor, false)};
}

// The binary point operands take the values over exactly, and the register of the left one holds whatever product they
// make: the conversion into the result's type alone rounds.
TEST(SlopeBias, WorstCaseOperandsAndTheirRegisterAreExact) {
    Random random(5404);
    int exact = 0;
    for (int round = 0; round < 1500; ++round) {
        const auto randomType = [&] {
            // The word holds the factor, and the range lies on both sides of zero.
            const int wordBits = random.between(9, 24);
            const int exponent = random.between(-10, 0);
            return random.oneIn(5) ? fixedType(true, wordBits, -exponent)
                                   : slopeBiasType(true, wordBits, 1.0 + random.between(0, 63) / 64.0, exponent,
                                                   std::ldexp(random.between(-64, 64), wordBits - 8 + exponent));
        };
        const NumericType types[] = {randomType(), randomType()};
        const Factors a(scalar(randomInput(random, types[0]), types[0]));
        const fi b = scalar(randomInput(random, types[1]), types[1]);
        a.initParamsForWorstCaseSlopeBiasTimes(b);
        fi& left = a.leftOfWorstCase();
        fi& right = a.rightOfWorstCase();
        ASSERT_EQ(realParts(left), std::vector<double>{0.0});
        ASSERT_EQ(realParts(right), std::vector<double>{0.0});
        left = a;
        right = b;
        std::ostringstream what;
        what << "seed " << random.seed() << " round " << round << ": " << types[0].tostring("") << " and "
             << types[1].tostring("") << " as " << left.getNumericType().tostring("") << " and "
             << right.getNumericType().tostring("");
        ASSERT_FALSE(left.isSlopeBiasScaled() || right.isSlopeBiasScaled()) << what.str();
        // The term of the slope alone may leave the range before the bias brings it back.
        const auto check = [&](const fi& operand, const fi& source) {
            const Rational term = Rational(source.getSlopeAdjustmentFactor()) * storedValue(source);
            if (quantized(term, operand.getNumericType(), Rounding::floor, false) == term) {
                ++exact;
                EXPECT_TRUE(exactValue(operand.real()) == realWorld(source))
                    << what.str() << ": " << text(exactValue(operand.real())) << ", not " << text(realWorld(source));
            }
        };
        check(left, a);
        check(right, b);

        const NumericType& product = left.getproductQlogger().getNumericType();
        ASSERT_EQ(fieldsOf(left.getproductregsumQlogger().getNumericType()), fieldsOf(product));
        const auto leftBounds = boundsOf(left.getNumericType());
        const auto rightBounds = boundsOf(right.getNumericType());
        for (const Rational& x : {leftBounds.first, leftBounds.second}) {
            for (const Rational& y : {rightBounds.first, rightBounds.second}) {
                const Rational value = x * y;
                ASSERT_TRUE(quantized(value, product, Rounding::floor, false) == value) << what.str();
            }
        }
        ASSERT_EQ(product.getFixedExponent(), left.getFixedExponent() + right.getFixedExponent()) << what.str();
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_GT(exact, 2000);
}

TEST(SlopeBias, WorstCaseOperandsOfKnownTypes) {
    struct Row {
        const char* why;
        NumericType a, b, left, right, product;
    };
    const auto scaledDouble = [](bool isSlopeBias, int wordBits, double factor, int exponent, double bias) {
        return NumericType(isSlopeBias ? TypeMode::ScaledDoubleSlopeBias : TypeMode::ScaledDoubleBinaryPoint, true,
                           wordBits, factor, exponent, bias);
    };
    const NumericType s8 = slopeBiasType(true, 8, 1.5, -4, 2.0);  // -10 to 13.90625 in steps of 3 * 2^-5
    const Row rows[] = {
        {"a binary point type stays", s8, fixedType(true, 16, 8), fixedType(true, 10, 5), fixedType(true, 16, 8),
         fixedType(true, 26, 13)},
        {"a sign on one side", fixedType(false, 4, 0), s8, fixedType(false, 4, 0), fixedType(true, 10, 5),
         fixedType(true, 14, 5)},
        {"no slope and bias but the result's", fixedType(false, 4, 1), fixedType(false, 5, -3), fixedType(false, 4, 1),
         fixedType(false, 5, -3), fixedType(false, 9, -2)},
        {"more bits than rules allow", fixedType(true, 100, 50), fixedType(true, 120, 30), fixedType(true, 100, 50),
         fixedType(true, 120, 30), fixedType(true, 220, 80)},
        {"scaled doubles", s8, scaledDouble(true, 8, 1.5, -4, 2.0), fixedType(true, 10, 5),
         scaledDouble(false, 10, 1.0, -5, 0.0), scaledDouble(false, 20, 1.0, -10, 0.0)},
    };
    for (const Row& row : rows) {
        const Factors a(fi(1.0, row.a, rulesOf(Rounding::fix, true), 0, "name", true, Operation::Assignment));
        const fi b = scalar(1.0, row.b, rulesOf(Rounding::floor, false), false);
        a.initParamsForWorstCaseSlopeBiasTimes(b);
        const fi& left = a.leftOfWorstCase();
        EXPECT_EQ(fieldsOf(left.getNumericType()), fieldsOf(row.left)) << row.why;
        EXPECT_EQ(fieldsOf(a.rightOfWorstCase().getNumericType()), fieldsOf(row.right)) << row.why;
        EXPECT_EQ(fieldsOf(left.getproductQlogger().getNumericType()), fieldsOf(row.product)) << row.why;
        EXPECT_EQ(left.getQlogger().getOperationType(), Operation::Product) << row.why;
        for (const fi* operand : {&left, static_cast<const fi*>(&a.rightOfWorstCase())}) {
            EXPECT_TRUE(operand->getFimathIsLocal()) << row.why;
            EXPECT_EQ(operand->getTag(), "name") << row.why;
            EXPECT_EQ(operand->getRoundMode(), embedded::RoundModeEnum::Fix) << row.why;
            EXPECT_EQ(operand->getOverflowMode(), embedded::OverflowModeEnum::Wrap) << row.why;
            EXPECT_EQ(operand->getProductMode(), SumMode::SpecifyPrecision) << row.why;
            EXPECT_EQ(operand->getProductWordLength(), row.product.getWordLength()) << row.why;
            EXPECT_EQ(operand->getProductFixedExponent(), row.product.getFixedExponent()) << row.why;
            EXPECT_EQ(operand->getSumFractionLength(), 30) << row.why;
        }
    }
}

TEST(SlopeBias, WorstCaseOperandsLastUntilAnOperandsTypeChanges) {
    Factors a(scalar(1.0, slopeBiasType(true, 8, 1.5, -4, 2.0)));
    fi b = scalar(1.0, fixedType(true, 16, 8));
    a.initParamsForWorstCaseSlopeBiasTimes(b);
    a.leftOfWorstCase() = 3.0;
    // Only the types are keys: other rules go unseen.
    a.setRoundMode(embedded::RoundModeEnum::Floor);
    a.initParamsForWorstCaseSlopeBiasTimes(b);
    EXPECT_EQ(a.leftOfWorstCase().realdouble(), 3.0);
    EXPECT_EQ(a.leftOfWorstCase().getRoundMode(), embedded::RoundModeEnum::Nearest);
    b.setFractionLength(9);
    a.initParamsForWorstCaseSlopeBiasTimes(b);
    EXPECT_EQ(a.leftOfWorstCase().realdouble(), 0.0);
    EXPECT_EQ(a.leftOfWorstCase().getRoundMode(), embedded::RoundModeEnum::Floor);
    EXPECT_EQ(a.rightOfWorstCase().getFractionLength(), 9);
    a.setSlopeAdjustmentFactor(1.25);
    a.initParamsForWorstCaseSlopeBiasTimes(b);
    EXPECT_EQ(a.leftOfWorstCase().getFractionLength(), 6);
    EXPECT_EQ(a.leftOfWorstCase().getproductQlogger().getNumericType().getFractionLength(), 15);

    // What can't be multiplied raises each time, and the operands of before stay.
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(
            raisedBy([&] { a.initParamsForWorstCaseSlopeBiasTimes(scalar(1.0, plainType(TypeMode::Double))); }).id,
            "fixedpoint:fi:mixedmath");
        EXPECT_EQ(
            raisedBy([&] { a.initParamsForWorstCaseSlopeBiasTimes(scalar(1.0, plainType(TypeMode::Boolean))); }).id,
            "fixedpoint:fi:nobooleanmath");
        EXPECT_EQ(raisedBy([&] { a.initParamsForWorstCaseSlopeBiasTimes(scalar(1.0, fixedType(true, 65535, 9))); }).id,
                  "fixedpoint:quantizer:wordlengthtoobig");
        EXPECT_EQ(a.rightOfWorstCase().getFractionLength(), 9);
    }
    // An operand may meet itself.
    a.initParamsForWorstCaseSlopeBiasTimes(a);
    EXPECT_EQ(fieldsOf(a.rightOfWorstCase().getNumericType()), fieldsOf(a.leftOfWorstCase().getNumericType()));
}

// The zero that stands for the imaginary part of a real array is one of the real world.
TEST(SlopeBias, ARealArrayPutIntoAComplexOneBringsAZeroOfTheRealWorld) {
    const ComplexSlopeBias allowed;
    const NumericType type = slopeBiasType(true, 8, 1.0, 0, 5.0);
    fi target = column({7.0, 8.0}, {7.0, 8.0}, type);
    const hvArrayOwner plan(hvCreateDoubleMatrix(2, 1));
    hvGetPr(plan.get())[1] = -1.0;
    target.subscriptedOverwriteAssignment(plan.get(), scalar(9.0, type));
    EXPECT_EQ(realParts(target), (std::vector<double>{2.0, 4.0}));
    EXPECT_EQ(imaginaryParts(target), (std::vector<double>{2.0, -5.0}));
}

}  // namespace
