// Other shapes of arrays, against models that say for each place of the result which element stands there.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

#include "tests/support/arrays.h"
#include "tests/support/blocks.h"
#include "tests/support/errors.h"
#include "tests/support/random_arrays_of_fi.h"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInfinity = std::numeric_limits<double>::infinity();

/// Where the elements of a result come from, column by column.
struct Plan {
    static constexpr long zero = -1;
    Sizes sizes;
    std::vector<long> from;
};

/// A matrix whose elements are told by row and column.
Plan matrixOf(long rows, long columns, const std::function<long(long row, long column)>& at) {
    Plan plan{{static_cast<std::uint64_t>(rows), static_cast<std::uint64_t>(columns)}, {}};
    for (long column = 0; column < columns; ++column) {
        for (long row = 0; row < rows; ++row) {
            plan.from.push_back(at(row, column));
        }
    }
    return plan;
}

Plan diagonalPlan(long rows, long columns, long k) {
    if (rows == 1 || columns == 1) {
        const long size = (rows * columns) + std::abs(k);
        return matrixOf(size, size,
                        [=](long row, long column) { return column - row == k ? std::min(row, column) : Plan::zero; });
    }
    std::vector<long> places;
    for (long row = 0; row < rows; ++row) {
        if (row + k >= 0 && row + k < columns) {
            places.push_back(row + (row + k) * rows);
        }
    }
    return {{places.size(), 1}, places};
}

::testing::AssertionResult follows(const fi& result, const KnownArray& known, const Plan& plan, Rounding rounding) {
    const int exponent = known.type.getFixedExponent();
    const Rational zero = quantized(Rational(storedSide(0.0, known.type)), known.type, rounding, false);
    const auto words = [&](const std::vector<Integer>& source) {
        std::vector<Integer> made;
        for (const long place : plan.from) {
            made.push_back(place == Plan::zero ? floorOf(scaled(zero, -exponent))
                                               : source[static_cast<std::size_t>(place)]);
        }
        return made;
    };
    if (sizesOf(result) != plan.sizes) {
        return ::testing::AssertionFailure() << "size " << ::testing::PrintToString(sizesOf(result)) << ", not "
                                             << ::testing::PrintToString(plan.sizes);
    }
    if (fieldsOf(result.getNumericType()) != fieldsOf(known.type) ||
        result.getFimathIsLocal() != known.array->getFimathIsLocal() || result.getTag() != known.array->getTag() ||
        !result.getFimath().isequal(known.array->getFimath()) || result.iscomplex() != known.array->iscomplex()) {
        return ::testing::AssertionFailure() << "other type, rules, tag or complexity";
    }
    return holdsWords(result, words(known.re), known.im.empty() ? std::vector<Integer>() : words(known.im), exponent);
}

