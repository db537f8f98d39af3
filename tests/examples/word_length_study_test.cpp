// The word length study as its user meets it: small recordings in; table, files, messages and exit codes out.
//
// Expected figures come from integer arithmetic on the 16-bit samples, done here.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "examples/word_length_study/program.h"
#include "tests/examples/sounds.h"

namespace {

struct Outcome {
    int code;
    std::string out;
    std::string err;
};

Outcome runStudy(const std::vector<std::string>& arguments, bool errIsTerminal = false) {
    std::ostringstream out;
    std::ostringstream err;
    const int code = study::run(arguments, out, err, errIsTerminal);
    return {code, out.str(), err.str()};
}

using Row = std::map<std::string, std::string>;

/// Cuts a line at commas outside quotation marks and takes the marks away.
std::vector<std::string> cells(const std::string& line) {
    std::vector<std::string> result(1);
    bool quoted = false;
    for (const char character : line) {
        if (character == '"') {
            quoted = !quoted;
        } else if (character == ',' && !quoted) {
            result.emplace_back();
        } else {
            result.back() += character;
        }
    }
    return result;
}

/// Runs a study and returns the rows of its comma-separated table.
std::vector<Row> tableOf(std::vector<std::string> arguments) {
    const TemporaryFolder folder;
    arguments.insert(arguments.end(), {"--csv", folder.file("table.csv")});
    const Outcome outcome = runStudy(arguments);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    std::istringstream text(readText(folder.file("table.csv")));
    std::string line;
    std::getline(text, line);
    const auto names = cells(line);
    std::vector<Row> rows;
    while (std::getline(text, line)) {
        const auto values = cells(line);
        EXPECT_EQ(values.size(), names.size()) << line;
        rows.emplace_back();
        for (std::size_t i = 0; i < std::min(values.size(), names.size()); ++i) rows.back()[names[i]] = values[i];
    }
    return rows;
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
    for (int k = -32768; k <= 32767; ++k) samples.push_back(static_cast<std::int16_t>(k));
    return samples;
}

std::int64_t floorDivided(std::int64_t a, std::int64_t b) {
    return a / b - (a % b < 0 ? 1 : 0);
}

/// The whole number of steps of 2^bits nearest to k in the sense of the mode.
std::int64_t steps(std::int64_t k, int bits, const std::string& round) {
    const std::int64_t step = std::int64_t{1} << bits;
    const std::int64_t down = floorDivided(k, step);
    const std::int64_t rest = k - down * step;
    if (rest == 0 || round == "floor") return down;
    if (round == "ceil") return down + 1;
    if (round == "fix") return k < 0 ? down + 1 : down;
    if (2 * rest != step) return 2 * rest > step ? down + 1 : down;
    if (round == "nearest") return down + 1;
    if (round == "round") return k < 0 ? down : down + 1;
    return down % 2 == 0 ? down : down + 1;  // convergent
}

struct Expected {
    std::int64_t overflows = 0;
    std::int64_t underflows = 0;
    double snrDb = 0.0;
};

/// What 16-bit samples become in a signed word whose step is 2^stepBits of theirs.
Expected expectedOf(const std::vector<std::int16_t>& samples, int wordBits, int stepBits, const std::string& round,
                    const std::string& overflow) {
    Expected expected;
    std::int64_t signal = 0;
    std::int64_t noise = 0;
    const std::int64_t limit = std::int64_t{1} << (wordBits - 1);
    for (const std::int64_t k : samples) {
        std::int64_t q = steps(k, stepBits, round);
        if (q == 0 && k != 0) ++expected.underflows;
        if (q < -limit || q >= limit) {
            ++expected.overflows;
            if (overflow == "saturate") {
                q = q < 0 ? -limit : limit - 1;
            } else {
                q -= floorDivided(q + limit, 2 * limit) * 2 * limit;
            }
        }
        const std::int64_t error = k - (q << stepBits);
        signal += k * k;
        noise += error * error;
    }
    expected.snrDb = noise == 0 ? std::numeric_limits<double>::infinity()
                                : 10.0 * std::log10(static_cast<double>(signal) / static_cast<double>(noise));
    return expected;
}

std::string words(const std::vector<std::string>& arguments) {
    const TemporaryFolder folder;
    auto all = arguments;
    all.insert(all.end(), {"--out", folder.file("words.hex")});
    const Outcome outcome = runStudy(all);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("read back and found equal"), std::string::npos);
    return readText(folder.file("words.hex"));
}

}  // namespace

