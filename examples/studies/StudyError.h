// The errors that stop a study, and their exit codes.
//
// The codes are listed in `--help`; scripts may rely on them.
#pragma once

#include <stdexcept>
#include <string>

namespace study {

enum class ExitCode {
    Done = 0,
    Unexpected = 1,
    BadArguments = 2,
    BadRecording = 3,
    BadSamples = 4,
    NothingChosen = 5,
    NotWritten = 6,
    WordsDiffer = 7,
};

/// An error that the user can act on; `what()` is one line without the program's name.
class StudyError : public std::runtime_error {
 public:
    StudyError(ExitCode code, const std::string& message) : std::runtime_error(message), mCode(code) {}
    ExitCode code() const { return mCode; }

 private:
    ExitCode mCode;
};

}  // namespace study
