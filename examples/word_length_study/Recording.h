// One channel of a sound file as doubles, full scale being 1.
//
// Integer recordings are read exactly: a sample of B bits is its integer over 2^(B-1).
#pragma once

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
};

/// Reads a channel, counted from 1, of any file libsndfile knows. Throws a StudyError: BadRecording for a file that is
/// missing, empty, unreadable or cut short, BadArguments for a channel that it has not.
Recording readRecording(const std::string& path, int channel);

/// Multiplies the samples by a gain in dB and returns the greatest magnitude. Throws a StudyError (BadSamples) that
/// names the first sample that is not a number, infinite, or beyond 2^256 in magnitude.
double applyGain(Recording& recording, double gainDb);

}  // namespace study
