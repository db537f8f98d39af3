// Products element by element: values and counts against exact rationals, registers, the logs that count, errors.
#include <gtest/gtest.h>

#include <memory>

#include "tests/support/errors_of_fi.h"
#include "tests/support/product_oracle.h"

namespace {

FiOwner product(const fi& a, const fi& b) {
    return FiOwner(&a.times(b));
}

// Types.

TEST(ComplexProductType, AddsOneBitToTheProducts) {
    const NumericType q30 = fixedType(true, 32, 30);
    struct Row {
        fimath rules;
        NumericType wanted;
    };
    const Row rows[] = {
        {mathRules(kFull, kFull), fixedType(true, 33, 30)},
        {mathRules(kFull, kKeepLSB, 32, 30, 20), fixedType(true, 20, 30)},
        {mathRules(kFull, kKeepMSB, 32, 30, 20), fixedType(true, 20, 17)},
        {mathRules(kFull, kKeepMSB, 32, 30, 40), fixedType(true, 40, 37)},
        {mathRules(kFull, kSpecify, 32, 30, 20, 5), fixedType(true, 20, 5)},
    };
    for (const Row& row : rows) {
        const fi a = column({1.0}, {1.0}, fixedType(true, 16, 15), row.rules);
        EXPECT_EQ(fieldsOf(a.getSumTypeForMpyOp(a, q30)), fieldsOf(row.wanted)) << row.rules.toString();
        EXPECT_FALSE(a.getSumTypeForMpyOp(a, fixedType(false, 8, 0)).isSigned());
    }
    // Slope and bias of specified sums are ignored.
    fimath sloped = mathRules(kFull, kSpecify, 32, 30, 20, 5);
    sloped.setSumSlopeAdjustmentFactor(1.5);
    sloped.setSumBias(2.0);
    const fi a = scalar(0.0, fixedType(true, 16, 15), sloped);
    EXPECT_EQ(fieldsOf(a.getSumTypeForMpyOp(a, q30)), fieldsOf(fixedType(true, 20, 5)));

    fimath few = mathRules(kFull, kFull);
    few.setMaxSumWordLength(32);
    const fi narrow = column({1.0}, {1.0}, fixedType(true, 16, 15), few);
    EXPECT_EQ(raisedBy([&] { narrow.getSumTypeForMpyOp(narrow, q30); }), tooFewBits("Sum", 32, 33));
    EXPECT_EQ(raisedBy([&] { product(narrow, narrow); }), tooFewBits("Sum", 32, 33));
}

// Values.

TEST(Products, AreThoseOfExactRationals) {
    Random random(5301);
    for (int round = 0; round < 3000; ++round) {
        const ProductCase given(random);
        const Sizes shape{static_cast<std::uint64_t>(random.between(0, 3)), 2};
        const auto sizes = [&] { return random.oneIn(4) ? Sizes{1, 1} : shape; };
        const KnownArray a = randomArray(random, given.types[0], sizes(), given.isComplex[0], given.rules);
        const KnownArray b = randomArray(random, given.types[1], sizes(), given.isComplex[1], given.rules);
        const bool logs = random.oneIn(2);
        fi::setLogging(logs);
        const FiOwner result = product(*a.array, *b.array);
        fi::setLogging(false);
        SCOPED_TRACE(testing::Message() << "round " << round << ' ' << given.description());

        const NumericType productType(a.array->getproductQlogger().getNumericType());
        const NumericType sumType(a.array->getproductregsumQlogger().getNumericType());
        ProductOracle oracle = given.oracle(productType, sumType);
        std::vector<Element> wanted;
        const bool leftIsScalar = a.array->numel() == 1;
        const FiOwner& shaped = leftIsScalar ? b.array : a.array;
        for (std::size_t i = 0; i < shaped->numel(); ++i) {
            wanted.push_back(oracle(elementOf(a, leftIsScalar ? 0 : i), given.isComplex[0],
                                    elementOf(b, b.array->numel() == 1 ? 0 : i), given.isComplex[1]));
        }
        ASSERT_TRUE(holds(*result, wanted)) << a.description() << "\n" << b.description();
        ASSERT_EQ(sizesOf(*result), sizesOf(*shaped));
        ASSERT_EQ(result->iscomplex(), given.isAnyComplex());
        ASSERT_EQ(fieldsOf(result->getNumericType()), fieldsOf(given.areBothComplex() ? sumType : productType));
        ASSERT_EQ(result->getQlogger().getOperationType(), Operation::Product);
        ASSERT_TRUE(isUnchanged(a) && isUnchanged(b));
        // Whichever operand does the work, the counts are in the logs of the left one.
        ASSERT_EQ(countsOf(a.array->getproductQlogger()), logs ? oracle.product.counts : Counts{});
        ASSERT_EQ(countsOf(a.array->getproductregsumQlogger()), logs ? oracle.sum.counts : Counts{});
        ASSERT_EQ(a.array->getproductQlogger().getNMathoperations(),
                  logs && !given.areBothComplex() ? wanted.size() : 0U);
        if (b.array->isProductRegisterInitialized()) {
            ASSERT_EQ(countsOf(b.array->getproductQlogger()), Counts{});
            ASSERT_EQ(countsOf(b.array->getproductregsumQlogger()), Counts{});
            ASSERT_EQ(b.array->getproductQlogger().getNMathoperations(), 0U);
        }
    }
}

TEST(Products, OfFloatsAndScaledDoublesAreThoseOfDoubles) {
    struct Row {
        TypeMode mode;
        double a, b, wanted;
    };
    // A double type has words of 64 bits, and cells that hold more bits than doubles.
    const Row rows[] = {
        {TypeMode::Double, 0.1, 0.5, 0.05},
        {TypeMode::Single, 0.1, 0.3, static_cast<double>(0.1F * 0.3F)},
        {TypeMode::ScaledDoubleBinaryPoint, 0.1, 0.3, 0.1 * 0.3},
    };
    for (const Row& row : rows) {
        const NumericType type(row.mode, true, 16, 1.0, -15, 0.0);
        const FiOwner result = product(scalar(row.a, type), column({row.b, -row.b}, type));
        EXPECT_EQ(result->getDataTypeMode(), row.mode);
        EXPECT_EQ(realParts(*result), (std::vector<double>{row.wanted, -row.wanted}));
    }
    const NumericType scaledDouble(TypeMode::ScaledDoubleBinaryPoint, true, 16, 1.0, -15, 0.0);
    const FiOwner mixed = product(scalar(0.5, fixedType(true, 16, 15)), scalar(0.3, scaledDouble));
    EXPECT_EQ(mixed->getDataTypeMode(), TypeMode::ScaledDoubleBinaryPoint);
    EXPECT_EQ(mixed->realdouble(0), 0.5 * 0.3);
    const FiOwner complexDoubles =
        product(column({0.1}, {0.5}, plainType(TypeMode::Double)), column({0.5}, {2.0}, plainType(TypeMode::Double)));
    EXPECT_EQ(realParts(*complexDoubles), std::vector<double>{0.05 - 1.0});
    EXPECT_EQ(imaginaryParts(*complexDoubles), std::vector<double>{0.25 + 0.2});
}

TEST(Products, KeepTagAndRulesOfTheOperands) {
    const GlobalRules global(mathRules(kKeepLSB, kFull, 10));
    const fimath own = mathRules(kKeepLSB, kFull, 11);
    for (int locals = 0; locals < 4; ++locals) {
        const NumericType type = fixedType(true, 8, 0);
        const fi a(3.0, type, own, 0, "left", (locals & 1) != 0, Operation::Assignment);
        const fi b(2.0, type, own, 0, "right", (locals & 2) != 0, Operation::Assignment);
        const FiOwner result = product(a, b);
        EXPECT_EQ(result->getWordLength(), locals == 0 ? 10 : 11);
        EXPECT_EQ(result->getFimathIsLocal(), locals != 0);
        EXPECT_EQ(result->getTag(), "left");
        EXPECT_EQ(result->realdouble(0), 6.0);
    }
}

// The register belongs to the left operand and rounds by its rules, even if the right operand's determine the type.
TEST(Products, RoundByTheGlobalRulesWhereTheLeftOperandFollowsThem) {
    fimath rules = mathRules(kSpecify, kFull, 8, 0);
    rules.setRoundMode(embedded::RoundModeEnum::Ceil);
    const GlobalRules global(rulesOf(Rounding::floor, false));
    const NumericType type = fixedType(true, 8, 2);
    const fi follower = scalar(0.5, type, rules, false);
    const fi local = scalar(0.5, type, rules);
    EXPECT_EQ(product(follower, local)->realdouble(0), 0.0);
    EXPECT_EQ(product(local, follower)->realdouble(0), 1.0);
}

// Elements.

TEST(ProductElements, StandInTheRegistersOfTheLastProduct) {
    const NumericType type = fixedType(true, 8, 4);
    const fi a = column({1.5, 2.5}, type);
    const fi b = column({0.5, -1.0}, type);
    a.setIndex(1);
    b.setIndex(1);
    // Without a register, one with the product fields of the rules is made.
    fi& made = a * b;
    EXPECT_EQ(fieldsOf(made.getNumericType()), fieldsOf(fixedType(true, 32, 30)));
    EXPECT_EQ(made.realdouble(), -2.0);
    product(a, b);
    a.setIndex(0);
    b.setIndex(0);
    fi& again = a * b;
    EXPECT_EQ(fieldsOf(again.getNumericType()), fieldsOf(fixedType(true, 16, 8)));
    EXPECT_EQ(again.realdouble(), 0.75);
    a.initializeProductRegister(mathRules(kSpecify, kSpecify, 12, 3, 13, 4), 0);
    EXPECT_EQ(fieldsOf(a.getproductQlogger().getNumericType()), fieldsOf(fixedType(true, 12, 3)));
    EXPECT_EQ(fieldsOf(a.getproductregsumQlogger().getNumericType()), fieldsOf(fixedType(true, 13, 4)));
    EXPECT_EQ((a * b).realdouble(), 0.75);
    // Two complex elements leave their result in the sum register, in the sum type.
    const fi z = column({1.0}, {2.0}, type);
    EXPECT_EQ(fieldsOf((z * z).getNumericType()), fieldsOf(fixedType(true, 32, 30)));
    product(z, z);
    fi& square = z * z;
    EXPECT_EQ(fieldsOf(square.getNumericType()), fieldsOf(fixedType(true, 17, 8)));
    EXPECT_EQ(square.realdouble(), -3.0);
    EXPECT_EQ(square.imagdouble(), 4.0);
    fimath sloped = mathRules(kSpecify, kSpecify, 12, 3, 13, 4);
    sloped.setProductBias(1.0);
    sloped.setSumSlopeAdjustmentFactor(1.5);
    a.initializeProductRegister(sloped, 0);
    EXPECT_EQ(fieldsOf(a.getproductQlogger().getNumericType()), fieldsOf(slopeBiasType(true, 12, 1.0, -3, 1.0)));
    EXPECT_EQ(fieldsOf(a.getproductregsumQlogger().getNumericType()), fieldsOf(slopeBiasType(true, 13, 1.5, -4, 0.0)));
}

// A real left element rounds by its own quantizers, in a register of the complex right element. For another type a new
// register is made, by the rules; for the same type it is kept.
TEST(ProductElements, OfARealAndAComplexElementUseTheRightRegister) {
    const LoggingOn logging;
    const NumericType type = fixedType(true, 8, 4);
    const fi real = scalar(1.3125, type);
    const fi complex = column({0.5}, {-3.0}, type);
    real.initializeProductRegister(fixedType(true, 16, 2), fixedType(true, 8, 1), real.getFimath(), 16);
    fi& first = real * complex;
    EXPECT_EQ(first.realdouble(), 0.5);
    EXPECT_EQ(first.imagdouble(), -4.0);
    EXPECT_EQ(fieldsOf(first.getNumericType()), fieldsOf(fixedType(true, 32, 30)));
    EXPECT_EQ(countsOf(real.getproductQlogger()), (Counts{0, 0, 2}));
    EXPECT_EQ(real.getproductQlogger().getNMathoperations(), 1U);
    EXPECT_EQ(countsOf(complex.getproductQlogger()), Counts{});
    complex.initializeProductRegister(fixedType(true, 16, 2), fixedType(true, 8, 1), real.getFimath(), 16);
    fi& second = real * complex;
    EXPECT_EQ(fieldsOf(second.getNumericType()), fieldsOf(fixedType(true, 8, 1)));
    EXPECT_EQ(second.imagdouble(), -4.0);
    EXPECT_EQ(&(real * complex), &second);
}

TEST(ProductElements, InPlaceUseTheTypeOfTheLeftSide) {
    fi a = column({1.5, 3.0}, fixedType(true, 6, 1));
    a.setIndex(1);
    a *= scalar(1.75, fixedType(true, 16, 8));
    EXPECT_EQ(realParts(a), (std::vector<double>{1.5, 5.5}));
    a.setIndex(0);
    a *= a;
    EXPECT_EQ(a.realdouble(0), 2.5);
    // A real left side becomes complex; its imaginary part is its real part times the other's imaginary part.
    a.setIndex(0);
    a *= column({2.0}, {-1.0}, fixedType(true, 6, 1));
    EXPECT_EQ(realParts(a), (std::vector<double>{5.0, 5.5}));
    EXPECT_EQ(imaginaryParts(a), (std::vector<double>{-2.5, 0.0}));
    a.setIndex(1);
    a *= scalar(-2.0, fixedType(true, 6, 1));
    EXPECT_EQ(a.realdouble(1), -11.0);
    const LoggingOn logging;
    fi z = column({1.0}, {2.0}, fixedType(true, 8, 0), mathRules(kFull, kFull, 32, 30, 32, 8));
    const std::uint64_t before = z.getNoperations();
    z *= z;
    EXPECT_EQ(realParts(z), std::vector<double>{-3.0});
    EXPECT_EQ(imaginaryParts(z), std::vector<double>{4.0});
    EXPECT_EQ(z.getNoperations() - before, 4U);
    EXPECT_EQ(z.getsumQlogger().getNoperations(), 6U);
    EXPECT_EQ(z.getNmathoperations(), 1U);
}

// Slope and bias.

fimath slopeRules(double factor, double bias) {
    fimath rules = mathRules(kSpecify, kFull, 20, 8);
    rules.setProductSlopeAdjustmentFactor(factor);
    rules.setProductBias(bias);
    return rules;
}

double realWorld(const fi& array) {
    return array.addSlopeAdjustmentFactorBias(array.realdouble(0));
}

TEST(SlopeBiasProducts, GiveTheRealWorldProductWhereItIsExact) {
    struct Row {
        const char* why;
        NumericType a, b;
        fimath rules;
        double x, y;
    };
    const NumericType q8 = fixedType(true, 16, 8);
    const NumericType sloped = slopeBiasType(true, 16, 1.5, -4, 0.0);
    const NumericType biased = slopeBiasType(true, 16, 1.25, -4, 10.0);
    const Row rows[] = {
        {"no correction", sloped, q8, slopeRules(1.5, 0.0), 3.0, 2.0},
        {"one factor", sloped, sloped, slopeRules(1.0, 0.0), 3.0, -6.0},
        {"a factor of the rules alone", q8, q8, slopeRules(1.25, 0.0), 2.5, 3.0},
        {"a bias on one side", biased, q8, slopeRules(1.0, 0.0), 15.0, 2.0},
        {"a bias on both sides", biased, biased, slopeRules(1.0, 0.0), 15.0, 5.0},
        {"a bias of the result alone", sloped, sloped, slopeRules(1.5, 3.0), 3.0, 3.0},
        {"a bias of the result and no slope", q8, q8, slopeRules(1.0, -5.0), 2.5, 3.0},
    };
    for (const Row& row : rows) {
        const fi a = scalar(row.x, row.a, row.rules);
        const fi b = scalar(row.y, row.b, row.rules);
        ASSERT_EQ(realWorld(a), row.x) << row.why;
        ASSERT_EQ(realWorld(b), row.y) << row.why;
        const FiOwner result = product(a, b);
        EXPECT_EQ(realWorld(*result), row.x * row.y) << row.why;
        EXPECT_EQ(realWorld(*product(b, a)), row.x * row.y) << row.why;
        EXPECT_EQ(realWorld(a), row.x) << row.why;
    }
}

// Without biases: quantize the product, multiply by the ratio as held by the result's word, quantize again.
TEST(SlopeBiasProducts, WithoutBiasTakeOneQuantizedFactor) {
    const LoggingOn logging;
    Random random(5302);
    for (int round = 0; round < 1000; ++round) {
        const auto randomSlope = [&] { return 1.0 + random.between(0, 63) / 64.0; };
        const NumericType types[] = {
            slopeBiasType(random.oneIn(2), random.between(2, 20), randomSlope(), random.between(-8, 0), 0.0),
            slopeBiasType(random.oneIn(2), random.between(2, 20), randomSlope(), random.between(-8, 0), 0.0)};
        const Rounding rounding = random.pick(kRoundings);
        const bool wraps = random.oneIn(2);
        fimath rules = rulesOf(rounding, wraps);
        rules.setProductMode(kSpecify);
        rules.setProductWordLength(random.between(2, 24));
        rules.setProductFractionLength(random.between(0, 10));
        rules.setProductSlopeAdjustmentFactor(randomSlope());
        const KnownArray a = randomArray(random, types[0], {1, 1}, false, rules);
        const KnownArray b = randomArray(random, types[1], {1, 1}, false, rules);
        const FiOwner result = product(*a.array, *b.array);
        const NumericType type = result->getNumericType();
        const double net = (types[1].getSlopeAdjustmentFactor() * types[0].getSlopeAdjustmentFactor()) /
                           type.getSlopeAdjustmentFactor();
        const int magnitudeBits = type.getWordLength() - (type.isSigned() ? 1 : 0);
        const NumericType ratioType(type.isSigned(), type.getWordLength(),
                                    magnitudeBits - 1 - leadingExponent(Rational(net)));
        const Rational ratio = quantized(Rational(net), ratioType, Rounding::nearest, false);
        Stage stage{type, rounding, wraps};
        Rational wanted = stage(elementOf(a, 0).re * elementOf(b, 0).re);
        if (net != 1.0) {
            wanted = stage(wanted * ratio);
        }
        ASSERT_TRUE(holds(*result, {{wanted, 0}}))
            << "seed 5302 round " << round << " " << a.description() << " " << b.description() << " into "
            << type.tostring("") << " ratio " << text(ratio);
        ASSERT_EQ(countsOf(a.array->getproductQlogger()), stage.counts) << "round " << round;
    }
}

}  // namespace
