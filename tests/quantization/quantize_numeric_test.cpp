// Arrays through stored words against rationals, for words of every length, and arrays through a quantizer against its
// element function.
#include "quantization/quantize_numeric.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "quantization/TbbQuantizeRwvDbl.h"
#include "tests/support/arrays.h"
#include "tests/support/errors.h"
#include "tests/support/quantizers.h"

using namespace tolvane::detail;

namespace {

using EmbeddedTypeSystem::NumericType;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Case {
    bool isSigned;
    int wordBits;
    int fractionBits;
    Rounding rounding = Rounding::floor;
    bool wraps = false;

    NumericType type() const { return NumericType(isSigned, wordBits, fractionBits); }
    std::vector<double> quantized(const std::vector<double>& values, bool isParallel = false) const {
        std::vector<double> results(values.size(), 12345.0);
        quantizeThroughWords(values, results, type(), static_cast<embedded::RoundModeEnum>(rounding),
                             wraps ? embedded::OverflowModeEnum::Wrap : embedded::OverflowModeEnum::Saturate,
                             isParallel);
        return results;
    }
    friend std::ostream& operator<<(std::ostream& out, const Case& c) {
        return out << (c.isSigned ? 's' : 'u') << c.wordBits << ',' << c.fractionBits << ' ' << nameOf(c.rounding)
                   << (c.wraps ? " wrap" : " saturate");
    }
};

/// The expected value of an element: the word as an integer, then its chunks of 32 bits as a sum of doubles.
double expected(double value, const Case& c) {
    if (std::isnan(value) || (std::isinf(value) && c.wraps)) {
        return 0.0;
    }
    Integer modulus;
    mpz_setbit(modulus.get_mpz_t(), static_cast<mp_bitcnt_t>(c.wordBits));
    const Integer low = c.isSigned ? Integer(-modulus / 2) : Integer(0);
    const Integer high = low + modulus - 1;
    Integer word;
    if (std::isinf(value)) {
        word = value > 0 ? high : low;
    } else {
        word = rounded(scaled(Rational(value), c.fractionBits), c.rounding);
        if (c.wraps) {
            mpz_fdiv_r(word.get_mpz_t(), Integer(word - low).get_mpz_t(), modulus.get_mpz_t());
            word += low;
        }
        word = std::clamp(word, low, high);
    }
    const Integer size = abs(word);
    const int bits = static_cast<int>(mpz_sizeinbase(size.get_mpz_t(), 2));
    double sum = 0.0;
    for (int bit = 0; bit < bits && sum < kInfinity; bit += 32) {
        Integer chunk = size >> static_cast<mp_bitcnt_t>(bit);
        mpz_fdiv_r_2exp(chunk.get_mpz_t(), chunk.get_mpz_t(), 32);
        sum = nearestDouble(Rational(sum) + scaled(Rational(chunk), bit - c.fractionBits));
    }
    return word < 0 ? -sum : sum;
}

/// Bounds, ties and neighbours of both, zeros, NaN and infinities, and random values around the format.
std::vector<double> valuesFor(const Case& c, Random& random, int count) {
    const int topBit = c.wordBits - c.fractionBits;
    std::vector<double> values = {0.0, -0.0, kNaN, kInfinity, -kInfinity, 0x1p-1074, -0x1p-1074, 1e308, -1e308};
    for (const double unit : {std::ldexp(1.0, -c.fractionBits), std::ldexp(0.5, -c.fractionBits),
                              std::ldexp(1.0, topBit), std::ldexp(0.5, topBit)}) {
        for (const double steps : {1.0, 2.0, 3.0, 0.5, 1.5}) {
            for (const double v : {steps * unit, std::nextafter(steps * unit, 0.0), steps * unit * (1 + 0x1p-52),
                                   steps * unit - std::ldexp(1.0, -c.fractionBits)}) {
                values.insert(values.end(), {v, -v});
            }
        }
    }
    for (int i = 0; i < count; ++i) {
        const int low = std::max(-1060, -c.fractionBits - 3);
        values.push_back(random.oneIn(8)
                             ? random.anyDouble()
                             : random.real(low, std::max(low, std::min(topBit + 3, 1000)), random.between(1, 53)));
    }
    return values;
}

template <class Action>
void forEachRule(bool isSigned, int wordBits, int fractionBits, const Action& action) {
    for (const Rounding rounding : kRoundings) {
        for (const bool wraps : {false, true}) {
            action(Case{isSigned, wordBits, fractionBits, rounding, wraps});
        }
    }
}

template <class T>
std::vector<double> throughWords(const Case& c, const std::vector<double>& values) {
    const TbbQuantizeRwvDbl<T> body(nullptr, nullptr,
                                    wordconversion::roundCodeOf(static_cast<embedded::RoundModeEnum>(c.rounding)),
                                    !c.wraps, c.type(), wordconversion::chunkCountOf(c.wordBits));
    std::vector<double> results;
    for (const double value : values) {
        results.push_back(body.throughWord(value));
    }
    return results;
}
std::vector<double> throughWords(const Case& c, const std::vector<double>& values) {
    if (c.wordBits > 16) {
        return c.isSigned && c.wordBits <= 32 ? throughWords<std::int32_t>(c, values)
                                              : throughWords<std::uint32_t>(c, values);
    }
    if (c.wordBits > 8) {
        return c.isSigned ? throughWords<std::int16_t>(c, values) : throughWords<std::uint16_t>(c, values);
    }
    return c.isSigned ? throughWords<std::int8_t>(c, values) : throughWords<std::uint8_t>(c, values);
}

TEST(QuantizeThroughWords, AgreesWithRationalsByVectorsAndByWords) {
    std::vector<int> wordLengths = {128, 970, 1000, 65535};
    for (int bits = 1; bits <= 80; ++bits) {
        wordLengths.push_back(bits);
    }
    for (const int wordBits : wordLengths) {
        Random random(static_cast<std::uint64_t>(wordBits));
        for (const bool isSigned : {true, false}) {
            for (const int fractionBits : {std::min(wordBits, 1000) - 1, std::min(wordBits, 80) / 2, 0, -3}) {
                const std::vector<double> values = valuesFor({isSigned, wordBits, fractionBits}, random, 24);
                forEachRule(isSigned, wordBits, fractionBits, [&](const Case& c) {
                    const std::vector<double> byArray = c.quantized(values);
                    const std::vector<double> byWord = throughWords(c, values);
                    for (std::size_t i = 0; i < values.size(); ++i) {
                        const double wanted = expected(values[i], c);
                        ASSERT_TRUE(sameBits(byArray[i], wanted) && sameBits(byWord[i], wanted))
                            << c << " of " << text(values[i]) << " gives " << text(byArray[i]) << ", by words "
                            << text(byWord[i]) << ", expected " << text(wanted) << ", seed " << random.seed();
                    }
                });
            }
        }
    }
}

TEST(QuantizeThroughWords, AgreesByVectorsAndByWordsAtEveryScale) {
    Random random(33);
    for (const int wordBits : {1, 8, 31, 53, 64, 65, 97, 300, 969}) {
        for (const int fractionBits : {-2000, -971, -900, -500, -1, 500, 1000, 1021, 1022, 1023, 1074, 3000}) {
            for (const bool isSigned : {true, false}) {
                const std::vector<double> values = valuesFor({isSigned, wordBits, fractionBits}, random, 12);
                forEachRule(isSigned, wordBits, fractionBits, [&](const Case& c) {
                    const std::vector<double> byArray = c.quantized(values);
                    const std::vector<double> byWord = throughWords(c, values);
                    for (std::size_t i = 0; i < values.size(); ++i) {
                        ASSERT_TRUE(sameBits(byArray[i], byWord[i])) << c << " of " << text(values[i]);
                    }
                });
            }
        }
    }
}

TEST(QuantizeThroughWords, TakesWordsOfOneToTheMostBits) {
    // The longest word, with all but one bit of fraction.
    const Case longest{true, 65535, 65534};
    EXPECT_EQ(longest.quantized({kInfinity, -1e9, -0x1p-1074, 0.1}), (std::vector<double>{1, -1, -0x1p-1074, 0.1}));
    for (const int wordBits : {0, -1, 65536}) {
        EXPECT_EQ(raisedBy([&] {
                      Case{true, wordBits, 0}.quantized({1.0});
                  }).id,
                  wordBits > 0 ? "fixedpoint:quantizer:wordlengthtoobig" : "fixedpoint:quantizer:wordlengthtoosmall");
    }
}

TEST(QuantizeThroughWords, GivesTheSameSeriallyAndInParallel) {
    Random random(7);
    for (const int count : {0, 1, 500, 501, 1000, 100003}) {
        for (const int wordBits : {5, 13, 24, 64, 70, 1200}) {
            for (const bool isSigned : {true, false}) {
                const Case c{isSigned, wordBits, wordBits / 2, random.pick(kRoundings), random.oneIn(2)};
                std::vector<double> values(static_cast<std::size_t>(count));
                for (double& value : values) {
                    value = random.real(-wordBits / 2 - 3, wordBits / 2 + 2);
                }
                const std::vector<double> serial = c.quantized(values);
                const std::vector<double> parallel = c.quantized(values, true);
                for (std::size_t i = 0; i < values.size(); ++i) {
                    ASSERT_TRUE(sameBits(serial[i], parallel[i])) << c << ' ' << i << " of " << count;
                }
                EXPECT_TRUE(std::ranges::equal(serial, throughWords(c, values)));
            }
        }
    }
}

TEST(QuantizeThroughWords, TakesSlopeAndBias) {
    const NumericType type(NumericType::DataTypeModeEnum::FixedSlopeBias, true, 8, 1.25, -1, 3.0);
    const std::vector<double> in = {3.0, kNaN, 4.25, 4.0, 1e9, -1e9, kInfinity};
    std::vector<double> out(in.size());
    quantizeThroughWords(in, out, type, embedded::RoundModeEnum::Nearest, embedded::OverflowModeEnum::Saturate, true);
    EXPECT_EQ(out, (std::vector<double>{3.0, 3.0, 4.25, 4.25, 82.375, -77.0, 82.375}));
}

TEST(WordConversion, TellsTheClientOfWhatIsOutOfRange) {
    struct Counter : LocalFxpClient {
        using LocalFxpClient::LocalFxpClient;
        void handleOverflow() override { ++count; }
        int count = 0;
    };
    struct Row {
        double value;
        bool isSigned;
        int counts;
    };
    // Words of 8 bits, rounded down.
    const Row rows[] = {{127, true, 0},    {127.9, true, 0},     {128, true, 1},        {-128, true, 0},
                        {-128.1, true, 1}, {-256, true, 1},      {255, false, 0},       {256, false, 1},
                        {-0.5, false, 1},  {0, false, 0},        {kNaN, true, 0},       {1e30, true, 1},
                        {-1e30, true, 1},  {kInfinity, true, 1}, {-kInfinity, false, 1}};
    for (const Row& row : rows) {
        for (const bool saturates : {true, false}) {
            Counter client{nullptr};
            std::uint8_t word = 0;
            wordconversion::convertToWord(row.value, NumericType(row.isSigned, 8, 0), 3, saturates, client,
                                          std::span(&word, 1));
            EXPECT_EQ(client.count, row.counts) << row.value << (saturates ? " saturate" : " wrap");
        }
    }
}

// The oracle is the element function, on numbers of the quantizer's precision; other tests check that function.
TEST(QuantizeNumeric, QuantizesEachPartInOrderAndCounts) {
    Random random(11);
    const Description descriptions[] = {{Mode::Fixed, 8, 3},
                                        {Mode::Ufixed, 16, 15, Rounding::convergent, true},
                                        {Mode::Fixed, 60, 20, Rounding::nearest},
                                        {Mode::Single, 32, 8},
                                        {Mode::Fixed, 70, 68, Rounding::ceil, true}};
    const hvClassID classes[] = {hvLOGICAL_CLASS, hvDOUBLE_CLASS, hvSINGLE_CLASS, hvINT8_CLASS,  hvUINT8_CLASS,
                                 hvINT16_CLASS,   hvUINT16_CLASS, hvINT32_CLASS,  hvUINT32_CLASS};
    for (const Description& described : descriptions) {
        for (const hvClassID classId : classes) {
            const bool isComplex = classId != hvLOGICAL_CLASS && random.oneIn(2);
            const hvArrayOwner values = classId == hvLOGICAL_CLASS
                                            ? hvArrayOwner(hvCreateLogicalMatrix(7, 3))
                                            : arrayOf({7, 1, 3}, classId, isComplex ? hvCOMPLEX : hvREAL);
            const quantizer byElement = described.make();
            std::vector<double> wanted;
            hvDispatchClass(classId, [&]<class T>(std::type_identity<T>) {
                for (const std::span<T> part : {hvGetTypedData<T>(values.get()), hvGetTypedImagData<T>(values.get())}) {
                    for (T& value : part) {
                        value = classId == hvLOGICAL_CLASS    ? static_cast<T>(random.oneIn(2))
                                : std::is_floating_point_v<T> ? static_cast<T>(random.real(-25, 10, 24))
                                                              : static_cast<T>(random.word());
                        number element(0.0, byElement.getPrecision(), false);
                        element = static_cast<double>(value);
                        wanted.push_back(byElement.quantize(element).todouble());
                    }
                }
            });
            const quantizer q = described.make();
            const hvArrayOwner result(quantizeNumeric(q, values.get()));
            ASSERT_TRUE(hvIsDouble(result.get()) && hvIsComplex(result.get()) == isComplex);
            EXPECT_EQ(dimensionsOf(result), dimensionsOf(values));
            std::vector<double> seen = valuesOf(result);
            const auto imaginary = hvGetTypedImagData<double>(static_cast<const hvArray*>(result.get()));
            seen.insert(seen.end(), imaginary.begin(), imaginary.end());
            EXPECT_EQ(seen, wanted) << described << ' ' << hvGetClassName(values.get());
            EXPECT_EQ(countsOf(q), countsOf(byElement));
            EXPECT_TRUE(sameElement(q.getMax(), byElement.getMax()) && sameElement(q.getMin(), byElement.getMin()));
        }
    }
}

TEST(QuantizeNumeric, RefusesWhatHasNoRoutine) {
    const quantizer q = Description().make();
    const Raised classError{"fixedpoint:quantizer:quantize:numericonly",
                            "Only inputs of type double, single, [u]int[8,16,32] allowed."};
    EXPECT_EQ(raisedBy([&] { quantizeNumeric(q, arrayOf({2, 2}, hvINT64_CLASS).get()); }), classError);
    EXPECT_EQ(raisedBy([&] { quantizeNumeric(q, arrayOf({0, 2}, hvUINT64_CLASS).get()); }), classError);
    EXPECT_EQ(raisedBy([&] { quantizeNumeric(q, text("1").get()); }), classError);
    EXPECT_EQ(raisedBy([&] { quantizeNumeric(q, hvArrayOwner(hvCreateCellMatrix(1, 1)).get()); }),
              (Raised{"fixedpoint:quantizer:quantize:notnumeric", "Value to quantize must be numeric."}));
    EXPECT_EQ(dimensionsOf(hvArrayOwner(quantizeNumeric(q, arrayOf({0, 3}, hvSINGLE_CLASS).get()))),
              (std::vector<std::size_t>{0, 3}));
}

}  // namespace