TEST(FiShapes, MoveElementsToTheirPlaces) {
    Random random(63001);
    for (int round = 0; round < 900; ++round) {
        const NumericType type = randomFixedType(random, 200, true);
        const Rounding rounding = random.pick(kRoundings);
        const int longest = random.oneIn(30) ? 40 : 5;  // beyond a tile
        const long rows = random.between(0, longest);
        const long columns = random.between(0, longest);
        const bool isComplex = !type.isSlopeBiasScaled() && random.oneIn(2);
        // Elements of raised precision are multi-precision ones at any word length.
        const unsigned precision = random.oneIn(5) ? 70 : 0;
        KnownArray known =
            randomArray(random, type, {static_cast<std::uint64_t>(rows), static_cast<std::uint64_t>(columns)},
                        isComplex, rulesOf(rounding, false), random.oneIn(2), precision);
        known.array->setTag("t");
        const GlobalRules global(rulesOf(rounding, false));
        const long k = random.between(-7, 7);
        const double given = static_cast<double>(k) + (k == 0 ? 0.0 : std::copysign(random.oneIn(2) ? 0.5 : 0.0, k));
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " round " << round << " k " << given << ' '
                                        << rows << " by " << columns << ' ' << known.description());
        const auto place = [=](bool isThere, long row, long column) {
            return isThere ? row + column * rows : Plan::zero;
        };
        const fi& array = *known.array;
        const Plan transposed =
            matrixOf(columns, rows, [&](long row, long column) { return place(true, column, row); });
        ASSERT_TRUE(follows(*FiOwner(array.transpose()), known, transposed, rounding));
        if (!isComplex) {
            ASSERT_TRUE(follows(*FiOwner(array.ctranspose()), known, transposed, rounding));
        }
        if (rows * columns > 0 || (rows != 1 && columns != 1)) {
            const FiOwner diagonal(given == 0.0 ? array.diag() : array.diag(given));
            ASSERT_TRUE(follows(*diagonal, known, diagonalPlan(rows, columns, k), rounding));
        }
        const auto triangle = [&](auto keeps) {
            return matrixOf(rows, columns,
                            [&](long row, long column) { return place(keeps(row, column), row, column); });
        };
        const double distant[] = {given, given, given, -9.2e18, -1e18, 3.0, 1e18, 9.2e18};
        const double far = random.pick(distant);
        const FiOwner lower(far == 0.0 ? array.tril() : array.tril(far));
        const FiOwner upper(far == 0.0 ? array.triu() : array.triu(far));
        const auto number = static_cast<long>(far);
        ASSERT_TRUE(
            follows(*lower, known, triangle([=](long row, long column) { return column - row <= number; }), rounding));
        ASSERT_TRUE(
            follows(*upper, known, triangle([=](long row, long column) { return column - row >= number; }), rounding));
        if (rows * columns > 0 && rows * columns <= 30) {
            const long count = rows * columns;
            ASSERT_TRUE(follows(
                *FiOwner(array.hankel()), known,
                matrixOf(count, count,
                         [=](long row, long column) { return row + column < count ? row + column : Plan::zero; }),
                rounding));
        }
        ASSERT_TRUE(isUnchanged(known));
    }
}

TEST(FiShapes, ConjugateTransposesSaturateAndCountTheLowestImaginaryPart) {
    Random random(63002);
    for (int round = 0; round < 300; ++round) {
        const NumericType type = randomFixedType(random, 200, false);
        const bool wraps = random.oneIn(2);
        const KnownArray known = randomArray(random, type, {3, 2}, true, rulesOf(Rounding::floor, wraps));
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " round " << round << known.description());
        const int exponent = type.getFixedExponent();
        std::vector<Integer> re;
        std::vector<Integer> im;
        Counts wanted;
        for (const std::size_t from : {0u, 3u, 1u, 4u, 2u, 5u}) {
            re.push_back(known.re[from]);
            const Rational negated = scaled(Rational(-known.im[from]), exponent);
            const Rational stored = quantized(negated, type, Rounding::floor, wraps);
            im.push_back(floorOf(scaled(stored, -exponent)));
            wanted.overflows += stored != negated;
            wanted.operations += 1;
        }
        const bool logs = random.oneIn(2);
        fi::setLogging(logs);
        const FiOwner result(known.array->ctranspose());
        fi::setLogging(false);
        ASSERT_TRUE(holdsWords(*result, re, im, exponent));
        ASSERT_EQ(countsOf(*result), logs ? wanted : Counts{});
        ASSERT_EQ(countsOf(*known.array), Counts{});
    }
}

TEST(FiShapes, MoveStoredValuesThatNoQuantizerHasSeen) {
    const LoggingOn logging;
    fi array = column({0, 0, 0}, {0, 0, 0}, fixedType(true, 8, 0));
    for (const double stored : {0.25, 1000.0, -0.0}) {
        array.setIndex(stored == 0.25 ? 0 : stored == 1000.0 ? 1 : 2);
        array.setvalue(stored);
    }
    array.resetLogging();
    for (const FiOwner& moved : {FiOwner(array.transpose()), FiOwner(array.ctranspose())}) {
        EXPECT_EQ(realParts(*moved), (std::vector<double>{0.25, 1000.0, -0.0}));
        EXPECT_TRUE(std::signbit(moved->realdouble(2)));
    }
    const FiOwner corner(array.diag(-1));
    EXPECT_EQ(corner->realdouble(6), 1000.0);
    EXPECT_EQ(countsOf(*corner), Counts{});
    EXPECT_EQ(countsOf(array), Counts{});
}

