// What sums, products and their kin refuse, which refusal comes first, and that it leaves the operands alone.
#include <gtest/gtest.h>

#include <span>

#include "tests/support/errors_of_fi.h"
#include "tests/support/product_oracle.h"

namespace {

struct Operator {
    const char* name;
    fi* (*call)(const fi&, const fi&);
};
constexpr Operator kOperators[] = {
    {"plus", [](const fi& a, const fi& b) { return &a.plus(b); }},
    {"minus", [](const fi& a, const fi& b) { return &a.minus(b); }},
    {"times", [](const fi& a, const fi& b) { return &a.times(b); }},
    {"mtimes", [](const fi& a, const fi& b) { return &a.mtimes(b); }},
    {"convF", [](const fi& a, const fi& b) { return &a.convF(b); }},
    {"convS", [](const fi& a, const fi& b) { return &a.convS(b); }},
    {"convV", [](const fi& a, const fi& b) { return &a.convV(b); }},
    {"sum", [](const fi& a, const fi&) { return &a.leadingdimension_sum(); }},
};
using Operators = std::span<const Operator>;
const Operators kAll(kOperators, 7);
const Operators kSums(kOperators, 2);
const Operators kTimes(kOperators + 2, 1);
const Operators kMatrix(kOperators + 3, 1);
const Operators kConvolutions(kOperators + 4, 3);
const Operators kColumnSums(kOperators + 7, 1);

template <class Change>
fimath with(fimath rules, Change change) {
    change(rules);
    return rules;
}

TEST(Refusals, ComeInTheirOrderAndChangeNothing) {
    const ComplexSlopeBias feature;
    const fimath full = mathRules(kFull, kFull);
    const fimath told = mathRules(kSpecify, kSpecify);
    const fimath lowest = mathRules(kKeepLSB, kKeepLSB);
    const fimath uncast = with(told, [](fimath& r) { r.setCastBeforeSum(false); });
    const fimath biasedSums = with(full, [](fimath& r) { r.setSumBias(1.0); });
    const fimath toldBiasedSums = with(told, [](fimath& r) { r.setSumBias(1.0); });
    const fimath highestSteepSums =
        with(mathRules(kFull, kKeepMSB), [](fimath& r) { r.setSumSlopeAdjustmentFactor(1.5); });
    const fimath highestSteepProducts =
        with(mathRules(kKeepMSB, kFull), [](fimath& r) { r.setProductSlopeAdjustmentFactor(1.5); });
    const fimath shortSums = with(full, [](fimath& r) { r.setMaxSumWordLength(16); });
    const fimath shortProducts = with(full, [](fimath& r) { r.setMaxProductWordLength(31); });
    const NumericType s8 = fixedType(true, 8, 4);
    const NumericType s16 = fixedType(true, 16, 15);
    const NumericType slope = slopeBiasType(true, 16, 1.5, -8, 2.0);
    const NumericType boolean = plainType(TypeMode::Boolean);
    const auto scalarOf = [](const NumericType& type, const fimath& rules, bool isComplex = false) {
        return isComplex ? column({0.5}, {0.5}, type, rules) : scalar(0.5, type, rules);
    };
    const auto matrixOf = [](std::uint64_t rows, std::uint64_t columns, const NumericType& type, const fimath& rules,
                             bool isComplex = false) {
        return zeros({rows, columns}, type, rules, isComplex);
    };
    const auto notCast = [](const std::string& name) {
        return fiError("castbeforesumfalseslopebiasnotdefined",
                       "Function '" + name +
                           "' is not defined for FI objects with slope and bias scaling when CastBeforeSum is false.");
    };
    const Raised notTwo = fiError("mtimes:inputsMustBe2D", "Input arguments must be 2-D.");
    const Raised inner = fiError("innerdim", "Inner matrix dimensions must agree.");
    const struct {
        Operators operators;
        fi a, b;
        Raised wanted;  // with @ for the name of the operator
    } rows[] = {
        {kAll, scalarOf(boolean, full), scalarOf(s16, full), kNoBooleanMath},
        {kAll, scalarOf(s16, full), scalarOf(boolean, full), kNoBooleanMath},
        {kAll, scalarOf(plainType(TypeMode::Double), full), scalarOf(plainType(TypeMode::Single), full), kMixedMath},
        {kAll, scalarOf(s16, full), scalarOf(s16, told), kRulesDiffer},
        {kSums, scalarOf(slope, full), scalarOf(slope, full), modeNotDefined("SumMode")},
        {kSums, scalarOf(s16, lowest), scalarOf(slope, lowest), modeNotDefined("SumMode")},
        {kSums, scalarOf(s16, highestSteepSums), scalarOf(s16, mathRules(kFull, kKeepMSB)), modeNotDefined("SumMode")},
        {kSums, scalarOf(s16, shortSums), scalarOf(s16, shortSums), tooFewBits("Sum", 16, 17)},
        {kSums, scalarOf(fixedType(true, 15, 15), shortSums), scalarOf(fixedType(true, 15, 15), shortSums), Raised{}},
        {kSums, scalarOf(s16, told, true), scalarOf(slope, told), complexNotDefined("@")},
        {kSums, scalarOf(slope, uncast), scalarOf(slope, uncast), notCast("@")},
        {kSums, column({0.5, 0.25}, s16), column({0.5, 0.25, 0.125}, s16), kSizesDiffer},

        {kTimes, scalarOf(slope, full), scalarOf(s16, full), modeNotDefined("ProductMode")},
        {kTimes, scalarOf(s16, lowest), scalarOf(slope, lowest), modeNotDefined("ProductMode")},
        {kTimes, scalarOf(s16, highestSteepProducts), scalarOf(s16, highestSteepProducts),
         modeNotDefined("ProductMode")},
        {kTimes, scalarOf(slope, shortProducts), scalarOf(slope, shortProducts), modeNotDefined("ProductMode")},
        {kTimes, scalarOf(s16, shortProducts), scalarOf(s16, shortProducts), tooFewBits("Product", 31, 32)},
        {kTimes, column({0.5, 0.25}, s16), column({0.5, 0.25, 0.125}, s16), kSizesDiffer},
        {kTimes, column({0.5, 0.25}, s16), column({0.5, 0.25, 0.125}, {1, 2, 3}, s16), kSizesDiffer},
        {kTimes, scalarOf(s16, told, true), scalarOf(slope, told), complexNotDefined("@")},
        {kTimes, scalarOf(slope, told), scalarOf(s16, told, true), complexNotDefined("@")},
        // Slope and bias of the sums alone, which no part of this product is.
        {kTimes, scalarOf(s16, toldBiasedSums, true), scalarOf(s16, toldBiasedSums), complexNotDefined("@")},

        {kMatrix, matrixOf(2, 3, s8, full), matrixOf(2, 3, s8, full), inner},
        {kMatrix, matrixOf(2, 3, s8, full), matrixOf(0, 0, s8, full), inner},
        {kMatrix, matrixOf(2, 3, s8, full), zeros({2, 3, 2}, s8, full), notTwo},
        {kMatrix, zeros({2, 3, 2}, s8, full), matrixOf(2, 3, s8, full), notTwo},
        {kMatrix, matrixOf(2, 3, slope, full), zeros({2, 3, 2}, s8, full), modeNotDefined("ProductMode")},
        {kMatrix, matrixOf(2, 3, s8, biasedSums), matrixOf(2, 3, s8, biasedSums), modeNotDefined("ProductMode")},
        {kMatrix, matrixOf(2, 2, s8, told, true), matrixOf(2, 2, slope, told), complexNotDefined("@")},
        {kMatrix, matrixOf(2, 2, slope, told), scalarOf(slope, uncast), kRulesDiffer},
        {kMatrix, matrixOf(2, 2, slope, uncast), matrixOf(2, 2, slope, uncast), notCast("@")},
        // One element needs no sum, and so no cast.
        {kMatrix, matrixOf(2, 2, slope, uncast), scalar(1.5, slope, uncast), Raised{}},
        {kMatrix, matrixOf(2, 3, s8, shortSums), matrixOf(3, 2, s8, shortSums), tooFewBits("Sum", 16, 18)},
        {kMatrix, matrixOf(2, 2, s8, full), matrixOf(2, 2, boolean, full), kNoBooleanMath},

        {kConvolutions, matrixOf(2, 1, s8, shortSums), matrixOf(2, 1, s8, shortSums), tooFewBits("Sum", 16, 17)},
        {kConvolutions, matrixOf(2, 1, slope, full), matrixOf(2, 1, slope, full), modeNotDefined("ProductMode")},
        {kColumnSums, matrixOf(2, 2, boolean, full), fi(), kNoBooleanMath},
        {kColumnSums, matrixOf(2, 2, slope, told), fi(), kBinaryPointMath},
        {kColumnSums, matrixOf(3, 2, fixedType(true, 15, 0), shortSums), fi(), tooFewBits("Sum", 16, 17)},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        for (const Operator& called : rows[i].operators) {
            SCOPED_TRACE(testing::Message() << "row " << i << ' ' << called.name);
            const fi& a = rows[i].a;
            const fi& b = rows[i].b;
            Raised named = rows[i].wanted;
            if (const auto at = named.message.find('@'); at != std::string::npos) {
                named.message.replace(at, 1, called.name);
            }
            const Snapshot before[] = {snapshotOf(a), snapshotOf(b)};
            EXPECT_EQ(raisedBy([&] { FiOwner(called.call(a, b)); }), named);
            EXPECT_EQ(snapshotOf(a), before[0]);
            EXPECT_EQ(snapshotOf(b), before[1]);
        }
    }
}

// Slope and bias of the products alone pass the check, and their register refuses complex values.
TEST(Refusals, OfComplexProductsWithABiasComeFromTheirRegister) {
    const fimath rules = with(mathRules(kSpecify, kFull), [](fimath& r) { r.setProductBias(1.0); });
    const fi a = column({0.5}, {0.5}, fixedType(true, 16, 15), rules);
    EXPECT_EQ(raisedBy([&] { FiOwner(&a.times(a)); }), kNoComplexSlopeBias);
}

}  // namespace
