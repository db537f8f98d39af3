// The low-pass of the filter study against its response in cosines, its output against sums by hand, and the choice of
// words against a walk through all words of the grid.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "examples/filter_study/low_pass.h"
#include "examples/filter_study/search.h"

namespace {

using filterstudy::LowPass;

/// The response of symmetric coefficients has no imaginary part once the delay is taken away.
double amplitude(const std::vector<double>& coefficients, double frequency) {
    const double middle = (static_cast<double>(coefficients.size()) - 1.0) / 2.0;
    double sum = 0.0;
    for (std::size_t i = 0; i < coefficients.size(); ++i) {
        sum += coefficients[i] * std::cos(2.0 * std::numbers::pi * frequency * (static_cast<double>(i) - middle));
    }
    return sum;
}

TEST(LowPass, KeepsWhatItsWindowPromises) {
    const LowPass filters[] = {{64, 4000.0 / 48000.0, 70.0},
                               {63, 0.1, 60.0},
                               {200, 0.25, 90.0},
                               {33, 0.2, 40.0},
                               {128, 0.06, 50.0},
                               {101, 0.3, 25.0}};
    for (const LowPass& filter : filters) {
        SCOPED_TRACE(testing::Message() << filter.taps << " taps, cutoff " << filter.cutoff);
        const auto coefficients = designLowPass(filter);
        ASSERT_EQ(coefficients.size(), static_cast<std::size_t>(filter.taps));
        for (std::size_t i = 0; i < coefficients.size(); ++i) {
            EXPECT_EQ(coefficients[i], coefficients[coefficients.size() - 1 - i]) << i;
        }
        EXPECT_NEAR(amplitude(coefficients, 0.0), 1.0, 1e-14);
        EXPECT_NEAR(amplitude(coefficients, filter.cutoff), 0.5, 0.01);

        // Kaiser's formulas are good to a dB or two; the pass band has the ripple of the stop band and its own sag.
        const double ripple = std::pow(10.0, -(filter.attenuationDb - 1.5) / 20.0);
        const double half = transitionWidth(filter) / 2.0;
        double worst = std::fabs(amplitude(coefficients, filter.cutoff + half));
        for (int i = 0; i <= 5000; ++i) {
            const double frequency = i * 1e-4;
            const double gain = amplitude(coefficients, frequency);
            if (frequency <= filter.cutoff - half) {
                EXPECT_NEAR(gain, 1.0, 1.5 * ripple) << frequency;
            }
            if (frequency >= filter.cutoff + half) {
                EXPECT_LE(std::fabs(gain), ripple) << frequency;
                worst = std::max(worst, std::fabs(gain));
            }
        }
        EXPECT_NEAR(filterstudy::greatestGainDb(coefficients, filter.cutoff + half), 20.0 * std::log10(worst), 0.3);
        EXPECT_NEAR(filterstudy::gainDb(coefficients, filter.cutoff),
                    20.0 * std::log10(amplitude(coefficients, filter.cutoff)), 1e-9);
    }
}

TEST(LowPass, OutputIsTheMiddleOfTheFullConvolution) {
    std::mt19937 random(20261121);
    std::uniform_int_distribution<int> spread(-1000, 1000);  // so that sums in doubles are exact in any order
    for (const std::size_t taps : {2U, 3U, 7U, 8U, 64U}) {
        for (const std::size_t count : {1U, 2U, 5U, 64U, 100U}) {
            std::vector<double> samples(count);
            std::vector<double> coefficients(taps);
            for (double& sample : samples) {
                sample = spread(random);
            }
            for (double& coefficient : coefficients) {
                coefficient = spread(random);
            }
            const auto offset = static_cast<std::size_t>(std::ceil((static_cast<double>(taps) - 1.0) / 2.0));
            std::vector<double> middle(count);
            std::size_t products = 0;
            for (std::size_t i = 0; i < count; ++i) {
                for (std::size_t j = 0; j < taps; ++j) {
                    if (i + offset >= j && i + offset - j < count) {
                        middle[i] += samples[i + offset - j] * coefficients[j];
                        ++products;
                    }
                }
            }
            EXPECT_EQ(filterstudy::filtered(samples, coefficients), middle);
            EXPECT_EQ(filterstudy::productCount(count, taps), products);
        }
    }
}

using filterstudy::Arithmetic;
using filterstudy::Grid;
using filterstudy::Plan;

constexpr std::size_t kTerms = 8;

/// As noise adds up: each word's step, squared, with weights that make no word alone decide.
double ratioOf(const Arithmetic& arithmetic) {
    const auto noise = [](int fraction) { return std::ldexp(1.0, -2 * fraction); };
    double sum = 3.0 * noise(arithmetic.coefficient.fraction) + noise(arithmetic.data.fraction);
    if (arithmetic.product.keep != filterstudy::Keep::Full) {
        sum += 2.0 * noise(productWord(arithmetic).fraction);
    }
    if (arithmetic.sum.keep != filterstudy::Keep::Full) {
        sum += 5.0 * noise(sumWord(arithmetic, kTerms).fraction);
    }
    return -10.0 * std::log10(sum);
}

class Search : public testing::Test {
 protected:
    std::vector<double> samples = std::vector<double>(100, 0.4);
    std::vector<double> coefficients = {0.1, 0.12, 0.13, 0.15, 0.15, 0.13, 0.12, 0.1};
    Plan plan{samples, coefficients, filterstudy::Round::Nearest, filterstudy::Overflow::Saturate};
    Grid grid{{5, 6, 7, 8, 9, 10}, {4, 5, 6, 7, 8, 9}, {4, 6, 8, 9, 10, 11, 12, 13, 14}, {5, 7, 8, 9, 10, 11, 12, 15}};

