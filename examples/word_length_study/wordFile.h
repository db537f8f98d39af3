// The stored integers of a recording as a text file: one word a line, in lower-case hexadecimal digits, as many as the
// word length needs. A memory initialiser ($readmemh and its like) takes it as it is.
#pragma once

#include <span>
#include <string>

#include "examples/word_length_study/Format.h"

namespace study {

/// Quantizes the samples, writes their words, reads the file back and compares every word bit for bit with
/// `storedWord` of the sample. Throws a StudyError: NotWritten, or WordsDiffer with the first difference; in both cases
/// a file that was there stays.
void writeWords(const std::string& path, std::span<const double> samples, const Format& format);

}  // namespace study
