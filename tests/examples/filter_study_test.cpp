// The filter study as its user meets it: recordings in; tables, files, messages and exit codes out.
#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <map>
#include <numbers>
#include <sstream>
#include <string>
#include <vector>

#include "examples/filter_study/FilterStudy.h"
#include "examples/filter_study/program.h"
#include "host/reference/Session.h"
#include "tests/examples/sounds.h"

namespace {

struct Result {
    int code;
    std::string out;
    std::string err;
};

Result runStudy(const std::vector<std::string>& arguments) {
    std::ostringstream out;
    std::ostringstream err;
    const int code = filterstudy::run(arguments, out, err);
    return {code, out.str(), err.str()};
}

/// A low tone that the default filter lets through and a high one that it stops, at 8000 Hz.
std::vector<std::int16_t> tones(int count) {
    std::vector<std::int16_t> samples;
    for (int i = 0; i < count; ++i) {
        const double angle = 2.0 * std::numbers::pi * i;
        samples.push_back(
            static_cast<std::int16_t>(std::lround(11000.0 * std::sin(angle * 0.031) + 5000.0 * std::sin(angle * 0.3))));
    }
    return samples;
}

using Row = std::map<std::string, std::string>;

std::vector<Row> rowsOf(const std::string& csv) {
    const auto cells = [](const std::string& line) {
        std::istringstream parts(line);
        std::vector<std::string> values;
        for (std::string part; std::getline(parts, part, ',');) values.push_back(part);
        return values;
    };
    std::istringstream text(csv);
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

int defined(const std::string& header, const std::string& name) {
    const auto at = header.find("#define FILTER_" + name + " ");
    EXPECT_NE(at, std::string::npos) << name;
    return at == std::string::npos
               ? 0
               : std::stoi(header.substr(at + std::string("#define FILTER_ ").size() + name.size()));
}

std::vector<double> soundOf(const std::string& path) {
    SF_INFO info{};
    SNDFILE* const file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr) return {};
    std::vector<double> samples(static_cast<std::size_t>(info.frames));
    EXPECT_EQ(sf_read_double(file, samples.data(), info.frames), info.frames);
    sf_close(file);
    return samples;
}

/// Rounds to steps of 2^-fraction, ties up, in 64 bits.
std::int64_t nearest(std::int64_t value, int dropped) {
    return dropped <= 0 ? value << -dropped : ((value >> (dropped - 1)) + 1) >> 1;
}
std::int64_t saturated(std::int64_t value, int bits) {
    const std::int64_t half = std::int64_t{1} << (bits - 1);
    return std::clamp(value, -half, half - 1);
}

}  // namespace