// Complex zeros with slope and bias stand for real-world zero where the constructor made them.
TEST(FiShapes, LeaveRealWorldZerosBesideTheElements) {
    const ComplexSlopeBias allowed;
    const NumericType type = slopeBiasType(true, 8, 1.0, 0, 3.0);
    const fi complexOne = column({5}, {6}, type);
    const FiOwner square(complexOne.diag(1));
    EXPECT_EQ(realParts(*square), (std::vector<double>{-3, -3, 2, -3}));
    EXPECT_EQ(imaginaryParts(*square), (std::vector<double>{-3, -3, 3, -3}));
    // A real element that moves beside complex ones takes a stored zero with it.
    const fi realOne = column({5, 7}, type);
    const fi row = column({7, 6}, {0, 1}, type);
    HostCapture host;
    const FiOwner mixed(realOne.hankel(row));
    EXPECT_EQ(imaginaryParts(*mixed), (std::vector<double>{0, 0, 0, -2}));
}

TEST(FiShapes, HaveShapesOfTheirOwnWhenEmpty) {
    const auto sizesAfter = [](const Sizes& sizes, auto operation) {
        const fi empty(1.0, sizes.data(), sizes.size(), fixedType(true, 8, 0), rulesOf(), "", true,
                       Operation::Assignment);
        const FiOwner result(operation(empty));
        EXPECT_EQ(realParts(*result), std::vector<double>(result->numel(), 0.0));
        return sizesOf(*result);
    };
    const auto diag = [](double k) { return [k](const fi& array) { return array.diag(k); }; };
    EXPECT_EQ(sizesAfter({0, 3}, [](const fi& array) { return array.transpose(); }), (Sizes{3, 0}));
    EXPECT_EQ(sizesAfter({0, 3}, [](const fi& array) { return array.ctranspose(); }), (Sizes{3, 0}));
    EXPECT_EQ(sizesAfter({0, 3}, [](const fi& array) { return array.tril(kInfinity); }), (Sizes{0, 3}));
    EXPECT_EQ(sizesAfter({0, 3}, [](const fi& array) { return array.triu(-9.0); }), (Sizes{0, 3}));
    EXPECT_EQ(sizesAfter({1, 0}, diag(-3)), (Sizes{3, 3}));
    EXPECT_EQ(sizesAfter({0, 1}, diag(2)), (Sizes{2, 2}));
    EXPECT_EQ(sizesAfter({0, 1}, diag(0)), (Sizes{0, 0}));
    for (const double k : {2.0, -2.0, 1e19, kInfinity, -kInfinity, -0x1p63}) {
        EXPECT_EQ(sizesAfter({0, 0}, diag(k)), (Sizes{0, 1})) << k;
        EXPECT_EQ(sizesAfter({0, 3}, diag(k)), (Sizes{0, 1})) << k;
    }
    for (const double k : {3.0, -3.0, 9e18, -9e18, -0x1p63, 1e19, kInfinity, -kInfinity}) {
        const fi matrix = filled({2, 3}, 1.0, fixedType(true, 8, 0));
        EXPECT_EQ(sizesOf(*FiOwner(matrix.diag(k))), (Sizes{0, 1})) << k;
    }
}

