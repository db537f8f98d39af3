// Texts and word arrays of elements, against bit texts, schoolbook digits and the patterns of the machine's floats.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/support/bit_texts.h"
#include "tests/support/errors.h"

namespace {

constexpr Body bothBodies[] = {Body::doubles, Body::multiPrecision};
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double quietNaN = std::numeric_limits<double>::quiet_NaN();

/// Returns what a writer put into a field of that length, and fails when it wrote past it.
template <class Write>
std::string written(int length, Write write) {
    constexpr int guard = 8;
    const std::size_t room = length > 0 ? static_cast<std::size_t>(length) : 0;
    std::string out(room + guard, '~');
    write(out.data());
    EXPECT_EQ(out.substr(room), std::string(guard, '~')) << "written past the field";
    return out.substr(0, room);
}

std::string sdec(const number& x, int length, int wordlength, int fractionlength) {
    return written(length, [&](char* out) {
        x.fixed2sdec(out, static_cast<unsigned>(length), static_cast<unsigned>(wordlength), fractionlength);
    });
}

std::string based(const number& x, int length, int base, int wordlength, int fractionlength) {
    return written(length, [&](char* out) { x.fixed2base(out, length, base, wordlength, fractionlength); });
}

/// A float format as the quantizer describes it.
struct Format {
    int wordlength, exponentlength;
    int fractionBits() const { return wordlength - exponentlength - 1; }
    int exponentmax() const { return (1 << (exponentlength - 1)) - 1; }
    int exponentmin() const { return 1 - exponentmax(); }
};

std::string pattern(const number& x, Format f, int base, int length) {
    return written(length, [&](char* out) {
        x.float2base(out, length, base, f.wordlength, f.exponentlength, f.fractionBits(), f.exponentmax(),
                     f.exponentmin());
    });
}

void setPattern(number& x, const std::string& text, Format f, int base) {
    x.base2float(text.c_str(), base, f.wordlength, f.exponentlength, f.fractionBits(), f.exponentmax(),
                 f.exponentmin());
}

std::vector<std::uint32_t> wordsOfBits(const std::string& bits, std::size_t count) {
    std::vector<std::uint32_t> words(count);
    for (std::size_t i = 0; i < bits.size(); ++i) {
        if (bits[bits.size() - 1 - i] == '1') {
            words[i / 32] |= 1U << (i % 32);
        }
    }
    return words;
}

/// Checks every text and word form of one stored integer.
void checkWord(Body body, const std::string& bits, bool isSigned, int fractionlength, int base) {
    const int w = static_cast<int>(bits.size());
    const ExactValue exact(bits, isSigned, -static_cast<long>(fractionlength));
    const Element x(body, w, exact.get());
    SCOPED_TRACE(testing::Message() << body << " " << bits << (isSigned ? " signed" : " unsigned")
                                    << " fraction length " << fractionlength << " base " << base);

    const std::string digits = digitsOfBits(bits, base);
    const int count = static_cast<int>(digits.size());
    for (const int length : {count, count + 3, std::max(count - 2, 1)}) {
        EXPECT_EQ(based(x, length, base, w, fractionlength),
                  rightAligned(digits, static_cast<std::size_t>(length), '0'));
    }

    const bool negative = isSigned && bits[0] == '1';
    const std::string decimal = negative ? "-" + digitsOfBits(negatedBits(bits), 10) : digitsOfBits(bits, 10);
    const int decimalCount = static_cast<int>(decimal.size());
    for (const int length : {decimalCount, decimalCount + 5, std::max(decimalCount - 2, 1)}) {
        EXPECT_EQ(sdec(x, length, w, fractionlength), rightAligned(decimal, static_cast<std::size_t>(length), ' '));
    }

    const Modulus modulus(w);
    for (const std::size_t count32 : {bits.size() / 32 + 2, (bits.size() + 31) / 32}) {
        std::vector<std::uint32_t> out(count32 + 1, 0xdeadbeef);
        x.fixed2IntArray(out.data(), static_cast<int>(count32), w, 1.0, -fractionlength, 0.0, modulus.wide);
        EXPECT_EQ(out.back(), 0xdeadbeef);
        out.pop_back();
        EXPECT_EQ(out, wordsOfBits(bits, count32));
    }

    Element back(body, w, 0.5);
    back.base2fixed(digits.c_str(), base, w, fractionlength, isSigned);
    EXPECT_TRUE(holds(back, exact.get())) << back.todouble();
    std::string upper = " " + digits;
    std::transform(upper.begin(), upper.end(), upper.begin(), [](char c) { return static_cast<char>(toupper(c)); });
    back.setvalue(0.5);
    back.base2fixed(upper.c_str(), base, w, fractionlength, isSigned);
    EXPECT_TRUE(holds(back, exact.get())) << back.todouble();
    EXPECT_TRUE(holds(x, exact.get())) << "writing changed the element";
}

TEST(FixedTexts, KeepEveryWordInEveryBase) {
    std::mt19937 random(20260101);
    const HostCapture host;
    for (int w = 1; w <= 300; ++w) {
        for (int base = 2; base <= 36; base += w <= 64 ? 1 : 5 + static_cast<int>(random() % 4)) {
            const int fractionlength = static_cast<int>(random() % static_cast<unsigned>(w + 80)) - 40;
            const std::string bits = randomBits(random, w);
            checkWord(Body::multiPrecision, bits, random() % 2, fractionlength, base);
            if (w <= 52) {
                checkWord(Body::doubles, bits, random() % 2, fractionlength, base);
            }
        }
        // The bounds of the word.
        const std::string rest(static_cast<std::size_t>(w - 1), '0');
        for (const std::string& bits :
             {"0" + rest, "1" + rest, negatedBits("1" + rest), std::string(rest.size() + 1, '1')}) {
            for (const Body body : bothBodies) {
                if (w <= 52 || body == Body::multiPrecision) {
                    checkWord(body, bits, true, 0, 2 + w % 35);
                }
            }
        }
    }
    EXPECT_TRUE(host.warnings.empty());
}

TEST(FixedTexts, KeepTheWidestWord) {
    std::mt19937 random(65535);
    const std::string bits = "1" + randomBits(random, 65534);
    for (const bool isSigned : {false, true}) {
        const ExactValue exact(bits, isSigned, -70000);
        Element x(Body::multiPrecision, 65535, exact.get());
        EXPECT_EQ(based(x, 65535, 2, 65535, 70000), bits);
        x.setvalue(0.0);
        x.base2fixed(bits.c_str(), 2, 65535, 70000, isSigned);
        EXPECT_TRUE(holds(x, exact.get()));
    }
}

TEST(FixedTexts, FollowTheRulesAtTheEdges) {
    const struct {
        double value;
        int wordlength, fractionlength, base, length;
        const char* expected;
        const char* why;
    } rows[] = {
        {8.0, 8, 0, 10, 3, "008", "one digit, though the size estimate of base 10 says two"},
        {-0.0, 8, 0, 10, 3, "000", "the stored integer of -0 is zero"},
        {1.75, 8, 1, 2, 4, "0011", "bits below the word are cut off"},
        {-1.75, 8, 1, 16, 2, "fd", "toward zero, then two's complement"},
        {-0.25, 8, 0, 16, 3, "100", "a negative value cut to zero still gets 2^wordlength"},
        {-0.25, 8, 0, 16, 2, "00", "and its low-order digits are those of zero"},
        {300.0, 8, 0, 16, 2, "2c", "the low-order digits of a value above the word"},
        {300.0, 8, 0, 16, 4, "012c", "all its digits when there is room"},
        {-256.0, 8, 0, 16, 4, "0000", "-2^wordlength"},
        {-300.0, 8, 0, 16, 4, "00d4", "below the word: the low bits of two's complement"},
        {-0x1p60, 8, 0, 16, 4, "0000", "far below the word"},
        {-3.0, -7, 0, 16, 4, "0000", "no word at all"},
        {quietNaN, 8, 0, 16, 2, "00", "NaN has no stored integer"},
        {infinity, 8, 0, 16, 2, "00", "nor has infinity"},
        {-infinity, 8, 0, 16, 3, "000", "of either sign"},
        {5.0, 8, 0, 2, 0, "", "an empty field"},
        {5.0, 8, 0, 2, -3, "", "a negative length"},
        {5.0, 8, 0, 63, 3, "000", "no digits known in that base"},
        {5.0, 8, 0, 1, 3, "000", "nor in that one"},
        {5.0, 8, 0, -16, 3, "000", "nor in that one"},
        {1.0, 8, INT_MIN, 16, 2, "00", "all bits are cut off"},
        {-1.0, 8, INT_MIN, 10, 3, "256", "all bits of a negative value"},
        {1.0, 8, INT_MAX, 16, 4, "0000", "a multiple of 16^4"},
        {-1.0, 8, INT_MAX, 10, 4, "0000", "far below the word"},
        {1.0, INT_MAX, INT_MAX, 2, 4, "0000", "a word without end"},
    };
    for (const auto& row : rows) {
        for (const Body body : bothBodies) {
            EXPECT_EQ(based(Element(body, 40, row.value), row.length, row.base, row.wordlength, row.fractionlength),
                      row.expected)
                << body << " " << row.value << ": " << row.why;
        }
    }
}

TEST(SignedDecimals, FollowTheRulesAtTheEdges) {
    const struct {
        double value;
        int fractionlength, length;
        const char* expected;
    } rows[] = {
        {-1.5, 1, 6, "    -3"},   {-0.25, 0, 3, "  0"},     {-0.0, 5, 2, " 0"},    {8.0, 0, 1, "8"},
        {-1234.0, 0, 5, "-1234"}, {-1234.0, 0, 4, "1234"},  {-1234.0, 0, 2, "34"}, {10.0, 0, 1, "0"},
        {quietNaN, 3, 3, "  0"},  {-infinity, 3, 3, "  0"}, {7.0, 0, 0, ""},       {7.0, 0, -1, ""},
        {7.0, INT_MIN, 3, "  0"}, {0.0, 318, 6, "     0"},
    };
    for (const auto& row : rows) {
        for (const Body body : bothBodies) {
            EXPECT_EQ(sdec(Element(body, 40, row.value), row.length, 8, row.fractionlength), row.expected)
                << body << " " << row.value;
        }
    }
}

/// 2^exponent modulo 10^18, by squaring in 128 bits.
std::string lastDigitsOfPowerOfTwo(std::uint64_t exponent) {
    __extension__ using Wide = unsigned __int128;
    constexpr std::uint64_t modulus = 1'000'000'000'000'000'000U;
    Wide result = 1;
    Wide square = 2;
    for (; exponent != 0; exponent >>= 1, square = square * square % modulus) {
        if (exponent & 1) {
            result = result * square % modulus;
        }
    }
    return rightAligned(std::to_string(static_cast<std::uint64_t>(result)), 18, '0');
}

TEST(FixedTexts, ShowTheLowDigitsOfIntegersTooLargeToBuild) {
    for (const int exponent : {60, 200, 5000, 1 << 30, INT_MAX}) {
        const std::string digits = lastDigitsOfPowerOfTwo(static_cast<std::uint64_t>(exponent));
        for (const Body body : bothBodies) {
            // Some of these fields begin with zeros.
            for (int length = 1; length <= 18; ++length) {
                const std::string expected = digits.substr(static_cast<std::size_t>(18 - length));
                EXPECT_EQ(based(Element(body, 40, 1.0), length, 10, 8, exponent), expected) << exponent;
                EXPECT_EQ(sdec(Element(body, 40, -1.0), length, 8, exponent), expected) << exponent;
            }
        }
    }
    // Two's complement of a word that is too wide to build either: 2^wordlength - 1024.
    const std::uint64_t power = std::stoull(lastDigitsOfPowerOfTwo(INT_MAX));
    std::uint64_t modulus = 10;
    for (int length = 1; length <= 18; ++length, modulus *= 10) {
        const std::uint64_t low = (power % modulus + modulus - 1024 % modulus) % modulus;
        EXPECT_EQ(based(Element(Body::multiPrecision, 40, -1.0), length, 10, INT_MAX, 10),
                  rightAligned(std::to_string(low), static_cast<std::size_t>(length), '0'));
    }
}

TEST(WordArrays, FollowTheRulesAtTheEdges) {
    using Words = std::vector<std::uint32_t>;
    const struct {
        double value;
        int wordlength, exponent;
        Words expected;
        const char* why;
    } rows[] = {
        {-1.0, 40, 0, {0xffffffff, 0xff}, "two's complement ends with the word"},
        {-1.0, 32, 0, {0xffffffff, 0, 0}, "words past it are zero"},
        {0.0, 40, -3, {0, 0}, "zero"},
        {-0.0, 40, -3, {0, 0}, "a negative zero is no negative value"},
        {2.75, 16, -1, {5}, "bits below the word are cut off"},
        {-2.0, 8, 4, {0xff}, "a value between two steps takes 2^wordlength first: 256 - 1/8 is cut to 255"},
        {0x1p40, 8, 0, {0, 0x100}, "a value above the word"},
        {-0x1p36, 8, 0, {0x100, 0xfffffff0}, "below the word: two's complement of as many bits as there are words"},
        {1.0, 8, INT_MIN, {0, 0}, "a multiple of 2^64"},
        {1.0, 8, INT_MAX, {0, 0}, "nothing is left"},
        {quietNaN, 8, 0, {0}, "NaN has no stored integer"},
        {-infinity, 8, 0, {0, 0}, "nor has infinity"},
        {7.0, 8, 0, {}, "no words"},
    };
    for (const auto& row : rows) {
        for (const Body body : bothBodies) {
            const Modulus modulus(row.wordlength);
            Words out(row.expected.size() + 1, 0xdeadbeef);
            Element(body, 50, row.value)
                .fixed2IntArray(out.data(), static_cast<int>(row.expected.size()), row.wordlength, 1.0, row.exponent,
                                0.0, modulus.wide);
            EXPECT_EQ(out.back(), 0xdeadbeef);
            out.pop_back();
            EXPECT_EQ(out, row.expected) << body << " " << row.value << ": " << row.why;
        }
    }
    std::uint32_t untouched = 1;
    const Modulus modulus(8);
    Element(Body::doubles, 8, 3.0).fixed2IntArray(&untouched, -1, 8, 1.0, 0, 0.0, modulus.wide);
    EXPECT_EQ(untouched, 1U);
}

TEST(BaseToFixed, FollowsTheRulesAtTheEdges) {
    constexpr const char* tooManyBits =
        "The word length of the fi object is shorter than the number of bits you were trying to assign. Only the %d "
        "least-significant bits were used.";
    const struct {
        const char* text;
        int base, wordlength, fractionlength;
        bool isSigned;
        double expected;
        bool warns;
        const char* why;
    } rows[] = {
        {"1ff", 16, 8, 0, true, -1.0, true, "keeps the low bits"},
        {"1ff", 16, 8, 0, false, 255.0, true, "unsigned as well"},
        {"ff", 16, 8, 4, true, -0.0625, false, "the scale"},
        {"7F", 16, 8, -3, true, 1016.0, false, "a negative fraction length"},
        {"1 0", 2, 8, 0, false, 2.0, false, "blanks between digits"},
        {"", 10, 8, 0, true, 0.0, false, "no digits"},
        {"xyz", 10, 8, 0, true, 0.0, false, "no number"},
        {"12", 2, 8, 0, true, 0.0, false, "a digit that the base has not"},
        {"11", 1, 8, 0, true, 0.0, false, "no such base"},
        {"11", -10, 8, 0, true, 0.0, false, "no such base"},
        {"11", 100, 8, 0, true, 0.0, false, "no such base"},
        {"-5", 10, 8, 0, false, -5.0, false, "a sign stays when the type has none"},
        {"-5", 10, 8, 0, true, -261.0, false, "two's complement of a negative text has its sign bit set"},
        {"-300", 10, 8, 0, false, -44.0, true, "the remainder has the sign of the text"},
        {"1", 10, 0, 0, true, 0.0, true, "no word"},
        {"1", 10, -4, 0, true, 0.0, true, "no word"},
        {"3", 10, 8, INT_MIN, false, infinity, false, "beyond double, not beyond memory"},
        {"3", 10, 8, INT_MAX, false, 0.0, false, "likewise"},
        {"-1", 10, INT_MAX, 0, true, -infinity, false, "a word without end"},
    };
    for (const auto& row : rows) {
        for (const Body body : bothBodies) {
            HostCapture host;
            Element x(body, 40, 99.0);
            x.base2fixed(row.text, row.base, row.wordlength, row.fractionlength, row.isSigned);
            EXPECT_EQ(x.todouble(), row.expected) << body << " " << row.text << ": " << row.why;
            std::vector<HostCapture::Warning> expected;
            if (row.warns) {
                char text[300];
                std::snprintf(text, sizeof text, tooManyBits, row.wordlength);
                expected.push_back({"fixedpoint:base2fixed:too_many_bits", text});
            }
            EXPECT_EQ(host.warnings, expected) << row.text;
        }
    }
}

TEST(FloatPatterns, AreThoseOfTheMachinesDoubles) {
    constexpr Format format{64, 11};
    std::mt19937_64 random(64);
    std::vector<std::uint64_t> cases = {
        0, 1, 2, 0xfffffffffffff, 0x10000000000000, 0x3ff0000000000000, 0x7fefffffffffffff, 0x7ff0000000000000};
    for (int i = 0; i < 4000; ++i) {
        cases.push_back(random());
    }
    for (int i = 0; i < 400; ++i) {
        cases.push_back(random() & 0x800fffffffffffff);  // denormals
    }
    for (std::size_t i = 0; i < cases.size(); ++i) {
        cases[i] ^= i % 2 ? 0 : 0x8000000000000000;
    }
    for (const std::uint64_t bits : cases) {
        const double value = std::bit_cast<double>(bits);
        if (std::isnan(value)) {
            continue;
        }
        char text[17];
        std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(bits));
        for (const Body body : bothBodies) {
            EXPECT_EQ(pattern(Element(body, body == Body::doubles ? 52 : 64, value), format, 16, 16), text) << body;
            Element back(body, body == Body::doubles ? 52 : 64, 0.0);
            setPattern(back, text, format, 16);
            EXPECT_EQ(std::bit_cast<std::uint64_t>(back.todouble()), bits) << body << " " << text;
        }
    }
}

