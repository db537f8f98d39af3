// All instruction sets of the processor give the same bits, counts and extremes, whichever is chosen at run time.
#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "quantization/quantizer.h"
#include "tests/support/quantizers.h"
#include "tests/support/rational.h"

namespace {

/// Confines the array kernels to one instruction set during its lifetime.
class OnlyTarget {
 public:
    explicit OnlyTarget(std::int64_t target) {
        hwy::SetSupportedTargetsForTest(target);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    }
    ~OnlyTarget() {
        hwy::SetSupportedTargetsForTest(0);
        hwy::GetChosenTarget().DeInit();
    }
    OnlyTarget(const OnlyTarget&) = delete;
    OnlyTarget& operator=(const OnlyTarget&) = delete;
};

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

TEST(ArrayTargets, AgreeWithTheElementPathOnEveryInstructionSet) {
    const Description formats[] = {{Mode::Fixed, 8, 4},   {Mode::Ufixed, 8, 4},  {Mode::Fixed, 1, 0},
                                   {Mode::Fixed, 20, 30}, {Mode::Ufixed, 5, -3}, {Mode::ScaledDouble, 8, 4},
                                   {Mode::Float, 8, 4},   {Mode::Single, 32, 8}, {Mode::Double, 64, 11},
                                   {Mode::Boolean, 1, 0}};
    const std::vector<double> values = awkwardValues();
    hwy::SetSupportedTargetsForTest(0);
    int targets = 0;
    for (std::int64_t rest = hwy::SupportedTargets(); rest != 0; rest &= rest - 1) {
        const OnlyTarget only(rest & -rest);
        ++targets;
        for (Description described : formats) {
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