TEST(FiShapes, ReshapingMovesNoElement) {
    Random random(63003);
    const KnownArray known = randomArray(random, fixedType(true, 70, 3), {2, 6}, true, rulesOf());
    const auto reshaped = [&](const std::vector<double>& sizes) {
        const hvArrayOwner given = doubles(1, sizes.size(), sizes);
        return FiOwner(known.array->reshape(given.get()));
    };
    for (const std::vector<double>& sizes : {std::vector<double>{12, 1}, {3, 4.5}, {2, 1, 3, 2}, {1, 1, 12}}) {
        const FiOwner result = reshaped(sizes);
        EXPECT_EQ(sizesOf(*result), Sizes(sizes.begin(), sizes.end()));
        EXPECT_TRUE(holdsWords(*result, known.re, known.im, -3));
    }
    EXPECT_EQ((Sizes{reshaped({3, 2, 2})->getM(), reshaped({3, 2, 2})->getN(), reshaped({3, 2, 2})->length()}),
              (Sizes{3, 4, 3}));
    // Nobody compares the numbers of elements here.
    const FiOwner less = reshaped({5, 1});
    EXPECT_TRUE(
        holdsWords(*less, {known.re.begin(), known.re.begin() + 5}, {known.im.begin(), known.im.begin() + 5}, -3));
    std::vector<Integer> longRe(known.re);
    std::vector<Integer> longIm(known.im);
    longRe.resize(14);
    longIm.resize(14);
    EXPECT_TRUE(holdsWords(*reshaped({7, 2}), longRe, longIm, -3));
    const FiOwner none = reshaped({0, 7, -0.5});
    EXPECT_EQ((Sizes{none->numel(), none->length(), none->ndims()}), (Sizes{0, 0, 3}));
    EXPECT_EQ(reshaped({})->numel(), 1u);
    EXPECT_TRUE(isUnchanged(known));
}

TEST(FiShapes, SqueezeDropsSingletons) {
    const struct {
        Sizes sizes;
        Sizes wanted;
    } rows[] = {{{1, 3}, {1, 3}},       {{1, 1}, {1, 1}},
                {{2, 1, 3}, {2, 3}},    {{1, 2, 3}, {2, 3}},
                {{2, 1, 1}, {2, 1}},    {{1, 2, 1}, {1, 2}},
                {{1, 1, 5}, {5, 1}},    {{1, 1, 1, 1}, {1, 1}},
                {{1, 0, 3}, {0, 3}},    {{2, 1, 3, 1, 4}, {2, 3, 4}},
                {{2, 3, 4}, {2, 3, 4}}, {{1, 1, 0}, {0, 1}}};
    for (const auto& row : rows) {
        const NumericType type = fixedType(true, 8, 0);
        std::vector<double> values(zeros(row.sizes, type).numel());
        std::iota(values.begin(), values.end(), 0.0);
        const fi array = arrayOf(row.sizes, values, type);
        const FiOwner result(array.squeeze());
        EXPECT_EQ(sizesOf(*result), row.wanted);
        EXPECT_EQ(realParts(*result), values);
        EXPECT_EQ(sizesOf(array), row.sizes);
    }
}

// Column and row together

/// A plan over two sources: elements of the row come after all those of the column.
struct TwoSources {
    const char* name;
    fi* (fi::*operation)(const fi&) const;
    std::function<long(long row, long column, long count)> at;
    /// The element of the column that should be the first of the row.
    std::function<long(long count)> shared;
    HostCapture::Warning conflict;
};

const TwoSources kTwoSources[] = {
    {"hankel",
     &fi::hankel,
     [](long row, long column, long count) {
         return row + column < count ? row + column : count + (row + column - count + 1);
     },
     [](long count) { return count - 1; },
     {"VELMAR:hankel:AntiDiagonalConflict",
      "Last element of input column does not match first element of input row. \n         Column wins anti-diagonal "
      "conflict."}},
    {"toeplitz",
     &fi::toeplitz,
     [](long row, long column, long count) { return row >= column ? row - column : count + (column - row); },
     [](long) { return 0L; },
     {"fixedpoint:fi:toeplitz:DiagonalConflict",
      "First element of input column does not match first element of input row. \n         Column wins diagonal "
      "conflict."}}};

