// The rounding rules on plain doubles and the helpers built on them.
#include "numbers/rounding.h"

#include <gtest/gtest.h>

#include <bit>
#include <cfenv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>

#include "numbers/TolvaneKit.h"
#include "numbers/truncation.h"
#include "tests/support/errors.h"
#include "tests/support/rational.h"

using namespace tolvane::detail;

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double tiny = std::numeric_limits<double>::denorm_min();
constexpr double huge = std::numeric_limits<double>::max();

/// Bits of the value, all NaNs being one.
std::uint64_t identity(double value) {
    return std::bit_cast<std::uint64_t>(std::isnan(value) ? nan : value);
}

double byRule(Rounding rule, double x) {
    switch (rule) {
        case Rounding::ceil:
            return rounding::CeilRule::apply(x);
        case Rounding::convergent:
            return rounding::ConvergentRule::apply(x);
        case Rounding::fix:
            return rounding::FixRule::apply(x);
        case Rounding::floor:
            return rounding::FloorRule::apply(x);
        case Rounding::nearest:
            return rounding::NearestRule::apply(x);
        case Rounding::round:
            return rounding::RoundRule::apply(x);
    }
    return nan;
}

/// What the processor rounds to in one of its own modes.
double byHardware(int mode, double x) {
    volatile double operand = x;
    const int old = std::fegetround();
    std::fesetround(mode);
    volatile double result = std::nearbyint(operand);
    std::fesetround(old);
    return result;
}

TEST(Rounding, AgreesWithTheHardwareInEveryBitWhereItHasTheRule) {
    Random random(11);
    for (int i = 0; i < 200000; ++i) {
        const double x = i % 2 == 0 ? random.anyDouble() : random.real(-3, 54);
        ASSERT_EQ(identity(byRule(Rounding::ceil, x)), identity(byHardware(FE_UPWARD, x))) << x;
        ASSERT_EQ(identity(byRule(Rounding::floor, x)), identity(byHardware(FE_DOWNWARD, x))) << x;
        ASSERT_EQ(identity(byRule(Rounding::fix, x)), identity(byHardware(FE_TOWARDZERO, x))) << x;
    }
}

TEST(Rounding, AgreesWithExactArithmeticWhileTheSumWithAHalfIsExact) {
    Random random(12);
    for (int i = 0; i < 60000; ++i) {
        const double x = random.real(-2, 50, random.between(1, 51));
        // 0.5 is a multiple of the last place, and no carry leaves the 53 bits.
        if (std::fabs(x) < 0.5 && x != std::ldexp(std::round(std::ldexp(x, 52)), -52)) {
            continue;
        }
        for (const Rounding rule : kRoundings) {
            ASSERT_EQ(byRule(rule, x), rounded(Rational(x), rule).get_d())
                << nameOf(rule) << ' ' << x << " seed " << random.seed();
        }
    }
}

TEST(Rounding, ToEvenTakesItsDefiningStepsInEveryBit) {
    const auto bySteps = [](double x) {
        const double fraction = std::fabs(std::floor(x) - x);
        const double below = x - fraction;
        const double half = below * 0.5;
        return fraction == 0.5 ? std::fabs(half - std::floor(half)) * 2.0 + below : std::floor(x + 0.5);
    };
    Random random(15);
    for (int i = 0; i < 400000; ++i) {
        const double x = i % 2 == 0 ? random.anyDouble() : random.real(-3, 55, random.between(1, 53));
        ASSERT_EQ(identity(byRule(Rounding::convergent, x)), identity(bySteps(x))) << x << " seed " << random.seed();
    }
}

template <class Rule>
void expectNearForm(double x) {
    const double wanted = x == 0.0 ? x : Rule::apply(x);
    ASSERT_EQ(identity(Rule::template near<double>(x)), identity(wanted)) << x;
}

