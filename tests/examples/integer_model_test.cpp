// What the integer model of the filter study starts from. Its outputs are compared with the host's in all modes by
// host_filter_test.cpp.
#include "examples/filter_study/integer_model.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using filterstudy::Arithmetic;
using filterstudy::Keep;

TEST(IntegerModel, StoresValuesRoundedAndSaturated) {
    const double values[] = {0.0, 0.5, -0.5, 1.49, 1.5, -1.5, 6.6, 7.5, -8.4, -9.0, 1e300};
    EXPECT_EQ(filterstudy::storedIntegers(values, {4, 0}),
              (std::vector<std::int64_t>{0, 1, 0, 1, 2, -1, 7, 7, -8, -8, 7}));
    EXPECT_EQ(filterstudy::storedIntegers(std::vector<double>{0.25, -0.1875}, {24, 4}),
              (std::vector<std::int64_t>{4, -3}));
}

TEST(IntegerModel, SumsGrowAndCostAsTold) {
    const struct {
        std::size_t terms;
        int growth;
    } rows[] = {{1, 0}, {2, 1}, {3, 2}, {4, 2}, {5, 3}, {63, 6}, {64, 6}, {65, 7}};
    for (const auto& row : rows) {
        EXPECT_EQ(filterstudy::growthBits(row.terms), row.growth) << row.terms;
    }
    EXPECT_EQ(costOf(Arithmetic{{12, 14}, {11, 12}, {}, {}}, 64), 132 + 23 + 29);
    EXPECT_EQ(costOf(Arithmetic{{12, 14}, {11, 12}, {Keep::Msb, {15, 0}}, {Keep::Specified, {16, 15}}}, 64),
              132 + 15 + 16);
}

}  // namespace
