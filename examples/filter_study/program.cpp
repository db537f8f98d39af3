#include "examples/filter_study/program.h"

#include <filesystem>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "examples/filter_study/CoefficientArray.h"
#include "examples/filter_study/FilterStudy.h"
#include "examples/filter_study/Options.h"
#include "examples/filter_study/coefficient_files.h"
#include "examples/filter_study/integer_model.h"
#include "examples/filter_study/saved_study.h"
#include "examples/filter_study/table.h"
#include "examples/studies/Recording.h"
#include "examples/studies/StudyError.h"
#include "examples/studies/program_frame.h"
#include "examples/studies/write_beside.h"
#include "host/reference/HostError.h"

namespace filterstudy {
namespace {

namespace fs = std::filesystem;
using study::ExitCode;
using study::StudyError;

constexpr const char* kName = "filter_study";

// The files in the folder of --out.
constexpr const char* kSound = "filtered.wav";
constexpr const char* kHeader = "coefficients.h";
constexpr const char* kHexadecimal = "coefficients.hex";
constexpr const char* kBinary = "coefficients.bin";

void errorIfRecordingIsReplaced(const Options& options) {
    std::error_code ignored;
    for (const fs::path& output :
         {fs::path(options.csvFile), fs::path(options.saveFile), fs::path(options.folder) / kSound}) {
        if (!output.empty() && fs::equivalent(output, options.signal, ignored)) {
            throw StudyError(ExitCode::BadArguments, "an output would replace the recording " + options.signal);
        }
    }
}

void makeFolder(const std::string& folder) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (!error && !fs::is_directory(folder, error)) {
        error = std::make_error_code(std::errc::not_a_directory);
    }
    if (error) {
        throw StudyError(ExitCode::NotWritten, folder + ": cannot be made: " + error.message());
    }
}

/// Removes the folders that it created, if they are empty.
class NewFolders {
 public:
    explicit NewFolders(const fs::path& folder) {
        std::error_code ignored;
        for (fs::path each = fs::absolute(folder, ignored); !each.empty() && !fs::exists(each, ignored);
             each = each.parent_path()) {
            mFolders.push_back(each);
        }
    }
    ~NewFolders() {
        std::error_code ignored;
        for (const fs::path& each : mFolders) {
            fs::remove(each, ignored);
        }
    }
    NewFolders(const NewFolders&) = delete;
    NewFolders& operator=(const NewFolders&) = delete;

