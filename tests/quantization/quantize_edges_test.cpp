#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>

#include "quantization/quantizer.h"
#include "tests/support/quantizers.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

number scalar(double x) {
    return number(x, 52, false);
}

}  // namespace

TEST(Quantize, TakesTheEdgesOfEveryMode) {
    struct Row {
        Description q;
        double in;
        double out;
        std::uint64_t overflows;
        std::uint64_t underflows;
    };
    const auto fixed = [](int w, int f, Rounding r, bool wraps = false) {
        return Description{Mode::Fixed, w, f, r, wraps};
    };
    const auto ufixed = [](int w, int f, Rounding r, bool wraps = false) {
        return Description{Mode::Ufixed, w, f, r, wraps};
    };
    const auto half = [](Rounding r) { return Description{Mode::Float, 16, 5, r}; };
    const auto other = [](Mode mode, int w = 8, int f = 7) { return Description{mode, w, f, Rounding::floor}; };
    const Rounding floor = Rounding::floor;
    const Row rows[] = {
        {fixed(8, 7, floor), 1.0, 127.0 / 128, 1, 0},
        {fixed(8, 7, Rounding::nearest), -0.0, -0.0, 0, 0},  // a zero is not rounded: its sign stays
        {fixed(8, 7, floor, true), 0x1p1000, 0.0, 1, 0},
        {fixed(8, 7, floor), kNaN, kNaN, 0, 0},
        {fixed(8, 12, floor, true), 0.03125, -0.03125, 1, 0},  // a wraparound below 1
        {fixed(52, 0, floor, true), 0x1p51, -0x1p51, 1, 0},
        {fixed(64, 0, floor), 0x1p80, 0x1p63, 1, 0},  // the bound in a double element
        {ufixed(52, 0, floor, true), -1.0, 0x1p52 - 1, 1, 0},
        {ufixed(52, 0, floor), 0x1p60, 0x1p52 - 1, 1, 0},
        {ufixed(52, 60, floor, true), 0x1p960, 0.0, 1, 0},
        {ufixed(52, 60, floor, true), 0x1p1000, kNaN, 1, 0},  // scaled for rounding, it leaves the doubles
        {half(floor), 0x1p-25, 0.0, 0, 1},
        {half(floor), 65505.0, kInf, 1, 0},  // compared before rounding, which would give the bound 65504
        {half(floor), kInf, kInf, 1, 0},
        {{Mode::Float, 64, 11, floor}, 5e-324, 5e-324, 0, 0},
        {{Mode::Float, 63, 11, floor}, 5e-324, 0.0, 0, 1},
        {{Mode::Float, 10, 0, floor}, 0.25, 0.25, 0, 0},
        {{Mode::Float, 10, 0, floor}, 1.0, kInf, 1, 0},  // exponentmax is -1
        {other(Mode::Double), kInf, kInf, 1, 0},
        {other(Mode::None), -kInf, -kInf, 1, 0},
        {other(Mode::ScaledDouble), 300.0, 300.0, 1, 0},
        {other(Mode::ScaledDouble), 0.001, 0.001, 0, 1},
        {other(Mode::UnsignedScaledDouble), -0.001, -0.001, 1, 1},
        {other(Mode::Boolean), -3.0, 1.0, 0, 0},
        {other(Mode::Single), 1e39, kInf, 1, 0},
        {other(Mode::Single), 1e-60, 0.0, 0, 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.q << " of " << text(row.in));
        const quantizer q = row.q.make();
        number x = scalar(row.in);
        EXPECT_EQ(&q.quantize(x), &x);
        EXPECT_TRUE(sameElement(x, scalar(row.out))) << text(x.todouble());
        EXPECT_EQ(countsOf(q), (Counts{row.overflows, row.underflows, 1}));
        // Closed gate: the same value, nothing counted.
        Description silent = row.q;
        silent.alwaysLogs = false;
        const quantizer still = silent.make();
        number y = scalar(row.in);
        still.quantize(y);
        EXPECT_TRUE(sameElement(y, x)) << text(y.todouble());
        EXPECT_EQ(countsOf(still), Counts{});
        EXPECT_TRUE(still.getQlogger().isreset());
        EXPECT_EQ(still.getMin().todouble(), qlogger::getStartOfMin());
    }
}