TEST(FilterStudy, FilesTellAllThatIsNeededToComputeTheOutputAgain) {
    const TemporaryFolder folder;
    const auto samples = tones(1500);
    writeSound(folder.file("a.wav"), samples);
    for (const char* wanted : {"30", "45", "55"}) {
        SCOPED_TRACE(wanted);
        const auto result = runStudy({folder.file("a.wav"),
                                      "--taps",
                                      "20",
                                      "--attenuation",
                                      "30",
                                      "--coefficients",
                                      "6:11",
                                      "--data",
                                      "6:11",
                                      "--products",
                                      "8:18",
                                      "--sums",
                                      "8:18",
                                      "--stretch",
                                      "300",
                                      "--snr",
                                      wanted,
                                      "--out",
                                      folder.file("made/here"),
                                      "--csv",
                                      folder.file("rows.csv")});
        ASSERT_EQ(result.code, 0) << result.err;

        const std::string header = readText(folder.file("made/here/coefficients.h"));
        std::vector<std::int64_t> taps;
        std::istringstream words(readText(folder.file("made/here/coefficients.bin")));
        for (std::string word; std::getline(words, word);) {
            if (word.starts_with("//")) continue;
            std::int64_t integer = word[0] == '1' ? -1 : 0;
            for (const char bit : word) integer = integer * 2 + (bit == '1');
            taps.push_back(integer);
        }
        ASSERT_EQ(taps.size(), 20U);
        const int fullFraction = defined(header, "COEFFICIENT_FRACTION") + defined(header, "DATA_FRACTION");
        const int productFraction = defined(header, "PRODUCT_FRACTION");
        const int sumFraction = defined(header, "SUM_FRACTION");
        std::vector<double> expected;
        for (int i = 0; i < 1500; ++i) {
            std::int64_t sum = 0;
            for (int j = std::max(0, i - 9); j <= std::min(1499, i + 10); ++j) {
                const std::int64_t data =
                    saturated(nearest(samples[static_cast<std::size_t>(j)], 15 - defined(header, "DATA_FRACTION")),
                              defined(header, "DATA_BITS"));
                const std::int64_t product = saturated(
                    nearest(data * taps[static_cast<std::size_t>(i + 10 - j)], fullFraction - productFraction),
                    defined(header, "PRODUCT_BITS"));
                const int finer = std::max(0, sumFraction - productFraction);
                const int finest = productFraction + finer;
                sum = saturated(nearest((sum << (finest - sumFraction)) + (product << finer), finest - sumFraction),
                                defined(header, "SUM_BITS"));
            }
            expected.push_back(std::ldexp(static_cast<double>(sum), -sumFraction));
        }
        EXPECT_EQ(soundOf(folder.file("made/here/filtered.wav")), expected);

        double signal = 0.0;
        double noise = 0.0;
        const auto coefficients = filterstudy::designLowPass({20, 1.0 / 12.0, 30.0});
        for (int i = 0; i < 1500; ++i) {
            double exact = 0.0;
            for (int j = std::max(0, i - 9); j <= std::min(1499, i + 10); ++j) {
                exact +=
                    samples[static_cast<std::size_t>(j)] / 32768.0 * coefficients[static_cast<std::size_t>(i + 10 - j)];
            }
            const double error = exact - expected[static_cast<std::size_t>(i)];
            signal += exact * exact;
            noise += error * error;
        }
        EXPECT_GE(10.0 * std::log10(signal / noise), std::stod(wanted));

        // In the rows, those that keep the ratio on the stretch cost no less, but for those the whole recording
        // refused.
        const auto rows = rowsOf(readText(folder.file("rows.csv")));
        const auto chosen =
            std::find_if(rows.begin(), rows.end(), [](const Row& row) { return row.at("chosen") == "1"; });
        ASSERT_NE(chosen, rows.end());
        EXPECT_EQ(std::stoi(chosen->at("coefficient_bits")), defined(header, "COEFFICIENT_BITS"));
        EXPECT_EQ(std::stoi(chosen->at("data_bits")), defined(header, "DATA_BITS"));
        EXPECT_EQ(std::stoi(chosen->at("product_bits")), defined(header, "PRODUCT_BITS"));
        EXPECT_EQ(std::stoi(chosen->at("output_bits")), defined(header, "SUM_BITS"));
        EXPECT_GE(std::stod(chosen->at("snr_db")), std::stod(wanted));
        for (const Row& row : rows) {
            const int cost = std::stoi(row.at("coefficient_bits")) * std::stoi(row.at("data_bits")) +
                             std::stoi(row.at("product_bits")) + std::stoi(row.at("output_bits"));
            EXPECT_EQ(std::stoi(row.at("cost")), cost);
            if (row.at("sum_mode") == "SpecifyPrecision" && row.at("overflow") == "saturate") {
                EXPECT_LE(std::stod(row.at("greatest")),
                          std::ldexp(1.0, std::stoi(row.at("output_bits")) - 1 - std::stoi(row.at("output_fraction"))));
            }
        }
    }
}

TEST(FilterStudy, PrintsBothTablesTheChoiceAndTheCheck) {
    const TemporaryFolder folder;
    writeSound(folder.file("a.wav"), tones(1000));
    const auto result = runStudy({folder.file("a.wav"), "--taps", "16", "--coefficients", "7,9", "--data", "7,9",
                                  "--products", "12", "--sums", "12", "--snr", "25", "--stretch", "200"});
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(result.err, "");
    for (const char* text :
         {"16-tap low-pass, Kaiser window for 70 dB, cutoff 666.667 Hz at 8000 Hz",
          "SNR [dB] with products and sums in full", "Products\n", "Sums\n", "Rounding of products and sums\n",
          "  FullPrecision ", "  KeepMSB ", "  KeepLSB ", "  SpecifyPrecision wrap ", "  convergent ", "[ns/tap]",
          "\n> The cheapest words that keep 25.0 dB: ", "found equal, bit for bit, to those of an integer model"}) {
        EXPECT_NE(result.out.find(text), std::string::npos) << text << "\n" << result.out;
    }
    std::istringstream lines(result.out.substr(result.out.find('\n')));
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 110U) << line;
    EXPECT_EQ(folder.entryCount(), 1U) << "without --out nothing is written";
}

