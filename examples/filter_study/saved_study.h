// A study in a file of the host, as a user keeps work there, and back.
#pragma once

#include <string>

#include "examples/filter_study/FilterStudy.h"
#include "examples/filter_study/Options.h"
#include "examples/studies/Recording.h"

namespace filterstudy {

struct SavedStudy {
    study::Recording recording;
    double wantedDb = 0.0;
    Grid grid;  // lengths of coefficients and data
    FilterStudy study;
};

/// Writes the variables "signal", "coefficients", "filtered", "rows" and "study"; the second and third are arrays of
/// class "embedded.fi" in the chosen words, and empty when there are none. Throws hostref::HostError.
void saveStudy(const std::string& file, const SavedStudy& saved);

/// Reads them back, each number to the bit. Throws hostref::HostError, also for a file of other variables.
SavedStudy loadStudy(const std::string& file);

}  // namespace filterstudy
