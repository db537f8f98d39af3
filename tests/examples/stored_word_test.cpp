// The integer model of stored words against exact rationals.
#include "examples/studies/stored_word.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "tests/support/rational.h"

using namespace study;

namespace {

std::uint64_t exactWord(double sample, const Format& format) {
    const Integer modulus(twoTo(format.wordBits));
    const Integer low = format.kind == Kind::Signed ? Integer(-modulus / 2) : Integer(0);
    Integer integer = rounded(scaled(Rational(sample), format.fractionBits), static_cast<Rounding>(format.round));
    if (format.overflow == Overflow::Saturate) integer = std::clamp(integer, low, Integer(low + modulus - 1));
    Integer word;
    mpz_fdiv_r(word.get_mpz_t(), integer.get_mpz_t(), modulus.get_mpz_t());
    return word.get_ui();
}

template <class Check>
void overAllModes(int wordBits, int fractionBits, Check&& check) {
    for (const Kind kind : {Kind::Signed, Kind::Unsigned}) {
        for (const Round round : parseRounds("all")) {
            for (const Overflow overflow : {Overflow::Saturate, Overflow::Wrap})
                check({kind, wordBits, fractionBits, 0, round, overflow});
        }
    }
}

}  // namespace

TEST(StoredWord, OfShortFixedWordsIsExactAtEveryQuarterStep) {
    for (int wordBits = 1; wordBits <= 6; ++wordBits) {
        for (const int fractionBits : {-4, 0, 3, 9}) {
            overAllModes(wordBits, fractionBits, [&](const Format& format) {
                for (int quarters = -600; quarters <= 600; ++quarters) {
                    const double sample = std::ldexp(quarters, -2 - fractionBits);
                    ASSERT_EQ(storedWord(sample, format), exactWord(sample, format))
                        << fullName(format) << " of " << sample;
                }
            });
        }
    }
}

TEST(StoredWord, OfWideFixedWordsIsExactFarInsideAndFarOutsideTheRange) {
    constexpr unsigned kSeed = 20261;
    std::mt19937_64 random(kSeed);
    for (int turn = 0; turn < 2000; ++turn) {
        const int wordBits = 7 + static_cast<int>(random() % 46);
        const int fractionBits = static_cast<int>(random() % 600) - 300;
        // 40 significant bits: the sum with one half is then exact in a double, as it is in the rationals.
        const double mantissa = static_cast<double>(random() >> 24) * (random() % 2 == 0 ? 1.0 : -1.0);
        const int exponent = static_cast<int>(random() % 50) - 46 + (turn % 10 == 0 ? 150 : 0);
        const double sample = std::ldexp(mantissa, std::min(exponent - fractionBits, 216));
        if (std::fabs(std::ldexp(sample, fractionBits)) >= 0x1p52 && turn % 10 != 0) continue;
        overAllModes(wordBits, fractionBits, [&](const Format& format) {
            ASSERT_EQ(storedWord(sample, format), exactWord(sample, format))
                << "seed " << kSeed << " turn " << turn << ": " << fullName(format) << " of " << sample;
        });
    }
}

TEST(StoredWord, OfFloatsIsTheBitPattern) {
    const struct {
        double sample;
        const char* format;
        std::uint64_t word;
        const char* why;
    } cases[] = {
        {1.0, "f16:5 nearest", 0x3c00, "one"},
        {-2.0, "f16:5 nearest", 0xc000, "sign bit"},
        {65504.0, "f16:5 ceil", 0x7bff, "the greatest value"},
        {65504.5, "f16:5 floor", 0x7c00, "compared before it is rounded"},
        {-1e9, "f16:5 fix", 0xfc00, "minus infinity"},
        {0x1p-14, "f16:5 floor", 0x0400, "the smallest normal value"},
        {0x1p-24, "f16:5 floor", 0x0001, "the smallest denormal value"},
        {0x1p-25, "f16:5 floor", 0x0000, "underflow"},
        {0x1p-25, "f16:5 ceil", 0x0001, "up to the smallest denormal value"},
        {0x1.ffcp-15, "f16:5 nearest", 0x0400, "a denormal value rounds up to a normal one"},
        {0x1.fffp0, "f16:5 nearest", 0x4000, "a carry into the exponent"},
        {0x1p24 + 1, "f32:8 round", 0x4b800001, "a tie away from zero"},
        {0x1p24 + 1, "f32:8 convergent", 0x4b800000, "a tie to even"},
        {1.0 / 3, "f64:11 fix", 0x3fd5555555555555, "a double stays"},
        {-0.0, "f16:5 fix", 0x8000, "a negative zero keeps its sign"},
        {-0x1p-30, "f16:5 ceil", 0x8000, "rounded up to a negative zero"},
        {-0x1p-30, "f16:5 nearest", 0x0000, "the floor of a positive sum"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(storedWord(row.sample, parseFormat(row.format, Format{})), row.word) << row.why;
    }
}

TEST(CoveringFraction, IsTheFinestThatHoldsBothEnds) {
    constexpr unsigned kSeed = 7;
    std::mt19937 random(kSeed);
    std::uniform_real_distribution<double> ends(-1.0, 1.0);
    for (int turn = 0; turn < 500; ++turn) {
        const int scale = static_cast<int>(random() % 60) - 30;
        const double a = std::ldexp(ends(random), scale);
        const double b = std::ldexp(ends(random), scale);
        const double low = std::min(a, b);
        const double high = std::max(a, b);
        const int wordBits = 3 + static_cast<int>(random() % 30);
        for (const Round round : parseRounds("all")) {
            const auto holds = [&](int fraction) {
                const auto integer = [&](double end) {
                    return rounded(scaled(Rational(end), fraction), static_cast<Rounding>(round));
                };
                const Integer limit(twoTo(wordBits - 1));
                return integer(low) >= -limit && integer(high) < limit;
            };
            const int fraction = coveringFraction(low, high, Kind::Signed, wordBits, round);
            EXPECT_TRUE(holds(fraction) && !holds(fraction + 1))
                << "seed " << kSeed << ": " << low << " to " << high << " in " << wordBits << " bits: " << fraction;
        }
    }
    const struct {
        double low, high;
        Kind kind;
        int wordBits, fraction;
        const char* why;
    } cases[] = {
        {0, 0, Kind::Signed, 8, 7, "silence has full scale 1"},
        {0, 0, Kind::Unsigned, 8, 8, "silence has full scale 1"},
        {-1, 0.5, Kind::Signed, 8, 7, "the lower bound is reached"},
        {-1, 1, Kind::Signed, 8, 6, "the upper bound isn't"},
        {-100, 0.5, Kind::Unsigned, 8, 8, "samples below zero don't count"},
        {0, 1e-300, Kind::Signed, 16, 512, "no further than the limit"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(coveringFraction(row.low, row.high, row.kind, row.wordBits, Round::Nearest), row.fraction) << row.why;
    }
}