TEST(FilterStudy, ShowsTheChosenCoefficientsOnlyWhenAsked) {
    const TemporaryFolder folder;
    writeSound(folder.file("a.wav"), tones(1000));
    std::vector<std::string> arguments = {
        folder.file("a.wav"), "--taps", "15", "--coefficients", "9", "--data", "9", "--snr", "20"};
    const std::string heading = "\nThe coefficients as the host displays them\n";
    EXPECT_EQ(runStudy(arguments).out.find(heading), std::string::npos);

    arguments.push_back("--show");
    const std::string shown = runStudy(arguments).out;
    EXPECT_NE(shown.find(heading), std::string::npos) << shown;
    EXPECT_EQ(shown.find("\"base2num\""), std::string::npos) << "nothing was written to be read back";
    EXPECT_EQ(folder.entryCount(), 1U);

    arguments.insert(arguments.end(), {"--out", folder.file("made")});
    const auto written = runStudy(arguments);
    EXPECT_EQ(written.code, 0) << written.err;
    EXPECT_NE(written.out.find("and its \"base2num\" reads them back.\n" + heading), std::string::npos) << written.out;
    for (const std::string base : {"hex", "bin"}) {
        std::istringstream found(written.out.substr(written.out.find("  \"" + base + "\":\n") + 9));
        std::istringstream lines(readText(folder.file("made/coefficients." + base)));
        int count = 0;
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with("//")) continue;
            std::string word;
            found >> word;
            EXPECT_EQ(word, line) << base << " " << count;
            ++count;
        }
        EXPECT_EQ(count, 15);
    }

    const auto none =
        runStudy({folder.file("a.wav"), "--taps", "8", "--coefficients", "6", "--data", "6", "--snr", "80", "--show"});
    EXPECT_EQ(none.code, 0) << none.err;
    EXPECT_EQ(none.out.find(heading), std::string::npos);
}

TEST(FilterStudy, ShowsASavedStudyAgainToTheLastCharacter) {
    for (const std::string wanted : {"20", "90"}) {
        const TemporaryFolder folder;
        writeSound(folder.file("a.wav"), tones(1000));
        const std::string saved = folder.file("study.h5");
        std::vector<std::string> output = {"--show", "--csv", folder.file("rows.csv")};
        if (wanted == "20") output.insert(output.end(), {"--out", folder.file("made")});
        std::vector<std::string> first = {folder.file("a.wav"),
                                          "--taps",
                                          "15",
                                          "--coefficients",
                                          "7,9",
                                          "--data",
                                          "9",
                                          "--snr",
                                          wanted,
                                          "--save",
                                          saved};
        first.insert(first.end(), output.begin(), output.end());
        const auto then = runStudy(first);
        EXPECT_EQ(then.code, 0) << then.err;
        const auto filesOf = [&] {
            std::map<std::string, std::string> files;
            for (const char* name : {"rows.csv", "made/filtered.wav", "made/coefficients.h", "made/coefficients.hex"}) {
                files[name] = readText(folder.file(name));
                std::filesystem::remove(folder.file(name));
            }
            return files;
        };
        const auto filesThen = filesOf();
        // Nothing but the file is needed.
        std::filesystem::remove(folder.file("a.wav"));
        std::vector<std::string> second = {"--load", saved};
        second.insert(second.end(), output.begin(), output.end());
        const auto now = runStudy(second);
        EXPECT_EQ(now.code, 0) << now.err;
        EXPECT_EQ(now.out, then.out);
        EXPECT_EQ(filesOf(), filesThen);
    }
    const TemporaryFolder folder;
    writeText(folder.file("text"), "no study");
    const auto foreign = runStudy({"--load", folder.file("text")});
    EXPECT_EQ(foreign.code, 3);
    EXPECT_NE(foreign.err.find("The file holds no saved objects."), std::string::npos) << foreign.err;
    writeSound(folder.file("a.wav"), tones(50));
    EXPECT_EQ(runStudy({folder.file("a.wav"), "--taps", "4", "--snr", "0", "--save", folder.file("no/study.h5")}).code,
              6);
    hostref::Session(TOLVANE_MODULE).save(folder.file("other"), {{"signal", 1.0}});
    EXPECT_NE(runStudy({"--load", folder.file("other")}).err.find("holds no study"), std::string::npos);
}

