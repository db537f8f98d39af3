// The larger and the smaller of two arrays, extremes of columns, sorted copies: values, ties, logs, errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>
#include <sstream>

#include "tests/support/arrays_of_fi.h"
#include "tests/support/errors_of_fi.h"
#include "tests/support/exact_arrays.h"

namespace {

using Owner = std::unique_ptr<fi>;
using Mode = fimath::ArithmeticModeEnum;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

Owner extreme(bool isMax, const fi& a, const fi& b) {
    return Owner(isMax ? &a.max(b) : &a.min(b));
}

struct Columns {
    Owner values;
    std::vector<double> rows;
    Sizes sizes;  // of the rows
};
Columns extremesOfColumns(bool isMax, const fi& array) {
    fi* values = nullptr;
    hvArray* rows = nullptr;
    if (isMax) {
        array.unary_max(values, rows);
    } else {
        array.unary_min(values, rows);
    }
    const hvArrayOwner owner(rows);
    const auto elements = hvGetTypedData<double>(static_cast<const hvArray*>(rows));
    const auto dims = hvGetDims(rows);
    return {Owner(values), {elements.begin(), elements.end()}, {dims.begin(), dims.end()}};
}

fi ofSizes(const Sizes& sizes, const std::vector<double>& re, const NumericType& type) {
    return fi(re.data(), sizes.data(), sizes.size(), type, rulesOf(), "", true, Operation::Assignment);
}

/// Returns whether the values print alike, which distinguishes the signs of zeros and makes NaN equal NaN.
testing::AssertionResult areSame(const std::vector<double>& a, const std::vector<double>& b) {
    const std::string left = testing::PrintToString(a);
    const std::string right = testing::PrintToString(b);
    const auto same = [](double x, double y) { return sameBits(x, y) || (std::isnan(x) && std::isnan(y)); };
    return std::ranges::equal(a, b, same) ? testing::AssertionSuccess()
                                          : testing::AssertionFailure() << left << ", not " << right;
}

// The choice between two values, exactly: by value, or by the square of the magnitude. A tie keeps the holder.

struct Entry {
    Rational re;
    Rational im;
    bool operator==(const Entry&) const = default;
};
Rational square(const Entry& entry) {
    return entry.re * entry.re + entry.im * entry.im;
}
bool takesPlace(bool isMax, bool isComplex, const Entry& challenger, const Entry& holder) {
    const int sign = isComplex ? cmp(square(challenger), square(holder)) : cmp(challenger.re, holder.re);
    return isMax ? sign > 0 : sign < 0;
}
/// Magnitudes are rounded, so two that differ only in far lower digits have no certain order.
bool isTooClose(const Entry& a, const Entry& b) {
    const Rational difference = abs(square(a) - square(b));
    return difference != 0 && difference < scaled(square(a) + square(b), -40);
}
Entry entryAt(const fi& array, std::uint64_t i) {
    return {exactValue(array.real(i)), exactValue(array.imag(i))};
}

Part randomPart(Random& random, const NumericType& type, int count, bool isComplex) {
    const auto value = [&] { return random.oneIn(3) ? Rational(0) : randomValue(random, type); };
    Part part;
    for (int i = 0; i < count; ++i) {
        if (i > 0 && random.oneIn(3)) {
            part.re.push_back(part.re.back());
        } else {
            part.re.push_back(value());
        }
        if (isComplex) {
            part.im.push_back(value());
        }
    }
    return part;
}
Entry entryAt(const Part& part, std::size_t i) {
    const std::size_t place = part.re.size() == 1 ? 0 : i;
    return {part.re[place], part.im.empty() ? Rational(0) : part.im[place]};
}

TEST(MinMax, OfTwoArraysIsThatOfExactRationals) {
    Random random(5811);
    for (int round = 0; round < 2000; ++round) {
        const NumericType type = randomFixedType(random, 200, false);
        const int count = random.between(1, 5);
        const Part parts[] = {randomPart(random, type, random.oneIn(4) ? 1 : count, random.oneIn(3)),
                              randomPart(random, type, random.oneIn(4) ? 1 : count, random.oneIn(3))};
        const Owner a = arrayOf(parts[0], type, rulesOf());
        const Owner b = arrayOf(parts[1], type, rulesOf());
        const bool isMax = random.oneIn(2);
        const bool logs = random.oneIn(2);
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " round " << round << (isMax ? " max " : " min ")
                                        << type.tostring(""));
        fi::setLogging(logs);
        const Owner result = extreme(isMax, *a, *b);
        fi::setLogging(false);
        const bool isComplex = a->iscomplex() || b->iscomplex();
        const bool leftIsScalar = parts[0].re.size() == 1;
        const Part& holders = parts[leftIsScalar ? 1 : 0];
        const Part& challengers = parts[leftIsScalar ? 0 : 1];
        bool isResultComplex = !holders.im.empty();
        bool isCertain = true;
        std::uint64_t assigned = 0;
        ASSERT_EQ(result->numel(), holders.re.size());
        for (std::size_t i = 0; i < holders.re.size(); ++i) {
            const Entry holder = entryAt(holders, i);
            const Entry challenger = entryAt(challengers, i);
            if (isComplex && isTooClose(holder, challenger)) {
                isCertain = false;
                continue;
            }
            const bool isTaken = takesPlace(isMax, isComplex, challenger, holder);
            isResultComplex = isResultComplex || (isTaken && !challengers.im.empty());
            assigned += isTaken;
            ASSERT_EQ(entryAt(*result, i), isTaken ? challenger : holder) << "element " << i;
        }
        // A real array that keeps all its elements stays real.
        ASSERT_TRUE(!isCertain || result->iscomplex() == isResultComplex);
        ASSERT_GE(result->getNoperations(), logs ? assigned : 0);
        ASSERT_EQ(fieldsOf(result->getNumericType()), fieldsOf(type));
    }
}