TEST(FloatPatterns, AreThoseOfAllHalves) {
    for (int bits = 0; bits < 0x10000; ++bits) {
        const int exponentField = bits >> 10 & 31;
        const int fraction = bits & 1023;
        if (exponentField == 31 && fraction != 0) {
            continue;
        }
        double value = exponentField == 0 ? std::ldexp(fraction, -24) : std::ldexp(1024 + fraction, exponentField - 25);
        if (exponentField == 31) {
            value = infinity;
        }
        if (bits & 0x8000) {
            value = -value;
        }
        const Body body = bits % 2 ? Body::doubles : Body::multiPrecision;
        char text[5];
        std::snprintf(text, sizeof text, "%04x", static_cast<unsigned>(bits));
        ASSERT_EQ(pattern(Element(body, 16, value), {16, 5}, 16, 4), text) << body;
        Element back(body, 16, 0.0);
        setPattern(back, text, {16, 5}, 16);
        ASSERT_EQ(std::bit_cast<std::uint64_t>(back.todouble()), std::bit_cast<std::uint64_t>(value)) << text;
    }
}

TEST(FloatPatterns, HoldAnyFormat) {
    std::mt19937 random(77);
    for (int i = 0; i < 1500; ++i) {
        const int e = 2 + static_cast<int>(random() % 19);
        const Format format{e + 1 + static_cast<int>(random() % 200), e};
        const std::string bits = randomBits(random, format.wordlength);
        const std::string exponentField = bits.substr(1, static_cast<std::size_t>(e));
        const std::string fraction = bits.substr(static_cast<std::size_t>(e) + 1);
        if (exponentField.find('0') == std::string::npos) {
            continue;
        }
        const bool denormal = exponentField.find('1') == std::string::npos;
        const int exponent =
            denormal ? format.exponentmin() : std::stoi(exponentField, nullptr, 2) - format.exponentmax();
        const ExactValue magnitude((denormal ? "0" : "1") + fraction, false, exponent - format.fractionBits());
        Element x(Body::multiPrecision, format.wordlength, magnitude.get());
        if (bits[0] == '1') {
            x.negate();
        }

        const int base = 2 + static_cast<int>(random() % 35);
        const std::string digits = digitsOfBits(bits, base);
        const std::size_t length = digits.size() + random() % 3;
        EXPECT_EQ(pattern(x, format, base, static_cast<int>(length)), rightAligned(digits, length, '0')) << bits;
        Element back(Body::multiPrecision, format.wordlength, 0.0);
        setPattern(back, digits, format, base);
        EXPECT_TRUE(back == x && back.isnegative() == (bits[0] == '1')) << bits;
    }
}

