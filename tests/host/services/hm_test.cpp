#include "host/hm.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "host/bs.h"

namespace {

using Limits = std::numeric_limits<double>;

const std::vector<double>& edges() {
    static const std::vector<double> values = [] {
        constexpr double kMax = Limits::max();
        const double positive[] = {0.0,         0.25,      0.5,      0.75,   1.0,    1.5,      2.0,
                                   2.5,         3.0,       1e-20,    1e300,  kMax,   HUGE_VAL, 0x1p-1074,
                                   0x1.8p-1070, 0x1p-1022, 0x1p-500, 0x1p52, 0x1p53, 0x1p500,  0x1p1000};
        const double beside[] = {std::nextafter(0x1p-1022, 0.0), std::nextafter(0.5, 0.0), std::sqrt(0.5), 1e15 + 0.5,
                                 std::nextafter(1.0, 0.0),       std::nextafter(1.0, 2.0), 0x1p52 + 1};
        std::vector<double> all;
        for (const double sign : {1.0, -1.0}) {
            for (const double value : positive) {
                all.push_back(sign * value);
            }
            for (const double value : beside) {
                all.push_back(sign * value);
            }
        }
        all.push_back(Limits::quiet_NaN());
        return all;
    }();
    return values;
}

/// Close enough, or both NaN; infinities and zeros must be the same to the sign.
::testing::AssertionResult isWithinUlps(double actual, double expected, int ulps) {
    if (std::isnan(expected) || std::isinf(expected) || expected == 0.0) {
        const bool agree = std::isnan(expected) ? std::isnan(actual)
                                                : actual == expected && std::signbit(actual) == std::signbit(expected);
        return agree ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << actual << " for " << expected;
    }
    const double size = std::fabs(expected);
    const double step = size == Limits::max() ? 0x1p971 : std::nextafter(size, Limits::infinity()) - size;
    if (std::fabs(actual - expected) <= ulps * step) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << actual << " is not within " << ulps << " ulps of " << expected;
}

std::vector<double> randomValues(int count) {
    std::mt19937_64 random(20240607);
    std::vector<double> values;
    while (static_cast<int>(values.size()) < count) {
        const double value = std::bit_cast<double>(static_cast<std::uint64_t>(random()));
        if (std::isfinite(value)) {
            values.push_back(value);
        }
    }
    return values;
}

TEST(MathServices, FloorCeilAndFrexpAgreeWithTheCLibrary) {
    std::vector<double> values = edges();
    const std::vector<double> more = randomValues(10000);
    values.insert(values.end(), more.begin(), more.end());
    for (const double value : values) {
        EXPECT_TRUE(isWithinUlps(hmFdlibm_floor(value), std::floor(value), 0)) << value;
        EXPECT_TRUE(isWithinUlps(hmFdlibm_ceil(value), std::ceil(value), 0)) << value;
        int exponent = 77;
        const double mantissa = hmFdlibm_frexp(value, &exponent);
        if (std::isfinite(value) && value != 0.0) {
            EXPECT_GE(std::fabs(mantissa), 0.5);
            EXPECT_LT(std::fabs(mantissa), 1.0);
            EXPECT_EQ(std::ldexp(mantissa, exponent), value);
        } else {
            EXPECT_TRUE(isWithinUlps(mantissa, value, 0));
            EXPECT_EQ(exponent, 0);
        }
    }
}

TEST(MathServices, HypotIsWithinAnUlpEvenWhereSquaresOverflow) {
    for (const double a : edges()) {
        for (const double b : edges()) {
            // An infinity wins over a NaN.
            EXPECT_TRUE(isWithinUlps(hmFdlibm_hypot(a, b), std::hypot(a, b), 1)) << a << ' ' << b;
            EXPECT_TRUE(isWithinUlps(hmFdlibm_hypot(b, a), hmFdlibm_hypot(a, b), 0)) << a << ' ' << b;
        }
    }
    std::mt19937_64 random(7);
    std::uniform_int_distribution<int> shift(-60, 60);
    for (const double a : randomValues(10000)) {
        const double b = std::ldexp(a, shift(random)) * 1.1;
        EXPECT_TRUE(isWithinUlps(hmFdlibm_hypot(a, b), std::hypot(a, b), 1)) << a << ' ' << b;
    }
    // Pythagorean triples at every scale come out exactly.
    for (int scale = -1074; scale <= 1018; ++scale) {
        const double unit = std::ldexp(1.0, scale);
        EXPECT_EQ(hmFdlibm_hypot(3 * unit, 4 * unit), 5 * unit) << scale;
        EXPECT_EQ(hmFdlibm_hypot(-20 * unit, 21 * unit), 29 * unit) << scale;
    }
}

TEST(MathServices, LogarithmsAreAccurateAndExactForPowersOfTwo) {
    std::vector<double> values = edges();
    for (const double value : randomValues(20000)) {
        values.push_back(std::fabs(value));
    }
    for (int i = -2000; i <= 2000; ++i) {
        values.push_back(1.0 + i * 0x1p-52);
        values.push_back(1.0 + i * 0x1p-13);
    }
    for (const double value : values) {
        EXPECT_TRUE(isWithinUlps(hmFdlibm_log(value), std::log(value), 1)) << value;
        EXPECT_TRUE(isWithinUlps(DoubleScalarLog2(value), std::log2(value), 2)) << value;
    }
    for (int exponent = -1074; exponent <= 1023; ++exponent) {
        EXPECT_EQ(DoubleScalarLog2(std::ldexp(1.0, exponent)), exponent);
    }
}

TEST(BaseServices, RoundHalvesAwayFromZero) {
    const struct {
        double value;
        double rounded;
    } rows[] = {{0.5, 1.0},    {-0.5, -1.0},
                {1.5, 2.0},    {2.5, 3.0},
                {-2.5, -3.0},  {0.49999999999999994, 0.0},
                {-0.25, -0.0}, {0x1p52 + 1, 0x1p52 + 1},
                {1e300, 1e300}};
    for (const auto& row : rows) {
        EXPECT_TRUE(isWithinUlps(bsDoubleScalarRound(row.value), row.rounded, 0)) << row.value;
    }
    EXPECT_TRUE(std::isnan(bsDoubleScalarRound(bsGetNaN())));
    EXPECT_EQ(bsDoubleScalarRound(bsGetMinusInf()), -bsGetInf());
    EXPECT_EQ(bsGetRealMax(), Limits::max());
}

}  // namespace
