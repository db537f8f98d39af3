// Sums and differences: result types, values against exact rationals, registers, broadcasting, errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>

#include "tests/support/errors.h"
#include "tests/support/product_oracle.h"

namespace {

using Owner = std::unique_ptr<fi>;

fimath sumRules(ArithmeticMode mode, int wordBits = 32, int fractionBits = 30, int maxBits = 128) {
    fimath rules = rulesOf();
    rules.setSumMode(mode);
    rules.setSumWordLength(wordBits);
    rules.setSumFractionLength(fractionBits);
    rules.setMaxSumWordLength(maxBits);
    return rules;
}
fimath withoutCast(fimath rules) {
    rules.setCastBeforeSum(false);
    return rules;
}
fimath withSlope(fimath rules, double factor, double bias) {
    rules.setSumSlopeAdjustmentFactor(factor);
    rules.setSumBias(bias);
    return rules;
}

Owner sum(const fi& a, const fi& b, bool subtracts = false) {
    return Owner(subtracts ? &a.minus(b) : &a.plus(b));
}

// Types.

TEST(SumType, FollowsTheSumMode) {
    const auto s = [](int wordBits, int fractionBits) { return fixedType(true, wordBits, fractionBits); };
    const auto u = [](int wordBits, int fractionBits) { return fixedType(false, wordBits, fractionBits); };
    const struct {
        const char* why;
        NumericType a, b;
        fimath rules;
        NumericType wanted;
    } rows[] = {
        {"one bit for the carry", s(16, 15), s(16, 15), sumRules(kFull), s(17, 15)},
        {"both ends and the carry", s(16, 15), s(16, 10), sumRules(kFull), s(22, 15)},
        {"no bit more for a mix", u(8, 0), s(8, 0), sumRules(kFull), s(9, 0)},
        {"no sign", u(8, 4), u(6, 5), sumRules(kFull), u(10, 5)},
        {"a gap between the words", s(4, 20), s(4, -20), sumRules(kFull), s(45, 20)},
        {"lowest bit", s(16, 15), s(16, 10), sumRules(kKeepLSB), s(32, 15)},
        {"highest bit", s(16, 15), s(16, 10), sumRules(kKeepMSB), s(32, 25)},
        {"highest bit of few", s(16, 15), s(16, 10), sumRules(kKeepMSB, 5), s(5, -2)},
        {"as told", s(16, 15), u(16, 10), sumRules(kSpecify, 9, 3), s(9, 3)},
        {"as told", u(16, 15), u(16, 10), sumRules(kSpecify, 9, -3), u(9, -3)},
    };
    for (const auto& row : rows) {
        const fi a = scalar(0.0, row.a, row.rules);
        const fi b = scalar(0.0, row.b, row.rules);
        EXPECT_EQ(fieldsOf(a.getNumericTypeForAddOp(b)), fieldsOf(row.wanted)) << row.why;
        EXPECT_EQ(fieldsOf(b.getNumericTypeForAddOp(a)), fieldsOf(row.wanted)) << row.why;
    }
}

TEST(SumType, TakesTheDataTypeOfEitherScaledDoubleAndStopsAtFloats) {
    const fimath rules = sumRules(kFull);
    const fi fixed = scalar(0.5, fixedType(true, 16, 15), rules);
    const fi scaledDouble = scalar(0.3, NumericType(TypeMode::ScaledDoubleBinaryPoint, true, 16, 1.0, -15, 0.0), rules);
    for (const Owner& result : {sum(fixed, scaledDouble), sum(scaledDouble, fixed)}) {
        EXPECT_EQ(result->getDataTypeMode(), TypeMode::ScaledDoubleBinaryPoint);
        EXPECT_EQ(result->getWordLength(), 17);
        EXPECT_EQ(result->realdouble(0), 0.8);
    }
    const fi left = scalar(0.1, plainType(TypeMode::Double));
    const Owner doubles = sum(left, scalar(0.25, plainType(TypeMode::Double)));
    EXPECT_TRUE(doubles->isDouble());
    EXPECT_EQ(doubles->realdouble(0), 0.35);
    // The cell of the type is reused: nothing of a double remains in it.
    EXPECT_TRUE(sum(scalar(0.1, plainType(TypeMode::Single)), scalar(0.2, plainType(TypeMode::Single)))->isSingle());
    fi changing = scalar(0.5, plainType(TypeMode::Double));
    EXPECT_TRUE(changing.getNumericTypeForAddOp(left).isDouble());
    changing.setDataTypeMode(TypeMode::FixedBinaryPoint);
    EXPECT_EQ(fieldsOf(changing.getNumericTypeForAddOp(changing)),
              fieldsOf(fixedType(true, 17, changing.getFractionLength())));
}

TEST(SumType, KeepsSlopeAndBiasOfASpecifiedSumOnlyWhereOneSideHasAny) {
    fimath rules = sumRules(kSpecify, 20, 8);
    const fi plain = scalar(0.0, fixedType(true, 16, 8), rules);
    const fi scaledUp = scalar(0.0, slopeBiasType(true, 16, 1.5, -8, 2.0), rules);
    EXPECT_EQ(fieldsOf(plain.getNumericTypeForAddOp(scaledUp)), fieldsOf(fixedType(true, 20, 8)));
    rules = withSlope(rules, 1.25, -3.0);
    EXPECT_EQ(fieldsOf(scalar(0.0, fixedType(true, 16, 8), rules).getNumericTypeForAddOp(plain)),
              fieldsOf(slopeBiasType(true, 20, 1.25, -8, -3.0)));
}

// Values.

TEST(SumValues, AreThoseOfExactRationals) {
    Random random(5202);
    for (int round = 0; round < 3000; ++round) {
        const NumericType types[] = {randomFixedType(random, 200, false), randomFixedType(random, 200, false)};
        const Rounding rounding = random.pick(kRoundings);
        const bool wraps = random.oneIn(2);
        const bool casts = random.oneIn(2);
        const bool subtracts = random.oneIn(2);
        const bool logs = random.oneIn(2);
        fimath rules = sumRules(random.pick(kArithmeticModes), random.between(1, 200), random.between(-10, 100), 500);
        rules.setRoundMode(static_cast<embedded::RoundModeEnum>(rounding));
        rules.setOverflowMode(wraps ? embedded::OverflowModeEnum::Wrap : embedded::OverflowModeEnum::Saturate);
        rules.setCastBeforeSum(casts);
        const auto count = static_cast<std::uint64_t>(random.between(1, 4));
        const auto make = [&](const NumericType& type) {
            return randomArray(random, type, {random.oneIn(4) ? 1 : count, 1}, random.oneIn(3), rules);
        };
        const KnownArray a = make(types[0]);
        const KnownArray b = make(types[1]);
        a.array->setTag("left");
        const NumericType type = a.array->getNumericTypeForAddOp(*b.array);
        const int bits = cellBits(std::max({type.getWordLength(), types[0].getWordLength(), types[1].getWordLength()}));
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " round " << round << (subtracts ? ": " : ": + ")
                                        << a.description() << ", " << b.description() << " into " << type.tostring("")
                                        << (logs ? " logging, " : ", ") << rules.toString());
        fi::setLogging(logs);
        const Owner result = sum(*a.array, *b.array, subtracts);
        fi::setLogging(false);

        Stage stage{type, rounding, wraps};
        const auto combine = [&](Rational x, const Rational& right, bool hasRight) {
            x = casts ? stage(x) : x;
            if (hasRight) {
                const Rational y = casts ? stage(right) : right;
                x = atPrecision(subtracts ? Rational(x - y) : Rational(x + y), bits);
            }
            return stage(x);
        };
        const bool isComplex = a.array->iscomplex() || b.array->iscomplex();
        std::vector<Element> wanted;
        for (std::size_t i = 0; i < std::max(a.re.size(), b.re.size()); ++i) {
            const Element x = elementOf(a, a.re.size() == 1 ? 0 : i);
            const Element y = elementOf(b, b.re.size() == 1 ? 0 : i);
            const Rational re = combine(x.re, y.re, true);
            wanted.push_back({re, isComplex ? combine(x.im, y.im, b.array->iscomplex()) : Rational(0)});
        }
        ASSERT_TRUE(holds(*result, wanted));
        ASSERT_EQ(fieldsOf(result->getNumericType()), fieldsOf(type));
        ASSERT_EQ(result->iscomplex(), isComplex);
        ASSERT_EQ(result->getTag(), "left");
        ASSERT_TRUE(isUnchanged(a) && isUnchanged(b));
        ASSERT_EQ(countsOf(*result), logs ? stage.counts : Counts{});
        if (logs) {
            ASSERT_EQ(result->getNmathoperations(), wanted.size());
            ASSERT_EQ(result->getQlogger().getMax().todouble(), nearestDouble(stage.max));
            ASSERT_EQ(result->getQlogger().getMin().todouble(), nearestDouble(stage.min));
        }
    }
}

