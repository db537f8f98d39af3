// word_length_study: which word length does a sample path need? See --help and examples/README.md.
#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "examples/word_length_study/program.h"

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    return study::run(arguments, std::cout, std::cerr, isatty(STDERR_FILENO) != 0);
}