TEST(Quantize, LogsWhileTheProcessLogs) {
    const quantizer q = Description{Mode::Fixed, 8, 7, Rounding::floor, false, false}.make();
    qlogger::setLogging(true);
    for (const double value : {2.0, -0.5, 0.001}) {
        number x = scalar(value);
        q.quantize(x);
    }
    qlogger::setLogging(false);
    number ignored = scalar(-9.0);
    q.quantize(ignored);
    EXPECT_EQ(countsOf(q), (Counts{1, 1, 3}));
    EXPECT_EQ(q.getMax().todouble(), 127.0 / 128);
    EXPECT_EQ(q.getMin().todouble(), -0.5);
    q.initializestates();
    EXPECT_EQ(countsOf(q), Counts{});
    EXPECT_TRUE(q.getQlogger().isreset());
}

TEST(Quantize, ActsOnTheElementAtTheCursor) {
    const quantizer q = Description{Mode::Fixed, 8, 7}.make();
    for (const unsigned precision : {52u, 60u}) {
        number x(3, precision, number::NumberVector::tag);
        for (std::uint64_t i = 0; i < 3; ++i) {
            x[i] = 5.0;
        }
        q.quantize(x[1]);
        EXPECT_EQ(x[0].todouble(), 5.0);
        EXPECT_EQ(x[1].todouble(), 127.0 / 128);
        EXPECT_EQ(x[2].todouble(), 5.0);
    }
}

TEST(Quantize, GivesOnWideNumbersWhatItGivesOnDoubles) {
    constexpr unsigned kSeed = 7;
    std::mt19937_64 random(kSeed);
    for (int round = 0; round < 1500; ++round) {
        Description described;
        const Mode modes[] = {Mode::Fixed, Mode::Ufixed,       Mode::Float,  Mode::Single,
                              Mode::None,  Mode::ScaledDouble, Mode::Boolean};
        described.mode = modes[random() % std::size(modes)];
        const bool floats = described.mode == Mode::Float;
        described.second = floats ? 2 + static_cast<int>(random() % 10) : static_cast<int>(random() % 60) - 20;
        described.wordBits =
            floats ? described.second + 2 + static_cast<int>(random() % 40) : 1 + static_cast<int>(random() % 52);
        described.rounding = kRoundings[random() % 6];
        described.wraps = random() % 2 != 0;
        const quantizer onDouble = described.make();
        const quantizer onWide = described.make();
        const int step = floats ? 2 + static_cast<int>(random() % 8) : onDouble.getFractionlength() + 3;
        for (int i = 0; i < 40; ++i) {
            const int bits = static_cast<int>(random() % 50);
            const double value =
                std::ldexp(static_cast<double>(static_cast<std::int64_t>(random()) >> (63 - bits)), -step);
            number a = scalar(value);
            number b(value, 120, false);
            onDouble.quantize(a);
            onWide.quantize(b);
            ASSERT_EQ(a.todouble(), b.todouble()) << "seed " << kSeed << ' ' << described << " of " << text(value);
        }
        ASSERT_EQ(countsOf(onDouble), countsOf(onWide)) << "seed " << kSeed << ' ' << described;
        ASSERT_EQ(onDouble.getMax().todouble(), onWide.getMax().todouble());
        ASSERT_EQ(onDouble.getMin().todouble(), onWide.getMin().todouble());
    }
}

TEST(Quantize, ScalesWithTheFormatWherePowersLeaveTheDoubles) {
    constexpr unsigned kSeed = 99;
    std::mt19937_64 random(kSeed);
    for (int round = 0; round < 600; ++round) {
        Description near;
        near.mode = random() % 2 ? Mode::Fixed : Mode::Ufixed;
        near.wordBits = 1 + static_cast<int>(random() % 52);
        near.second = 0;
        near.rounding = kRoundings[random() % 6];
        near.wraps = random() % 2 != 0;
        Description far = near;
        far.second = random() % 2 ? 930 : -905;
        const quantizer a = near.make();
        const quantizer b = far.make();
        ASSERT_TRUE(a.getDoubleLimits().valid);
        ASSERT_FALSE(b.getDoubleLimits().valid);
        for (int i = 0; i < 20; ++i) {
            const int bits = static_cast<int>(random() % 55);
            const double value =
                std::ldexp(static_cast<double>(static_cast<std::int64_t>(random()) >> (63 - bits)), -3);
            number x = scalar(value);
            number y = scalar(std::ldexp(value, -far.second));
            a.quantize(x);
            b.quantize(y);
            y = std::ldexp(y.todouble(), far.second);
            ASSERT_TRUE(sameElement(x, y)) << "seed " << kSeed << ' ' << far << " of " << text(value) << ": "
                                           << text(x.todouble()) << " and " << text(y.todouble());
        }
        ASSERT_EQ(countsOf(a), countsOf(b)) << "seed " << kSeed << ' ' << far;
    }
}
