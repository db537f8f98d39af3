// The integer model of the filter study against rationals.
#include "examples/filter_study/integer_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "examples/studies/StudyError.h"
#include "tests/support/rational.h"

namespace {

using filterstudy::Arithmetic;
using filterstudy::Keep;
using filterstudy::Overflow;
using filterstudy::Round;
using filterstudy::Word;

/// Rounds a value into a word and counts what lies outside.
Rational quantized(const Rational& value, Word word, Round round, Overflow overflow, std::uint64_t& overflows) {
    const Integer half(twoTo(word.bits - 1));
    Integer integer = rounded(scaled(value, word.fraction), static_cast<Rounding>(round));
    if (integer < -half || integer >= half) {
        ++overflows;
        integer = overflow == Overflow::Wrap
                      ? Integer(integer - 2 * half * floorOf(scaled(Rational(integer + half), -word.bits)))
                      : std::clamp(integer, Integer(-half), Integer(half - 1));
    }
    return scaled(Rational(integer), -word.fraction);
}

struct Case {
    Arithmetic arithmetic;
    Word product;
    Word sum;
};

/// Words worked out by hand for 5 terms: sums in full grow by 3 bits.
std::vector<Case> cases() {
    const Word c{9, 8};
    const Word d{10, 11};
    return {
        {{c, d, {}, {}}, {19, 19}, {22, 19}},
        {{c, d, {Keep::Msb, {12, 0}}, {}}, {12, 12}, {15, 12}},
        {{c, d, {Keep::Lsb, {14, 0}}, {}}, {14, 19}, {17, 19}},
        {{c, d, {}, {Keep::Msb, {12, 0}}}, {19, 19}, {12, 9}},
        {{c, d, {}, {Keep::Lsb, {18, 0}}}, {19, 19}, {18, 19}},
        {{c, d, {Keep::Specified, {11, 13}}, {Keep::Specified, {12, 15}}}, {11, 13}, {12, 15}},
        {{c, d, {Keep::Specified, {13, 21}}, {Keep::Specified, {10, 8}}}, {13, 21}, {10, 8}},
        {{c, d, {Keep::Msb, {9, 0}}, {Keep::Specified, {9, 20}}}, {9, 9}, {9, 20}},
        {{{4, -2}, {5, 30}, {}, {Keep::Specified, {12, 26}}}, {9, 28}, {12, 26}},
    };
}

TEST(IntegerModel, IsWhatRationalsSay) {
    constexpr unsigned seed = 20261121;
    std::mt19937 random(seed);
    for (const Case& given : cases()) {
        for (const Round round : study::parseRounds("all")) {
            for (const Overflow overflow : {Overflow::Saturate, Overflow::Wrap}) {
                Arithmetic arithmetic = given.arithmetic;
                arithmetic.round = round;
                arithmetic.overflow = overflow;
                SCOPED_TRACE(testing::Message()
                             << "seed " << seed << " product " << nameOf(given.product) << " sum " << nameOf(given.sum)
                             << " " << study::nameOf(round) << "/" << study::nameOf(overflow));
                EXPECT_EQ(productWord(arithmetic), given.product);
                EXPECT_EQ(sumWord(arithmetic, 5), given.sum);
                const auto integers = [&random](std::size_t count, Word word) {
                    const std::int64_t half = std::int64_t{1} << (word.bits - 1);
                    std::uniform_int_distribution<std::int64_t> spread(-half, half - 1);
                    std::vector<std::int64_t> values(count);
                    for (std::int64_t& value : values) value = spread(random);
                    values[0] = -half;
                    return values;
                };
                const auto data = integers(40, arithmetic.data);
                const auto coefficients = integers(5, arithmetic.coefficient);
                const auto output = integerFilter(data, coefficients, arithmetic);

                std::uint64_t productOverflows = 0;
                std::uint64_t sumOverflows = 0;
                std::uint64_t logged = 0;
                ASSERT_EQ(output.words.size(), data.size());
                for (int i = 0; i < 40; ++i) {
                    Rational sum = 0;
                    for (int tap = 4; tap >= 0; --tap) {
                        const int j = i + 2 - tap;
                        if (j < 0 || j > 39) continue;
                        const Rational exact = scaled(
                            Rational(data[static_cast<std::size_t>(j)] * coefficients[static_cast<std::size_t>(tap)]),
                            -arithmetic.data.fraction - arithmetic.coefficient.fraction);
                        const Rational product = quantized(exact, given.product, round, overflow, productOverflows);
                        sum = quantized(sum + product, given.sum, round, overflow, sumOverflows);
                    }
                    logged += sumOverflows;
                    EXPECT_EQ(scaled(Rational(output.words[static_cast<std::size_t>(i)]), -given.sum.fraction), sum)
                        << i;
                }
                EXPECT_EQ(output.productOverflows, productOverflows);
                EXPECT_EQ(output.sumOverflows, sumOverflows);
                EXPECT_EQ(output.loggedSumOverflows, logged);
            }
        }
    }
}

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
    for (const auto& row : rows) EXPECT_EQ(filterstudy::growthBits(row.terms), row.growth) << row.terms;
    EXPECT_EQ(costOf(Arithmetic{{12, 14}, {11, 12}, {}, {}}, 64), 132 + 23 + 29);
    EXPECT_EQ(costOf(Arithmetic{{12, 14}, {11, 12}, {Keep::Msb, {15, 0}}, {Keep::Specified, {16, 15}}}, 64),
              132 + 15 + 16);
}

}  // namespace
