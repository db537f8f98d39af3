// The choice of the filter study, against a walk through all words of the grid.
#include "examples/filter_study/search.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

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