TEST(MinMax, OfColumnsIsThatOfExactRationals) {
    Random random(5812);
    for (int round = 0; round < 1500; ++round) {
        const NumericType type = randomFixedType(random, 200, false);
        const int m = random.between(1, 6);
        const int n = random.between(1, 4);
        const bool isComplex = random.oneIn(3);
        const Part part = randomPart(random, type, m * n, isComplex);
        const Owner source = arrayOf(part, type, rulesOf());
        const std::uint64_t sizes[] = {static_cast<std::uint64_t>(m), static_cast<std::uint64_t>(n)};
        source->copyDimensions(sizes, 2);
        const bool isMax = random.oneIn(2);
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " round " << round << (isMax ? " max " : " min ")
                                        << m << " by " << n << " of " << type.tostring(""));
        fi::setLogging(random.oneIn(2));
        const Columns result = extremesOfColumns(isMax, *source);
        fi::setLogging(false);
        ASSERT_EQ(sizesOf(*result.values), (Sizes{1, sizes[1]}));
        ASSERT_EQ(result.sizes, (Sizes{1, sizes[1]}));
        for (std::size_t column = 0; column < sizes[1]; ++column) {
            std::size_t best = column * sizes[0];
            bool isCertain = true;
            for (std::size_t i = best; i < (column + 1) * sizes[0]; ++i) {
                isCertain = isCertain && !(isComplex && isTooClose(entryAt(part, i), entryAt(part, best)));
                best = takesPlace(isMax, isComplex, entryAt(part, i), entryAt(part, best)) ? i : best;
            }
            if (isCertain) {
                ASSERT_EQ(result.rows[column], static_cast<double>(best - column * sizes[0] + 1));
                ASSERT_EQ(entryAt(*result.values, column), entryAt(part, best));
            }
        }
    }
}

