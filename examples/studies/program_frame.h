// The frame of a program that studies something: its arguments, its errors and its exit codes.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace study {

/// The arguments of `main` without the program's name.
std::vector<std::string> argumentsOf(int argc, char** argv);

struct Program {
    const char* name;
    const char* output;  // what it prints, as "the table"
};

/// Runs an action that prints to `out` and returns the exit code, an `ExitCode`. An error becomes one line on `err`.
int runProgram(const Program& program, std::ostream& out, std::ostream& err, const std::function<void()>& action);

}  // namespace study
