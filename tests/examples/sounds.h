// Small sound files for the tests of the example programs.
#pragma once

#include <sndfile.h>

#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/files.h"

/// Writes a WAV file of 16-bit integers, frames of interleaved channels.
inline void writeSound(const std::string& path, const std::vector<std::int16_t>& samples, int channels = 1,
                       int sampleRate = 8000) {
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr) {
        throw std::runtime_error(sf_strerror(nullptr));
    }
    const auto count = static_cast<sf_count_t>(samples.size());
    const bool done = sf_write_short(file, samples.data(), count) == count;
    sf_close(file);
    if (!done) {
        throw std::runtime_error("sf_write_short");
    }
}

/// Writes a WAV file of doubles, for any double.
inline void writeSound(const std::string& path, const std::vector<double>& samples) {
    SF_INFO info{};
    info.samplerate = 8000;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_DOUBLE;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr) {
        throw std::runtime_error(sf_strerror(nullptr));
    }
    const auto count = static_cast<sf_count_t>(samples.size());
    const bool done = sf_write_double(file, samples.data(), count) == count;
    sf_close(file);
    if (!done) {
        throw std::runtime_error("sf_write_double");
    }
}