TEST(FloatPatterns, FollowTheRulesAtTheEdges) {
    const struct {
        double value;
        Format format;
        int base, length;
        const char* expected;
        const char* why;
    } rows[] = {
        {1.0, {64, 11}, 16, 16, "3ff0000000000000", "one"},
        {quietNaN, {32, 8}, 16, 8, "ffc00000", "sign, exponent and top fraction bit"},
        {-quietNaN, {32, 8}, 16, 8, "ffc00000", "whatever its sign"},
        {quietNaN, {4, 3}, 2, 4, "1111", "no fraction: the pattern of an infinity"},
        {infinity, {4, 3}, 2, 4, "0111", "no fraction"},
        {-infinity, {32, 8}, 16, 9, "0ff800000", "zero-filled"},
        {-0.0, {16, 5}, 16, 4, "8000", "the sign field"},
        {1.9999, {8, 3}, 2, 8, "00111111", "bits below the fraction are cut off"},
        {0.25, {8, 3}, 2, 8, "00010000", "the smallest normal value"},
        {0.2499, {8, 3}, 2, 8, "00001111", "a denormal is cut off"},
        {-0.001, {8, 3}, 2, 8, "10000000", "to nothing, but for the sign"},
        {32.0, {8, 3}, 2, 8, "10000000", "above the range the exponent runs into the sign"},
        {512.0, {8, 3}, 2, 9, "011000000", "the exponent field of 12"},
        {512.0, {8, 3}, 2, 6, "000000", "and a field too short"},
        {1.0, {8, 3}, 2, 0, "", "an empty field"},
        {1.0, {8, 3}, 99, 3, "000", "no digits known in that base"},
    };
    for (const auto& row : rows) {
        for (const Body body : bothBodies) {
            EXPECT_EQ(pattern(Element(body, 40, row.value), row.format, row.base, row.length), row.expected)
                << body << " " << row.value << ": " << row.why;
        }
    }
}

