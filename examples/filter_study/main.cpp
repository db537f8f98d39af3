// filter_study: which words does a filter need? See --help and examples/README.md.
#include <iostream>
#include <string>
#include <vector>

#include "examples/filter_study/program.h"

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    return filterstudy::run(arguments, std::cout, std::cerr);
}
