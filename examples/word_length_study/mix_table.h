// The mix as text.
#pragma once

#include <iosfwd>

#include "examples/word_length_study/mix.h"

namespace study {

/// Prints the table of a mix, a warning as the host received it, and what a designer learns from the rows; at most 110
/// columns.
void printMix(std::ostream& out, const Mix& mix);

}  // namespace study
