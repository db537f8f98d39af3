// The whole study: the filter, the pairs of word lengths, the choice, and the formats around it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "examples/filter_study/HostFilter.h"
#include "examples/filter_study/Options.h"
#include "examples/filter_study/low_pass.h"
#include "examples/filter_study/search.h"
#include "examples/studies/ProgressLine.h"
#include "examples/studies/Recording.h"

namespace filterstudy {

struct Row {
    std::string name;  // what distinguishes the row in its section
    Outcome outcome;
    int cost = 0;
};

struct Section {
    std::string heading;
    std::vector<Row> rows;
};

struct FilterStudy {
    LowPass filter;
    double cutoffHz = 0.0;
    std::vector<double> coefficients;
    std::size_t stretchBegin = 0;
    std::size_t stretchLength = 0;
    double referenceNanosecondsPerTap = 0.0;
    std::vector<Pair> pairs;
    std::vector<Section> sections;  // around the choice, or around the longest words if there is none
    std::vector<Row> measured;      // every row, once, in the order of measuring
    std::optional<Row> chosen;      // on the whole recording
    Outcome tapByTap;               // at the centre, on the stretch
    Arithmetic centre;              // of the sections
};

/// Conducts the study of a recording that is finite and not empty. Throws a StudyError (BadArguments) for a cutoff that
/// is not below half of the rate, (WordsDiffer) if the library and the integer model disagree, and hostref::HostError.
FilterStudy conduct(const Options& options, const study::Recording& recording, study::ProgressLine& progress);

/// Returns the start of the stretch whose power is nearest to the power of all samples.
std::size_t typicalStretch(std::span<const double> samples, std::size_t length);

}  // namespace filterstudy
