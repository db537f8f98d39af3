// The filter study as text.
#pragma once

#include <iosfwd>
#include <string>

#include "examples/filter_study/FilterStudy.h"

namespace filterstudy {

/// "64-tap low-pass, Kaiser window, cutoff 4000 Hz at 48000 Hz"
std::string titleOf(const FilterStudy& study, int sampleRate);

/// Prints the recording, the filter, both tables and the choice; at most 110 columns unless a path or the list of data
/// words is longer.
void printStudy(std::ostream& out, const study::Recording& recording, const Options& options, const FilterStudy& study);

/// Returns a line of column names and a line for each measured row.
std::string csvText(const FilterStudy& study);

}  // namespace filterstudy