// Registers.

TEST(SumRegister, HasTheSpecifiedTypeWhateverTheMode) {
    const fimath rules = sumRules(kFull, 12, 3);
    const fi a = column({1.5, -2.25}, fixedType(false, 16, 4), rules);
    EXPECT_FALSE(a.isSumRegisterInitialized());
    a.setIndex(0);
    const fi b = scalar(1.0, fixedType(true, 16, 4), rules);
    const fi& result = a + b;
    EXPECT_TRUE(a.isSumRegisterInitialized());
    EXPECT_EQ(fieldsOf(result.getNumericType()), fieldsOf(fixedType(true, 12, 3)));
    EXPECT_EQ(result.realdouble(), 2.5);
    EXPECT_EQ(result.getQlogger().getOperationType(), Operation::Sum);
    EXPECT_EQ(&(a - b), &result);
    EXPECT_EQ(result.realdouble(), 0.5);
    // Other rules affect the register only when a new one is made.
    fi changing(a);
    changing.setFimath(sumRules(kFull, 20, 8));
    EXPECT_EQ((changing + b).getWordLength(), 12);
    changing.initializeSumRegister(changing.getFimath());
    EXPECT_EQ((changing + b).getWordLength(), 20);
}

TEST(SumRegister, IsComplexWithItsOwnerAndStartsWithAnEmptyLog) {
    const LoggingOn logging;
    const fi a = column({1.0}, {2.0}, fixedType(true, 16, 4));
    a.initializeSumRegister(fixedType(true, 20, 4), a.getFimath(), 70);
    const fi real = scalar(0.5, fixedType(true, 16, 4));
    const fi& result = a + real;
    EXPECT_TRUE(result.iscomplex());
    EXPECT_EQ(result.imagdouble(), 2.0);
    EXPECT_EQ(result.real().getprecision(), 70u);
    // Casts of both parts of a and of b, and the sum of both parts.
    EXPECT_EQ(a.getsumQlogger().getNoperations(), 5u);
    EXPECT_EQ(a.getsumQlogger().getNMathoperations(), 1u);
}