    /// The least cost among all words of the grid that `admits` lets in.
    template <class Admits>
    int leastCost(const Admits& admits) const {
        auto products = grid.products;
        auto sums = grid.sums;
        products.push_back(0);
        sums.push_back(0);
        int least = std::numeric_limits<int>::max();
        for (const int c : grid.coefficients) {
            for (const int d : grid.data) {
                for (const int p : products) {
                    for (const int s : sums) {
                        const Arithmetic arithmetic = plan.shortened(c, d, p, s);
                        if (admits(arithmetic)) {
                            least = std::min(least, plan.costOf(arithmetic));
                        }
                    }
                }
            }
        }
        return least;
    }
};

TEST_F(Search, FindsTheLeastCostThatKeepsTheRatio) {
    for (double wanted = 5.0; wanted < 50.0; wanted += 2.5) {
        SCOPED_TRACE(wanted);
        int confirmed = 0;
        const auto pairs = measurePairs(plan, grid, ratioOf);
        ASSERT_EQ(pairs.size(), 36U);
        const auto found = cheapest(plan, grid, pairs, wanted, ratioOf, [&](const Arithmetic& arithmetic) {
            ++confirmed;
            return ratioOf(arithmetic);
        });
        const int least = leastCost([&](const Arithmetic& arithmetic) { return ratioOf(arithmetic) >= wanted; });
        if (least == std::numeric_limits<int>::max()) {
            EXPECT_FALSE(found);
            continue;
        }
        ASSERT_TRUE(found);
        EXPECT_GE(ratioOf(*found), wanted);
        EXPECT_EQ(plan.costOf(*found), least);
        EXPECT_GE(confirmed, 1);
    }
}

TEST_F(Search, GoesOnWhereTheWholeSignalRefuses) {
    const auto pairs = measurePairs(plan, grid, ratioOf);
    const auto confirm = [](const Arithmetic& arithmetic) { return ratioOf(arithmetic) - 3.0; };
    const auto found = cheapest(plan, grid, pairs, 25.0, ratioOf, confirm);
    ASSERT_TRUE(found);
    EXPECT_GE(confirm(*found), 25.0);
    EXPECT_EQ(plan.costOf(*found),
              leastCost([&](const Arithmetic& arithmetic) { return confirm(arithmetic) >= 25.0; }));
    EXPECT_FALSE(cheapest(plan, grid, pairs, 25.0, ratioOf, [](const Arithmetic&) { return 0.0; }));
}

TEST_F(Search, PlansBinaryPointsThatHoldThePeaks) {
    // 0.4 fits below 2^-1; the magnitudes add up to 1, so partial sums stay below 0.4, too.
    const Arithmetic arithmetic = plan.shortened(9, 8, 10, 12);
    EXPECT_EQ(arithmetic.coefficient, (filterstudy::Word{9, 10}));
    EXPECT_EQ(arithmetic.data, (filterstudy::Word{8, 8}));
    EXPECT_EQ(productWord(arithmetic), (filterstudy::Word{10, 11}));
    EXPECT_EQ(sumWord(arithmetic, kTerms), (filterstudy::Word{12, 12}));
    EXPECT_EQ(sumWord(plan.exact(9, 8), kTerms), (filterstudy::Word{20, 18}));
}

}  // namespace