TEST(BaseToFloat, FollowsTheRulesAtTheEdges) {
    const struct {
        const char* text;
        double before, expected;
        const char* why;
    } rows[] = {
        {"7f800000", 0.0, infinity, "an infinity"},
        {"ff800000", 0.0, -infinity, "a negative one"},
        {"7f800000", -3.0, -infinity, "an infinity takes the sign of what was there"},
        {"7f800000", quietNaN, infinity, "which NaN has not"},
        {"7f800000", -0.0, infinity, "nor zero"},
        {"ffc00000", 1.0, quietNaN, "NaN"},
        {"7f800001", 1.0, quietNaN, "any fraction makes NaN"},
        {"0", 5.0, 5.0, "a zero pattern leaves the element alone"},
        {"80000000", 5.0, -5.0, "but for the sign"},
        {"80000000", 0.0, -0.0, "so that zero turns negative"},
        {"no number", 5.0, 5.0, "reads as zero"},
        {"3F800000", 0.0, 1.0, "capital digits"},
    };
    for (const auto& row : rows) {
        for (const Body body : bothBodies) {
            Element x(body, 32, row.before);
            setPattern(x, row.text, {32, 8}, 16);
            const double got = x.todouble();
            EXPECT_TRUE(std::isnan(row.expected)
                            ? std::isnan(got)
                            : got == row.expected && std::signbit(got) == std::signbit(row.expected))
                << body << " " << row.text << " gave " << got << ": " << row.why;
        }
    }
    for (const Body body : bothBodies) {
        Element x(body, 32, 5.0);
        const Raised tooLarge{"fixedpoint:fi:base2float:valuetoolarge", "Value is too large for indicated wordlength."};
        EXPECT_EQ(raisedBy([&] { setPattern(x, "100000000", {32, 8}, 16); }), tooLarge);
        EXPECT_EQ(raisedBy([&] { x.base2float("1", 2, 0, 8, 23, 127, -126); }), tooLarge);
        EXPECT_EQ(x.todouble(), 5.0);
    }
}

