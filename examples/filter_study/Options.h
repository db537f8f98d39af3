// The command line of the filter study.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <span>
#include <string>

#include "examples/filter_study/Plan.h"
#include "examples/studies/StudyOptions.h"

namespace filterstudy {

struct Options : study::StudyOptions {
    int taps = 64;
    std::optional<double> cutoffHz;  // absent: a twelfth of the sample rate
    double attenuationDb = 70.0;
    Grid grid;
    Round round = Round::Nearest;
    Overflow overflow = Overflow::Saturate;
    std::size_t stretch = 0;  // samples on which the grid is measured
    std::string folder;       // for the files; empty: none
    std::string csvFile;      // empty: none
    std::string saveFile;     // for the study; empty: none
    std::string loadFile;     // a study to show instead of a new one; empty: none
    bool show = false;        // the chosen coefficients as the host displays them
};

/// Reads the arguments (without the program's name). Returns nothing if help was requested and printed to `out`. Throws
/// a StudyError (BadArguments) with the reason.
std::optional<Options> parseOptions(std::span<const std::string> arguments, std::ostream& out);

}  // namespace filterstudy
