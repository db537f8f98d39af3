// Sizes, complexity, precision and types of whole arrays, the checks between operands, and what arrays cost.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>

#include "tests/support/arrays.h"
#include "tests/support/arrays_of_fi.h"
#include "tests/support/blocks.h"
#include "tests/support/errors_of_fi.h"

namespace {

TEST(FiCost, AllocatesAFixedNumberOfBlocksForAMillionElements) {
    std::vector<double> re(1000000);
    std::iota(re.begin(), re.end(), -500000.0);
    const auto blocksFor = [&](std::uint64_t count, int wordBits) {
        const NumericType type = fixedType(true, wordBits, 3);
        const Sizes sizes{count, 1};
        const hvArrayOwner host = doubles(count, 1, {re.begin(), re.begin() + static_cast<std::ptrdiff_t>(count)});
        const fimath rules = rulesOf();
        const fi source(re.data(), re.data(), sizes.data(), 2, type, rules, "", true, Operation::Assignment);
        fi target(re.data(), sizes.data(), 2, fixedType(true, 20, 2), rules, "", true, Operation::Assignment);
        source.setIndex(0);
        target = source;
        const LoggingOn logging;
        return std::vector<std::uint64_t>{
            blocksOf([&] { fi(re.data(), sizes.data(), 2, type, rules, "", true, Operation::Assignment); }),
            blocksOf([&] { fi(re.data(), re.data(), sizes.data(), 2, type, rules, "", true, Operation::Assignment); }),
            blocksOf([&] { fi(host.get(), type, rules, "", true, Operation::Assignment); }),
            blocksOf([&] { fi copy(source); }),
            blocksOf([&] { fi(source, fi::CopyImag::tag); }),
            blocksOf([&] { target.copydata(source); })};
    };
    for (const std::uint64_t blocks : blocksFor(10, 16)) {
        EXPECT_LT(blocks, 12u);
    }
    EXPECT_GT(blocksFor(10, 16).front(), 2u);
    for (const int wordBits : {8, 16, 52}) {
        EXPECT_EQ(blocksFor(1000000, wordBits), blocksFor(10, wordBits)) << wordBits;
    }
}

TEST(FiShape, AnswersByDimension) {
    const fi array = filled({2, 3, 1, 4}, 1.0, NumericType());
    EXPECT_EQ((Sizes{array.numel(), array.length(), array.getM(), array.getN()}), (Sizes{24, 4, 2, 12}));
    EXPECT_EQ((Sizes{array.getDimension(1), array.getDimension(4), array.getDimension(9)}), (Sizes{2, 4, 1}));
    EXPECT_EQ(raisedBy([&] { array.getDimension(0); }),
              (Raised{"fixedpoint:fi:getDimension:badDimension",
                      "Dimension number must be a non-negative integer in the range 1 to 2^31."}));
    const fi none = filled({5, 0}, 1.0, NumericType());
    EXPECT_EQ((Sizes{none.numel(), none.length(), none.getM(), none.getN()}), (Sizes{0, 0, 5, 0}));
    const fi alone(1.0, nullptr, 0, NumericType(), rulesOf(), "", true, Operation::Assignment);
    EXPECT_EQ((Sizes{alone.numel(), alone.length(), alone.getM(), alone.getN()}), (Sizes{1, 1, 1, 1}));
    EXPECT_TRUE(column({1, 2}, NumericType()).iscolumn() && !column({1, 2}, NumericType()).isrow());
}

TEST(FiShape, TakesNewDimensionsOnlyIfTheirProductIsASize) {
    fi array = column({0.1, 0.2, 0.3, 0.4, 0.5, 0.6}, NumericType());
    const Sizes sizes{2, 3};
    array.copyDimensions(sizes.data(), 2);
    EXPECT_EQ(array.getN(), 3u);
    const Sizes huge{0, std::uint64_t{1} << 33, std::uint64_t{1} << 33};
    const Snapshot before = snapshotOf(array);
    EXPECT_EQ(raisedBy([&] { array.copyDimensions(huge.data(), 3); }).id, "fixedpoint:fi:outofmemory");
    EXPECT_EQ(raisedBy([&] { array.resizeAndZero(huge.data(), 3, 0, NumericType(), rulesOf(), false); }).id,
              "fixedpoint:fi:outofmemory");
    EXPECT_EQ(snapshotOf(array), before);
    const NumericType other = fixedType(false, 9, 3);
    EXPECT_EQ(raisedBy([&] { array.resizeAndZero(std::uint64_t{1} << 60, 1, other, rulesOf(), false); }).id,
              "fixedpoint:fi:outofmemory");
    EXPECT_EQ(snapshotOf(array), before);
}

TEST(FiShape, ResizesOnlyWhatMustChange) {
    struct {
        const char* why;
        int oldBits;
        std::uint64_t newCount;
        int newBits;
        bool startsComplex;
        bool makeComplex;
        bool keepsValues;
        bool endsComplex;
    } const cases[] = {
        {"same size, a shorter word", 16, 3, 8, false, false, true, false},
        {"same size, a longer word within doubles", 16, 3, 52, false, false, true, false},
        {"same size, a word beyond doubles", 16, 3, 60, false, false, false, false},
        {"same size, a shorter word beyond doubles", 80, 3, 60, false, false, true, false},
        {"same size, complex from now on", 16, 3, 16, false, true, true, true},
        {"another size, complex from now on", 16, 5, 16, false, true, true, true},
        {"complex stays complex", 16, 3, 16, true, false, true, true},
        {"complex stays complex in another size", 16, 2, 16, true, false, true, true},
    };
    for (const auto& row : cases) {
        const NumericType type = fixedType(true, row.oldBits, 4);
        fi array = row.startsComplex ? column({1, 2, 3}, {4, 5, 6}, type) : column({1, 2, 3}, type);
        const fimath rules = rulesOf(Rounding::ceil, true);
        array.setIndex(2);
        array.resizeAndZero(row.newCount, 1, fixedType(true, row.newBits, 4), rules, row.makeComplex);
        EXPECT_EQ(sizesOf(array), (Sizes{row.newCount, 1})) << row.why;
        EXPECT_LT(array.getIndex(), row.newCount) << row.why;
        EXPECT_EQ(array.getWordLength(), row.newBits) << row.why;
        EXPECT_EQ(array.iscomplex(), row.endsComplex) << row.why;
        EXPECT_EQ(array.realdouble(0) == 1.0, row.keepsValues) << row.why;
        EXPECT_EQ(array.getRoundMode(), embedded::RoundModeEnum::Ceil) << row.why;
        EXPECT_EQ(number::getDefaultPrecision(), static_cast<unsigned>(row.newBits)) << row.why;
        // Every entry is there to be written.
        for (std::uint64_t i = 0; i < array.numel(); ++i) {
            array.setIndex(i);
            array = 0.5;
            EXPECT_EQ(array.imagdouble(i), 0.0) << row.why;
        }
    }
}

TEST(FiShape, CopiesDataIntoItsOwnType) {
    fi target = column({1.0}, fixedType(true, 8, 1), rulesOf(Rounding::floor, false));
    const fi source = column({0.75, -0.75, 200.0}, {1.25, 0.0, -1.25}, fixedType(true, 24, 8));
    target.copydata(source);
    EXPECT_EQ(realParts(target), (std::vector<double>{0.5, -1.0, 63.5}));
    EXPECT_EQ(imaginaryParts(target), (std::vector<double>{1.0, 0.0, -1.5}));
    EXPECT_EQ(fieldsOf(target.getNumericType()), fieldsOf(fixedType(true, 8, 1)));
    const Snapshot before = snapshotOf(target);
    const fi& itself = target;
    target.copydata(itself);
    EXPECT_EQ(snapshotOf(target), before);
}

TEST(FiShape, GivesEntriesAPrecisionApartFromTheWord) {
    fi array = column({0.5, 0.25}, {0.5, 0.25}, NumericType());
    array.setPrecision(70);
    EXPECT_EQ(array.real().getprecision(), 70u);
    EXPECT_EQ(array.getWordLength(), 16);
    array.updatePrecision();
    EXPECT_EQ(array.real().gettype(), embedded::numbertype::doublenumber);
    array.reInitializeRealImag();
    EXPECT_EQ(imaginaryParts(array), (std::vector<double>{0.0, 0.0}));
}

// Types, as derived classes set them.

class Typed : public fi {
 public:
    explicit Typed(const fi& source) : fi(source) {}
    using fi::operator=;
    using fi::setNumericType;
    using fi::setNumericTypeFromOutside;
};

TEST(FiType, ChangesTheQuantizerAndNoValue) {
    Typed array(column({0.7, -0.3}, fixedType(true, 16, 15), rulesOf(Rounding::floor, false)));
    const auto before = realParts(array);
    array.setNumericType(NumericType(TypeData::Fixed, TypeScaling::BinaryPoint, TypeSign::Auto, 8, 1.0, -2, 0.0));
    EXPECT_EQ(fieldsOf(array.getNumericType()), fieldsOf(fixedType(true, 8, 2)));
    EXPECT_EQ(realParts(array), before);
    array = 1.3;
    EXPECT_EQ(array.realdouble(), 1.25);
    const Snapshot kept = snapshotOf(array);
    EXPECT_EQ(raisedBy([&] { array.setNumericType(fixedType(true, 70000, 0)); }).id,
              "fixedpoint:quantizer:wordlengthtoobig");
    EXPECT_EQ(snapshotOf(array), kept);
    EXPECT_EQ(array.getAssignmentQuantizer().getWordlength(), 8);
    array.setNumericType(plainType(TypeMode::Single));
    EXPECT_EQ(&array.getFimath(), &fimath::getGlobalFimath());
    EXPECT_EQ(array.getAssignmentQuantizer().getRoundMode(), fimath::getGlobalFimath().getRoundMode());
}

TEST(FiType, SettlesUnspecifiedScalingByTheEntries) {
    Typed array(column({5.5, -1.25}, {0.0, 3.0}, fixedType(true, 16, 8)));
    array.setNumericTypeFromOutside(NumericType(TypeMode::FixedUnspecified, true, 16, 1.0, 0, 0.0));
    EXPECT_EQ(fieldsOf(array.getNumericType()), fieldsOf(fixedType(true, 16, 12)));
    EXPECT_EQ(realParts(array), (std::vector<double>{5.5, -1.25}));
    array.setNumericTypeFromOutside(fixedType(false, 60, 12));
    EXPECT_EQ(array.real().getprecision(), 60u);
    EXPECT_EQ(array.imagdouble(1), 0.0);
}

// Checks between operands.

TEST(FiCheck, AllowsMathOnlyBetweenTypesThatAgree) {
    const NumericType scaledSlope(TypeMode::ScaledDoubleSlopeBias, true, 16, 1.5, -4, 0.0);
    const fi fixed = scalar(0.5, NumericType());
    const fi scaledDouble = scalar(0.5, plainType(TypeMode::ScaledDoubleBinaryPoint), rulesOf(Rounding::ceil, true));
    const fi real = scalar(0.5, plainType(TypeMode::Double));
    const fi single = scalar(0.5, plainType(TypeMode::Single));
    const fi boolean = scalar(1.0, plainType(TypeMode::Boolean));
    const fi otherRules = scalar(0.5, NumericType(), rulesOf(Rounding::ceil, true));
    const fi noRules = scalar(0.5, NumericType(), rulesOf(Rounding::ceil, true), false);
    const fi slope = scalar(0.5, slopeBiasType(true, 16, 1.5, -4, 0.0));
    const fi scaledDoubleSlope = scalar(0.5, scaledSlope);
    const Raised none;
    struct {
        const char* why;
        const fi& a;
        const fi& b;
        Raised wanted;
    } const cases[] = {
        {"fixed with scaled double, whose rules may differ", fixed, scaledDouble, none},
        {"equal rules", fixed, slope, none},
        {"fixed with double", fixed, real, kMixedMath},
        {"double with single", real, single, kMixedMath},
        {"scaled double with single", scaledDouble, single, kMixedMath},
        {"double with double", real, real, none},
        {"boolean on the left", boolean, real, kNoBooleanMath},
        {"boolean on the right", real, boolean, kNoBooleanMath},
        {"two local rules that differ", fixed, otherRules, kRulesDiffer},
        {"rules on one side only", fixed, noRules, none},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(raisedBy([&] { fi::errorIfMathMismatch(row.a, row.b); }), row.wanted) << row.why;
    }
    EXPECT_EQ(raisedBy([&] { fi::errorIfSlopeBiasMath(slope); }), kBinaryPointMath);
    EXPECT_EQ(raisedBy([&] { fi::errorIfSlopeBiasMath(fixed); }), none);
    EXPECT_EQ(raisedBy([&] { fi::errorIfScaledDoubleSlopeBiasMath(slope, scaledDoubleSlope); }),
              (Raised{"fixedpoint:fi:scaleddoubleslopebiasmathnotdefined",
                      "Math is not supported for slope-bias FIs when DataTypeMode is 'Scaled double: slope and bias "
                      "scaling'"}));
    EXPECT_EQ(raisedBy([&] { fi::errorIfScaledDoubleSlopeBiasMath(slope, scaledDouble); }), none);
    EXPECT_EQ(
        raisedBy([&] { scaledDouble.errorIfScaledDouble("sqrt"); }),
        (Raised{"fixedpoint:fi:sqrt:ScaledDoubleOn", "sqrt is not supported when the DataType is 'ScaledDouble'."}));
    EXPECT_EQ(raisedBy([&] { scaledDouble.errorIfScaledDouble("bits", "BITAND"); }).id,
              "fixedpoint:fi:bits:ScaledDoubleOn");
    EXPECT_EQ(raisedBy([&] { fixed.errorIfScaledDouble("sqrt"); }), none);
}

TEST(FiCheck, ComparesShapesWithArraysOfBothSides) {
    const fi array = column({1, 2}, NumericType());
    const fi row = filled({1, 2}, 1.0, NumericType());
    EXPECT_EQ(raisedBy([&] { array.checkElementwiseSize(row); }), kSizesDiffer);
    EXPECT_EQ(raisedBy([&] { array.checkElementwiseSize(array); }), Raised{});
    EXPECT_EQ(raisedBy([&] { array.checkElementwiseSize(doubles(1, 2, {1, 2}).get()); }), kSizesDiffer);
    EXPECT_EQ(raisedBy([&] { array.checkElementwiseSize(doubles(2, 1, {1, 2}).get()); }), Raised{});
}

TEST(FiCheck, RefusesADataTypeThatTheEntriesDoNotFit) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const fi complexFloats = column({1.0, 2.0}, {0.0, nan}, plainType(TypeMode::Double));
    complexFloats.setIndex(1);
    EXPECT_EQ(raisedBy([&] { complexFloats.errorIfBadValue(TypeData::Fixed); }).id, "fixedpoint:nofixednan");
    EXPECT_EQ(raisedBy([&] { complexFloats.errorIfBadValue(TypeData::Boolean); }).id, "fixedpoint:nologicalcomplex");
    EXPECT_EQ(raisedBy([&] { complexFloats.errorIfBadValue(TypeData::Single); }), Raised{});
    EXPECT_EQ(complexFloats.getIndex(), 1u);
}

}  // namespace
