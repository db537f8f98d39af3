// Small sound files and temporary folders for the tests of the example programs.
#pragma once

#include <sndfile.h>
#include <stdlib.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

/// A folder that lives as long as the object.
class TemporaryFolder {
 public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "word_length_study-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp");
        mPath = name;
    }
    ~TemporaryFolder() { std::filesystem::remove_all(mPath); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string file(const std::string& name) const { return (mPath / name).string(); }
    std::size_t entryCount() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(mPath), std::filesystem::directory_iterator()));
    }

 private:
    std::filesystem::path mPath;
};

inline void writeText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}
inline std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// Writes a WAV file of 16-bit integers, frames of interleaved channels.
inline void writeSound(const std::string& path, const std::vector<std::int16_t>& samples, int channels = 1,
                       int sampleRate = 8000) {
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr) throw std::runtime_error(sf_strerror(nullptr));
    const auto count = static_cast<sf_count_t>(samples.size());
    const bool done = sf_write_short(file, samples.data(), count) == count;
    sf_close(file);
    if (!done) throw std::runtime_error("sf_write_short");
}

/// Writes a WAV file of doubles, which holds anything a double can.
inline void writeSound(const std::string& path, const std::vector<double>& samples) {
    SF_INFO info{};
    info.samplerate = 8000;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_DOUBLE;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr) throw std::runtime_error(sf_strerror(nullptr));
    const auto count = static_cast<sf_count_t>(samples.size());
    const bool done = sf_write_double(file, samples.data(), count) == count;
    sf_close(file);
    if (!done) throw std::runtime_error("sf_write_double");
}