TEST(WordLengthStudy, MeasuresAFullScaleRampAsIntegersSay) {
    const TemporaryFolder folder;
    writeSound(folder.file("ramp.wav"), ramp());
    const auto rows = tableOf(
        {folder.file("ramp.wav"), "--full", "--words", "2,5,8,15,16", "--fractions", "1,7,9,15", "--floats", "none"});
    ASSERT_EQ(rows.size(), 5U * 4U * 6U * 2U);
    for (const Row& row : rows) {
        const auto expected = expectedOf(ramp(), wordBitsOf(row), 15 - std::stoi(row.at("fraction_bits")),
                                         row.at("round"), row.at("overflow"));
        EXPECT_EQ(row.at("overflows"), std::to_string(expected.overflows)) << nameOf(row);
        EXPECT_EQ(row.at("underflows"), std::to_string(expected.underflows)) << nameOf(row);
        if (std::isinf(expected.snrDb)) {
            EXPECT_EQ(row.at("snr_db"), "inf") << nameOf(row);
        } else {
            EXPECT_NEAR(ratioOf(row), expected.snrDb, 1e-9) << nameOf(row);
        }
    }
}

TEST(WordLengthStudy, CountsTheRampsOverflowsAndUnderflowsAsReasonSays) {
    const TemporaryFolder folder;
    writeSound(folder.file("ramp.wav"), ramp());
    const std::string signal = folder.file("ramp.wav");
    const struct {
        const char* format;
        const char* overflows;
        const char* underflows;
        const char* smallest;
        const char* greatest;
        const char* why;
    } cases[] = {
        {"s8,7 nearest/saturate", "128", "255", "-1", "0.9921875", "32640 to 32767 round to 128; -128 to 127 to 0"},
        {"s8,7 floor/saturate", "0", "255", "-1", "0.9921875", "nothing is rounded up; 1 to 255 become 0"},
        {"s8,7 nearest/wrap", "128", "255", "-1", "0.9921875", "the same ones wrap to -128"},
        {"u8,8 floor/saturate", "32768", "127", "0", "0.99609375", "all below zero; 1 to 127 become 0"},
        {"s1,0 fix/saturate", "0", "65534", "-1", "0", "all but -1 and 0 become 0"},
        {"f16:5 nearest", "0", "0", "-1", "1", "half of a step below 1 rounds to 1"},
    };
    for (const auto& row : cases) {
        bool found = false;
        for (const Row& measured : tableOf({signal, "--format", row.format})) {
            if (measured.at("chosen") != "1" || found) continue;
            found = true;
            EXPECT_EQ(nameOf(measured), row.format);
            EXPECT_EQ(measured.at("overflows"), row.overflows) << row.format << ": " << row.why;
            EXPECT_EQ(measured.at("underflows"), row.underflows) << row.format << ": " << row.why;
            EXPECT_EQ(std::stod(measured.at("smallest")), std::stod(row.smallest)) << row.format << ": " << row.why;
            EXPECT_EQ(std::stod(measured.at("greatest")), std::stod(row.greatest)) << row.format << ": " << row.why;
        }
        EXPECT_TRUE(found) << row.format;
    }
}

