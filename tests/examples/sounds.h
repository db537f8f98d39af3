// Small sound files for the tests of the example programs.
#pragma once

#include <sndfile.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/files.h"

/// Writes a WAV file of frames of interleaved channels.
template <class Sample, class Write>
void writeSoundAs(int encoding, const std::string& path, const std::vector<Sample>& samples, int channels,
                  int sampleRate, Write write) {
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | encoding;
    SNDFILE* const file = sf_open(path.c_str(), SFM_WRITE, &info);
    const auto count = static_cast<sf_count_t>(samples.size());
    const bool done = file != nullptr && write(file, samples.data(), count) == count;
    sf_close(file);
    if (!done) {
        throw std::runtime_error("writeSound");
    }
}
inline void writeSound(const std::string& path, const std::vector<std::int16_t>& samples, int channels = 1,
                       int sampleRate = 8000) {
    writeSoundAs(SF_FORMAT_PCM_16, path, samples, channels, sampleRate, sf_write_short);
}
inline void writeSound(const std::string& path, const std::vector<double>& samples) {
    writeSoundAs(SF_FORMAT_DOUBLE, path, samples, 1, 8000, sf_write_double);
}
