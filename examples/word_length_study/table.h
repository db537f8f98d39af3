// The study as text: the table on the terminal and the comma-separated file.
#pragma once

#include <iosfwd>
#include <string>

#include "examples/word_length_study/Recording.h"
#include "examples/word_length_study/Study.h"

namespace study {

/// Returns a ratio with one decimal, "exact" for plus infinity.
std::string ratioText(double snrDb);
/// As `ratioText`, with " dB" after a number.
std::string ratioWithUnit(double snrDb);

/// Returns a value with six decimals where they show it, with four digits and an exponent elsewhere.
std::string valueText(double value);

/// Prints what was studied, the table with the chosen rows marked, its legend and the verdict; at most 100 columns
/// unless a path is longer.
void printStudy(std::ostream& out, const Recording& recording, double peak, const Options& options, const Study& study);

/// Returns a line of column names and a line for each row, numbers with 17 digits, "inf" for an exact ratio.
std::string csvText(const Study& study);

}  // namespace study
