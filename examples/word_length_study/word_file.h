// The stored integers of a recording as a text file: one word a line, in lower-case hexadecimal digits, as many as the
// word length needs. A memory initialiser ($readmemh and its like) takes it as it is.
#pragma once

#include <cstdio>
#include <span>
#include <string>

#include "examples/studies/Format.h"

namespace study {

/// Quantizes the samples, writes their words, reads the file back and checks it with `compareWords`. Throws a
/// StudyError, NotWritten or WordsDiffer; a file that was there then stays.
void writeWords(const std::string& path, std::span<const double> samples, const Format& format);

/// Compares the words in a file open for reading, bit for bit, with `storedWord` of each sample. Throws a StudyError
/// (WordsDiffer) that tells the first difference and calls the file `path`.
void compareWords(std::FILE* file, const std::string& path, std::span<const double> samples, const Format& format);

}  // namespace study
