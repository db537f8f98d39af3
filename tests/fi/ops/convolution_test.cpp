// Convolutions and sums along the first dimension against exact rationals; shapes, the rules in force, errors.
#include <gtest/gtest.h>

#include <memory>

#include "tests/support/errors.h"
#include "tests/support/product_oracle.h"

namespace {

enum class Form { full, central, valid };
constexpr Form kForms[] = {Form::full, Form::central, Form::valid};

FiOwner convolution(const fi& a, const fi& b, Form form) {
    return FiOwner(form == Form::full ? &a.convF(b) : form == Form::central ? &a.convS(b) : &a.convV(b));
}

fi vectorOf(const std::vector<double>& values, bool isRow) {
    const Sizes sizes{isRow ? 1 : values.size(), isRow ? values.size() : 1};
    return fi(values.data(), sizes.data(), 2, fixedType(true, 8, 0), rulesOf(), "", true, Operation::Assignment);
}

TEST(Convolutions, HaveTheShapesOfTheThreeForms) {
    struct Row {
        const char* why;
        fi a, b;
        Form form;
        Sizes sizes;
        std::vector<double> wanted;
    };
    const fi three = vectorOf({1, 2, 3}, true);
    const fi four = vectorOf({1, 10, 20, 30}, false);
    const fi five = vectorOf({1, 2, 3, 4, 5}, true);
    const fi one = vectorOf({7}, true);
    const fi none = zeros({0, 1}, fixedType(true, 8, 0), rulesOf());
    const Row rows[] = {
        {"the longer one's shape", three, four, Form::full, {6, 1}, {1, 12, 43, 100, 120, 90}},
        {"the longer one's shape", four, three, Form::full, {6, 1}, {1, 12, 43, 100, 120, 90}},
        {"ours when it is longer", five, four, Form::full, {1, 8}, {1, 12, 43, 104, 165, 220, 220, 150}},
        {"the right one's at a tie", three, vectorOf({1, 0, 0}, false), Form::full, {5, 1}, {1, 2, 3, 0, 0}},
        {"two before the middle", three, four, Form::central, {1, 3}, {43, 100, 120}},
        {"one before the middle", four, three, Form::central, {4, 1}, {12, 43, 100, 120}},
        {"no padding", five, three, Form::valid, {1, 3}, {10, 16, 22}},
        {"as many as there are", four, vectorOf({1, 1, 1, 1}, true), Form::valid, {1, 1}, {61}},
        {"too long", three, five, Form::valid, {1, 0}, {}},
        {"one element", four, one, Form::valid, {4, 1}, {7, 70, 140, 210}},
        {"one element", four, one, Form::central, {4, 1}, {7, 70, 140, 210}},
        {"one element", one, four, Form::central, {1, 1}, {140}},
        {"an empty side sums nothing", three, none, Form::full, {1, 2}, {0, 0}},
        {"an empty side sums nothing", none, three, Form::full, {1, 2}, {0, 0}},
        {"an empty side sums nothing", three, none, Form::central, {1, 3}, {0, 0, 0}},
        {"an empty side sums nothing", three, none, Form::valid, {1, 0}, {}},
        {"an empty side", none, three, Form::central, {0, 1}, {}},
        {"two empty sides", none, none, Form::full, {0, 1}, {}},
    };
    for (const Row& row : rows) {
        const FiOwner result = convolution(row.a, row.b, row.form);
        EXPECT_EQ(sizesOf(*result), row.sizes) << row.why;
        EXPECT_EQ(realParts(*result), row.wanted) << row.why;
        EXPECT_EQ(result->getQlogger().getOperationType(), Operation::Assignment) << row.why;
    }
    const FiOwner part(&four.ficonv(three, 2, 3, true));
    EXPECT_EQ(sizesOf(*part), (Sizes{1, 2}));
    EXPECT_EQ(realParts(*part), (std::vector<double>{100, 120}));
}

TEST(Convolutions, HaveTheTypesOfMatrixProductsOverTheShorterSide) {
    const NumericType s8 = fixedType(true, 8, 4);
    const fimath full = mathRules(kFull, kFull);
    const auto type = [&](std::uint64_t na, std::uint64_t nb, bool isComplex, const fimath& rules) {
        const FiOwner result =
            convolution(zeros({na, 1}, s8, rules, isComplex), zeros({nb, 1}, s8, rules, isComplex), Form::full);
        return fieldsOf(result->getNumericType());
    };
    EXPECT_EQ(type(3, 9, false, full), fieldsOf(fixedType(true, 18, 8)));
    EXPECT_EQ(type(9, 2, false, full), fieldsOf(fixedType(true, 17, 8)));
    EXPECT_EQ(type(9, 2, true, full), fieldsOf(fixedType(true, 18, 8)));
    EXPECT_EQ(type(9, 1, false, full), fieldsOf(fixedType(true, 16, 8)));
    EXPECT_EQ(type(0, 1, false, full), fieldsOf(fixedType(true, 16, 8)));
    // Unlike in a matrix product, one term counts as a sum.
    EXPECT_EQ(type(9, 1, false, mathRules(kFull, kKeepLSB, 32, 30, 9)), fieldsOf(fixedType(true, 9, 8)));
    EXPECT_EQ(type(9, 3, false, mathRules(kFull, kKeepMSB, 32, 30, 9)), fieldsOf(fixedType(true, 9, -1)));
}

// Products follow the rules of the left operand; the result has no local rules, so its sums follow the global ones.
TEST(Convolutions, AreThoseOfExactRationals) {
    Random random(5701);
    for (int round = 0; round < 1500; ++round) {
        const ProductCase given(random);
        const std::size_t na = static_cast<std::size_t>(random.between(1, 5));
        const std::size_t nb = static_cast<std::size_t>(random.between(1, 5));
        const KnownArray a = randomArray(random, given.types[0], {na, 1}, given.isComplex[0], given.rules);
        const KnownArray b = randomArray(random, given.types[1], {1, nb}, given.isComplex[1], given.rules);
        const Form form = random.pick(kForms);
        ProductCase summing = given;
        if (random.oneIn(2)) {
            summing.rounding = Rounding::nearest;
            summing.wraps = false;
            summing.rules = rulesOf();
        }
        const GlobalRules global(summing.rules);
        const bool logs = random.oneIn(2);
        fi::setLogging(logs);
        const FiOwner result = convolution(*a.array, *b.array, form);
        fi::setLogging(false);
        SCOPED_TRACE(testing::Message() << "round " << round << ' ' << given.description() << ' ' << na << " and " << nb
                                        << " form " << static_cast<int>(form) << ", globally "
                                        << summing.rules.toString());

        const NumericType sumType(result->getNumericType());
        ProductOracle multiply = given.oracle(NumericType(a.array->getproductQlogger().getNumericType()), sumType);
        SumOracle add{summing.stage(sumType), summing.rules.getCastBeforeSum(), false,
                      cellBits(sumType.getWordLength())};
        const std::size_t begin = form == Form::full ? 0 : form == Form::central ? nb / 2 : nb - 1;
        const std::size_t count = form == Form::full      ? na + nb - 1
                                  : form == Form::central ? na
                                  : na < nb               ? 0
                                                          : na + 1 - nb;
        std::vector<Element> wanted;
        std::uint64_t overflows = 0;
        for (std::size_t k = begin; k < begin + count; ++k) {
            Element sum{};
            for (std::size_t j = 0; j < na; ++j) {
                if (j <= k && k - j < nb) {
                    sum =
                        add(sum, multiply(elementOf(a, j), given.isComplex[0], elementOf(b, k - j), given.isComplex[1]),
                            given.isAnyComplex());
                }
            }
            wanted.push_back(sum);
            overflows += add.stage.counts.overflows;
        }
        ASSERT_TRUE(holds(*result, wanted)) << a.description() << "\n" << b.description();
        ASSERT_FALSE(result->getFimathIsLocal());
        ASSERT_TRUE(isUnchanged(a) && isUnchanged(b));
        if (!logs) {
            ASSERT_EQ(countsOf(result->getsumQlogger()), Counts{});
            continue;
        }
        ASSERT_EQ(countsOf(result->getsumQlogger()), add.stage.counts);
        ASSERT_EQ(countsOf(a.array->getproductQlogger()), multiply.product.counts);
        ASSERT_FALSE(b.array->isProductRegisterInitialized());
        // The running count is added after each element; for swapped operands it is the count of the result, which
        // stores the sums unchanged.
        Counts sums = multiply.sum.counts;
        if (given.isComplex[0] || !given.isComplex[1]) {
            sums.overflows += overflows;
        }
        ASSERT_EQ(countsOf(a.array->getproductregsumQlogger()), sums);
    }
}

// Sums of columns.

FiOwner columnSums(const fi& a) {
    return FiOwner(&a.leadingdimension_sum());
}

TEST(ColumnSums, GrowByTheBitsOfTheFirstDimension) {
    struct Row {
        std::uint64_t rows;
        fimath rules;
        NumericType wanted;
    };
    const Row rows[] = {
        {1, mathRules(kFull, kFull), fixedType(false, 8, 4)},
        {2, mathRules(kFull, kFull), fixedType(false, 9, 4)},
        {5, mathRules(kFull, kFull), fixedType(false, 11, 4)},
        {5, mathRules(kFull, kKeepLSB, 32, 30, 9), fixedType(false, 9, 4)},
        {5, mathRules(kFull, kKeepMSB, 32, 30, 9), fixedType(false, 9, 2)},
        {5, mathRules(kFull, kSpecify, 32, 30, 9, 1), fixedType(false, 9, 1)},
    };
    for (const Row& row : rows) {
        const fi a = zeros({row.rows, 3, 2}, fixedType(false, 8, 4), row.rules);
        // A signed operand of an earlier operation leaves nothing in the cell of the type.
        a.getNumericTypeForAddOp(scalar(0.0, fixedType(true, 8, 4), row.rules));
        const FiOwner result = columnSums(a);
        EXPECT_EQ(fieldsOf(result->getNumericType()), fieldsOf(row.wanted));
        EXPECT_EQ(sizesOf(*result), (Sizes{1, 3, 2}));
        EXPECT_TRUE(result->getFimathIsLocal());
    }
    EXPECT_TRUE(columnSums(zeros({3, 3}, plainType(TypeMode::Single), rulesOf()))->isSingle());
}

TEST(ColumnSums, OfNothingAreZerosOfTheOwnType) {
    const NumericType types[] = {fixedType(true, 8, 4), slopeBiasType(true, 8, 1.5, 0, 0.0),
                                 plainType(TypeMode::Boolean)};
    for (const NumericType& type : types) {
        const fi probe = zeros({0, 0}, type, rulesOf());
        struct Row {
            Sizes sizes, wanted;
        };
        const Row rows[] = {{{0, 0}, {1, 1}}, {{1, 0}, {1, 1}},       {{2, 0}, {1, 0}},
                            {{0, 3}, {1, 3}}, {{0, 0, 2}, {1, 1, 2}}, {{2, 3, 0}, {1, 3, 0}}};
        for (const Row& row : rows) {
            const FiOwner result = columnSums(zeros(row.sizes, type, rulesOf()));
            EXPECT_EQ(sizesOf(*result), row.wanted);
            EXPECT_EQ(fieldsOf(result->getNumericType()), fieldsOf(type));
            EXPECT_EQ(realParts(*result), std::vector<double>(result->numel(), 0.0));
        }
    }
}

TEST(ColumnSums, AreThoseOfExactRationals) {
    Random random(5702);
    for (int round = 0; round < 800; ++round) {
        const ProductCase given(random);
        const std::size_t rows = static_cast<std::size_t>(random.between(1, 5));
        const std::size_t columns = static_cast<std::size_t>(random.between(1, 3));
        const KnownArray a = randomArray(random, given.types[0], {rows, columns}, given.isComplex[0], given.rules);
        const bool logs = random.oneIn(2);
        fi::setLogging(logs);
        const FiOwner result = columnSums(*a.array);
        fi::setLogging(false);
        const NumericType type(result->getNumericType());
        SumOracle add{given.stage(type), given.rules.getCastBeforeSum(), false, cellBits(type.getWordLength())};
        std::vector<Element> wanted;
        for (std::size_t column = 0; column < columns; ++column) {
            Element sum{};
            for (std::size_t row = 0; row < rows; ++row) {
                sum = add(sum, elementOf(a, column * rows + row), given.isComplex[0]);
            }
            wanted.push_back(sum);
        }
        ASSERT_TRUE(holds(*result, wanted)) << "round " << round << ' ' << given.description() << a.description();
        ASSERT_EQ(countsOf(*result), logs ? add.stage.counts : Counts{}) << "round " << round << given.description();
        ASSERT_EQ(result->getNmathoperations(), logs ? rows * columns : 0U);
        ASSERT_TRUE(isUnchanged(a));
    }
}

}  // namespace