TEST(FiDiagonalMatrices, HoldTheColumnAsItIsAndTheRowInItsType) {
    Random random(63004);
    for (int round = 0; round < 800; ++round) {
        const TwoSources& made = random.pick(kTwoSources);
        const NumericType type = randomFixedType(random, 200, false);
        const NumericType rowType = random.oneIn(3) ? type : randomFixedType(random, 200, false);
        const Rounding rounding = random.pick(kRoundings);
        const bool wraps = random.oneIn(2);
        const long count = random.between(1, 6);
        const long rowCount = random.between(1, 6);
        const KnownArray left = randomArray(random, type, {static_cast<std::uint64_t>(count), 1}, random.oneIn(2),
                                            rulesOf(rounding, wraps));
        const KnownArray right = randomArray(random, rowType, {1, static_cast<std::uint64_t>(rowCount)},
                                             random.oneIn(2), rulesOf(Rounding::floor, false));
        SCOPED_TRACE(testing::Message() << made.name << " seed " << random.seed() << " round " << round << '\n'
                                        << left.description() << '\n'
                                        << right.description());
        const int exponent = type.getFixedExponent();
        const auto valueOf = [](const KnownArray& known, bool isImaginary, long index) {
            const std::vector<Integer>& words = isImaginary ? known.im : known.re;
            return words.empty()
                       ? Rational(0)
                       : scaled(Rational(words[static_cast<std::size_t>(index)]), known.type.getFixedExponent());
        };
        const Plan plan = matrixOf(count, rowCount, [&](long row, long column) { return made.at(row, column, count); });
        const bool isComplex = !left.im.empty() || !right.im.empty();
        Counts counts;
        const auto words = [&](bool isImaginary) {
            std::vector<Integer> result;
            for (const long from : plan.from) {
                Rational value =
                    from < count ? valueOf(left, isImaginary, from) : valueOf(right, isImaginary, from - count);
                if (from >= count) {
                    const Rational stored = quantized(value, type, rounding, wraps);
                    const Integer word = rounded(scaled(value, -exponent), rounding);
                    counts.overflows += word != floorOf(scaled(stored, -exponent));
                    counts.underflows += word == 0 && value != 0;
                    counts.operations += 1;
                    value = stored;
                }
                result.push_back(floorOf(scaled(value, -exponent)));
            }
            return result;
        };
        const std::vector<Integer> re = words(false);
        const std::vector<Integer> im = isComplex ? words(true) : std::vector<Integer>();
        const long shared = made.shared(count);
        const bool conflicts = valueOf(left, false, shared) != valueOf(right, false, 0) ||
                               valueOf(left, true, shared) != valueOf(right, true, 0);

        for (const bool logs : {false, true}) {
            HostCapture host;
            fi::setLogging(logs);
            const FiOwner result((left.array.get()->*made.operation)(*right.array));
            fi::setLogging(false);
            ASSERT_EQ(sizesOf(*result), plan.sizes);
            ASSERT_TRUE(holdsWords(*result, re, im, exponent));
            ASSERT_EQ(fieldsOf(result->getNumericType()), fieldsOf(type));
            Counts seen = countsOf(*result);
            if (!left.im.empty() && right.im.empty()) {
                seen.operations = logs ? counts.operations : 0;  // long words alone look at the zeros beside real ones
            }
            ASSERT_EQ(seen, logs ? counts : Counts{});
            ASSERT_EQ(host.warnings, std::vector<HostCapture::Warning>(conflicts ? 1 : 0, made.conflict));
        }
        ASSERT_TRUE(isUnchanged(left));
        ASSERT_TRUE(isUnchanged(right));
    }
}

TEST(FiDiagonalMatrices, TakeOneArrayForBoth) {
    const NumericType type = fixedType(true, 8, 0);
    const fi both = column({1, 2, 3}, type);
    HostCapture host;
    EXPECT_EQ(realParts(*FiOwner(both.toeplitz(both))), (std::vector<double>{1, 2, 3, 2, 1, 2, 3, 2, 1}));
    EXPECT_TRUE(host.warnings.empty());
    EXPECT_EQ(realParts(*FiOwner(both.hankel(both))), (std::vector<double>{1, 2, 3, 2, 3, 2, 3, 2, 3}));
    EXPECT_EQ(host.warnings.size(), 1u);
    EXPECT_EQ(realParts(*FiOwner(both.toeplitz())), (std::vector<double>{1, 2, 3, 2, 1, 2, 3, 2, 1}));
    EXPECT_EQ(host.warnings.size(), 1u);
}

