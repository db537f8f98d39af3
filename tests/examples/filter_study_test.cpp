// The filter study as its user meets it: recordings in; tables, files, messages and exit codes out.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <numbers>
#include <sstream>
#include <string>
#include <vector>

#include "examples/filter_study/FilterStudy.h"
#include "examples/filter_study/coefficient_files.h"
#include "examples/filter_study/integer_model.h"
#include "examples/filter_study/low_pass.h"
#include "examples/filter_study/program.h"
#include "host/reference/Session.h"
#include "tests/examples/studies.h"

namespace {

Outcome runStudy(const Arguments& arguments) {
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

/// The number that the C header defines for a name.
int defined(const std::string& header, const std::string& name) {
    const std::string begin = "#define FILTER_" + name + " ";
    const auto at = header.find(begin);
    EXPECT_NE(at, std::string::npos) << name;
    return at == std::string::npos ? 0 : std::stoi(header.substr(at + begin.size()));
}
filterstudy::Word definedWord(const std::string& header, const std::string& name) {
    return {defined(header, name + "_BITS"), defined(header, name + "_FRACTION")};
}

std::vector<double> soundOf(const std::string& path) {
    SF_INFO info{};
    SNDFILE* const file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr) {
        return {};
    }
    std::vector<double> samples(static_cast<std::size_t>(info.frames));
    EXPECT_EQ(sf_read_double(file, samples.data(), info.frames), info.frames);
    sf_close(file);
    return samples;
}

}  // namespace

