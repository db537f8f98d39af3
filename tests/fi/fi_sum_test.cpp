// Sums and differences: result types, values against exact rationals, registers, broadcasting, errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <sstream>

#include "tests/support/arrays_of_fi.h"
#include "tests/support/errors.h"
#include "tests/support/exact_arrays.h"

namespace {

using SumMode = fimath::ArithmeticModeEnum;
using Owner = std::unique_ptr<fi>;

constexpr SumMode kSumModes[] = {SumMode::FullPrecision, SumMode::KeepLSB, SumMode::KeepMSB, SumMode::SpecifyPrecision};

fimath sumRules(SumMode mode, int wordBits = 32, int fractionBits = 30, int maxBits = 128) {
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

struct Format {
    bool isSigned;
    int wordBits;
    int fractionBits;
};

TEST(SumType, FollowsTheSumMode) {
    struct Row {
        const char* why;
        Format a, b;
        fimath rules;
        Format wanted;
    };
    const Row rows[] = {
        {"one bit for the carry", {true, 16, 15}, {true, 16, 15}, sumRules(SumMode::FullPrecision), {true, 17, 15}},
        {"both ends and the carry", {true, 16, 15}, {true, 16, 10}, sumRules(SumMode::FullPrecision), {true, 22, 15}},
        {"no bit more for a mix", {false, 8, 0}, {true, 8, 0}, sumRules(SumMode::FullPrecision), {true, 9, 0}},
        {"no sign", {false, 8, 4}, {false, 6, 5}, sumRules(SumMode::FullPrecision), {false, 10, 5}},
        {"a gap between the words", {true, 4, 20}, {true, 4, -20}, sumRules(SumMode::FullPrecision), {true, 45, 20}},
        {"lowest bit", {true, 16, 15}, {true, 16, 10}, sumRules(SumMode::KeepLSB), {true, 32, 15}},
        {"highest bit", {true, 16, 15}, {true, 16, 10}, sumRules(SumMode::KeepMSB), {true, 32, 25}},
        {"highest bit of few", {true, 16, 15}, {true, 16, 10}, sumRules(SumMode::KeepMSB, 5), {true, 5, -2}},
        {"as told", {true, 16, 15}, {false, 16, 10}, sumRules(SumMode::SpecifyPrecision, 9, 3), {true, 9, 3}},
        {"as told", {false, 16, 15}, {false, 16, 10}, sumRules(SumMode::SpecifyPrecision, 9, -3), {false, 9, -3}},
    };
    for (const Row& row : rows) {
        for (const bool isSwapped : {false, true}) {
            const auto make = [&](Format format) {
                return scalar(0.0, fixedType(format.isSigned, format.wordBits, format.fractionBits), row.rules);
            };
            const fi a = make(isSwapped ? row.b : row.a);
            const fi b = make(isSwapped ? row.a : row.b);
            EXPECT_EQ(fieldsOf(a.getNumericTypeForAddOp(b)),
                      fieldsOf(fixedType(row.wanted.isSigned, row.wanted.wordBits, row.wanted.fractionBits)))
                << row.why;
        }
    }
}

TEST(SumType, TakesTheDataTypeOfEitherScaledDoubleAndStopsAtFloats) {
    const fimath rules = sumRules(SumMode::FullPrecision);
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
    // The cell of the type is used again: nothing of a double stays in it.
    EXPECT_TRUE(sum(scalar(0.1, plainType(TypeMode::Single)), scalar(0.2, plainType(TypeMode::Single)))->isSingle());
    fi changing = scalar(0.5, plainType(TypeMode::Double));
    EXPECT_TRUE(changing.getNumericTypeForAddOp(left).isDouble());
    changing.setDataTypeMode(TypeMode::FixedBinaryPoint);
    EXPECT_EQ(fieldsOf(changing.getNumericTypeForAddOp(changing)),
              fieldsOf(fixedType(true, 17, changing.getFractionLength())));
}

TEST(SumType, KeepsSlopeAndBiasOfASpecifiedSumOnlyWhereOneSideHasAny) {
    fimath rules = sumRules(SumMode::SpecifyPrecision, 20, 8);
    const fi plain = scalar(0.0, fixedType(true, 16, 8), rules);
    const fi scaledUp = scalar(0.0, slopeBiasType(true, 16, 1.5, -8, 2.0), rules);
    EXPECT_EQ(fieldsOf(plain.getNumericTypeForAddOp(scaledUp)), fieldsOf(fixedType(true, 20, 8)));
    rules = withSlope(rules, 1.25, -3.0);
    EXPECT_EQ(fieldsOf(scalar(0.0, fixedType(true, 16, 8), rules).getNumericTypeForAddOp(plain)),
              fieldsOf(slopeBiasType(true, 20, 1.25, -8, -3.0)));
}

// Which rules: the left operand's if local, else the right one's, else the global ones.
TEST(SumType, TakesTheRulesOfTheLeftOperandFirst) {
    const GlobalRules global(sumRules(SumMode::SpecifyPrecision, 10, 1));
    const fimath own = sumRules(SumMode::SpecifyPrecision, 11, 2);
    const NumericType type = fixedType(true, 8, 0);
    for (int locals = 0; locals < 4; ++locals) {
        const fi a = scalar(1.0, type, own, (locals & 1) != 0);
        const fi b = scalar(1.0, type, own, (locals & 2) != 0);
        const Owner result = sum(a, b);
        EXPECT_EQ(result->getWordLength(), locals == 0 ? 10 : 11);
        EXPECT_EQ(result->getFimathIsLocal(), locals != 0);
        EXPECT_EQ(result->getQlogger().getOperationType(), Operation::Sum);
    }
}

// Values.

/// Counts and extremes of the quantizations of a sum.
struct Seen {
    Counts counts;
    Rational max;
    Rational min;
    bool any = false;
};

TEST(SumValues, AreThoseOfExactRationals) {
    Random random(5202);
    int done = 0;
    for (int round = 0; round < 3000; ++round) {
        const NumericType types[] = {randomFixedType(random, 200, false), randomFixedType(random, 200, false)};
        const Rounding rounding = random.pick(kRoundings);
        const bool wraps = random.oneIn(2);
        const bool casts = random.oneIn(2);
        const bool subtracts = random.oneIn(2);
        const bool logs = random.oneIn(2);
        fimath rules = rulesOf(rounding, wraps);
        rules.setSumMode(random.pick(kSumModes));
        rules.setSumWordLength(random.between(1, 200));
        rules.setSumFractionLength(random.between(-10, 100));
        rules.setMaxSumWordLength(500);
        rules.setCastBeforeSum(casts);
        const int count = random.between(1, 4);
        const bool scalarSide[] = {random.oneIn(4), random.oneIn(4)};
        Part parts[2];
        for (int side = 0; side < 2; ++side) {
            const bool isComplex = random.oneIn(3);
            for (int i = 0; i < (scalarSide[side] ? 1 : count); ++i) {
                parts[side].re.push_back(randomValue(random, types[side]));
                if (isComplex) {
                    parts[side].im.push_back(randomValue(random, types[side]));
                }
            }
        }
        const Owner a = arrayOf(parts[0], types[0], rules);
        const Owner b = arrayOf(parts[1], types[1], rules);
        const NumericType type = a->getNumericTypeForAddOp(*b);
        const int cellBits = std::max({type.getWordLength(), types[0].getWordLength(), types[1].getWordLength()});
        const int cellPrecision = cellBits <= 52 ? 53 : cellBits + 1;
        std::ostringstream what;
        what << "seed " << random.seed() << " round " << round << (subtracts ? ": " : ": + ") << types[0].tostring("")
             << ", " << types[1].tostring("") << " into " << type.tostring("") << (logs ? " logging, " : ", ")
             << rules.toString();

        Seen seen;
        const auto step = [&](const Rational& x) {
            const Rational y = quantized(x, type, rounding, wraps);
            const Rational word = rounded(scaled(x, -type.getFixedExponent()), rounding);
            seen.counts.operations += 1;
            seen.counts.overflows += scaled(word, type.getFixedExponent()) != y;
            seen.counts.underflows += word == 0 && x != 0;
            seen.max = seen.any && seen.max > y ? seen.max : y;
            seen.min = seen.any && seen.min < y ? seen.min : y;
            seen.any = true;
            return y;
        };
        const bool isComplex = !parts[0].im.empty() || !parts[1].im.empty();
        const int elements = static_cast<int>(std::max(parts[0].re.size(), parts[1].re.size()));
        std::vector<Rational> wantedRe;
        std::vector<Rational> wantedIm;
        for (int i = 0; i < elements; ++i) {
            const auto at = [i](const std::vector<Rational>& values) {
                return values[values.size() == 1 ? 0 : static_cast<std::size_t>(i)];
            };
            const auto combine = [&](const std::vector<Rational>& left, const std::vector<Rational>& right) {
                Rational x = left.empty() ? Rational(0) : at(left);
                if (casts) {
                    x = step(x);
                }
                if (!right.empty()) {
                    const Rational y = casts ? step(at(right)) : at(right);
                    x = atPrecision(subtracts ? Rational(x - y) : Rational(x + y), cellPrecision);
                }
                return step(x);
            };
            wantedRe.push_back(combine(parts[0].re, parts[1].re));
            if (isComplex) {
                wantedIm.push_back(combine(parts[0].im, parts[1].im));
            }
        }

        fi::setLogging(logs);
        const Owner result = sum(*a, *b, subtracts);
        fi::setLogging(false);
        ++done;
        ASSERT_EQ(fieldsOf(result->getNumericType()), fieldsOf(type)) << what.str();
        ASSERT_EQ(result->iscomplex(), isComplex) << what.str();
        ASSERT_EQ(result->numel(), wantedRe.size()) << what.str();
        for (std::size_t i = 0; i < wantedRe.size(); ++i) {
            ASSERT_TRUE(exactValue(result->real(i)) == wantedRe[i])
                << what.str() << ", element " << i << ": " << text(exactValue(result->real(i))) << ", not "
                << text(wantedRe[i]);
            if (isComplex) {
                ASSERT_TRUE(exactValue(result->imag(i)) == wantedIm[i]) << what.str() << ", imaginary element " << i;
            }
        }
        if (logs) {
            ASSERT_EQ(countsOf(*result), seen.counts) << what.str();
            ASSERT_EQ(result->getNmathoperations(), static_cast<std::uint64_t>(elements)) << what.str();
            ASSERT_EQ(result->getQlogger().getMax().todouble(), nearestDouble(seen.max)) << what.str();
            ASSERT_EQ(result->getQlogger().getMin().todouble(), nearestDouble(seen.min)) << what.str();
        } else {
            ASSERT_EQ(countsOf(*result), Counts{}) << what.str();
        }
    }
    EXPECT_EQ(done, 3000);
}

TEST(SumValues, CastTheOperandsOnlyWhenToldTo) {
    const fimath rules = sumRules(SumMode::SpecifyPrecision, 8, 0);
    const NumericType type = fixedType(true, 8, 2);
    // 0.25 + 0.25: each rounds to 0, together they round to 1.
    EXPECT_EQ(sum(scalar(0.25, type, rules), scalar(0.25, type, rules))->realdouble(0), 0.0);
    const fimath direct = withoutCast(rules);
    EXPECT_EQ(sum(scalar(0.25, type, direct), scalar(0.25, type, direct))->realdouble(0), 1.0);
}

TEST(SumValues, MeetEveryElementWithAScalarAndKeepEmptyShapes) {
    const NumericType type = fixedType(true, 16, 4);
    const fi three = column({1.0, 2.0, 3.0}, type);
    const fi one = scalar(0.5, type);
    EXPECT_EQ(realParts(*sum(three, one, true)), (std::vector<double>{0.5, 1.5, 2.5}));
    EXPECT_EQ(realParts(*sum(one, three, true)), (std::vector<double>{-0.5, -1.5, -2.5}));
    EXPECT_EQ(realParts(*sum(three, three)), (std::vector<double>{2.0, 4.0, 6.0}));
    const Sizes sizes{0, 5, 2};
    const fi empty(sizes.data(), 3, type, rulesOf(), false, "", true, Operation::Assignment, 0);
    for (const Owner& result : {sum(empty, empty), sum(empty, one), sum(one, empty)}) {
        EXPECT_EQ(sizesOf(*result), sizes);
        EXPECT_EQ(result->getWordLength(), 17);
    }
    // Two scalars: the result has the dimensions of the right one.
    const Sizes thick{1, 1, 1};
    const fi deep(thick.data(), 3, type, rulesOf(), false, "", true, Operation::Assignment, 0);
    EXPECT_EQ(sizesOf(*sum(one, deep)), thick);
    EXPECT_EQ(sizesOf(*sum(deep, one)), (Sizes{1, 1}));
}

TEST(SumValues, TakeTheTagAndLeaveTheOperandsAlone) {
    const NumericType type = fixedType(true, 16, 4);
    fi a = column({1.0, 2.0}, {3.0, 4.0}, type);
    a.setTag("left");
    const fi b = column({0.5, 0.25}, type);
    const Snapshot before[] = {snapshotOf(a), snapshotOf(b)};
    const Owner result = sum(a, b);
    EXPECT_EQ(result->getTag(), "left");
    EXPECT_EQ(imaginaryParts(*result), (std::vector<double>{3.0, 4.0}));
    EXPECT_EQ(imaginaryParts(*sum(b, a, true)), (std::vector<double>{-3.0, -4.0}));
    EXPECT_EQ(snapshotOf(a), before[0]);
    EXPECT_EQ(snapshotOf(b), before[1]);
}

// Registers.

TEST(SumRegister, HasTheSpecifiedTypeWhateverTheMode) {
    const fimath rules = sumRules(SumMode::FullPrecision, 12, 3);
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
    // Other rules reach it only when it is made anew.
    fi changing(a);
    changing.setFimath(sumRules(SumMode::FullPrecision, 20, 8));
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
    // The operands differ in a bit that the 32-bit word of the register doesn't reach beside their top bits.
    fimath rules = sumRules(SumMode::SpecifyPrecision, 32, 20);
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

TEST(SumErrors, AreRaisedBeforeAnythingChanges) {
    const auto specified = sumRules(SumMode::SpecifyPrecision, 20, 8);
    const NumericType s16 = fixedType(true, 16, 15);
    const NumericType slope = slopeBiasType(true, 16, 1.5, -8, 2.0);
    const ComplexSlopeBias feature;
    struct Row {
        fi a, b;
        Raised wanted;
    };
    const std::string notDefined = "Math is only supported for slope-bias FIs when the SumMode is SpecifyPrecision.";
    const std::string complexEnd =
        "' is only supported for complex-value FI objects that have an integer power of 2 slope, and a bias of 0.";
    const std::string castEnd =
        "' is not defined for FI objects with slope and bias scaling when CastBeforeSum is false.";
    const auto row = [](const fi& a, const fi& b, const char* id, const std::string& message) {
        return Row{a, b, {id, message}};
    };
    const auto sl = [&](const fimath& rules) { return scalar(1.0, slope, rules); };
    const Row rows[] = {
        row(scalar(1.0, plainType(TypeMode::Boolean)), scalar(1.0, s16), "fixedpoint:fi:nobooleanmath",
            "Math operations are not allowed on FI objects with boolean data type."),
        row(scalar(1.0, plainType(TypeMode::Double)), scalar(1.0, plainType(TypeMode::Single)),
            "fixedpoint:fi:mixedmath", "Math operations are not allowed on FI objects with different data types."),
        row(scalar(0.5, s16, specified), scalar(0.5, s16, sumRules(SumMode::KeepLSB)), "fixedpoint:fi:fimathmismatch",
            "FIMATH of both operands must be equal."),
        row(sl(sumRules(SumMode::FullPrecision)), sl(sumRules(SumMode::FullPrecision)),
            "fixedpoint:fi:mathmodeslopebiasnotdefined", notDefined),
        row(scalar(0.5, s16, sumRules(SumMode::KeepLSB)), sl(sumRules(SumMode::KeepLSB)),
            "fixedpoint:fi:mathmodeslopebiasnotdefined", notDefined),
        row(scalar(0.5, s16, withSlope(sumRules(SumMode::KeepMSB), 1.5, 0.0)),
            scalar(0.5, s16, sumRules(SumMode::KeepMSB)), "fixedpoint:fi:mathmodeslopebiasnotdefined", notDefined),
        row(scalar(0.5, s16, sumRules(SumMode::FullPrecision, 32, 30, 16)),
            scalar(0.5, s16, sumRules(SumMode::FullPrecision, 32, 30, 16)), "fixedpoint:fi:MaxSumWordLengthExceeded",
            "MaxSumWordLength is 16 bits and a minimum word length of 17 bits is necessary to guarantee that this sum "
            "or difference can be computed with no loss of precision.  Increase MaxSumWordLength if you want the sum "
            "to grow to a larger word length."),
        row(column({1.0}, {1.0}, s16, specified), sl(specified), "fixedpoint:fi:complexslopebiasnotdefined",
            complexEnd),
        row(sl(withoutCast(specified)), sl(withoutCast(specified)),
            "fixedpoint:fi:castbeforesumfalseslopebiasnotdefined", castEnd),
        row(column({0.5, 0.25}, s16), column({0.5, 0.25, 0.125}, s16), "fixedpoint:fi:dimagree",
            "Matrix dimensions must agree."),
    };
    for (const Row& r : rows) {
        for (const bool subtracts : {false, true}) {
            const Snapshot before[] = {snapshotOf(r.a), snapshotOf(r.b)};
            Raised wanted = r.wanted;
            if (wanted.message.starts_with("'")) {
                wanted.message = std::string("Function '") + (subtracts ? "minus" : "plus") + wanted.message;
            }
            EXPECT_EQ(raisedBy([&] { sum(r.a, r.b, subtracts); }), wanted);
            EXPECT_EQ(snapshotOf(r.a), before[0]);
            EXPECT_EQ(snapshotOf(r.b), before[1]);
        }
    }
}

// The check of CastBeforeSum reads the left operand's own rules, also where those of the right one are in force.
TEST(SumErrors, AskTheLeftOperandWhetherItCasts) {
    const fimath specified = sumRules(SumMode::SpecifyPrecision, 20, 8);
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
    fimath rules = sumRules(SumMode::FullPrecision, 32, 30, 65535);
    const fi a = scalar(0.0, fixedType(true, 16, kHighest - 20), rules);
    const fi b = scalar(0.0, fixedType(true, 16, 20 - kHighest), rules);
    EXPECT_EQ(raisedBy([&] { a.getNumericTypeForAddOp(b); }).message.substr(0, 85),
              "MaxSumWordLength is 65535 bits and a minimum word length of 4294967271 bits is necess");
}

}  // namespace
