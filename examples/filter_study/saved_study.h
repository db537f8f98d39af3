// Saves a study in a file of the host, and loads it again.
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
/// class "embedded.fi" in the chosen words, and empty if there are none. Throws hostref::HostError.
void saveStudy(const std::string& file, const SavedStudy& saved);

/// Reads them back, each number to the bit. Throws hostref::HostError, even for a file with other variables.
SavedStudy loadStudy(const std::string& file);

}  // namespace filterstudy