/// Zeros of both signs show which operand an element is from.
TEST(MinMax, KeepsTheArraysElementOrTheLeftOneInATieAndBesideNaN) {
    const NumericType type = plainType(TypeMode::Double);
    struct Row {
        const char* why;
        std::vector<double> a, b, max, min;
    };
    const Row rows[] = {
        {"scalar left", {0.0}, {-0.0, 1.0, -1.0}, {-0.0, 1.0, 0.0}, {-0.0, 0.0, -1.0}},
        {"scalar right", {-0.0, 1.0, -1.0}, {0.0}, {-0.0, 1.0, 0.0}, {-0.0, 0.0, -1.0}},
        {"two arrays", {-0.0, 0.0, 2.0}, {0.0, -0.0, 3.0}, {-0.0, 0.0, 3.0}, {-0.0, 0.0, 2.0}},
        {"two scalars keep the right one", {0.0}, {-0.0}, {-0.0}, {-0.0}},
        {"NaN left stays aside", {kNaN}, {1.0, 2.0}, {1.0, 2.0}, {1.0, 2.0}},
        {"NaN in the array stays", {1.0}, {kNaN, 0.0}, {kNaN, 1.0}, {kNaN, 0.0}},
        {"NaN right", {1.0, kNaN}, {kNaN, 1.0}, {1.0, kNaN}, {1.0, kNaN}},
    };
    for (const Row& row : rows) {
        for (const bool logs : {false, true}) {
            fi::setLogging(logs);
            const fi a = column(row.a, type);
            const fi b = column(row.b, type);
            const Owner max = extreme(true, a, b);
            const Owner min = extreme(false, a, b);
            fi::setLogging(false);
            EXPECT_TRUE(areSame(realParts(*max), row.max)) << row.why << logs;
            EXPECT_TRUE(areSame(realParts(*min), row.min)) << row.why << logs;
        }
    }
}

