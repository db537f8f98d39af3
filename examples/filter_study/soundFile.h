// A signal as a WAV file that loses no bit.
#pragma once

#include <span>
#include <string>

namespace filterstudy {

/// Writes one channel, reads it back and compares every sample. The encoding is the shortest of 16, 24 and 32 bits that
/// holds each value exactly, full scale being 1, else 64-bit floats. Returns its name. Throws a StudyError, NotWritten
/// or WordsDiffer; a file that was there then stays.
std::string writeSound(const std::string& path, std::span<const double> values, int sampleRate);

}  // namespace filterstudy
