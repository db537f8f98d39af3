// The grid of formats for a recording, and the choice made from it.
//
// By default the grid holds the most informative formats: every word length with its best binary point, then, for the
// chosen word, the rounding modes, the binary points around the best one with both overflow modes, and last the floats.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "examples/word_length_study/Options.h"
#include "examples/word_length_study/measure.h"

namespace study {

struct Section {
    std::string heading;
    std::vector<Measurement> rows;
};

struct Study {
    std::vector<Section> sections;
    std::optional<Measurement> chosen;  // none if no format meets the target ratio
    std::string verdict;                // one or two sentences: what was chosen and why
};

/// Called after each measured format with the number measured so far; `planned` is 0 while the size of the grid is
/// unknown.
using Progress = std::function<void(std::size_t done, std::size_t planned)>;

/// Measures the formats of the options. The samples are finite and at least one.
Study conduct(const Options& options, std::span<const double> samples, const Progress& progress);

}  // namespace study