/// The left of two real arrays passes its log on; every other result starts with an empty one.
TEST(MinMax, StartsWithAnEmptyLogSaveForTwoRealArrays) {
    const LoggingOn logging;
    const NumericType type = fixedType(true, 8, 0);
    const fi a = column({1000.0, 2.0, 3.0}, type);
    const fi z = column({1000.0, 2.0, 3.0}, {1.0, 1.0, 1.0}, type);
    const fi b = column({5.0, 5.0, 5.0}, type);
    const fi one = scalar(5.0, type);
    const fi complexOne = column({5.0}, {0.0}, type);
    ASSERT_EQ(countsOf(a), (Counts{1, 0, 3}));
    struct Row {
        const char* why;
        const fi& left;
        const fi& right;
        Counts wanted;
    };
    const Row rows[] = {
        {"two real arrays: the log of the left one and two assignments", a, b, {1, 0, 5}},
        {"two real arrays", b, a, {0, 0, 4}},
        {"scalar left", one, a, {0, 0, 2}},
        {"scalar right", a, one, {0, 0, 2}},
        {"complex left: two parts for each assignment", z, b, {0, 0, 4}},
        {"complex right", a, z, {0, 0, 6}},
        {"complex scalar", complexOne, a, {0, 0, 4}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(countsOf(*extreme(true, row.left, row.right)), row.wanted) << row.why;
    }
    EXPECT_EQ(countsOf(a), (Counts{1, 0, 3}));
    // Extremes of columns log every intermediate extreme.
    const Columns columns = extremesOfColumns(true, b);
    EXPECT_EQ(countsOf(*columns.values), (Counts{0, 0, 1}));
    EXPECT_EQ(countsOf(*extremesOfColumns(true, column({1.0, 2.0, 3.0}, type)).values), (Counts{0, 0, 3}));
    EXPECT_EQ(columns.values->getQlogger().getOperationType(), Operation::Assignment);
}

TEST(MinMax, OfEmptiesIsACopyOfTheEmpty) {
    const NumericType type = fixedType(true, 8, 0);
    const Sizes none{0, 4};
    const fi empty(none.data(), 2, type, rulesOf(), false, "", true, Operation::Assignment, 0);
    for (const fi& other : {scalar(1.0, type), column({1.0}, {1.0}, type), fi(empty)}) {
        for (const bool isMax : {false, true}) {
            EXPECT_EQ(sizesOf(*extreme(isMax, empty, other)), none);
            EXPECT_EQ(sizesOf(*extreme(isMax, other, empty)), none);
        }
    }
    struct Row {
        Sizes source, wanted;
    };
    const Row rows[] = {{{0, 4}, {0, 4}}, {{4, 0}, {1, 0}}, {{0, 0}, {0, 0}}, {{3, 0, 2}, {1, 0, 2}}};
    for (const Row& row : rows) {
        for (const bool isComplex : {false, true}) {
            const fi source(row.source.data(), row.source.size(), type, rulesOf(), isComplex, "", true,
                            Operation::Assignment, 0);
            const Columns result = extremesOfColumns(true, source);
            EXPECT_EQ(sizesOf(*result.values), row.wanted);
            EXPECT_EQ(result.sizes, row.wanted);
            EXPECT_EQ(result.values->iscomplex(), isComplex);
        }
    }
}

TEST(MinMax, OfColumnsTakesTheFirstOfEqualsAndKeepsTypeTagAndRules) {
    struct Row {
        const char* why;
        Sizes sizes;
        std::vector<double> source, max, maxRows, min, minRows;
    };
    const Row rows[] = {
        {"a column", {3, 1}, {1, 3, 3}, {3}, {2}, {1}, {1}},
        {"a row has a column for each element", {1, 3}, {1, 3, 3}, {1, 3, 3}, {1, 1, 1}, {1, 3, 3}, {1, 1, 1}},
        {"pages", {2, 1, 2}, {4, 1, -2, 7}, {4, 7}, {1, 2}, {1, -2}, {2, 1}},
        {"NaN first stays", {3, 1}, {kNaN, 1, 2}, {kNaN}, {1}, {kNaN}, {1}},
        {"NaN later is passed over", {3, 1}, {1, kNaN, 2}, {2}, {3}, {1}, {1}},
        {"zeros are equal", {2, 1}, {-0.0, 0.0}, {-0.0}, {1}, {-0.0}, {1}},
    };
    for (const Row& row : rows) {
        const fi source = ofSizes(row.sizes, row.source, plainType(TypeMode::Double));
        for (const bool logs : {false, true}) {
            fi::setLogging(logs);
            const Columns max = extremesOfColumns(true, source);
            const Columns min = extremesOfColumns(false, source);
            fi::setLogging(false);
            EXPECT_TRUE(areSame(realParts(*max.values), row.max)) << row.why;
            EXPECT_TRUE(areSame(realParts(*min.values), row.min)) << row.why;
            EXPECT_EQ(max.rows, row.maxRows) << row.why;
            EXPECT_EQ(min.rows, row.minRows) << row.why;
        }
    }
    for (const bool isLocal : {false, true}) {
        fi source(column({1.5, 2.5}, slopeBiasType(false, 8, 1.5, -2, 1.0), rulesOf(Rounding::floor, true), isLocal));
        source.setTag("kept");
        const Columns max = extremesOfColumns(true, source);
        EXPECT_EQ(max.values->getTag(), "kept");
        EXPECT_EQ(max.values->getFimathIsLocal(), isLocal);
        EXPECT_EQ(max.values->getRoundMode(), source.getRoundMode());
        EXPECT_EQ(fieldsOf(max.values->getNumericType()), fieldsOf(source.getNumericType()));
        EXPECT_EQ(max.values->realdouble(0), source.realdouble(1));
    }
}

// Errors.

fimath rulesWith(Mode mode, int wordBits, int maxBits, int fractionBits, bool isProduct) {
    fimath rules = rulesOf();
    if (isProduct) {
        rules.setProductMode(mode);
        rules.setProductWordLength(wordBits);
        rules.setMaxProductWordLength(maxBits);
        rules.setProductFractionLength(fractionBits);
    } else {
        rules.setSumMode(mode);
        rules.setSumWordLength(wordBits);
        rules.setMaxSumWordLength(maxBits);
        rules.setSumFractionLength(fractionBits);
    }
    return rules;
}

TEST(MinMax, WantsEqualTypesAndRulesAsFarAsTheirModesUseThem) {
    const NumericType type = fixedType(true, 8, 0);
    const auto check = [](const fi& a, const fi& b, const std::string& problem, const std::string& why) {
        for (const bool isMax : {false, true}) {
            const std::string name = isMax ? "max" : "min";
            const Raised wanted = problem.empty() ? Raised{}
                                                  : Raised{"fixedpoint:fi:" + name + ":" + problem + "mismatch",
                                                           (problem == "fimath" ? "FIMATH" : "NUMERICTYPE") +
                                                               std::string(" of both operands must be equal.")};
            EXPECT_EQ(raisedBy([&] { extreme(isMax, a, b); }), wanted) << why;
            EXPECT_EQ(raisedBy([&] { extreme(isMax, b, a); }), wanted) << why;
        }
    };
    const fi a = scalar(1.0, type);
    for (const NumericType& other : {fixedType(true, 9, 0), fixedType(true, 8, 1), fixedType(false, 8, 0),
                                     slopeBiasType(true, 8, 1.0, 0, 1.0), plainType(TypeMode::Double)}) {
        check(a, scalar(1.0, other), "numerictype", other.tostring(""));
    }
    check(a, scalar(1.0, type, rulesOf(Rounding::floor, false)), "fimath", "rounding");
    check(a, scalar(1.0, type, rulesOf(Rounding::nearest, true)), "fimath", "overflow");
    fimath casting = rulesOf();
    casting.setCastBeforeSum(!casting.getCastBeforeSum());
    check(a, scalar(1.0, type, casting), "fimath", "casts");
    check(scalar(1.0, plainType(TypeMode::Boolean)), scalar(0.0, plainType(TypeMode::Boolean)), "", "booleans");
    for (const bool isProduct : {false, true}) {
        struct Row {
            Mode mode;
            bool usesWord, usesMax, usesFraction;
        };
        // Of a specified format only the binary point matters, not the word length.
        const Row rows[] = {{Mode::FullPrecision, false, false, false},
                            {Mode::KeepLSB, true, true, true},
                            {Mode::KeepMSB, true, true, true},
                            {Mode::SpecifyPrecision, false, false, true}};
        for (const Row& row : rows) {
            const auto make = [&](int wordBits, int maxBits, int fractionBits) {
                return scalar(1.0, type, rulesWith(row.mode, wordBits, maxBits, fractionBits, isProduct));
            };
            std::ostringstream why;
            why << (isProduct ? "product" : "sum") << " mode " << static_cast<int>(row.mode);
            const fi base = make(20, 100, 5);
            check(base, make(20, 100, 5), "", why.str());
            check(base, make(21, 100, 5), row.usesWord ? "fimath" : "", why.str() + " word");
            check(base, make(20, 101, 5), row.usesMax ? "fimath" : "", why.str() + " max");
            check(base, make(20, 100, 6), row.usesFraction ? "fimath" : "", why.str() + " fraction");
            if (row.mode != Mode::FullPrecision) {
                check(base, a, "fimath", why.str() + " mode");
            }
        }
    }
    // Rules are compared whether they are local or not.
    check(a, scalar(2.0, type, rulesOf(), false), "", "global");
    const GlobalRules global(rulesOf(Rounding::floor, true));
    check(a, scalar(2.0, type, rulesOf(), false), "fimath", "global");
}

TEST(MinMax, RefusesArraysOfOtherSizesAfterTypesAndRules) {
    const fi a = column({1.0, 2.0}, fixedType(true, 8, 0));
    const fi b = column({1.0, 2.0, 3.0}, {1.0, 2.0, 3.0}, fixedType(true, 8, 0));
    EXPECT_EQ(raisedBy([&] { extreme(true, a, b); }), kSizesDiffer);
    EXPECT_EQ(raisedBy([&] {
                  extreme(true, a, column({1.0, 2.0, 3.0}, fixedType(true, 9, 0)));
              }).id,
              "fixedpoint:fi:max:numerictypemismatch");
}

// Sorting.

TEST(MinMax, SortedCopiesHoldEveryColumnInOrderWithThePlacesItCameFrom) {
    Random random(5813);
    for (int round = 0; round < 400; ++round) {
        const NumericType type = randomFixedType(random, 120, true);
        const std::uint64_t stride = static_cast<std::uint64_t>(random.between(1, 3));
        const std::uint64_t length = static_cast<std::uint64_t>(random.between(1, random.oneIn(5) ? 100 : 9));
        const std::uint64_t blocks = static_cast<std::uint64_t>(random.between(1, 3));
        const std::size_t count = stride * length * blocks;
        const Part part = randomPart(random, type, static_cast<int>(count), false);
        const Owner source = arrayOf(part, type, rulesOf());
        const bool ascending = random.oneIn(2);
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " round " << round << " stride " << stride
                                        << " length " << length << (ascending ? " up" : " down"));
        std::vector<double> places(count);
        double* at = places.data();
        const Owner plain(&source->stridesort(ascending, stride, length));
        const Owner placed(&source->stridesort2(at, ascending, stride, length));
        ASSERT_EQ(fieldsOf(plain->getNumericType()), fieldsOf(type));
        for (std::uint64_t block = 0; block < blocks; ++block) {
            for (std::uint64_t offset = 0; offset < stride; ++offset) {
                const std::uint64_t first = block * stride * length + offset;
                std::vector<std::uint64_t> order(length);
                std::iota(order.begin(), order.end(), 0);
                std::ranges::stable_sort(order, [&](std::uint64_t i, std::uint64_t j) {
                    const int sign = cmp(part.re[first + i * stride], part.re[first + j * stride]);
                    return ascending ? sign < 0 : sign > 0;
                });
                for (std::uint64_t i = 0; i < length; ++i) {
                    const Rational& wanted = part.re[first + order[i] * stride];
                    ASSERT_EQ(exactValue(plain->real(first + i * stride)), wanted);
                    ASSERT_EQ(exactValue(placed->real(first + i * stride)), wanted);
                    ASSERT_EQ(places[first + i * stride], static_cast<double>(order[i] + 1));
                }
            }
        }
        ASSERT_EQ(exactValue(source->real(0)), part.re[0]);
    }
}

TEST(MinMax, SortingMovesRealPartsOnlyAndLeavesIncompleteBlocksAlone) {
    const NumericType type = fixedType(true, 8, 0);
    const fi z = column({3, 1, 2, 9, 8}, {1, 2, 3, 4, 5}, type);
    std::vector<double> places(5, -1.0);
    double* at = places.data();
    const Owner result(&z.stridesort2(at, true, 1, 3));
    EXPECT_EQ(realParts(*result), (std::vector<double>{1, 2, 3, 9, 8}));
    EXPECT_EQ(imaginaryParts(*result), (std::vector<double>{1, 2, 3, 4, 5}));
    EXPECT_EQ(places, (std::vector<double>{2, 3, 1, 4, 5}));
    // A stride or length that gives no complete block, or a product beyond 64 bits: nothing is sorted.
    constexpr std::uint64_t huge = std::numeric_limits<std::uint64_t>::max();
    for (const auto& [stride, length] : {std::pair<std::uint64_t, std::uint64_t>{0, 3}, {3, 0}, {huge, 2}, {1, 6}}) {
        EXPECT_EQ(realParts(*Owner(&z.stridesort(true, stride, length))), realParts(z));
    }
}

}  // namespace