TEST(FilterStudy, SaysSoWhenNothingKeepsTheRatio) {
    const TemporaryFolder folder;
    writeSound(folder.file("a.wav"), tones(300));
    const std::vector<std::string> few = {
        folder.file("a.wav"), "--taps", "8", "--coefficients", "6", "--data", "6", "--snr", "80"};
    const auto result = runStudy(few);
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_NE(result.out.find("\nNo words of the grid keep 80.0 dB; the best are 6-bit coefficients and 6-bit data"),
              std::string::npos)
        << result.out;
    auto asked = few;
    asked.insert(asked.end(), {"--out", folder.file("made")});
    const auto refused = runStudy(asked);
    EXPECT_EQ(refused.code, 5);
    EXPECT_NE(refused.err.find("made: nothing written, since no words of the grid keep the ratio"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(folder.file("made")));
}

TEST(FilterStudy, TakesSilenceExtremesAndShortRecordings) {
    const TemporaryFolder folder;
    writeSound(folder.file("silence.wav"), std::vector<std::int16_t>(100));
    writeSound(folder.file("one.wav"), std::vector<std::int16_t>{-32768});
    writeSound(folder.file("loud.wav"), std::vector<double>{0x1p255, -0x1p250, 3.0, 0x1p254});
    writeSound(folder.file("faint.wav"), std::vector<double>{0x1p-290, -0x1p-291, 0.0, 0x1p-292});
    for (const char* name : {"silence.wav", "one.wav", "loud.wav", "faint.wav"}) {
        const auto result = runStudy({folder.file(name), "--coefficients", "6,8", "--data", "6,8", "--products", "9",
                                      "--sums", "9", "--snr", "20", "--out", folder.file("made")});
        EXPECT_EQ(result.code, 0) << name << result.err;
        EXPECT_NE(result.out.find("> The cheapest words"), std::string::npos) << name << result.out;
    }
}

TEST(FilterStudy, MeasuresAStretchOfTypicalPower) {
    std::vector<double> samples(100, 0.1);
    for (int i = 40; i < 60; ++i) samples[static_cast<std::size_t>(i)] = 0.2;
    for (int i = 60; i < 80; ++i) samples[static_cast<std::size_t>(i)] = 0.5;
    // Mean power 0.064: nearest are ten samples of 0.2, with 0.04.
    EXPECT_EQ(filterstudy::typicalStretch(samples, 10), 40U);
    EXPECT_EQ(filterstudy::typicalStretch(samples, 100), 0U);
    EXPECT_EQ(filterstudy::typicalStretch(samples, 1), 40U);
}

TEST(FilterStudy, HelpShowsEveryOptionAndExitCode) {
    const auto result = runStudy({"--help"});
    EXPECT_EQ(result.code, 0);
    for (const char* text :
         {"SIGNAL",         "--channel", "--gain",     "--snr",  "--taps",  "--cutoff",     "--attenuation",
          "--coefficients", "--data",    "--products", "--sums", "--round", "--overflow",   "--stretch",
          "--out",          "--csv",     "--show",     "--save", "--load",  "filtered.wav", "  0  ",
          "  1  ",          "  2  ",     "  3  ",      "  4  ",  "  5  ",   "  6  ",        "  7  "}) {
        EXPECT_NE(result.out.find(text), std::string::npos) << text;
    }
    std::istringstream lines(result.out);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 110U) << line;
}

