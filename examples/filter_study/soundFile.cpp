#include "examples/filter_study/soundFile.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "examples/word_length_study/StudyError.h"
#include "examples/word_length_study/writeBeside.h"

namespace filterstudy {
namespace {

using study::ExitCode;
using study::StudyError;

struct CloseSound {
    void operator()(SNDFILE* file) const { sf_close(file); }
};
using Sound = std::unique_ptr<SNDFILE, CloseSound>;

struct Encoding {
    int format;
    int bits;
    const char* name;
};
constexpr Encoding kEncodings[] = {{SF_FORMAT_PCM_16, 16, "16-bit integers"},
                                   {SF_FORMAT_PCM_24, 24, "24-bit integers"},
                                   {SF_FORMAT_PCM_32, 32, "32-bit integers"},
                                   {SF_FORMAT_DOUBLE, 0, "64-bit floats"}};

bool holds(const Encoding& encoding, std::span<const double> values) {
    return encoding.bits == 0 || std::all_of(values.begin(), values.end(), [&encoding](double value) {
               const double steps = std::ldexp(value, encoding.bits - 1);
               return value >= -1.0 && value < 1.0 && steps == std::floor(steps);
           });
}

}  // namespace

std::string writeSound(const std::string& path, std::span<const double> values, int sampleRate) {
    const Encoding& encoding = *std::find_if(std::begin(kEncodings), std::end(kEncodings) - 1,
                                             [&](const Encoding& each) { return holds(each, values); });
    const auto count = static_cast<sf_count_t>(values.size());
    const auto write = [&](std::FILE* file) {
        SF_INFO info{};
        info.samplerate = sampleRate;
        info.channels = 1;
        info.format = SF_FORMAT_WAV | encoding.format;
        const Sound sound(sf_open_fd(fileno(file), SFM_WRITE, &info, 0));
        if (!sound) throw StudyError(ExitCode::NotWritten, path + ": cannot be written: " + sf_strerror(nullptr));
        sf_count_t written = 0;
        if (encoding.bits == 0) {
            written = sf_write_double(sound.get(), values.data(), count);
        } else {
            // As 32-bit integers, since doubles would be scaled by the greatest integer instead of full scale.
            std::vector<int> steps;
            steps.reserve(values.size());
            for (const double value : values) steps.push_back(static_cast<int>(std::ldexp(value, 31)));
            written = sf_write_int(sound.get(), steps.data(), count);
        }
        if (written != count) {
            throw StudyError(ExitCode::NotWritten, path + ": cannot be written: " + sf_strerror(sound.get()));
        }
    };
    const auto check = [&](std::FILE* file) {
        SF_INFO info{};
        const Sound sound(sf_open_fd(fileno(file), SFM_READ, &info, 0));
        std::vector<double> read(values.size() + 1);
        const bool isWhole = sound && info.channels == 1 && info.samplerate == sampleRate &&
                             sf_read_double(sound.get(), read.data(), count + 1) == count;
        if (!isWhole || !std::equal(values.begin(), values.end(), read.begin())) {
            throw StudyError(ExitCode::WordsDiffer, path + ": the samples were read back differently; not kept");
        }
    };
    study::writeBeside(path, write, check);
    return encoding.name;
}

}  // namespace filterstudy