TEST(SumRegister, HoldsImaginaryPartsAsWideAsItsOwner) {
    // The operands differ in a bit that the register's 32-bit word can't hold together with their top bits.
    fimath rules = sumRules(kSpecify, 32, 20);
    rules.setCastBeforeSum(false);
    const NumericType type = fixedType(true, 100, 20);
    const Owner a = sum(column({0x1p60}, {0x1p60}, type), column({0x1p-20}, {0x1p-20}, type));
    a->setFimath(rules);
    const fi b = column({0x1p60}, {0x1p60}, type, rules);
    a->setIndex(0);
    b.setIndex(0);
    const fi& difference = *a - b;
    EXPECT_EQ(difference.realdouble(), 0x1p-20);
    EXPECT_EQ(difference.imagdouble(), 0x1p-20);
}

TEST(SumRegister, ElementOperatorsInPlaceUseTheTypeOfTheLeftSide) {
    fi a = column({1.0, 7.0}, fixedType(true, 4, 0));
    const fi b = scalar(2.6, fixedType(true, 16, 8));
    a.setIndex(1);
    a += b;
    EXPECT_EQ(realParts(a), (std::vector<double>{1.0, 7.0}));
    a.setIndex(0);
    a -= b;
    EXPECT_EQ(realParts(a), (std::vector<double>{-2.0, 7.0}));
    a.setIndex(0);
    a += a;
    EXPECT_EQ(a.realdouble(0), -4.0);
    a += column({1.0}, {2.0}, fixedType(true, 8, 0));
    EXPECT_EQ(imaginaryParts(a), (std::vector<double>{2.0, 0.0}));
}

// Errors.

// The check of CastBeforeSum reads the left operand's rules, even if the right operand's are in force.
TEST(SumErrors, AskTheLeftOperandWhetherItCasts) {
    const fimath specified = sumRules(kSpecify, 20, 8);
    const NumericType slope = slopeBiasType(true, 16, 1.5, -8, 2.0);
    {
        const GlobalRules global(withoutCast(specified));
        EXPECT_EQ(raisedBy([&] { sum(scalar(1.0, slope, specified, false), scalar(1.0, slope, specified)); }).id,
                  "fixedpoint:fi:castbeforesumfalseslopebiasnotdefined");
    }
    const GlobalRules global(specified);
    EXPECT_EQ(raisedBy([&] { sum(scalar(1.0, slope, specified, false), scalar(1.0, slope, withoutCast(specified))); }),
              Raised{});
}

TEST(SumErrors, LeaveExtremeExponentsWithoutOverflowingInts) {
    constexpr int kHighest = std::numeric_limits<int>::max();
    fimath rules = sumRules(kFull, 32, 30, 65535);
    const fi a = scalar(0.0, fixedType(true, 16, kHighest - 20), rules);
    const fi b = scalar(0.0, fixedType(true, 16, 20 - kHighest), rules);
    EXPECT_EQ(raisedBy([&] { a.getNumericTypeForAddOp(b); }).message.substr(0, 85),
              "MaxSumWordLength is 65535 bits and a minimum word length of 4294967271 bits is necess");
}

}  // namespace