TEST(FilterStudy, TellsEveryErrorAndItsCode) {
    const TemporaryFolder folder;
    const auto signal = folder.file("filtered.wav");
    writeSound(signal, tones(50));
    writeSound(folder.file("nan.wav"), std::vector<double>{0.5, std::nan(""), 0.25});
    writeText(folder.file("text.wav"), "no sound at all, only text");
    const std::string kept = folder.file("kept");
    writeText(kept, "kept");
    const std::vector<std::string> quick = {signal, "--taps", "4", "--coefficients", "8", "--data", "8", "--products",
                                            "8",    "--sums", "8", "--snr",          "0"};
    const auto with = [&quick](std::initializer_list<std::string> more) {
        auto arguments = quick;
        arguments.insert(arguments.end(), more);
        return arguments;
    };

    const struct {
        std::vector<std::string> arguments;
        int code;
        std::string message;
    } cases[] = {
        {{"--nonsense"}, 2, "--nonsense"},
        {{signal, "second.wav"}, 2, "second.wav"},
        {{signal, "--snr", "many"}, 2, "many"},
        {{signal, "--snr", "inf"}, 2, "bad --snr: give a finite ratio in dB"},
        {{signal, "--gain", "nan"}, 2, "bad --gain"},
        {{signal, "--taps", "1"}, 2, "bad --taps: give 2 to 512"},
        {{signal, "--taps", "513"}, 2, "bad --taps"},
        {{signal, "--cutoff", "0"}, 2, "bad --cutoff: give a frequency above 0 Hz"},
        {{signal, "--cutoff", "nan"}, 2, "bad --cutoff"},
        {{signal, "--cutoff", "4000"}, 2, "bad --cutoff: it must lie below 4000 Hz, half of the sample rate"},
        {{signal, "--attenuation", "10"}, 2, "bad --attenuation: give 20 to 200 dB"},
        {{signal, "--coefficients", "1:8"}, 2, "bad word lengths of coefficients '1:8'"},
        {{signal, "--data", "25"}, 2, "bad word lengths of data '25'"},
        {{signal, "--products", "x"}, 2, "bad word lengths of products 'x'"},
        {{signal, "--sums", "54"}, 2, "bad word lengths of sums '54'"},
        {{signal, "--coefficients", "24", "--data", "24"}, 2, "sums of 54 bits"},
        {{signal, "--round", "up"}, 2, "there is no rounding mode 'up'"},
        {{signal, "--round", "floor,ceil"}, 2, "bad --round: give one mode"},
        {{signal, "--overflow", "all"}, 2, "bad --overflow: give one mode"},
        {{signal, "--stretch", "0"}, 2, "bad --stretch"},
        {{signal, "--stretch", "-1"}, 2, "bad --stretch: give at least 1 sample"},
        {{signal, "--channel", "0"}, 2, "bad --channel 0"},
        {{signal, "--channel", "2"}, 2, "there is no channel 2, the recording has 1"},
        {{signal, "--csv", signal}, 2, "an output would replace the recording"},
        {{signal, "--out", folder.file("")}, 2, "an output would replace the recording"},
        {{folder.file("missing.wav")}, 3, "missing.wav: there is no such file"},
        {{folder.file("text.wav")}, 3, "text.wav: cannot be read as a recording"},
        {{folder.file("nan.wav")}, 4, "sample 1 (counted from 0) of channel 1 is not a number"},
        {with({"--out", kept}), 6, "kept: cannot be made: "},
        {with({"--out", "/dev/null/made"}), 6, "/dev/null/made: cannot be made: "},
        {with({"--csv", folder.file("no/rows.csv")}), 6, "rows.csv: cannot be written"},
    };
    const auto entries = folder.entryCount();
    for (const auto& row : cases) {
        const auto result = runStudy(row.arguments);
        EXPECT_EQ(result.code, row.code) << row.message << " / " << result.err;
        EXPECT_TRUE(result.err.starts_with("filter_study: ")) << result.err;
        EXPECT_NE(result.err.find(row.message), std::string::npos) << row.message << " / " << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), row.code == 2 ? 2 : 1) << result.err;
    }
    EXPECT_EQ(readText(kept), "kept");
    EXPECT_EQ(folder.entryCount(), entries) << "no half-written file stays";
}

TEST(FilterStudy, RunsAsAProgram) {
    const TemporaryFolder folder;
    writeSound(folder.file("a.wav"), tones(60));
    const auto shell = [&](const std::string& arguments, const std::string& out) {
        const std::string command = std::string(FILTER_STUDY) + " " + arguments + " >" + out + " 2>/dev/null";
        return WEXITSTATUS(std::system(command.c_str()));
    };
    const std::string good = folder.file("a.wav") + " --taps 4 --coefficients 8 --data 8 --snr 10";
    EXPECT_EQ(shell(good, folder.file("out")), 0);
    EXPECT_NE(readText(folder.file("out")).find("\n> The cheapest words"), std::string::npos);
    EXPECT_EQ(shell(folder.file("b.wav"), folder.file("out")), 3);
    EXPECT_EQ(shell(good, "/dev/full"), 6);
}
