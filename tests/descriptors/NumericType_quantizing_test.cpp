// Types and quantizers: the type of a quantizer, the range of a type, and binary point types for slope and bias.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "quantization/quantizer.h"
#include "tests/support/errors.h"
#include "tests/support/rational.h"
#include "tests/support/types.h"

namespace {

using QuantizerMode = embedded::QuantizerModeEnum;

TEST(NumericTypeOfAQuantizer, DescribesItsValues) {
    const NumericType doubleType = typeOfMode(TypeMode::Double);
    const NumericType singleType = typeOfMode(TypeMode::Single);
    const struct {
        QuantizerMode mode;
        NumericType type;
    } rows[] = {
        {QuantizerMode::Double, doubleType},
        {QuantizerMode::None, doubleType},
        {QuantizerMode::Float, singleType},
        {QuantizerMode::Single, singleType},
        {QuantizerMode::Boolean, typeOfMode(TypeMode::Boolean)},
        {QuantizerMode::Fixed, NumericType(true, 24, 5)},
        {QuantizerMode::Ufixed, NumericType(false, 24, 5)},
        {QuantizerMode::ScaledDouble, NumericType(TypeMode::ScaledDoubleBinaryPoint, true, 24, 1, -5, 0)},
        {QuantizerMode::UnsignedScaledDouble, NumericType(TypeMode::ScaledDoubleBinaryPoint, false, 24, 1, -5, 0)},
    };
    for (const auto& row : rows) {
        const quantizer source(row.mode, embedded::RoundModeEnum::Floor, embedded::OverflowModeEnum::Saturate, 24, 5,
                               "", embedded::OperationTypeEnum::Unspecified, false);
        EXPECT_EQ(fieldsOf(NumericType(&source)), fieldsOf(row.type));
    }
}

TEST(NumericTypeRange, IsInRealWorldValues) {
    Random random(99);
    for (int i = 0; i < 2000; ++i) {
        // Short enough for each product and sum to be exact in doubles.
        const int bits = random.between(1, 20);
        const bool isSigned = random.oneIn(2);
        const int exponent = random.between(-20, 20);
        const double factor = 1 + random.between(0, 255) / 256.0;
        const double bias = random.between(-1000, 1000) / 8.0;
        const TypeMode mode = random.oneIn(2) ? TypeMode::FixedSlopeBias : TypeMode::ScaledDoubleSlopeBias;
        const NumericType type(mode, isSigned, bits, factor, exponent, bias);
        const Rational slope = scaled(Rational(factor), exponent);
        const int magnitudeBits = bits - (isSigned ? 1 : 0);
        const Rational low = (isSigned ? Rational(-twoTo(magnitudeBits)) : Rational(0)) * slope + Rational(bias);
        const Rational high = (twoTo(magnitudeBits) - 1) * slope + Rational(bias);
        double lower = 0;
        double upper = 0;
        type.getLowerUpperBoundsAsDouble(lower, upper);
        ASSERT_EQ(Rational(lower), low) << "seed " << random.seed() << " case " << i << ": " << fieldsOf(type);
        ASSERT_EQ(Rational(upper), high) << "seed " << random.seed() << " case " << i << ": " << fieldsOf(type);
    }
    double lower = 0;
    double upper = 0;
    typeOfMode(TypeMode::Double).getLowerUpperBoundsAsDouble(lower, upper);
    EXPECT_EQ(upper, std::numeric_limits<double>::max());
    EXPECT_EQ(lower, -std::numeric_limits<double>::max());
    EXPECT_EQ(raisedBy([&] { typeOfMode(TypeMode::FixedUnspecified).getLowerUpperBoundsAsDouble(lower, upper); }).id,
              "fixedpoint:quantizer:unspecifiedscaling");
}

struct Conversion {
    NumericType from;
    std::vector<int> words;  // empty: 1 to `count`
    int count;
    NumericType to;
    const char* why;
    std::size_t warnings = 0;
};

TEST(BinaryPointForSlopeAndBias, ByExample) {
    using enum NumericType::DataTypeModeEnum;
    const std::vector<int> any;
    const auto words = [](auto... bits) { return std::vector<int>{bits...}; };
    const auto slopeBias = [](bool isSigned, int bits, double factor, int exponent, double bias) {
        return NumericType(FixedSlopeBias, isSigned, bits, factor, exponent, bias);
    };
    const Conversion rows[] = {
        {slopeBias(false, 8, 1, 2, 0), any, 9, slopeBias(false, 8, 1, 2, 0), "nothing to convert"},
        {typeOfMode(Double), any, 9, typeOfMode(Double), "not a scaled type"},
        {slopeBias(false, 8, 1.5, 0, 0), any, 20, NumericType(false, 10, 1),
         "0 to 382.5 and a step of 1.5 need nine bits before the point and one behind"},
        {slopeBias(false, 8, 1.5, 0, 0), words(8, 16, 32), 3, NumericType(false, 16, 1),
         "the first word of the list that holds them"},
        {slopeBias(true, 8, 1.5, -2, -3), any, 20, NumericType(true, 10, 3), "-51 to 44.625 and a step of 0.375"},
        {NumericType(ScaledDoubleSlopeBias, true, 8, 1.5, -2, -3), any, 20,
         NumericType(ScaledDoubleBinaryPoint, true, 10, 1, -3, 0), "a scaled double stays one"},
        {slopeBias(false, 8, 1.5, 0, 0), any, 3, NumericType(false, 3, -6),
         "nothing fits: the last candidate, with nothing held in it"},
        {slopeBias(true, 8, 1.5, -2, -3), words(0, 1, -7), 3, NumericType(true, 2, -5),
         "a last candidate that is too short becomes the shortest word"},
        {slopeBias(false, 8, 1.5, 0, 0), words(70000), 1, NumericType(false, 8, -1),
         "a word out of range keeps the one before, and each of two types says so in each round", 4},
        {slopeBias(false, 4, 1.5, 0, 32.5), words(8, 16), 2, NumericType(false, 16, 10),
         "candidates are tried as signed words: of 32.5 the last one holds 32 less its step"},
        {slopeBias(false, 8, 1.5, 0, 0), any, 0, NumericType(false, 8, 0), "no candidate"},
    };
    for (const Conversion& row : rows) {
        const HostCapture capture;
        const NumericType result =
            row.from.convertSlopeBiasToBinaryPoint(row.count, row.words.empty() ? nullptr : row.words.data());
        EXPECT_EQ(fieldsOf(result), fieldsOf(row.to)) << row.why;
        EXPECT_EQ(capture.warnings.size(), row.warnings) << row.why;
    }
    const NumericType open(TypeData::Fixed, TypeScaling::SlopeBias, TypeSign::Auto, 8, 1.5, 0, 0);
    EXPECT_EQ(raisedBy([&] { open.convertSlopeBiasToBinaryPoint(9, nullptr); }).id,
              "fixedpoint:fi:setBestPrecision:unspecifiedSign");
}

TEST(BinaryPointForSlopeAndBias, HoldsBothAndTheWholeRangeWithoutABitToSpare) {
    Random random(424242);
    const std::vector<int> words = {4, 8, 12, 16, 24, 32, 48, 64, 128};
    int held = 0;
    for (int i = 0; i < 3000; ++i) {
        const int bits = random.between(2, 24);
        const bool isSigned = random.oneIn(2);
        const int exponent = random.between(-12, 12);
        const double factor = 1 + random.between(1, 255) / 256.0;
        const double bias = random.between(-2000, 2000) / 16.0;
        const NumericType from(TypeMode::FixedSlopeBias, isSigned, bits, factor, exponent, bias);
        const NumericType to = random.oneIn(2)
                                   ? from.convertSlopeBiasToBinaryPoint(static_cast<int>(words.size()), words.data())
                                   : from.convertSlopeBiasToBinaryPoint(128, nullptr);
        SCOPED_TRACE("seed " + std::to_string(random.seed()) + " case " + std::to_string(i));

        // The factor as the original word holds it, and the real-world range with that factor.
        const int magnitudeBits = bits - (isSigned ? 1 : 0);
        const Rational roundedFactor =
            scaled(rounded(scaled(Rational(factor), magnitudeBits - 1), Rounding::round), 1 - magnitudeBits);
        const int step = (roundedFactor == 2 ? 2 : 1) - magnitudeBits;
        Rational heldFactor = scaled(floorOf(scaled(Rational(factor), -step)), step);
        heldFactor = std::min(heldFactor, Rational(scaled(twoTo(magnitudeBits) - 1, step)));
        const Rational slope = scaled(heldFactor, exponent);
        const Rational high = scaled(twoTo(magnitudeBits) - 1, exponent) * heldFactor + Rational(bias);
        const Rational low =
            scaled(isSigned ? Rational(-twoTo(magnitudeBits)) : Rational(0), exponent) * heldFactor + Rational(bias);

        ASSERT_EQ(to.getDataTypeMode(), TypeMode::FixedBinaryPoint);
        ASSERT_FALSE(to.isSlopeBiasScaled());
        ASSERT_EQ(to.isSigned(), low < 0);
        const int toMagnitudeBits = to.getWordLength() - (to.isSigned() ? 1 : 0);
        const int toExponent = to.getFixedExponent();
        // Rounding may put an end of the range one half step outside.
        const Rational slack = twoTo(toExponent);
        EXPECT_LT(high, scaled(twoTo(toMagnitudeBits), toExponent) + slack);
        EXPECT_GE(low, scaled(to.isSigned() ? Rational(-twoTo(toMagnitudeBits)) : Rational(0), toExponent) - slack);
        // Candidates are tried as signed words, so the upper half of an unsigned range may not be held.
        const Rational half = twoTo(leadingExponent(high));
        if (!to.isSigned() && (slope >= half || Rational(bias) >= half)) {
            continue;
        }
        const auto isWhole = [](const Rational& value) { return value.get_den() == 1; };
        EXPECT_TRUE(isWhole(scaled(slope, -toExponent)) && isWhole(scaled(Rational(bias), -toExponent)))
            << fieldsOf(from) << " gives " << fieldsOf(to);
        EXPECT_FALSE(isWhole(scaled(slope, -toExponent - 1)) && isWhole(scaled(Rational(bias), -toExponent - 1)));
        ++held;
    }
    EXPECT_GT(held, 1500);
}

TEST(BinaryPointForSlopeAndBias, EndsForEveryFactorAndBias) {
    // What comes out of such types means little; that it comes out is what counts.
    const double kTroublesome[] = {0.0,
                                   -1.5,
                                   5e-324,
                                   1e308,
                                   std::numeric_limits<double>::infinity(),
                                   -std::numeric_limits<double>::infinity(),
                                   std::numeric_limits<double>::quiet_NaN()};
    for (const double factor : kTroublesome) {
        for (const double bias : kTroublesome) {
            for (const int bits : {1, 2, 16, 53, 200}) {
                NumericType type(true, bits, 3);
                type.setFixedPointProps(bits != 16, bits, factor, -3, bias);
                const NumericType result = type.convertSlopeBiasToBinaryPoint(3, nullptr);
                EXPECT_FALSE(result.isSlopeBiasScaled());
            }
        }
    }
}

}  // namespace
