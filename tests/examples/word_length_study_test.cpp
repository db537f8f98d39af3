// The word length study as its user meets it: small recordings in; table, files, messages and exit codes out.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "examples/word_length_study/program.h"
#include "tests/examples/studies.h"

namespace {

Outcome runStudy(const Arguments& arguments, bool errIsTerminal = false) {
    std::ostringstream out;
    std::ostringstream err;
    const int code = study::run(arguments, out, err, errIsTerminal);
    return {code, out.str(), err.str()};
}

/// Runs a study and returns the rows of its comma-separated table.
std::vector<Row> tableOf(Arguments arguments) {
    const TemporaryFolder folder;
    arguments.insert(arguments.end(), {"--csv", folder.file("table.csv")});
    const Outcome outcome = runStudy(arguments);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    return rowsOf(readText(folder.file("table.csv")));
}

bool isFixed(const Row& row) {
    return row.at("kind") != "float";
}
double ratioOf(const Row& row) {
    return std::stod(row.at("snr_db"));
}
int wordBitsOf(const Row& row) {
    return std::stoi(row.at("word_bits"));
}

std::string nameOf(const Row& row) {
    return row.at("format") + " " + row.at("round") + (isFixed(row) ? "/" + row.at("overflow") : "");
}

/// Every 16-bit integer once, which is a ramp over the full scale.
std::vector<std::int16_t> ramp() {
    std::vector<std::int16_t> samples;
    for (int k = -32768; k <= 32767; ++k) {
        samples.push_back(static_cast<std::int16_t>(k));
    }
    return samples;
}

std::string words(const Arguments& arguments) {
    const TemporaryFolder folder;
    auto all = arguments;
    all.insert(all.end(), {"--out", folder.file("words.hex")});
    const Outcome outcome = runStudy(all);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("read back and found equal"), std::string::npos);
    return readText(folder.file("words.hex"));
}

}  // namespace

// Stored words, which have a test of their own, say what a sample becomes; in a word of 40 bits nothing overflows.
TEST(WordLengthStudy, MeasuresAFullScaleRampAsStoredWordsSay) {
    const TemporaryFolder folder;
    writeSound(folder.file("ramp.wav"), ramp());
    const auto rows = tableOf({folder.file("ramp.wav"), "--full", "--words", "1,2,5,8,15,16", "--fractions",
                               "0,1,7,9,15", "--signedness", "both", "--floats", "none"});
    ASSERT_EQ(rows.size(), 6U * 5U * 6U * 2U * 2U);
    for (const Row& row : rows) {
        SCOPED_TRACE(nameOf(row));
        const study::Format format = study::parseFormat(nameOf(row), {});
        study::Format wide = format;
        wide.kind = study::Kind::Signed;
        wide.wordBits = 40;
        int overflows = 0;
        int underflows = 0;
        double smallest = 1e9;
        double greatest = -1e9;
        long double signal = 0;
        long double noise = 0;
        for (const std::int64_t k : ramp()) {
            const double sample = static_cast<double>(k) / 32768;
            const std::int64_t q = storedInteger(sample, format);
            const std::int64_t unbounded = storedInteger(sample, wide);
            underflows += unbounded == 0 && k != 0 ? 1 : 0;
            overflows += q != unbounded ? 1 : 0;
            smallest = std::min(smallest, static_cast<double>(q));
            greatest = std::max(greatest, static_cast<double>(q));
            const std::int64_t error = k - (q << (15 - format.fractionBits));
            signal += static_cast<long double>(k) * static_cast<long double>(k);
            noise += static_cast<long double>(error) * static_cast<long double>(error);
        }
        EXPECT_EQ(row.at("overflows"), std::to_string(overflows));
        EXPECT_EQ(row.at("underflows"), std::to_string(underflows));
        EXPECT_EQ(std::stod(row.at("smallest")), std::ldexp(smallest, -format.fractionBits));
        EXPECT_EQ(std::stod(row.at("greatest")), std::ldexp(greatest, -format.fractionBits));
        if (noise == 0) {
            EXPECT_EQ(row.at("snr_db"), "inf");
        } else {
            EXPECT_NEAR(ratioOf(row), static_cast<double>(10 * std::log10(signal / noise)), 1e-9);
        }
    }
}

