// The whole program behind `main`, with its streams as parameters.
#pragma once

#include <iosfwd>
#include <span>
#include <string>

namespace filterstudy {

/// Runs the program on its arguments (without its name) and returns the exit code, a `study::ExitCode`. The tables go
/// to `out`; errors, one line each, and on a terminal the progress to `err`.
int run(std::span<const std::string> arguments, std::ostream& out, std::ostream& err, bool errIsTerminal = false);

}  // namespace filterstudy
