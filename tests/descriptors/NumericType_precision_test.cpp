// Best precision against exact rationals, and the quotient of host doubles.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <complex>
#include <limits>
#include <string>
#include <vector>

#include "host/hv.h"
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

}  // namespace
