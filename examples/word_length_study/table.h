// The study as text: the table on the terminal and the comma-separated file.
#pragma once

#include <iosfwd>
#include <string>

#include "examples/studies/Recording.h"
#include "examples/word_length_study/Study.h"

namespace study {

/// Prints what was studied, the table with the chosen rows marked, its legend and the verdict; at most 100 columns
/// unless a path is longer.
void printStudy(std::ostream& out, const Recording& recording, double peak, const Options& options, const Study& study);

/// Returns a line of column names and one line per row, with numbers of 17 digits and "inf" for an exact ratio.
std::string csvText(const Study& study);

}  // namespace study
