// The mix as text.
#pragma once

#include <iosfwd>

#include "examples/word_length_study/mix.h"

namespace study {

/// Prints the table of a mix, a warning as received by the host, and the conclusion for a designer; at most 110
/// columns.
void printMix(std::ostream& out, const Mix& mix);

}  // namespace study