TEST(FiDiagonalMatrices, OfOneComplexArrayAreHermitianBesideTheFirstElement) {
    Random random(63005);
    int conflicts = 0;
    for (int round = 0; round < 300; ++round) {
        const NumericType type = randomFixedType(random, 200, false);
        const bool wraps = random.oneIn(2);
        const std::size_t count = static_cast<std::size_t>(random.between(1, 5));
        KnownArray known = randomArray(random, type, {count, 1}, true, rulesOf(Rounding::nearest, wraps));
        if (random.oneIn(3)) {
            const_cast<number&>(known.array->imag(0)).setvalue(0.0);
            known.im[0] = 0;
        }
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " round " << round << known.description());
        const int exponent = type.getFixedExponent();
        const auto conjugate = [&](const Integer& word) {
            return floorOf(
                scaled(quantized(scaled(Rational(-word), exponent), type, Rounding::nearest, wraps), -exponent));
        };
        std::vector<Integer> re;
        std::vector<Integer> im;
        for (std::size_t column = 0; column < count; ++column) {
            for (std::size_t row = 0; row < count; ++row) {
                const std::size_t distance = row > column ? row - column : column - row;
                re.push_back(known.re[distance]);
                im.push_back(row > column ? conjugate(known.im[distance]) : known.im[distance]);
            }
        }
        HostCapture host;
        const FiOwner result(known.array->toeplitz());
        ASSERT_TRUE(holdsWords(*result, re, im, exponent));
        // Nobody knows better than to compare the first element with its own conjugate.
        ASSERT_EQ(host.warnings.size(), conjugate(known.im[0]) != known.im[0] ? 1u : 0u);
        conflicts += static_cast<int>(host.warnings.size());
        ASSERT_TRUE(isUnchanged(known));
    }
    EXPECT_GT(conflicts, 100);
}

