// All instruction sets of the processor give the same bits, counts and extremes, whichever is chosen at run time.
#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "quantization/quantizer.h"
#include "tests/support/only_target.h"
#include "tests/support/quantizers.h"
#include "tests/support/rational.h"

namespace {

// Ties, neighbours of ties, both zeros, infinities and NaN, denormals and huge values, and plain ones; an odd count, so
// that a partial vector is left at the end.
std::vector<double> awkwardValues() {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    std::vector<double> values = {
        0.0,    -0.0,   infinity, -infinity,  std::nan(""),        -std::nan(""),       5e-324, -5e-324, 1e308,
        -1e308, 0x1p52, -0x1p52,  0x1p53 + 2, 0.49999999999999994, -0.49999999999999994};
    for (int i = -70; i <= 70; ++i) {
        for (const double x : {i * 0.125, i * 0.0625, i * 1.5}) {
            values.push_back(x);
            values.push_back(std::nextafter(x, infinity));
            values.push_back(std::nextafter(x, -infinity));
        }
    }
    Random random(2025);
    for (int i = 0; i < 300; ++i) {
        values.push_back(random.real(-20, 20));
    }
    if (values.size() % 2 == 0) {
        values.push_back(1.0);
    }
    return values;
}

/// Steps of a format up to the last double below 2^52, and then as many with some beyond: wrapping has a way of its own
/// for vectors of smaller values. Counts, ties and zeros of both signs are among them.
std::vector<double> stepsUpTo2To52() {
    const double someSteps[] = {
        0.0,   0.49999999999999994, 0.5,   0.3,   1.5,          2.5,          5e-324,       127.0,
        127.5, 127.49999999999999,  128.0, 255.5, 0x1p40 - 0.5, 0x1p51 - 0.5, 0x1p52 - 0.5, 0x1p52 - 1};
    std::vector<double> values;
    for (int i = 0; i < 4; ++i) {
        for (const double x : someSteps) {
            values.insert(values.end(), {x, -x});
        }
    }
    values.insert(values.end(), values.begin(), values.end());
    for (std::size_t i = values.size() / 2 + 1; i < values.size(); i += 16) {
        values[i] = std::copysign(0x1p52 + 1, values[i]);
    }
    return values;
}

TEST(ArrayTargets, AgreeWithTheElementPathOnEveryInstructionSet) {
    const Description formats[] = {{Mode::Fixed, 8, 4},   {Mode::Ufixed, 8, 4},       {Mode::Fixed, 1, 0},
                                   {Mode::Fixed, 20, 30}, {Mode::Fixed, 52, 3},       {Mode::Ufixed, 52, 0},
                                   {Mode::Ufixed, 5, -3}, {Mode::ScaledDouble, 8, 4}, {Mode::Float, 8, 4},
                                   {Mode::Single, 32, 8}, {Mode::Double, 64, 11},     {Mode::Boolean, 1, 0}};
    const std::vector<double> anyValues = awkwardValues();
    const std::vector<double> steps = stepsUpTo2To52();
    hwy::SetSupportedTargetsForTest(0);
    int targets = 0;
    for (std::int64_t rest = hwy::SupportedTargets(); rest != 0; rest &= rest - 1) {
        const OnlyTarget only(rest & -rest);
        ++targets;
        for (Description described : formats) {
            std::vector<double> values = anyValues;
            for (const double x : steps) {
                values.push_back(described.mode == Mode::Fixed || described.mode == Mode::Ufixed
                                     ? std::ldexp(x, -described.second)
                                     : x);
            }
            for (const Rounding rounding : kRoundings) {
                described.rounding = rounding;
                for (const bool wraps : {false, true}) {
                    described.wraps = wraps;
                    const quantizer byArray = described.make();
                    const quantizer byElement = described.make();
                    std::vector<double> results(values.size());
                    byArray.quantize(values, results);
                    number x(0.0, 52, false);
                    for (std::size_t i = 0; i < values.size(); ++i) {
                        x.setvalue(values[i]);
                        const double expected = byElement.quantize(x).todouble();
                        ASSERT_TRUE(sameBits(results[i], expected))
                            << hwy::TargetName(rest & -rest) << ", " << described << ": " << text(values[i])
                            << " gives " << text(results[i]) << ", by element " << text(expected);
                    }
                    EXPECT_EQ(countsOf(byArray), countsOf(byElement)) << hwy::TargetName(rest & -rest);
                    EXPECT_TRUE(sameElement(byArray.getMax(), byElement.getMax()));
                    EXPECT_TRUE(sameElement(byArray.getMin(), byElement.getMin()));
                }
            }
        }
    }
    EXPECT_GE(targets, 1);
}

}  // namespace
