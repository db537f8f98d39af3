// The mix of the word length study, against sums of stored integers that are worked out here, and its table.
#include "examples/word_length_study/mix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "examples/word_length_study/program.h"
#include "tests/examples/studies.h"

namespace {

using study::Format;
using study::Kind;
using study::Overflow;
using study::Round;

/// Integers in steps of 2^-fraction that a format stores, and what was seen of them. Stored words, which the study
/// finds equal to the library's, say what a value becomes; in a word of 50 bits nothing overflows.
class Place {
 public:
    Place(bool isSigned, int wordBits, int fraction, Round round, bool wraps)
        : mFormat{isSigned ? Kind::Signed : Kind::Unsigned,   wordBits, fraction, 0, round,
                  wraps ? Overflow::Wrap : Overflow::Saturate},
          mUnbounded{Kind::Signed, 50, fraction, 0, round, Overflow::Saturate} {}

    std::int64_t take(double value) {
        const std::int64_t stored = storedInteger(value, mFormat);
        const std::int64_t unbounded = storedInteger(value, mUnbounded);
        underflows += unbounded == 0 && value != 0.0 ? 1U : 0U;
        overflows += stored != unbounded ? 1U : 0U;
        smallest = std::min(smallest, stored);
        greatest = std::max(greatest, stored);
        return stored;
    }
    /// From an integer in steps of 2^-fraction.
    std::int64_t take(std::int64_t value, int fraction) {
        return take(std::ldexp(static_cast<double>(value), -fraction));
    }

    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;
    std::int64_t smallest = std::numeric_limits<std::int64_t>::max();
    std::int64_t greatest = std::numeric_limits<std::int64_t>::min();

 private:
    Format mFormat, mUnbounded;
};

void expectRow(const study::MixRow& row, const std::string& type, const Place& place, int fraction,
               const std::vector<double>& wanted, const std::vector<std::int64_t>& got) {
    SCOPED_TRACE(row.name + " " + row.type);
    EXPECT_EQ(row.type, type);
    EXPECT_EQ(row.overflows, place.overflows);
    EXPECT_EQ(row.underflows, place.underflows);
    EXPECT_EQ(row.smallest, std::ldexp(static_cast<double>(place.smallest), -fraction));
    EXPECT_EQ(row.greatest, std::ldexp(static_cast<double>(place.greatest), -fraction));
    double signal = 0.0;
    double noise = 0.0;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const double error = wanted[i] - std::ldexp(static_cast<double>(got[i]), -fraction);
        signal += wanted[i] * wanted[i];
        noise += error * error;
    }
    EXPECT_NEAR(row.snrDb, 10.0 * std::log10(signal / noise), 1e-6);
}

std::string typeText(bool isSigned, int wordBits, int fraction) {
    return (isSigned ? "s" : "u") + std::to_string(wordBits) + "," + std::to_string(fraction);
}

TEST(Mix, EveryRowIsWhatIntegersSay) {
    constexpr unsigned seed = 20260802;
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> spread(-0.49, 0.45);
    std::vector<double> samples(500);
    for (double& sample : samples) {
        sample = spread(random);
    }
    samples[7] = 0.0;
    samples[8] = 1e-9;
    constexpr std::size_t delay = 13;
    constexpr double gainDb = -9.5;

    const Format formats[] = {{Kind::Signed, 12, 12, 0, Round::Nearest, Overflow::Saturate},
                              {Kind::Signed, 8, 7, 0, Round::Floor, Overflow::Saturate},
                              {Kind::Signed, 10, 11, 0, Round::Nearest, Overflow::Wrap},
                              {Kind::Unsigned, 9, 10, 0, Round::Nearest, Overflow::Saturate}};
    for (const Format& format : formats) {
        SCOPED_TRACE(testing::Message() << "seed " << seed << " " << fullName(format));
        const study::Mix mix = study::mix(samples, format, {delay, 0.0, gainDb});
        const bool isSigned = format.kind == Kind::Signed;
        const int bits = format.wordBits;
        const int fraction = format.fractionBits;
        const bool wraps = format.overflow == Overflow::Wrap;

        std::vector<double> copy(samples.size());
        for (std::size_t i = delay; i < copy.size(); ++i) {
            copy[i] = std::pow(10.0, gainDb / 20.0) * samples[i - delay];
        }
        const auto overflowsAt = [&](int f) {
            Place place(isSigned, bits, f, format.round, false);
            for (const double value : copy) {
                if (isSigned || value > 0.0) {
                    place.take(value);
                }
            }
            return place.overflows > 0;
        };
        int copyFraction = 40;
        while (overflowsAt(copyFraction)) {
            --copyFraction;
        }

        Place placeA(isSigned, bits, fraction, format.round, wraps);
        Place placeB(isSigned, bits, copyFraction, format.round, wraps);
        std::vector<std::int64_t> a;
        std::vector<std::int64_t> b;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            a.push_back(placeA.take(samples[i]));
            b.push_back(placeB.take(copy[i]));
        }
        ASSERT_EQ(mix.operands.size(), 2U);
        expectRow(mix.operands[0], typeText(isSigned, bits, fraction), placeA, fraction, samples, a);
        expectRow(mix.operands[1], typeText(isSigned, bits, copyFraction), placeB, copyFraction, copy, b);

        const int finest = std::max(fraction, copyFraction);
        const int whole = bits - std::min(fraction, copyFraction) + 1;
        const struct {
            const char* mode;
            int wordBits, fraction;
            bool casts, wraps;
        } rules[] = {
            {"FullPrecision", whole + finest, finest, true, wraps}, {"KeepLSB", bits, finest, true, wraps},
            {"KeepMSB", bits, bits - whole, true, wraps},           {"KeepMSB", bits, bits - whole, false, wraps},
            {"SpecifyPrecision", bits, fraction, true, wraps},      {"SpecifyPrecision", bits, fraction, true, true}};
        for (const int sign : {1, -1}) {
            const auto& rows = sign > 0 ? mix.sums : mix.differences;
            ASSERT_EQ(rows.size(), std::size(rules));
            std::vector<double> wanted;
            for (std::size_t i = 0; i < samples.size(); ++i) {
                wanted.push_back(samples[i] + sign * copy[i]);
            }
            for (std::size_t r = 0; r < rows.size(); ++r) {
                const auto& rule = rules[r];
                SCOPED_TRACE(testing::Message() << rule.mode << (sign > 0 ? " plus" : " minus") << " row " << r);
                EXPECT_EQ(rows[r].name, rule.mode);
                EXPECT_EQ(rows[r].castsOperands, rule.casts);
                EXPECT_EQ(rows[r].overflow, rule.wraps ? Overflow::Wrap : Overflow::Saturate);
                Place place(isSigned, rule.wordBits, rule.fraction, format.round, rule.wraps);
                std::vector<std::int64_t> got;
                for (std::size_t i = 0; i < a.size(); ++i) {
                    const std::int64_t left = rule.casts ? place.take(a[i], fraction) : a[i] << (finest - fraction);
                    const std::int64_t right =
                        rule.casts ? place.take(b[i], copyFraction) : b[i] << (finest - copyFraction);
                    got.push_back(place.take(left + sign * right, rule.casts ? rule.fraction : finest));
                }
                expectRow(rows[r], typeText(isSigned, rule.wordBits, rule.fraction), place, rule.fraction, wanted, got);
            }
        }
    }
}