TEST(WordLengthStudy, ChoosesTheSmallestWordThatKeepsTheRatio) {
    const TemporaryFolder folder;
    std::vector<std::int16_t> samples;
    for (int k = -32768; k <= 32767; k += 37) {
        samples.push_back(static_cast<std::int16_t>(k));
    }
    writeSound(folder.file("ramp.wav"), samples);
    for (const char* wanted : {"-3", "20", "60", "80", "1000"}) {
        for (const bool full : {false, true}) {
            Arguments arguments = {folder.file("ramp.wav"), "--snr", wanted, "--signedness", "both"};
            if (full) {
                arguments.emplace_back("--full");
            }
            const auto rows = tableOf(arguments);
            const Row chosen = chosenOf(rows);
            EXPECT_TRUE(isFixed(chosen) && ratioOf(chosen) >= std::stod(wanted)) << wanted;
            for (const Row& row : rows) {
                EXPECT_FALSE(isFixed(row) && ratioOf(row) >= std::stod(wanted) && wordBitsOf(row) < wordBitsOf(chosen))
                    << wanted << ": " << nameOf(row) << " is smaller than " << nameOf(chosen);
                if (nameOf(row) != nameOf(chosen)) {
                    EXPECT_EQ(row.at("chosen"), "0");
                }
            }
            const Outcome outcome = runStudy(arguments);
            EXPECT_NE(outcome.out.find("\n> " + nameOf(chosen) + " is the smallest word"), std::string::npos);
        }
    }
}

TEST(WordLengthStudy, SaysSoWhenNothingKeepsTheRatio) {
    const TemporaryFolder folder;
    writeSound(folder.file("ramp.wav"), ramp());
    const Outcome outcome = runStudy({folder.file("ramp.wav"), "--words", "8", "--snr", "60"});
    EXPECT_EQ(outcome.code, 0);
    expectTexts(outcome.out, {"No fixed-point format of the table meets 60.0 dB; the best is s8,"});
    EXPECT_EQ(outcome.out.find("\n> "), std::string::npos) << "no row is marked";
}

TEST(WordLengthStudy, FindsItsWordsEqualInAllModesForDoublesOfEverySize) {
    const TemporaryFolder folder;
    std::vector<double> samples = {0.0, -0.0, 1.0, -1.0, 0x1p-60, -0x1p-60, 0.49999999999999994, -0.5};
    double value = 0.7;
    for (int i = 0; i < 500; ++i) {
        value = 3.9 * value * (1.0 - value);  // wanders all over (0, 1)
        samples.push_back(std::ldexp(value - 0.5, i % 24 - 20));
    }
    writeSound(folder.file("a.wav"), samples);
    const std::string signal = folder.file("a.wav");
    for (const char* format : {"s1,0", "s8,7", "u8,4", "s24,23", "s16,20", "u33,30", "s52,48", "u51,60", "u52,50",
                               "s12,-2", "f8:4", "f16:5", "f16:8", "f32:8", "f48:11", "f64:11"}) {
        for (const char* round : {"ceil", "convergent", "fix", "floor", "nearest", "round"}) {
            if (*format == 'f') {
                words({signal, "--format", std::string(format) + " " + round, "--words", "8"});
                continue;
            }
            for (const char* overflow : {"/saturate", "/wrap"}) {
                words({signal, "--format", std::string(format) + " " + round + overflow, "--words", "8"});
            }
        }
    }
}

TEST(WordLengthStudy, ReadsTheChannelAndGainItIsTold) {
    const TemporaryFolder folder;
    writeSound(folder.file("a.wav"), std::vector<std::int16_t>{100, -4096, 200, 8192, 300, -16384}, 2, 44100);
    const std::string signal = folder.file("a.wav");
    EXPECT_EQ(words({signal, "--format", "s16,15"}), "0064\n00c8\n012c\n");
    EXPECT_EQ(words({signal, "--snr", "200"}), "19\n32\n4b\n") << "the chosen format has 8 bits in steps of 2^-13";
    EXPECT_EQ(words({signal, "--format", "s16,15", "--channel", "2"}), "f000\n2000\nc000\n");
    const Outcome outcome = runStudy({signal, "--channel", "2", "--gain", "-20"});
    EXPECT_NE(outcome.out.find("Signed 16 bit PCM, 44100 Hz, channel 2 of 2, 3 samples (0.000 s)\n"
                               "  peak 0.05 of full scale (-26.0 dB), after a gain of -20 dB; target ratio 60.0 dB"),
              std::string::npos)
        << outcome.out;
    const auto rows = tableOf({signal, "--channel", "2", "--gain", "12", "--format", "s16,15"});
    EXPECT_EQ(chosenOf(rows).at("overflows"), "1") << "-0.5 and 12 dB is -1.99; 0.25 becomes 0.995";
}

