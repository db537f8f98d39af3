// The whole program behind `main`, with its streams as parameters.
#pragma once

#include <iosfwd>
#include <span>
#include <string>

namespace study {

/// Runs the program on its arguments (without its name) and returns the exit code, an `ExitCode`. The table goes to
/// `out`; errors, one line each, and on a terminal the progress of a long run to `err`.
int run(std::span<const std::string> arguments, std::ostream& out, std::ostream& err, bool errIsTerminal);

}  // namespace study