TEST(FilterStudy, FilesTellAllThatIsNeededToComputeTheOutputAgain) {
    const TemporaryFolder folder;
    const auto samples = tones(1500);
    writeSound(folder.file("a.wav"), samples);
    for (const char* wanted : {"30", "45", "55"}) {
        SCOPED_TRACE(wanted);
        Arguments arguments = {folder.file("a.wav"), "--snr", wanted, "--out", folder.file("made/here")};
        std::istringstream others(
            "--taps 20 --attenuation 30 --coefficients 6:11 --data 6:11 --products 8:18 --sums 8:18 --stretch 300 "
            "--csv");
        for (std::string word; others >> word;) {
            arguments.push_back(word);
        }
        arguments.push_back(folder.file("rows.csv"));
        const auto result = runStudy(arguments);
        ASSERT_EQ(result.code, 0) << result.err;

        const std::string header = readText(folder.file("made/here/coefficients.h"));
        const filterstudy::Arithmetic arithmetic{definedWord(header, "COEFFICIENT"),
                                                 definedWord(header, "DATA"),
                                                 {filterstudy::Keep::Specified, definedWord(header, "PRODUCT")},
                                                 {filterstudy::Keep::Specified, definedWord(header, "SUM")}};
        const auto taps = filterstudy::integersOfWords(readText(folder.file("made/here/coefficients.bin")), 2,
                                                       arithmetic.coefficient.bits);
        ASSERT_EQ(taps.size(), 20U);
        std::vector<double> sound;
        for (const std::int16_t sample : samples) {
            sound.push_back(sample / 32768.0);
        }
        const auto model =
            filterstudy::integerFilter(filterstudy::storedIntegers(sound, arithmetic.data), taps, arithmetic);
        const auto output = soundOf(folder.file("made/here/filtered.wav"));
        const auto exact = filterstudy::filtered(sound, filterstudy::designLowPass({20, 1.0 / 12.0, 30.0}));
        ASSERT_EQ(output.size(), 1500U);
        double signal = 0.0;
        double noise = 0.0;
        for (std::size_t i = 0; i < output.size(); ++i) {
            EXPECT_EQ(output[i], std::ldexp(static_cast<double>(model.words[i]), -arithmetic.sum.word.fraction)) << i;
            signal += exact[i] * exact[i];
            noise += (exact[i] - output[i]) * (exact[i] - output[i]);
        }
        EXPECT_GE(10.0 * std::log10(signal / noise), std::stod(wanted));

        const auto rows = rowsOf(readText(folder.file("rows.csv")));
        const Row chosen = chosenOf(rows);
        EXPECT_EQ(std::stoi(chosen.at("coefficient_bits")), arithmetic.coefficient.bits);
        EXPECT_EQ(std::stoi(chosen.at("data_bits")), arithmetic.data.bits);
        EXPECT_EQ(std::stoi(chosen.at("product_bits")), arithmetic.product.word.bits);
        EXPECT_EQ(std::stoi(chosen.at("output_bits")), arithmetic.sum.word.bits);
        EXPECT_GE(std::stod(chosen.at("snr_db")), std::stod(wanted));
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
    expectTexts(
        result.out,
        {"16-tap low-pass, Kaiser window for 70 dB, cutoff 666.667 Hz at 8000 Hz",
         "SNR [dB] with products and sums in full", "Products\n", "Sums\n", "Rounding of products and sums\n",
         "  FullPrecision ", "  KeepMSB ", "  KeepLSB ", "  SpecifyPrecision wrap ", "  convergent ", "[ns/tap]",
         "\n> The cheapest words that meet 25.0 dB: ", "found equal, bit for bit, to those of an integer model"});
    linesOfAScreen(result.out.substr(result.out.find('\n')));
    EXPECT_EQ(folder.entryCount(), 1U) << "without --out nothing is written";
}

TEST(FilterStudy, ShowsTheChosenCoefficientsOnlyWhenAsked) {
    const TemporaryFolder folder;
    writeSound(folder.file("a.wav"), tones(1000));
    Arguments arguments = {folder.file("a.wav"), "--taps", "15", "--coefficients", "9", "--data", "9", "--snr", "20"};
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
}

TEST(FilterStudy, ShowsASavedStudyAgainToTheLastCharacter) {
    for (const std::string wanted : {"20", "90"}) {
        const TemporaryFolder folder;
        writeSound(folder.file("a.wav"), tones(1000));
        const std::string saved = folder.file("study.h5");
        std::vector<std::string> output = {"--show", "--csv", folder.file("rows.csv")};
        if (wanted == "20") {
            output.insert(output.end(), {"--out", folder.file("made")});
        }
        Arguments first = {"--taps", "15", "--coefficients", "7,9", "--data", "9"};
        first.insert(first.end(), {folder.file("a.wav"), "--snr", wanted, "--save", saved});
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
    const Arguments few = {
        folder.file("a.wav"), "--taps", "8", "--coefficients", "6", "--data", "6", "--snr", "80", "--show"};
    const auto result = runStudy(few);
    EXPECT_EQ(result.code, 0) << result.err;
    expectTexts(result.out, {"\nNo words of the grid meet 80.0 dB; the best are 6-bit coefficients and 6-bit data"});
    EXPECT_EQ(result.out.find("as the host displays them"), std::string::npos) << "there is nothing to show";
    auto asked = few;
    asked.insert(asked.end(), {"--out", folder.file("made")});
    const auto refused = runStudy(asked);
    EXPECT_EQ(refused.code, 5);
    EXPECT_NE(refused.err.find("made: nothing written, since no words of the grid meet the ratio"), std::string::npos);
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

TEST(FilterStudy, SaysWhatIsOddAboutARecording) {
    expectRemarks("filter_study", {"--taps", "4", "--coefficients", "8", "--data", "8", "--snr", "0"}, runStudy);
}

TEST(FilterStudy, MeasuresAStretchOfTypicalPower) {
    std::vector<double> samples(100, 0.1);
    for (int i = 40; i < 60; ++i) {
        samples[static_cast<std::size_t>(i)] = 0.2;
    }
    for (int i = 60; i < 80; ++i) {
        samples[static_cast<std::size_t>(i)] = 0.5;
    }
    // Mean power 0.064: nearest are ten samples of 0.2, with 0.04.
    EXPECT_EQ(filterstudy::typicalStretch(samples, 10), 40U);
    EXPECT_EQ(filterstudy::typicalStretch(samples, 100), 0U);
    EXPECT_EQ(filterstudy::typicalStretch(samples, 1), 40U);
}

TEST(FilterStudy, HelpShowsEveryOptionAndExitCode) {
    expectHelp(runStudy({"--help"}),
               "SIGNAL --channel --gain --snr --taps --cutoff --attenuation --coefficients --data --products --sums "
               "--round --overflow --stretch --out --csv --show --save --load filtered.wav");
}

TEST(FilterStudy, TellsEveryErrorAndItsCode) {
    const TemporaryFolder folder;
    const auto signal = folder.file("filtered.wav");
    writeSound(signal, tones(50));
    writeSound(folder.file("nan.wav"), std::vector<double>{0.5, std::nan(""), 0.25});
    const std::string kept = folder.file("kept");
    writeText(kept, "kept");
    std::filesystem::create_directories(folder.file("taken/coefficients.hex"));
    const Arguments quick = {signal, "--taps", "4", "--coefficients", "8", "--data", "8", "--products",
                             "8",    "--sums", "8", "--snr",          "0"};
    const auto with = [&quick](std::initializer_list<std::string> more) {
        auto arguments = quick;
        arguments.insert(arguments.end(), more);
        return arguments;
    };

    const std::vector<Refusal> rows = {
        {{"--nonsense"}, 2, "--nonsense"},
        {{signal, "--snr", "inf"}, 2, "bad --snr: give a finite ratio in dB"},
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
        {{signal, "--round", "floor,ceil"}, 2, "bad --round: give one mode"},
        {{signal, "--overflow", "all"}, 2, "bad --overflow: give one mode"},
        {{signal, "--stretch", "0"}, 2, "bad --stretch: give at least 1 sample"},
        {{signal, "--channel", "2"}, 2, "there is no channel 2, the recording has 1"},
        {{signal, "--csv", signal}, 2, "an output would replace the recording"},
        {{signal, "--out", folder.file("")}, 2, "an output would replace the recording"},
        {{folder.file("nan.wav")}, 4, "sample 1 (counted from 0) of channel 1 is not a number"},
        {with({"--out", kept}), 6, "kept: cannot be made: "},
        {with({"--out", "/dev/null/made"}), 6, "/dev/null/made: cannot be made: "},
        // Before the recording is looked at, and so before a long study.
        {{folder.file("nan.wav"), "--csv", folder.file("no/rows.csv")}, 6, "rows.csv: cannot be written"},
        {{folder.file("nan.wav"), "--save", folder.file("kept/study.h5")}, 6, "study.h5: cannot be written: Not a dir"},
        {{folder.file("nan.wav"), "--out", folder.file("kept/made")}, 6, "kept/made: cannot be made: Not a directory"},
        {{folder.file("nan.wav"), "--out", folder.file("taken")}, 6, "coefficients.hex: cannot be written: it is a"},
        {{folder.file("nan.wav"), "--out", folder.file("new/deep")}, 4, "is not a number"},
    };
    expectRefusals("filter_study", rows, folder, runStudy);
    EXPECT_EQ(readText(kept), "kept");
}

TEST(FilterStudy, ShowsProgressOnATerminalAndTakesItAway) {
    const TemporaryFolder folder;
    writeSound(folder.file("tones.wav"), tones(600));
    const Arguments arguments = {folder.file("tones.wav"), "--taps", "8"};
    std::ostringstream out;
    std::ostringstream err;
    ASSERT_EQ(filterstudy::run(arguments, out, err, true), 0) << err.str();
    EXPECT_NE(err.str().find("\x1b[K3 outputs measured, now coefficients s"), std::string::npos);
    EXPECT_TRUE(err.str().ends_with("\r\x1b[K"));
}

TEST(FilterStudy, RunsAsAProgram) {
    expectProgram("filter_study", FILTER_STUDY, "--taps 4 --coefficients 8 --data 8 --snr 10",
                  "\n> The cheapest words");
}