TEST(WordLengthStudy, TakesFullScaleFractionsWhateverThePeak) {
    const TemporaryFolder folder;
    writeSound(folder.file("a.wav"), std::vector<std::int16_t>{100, -4096, 200, 8192, 300, -8192});
    const auto rows =
        tableOf({folder.file("a.wav"), "--fractions", "full", "--words", "12,8", "--gain", "13", "--signedness", "both",
                 "--rounds", "floor", "--overflows", "saturate", "--floats", "none"});
    ASSERT_GE(rows.size(), 4U);
    const std::pair<const char*, const char*> expected[] = {
        {"s12,11", "2"}, {"s8,7", "2"}, {"u12,12", "3"}, {"u8,8", "3"}};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(rows[i].at("format"), expected[i].first);
        EXPECT_EQ(rows[i].at("overflows"), expected[i].second) << "0.25 and 13 dB is 1.12";
    }
}

TEST(WordLengthStudy, FindsSilenceExactInTheShortestWord) {
    const TemporaryFolder folder;
    writeSound(folder.file("silence.wav"), std::vector<std::int16_t>(10));
    expectTexts(runStudy({folder.file("silence.wav")}).out,
                {"> s6,5 nearest/saturate is the smallest word of the table that meets 60.0 dB: exact"});
}

TEST(WordLengthStudy, PrintsATableOfOneScreen) {
    const TemporaryFolder folder;
    auto samples = ramp();
    for (auto& sample : samples) {
        sample = static_cast<std::int16_t>(sample / 2);
    }
    writeSound(folder.file("a.wav"), samples);
    std::filesystem::current_path(std::filesystem::path(folder.file("a.wav")).parent_path());
    const Outcome outcome = runStudy({"a.wav", "--no-mix"});
    std::filesystem::current_path("/");
    EXPECT_EQ(outcome.err, "");
    const int count = linesOfAScreen(outcome.out);
    EXPECT_GE(count, 30);
    EXPECT_LE(count, 50);
    expectTexts(outcome.out, {"overflows", "underflows", "smallest", "greatest", "SNR", "[dB]", "Signed words",
                              "Rounding modes at s", "Binary point and overflow at ", "Floats", "  exact\n", "\n> s"});
}

TEST(WordLengthStudy, HelpShowsEveryOptionAndExitCode) {
    const Outcome help = runStudy({"--help"});
    expectHelp(
        help,
        "SIGNAL --help --channel --gain --snr --words --fractions --rounds --overflows --floats --signedness --full "
        "--format --out --csv --mix-delay --mix-gain --no-mix /usr/share/sounds/alsa/Front_Center.wav");
    expectTexts(help.out, {"10 log10( sum x^2 / sum (x - q)^2 )", "Exit codes:"});
}

