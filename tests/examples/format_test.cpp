// What a user types for formats, lists and modes, and binary points worked out by hand. Stored words are compared with
// the library's in all modes by the study itself (word_length_study_test.cpp).
#include "examples/studies/Format.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "examples/studies/StudyError.h"
#include "examples/studies/stored_word.h"

using namespace study;

namespace {

std::string refusal(const std::function<void()>& action) {
    try {
        action();
    } catch (const StudyError& error) {
        EXPECT_EQ(error.code(), ExitCode::BadArguments);
        return error.what();
    }
    return "accepted";
}

const Format kDefaults{Kind::Signed, 1, 0, 0, Round::Fix, Overflow::Wrap};

}  // namespace

TEST(Format, ReadsWhatItPrints) {
    const struct {
        const char* text;
        Format format;
        const char* fullName;
    } cases[] = {
        {"s16,15", {Kind::Signed, 16, 15, 0, Round::Fix, Overflow::Wrap}, "s16,15 fix/wrap"},
        {"u8,-3", {Kind::Unsigned, 8, -3, 0, Round::Fix, Overflow::Wrap}, "u8,-3 fix/wrap"},
        {"s1,512", {Kind::Signed, 1, 512, 0, Round::Fix, Overflow::Wrap}, "s1,512 fix/wrap"},
        {"u52,52 ceil", {Kind::Unsigned, 52, 52, 0, Round::Ceil, Overflow::Wrap}, "u52,52 ceil/wrap"},
        {"s8,12,floor/saturate", {Kind::Signed, 8, 12, 0, Round::Floor, Overflow::Saturate}, "s8,12 floor/saturate"},
        {"f16:5", {Kind::Float, 16, 0, 5, Round::Fix, Overflow::Saturate}, "f16:5 fix"},
        {"f64:11 convergent", {Kind::Float, 64, 0, 11, Round::Convergent, Overflow::Saturate}, "f64:11 convergent"},
    };
    for (const auto& row : cases) {
        const Format format = parseFormat(row.text, kDefaults);
        EXPECT_EQ(format, row.format) << row.text;
        EXPECT_EQ(fullName(format), row.fullName);
        EXPECT_EQ(parseFormat(fullName(format), Format{}), format) << row.text;
    }
}

TEST(Format, RefusesWhatIsNoFormatAndQuotesIt) {
    std::vector<std::pair<std::string, const char*>> cases = {
        {"s0,0", "the word has 1 to 52 bits"},
        {"s53,0", "the word has 1 to 52 bits"},
        {"u16,513", "the fraction has -512 to 512 bits"},
        {"f16:1", "the exponent has 2 to 11 bits"},
        {"f5:4", "1 to 52 bits for the fraction"},
        {"f65:11", "1 to 52 bits for the fraction"},
        {"s16,15 up", "there is no rounding mode 'up'"},
        {"s16,15 floor/clip", "there is no overflow mode 'clip' (known: saturate, wrap)"},
    };
    for (const char* text : {"", "s", "16,15", "x16,15", "s16", "s16:5", "s16,15,14", "s16,1x", "s16,15floor",
                             "s99999999999,15", "f16,5", "f16:5 floor/wrap", "s16,15 floor/wrap/wrap"}) {
        cases.emplace_back(text, "give one like");
    }
    for (const auto& [text, reason] : cases) {
        const std::string message = refusal([text = text] { parseFormat(text, kDefaults); });
        EXPECT_NE(message.find(reason), std::string::npos) << text << ": " << message;
        if (message.starts_with("bad format")) {
            EXPECT_NE(message.find("'" + text + "'"), std::string::npos) << message;
        }
    }
}

TEST(Lists, KeepTheOrderAndDropRepetitions) {
    EXPECT_EQ(parseNumbers("8:11", "numbers", 1, 52), (std::vector{8, 9, 10, 11}));
    EXPECT_EQ(parseNumbers("12,8,10:12", "numbers", 1, 52), (std::vector{12, 8, 10, 11}));
    EXPECT_EQ(parseNumbers("-2:1", "numbers", -5, 5), (std::vector{-2, -1, 0, 1}));
    EXPECT_EQ(parseRounds("floor,ceil,floor"), (std::vector{Round::Floor, Round::Ceil}));
    EXPECT_EQ(parseRounds("all").size(), 6U);
    EXPECT_EQ(parseOverflows("wrap"), std::vector{Overflow::Wrap});
    EXPECT_TRUE(parseFloats("none").empty());
    EXPECT_EQ(parseFloats("16:5,32:8,16:5").size(), 2U);
}

TEST(Lists, RefuseGapsReversalsAndNumbersOutOfRange) {
    for (const char* text : {"", ",", "8,", "8:", ":8", "8:9:10", "9:8", "a", "8 ,9", "0:5", "50:53", "1e1"}) {
        EXPECT_NE(refusal([&] { parseNumbers(text, "word lengths", 1, 52); }), "accepted") << text;
    }
    for (const char* text : {"", "up", "floor,", "Floor", "all,floor"}) {
        EXPECT_NE(refusal([&] { parseRounds(text); }), "accepted") << text;
    }
    for (const char* text : {"", "16", "16:5:1", "16:5,", "4:4", "16:12"}) {
        EXPECT_NE(refusal([&] { parseFloats(text); }), "accepted") << text;
    }
}

TEST(StoredWord, OfAFloatIsInfiniteBeyondTheGreatestValueAlone) {
    EXPECT_EQ(storedWord(65504.0, parseFormat("f16:5 ceil", Format{})), 0x7bffU);
    EXPECT_EQ(storedWord(65504.5, parseFormat("f16:5 floor", Format{})), 0x7c00U);
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
