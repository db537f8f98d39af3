// word_length_study: which word length does a sample path need? See --help and examples/README.md.
#include <unistd.h>

#include <iostream>

#include "examples/studies/program_frame.h"
#include "examples/word_length_study/program.h"

int main(int argc, char** argv) {
    return study::run(study::argumentsOf(argc, argv), std::cout, std::cerr, isatty(STDERR_FILENO) != 0);
}