TEST(WordLengthStudy, TellsEveryErrorAndItsCode) {
    const TemporaryFolder folder;
    const auto signal = folder.file("a.wav");
    writeSound(signal, ramp());
    writeSound(folder.file("none.wav"), std::vector<std::int16_t>{});
    writeSound(folder.file("nan.wav"), std::vector<double>{0.5, std::nan(""), 0.25});
    writeSound(folder.file("inf.wav"), std::vector<double>{0.5, 0.25, -std::numeric_limits<double>::infinity()});
    writeSound(folder.file("huge.wav"), std::vector<double>{1e300});
    writeText(folder.file("empty.wav"), "");
    writeText(folder.file("text.wav"), "no sound at all, only text");
    const std::string kept = folder.file("kept");
    writeText(kept, "kept");

    const std::vector<Refusal> rows = {
        {{"--nonsense"}, 2, "--nonsense"},
        {{signal, "second.wav"}, 2, "second.wav"},
        {{signal, "--snr", "many"}, 2, "many"},
        {{signal, "--snr", "nan"}, 2, "bad --snr"},
        {{signal, "--gain", "401"}, 2, "bad --gain"},
        {{signal, "--mix-delay", "-1"}, 2, "bad --mix-delay: give 0 to 1000000 ms"},
        {{signal, "--mix-delay", "nan"}, 2, "bad --mix-delay"},
        {{signal, "--mix-delay", "8192"}, 2, "bad --mix-delay: the recording ends after 8192 ms"},
        {{signal, "--mix-gain", "201"}, 2, "bad --mix-gain: give -200 to 200 dB"},
        {{signal, "--words", "0:8"}, 2, "bad word lengths '0:8'"},
        {{signal, "--fractions", "best"}, 2, "bad fraction lengths 'best'"},
        {{signal, "--overflows", "clip"}, 2, "there is no overflow mode 'clip'"},
        {{signal, "--floats", "16"}, 2, "bad float formats '16'"},
        {{signal, "--signedness", "maybe"}, 2, "maybe"},
        {{signal, "--format", "q15"}, 2, "bad format 'q15'"},
        {{signal, "--channel", "0"}, 2, "bad --channel 0"},
        {{signal, "--channel", "2"}, 2, "there is no channel 2, the recording has 1"},
        {{signal, "--out", signal}, 2, "would replace the recording"},
        {{signal, "--out", kept, "--csv", kept}, 2, "--out and --csv name the same file"},
        {{folder.file("missing.wav"), "--out", kept}, 3, "missing.wav: there is no such file"},
        {{folder.file("empty.wav"), "--out", kept}, 3, "empty.wav: the file is empty"},
        {{folder.file("text.wav"), "--out", kept}, 3, "text.wav: cannot be read as a recording"},
        {{folder.file("none.wav"), "--out", kept}, 3, "none.wav: the recording has no samples"},
        {{folder.file("")}, 3, "is a directory"},
        {{folder.file("nan.wav"), "--out", kept}, 4, "sample 1 (counted from 0) of channel 1 is not a number"},
        {{folder.file("inf.wav")}, 4, "sample 2 (counted from 0) of channel 1 is infinite"},
        {{folder.file("huge.wav")}, 4, "sample 0 (counted from 0) of channel 1 is 1e+300, beyond 2^256"},
        {{signal, "--words", "8", "--out", kept}, 5, "kept: not written, since no format meets the target ratio"},
        {{signal, "--out", folder.file("no/where.hex")}, 6, "where.hex: cannot be written: No such file or directory"},
        {{signal, "--csv", folder.file("")}, 6, "cannot be written: it is a directory"},
        {{signal, "--out", "/dev/null"}, 6, "cannot be written: it is not a regular file"},
        // Before the recording is looked at, and so before a long study.
        {{folder.file("nan.wav"), "--out", folder.file("kept/a.hex")}, 6, "a.hex: cannot be written: Not a directory"},
        {{folder.file("nan.wav"), "--csv", folder.file("no/rows.csv")}, 6, "rows.csv: cannot be written: No such file"},
    };
    const auto before = readText(signal);
    expectRefusals("word_length_study", rows, folder, [](const Arguments& arguments) { return runStudy(arguments); });
    EXPECT_EQ(readText(kept), "kept");
    EXPECT_EQ(readText(signal), before);
}

TEST(WordLengthStudy, SaysWhatIsOddAboutARecording) {
    expectRemarks("word_length_study", {"--words", "8", "--no-mix"},
                  [](const Arguments& arguments) { return runStudy(arguments); });
}

TEST(WordLengthStudy, ShowsProgressOnlyForALongRunOnATerminal) {
    const TemporaryFolder folder;
    writeSound(folder.file("ramp.wav"), ramp());
    const Arguments quick = {folder.file("ramp.wav"), "--words", "8:12"};
    Arguments lengthy = {
        folder.file("ramp.wav"), "--full", "--words", "8:40", "--rounds", "floor,ceil", "--floats", "none"};
    EXPECT_EQ(runStudy(quick, true).err, "");
    EXPECT_EQ(runStudy(lengthy, false).err, "");
    const std::string shown = runStudy(lengthy, true).err;
    EXPECT_NE(shown.find("\x1b[Kmeasured 264 of 264 formats"), std::string::npos);
    EXPECT_TRUE(shown.ends_with("\r\x1b[K")) << "the line is taken away at the end";
}

TEST(WordLengthStudy, RunsAsAProgram) {
    expectProgram("word_length_study", WORD_LENGTH_STUDY, "--snr -6",
                  "is the smallest word of the table that meets -6.0 dB");
}