TEST(Rounding, HasTheSameShortFormsBelow2To52) {
    Random random(16);
    const double bounds[] = {0.0, tiny, 0.5, 1.0, 1.5, 2.0, 2.5, 0x1p51, 0x1p51 + 0.5, 0x1p52 - 1, 0x1p52 - 0.5};
    for (int i = 0; i < 200000; ++i) {
        const double bound = random.pick(bounds);
        const double edge = random.oneIn(3) ? bound : std::nextafter(bound, random.oneIn(2) ? inf : -inf);
        const double size = i % 2 == 0 && edge < 0x1p52 ? edge : random.real(-60, 51, random.between(1, 53));
        const double x = random.oneIn(2) ? size : -size;
        expectNearForm<rounding::ConvergentRule>(x);
        expectNearForm<rounding::NearestRule>(x);
        expectNearForm<rounding::RoundRule>(x);
    }
}

TEST(Rounding, KeepsItsSignsOfZeroAndItsRoundedSums) {
    struct Row {
        Rounding rule;
        double x, expected;
    };
    const Row rows[] = {
        {Rounding::round, -0.3, -0.0},  // the sign of a value below zero stays
        {Rounding::round, -0.0, 0.0},   // but -0.0 is not below zero
        {Rounding::round, -0.5, -1.0},
        {Rounding::round, 0x1p52 + 1.0, 0x1p52 + 1.0},
        {Rounding::round, -0x1p52 - 1.0, -0x1p52 - 1.0},
        {Rounding::round, 0.49999999999999994, 1.0},  // the sum with 0.5 rounds to 1
        {Rounding::round, -0.49999999999999994, -1.0},
        {Rounding::nearest, -0.5, 0.0},
        {Rounding::nearest, -0.0, 0.0},
        {Rounding::nearest, 0.49999999999999994, 1.0},
        {Rounding::nearest, 0x1p52 + 1.0, 0x1p52 + 2.0},  // a tie of the sum goes to the even double
        {Rounding::nearest, tiny, 0.0},
        {Rounding::convergent, 0.49999999999999994, 1.0},
        {Rounding::convergent, -2.5, -2.0},
        {Rounding::convergent, -3.5, -4.0},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(identity(byRule(row.rule, row.x)), identity(row.expected)) << nameOf(row.rule) << ' ' << row.x;
    }
    for (const Rounding rule : kRoundings) {
        for (const double x : {inf, -inf, nan, huge, -huge}) {
            EXPECT_EQ(identity(byRule(rule, x)), identity(x)) << nameOf(rule) << ' ' << x;
        }
    }
}

TEST(ScaleByPowerOfTwo, AgreesWithTheRuntimeForEveryExponent) {
    Random random(13);
    const auto check = [](double x, int n) {
        ASSERT_EQ(identity(rounding::scaleByPowerOfTwo(x, n)), identity(std::ldexp(x, n))) << x << ' ' << n;
    };
    for (int n = -2200; n <= 2200; ++n) {
        for (int i = 0; i < 20; ++i) {
            check(random.anyDouble(), n);
        }
        check(std::ldexp(random.real(0, 0), -n), n);
        check(std::ldexp(random.real(0, 0), -1022 - n), n);  // around the subnormal results, which round
    }
    for (const int n : {INT_MIN, INT_MIN + 1, INT_MAX}) {
        for (const double x : {0.0, -0.0, 1.0, -tiny, huge, inf, nan}) {
            check(x, n);
        }
    }
}

TEST(TolvaneKit, RoundsAtABit) {
    using Helper = double (*)(double, int);
    const struct {
        Rounding rule;
        Helper helper;
    } helpers[] = {{Rounding::ceil, TolvaneKit::ceil},
                   {Rounding::convergent, TolvaneKit::convergent},
                   {Rounding::fix, TolvaneKit::fix},
                   {Rounding::floor, TolvaneKit::floor},
                   {Rounding::round, TolvaneKit::round}};
    for (const auto& [rule, helper] : helpers) {
        for (int n = -6; n <= 6; ++n) {
            for (int k = -300; k <= 300; ++k) {
                const Rational exact = scaled(Rational(k), -6);
                const Rational expected = scaled(Rational(rounded(scaled(exact, n), rule)), -n);
                ASSERT_EQ(helper(k / 64.0, n), expected.get_d()) << nameOf(rule) << ' ' << k << "/64 at " << n;
            }
        }
        // Scaled out of the range of doubles and back.
        EXPECT_EQ(helper(1.5, INT_MAX), inf);
        EXPECT_EQ(helper(1.5, INT_MIN), 0.0);
        EXPECT_TRUE(std::isnan(helper(nan, 3)));
    }
    EXPECT_EQ(identity(TolvaneKit::round(-0.1, 2)), identity(-0.0));
    EXPECT_EQ(TolvaneKit::convergent(2.5), 2.0);
}

