#include "logging/operation_counts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

using namespace tolvane::detail;

using namespace operationcounts;

std::ostream& operator<<(std::ostream& out, const OperationCounts& counts) {
    return out << counts.operations << " operations, " << counts.mathOperations << " without casts";
}

namespace {

struct ConvolutionProducts {
    std::uint64_t full = 0;
    std::uint64_t central = 0;
    std::uint64_t valid = 0;
};

/// Visits every pair of elements that a convolution multiplies, and counts the results that its product belongs to.
ConvolutionProducts countPairs(std::uint64_t n, std::uint64_t m) {
    ConvolutionProducts products;
    const std::uint64_t firstCentral = m / 2;  // the results before it and after it differ by at most one
    for (std::uint64_t i = 0; i < n; ++i) {
        for (std::uint64_t j = 0; j < m; ++j) {
            const std::uint64_t result = i + j;
            ++products.full;
            products.central += result >= firstCentral && result < firstCentral + n;
            products.valid += result + 1 >= m && result < n;
        }
    }
    return products;
}

}  // namespace

TEST(ConvolutionProducts, AreThoseOfWalkingThroughAllPairs) {
    for (std::uint64_t n = 0; n < 24; ++n) {
        for (std::uint64_t m = 0; m < 60; ++m) {
            SCOPED_TRACE(testing::Message() << n << " with " << m);
            const ConvolutionProducts expected = countPairs(n, m);
            EXPECT_EQ(productsOfFull(n, m), expected.full);
            EXPECT_EQ(productsOfCentral(n, m), expected.central);
            EXPECT_EQ(productsOfValid(n, m), expected.valid);
        }
    }
    EXPECT_EQ(productsOfValid(std::uint64_t{1} << 40, 1), std::uint64_t{1} << 40);
    EXPECT_EQ(productsOfCentral(4097, 4097), 3 * 4097 * 4097 / 4 + 1);
}

TEST(Convolution, CountsASumForEachProductAndCastsBeforeTheSums) {
    struct Row {
        bool a, b, casts;
        OperationCounts expected;
    };
    for (const Row& row :
         {Row{false, false, false, {10, 10}}, Row{false, false, true, {20, 10}}, Row{true, false, false, {20, 20}},
          Row{false, true, true, {40, 20}}, Row{true, true, false, {40, 40}}, Row{true, true, true, {80, 40}}}) {
        EXPECT_EQ(ofConvolution(5, row.a, row.b, row.casts), row.expected) << row.a << row.b << row.casts;
    }
}

TEST(Sum, CountsRealAndImaginaryPartsAndTwoCastsEach) {
    EXPECT_EQ(ofSum(7, false, false), (OperationCounts{7, 7}));
    EXPECT_EQ(ofSum(7, false, true), (OperationCounts{21, 7}));
    EXPECT_EQ(ofSum(7, true, false), (OperationCounts{14, 14}));
    EXPECT_EQ(ofSum(7, true, true), (OperationCounts{42, 14}));
    EXPECT_EQ(ofSum(0, true, true), OperationCounts{});
}

TEST(Times, CastsOnlyWhereComplexProductsAreSummed) {
    struct Row {
        Operand a, b;
        bool casts;
        OperationCounts expected;
    };
    const Row rows[] = {{{2, 3, false}, {2, 3, false}, false, {6, 6}}, {{2, 3, false}, {2, 3, false}, true, {6, 6}},
                        {{2, 3, true}, {2, 3, false}, true, {12, 12}}, {{2, 3, false}, {2, 3, true}, false, {12, 12}},
                        {{2, 3, true}, {2, 3, true}, false, {36, 36}}, {{2, 3, true}, {2, 3, true}, true, {54, 36}},
                        {{1, 1, true}, {2, 3, true}, true, {54, 36}},  {{2, 3, false}, {1, 1, false}, true, {6, 6}}};
    for (const Row& row : rows) {
        EXPECT_EQ(ofTimes(row.a, row.b, row.casts), row.expected);
    }
}

TEST(MatrixProduct, CountsAProductAndASumForEachPair) {
    for (std::uint64_t rows : {2u, 3u}) {
        for (std::uint64_t inner : {1u, 4u}) {
            for (std::uint64_t columns : {2u, 5u}) {
                SCOPED_TRACE(testing::Message() << rows << 'x' << inner << " times " << inner << 'x' << columns);
                std::uint64_t pairs = 0;
                for (std::uint64_t i = 0; i < rows; ++i) {
                    for (std::uint64_t j = 0; j < columns; ++j) {
                        for (std::uint64_t k = 0; k < inner; ++k) {
                            ++pairs;
                        }
                    }
                }
                const auto count = [&](bool a, bool b, bool casts) {
                    return ofMatrixProduct({rows, inner, a}, {inner, columns, b}, casts);
                };
                EXPECT_EQ(count(false, false, false), (OperationCounts{2 * pairs, 2 * pairs}));
                EXPECT_EQ(count(false, false, true), (OperationCounts{4 * pairs, 2 * pairs}));
                EXPECT_EQ(count(true, false, false), (OperationCounts{4 * pairs, 4 * pairs}));
                EXPECT_EQ(count(false, true, true), (OperationCounts{8 * pairs, 4 * pairs}));
                // 2t or 4t, 5 times 2t, 2t.
                EXPECT_EQ(count(true, true, false), (OperationCounts{14 * pairs, 12 * pairs}));
                EXPECT_EQ(count(true, true, true), (OperationCounts{16 * pairs, 12 * pairs}));
            }
        }
    }
}

TEST(MatrixProduct, LooksOnlyAtColumnsBesideALeftScalar) {
    struct Row {
        Operand a, b;
        OperationCounts expected;
    };
    const Row rows[] = {
        {{1, 1, false}, {1, 6, false}, {6, 6}},
        {{1, 1, false}, {6, 1, false}, {1, 1}},
        {{1, 1, false}, {2, 3, false}, {3, 3}},
        {{6, 1, false}, {1, 1, false}, {6, 6}},
        {{2, 3, false}, {1, 1, false}, {6, 6}},
        {{1, 1, false}, {1, 1, false}, {1, 1}},
        {{1, 1, true}, {6, 1, false}, {2, 2}},
        {{2, 3, true}, {1, 1, false}, {12, 12}},
        // Both complex: even the real products inside a complex one are counted by columns.
        {{1, 1, true}, {1, 6, true}, {6 + 5 * 6 + 2 * 6, 36}},
        {{1, 1, true}, {6, 1, true}, {1 + 5 * 1 + 2 * 1, 6}},
        {{1, 1, true}, {2, 3, true}, {3 + 5 * 3 + 2 * 3, 18}},
        {{6, 1, true}, {1, 1, true}, {6 + 5 * 6 + 2 * 6, 36}},
        {{1, 1, true}, {1, 1, true}, {1 + 5 * 1 + 2 * 1, 6}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.a.rows << 'x' << row.a.columns << " times " << row.b.rows << 'x'
                                        << row.b.columns << (row.a.isComplex ? ", complex" : ""));
        // Casts before sums don't matter, since nothing is summed.
        EXPECT_EQ(ofMatrixProduct(row.a, row.b, false), row.expected);
        EXPECT_EQ(ofMatrixProduct(row.a, row.b, true), row.expected);
    }
}