TEST(Conversions, SurviveEveryArgument) {
    const double values[] = {0.0, -0.0, 1.5, -1.5, 0x1p1000, -0x1p1000, infinity, -infinity, quietNaN};
    const int extremes[] = {INT_MIN, -64, -1, 0, 1, 7, 65535, INT_MAX};
    const HostCapture host;
    for (const double value : values) {
        for (const Body body : bothBodies) {
            Element x(body, 60, value);
            // Multi-precision exponents go far beyond those of doubles.
            if (body == Body::multiPrecision) {
                x.pow2(INT_MAX).pow2(INT_MAX);
            }
            for (const int a : extremes) {
                for (const int b : extremes) {
                    EXPECT_EQ(based(x, 9, 7, a, b).find('~'), std::string::npos);
                    EXPECT_EQ(sdec(x, 9, a, b).find('~'), std::string::npos);
                    const auto parse = [&](const char* text) {
                        Element y(body, 60, 1.0);
                        y.base2fixed(text, 10, a, b, true);
                        raisedBy([&] { y.base2float(text, 10, a, b, b, a, b); });
                        raisedBy([&] { y.base2float(text, 10, a, 3, 5, b, a); });
                    };
                    parse("-123456789012345678901234567890");
                    parse("123456789012345678901234567890");
                    for (const int c : extremes) {
                        EXPECT_EQ(written(9, [&](char* out) { x.float2base(out, 9, 7, a, b, c, b, c); }).find('~'),
                                  std::string::npos);
                        EXPECT_EQ(written(9, [&](char* out) { x.float2base(out, 9, 7, 16, a, c, 15, b); }).find('~'),
                                  std::string::npos);
                    }
                }
                const Modulus modulus(9);
                std::uint32_t words[3] = {};
                x.fixed2IntArray(words, 3, a, 1.0, a, 0.0, modulus.wide);
            }
        }
    }
}

}  // namespace
