#include "examples/studies/StudyOptions.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <ostream>
#include <vector>

#include "examples/studies/StudyError.h"

namespace study {

void StudyOptions::addTo(CLI::App& app, const char* footer, const char* channelText, const char* gainText) {
    app.get_formatter()->column_width(26);
    app.footer(footer);
    app.option_defaults()->always_capture_default();
    app.add_option("SIGNAL", signal, "The recording, in any format libsndfile reads");
    app.add_option("--channel", channel, channelText);
    app.add_option("--gain", gainDb, gainText);
    app.add_option("--snr", wantedDb, "Target ratio, in dB");
}

void StudyOptions::check() const {
    if (channel < 1) {
        refuseArguments("bad --channel " + std::to_string(channel) + ": channels count from 1");
    }
    if (!(std::fabs(gainDb) <= 400.0)) {
        refuseArguments("bad --gain: give -400 to 400 dB");
    }
    if (!std::isfinite(wantedDb)) {
        refuseArguments("bad --snr: give a finite ratio in dB");
    }
}

bool parse(CLI::App& app, std::span<const std::string> arguments, std::ostream& out) {
    try {
        // CLI11 takes a vector from its back.
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::CallForHelp&) {
        out << app.help();
        return false;
    } catch (const CLI::ParseError& error) {
        refuseArguments(error.what());
    }
    return true;
}

void refuseArguments(const std::string& message) {
    throw StudyError(ExitCode::BadArguments, message);
}

}  // namespace study