TEST(TolvaneKit, TakesTheModulusWithTheSignOfTheDivisor) {
    const struct {
        double x, y, expected;
    } rows[] = {
        {nan, -0.0, nan},
        {5.5, 0.25, 0.0},
        {-0.1, 0x1p60, 0x1p60 - 0.1},
        // The quotient 4/3 is rounded before its fraction is taken, so the last places of 0.25 are lost.
        {1.0, 0.75, (4.0 / 3.0 - 1.0) * 0.75},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(identity(TolvaneKit::mod(row.x, row.y)), identity(row.expected)) << row.x << " mod " << row.y;
    }
    EXPECT_LT(TolvaneKit::mod(1.0, 0.75), 0.25);

    Random random(14);
    for (int i = 0; i < 40000; ++i) {  // the divisors of wrapping: exact
        const int power = random.between(-20, 20);
        const double y = random.oneIn(2) ? std::ldexp(1.0, power) : -std::ldexp(1.0, power);
        const double x = random.real(power - 10, power + 20, 30);
        const Rational exact = Rational(x) - Rational(floorOf(Rational(x) / Rational(y))) * Rational(y);
        ASSERT_EQ(Rational(TolvaneKit::mod(x, y)), exact) << x << " mod " << y << " seed " << random.seed();
    }
}

TEST(ExactLog2, TakesExactPowersOfEitherSignOnly) {
    for (int k = 0; k <= 30; ++k) {
        EXPECT_EQ(exactlog2(1 << k), k);
        EXPECT_EQ(exactlog2(-(1 << k)), k);
        EXPECT_EQ(::pow2(k), static_cast<double>(1 << k));
    }
    EXPECT_EQ(exactlog2(INT_MIN), 31);
    const Raised expected{"fixedpoint:exactlog2:exactpower", "Must be an exact power of 2."};
    for (const int n : {0, 3, 6, -6, 12, INT_MAX}) {
        EXPECT_EQ(raisedBy([n] { exactlog2(n); }), expected) << n;
    }
    EXPECT_EQ(::pow2(INT_MIN), 0.0);
    EXPECT_EQ(::pow2(INT_MAX), inf);
    EXPECT_EQ(::pow2(-1074), tiny);
}

TEST(TruncateTo, IsDefinedForEveryDouble) {
    EXPECT_EQ(truncateTo<std::int32_t>(-2147483648.9), INT32_MIN);
    EXPECT_EQ(truncateTo<std::int32_t>(2147483647.9), INT32_MAX);
    EXPECT_EQ(truncateTo<std::int8_t>(-1.9), -1);
    EXPECT_EQ(truncateTo<std::int8_t>(257.0), 1);
    EXPECT_EQ(truncateTo<std::uint16_t>(-1.0), 65535);
    EXPECT_EQ(truncateTo<std::uint32_t>(4294967295.5), UINT32_MAX);
    EXPECT_EQ(truncateTo<std::int64_t>(-0x1p63), INT64_MIN);
    EXPECT_EQ(truncateTo<std::uint64_t>(0x1p64 - 2048.0), UINT64_MAX - 2047);
    EXPECT_EQ(truncateTo<std::uint64_t>(0x1p63), std::uint64_t{1} << 63);
    for (const double x : {inf, -inf, nan, huge, 0x1p64}) {
        EXPECT_EQ(truncateTo<std::int32_t>(x), INT32_MIN) << x;
        EXPECT_EQ(truncateTo<std::int16_t>(x), 0) << x;
        EXPECT_EQ(truncateTo<std::int64_t>(x), INT64_MIN) << x;
        EXPECT_EQ(truncateTo<std::uint32_t>(x), 0U) << x;
        EXPECT_EQ(truncateTo<std::uint64_t>(x), std::uint64_t{1} << 63) << x;
    }
}

}  // namespace
