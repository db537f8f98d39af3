// Types of products and the register of one.
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tests/support/arrays_of_fi.h"
#include "tests/support/errors.h"

namespace {

using ProductMode = fimath::ArithmeticModeEnum;

fimath productRules(ProductMode mode, int wordBits = 32, int fractionBits = 30, int maxBits = 128) {
    fimath rules = rulesOf();
    rules.setProductMode(mode);
    rules.setProductWordLength(wordBits);
    rules.setProductFractionLength(fractionBits);
    rules.setMaxProductWordLength(maxBits);
    return rules;
}

fimath withSlope(fimath rules, double factor, double bias) {
    rules.setProductSlopeAdjustmentFactor(factor);
    rules.setProductBias(bias);
    return rules;
}

TEST(ProductType, FollowsOperandsAndMode) {
    struct Row {
        const char* why;
        NumericType a, b;
        fimath rules;
        NumericType wanted;
    };
    const NumericType q15 = fixedType(true, 16, 15);
    const NumericType u8 = fixedType(false, 8, -3);
    const NumericType slope = slopeBiasType(true, 16, 1.5, -8, 2.0);
    const Row rows[] = {
        {"all bits", q15, q15, productRules(ProductMode::FullPrecision), fixedType(true, 32, 30)},
        {"a sign on one side", q15, u8, productRules(ProductMode::FullPrecision), fixedType(true, 24, 12)},
        {"no sign", u8, u8, productRules(ProductMode::FullPrecision), fixedType(false, 16, -6)},
        {"just the maximum", q15, q15, productRules(ProductMode::FullPrecision, 1, 0, 32), fixedType(true, 32, 30)},
        {"lowest bits", q15, u8, productRules(ProductMode::KeepLSB, 9), fixedType(true, 9, 12)},
        {"highest bits", q15, q15, productRules(ProductMode::KeepMSB, 16), fixedType(true, 16, 14)},
        {"more than all bits", q15, u8, productRules(ProductMode::KeepMSB, 40), fixedType(true, 40, 28)},
        {"as told", q15, u8, productRules(ProductMode::SpecifyPrecision, 9, 3), fixedType(true, 9, 3)},
        {"as told", u8, u8, productRules(ProductMode::SpecifyPrecision, 9, -3), fixedType(false, 9, -3)},
        {"slope and bias of an operand alone", q15, slope, productRules(ProductMode::SpecifyPrecision, 20, 8),
         fixedType(true, 20, 8)},
        {"slope and bias of the rules", q15, q15,
         withSlope(productRules(ProductMode::SpecifyPrecision, 20, 8), 1.25, -3.0),
         slopeBiasType(true, 20, 1.25, -8, -3.0)},
        {"a scaled double on one side", q15, NumericType(TypeMode::ScaledDoubleBinaryPoint, false, 8, 1.0, -4, 0.0),
         productRules(ProductMode::FullPrecision),
         NumericType(TypeMode::ScaledDoubleBinaryPoint, true, 24, 1.0, -19, 0.0)},
        {"no word of floats", plainType(TypeMode::Double), plainType(TypeMode::Double),
         productRules(ProductMode::KeepLSB, 9), plainType(TypeMode::Double)},
    };
    for (const Row& row : rows) {
        const fi a = scalar(0.0, row.a, row.rules);
        const fi b = scalar(0.0, row.b, row.rules);
        NumericType& type = a.getProductTypeForMpyOp(b);
        EXPECT_EQ(fieldsOf(type), fieldsOf(row.wanted)) << row.why;
        EXPECT_EQ(fieldsOf(b.getProductTypeForMpyOp(a)), fieldsOf(row.wanted)) << row.why;
        EXPECT_EQ(&a.getProductTypeForMpyOp(b), &type) << row.why;
    }
}

TEST(ProductType, TakesTheRulesOfTheLeftOperandIfLocal) {
    const GlobalRules global(productRules(ProductMode::KeepLSB, 20));
    const NumericType type = fixedType(true, 16, 4);
    const fi local = scalar(0.0, type, productRules(ProductMode::KeepLSB, 12));
    const fi follower = scalar(0.0, type, rulesOf(), false);
    EXPECT_EQ(local.getProductTypeForMpyOp(follower).getWordLength(), 12);
    EXPECT_EQ(follower.getProductTypeForMpyOp(local).getWordLength(), 12);
    EXPECT_EQ(follower.getProductTypeForMpyOp(follower).getWordLength(), 20);
}

TEST(ProductType, EndsExponentsAtTheBoundsOfInt) {
    constexpr int kHighest = std::numeric_limits<int>::max();
    const fimath rules = productRules(ProductMode::KeepLSB, 20);
    const fi fine = scalar(0.0, fixedType(true, 16, kHighest), rules);
    EXPECT_EQ(fine.getProductTypeForMpyOp(fine).getFixedExponent(), std::numeric_limits<int>::min());
    const fi coarse = scalar(0.0, fixedType(true, 16, -kHighest), rules);
    EXPECT_EQ(coarse.getProductTypeForMpyOp(coarse).getFixedExponent(), kHighest);
    EXPECT_EQ(coarse.getProductTypeForMpyOp(fine).getFixedExponent(), 0);
}

TEST(ProductRegister, IsMadeAnewWithASumRegisterInIt) {
    const fi a(1.0, fixedType(true, 16, 8), rulesOf(), 0, "name", true, Operation::Assignment);
    EXPECT_FALSE(a.isProductRegisterInitialized());
    a.initializeProductRegister(fixedType(true, 33, 16), fixedType(true, 32, 16), rulesOf(Rounding::fix, true), 32);
    ASSERT_TRUE(a.isProductRegisterInitialized());
    EXPECT_EQ(fieldsOf(a.getproductQlogger().getNumericType()), fieldsOf(fixedType(true, 32, 16)));
    EXPECT_EQ(fieldsOf(a.getproductregsumQlogger().getNumericType()), fieldsOf(fixedType(true, 33, 16)));
    EXPECT_EQ(a.getproductQlogger().getOperationType(), Operation::Product);
    EXPECT_EQ(a.getproductregsumQlogger().getOperationType(), Operation::Sum);
    EXPECT_EQ(a.getproductQlogger().getTag(), std::string("name"));
    EXPECT_EQ(a.getproductQlogger().getNoperations(), 0u);
    // The types may be those of the register that goes.
    a.initializeProductRegister(a.getproductQlogger().getNumericType(), a.getproductregsumQlogger().getNumericType(),
                                rulesOf(), 0);
    EXPECT_EQ(fieldsOf(a.getproductQlogger().getNumericType()), fieldsOf(fixedType(true, 33, 16)));
    EXPECT_EQ(fieldsOf(a.getproductregsumQlogger().getNumericType()), fieldsOf(fixedType(true, 32, 16)));
    // A type that can't be raises and leaves the register.
    EXPECT_NE(raisedBy([&] {
                  a.initializeProductRegister(
                      NumericType(), NumericType(TypeMode::FixedUnspecified, true, 16, 1.0, 0, 0.0), rulesOf(), 0);
              }).id,
              "");
    EXPECT_EQ(a.getproductQlogger().getNumericType().getWordLength(), 33);
}

}  // namespace
