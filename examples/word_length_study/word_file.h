// The stored integers of a recording as a text file: one word per line, in as many lower-case hexadecimal digits as the
// word length needs. Memory initialisers such as $readmemh read it directly.
#pragma once

#include <cstdio>
#include <span>
#include <string>

#include "examples/studies/Format.h"

namespace study {

/// Quantizes the samples, writes their words, reads the file back and checks it with `compareWords`. Throws a
/// StudyError, NotWritten or WordsDiffer; an existing file is then unchanged.
void writeWords(const std::string& path, std::span<const double> samples, const Format& format);

/// Compares the words in a file open for reading, bit for bit, with `storedWord` of each sample. Throws a StudyError
/// (WordsDiffer) with the first difference; `path` is the name of the file in its text.
void compareWords(std::FILE* file, const std::string& path, std::span<const double> samples, const Format& format);

}  // namespace study