TEST(Mix, DelayIsThatOfTheRecordingsRateAndStaysInsideIt) {
    study::Recording recording;
    recording.sampleRate = 48000;
    recording.samples.resize(48000);
    study::Options options;
    EXPECT_EQ(study::mixSettingOf(options, recording).delay, 1200U);
    options.mixDelayMs = 0.03;
    EXPECT_EQ(study::mixSettingOf(options, recording).delay, 1U);
    options.mixDelayMs.reset();
    for (const std::size_t count : {1U, 2U, 3U, 8U}) {
        recording.samples.resize(count);
        EXPECT_LT(study::mixSettingOf(options, recording).delay, count);
    }
}

std::string outputOf(const std::vector<std::string>& arguments) {
    std::ostringstream out;
    std::ostringstream err;
    EXPECT_EQ(study::run(arguments, out, err, false), 0) << err.str();
    return out.str();
}

TEST(Mix, TheTableFollowsTheStudyAndQuotesTheHost) {
    const TemporaryFolder folder;
    std::vector<std::int16_t> samples;
    for (int i = 0; i < 2000; ++i) {
        samples.push_back(static_cast<std::int16_t>(16000.0 * std::sin(0.05 * i)));
    }
    writeSound(folder.file("a.wav"), samples);
    const std::string signal = folder.file("a.wav");
    const std::string text = outputOf({signal, "--format", "s12,12", "--mix-delay", "2", "--mix-gain", "-3"});
    const auto begin =
        text.find("\nMixed through the host: the recording plus and minus a copy 2 ms later (16 samples) at -3");
    ASSERT_NE(begin, std::string::npos) << text;
    linesOfAScreen(text.substr(begin));
    const std::regex row(" (saturate|wrap) ");
    EXPECT_EQ(
        std::distance(std::sregex_iterator(text.begin() + static_cast<std::ptrdiff_t>(begin), text.end(), row), {}),
        14);
    expectTexts(text, {"[warned]", "[dB]", "\"fi:overflow: ", " occurred in the fi ",
                       "\nThe exact sum of two 12-bit words is s13,12 and has "});
    EXPECT_EQ(outputOf({signal, "--no-mix"}).find("Mixed"), std::string::npos);
}

TEST(Mix, TakesSilenceExtremesAndWhateverWasChosen) {
    const TemporaryFolder folder;
    writeSound(folder.file("silence.wav"), std::vector<std::int16_t>(10));
    writeSound(folder.file("one.wav"), std::vector<std::int16_t>{-32768});
    writeSound(folder.file("wide.wav"), std::vector<double>{0x1p255, -0x1p-300, 3.0});
    const struct {
        std::vector<std::string> arguments;
        const char* part;
    } cases[] = {
        {{folder.file("silence.wav")}, "FullPrecision     s7,5"},
        {{folder.file("one.wav"), "--mix-gain", "200"}, "\nThe exact sum"},
        {{folder.file("one.wav"), "--format", "f16:5"}, "recording         s16,15"},
        {{folder.file("one.wav"), "--words", "4", "--snr", "1000"}, "\nThe exact sum"},
        {{folder.file("wide.wav"), "--format", "s52,-512", "--mix-gain", "-200"}, "\nThe exact sum"},
        {{folder.file("wide.wav"), "--format", "u52,512", "--mix-gain", "200"}, "\nThe exact sum"},
    };
    for (const auto& row : cases) {
        EXPECT_NE(outputOf(row.arguments).find(row.part), std::string::npos) << row.part;
    }
}

}  // namespace
