// Stored words of floats, and binary points, worked out by hand. Those of fixed-point words are compared with the
// library's in all modes by the study itself (word_length_study_test.cpp).
#include "examples/studies/stored_word.h"

#include <gtest/gtest.h>

using namespace study;

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