TEST(WordLengthStudy, ChoosesTheSmallestWordThatKeepsTheRatio) {
    const TemporaryFolder folder;
    std::vector<std::int16_t> samples;
    for (int k = -32768; k <= 32767; k += 37) samples.push_back(static_cast<std::int16_t>(k));
    writeSound(folder.file("ramp.wav"), samples);
    for (const char* wanted : {"-3", "20", "60", "80", "1000"}) {
        for (const bool full : {false, true}) {
            std::vector<std::string> arguments = {folder.file("ramp.wav"), "--snr", wanted, "--signedness", "both"};
            if (full) arguments.emplace_back("--full");
            const auto rows = tableOf(arguments);
            const auto chosen =
                std::find_if(rows.begin(), rows.end(), [](const Row& row) { return row.at("chosen") == "1"; });
            ASSERT_NE(chosen, rows.end()) << wanted;
            EXPECT_TRUE(isFixed(*chosen) && ratioOf(*chosen) >= std::stod(wanted)) << wanted;
            for (const Row& row : rows) {
                EXPECT_FALSE(isFixed(row) && ratioOf(row) >= std::stod(wanted) && wordBitsOf(row) < wordBitsOf(*chosen))
                    << wanted << ": " << nameOf(row) << " is smaller than " << nameOf(*chosen);
                if (nameOf(row) != nameOf(*chosen)) {
                    EXPECT_EQ(row.at("chosen"), "0");
                }
            }
            const Outcome outcome = runStudy(arguments);
            EXPECT_NE(outcome.out.find("\n> " + nameOf(*chosen) + " is the smallest word"), std::string::npos);
        }
    }
}

