#include "host/hm.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "host/bs.h"

namespace {

using Limits = std::numeric_limits<double>;

/// Edges of the range and of the formulas, of both signs.
const std::vector<double>& edges() {
    static const std::vector<double> values = [] {
        const double positive[] = {0.0,     0.25,     0.5,        0.75,          1.0,         1.5,           2.0,
                                   3.0,     1e-20,    1e300,      HUGE_VAL,      0x1p-1074,   0x1p-1022,     0x1p-500,
                                   0x1p500, 0x1p1000, 0x1p52 + 1, Limits::max(), 0x1.8p-1070, std::sqrt(0.5)};
        std::vector<double> all = {Limits::quiet_NaN()};
        for (const double value : positive) {
            for (const double near : {value, std::nextafter(value, 0.0)}) {
                all.insert(all.end(), {near, -near});
            }
        }
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

TEST(MathServices, FrexpSplitsEveryValue) {
    for (const double value : edges()) {
        int exponent = 77;
        const double mantissa = hmFdlibm_frexp(value, &exponent);
        if (std::isfinite(value) && value != 0.0) {
            EXPECT_TRUE(std::fabs(mantissa) >= 0.5 && std::fabs(mantissa) < 1.0) << value;
            EXPECT_EQ(std::ldexp(mantissa, exponent), value);
        } else {
            EXPECT_TRUE(isWithinUlps(mantissa, value, 0));
            EXPECT_EQ(exponent, 0);
        }
    }
    EXPECT_EQ(hmFdlibm_floor(-0.5), -1.0);
    EXPECT_EQ(hmFdlibm_ceil(0.5), 1.0);
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
        EXPECT_EQ(hmFdlibm_hypot(std::ldexp(-20, scale), std::ldexp(21, scale)), std::ldexp(29, scale)) << scale;
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
    const std::pair<double, double> rows[] = {
        {0.5, 1.0}, {-0.5, -1.0}, {2.5, 3.0}, {-2.5, -3.0}, {0.49999999999999994, 0.0}, {-0.25, -0.0}};
    for (const auto& [value, rounded] : rows) {
        EXPECT_TRUE(isWithinUlps(bsDoubleScalarRound(value), rounded, 0)) << value;
    }
    for (const double whole : {0x1p52 + 1, bsGetMinusInf(), bsGetNaN(), bsGetRealMax()}) {
        EXPECT_TRUE(isWithinUlps(bsDoubleScalarRound(whole), whole, 0)) << whole;
    }
    EXPECT_EQ(bsGetRealMax(), Limits::max());
    EXPECT_EQ(bsGetMinusInf(), -bsGetInf());
}

}  // namespace
