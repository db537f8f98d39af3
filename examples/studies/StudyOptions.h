// What the command lines of all studies share: the recording, its gain and the wanted ratio.
#pragma once

#include <iosfwd>
#include <span>
#include <string>

namespace CLI {
class App;
}

namespace study {

struct StudyOptions {
    std::string signal = "/usr/share/sounds/alsa/Front_Center.wav";
    int channel = 1;  // counted from 1
    double gainDb = 0.0;
    double wantedDb = 60.0;

    /// Adds the options to a command line that has none yet, with the texts about what a study makes of them.
    void addTo(CLI::App& app, const char* footer, const char* channelText, const char* gainText);
    /// Throws a StudyError (BadArguments) for a value that no study takes.
    void check() const;
};

/// Reads the arguments (without the program's name). Returns false when help was asked for and printed to `out`.
/// Throws a StudyError (BadArguments) with the reason.
bool parse(CLI::App& app, std::span<const std::string> arguments, std::ostream& out);

/// Throws a StudyError (BadArguments).
[[noreturn]] void refuseArguments(const std::string& message);

}  // namespace study