TEST(WordLengthStudy, SaysSoWhenNothingKeepsTheRatio) {
    const TemporaryFolder folder;
    writeSound(folder.file("ramp.wav"), ramp());
    const Outcome outcome = runStudy({folder.file("ramp.wav"), "--words", "8", "--snr", "60"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_NE(outcome.out.find("No fixed-point format of the table keeps 60.0 dB; the best is s8,"), std::string::npos)
        << outcome.out;
    EXPECT_EQ(outcome.out.find("\n> "), std::string::npos) << "no row is marked";
}

TEST(WordLengthStudy, WritesTheWordsOfAFormat) {
    const TemporaryFolder folder;
    writeSound(folder.file("a.wav"), std::vector<std::int16_t>{0, 1, -1, 16384, -16384, 255, -32768, 32767});
    const std::string signal = folder.file("a.wav");
    const std::pair<const char*, const char*> cases[] = {
        {"s16,15", "0000\n0001\nffff\n4000\nc000\n00ff\n8000\n7fff\n"},
        {"s18,17", "00000\n00004\n3fffc\n10000\n30000\n003fc\n20000\n1fffc\n"},
        {"s8,7 floor", "00\n00\nff\n40\nc0\n00\n80\n7f\n"},
        {"s8,7 nearest", "00\n00\n00\n40\nc0\n01\n80\n7f\n"},
        {"s8,7 ceil/wrap", "00\n01\n00\n40\nc0\n01\n80\n80\n"},
        {"u9,8 floor/wrap", "000\n000\n1ff\n080\n180\n001\n100\n0ff\n"},
        {"u9,8 floor/saturate", "000\n000\n000\n080\n000\n001\n000\n0ff\n"},
        {"s2,1", "0\n0\n0\n1\n3\n0\n2\n1\n"},
        {"s40,30", "0000000000\n0000008000\nffffff8000\n0020000000\nffe0000000\n00007f8000\nffc0000000\n003fff8000\n"},
        {"f16:5", "0000\n0200\n8200\n3800\nb800\n1ff8\nbc00\n3c00\n"},
        {"f32:8", "00000000\n38000000\nb8000000\n3f000000\nbf000000\n3bff0000\nbf800000\n3f7ffe00\n"},
    };
    for (const auto& [format, text] : cases) EXPECT_EQ(words({signal, "--format", format}), text) << format;
    EXPECT_EQ(words({signal, "--snr", "200"}), words({signal, "--format", "s16,15"})) << "the chosen format's words";
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
    EXPECT_EQ(words({signal, "--format", "s16,15", "--channel", "2"}), "f000\n2000\nc000\n");
    const Outcome outcome = runStudy({signal, "--channel", "2", "--gain", "-20"});
    EXPECT_NE(outcome.out.find("Signed 16 bit PCM, 44100 Hz, channel 2 of 2, 3 samples (0.000 s)\n"
                               "  peak 0.05 of full scale (-26.0 dB), after a gain of -20 dB; wanted ratio 60.0 dB"),
              std::string::npos)
        << outcome.out;
    const auto rows = tableOf({signal, "--channel", "2", "--gain", "12", "--format", "s16,15"});
    const auto chosen = std::find_if(rows.begin(), rows.end(), [](const Row& row) { return row.at("chosen") == "1"; });
    ASSERT_NE(chosen, rows.end());
    EXPECT_EQ(chosen->at("overflows"), "1") << "-0.5 and 12 dB is -1.99; 0.25 becomes 0.995";
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

TEST(WordLengthStudy, StudiesSilenceAndASingleSample) {
    const TemporaryFolder folder;
    writeSound(folder.file("silence.wav"), std::vector<std::int16_t>(10));
    writeSound(folder.file("one.wav"), std::vector<std::int16_t>{-32768});
    const Outcome silence = runStudy({folder.file("silence.wav")});
    EXPECT_EQ(silence.code, 0) << silence.err;
    EXPECT_NE(silence.out.find("> s6,5 nearest/saturate is the smallest word of the table that keeps 60.0 dB: exact"),
              std::string::npos)
        << silence.out;
    EXPECT_EQ(runStudy({folder.file("one.wav")}).code, 0);
}

TEST(WordLengthStudy, PrintsATableOfOneScreen) {
    const TemporaryFolder folder;
    auto samples = ramp();
    for (auto& sample : samples) sample = static_cast<std::int16_t>(sample / 2);
    writeSound(folder.file("a.wav"), samples);
    std::filesystem::current_path(std::filesystem::path(folder.file("a.wav")).parent_path());
    const Outcome outcome = runStudy({"a.wav", "--no-mix"});
    std::filesystem::current_path("/");
    EXPECT_EQ(outcome.err, "");
    std::istringstream lines(outcome.out);
    std::string line;
    int count = 0;
    for (; std::getline(lines, line); ++count) EXPECT_LE(line.size(), 110U) << line;
    EXPECT_GE(count, 30);
    EXPECT_LE(count, 50);
    for (const char* text : {"overflows", "underflows", "smallest", "greatest", "SNR", "[dB]", "Signed words",
                             "Rounding modes at s", "Binary point and overflow at ", "Floats", "  exact\n", "\n> s"}) {
        EXPECT_NE(outcome.out.find(text), std::string::npos) << text;
    }
}

TEST(WordLengthStudy, HelpShowsEveryOptionAndExitCode) {
    const Outcome outcome = runStudy({"--help"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.err, "");
    for (const char* text : {"SIGNAL",
                             "--help",
                             "--channel",
                             "--gain",
                             "--snr",
                             "--words",
                             "--fractions",
                             "--rounds",
                             "--overflows",
                             "--floats",
                             "--signedness",
                             "--full",
                             "--format",
                             "--out",
                             "--csv",
                             "--mix-delay",
                             "--mix-gain",
                             "--no-mix",
                             "/usr/share/sounds/alsa/Front_Center.wav",
                             "10 log10( sum x^2 / sum (x - q)^2 )",
                             "Exit codes:",
                             "  0  ",
                             "  1  ",
                             "  2  ",
                             "  3  ",
                             "  4  ",
                             "  5  ",
                             "  6  ",
                             "  7  "}) {
        EXPECT_NE(outcome.out.find(text), std::string::npos) << text;
    }
    std::istringstream lines(outcome.out);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 110U) << line;
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

    const struct {
        std::vector<std::string> arguments;
        int code;
        std::string message;
    } cases[] = {
        {{"--nonsense"}, 2, "--nonsense"},
        {{signal, "second.wav"}, 2, "second.wav"},
        {{signal, "--snr", "many"}, 2, "many"},
        {{signal, "--snr", "nan"}, 2, "bad --snr"},
        {{signal, "--snr"}, 2, "--snr"},
        {{signal, "--gain", "401"}, 2, "bad --gain"},
        {{signal, "--mix-delay", "-1"}, 2, "bad --mix-delay: give 0 to 1000000 ms"},
        {{signal, "--mix-delay", "nan"}, 2, "bad --mix-delay"},
        {{signal, "--mix-delay", "soon"}, 2, "soon"},
        {{signal, "--mix-delay", "8192"}, 2, "bad --mix-delay: the recording ends after 8192 ms"},
        {{signal, "--mix-gain", "201"}, 2, "bad --mix-gain: give -200 to 200 dB"},
        {{signal, "--words", "0:8"}, 2, "bad word lengths '0:8'"},
        {{signal, "--fractions", "best"}, 2, "bad fraction lengths 'best'"},
        {{signal, "--rounds", "up"}, 2, "there is no rounding mode 'up'"},
        {{signal, "--overflows", "clip"}, 2, "there is no overflow mode 'clip'"},
        {{signal, "--floats", "16"}, 2, "bad float formats '16'"},
        {{signal, "--signedness", "maybe"}, 2, "maybe"},
        {{signal, "--format", "q15"}, 2, "bad format 'q15'"},
        {{signal, "--format", "s99,15"}, 2, "bad format 's99,15': the word has 1 to 52 bits"},
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
        {{signal, "--words", "8", "--out", kept}, 5, "kept: not written, since no format keeps the wanted ratio"},
        {{signal, "--out", folder.file("no/where.hex")}, 6, "where.hex: cannot be written: No such file or directory"},
        {{signal, "--csv", folder.file("")}, 6, "cannot be written: it is a directory"},
        {{signal, "--out", "/dev/null"}, 6, "cannot be written: it is not a regular file"},
    };
    const auto before = readText(signal);
    const auto entries = folder.entryCount();
    for (const auto& row : cases) {
        const Outcome outcome = runStudy(row.arguments);
        EXPECT_EQ(outcome.code, row.code) << row.message << " / " << outcome.err;
        EXPECT_TRUE(outcome.err.starts_with("word_length_study: ")) << outcome.err;
        EXPECT_NE(outcome.err.find(row.message), std::string::npos) << row.message << " / " << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), row.code == 2 ? 2 : 1) << outcome.err;
    }
    EXPECT_EQ(readText(kept), "kept");
    EXPECT_EQ(readText(signal), before);
    EXPECT_EQ(folder.entryCount(), entries) << "no half-written file stays";
}

TEST(WordLengthStudy, ShowsProgressOnlyForALongRunOnATerminal) {
    const TemporaryFolder folder;
    writeSound(folder.file("ramp.wav"), ramp());
    const std::vector<std::string> quick = {folder.file("ramp.wav"), "--words", "8:12"};
    std::vector<std::string> lengthy = {
        folder.file("ramp.wav"), "--full", "--words", "8:40", "--rounds", "floor,ceil", "--floats", "none"};
    EXPECT_EQ(runStudy(quick, true).err, "");
    EXPECT_EQ(runStudy(lengthy, false).err, "");
    const std::string shown = runStudy(lengthy, true).err;
    EXPECT_NE(shown.find("\rmeasured 264 of 264 formats"), std::string::npos);
    EXPECT_TRUE(shown.ends_with("\r\x1b[K")) << "the line is taken away at the end";
}

TEST(WordLengthStudy, RunsAsAProgram) {
    const TemporaryFolder folder;
    writeSound(folder.file("a.wav"), std::vector<std::int16_t>{0, 1, -1, 16384});
    const auto quoted = [](const std::string& text) { return "'" + text + "'"; };
    const auto shell = [&](const std::string& arguments, const std::string& out) {
        const std::string command =
            quoted(WORD_LENGTH_STUDY) + " " + arguments + " >" + quoted(out) + " 2>" + quoted(folder.file("err"));
        return WEXITSTATUS(std::system(command.c_str()));
    };
    const std::string good = quoted(folder.file("a.wav")) + " --snr -6 --out " + quoted(folder.file("words.hex"));
    EXPECT_EQ(shell(good, folder.file("out")), 0);
    EXPECT_EQ(readText(folder.file("err")), "");
    EXPECT_NE(readText(folder.file("out")).find("is the smallest word of the table that keeps -6.0 dB"),
              std::string::npos);
    EXPECT_NE(readText(folder.file("words.hex")), "");
    EXPECT_EQ(shell(quoted(folder.file("b.wav")), folder.file("out")), 3);
    EXPECT_EQ(readText(folder.file("out")), "");
    EXPECT_EQ(readText(folder.file("err")), "word_length_study: " + folder.file("b.wav") + ": there is no such file\n");
    EXPECT_EQ(shell(quoted(folder.file("a.wav")), "/dev/full"), 6);
}
