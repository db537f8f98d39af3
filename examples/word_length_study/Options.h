// The command line of the program.
#pragma once

#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "examples/studies/Format.h"
#include "examples/studies/StudyOptions.h"

namespace study {

enum class Signedness { Signed, Unsigned, Both };

struct Options : StudyOptions {
    std::vector<int> words;
    bool wordsAreGiven = false;                 // otherwise the list ends at the first word that changes no sample
    std::optional<std::vector<int>> fractions;  // absent: one for each word, by the next line
    bool fractionsAreFullScale = false;  // range of the word is full scale 1; otherwise the finest that holds the peak
    std::vector<Round> rounds;           // the first is used where rounding isn't varied
    std::vector<Overflow> overflows;     // likewise
    std::vector<Format> floats;
    Signedness signedness = Signedness::Signed;
    bool full = false;
    std::optional<Format> format;  // chosen by the user
    std::string wordFile;          // empty: none
    std::string csvFile;           // empty: none
    bool mixes = true;
    std::optional<double> mixDelayMs;  // absent: 25, less for a short recording
    double mixGainDb = -6.0;           // of the copy
};

/// Reads the arguments (without the program's name). Returns nothing if help was requested and printed to `out`. Throws
/// a StudyError (BadArguments) with the reason.
std::optional<Options> parseOptions(std::span<const std::string> arguments, std::ostream& out);

}  // namespace study