 private:
    std::vector<fs::path> mFolders;
};

/// Tries all files, since a study may take long before it has something to write.
void requireOutputs(const Options& options) {
    for (const std::string& output : {options.csvFile, options.saveFile}) {
        if (!output.empty()) {
            study::requireWritable(output);
        }
    }
    if (options.folder.empty()) {
        return;
    }
    const NewFolders cleanup(options.folder);
    makeFolder(options.folder);
    for (const char* name : {kSound, kHeader, kHexadecimal, kBinary}) {
        study::requireWritable((fs::path(options.folder) / name).string());
    }
}

/// Writes a text of coefficients, and keeps it only if the integers can be read from it again.
template <class Read>
void writeCoefficients(const fs::path& path, const std::string& text, std::span<const std::int64_t> integers,
                       Read&& read) {
    const auto check = [&](std::FILE* file) {
        std::string found(text.size() + 1, '\0');
        found.resize(std::fread(found.data(), 1, found.size(), file));
        const auto again = read(found);
        if (!std::equal(again.begin(), again.end(), integers.begin(), integers.end())) {
            throw StudyError(ExitCode::WordsDiffer, path.string() + ": was read back differently; not kept");
        }
    };
    study::writeBeside(
        path.string(), [&text](std::FILE* file) { std::fwrite(text.data(), 1, text.size(), file); }, check);
}

void writeFiles(const Options& options, const study::Recording& recording, const FilterStudy& study,
                CoefficientArray& array, std::ostream& out) {
    makeFolder(options.folder);
    const fs::path folder = options.folder;
    const Arithmetic& arithmetic = study.chosen->outcome.arithmetic;
    const auto integers = storedIntegers(study.coefficients, arithmetic.coefficient);
    const Coefficients coefficients{integers, arithmetic.coefficient, titleOf(study, recording.sampleRate)};
    const auto readIn = [&](int base) {
        return [&, base](const std::string& text) {
            array.requireEqual(text, base);
            return integersOfWords(text, base, arithmetic.coefficient.bits);
        };
    };
    writeCoefficients(folder / kHeader, cHeaderText(coefficients, arithmetic), integers, integersOfCHeader);
    writeCoefficients(folder / kHexadecimal, hexadecimalText(coefficients), integers, readIn(16));
    writeCoefficients(folder / kBinary, binaryText(coefficients), integers, readIn(2));

    const Outcome& outcome = study.chosen->outcome;
    const std::string encoding = study::writeSound((folder / kSound).string(), outcome.values, recording.sampleRate);
    out << "  Written to " << options.folder << ": " << kSound << " (" << encoding << "), " << kHeader << ", "
        << kHexadecimal << ", " << kBinary
        << ".\n"
           "  The host's \"hex\" and \"bin\" write the same words, and its \"base2num\" reads them back.\n";
}

/// Runs an action on a file of the host; its errors end the program with a code.
template <class Action>
void withCode(ExitCode code, Action&& action) {
    try {
        action();
    } catch (const hostref::HostError& error) {
        throw StudyError(code, error.what());
    }
}

/// Prints the study, identically for a new and a loaded one.
void report(const Options& options, const study::Recording& recording, const FilterStudy& result, std::ostream& out) {
    printStudy(out, recording, options, result);
    out << "  All " << result.measured.size() + (result.chosen ? 1 : 0)
        << " outputs and their overflows were found equal, bit for bit, to those of an integer model\n"
           "  that shares no code with the library.\n";
    if (!options.csvFile.empty()) {
        study::writeTextBeside(options.csvFile, csvText(result));
        out << "  Rows written to " << options.csvFile << ".\n";
    }
    if (!result.chosen) {
        if (!options.folder.empty()) {
            throw StudyError(ExitCode::NothingChosen,
                             options.folder + ": nothing written, since no words of the grid meet the ratio");
        }
        return;
    }
    if (options.folder.empty() && !options.show) {
        return;
    }
    CoefficientArray array(result.coefficients, result.chosen->outcome.arithmetic);
    if (!options.folder.empty()) {
        writeFiles(options, recording, result, array, out);
    }
    if (options.show) {
        out << array.shown();
    }
}

void studyRecording(const Options& options, std::ostream& out, std::ostream& err, bool errIsTerminal) {
    errorIfRecordingIsReplaced(options);
    requireOutputs(options);
    study::Recording recording = study::readRecording(options.signal, options.channel);
    study::applyGain(recording, options.gainDb);
    study::printRemarks(err, kName, recording);
    FilterStudy result;
    {
        study::ProgressLine progress(err, errIsTerminal);
        result = conduct(options, recording, progress);
    }
    if (!options.saveFile.empty()) {
        withCode(ExitCode::NotWritten, [&] {
            saveStudy(options.saveFile, {recording, options.wantedDb, options.grid, result});
        });
    }
    report(options, recording, result, out);
}

void showSaved(Options options, std::ostream& out) {
    requireOutputs(options);
    SavedStudy saved;
    withCode(ExitCode::BadRecording, [&] { saved = loadStudy(options.loadFile); });
    options.wantedDb = saved.wantedDb;
    options.grid = saved.grid;
    report(options, saved.recording, saved.study, out);
}

}  // namespace

int run(std::span<const std::string> arguments, std::ostream& out, std::ostream& err, bool errIsTerminal) {
    return study::runProgram({kName, "the tables"}, out, err, [&] {
        if (const auto options = parseOptions(arguments, out)) {
            options->loadFile.empty() ? studyRecording(*options, out, err, errIsTerminal) : showSaved(*options, out);
        }
    });
}

}  // namespace filterstudy
