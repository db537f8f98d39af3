// The grid of formats a recording is sent through, and the choice made from it.
//
// By default the grid holds what tells most: every word length with its best binary point, then, at the word the study
// settles on, the rounding modes, the binary points around the best one with both overflow modes, and last the floats.
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
    std::optional<Measurement> chosen;  // none when no format keeps the wanted ratio
    std::string verdict;                // one or two sentences: what was chosen and why
};

/// Is told after each measured format how many were measured; `planned` is 0 where the grid decides as it goes.
using Progress = std::function<void(std::size_t done, std::size_t planned)>;

/// Measures the formats of the options. The samples are finite and at least one.
Study conduct(const Options& options, std::span<const double> samples, const Progress& progress);

}  // namespace study
