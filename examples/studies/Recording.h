// One channel of a sound file as doubles, full scale being 1; read, and written without loss of a bit.
//
// Integer recordings are read exactly: a sample of B bits is its integer over 2^(B-1).
#pragma once

#include <iosfwd>
#include <span>
#include <string>
#include <vector>

namespace study {

struct Recording {
    std::string path;
    std::string encoding;  // in libsndfile's words, e.g. "Signed 16 bit PCM"
    int sampleRate = 0;    // Hz
    int channelCount = 0;
    int channel = 0;  // the one read, counted from 1
    std::vector<double> samples;
    std::vector<std::string> remarks{};  // peculiarities that don't prevent a study, one phrase each
};

/// Reads a channel, counted from 1, of any file that libsndfile supports. A file that is shorter than its header says
/// is read as far as it goes, with a remark. Throws a StudyError: BadRecording for a file that is missing, empty,
/// unreadable or has no samples, BadArguments for a channel that it doesn't have.
Recording readRecording(const std::string& path, int channel);

/// Multiplies the samples by a gain in dB and returns the greatest magnitude; adds a remark if it is 0. Throws a
/// StudyError (BadSamples) that names the first sample that is not a number, infinite, or beyond 2^256 in magnitude.
double applyGain(Recording& recording, double gainDb);

/// Writes one channel, reads it back and compares every sample. The encoding is the shortest of 16, 24 and 32 bits that
/// holds each value exactly, full scale being 1, else 64-bit floats. Returns its name. Throws a StudyError, NotWritten
/// or WordsDiffer; a file that was there then stays.
std::string writeSound(const std::string& path, std::span<const double> values, int sampleRate);

/// Prints the remarks, one per line.
void printRemarks(std::ostream& err, const char* program, const Recording& recording);

}  // namespace study
