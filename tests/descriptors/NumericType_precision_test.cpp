// Best precision, ranges and binary point types for slope and bias against exact rationals, the type of a quantizer,
// and the quotient of host doubles.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <complex>
#include <limits>
#include <string>
#include <vector>

#include "host/hv.h"
#include "quantization/quantizer.h"
#include "tests/support/errors.h"
#include "tests/support/rational.h"
#include "tests/support/types.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
const Raised kNoSign{"fixedpoint:fi:setBestPrecision:unspecifiedSign",
                     "Sign must be specified true (signed) or false (unsigned) to compute best precision."};

int bestExponent(double value, bool isSigned, int bits) {
    NumericType type(isSigned, bits, 3);
    type.fxpBestPrecisionExponent(value);
    return type.getFixedExponent();
}

/// The smallest exponent at which the value, rounded to as many bits as the word has for magnitudes, lies in range.
int smallestFittingExponent(const Rational& value, bool isSigned, int bits) {
    const int magnitudeBits = bits - (isSigned ? 1 : 0);
    const int step = leadingExponent(value) + 1 - magnitudeBits;
    const Rational kept = scaled(rounded(scaled(value, -step), Rounding::round), step);
    const Rational highest = twoTo(magnitudeBits) - 1;
    const Rational lowest = isSigned ? Rational(-twoTo(magnitudeBits)) : Rational(0);
    int exponent = step - 3;
    while (scaled(kept, -exponent) > highest || scaled(kept, -exponent) < lowest) {
        ++exponent;
    }
    return exponent;
}

TEST(BestPrecision, IsTheSmallestExponentThatFits) {
    Random random(20240611);
    constexpr int kWords[] = {2, 3, 8, 16, 31, 52, 53, 54, 55, 64, 128, 1000, 65535};
    for (int i = 0; i < 20000; ++i) {
        // The longest words are slow in rationals, and every exponent is as good as another for them.
        const int bits = i % 400 == 0 ? 65535 : random.oneIn(2) ? random.between(2, 60) : kWords[random.between(0, 11)];
        const bool isSigned = random.oneIn(2);
        double value = random.real(-1074, 1022, random.between(1, 53));
        if (random.oneIn(3)) {
            value = std::nextafter(value, random.oneIn(2) ? kInf : -kInf);
        }
        if (value == 0.0 || !std::isfinite(value)) {
            continue;
        }
        value = isSigned ? value : std::fabs(value);
        ASSERT_EQ(bestExponent(value, isSigned, bits), smallestFittingExponent(Rational(value), isSigned, bits))
            << "seed " << random.seed() << " case " << i << ": " << value << (isSigned ? " signed " : " unsigned ")
            << bits;
    }
}

