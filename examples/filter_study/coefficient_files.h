// Coefficients as files for the tools of a chip or a processor: a C header, and words in hexadecimal and in binary.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "examples/filter_study/Arithmetic.h"

namespace filterstudy {

struct Coefficients {
    std::span<const std::int64_t> integers;
    Word word;
    std::string title;  // one line of ASCII about the filter
};

/// A header for C and C++: counts and formats as macros, the stored integers as a constant array of the shortest
/// integer type.
std::string cHeaderText(const Coefficients& coefficients, const Arithmetic& arithmetic);

/// The words in two's complement, one per line, with one digit per bit or, in base 16, as many digits as needed;
/// preceded by lines that begin with "//".
std::string hexadecimalText(const Coefficients& coefficients);
std::string binaryText(const Coefficients& coefficients);

/// Reads the stored integers back from each of the texts. Throws std::runtime_error for anything else.
std::vector<std::int64_t> integersOfCHeader(const std::string& text);
std::vector<std::int64_t> integersOfWords(const std::string& text, int base, int wordBits);

}  // namespace filterstudy