TEST(FiShapes, RaiseWhatTheyRefuse) {
    const NumericType type = fixedType(true, 8, 0);
    const fi solid = filled({1, 2, 3}, 1.0, type);
    const fi vector = column({1, 2}, type);
    const fi matrix = filled({2, 2}, 1.0, type);
    const fi none;
    const auto diag = [](const fi& array, double k) { return [&array, k] { FiOwner(array.diag(k)); }; };
    const Raised noInteger{"fixedpoint:fi:diag:kthDiagInputNotInteger",
                           "K-th diagonal input must be an integer scalar."};
    const Raised tooLarge{"fixedpoint:fi:diag:pmaxsize", "Maximum variable size allowed by the program is exceeded."};
    const Raised noTriangle{"fixedpoint:fi:tril:firstInputMustBe2D", "First input must be 2D."};
    const Raised badIndex = raisedBy([] { hvErrMsg(73); });
    const Raised noMemory =
        raisedBy([] { fi(~std::uint64_t{0}, 2, NumericType(), rulesOf(), false, "", true, Operation::Assignment, 0); });
    const auto emptyRaises = [](const std::string& name) {
        return Raised{"fixedpoint:fi:" + name + ":emptynotallowed",
                      "Function '" + name + "' is not defined for empty inputs."};
    };
    const auto reshape = [&](const hvArrayOwner& given) {
        return raisedBy([&] { FiOwner(vector.reshape(given.get())); });
    };
    const struct {
        Raised seen;
        Raised wanted;
    } rows[] = {
        {raisedBy([&] { FiOwner(solid.transpose()); }),
         {"fixedpoint:fi:transpose:NDArray", "Transpose on ND array is not defined."}},
        {raisedBy([&] { FiOwner(solid.ctranspose()); }),
         {"fixedpoint:fi:ctranspose:NDArray", "Transpose on ND array is not defined."}},
        {raisedBy(diag(solid, kNaN)), {"fixedpoint:fi:diag:firstInputMustBe2D", "First input must be 2D."}},
        {raisedBy(diag(vector, kNaN)), noInteger},
        {raisedBy(diag(matrix, kNaN)), noInteger},
        {raisedBy(diag(vector, kInfinity)), tooLarge},
        {raisedBy(diag(vector, -kInfinity)), tooLarge},
        {raisedBy(diag(vector, 0x1p63)), tooLarge},
        {raisedBy(diag(vector, -0x1.8p63)), tooLarge},
        {raisedBy(diag(vector, -0x1p63)), noMemory},
        {raisedBy(diag(vector, 1e10)), noMemory},
        {raisedBy([&] { FiOwner(solid.tril()); }), noTriangle},
        {raisedBy([&] { FiOwner(solid.triu()); }), noTriangle},
        {raisedBy([&] { FiOwner(matrix.tril(kNaN)); }), noInteger},
        {raisedBy([&] { FiOwner(matrix.triu(kNaN)); }), noInteger},
        {raisedBy([&] { FiOwner(matrix.tril(kInfinity)); }), badIndex},
        {raisedBy([&] { FiOwner(matrix.triu(-kInfinity)); }), badIndex},
        {raisedBy([&] { FiOwner(matrix.triu(0x1p63)); }), badIndex},
        {raisedBy([&] { FiOwner(none.hankel()); }), emptyRaises("hankel")},
        {raisedBy([&] { FiOwner(none.hankel(vector)); }), emptyRaises("hankel")},
        {raisedBy([&] { FiOwner(vector.hankel(none)); }), emptyRaises("hankel")},
        {raisedBy([&] { FiOwner(none.toeplitz()); }), emptyRaises("toeplitz")},
        {raisedBy([&] { FiOwner(none.toeplitz(vector)); }), emptyRaises("toeplitz")},
        {raisedBy([&] { FiOwner(vector.toeplitz(none)); }), emptyRaises("toeplitz")},
        {reshape(text("ab")),
         {"fixedpoint:fi:reshape:siz_not_double", "FI_RESHAPE expecting DOUBLE for the SIZ vector."}},
        {reshape(doubles(1, 2, {1, -1})), badIndex},
        {reshape(doubles(1, 2, {1, 0x1p64})), badIndex},
        {reshape(doubles(1, 2, {1, kNaN})), badIndex},
        {reshape(doubles(1, 2, {0x1p40, 0x1p40})), noMemory},
        {reshape(doubles(1, 2, {0x1p60, 1})), noMemory},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_EQ(rows[i].seen, rows[i].wanted) << "row " << i;
    }
    const ComplexSlopeBias allowed;
    const NumericType scaledType = slopeBiasType(true, 8, 1.5, 0, 1.0);
    EXPECT_EQ(raisedBy([&] { FiOwner(column({1}, {1}, scaledType).toeplitz()); }),
              (Raised{"fixedpoint:fi:complexslopebiasnotdefined",
                      "Function 'toeplitz(c)' is only supported for complex-value FI objects that have an integer "
                      "power of 2 slope, and a bias of 0."}));
    EXPECT_EQ(raisedBy([&] { FiOwner(column({1}, scaledType).toeplitz()); }), Raised{});
}

TEST(FiShapes, TakeAFixedNumberOfBlocks) {
    const auto blocksFor = [](std::uint64_t size) {
        const Sizes sizes{size, size};
        const fi matrix(1.0, 2.0, sizes.data(), 2, fixedType(true, 16, 3), rulesOf(), "", true, Operation::Assignment);
        const fi vector = filled({size, 1}, 1.0, fixedType(true, 16, 3));
        return std::vector<std::uint64_t>{
            blocksOf([&] { FiOwner(matrix.transpose()); }),   blocksOf([&] { FiOwner(matrix.ctranspose()); }),
            blocksOf([&] { FiOwner(matrix.tril()); }),        blocksOf([&] { FiOwner(matrix.diag()); }),
            blocksOf([&] { FiOwner(vector.diag()); }),        blocksOf([&] { FiOwner(vector.toeplitz(vector)); }),
            blocksOf([&] { FiOwner(vector.hankel(vector)); })};
    };
    EXPECT_EQ(blocksFor(300), blocksFor(3));
}

}  // namespace
