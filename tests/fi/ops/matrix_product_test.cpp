// Matrix products: types of the sums, values and counts against exact rationals, the fallback to `times`, errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "logging/filog.h"
#include "tests/support/errors.h"
#include "tests/support/product_oracle.h"

namespace {

FiOwner product(const fi& a, const fi& b) {
    return FiOwner(&a.mtimes(b));
}

fi matrix(std::uint64_t rows, const std::vector<double>& values, const NumericType& type, const fimath& rules) {
    const Sizes sizes{rows, values.size() / rows};
    return fi(values.data(), sizes.data(), 2, type, rules, "", true, Operation::Assignment);
}

// Types.

TEST(MatrixProductType, GrowsByTheBitsOfTheInnerDimension) {
    const NumericType s8 = fixedType(true, 8, 4);
    const fimath full = mathRules(kFull, kFull);
    struct Row {
        const char* why;
        std::uint64_t inner;
        bool isComplexA, isComplexB;
        fimath rules;
        NumericType wanted;
    };
    const Row rows[] = {
        {"one term stays a product", 1, false, true, mathRules(kFull, kKeepLSB, 32, 30, 9), fixedType(true, 16, 8)},
        {"no term stays a product", 0, false, false, mathRules(kFull, kKeepLSB, 32, 30, 9), fixedType(true, 16, 8)},
        {"two complex sides always sum", 0, true, true, full, fixedType(true, 16, 8)},
        {"two complex sides add a term", 1, true, true, full, fixedType(true, 17, 8)},
        {"two terms", 2, true, false, full, fixedType(true, 17, 8)},
        {"two terms and one", 2, true, true, full, fixedType(true, 18, 8)},
        {"three terms", 3, false, false, full, fixedType(true, 18, 8)},
        {"three terms and one", 3, true, true, full, fixedType(true, 18, 8)},
        {"four terms and one", 4, true, true, full, fixedType(true, 19, 8)},
        {"lowest bits", 3, false, false, mathRules(kFull, kKeepLSB, 32, 30, 9), fixedType(true, 9, 8)},
        {"highest bits", 3, false, false, mathRules(kFull, kKeepMSB, 32, 30, 9), fixedType(true, 9, -1)},
        {"as told", 3, false, false, mathRules(kFull, kSpecify, 32, 30, 9, 3), fixedType(true, 9, 3)},
    };
    for (const Row& row : rows) {
        const fi a = zeros({2, row.inner}, s8, row.rules, row.isComplexA);
        const fi b = zeros({row.inner, 4}, s8, row.rules, row.isComplexB);
        const FiOwner result = product(a, b);
        EXPECT_EQ(fieldsOf(result->getNumericType()), fieldsOf(row.wanted)) << row.why;
        EXPECT_EQ(sizesOf(*result), (Sizes{2, 4})) << row.why;
        EXPECT_EQ(result->iscomplex(), row.isComplexA || row.isComplexB) << row.why;
        EXPECT_EQ(realParts(*result), std::vector<double>(8, 0.0)) << row.why;
        EXPECT_EQ(result->getQlogger().getOperationType(), Operation::Assignment) << row.why;
    }
    EXPECT_FALSE(
        product(zeros({2, 2}, fixedType(false, 4, 0), full), zeros({2, 2}, fixedType(false, 4, 0), full))->isSigned());
    EXPECT_TRUE(
        product(zeros({2, 2}, plainType(TypeMode::Double), full), zeros({2, 2}, plainType(TypeMode::Double), full))
            ->isDouble());
}

// The rules' scaling of products decides whether a sum has slope and bias; their scaling of sums doesn't.
TEST(MatrixProductType, AsksTheScalingOfProducts) {
    const NumericType s8 = fixedType(true, 8, 4);
    const NumericType any = fixedType(true, 16, 8);
    fimath sums = mathRules(kSpecify, kSpecify, 16, 8, 16, 8);
    sums.setSumBias(3.0);
    const fi plain = zeros({2, 2}, s8, sums);
    EXPECT_EQ(fieldsOf(plain.getSumNumericTypeForMatrixMultiply(plain, any)), fieldsOf(fixedType(true, 16, 8)));
    sums.setProductBias(1.0);
    const fi sloped = zeros({2, 2}, s8, sums);
    EXPECT_EQ(fieldsOf(sloped.getSumNumericTypeForMatrixMultiply(sloped, any)),
              fieldsOf(slopeBiasType(true, 16, 1.0, -8, 3.0)));
    sums.setSumMode(kKeepLSB);
    const fi unspecified = zeros({2, 2}, s8, sums);
    EXPECT_EQ(raisedBy([&] { unspecified.getSumNumericTypeForMatrixMultiply(unspecified, any); }),
              (Raised{"fixedpoint:fi:mathmodeslopebiasnotdefined",
                      "Math is only supported for slope-bias FIs when the SumMode is SpecifyPrecision."}));
}

// Values.

TEST(MatrixProducts, AreThoseOfExactRationals) {
    Random random(5303);
    for (int round = 0; round < 1500; ++round) {
        const ProductCase given(random);
        const auto size = [&] { return static_cast<std::uint64_t>(random.between(random.oneIn(6) ? 0 : 1, 3)); };
        std::uint64_t rows = 0, inner = 0, columns = 0;
        do {
            rows = size();
            inner = size();
            columns = size();
        } while (rows * inner == 1 || inner * columns == 1);
        const KnownArray a = randomArray(random, given.types[0], {rows, inner}, given.isComplex[0], given.rules);
        const KnownArray b = randomArray(random, given.types[1], {inner, columns}, given.isComplex[1], given.rules);
        const bool logs = random.oneIn(2);
        fi::setLogging(logs);
        const std::uint64_t index = b.array->numel() == 0 ? 0 : random.word() % b.array->numel();
        b.array->setIndex(index);
        const FiOwner result = product(*a.array, *b.array);
        fi::setLogging(false);
        ASSERT_EQ(b.array->getIndex(), index);
        SCOPED_TRACE(testing::Message() << "round " << round << ' ' << given.description() << ' ' << rows << " by "
                                        << inner << " by " << columns);

        const NumericType sumType(result->getNumericType());
        ProductOracle multiply = given.oracle(NumericType(a.array->getproductQlogger().getNumericType()), sumType);
        const bool isSwapped = !given.isComplex[0] && given.isComplex[1];
        // The result of swapped operands is its own register, with cells for the exact product.
        const int resultBits = given.types[0].getWordLength() + given.types[1].getWordLength();
        const int sumBits = isSwapped ? std::max(resultBits, sumType.getWordLength()) : sumType.getWordLength();
        SumOracle add{given.stage(sumType), given.rules.getCastBeforeSum(), !isSwapped, cellBits(sumBits)};
        std::vector<Element> wanted;
        for (std::size_t column = 0; column < columns; ++column) {
            for (std::size_t row = 0; row < rows; ++row) {
                Element sum{};
                for (std::size_t k = 0; k < inner; ++k) {
                    sum = add(sum,
                              multiply(elementOf(a, k * rows + row), given.isComplex[0],
                                       elementOf(b, column * inner + k), given.isComplex[1]),
                              given.isAnyComplex());
                }
                wanted.push_back(sum);
            }
        }
        ASSERT_TRUE(holds(*result, wanted)) << a.description() << "\n" << b.description();
        ASSERT_EQ(sizesOf(*result), (Sizes{rows, columns}));
        ASSERT_TRUE(isUnchanged(a) && isUnchanged(b));
        if (!logs) {
            ASSERT_EQ(countsOf(a.array->getproductQlogger()), Counts{});
            ASSERT_EQ(countsOf(*result), Counts{});
            continue;
        }
        // All overflows of sums are added to the sum log in the left operand's product register.
        Counts sums = multiply.sum.counts;
        sums.overflows += add.stage.counts.overflows;
        ASSERT_EQ(countsOf(a.array->getproductQlogger()), multiply.product.counts);
        ASSERT_EQ(countsOf(a.array->getproductregsumQlogger()), sums);
        ASSERT_EQ(countsOf(isSwapped ? result->getQlogger() : result->getsumQlogger()), add.stage.counts);
        ASSERT_FALSE(b.array->isProductRegisterInitialized());
        if (!isSwapped) {
            ASSERT_EQ(result->getMaxLogAsRealWorldValue(), result->getsumQlogger().getMaxLogAsRealWorldValue());
            ASSERT_EQ(result->getMinLogAsRealWorldValue(), result->getsumQlogger().getMinLogAsRealWorldValue());
        }
    }
}

TEST(MatrixProducts, WithOneElementAreProductsByElement) {
    const fimath rules = mathRules(kFull, kKeepLSB, 32, 30, 9);
    const fi cube = zeros({2, 1, 2}, fixedType(true, 8, 0), rules);
    const fi one = scalar(2.0, fixedType(true, 8, 0), rules);
    for (const FiOwner& result : {product(cube, one), product(one, cube)}) {
        EXPECT_EQ(sizesOf(*result), (Sizes{2, 1, 2}));
        EXPECT_EQ(result->getQlogger().getOperationType(), Operation::Product);
        EXPECT_EQ(fieldsOf(result->getNumericType()), fieldsOf(fixedType(true, 16, 0)));
    }
}

// Views of the right operand and of its registers are made and destroyed, but none of their logs reaches the log map:
// only the owner writes a log.
TEST(MatrixProducts, WriteNoLogOfAnOperandThatLives) {
    const LoggingOn logging;
    const fimath rules = mathRules(kSpecify, kFull, 8, 0);
    const fi a = matrix(2, {1, 2, 3, 4}, fixedType(true, 8, 0), rules);
    const std::vector<double> large{200, 1};
    const Sizes sizes{2, 1};
    const fi b(large.data(), large.data(), sizes.data(), 2, fixedType(true, 8, 0), rules, "b", true,
               Operation::Assignment);
    EXPECT_EQ(b.getNoverflows(), 2U);
    embedded::setFeatureFiTagLogging(true);
    qlogger::setLogType(embedded::LogTypeEnum::WriteLogMap);
    const FiOwner results[] = {product(a, b), FiOwner(&a.convF(b)), FiOwner(&b.convF(a))};
    const auto written =
        std::ranges::count_if(filog::getLogMap(), [](const auto& entry) { return entry.first.starts_with("b|"); });
    qlogger::setLogType({});
    embedded::setFeatureFiTagLogging(false);
    filog::clearglobalfilogs();
    EXPECT_EQ(written, 0);
    EXPECT_EQ(b.getNoverflows(), 2U);
    EXPECT_EQ(results[0]->numel(), 2U);
}

// Slope and bias.

TEST(MatrixProducts, OfSlopesAndBiasesAreTheRealWorldOnesWhereExact) {
    fimath rules = mathRules(kSpecify, kSpecify, 24, 8, 24, 8);
    rules.setProductSlopeAdjustmentFactor(1.25);
    rules.setSumSlopeAdjustmentFactor(1.25);
    rules.setSumBias(-40.0);
    const NumericType type = slopeBiasType(true, 16, 1.25, -4, 10.0);
    const fi a = matrix(2, {10, 15, 5, 20}, type, rules);
    const fi b = matrix(2, {10, 5}, type, rules);
    const FiOwner result = product(a, b);
    EXPECT_EQ(fieldsOf(result->getNumericType()), fieldsOf(slopeBiasType(true, 24, 1.25, -8, -40.0)));
    EXPECT_EQ(result->addSlopeAdjustmentFactorBias(result->realdouble(0)), 125.0);
    EXPECT_EQ(result->addSlopeAdjustmentFactorBias(result->realdouble(1)), 250.0);
}

}  // namespace