TEST(BestPrecision, AtTheEdges) {
    struct Row {
        double value;
        bool isSigned;
        int bits, exponent;
        const char* why;
    };
    const Row rows[] = {
        {1, true, 16, -14, "1 needs a bit before the point"},
        {-1, true, 16, -15, "-1 is the lowest value of fraction length 15"},
        {0, true, 16, -15, "zero: all bits behind the point"},
        {-0.0, true, 16, -15, "minus zero too"},
        {0, false, 16, -16, "zero without a sign bit"},
        {-3, false, 16, -16, "a negative value has no place in an unsigned word"},
        {-kInf, false, 16, -16, "nor has minus infinity"},
        {0.99999, true, 8, -6, "rounds up to 1"},
        {1, true, 1, 2, "no magnitude bit: 1 rounds up to 2, which gives way to the next power"},
        {-1, true, 1, 1, "the tie rounds to -2"},
        {-0.75, true, 1, 0, "and -0.75 to -1"},
        {kInf, true, 16, -15, "infinity counts as a mantissa with exponent 0"},
        {kNaN, false, 16, -16, "so does NaN"},
        {5e-324, true, 65535, -1073 - 65534, "the least double in the longest word"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(bestExponent(row.value, row.isSigned, row.bits), row.exponent) << row.why;
    }
    // Words that only unchecked writers make.
    EXPECT_EQ(bestExponent(1, true, INT_MIN), INT_MAX);
    EXPECT_EQ(bestExponent(1, false, -5), 6);
}

TEST(BestPrecision, HasItsRulesBySignAndScaling) {
    NumericType open(TypeData::Fixed, TypeScaling::BinaryPoint, TypeSign::Auto, 16, 1, 0, 0);
    EXPECT_EQ(raisedBy([&] { open.fxpBestPrecisionExponent(1); }), kNoSign);
    EXPECT_EQ(raisedBy([&] { open.setBestPrecisionFromMaxAbs(1); }), kNoSign);
    EXPECT_EQ(open.getFixedExponent(), 0);

    for (const TypeMode mode : {TypeMode::FixedUnspecified, TypeMode::ScaledDoubleUnspecified}) {
        NumericType type(mode, true, 16, 1, 0, 0);
        type.fxpBestPrecisionExponent(1);
        EXPECT_EQ(type.getScaling(), TypeScaling::BinaryPoint);
        EXPECT_EQ(type.getFractionLength(), 14);
    }
    NumericType slopeBias(TypeMode::FixedSlopeBias, true, 16, 1.5, 0, 2);
    slopeBias.fxpBestPrecisionExponent(1);
    EXPECT_EQ(fieldsOf(slopeBias), fieldsOf(NumericType(TypeMode::FixedSlopeBias, true, 16, 1.5, -14, 2)));
    for (const TypeMode mode : {TypeMode::Double, TypeMode::Single, TypeMode::Boolean}) {
        NumericType type = typeOfMode(mode);
        const HostCapture capture;
        type.fxpBestPrecisionExponent(3);
        type.setBestPrecisionFromMaxAbs(3);
        type.setBestPrecision(nullptr);
        EXPECT_EQ(fieldsOf(type), fieldsOf(typeOfMode(mode)));
        EXPECT_TRUE(capture.warnings.empty());
    }
}

TEST(BestPrecision, FromAGreatestMagnitudeHoldsItOnTheSidesThatAreAskedFor) {
    // Powers of two need one more bit on the positive side: the exponent is the least with max <= highest integer, for
    // a signed negative value the least with |value| <= 2^(bits - 1).
    for (const double maxAbs : {1.0, 1.5, 0.75, 4.0, 5.0, 0.0078125, std::ldexp(1, -1074), std::ldexp(1, 1023)}) {
        const Rational exact(maxAbs);
        for (const int bits : {2, 8, 16, 53, 128}) {
            for (const bool isSigned : {true, false}) {
                for (const double sign : {1.0, -1.0}) {
                    NumericType type(isSigned, bits, 0);
                    type.setBestPrecisionFromMaxAbs(sign * maxAbs);
                    const int magnitudeBits = bits - (isSigned ? 1 : 0);
                    const bool reachesLowest = isSigned && sign < 0;
                    int exponent = leadingExponent(exact) - magnitudeBits - 2;
                    const auto fits = [&] {
                        return reachesLowest ? exact <= twoTo(magnitudeBits + exponent)
                                             : exact < twoTo(magnitudeBits + exponent);
                    };
                    while (!fits()) {
                        ++exponent;
                    }
                    EXPECT_EQ(type.getFixedExponent(), exponent) << sign * maxAbs << ' ' << isSigned << ' ' << bits;
                }
            }
        }
    }
}

template <class T>
hvArrayOwner matrix(const std::vector<T>& re, const std::vector<T>& im = {}) {
    hvArrayOwner array(hvCreateNumericMatrix(1, re.size(), hvClassOf<T>, im.empty() ? hvREAL : hvCOMPLEX));
    std::ranges::copy(re, hvGetTypedData<T>(array.get()).begin());
    if (!im.empty()) {
        std::ranges::copy(im, hvGetTypedImagData<T>(array.get()).begin());
    }
    return array;
}

TEST(BestPrecisionOfData, FollowsTheGreatestElement) {
    struct Row {
        hvArrayOwner data;
        double greatest;
    };
    Row rows[] = {
        {matrix<double>({1, -3, 2}), -3},      {matrix<double>({1, -3, 3}), 3},
        {matrix<double>({4, -4}), 4},          {matrix<double>({-4, -4}), -4},
        {matrix<double>({1, 2}, {-8, 0}), -8}, {matrix<double>({-8, 2}, {8, 0}), 8},
        {matrix<double>({0, -0.0}), 0},        {matrix<float>({0.1F, -0.7F}), static_cast<double>(-0.7F)},
        {matrix<float>({1}, {-64}), -64},
    };
    for (const Row& row : rows) {
        for (const TypeMode mode :
             {TypeMode::FixedUnspecified, TypeMode::FixedSlopeBias, TypeMode::ScaledDoubleBinaryPoint}) {
            NumericType type(mode, true, 12, 1.5, 3, 2);
            type.setBestPrecision(row.data.get());
            EXPECT_EQ(type.getFixedExponent(), bestExponent(row.greatest, true, 12)) << row.greatest;
            EXPECT_TRUE(type.isBinaryPointScalingSet() && !type.isSlopeBiasScaled());
            EXPECT_EQ(type.isFixed(), mode != TypeMode::ScaledDoubleBinaryPoint);
        }
    }
}

TEST(BestPrecisionOfData, TakesTheTypeOfIntegers) {
    struct Row {
        hvClassID classId;
        bool isSigned;
        int bits;
    };
    for (const Row& row : {Row{hvINT8_CLASS, true, 8}, Row{hvUINT8_CLASS, false, 8}, Row{hvINT16_CLASS, true, 16},
                           Row{hvUINT16_CLASS, false, 16}, Row{hvINT32_CLASS, true, 32}, Row{hvUINT32_CLASS, false, 32},
                           Row{hvINT64_CLASS, true, 64}, Row{hvUINT64_CLASS, false, 64}}) {
        const hvArrayOwner data(hvCreateNumericMatrix(1, 2, row.classId));
        NumericType fixed(TypeMode::FixedSlopeBias, !row.isSigned, 12, 1.5, 3, 2);
        fixed.setBestPrecision(data.get());
        EXPECT_EQ(fieldsOf(fixed), fieldsOf(NumericType(row.isSigned, row.bits, 0)));
        NumericType scaledDouble(TypeMode::ScaledDoubleUnspecified, true, 12, 1, 0, 0);
        scaledDouble.setBestPrecision(data.get());
        EXPECT_EQ(fieldsOf(scaledDouble),
                  fieldsOf(NumericType(TypeMode::ScaledDoubleBinaryPoint, row.isSigned, row.bits, 1, 0, 0)));
    }
}

TEST(BestPrecisionOfData, SettlesTheSignAndRefusesWhatIsNoData) {
    NumericType open(TypeData::Fixed, TypeScaling::Unspecified, TypeSign::Auto, 16, 1, 0, 0);
    open.setBestPrecision(hvArrayOwner(hvCreateDoubleScalar(1)).get());
    EXPECT_EQ(fieldsOf(open), fieldsOf(NumericType(true, 16, 14)));

    NumericType empty(false, 16, 3);
    empty.setBestPrecision(hvArrayOwner(hvCreateLogicalMatrix(0, 3)).get());
    EXPECT_EQ(fieldsOf(empty), fieldsOf(NumericType(false, 16, 15)));

    NumericType type(true, 16, 3);
    const Raised notNumeric{"fixedpoint:fi:setBestPrecision:mustbenumeric", "Data must be numeric."};
    EXPECT_EQ(raisedBy([&] { type.setBestPrecision(hvArrayOwner(hvCreateLogicalScalar(true)).get()); }), notNumeric);
    EXPECT_EQ(raisedBy([&] { type.setBestPrecision(hvArrayOwner(hvCreateString("12")).get()); }), notNumeric);
    const Raised noNaN{"fixedpoint:fi:nonan", "NaN is not allowed in FI."};
    EXPECT_EQ(raisedBy([&] { type.setBestPrecision(matrix<double>({1, kNaN}).get()); }), noNaN);
    EXPECT_EQ(raisedBy([&] { type.setBestPrecision(matrix<float>({1}, {std::nanf("")}).get()); }), noNaN);
    EXPECT_EQ(fieldsOf(type), fieldsOf(NumericType(true, 16, 3)));
}

TEST(NormalSlope, IsSplitAsAServiceToo) {
    for (const double bad : {0.0, -2.0, kInf, kNaN}) {
        int exponent = 77;
        EXPECT_EQ(raisedBy([&] { NumericType::computeFixedPropsFromSlope(bad, exponent, "an:id", "a message"); }),
                  (Raised{"an:id", "a message"}));
        EXPECT_EQ(exponent, 77);
    }
    Random random(7);
    for (int i = 0; i < 1000; ++i) {
        const double slope = std::fabs(random.real(-1074, 1023));
        if (slope == 0.0 || std::isinf(slope)) {
            continue;
        }
        int exponent = 0;
        const double factor = NumericType::computeFixedPropsFromSlope(slope, exponent, "", "");
        EXPECT_TRUE(factor >= 1.0 && factor < 2.0);
        EXPECT_EQ(scaled(Rational(factor), exponent), Rational(slope));
    }
}

TEST(Divide, TakesScalarsAndComplexValuesElementByElement) {
    using Value = std::complex<double>;
    struct Row {
        std::vector<double> ar, ai, br, bi;
    };
    const Row rows[] = {
        {{6, 1, 0}, {}, {2, 0, 0}, {}},
        {{6}, {}, {2, -4, 8}, {}},
        {{6, 3, 1.5}, {}, {-2}, {}},
        {{1, 2}, {3, 4}, {2, 4}, {}},
        {{1, 2}, {}, {3, 4}, {4, -3}},
        {{1, 2}, {2, -1}, {3}, {4}},
        {{}, {}, {5}, {}},
    };
    for (const Row& row : rows) {
        const hvArrayOwner a = matrix(row.ar, row.ai);
        const hvArrayOwner b = matrix(row.br, row.bi);
        const hvArrayOwner result(NumericType::divide(a.get(), b.get()));
        const std::size_t count = row.br.size() == 1 ? row.ar.size() : row.br.size();
        ASSERT_EQ(hvGetNumberOfElements(result.get()), count);
        ASSERT_EQ(hvIsComplex(result.get()), hvIsComplex(a.get()) || hvIsComplex(b.get()));
        for (std::size_t i = 0; i < count; ++i) {
            const auto at = [i](const std::vector<double>& re, const std::vector<double>& im) {
                const std::size_t k = re.size() == 1 ? 0 : i;
                return Value(re[k], im.empty() ? 0 : im[k]);
            };
            // The rows divide exactly, so that any correct formula gives the same values.
            const Value x = at(row.ar, row.ai);
            const Value y = at(row.br, row.bi);
            const double re = hvGetTypedData<double>(result.get())[i];
            if (!hvIsComplex(result.get())) {
                const double expected = x.real() / y.real();
                EXPECT_TRUE(re == expected || (std::isnan(re) && std::isnan(expected)));
                continue;
            }
            const Value back = Value(re, hvGetTypedImagData<double>(result.get())[i]) * y;
            EXPECT_NEAR(back.real(), x.real(), 1e-15);
            EXPECT_NEAR(back.imag(), x.imag(), 1e-15);
        }
    }
    // A real over a complex value negates the quotient, so that a zero comes out negative.
    const hvArrayOwner real = matrix<double>({1});
    const hvArrayOwner complexZero = matrix<double>({1}, {0});
    const hvArrayOwner quotient(NumericType::divide(real.get(), complexZero.get()));
    EXPECT_TRUE(std::signbit(hvGetImagScalar(quotient.get())));
}

TEST(Divide, AsksForDoublesOfOneShape) {
    const hvArrayOwner two = matrix<double>({1, 2});
    const hvArrayOwner three = matrix<double>({1, 2, 3});
    const hvArrayOwner column(hvCreateDoubleMatrix(2, 1));
    const hvArrayOwner single = matrix<float>({1});
    const Raised disagree{"fixedpoint:fi:dimagree", "Matrix dimensions must agree."};
    EXPECT_EQ(raisedBy([&] { NumericType::divide(two.get(), three.get()); }), disagree);
    EXPECT_EQ(raisedBy([&] { NumericType::divide(two.get(), column.get()); }), disagree);
    for (const auto& [a, b] : {std::pair{two.get(), single.get()}, std::pair{single.get(), two.get()},
                               std::pair<hvArray*, hvArray*>{nullptr, two.get()}}) {
        EXPECT_EQ(raisedBy([&, x = a, y = b] { NumericType::divide(x, y); }),
                  (Raised{"fixedpoint:fi:divide:nonondouble",
                          "Fixed-point DIVIDE not supported for (builtin non-double)/(builtin non-double)."}));
    }
}

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
