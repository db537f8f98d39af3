#include "examples/word_length_study/program.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <system_error>

#include "examples/studies/ProgressLine.h"
#include "examples/studies/Recording.h"
#include "examples/studies/StudyError.h"
#include "examples/studies/program_frame.h"
#include "examples/studies/write_beside.h"
#include "examples/word_length_study/Options.h"
#include "examples/word_length_study/Study.h"
#include "examples/word_length_study/mix.h"
#include "examples/word_length_study/mix_table.h"
#include "examples/word_length_study/table.h"
#include "examples/word_length_study/word_file.h"

namespace study {
namespace {

constexpr const char* kName = "word_length_study";

// A default table of a few seconds of sound is there before anyone could read a progress line.
constexpr std::size_t kQuietSamples = 10'000'000;

void checkOutputs(const Options& options) {
    const auto isSame = [](const std::string& a, const std::string& b) {
        std::error_code ignored;
        return !a.empty() && !b.empty() && (a == b || std::filesystem::equivalent(a, b, ignored));
    };
    if (isSame(options.wordFile, options.csvFile)) {
        throw StudyError(ExitCode::BadArguments, "--out and --csv name the same file");
    }
    if (isSame(options.wordFile, options.signal) || isSame(options.csvFile, options.signal)) {
        throw StudyError(ExitCode::BadArguments, "an output would replace the recording " + options.signal);
    }
    for (const std::string& output : {options.wordFile, options.csvFile}) {
        if (!output.empty()) {
            requireWritable(output);
        }
    }
}

void studyRecording(const Options& options, std::ostream& out, std::ostream& err, bool errIsTerminal) {
    checkOutputs(options);
    Recording recording = readRecording(options.signal, options.channel);
    const double peak = applyGain(recording, options.gainDb);
    printRemarks(err, kName, recording);
    const std::optional<MixSetting> mixSetting =
        options.mixes ? std::optional(mixSettingOf(options, recording)) : std::nullopt;

    const Study result = [&] {
        ProgressLine line(err, errIsTerminal);
        return conduct(options, recording.samples, [&](std::size_t done, std::size_t planned) {
            if (recording.samples.size() * std::max(done, planned) >= kQuietSamples) {
                line.show("measured " + std::to_string(done) +
                          (planned != 0 ? " of " + std::to_string(planned) : std::string()) + " formats");
            }
        });
    }();
    printStudy(out, recording, peak, options, result);

    if (!options.csvFile.empty()) {
        writeTextBeside(options.csvFile, csvText(result));
        out << "  Table written to " << options.csvFile << ".\n";
    }
    if (!options.wordFile.empty()) {
        if (!result.chosen) {
            throw StudyError(ExitCode::NothingChosen,
                             options.wordFile +
                                 ": not written, since no format meets the target ratio (--format "
                                 "chooses one regardless of its ratio)");
        }
        writeWords(options.wordFile, recording.samples, result.chosen->format);
        out << "  " << recording.samples.size() << " words of " << fullName(result.chosen->format) << " written to "
            << options.wordFile << ", read back and found equal\n  bit for bit to integers computed from the samples "
            << "without the library.\n";
    }
    if (mixSetting) {
        const auto chosen = result.chosen ? std::optional(result.chosen->format) : std::nullopt;
        printMix(out, mix(recording.samples, mixFormatOf(chosen, recording.samples, options), *mixSetting));
    }
}

}  // namespace

int run(std::span<const std::string> arguments, std::ostream& out, std::ostream& err, bool errIsTerminal) {
    return runProgram({kName, "the table"}, out, err, [&] {
        if (const auto options = parseOptions(arguments, out)) {
            studyRecording(*options, out, err, errIsTerminal);
        }
    });
}

}  // namespace study
