// Array sums against element steps: `plus` and `minus` of whole arrays, and the sum register fed one element after the
// other, must agree in every bit, count and extreme.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <sstream>

#include "tests/support/errors.h"
#include "tests/support/logs_of_fi.h"

namespace {

using SumMode = fimath::ArithmeticModeEnum;

constexpr SumMode kSumModes[] = {SumMode::FullPrecision, SumMode::KeepLSB, SumMode::KeepMSB, SumMode::SpecifyPrecision};

/// Like sameElement; the register of a wide operand is wide, also where the result is not.
bool sameValue(const number& a, const number& b) {
    return sameElement(a, b) || (a.gettype() != b.gettype() && a == b);
}

/// Sums the elements one by one through the sum register of a copy of the left operand, under the rules and type of the
/// result, and compares each with the result's.
void expectElementSteps(const fi& a, const fi& b, bool subtracts, const fi& result, const std::string& what) {
    fi left(a);
    left.setFimath(result.getFimath());
    left.initializeSumRegister(result.getNumericType(), result.getFimath(),
                               static_cast<unsigned>(std::max(b.getWordLength(), 0)));
    const bool leftIsScalar = a.numel() == 1;
    const bool rightIsScalar = !leftIsScalar && b.numel() == 1;
    const std::uint64_t count = leftIsScalar ? b.numel() : a.numel();
    ASSERT_EQ(result.numel(), count) << what;
    for (std::uint64_t i = 0; i < count; ++i) {
        left.setIndex(leftIsScalar ? 0 : i);
        b.setIndex(rightIsScalar ? 0 : i);
        const fi& wanted = subtracts ? left - b : left + b;
        ASSERT_TRUE(sameValue(result.real(i), wanted.real()))
            << what << ", element " << i << ": " << text(result.realdouble(i)) << ", not " << text(wanted.realdouble());
        if (result.iscomplex()) {
            ASSERT_TRUE(sameValue(result.imag(i), wanted.imag()))
                << what << ", imaginary element " << i << ": " << text(result.imagdouble(i)) << ", not "
                << text(wanted.imagdouble());
        }
    }
    ASSERT_EQ(logOf(result.getQlogger()), logOf(left.getsumQlogger())) << what;
}

fimath randomRules(Random& random) {
    fimath rules = rulesOf(random.pick(kRoundings), random.oneIn(2));
    rules.setSumMode(random.pick(kSumModes));
    rules.setSumWordLength(random.oneIn(8) ? random.between(53, 70) : random.between(1, 52));
    rules.setSumFractionLength(random.between(-8, 30));
    rules.setCastBeforeSum(!random.oneIn(3));
    return rules;
}

NumericType randomSumType(Random& random) {
    return random.oneIn(40) ? randomFixedType(random, 60, false) : randomFixedType(random, 40, false);
}

TEST(ArraySums, AgreeWithTheElementStepsInEveryBitCountAndExtreme) {
    constexpr std::uint64_t kCounts[] = {0, 1, 2, 3, 7, 16, 100, 1023, 1024, 1025, 2100};
    Random random(5201);
    int arraysDone = 0;
    for (int round = 0; round < 2500; ++round) {
        const fimath rules = randomRules(random);
        const GlobalRules global(rules);
        NumericType leftType = randomSumType(random);
        NumericType rightType = random.oneIn(3) ? leftType : randomSumType(random);
        const int kind = random.between(0, 9);
        if (kind == 0) {
            leftType = rightType = plainType(random.oneIn(4) ? TypeMode::Double : TypeMode::Single);
        } else if (kind == 1) {
            leftType = scaledDouble(leftType);
        } else if (kind == 2) {
            rightType = scaledDouble(rightType);
        }
        const std::uint64_t count = random.oneIn(4) ? random.pick(kCounts) : random.pick(std::span(kCounts).first(7));
        const int shape = random.between(0, 3);
        const auto a = anyArray(random, leftType, rules, random.oneIn(2), {shape == 0 ? 1 : count, 1});
        const auto b = anyArray(random, rightType, rules, random.oneIn(2), {shape == 1 ? 1 : count, 1});
        const bool subtracts = random.oneIn(2);
        const bool logs = random.oneIn(2);
        fi::setLogging(logs);
        std::unique_ptr<fi> result;
        const Raised raised = raisedBy([&] { result.reset(subtracts ? &a->minus(*b) : &a->plus(*b)); });
        if (!result) {
            fi::setLogging(false);
            ASSERT_EQ(raised.id, "fixedpoint:fi:MaxSumWordLengthExceeded") << raised;
            continue;
        }
        ++arraysDone;
        std::ostringstream what;
        what << "seed " << random.seed() << " round " << round << (subtracts ? ": " : ": + ") << leftType.tostring("")
             << " and " << rightType.tostring("") << " into " << result->getNumericType().tostring("") << ", "
             << a->numel() << " and " << b->numel() << " elements" << (a->iscomplex() ? ", left complex" : "")
             << (b->iscomplex() ? ", right complex" : "") << (logs ? ", logging" : "") << ", rules "
             << rules.toString();
        const std::uint64_t last = std::max(a->numel(), b->numel());
        if (result->numel() > 1) {
            EXPECT_EQ(result->getIndex(), last - 1) << what.str();
            EXPECT_EQ(b->getIndex(), b->numel() == 1 ? 0 : last - 1) << what.str();
        }
        expectElementSteps(*a, *b, subtracts, *result, what.str());
        fi::setLogging(false);
        if (HasFatalFailure()) {
            return;
        }
    }
    EXPECT_GT(arraysDone, 2000);
}

// A zero becomes an extreme with the sign of the first zero of all steps, in the order of the steps.
TEST(ArraySums, KeepTheSignOfAZeroExtreme) {
    const LoggingOn logging;
    fimath rules = rulesOf(Rounding::ceil, false);
    rules.setSumMode(SumMode::SpecifyPrecision);
    rules.setSumWordLength(8);
    rules.setSumFractionLength(0);
    const NumericType type = fixedType(true, 16, 4);
    const auto result = [&](const std::vector<double>& left, const std::vector<double>& right) {
        return std::unique_ptr<fi>(&column(left, type, rules).plus(column(right, type, rules)));
    };
    // -0.25 casts up to a negative zero.
    const auto fromRight = result({-3.0, -3.0, 0.0}, {-2.0, -0.25, -4.0});
    EXPECT_TRUE(sameBits(fromRight->getQlogger().getMax().todouble(), -0.0));
    const auto fromLeft = result({-3.0, 0.0, -1.0}, {-2.0, -5.0, -0.25});
    EXPECT_TRUE(sameBits(fromLeft->getQlogger().getMax().todouble(), 0.0));
}

// Values that are not the type's own are quantized, though the types say that nothing can change.
TEST(ArraySums, QuantizeWhatATypeChangeLeftBehind) {
    fi a = column(std::vector<double>(3000, 0.40625), fixedType(true, 16, 8));
    const fi b = column(std::vector<double>(3000, 0.25), fixedType(true, 16, 2));
    a.setFractionLength(2);
    const std::unique_ptr<fi> result(&a.plus(b));
    EXPECT_EQ(result->getFractionLength(), 2);
    EXPECT_EQ(realParts(*result), std::vector<double>(3000, 0.75));
}

}  // namespace
