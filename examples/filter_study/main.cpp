// filter_study: which words does a filter need? See --help and examples/README.md.
#include <unistd.h>

#include <iostream>

#include "examples/filter_study/program.h"
#include "examples/studies/program_frame.h"

int main(int argc, char** argv) {
    return filterstudy::run(study::argumentsOf(argc, argv), std::cout, std::cerr, isatty(STDERR_FILENO) != 0);
}
