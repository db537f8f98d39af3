#include "examples/word_length_study/Recording.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "examples/word_length_study/StudyError.h"

namespace study {
namespace {

struct CloseSound {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

// Scaling by any fraction length of the study keeps such a sample well inside the range of a double.
const double kSampleLimit = std::ldexp(1.0, 256);

std::string encodingOf(int format) {
    SF_FORMAT_INFO info{};
    info.format = format & SF_FORMAT_SUBMASK;
    if (sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info) != 0 || info.name == nullptr) return "unknown";
    return info.name;
}

}  // namespace

Recording readRecording(const std::string& path, int channel) {
    const auto refuse = [&path](const std::string& why) {
        throw StudyError(ExitCode::BadRecording, path + ": " + why);
    };
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) refuse("there is no such file");
    if (std::filesystem::is_directory(status)) refuse("is a directory, not a recording");
    if (std::filesystem::is_regular_file(status) && std::filesystem::file_size(path, error) == 0 && !error) {
        refuse("the file is empty");
    }

    SF_INFO info{};
    const std::unique_ptr<SNDFILE, CloseSound> file(sf_open(path.c_str(), SFM_READ, &info));
    if (!file) refuse(std::string("cannot be read as a recording: ") + sf_strerror(nullptr));
    if (channel > info.channels) {
        throw StudyError(ExitCode::BadArguments, path + ": there is no channel " + std::to_string(channel) +
                                                     ", the recording has " + std::to_string(info.channels));
    }

    Recording recording{path, encodingOf(info.format), info.samplerate, info.channels, channel, {}};
    // The frame count of a header is not believed: memory grows with what is really there.
    constexpr std::size_t kBlockFrames = 4096;
    const auto channelCount = static_cast<std::size_t>(info.channels);
    std::vector<double> block(kBlockFrames * channelCount);
    for (;;) {
        const auto frames =
            static_cast<std::size_t>(std::max<sf_count_t>(0, sf_readf_double(file.get(), block.data(), kBlockFrames)));
        for (std::size_t frame = 0; frame < frames; ++frame) {
            recording.samples.push_back(block[frame * channelCount + static_cast<std::size_t>(channel - 1)]);
        }
        if (frames < kBlockFrames) break;
    }
    if (sf_error(file.get()) != SF_ERR_NO_ERROR) refuse(std::string("reading failed: ") + sf_strerror(file.get()));
    if (recording.samples.empty()) refuse("the recording has no samples");
    return recording;
}

double applyGain(Recording& recording, double gainDb) {
    const double factor = std::pow(10.0, gainDb / 20.0);
    double peak = 0.0;
    for (std::size_t i = 0; i < recording.samples.size(); ++i) {
        double& sample = recording.samples[i];
        if (gainDb != 0.0) sample *= factor;
        const double magnitude = std::fabs(sample);
        if (!(magnitude <= kSampleLimit)) {
            char text[32];
            std::snprintf(text, sizeof text, "%g", sample);
            throw StudyError(ExitCode::BadSamples, recording.path + ": sample " + std::to_string(i) +
                                                       " (counted from 0) of channel " +
                                                       std::to_string(recording.channel) + " is " +
                                                       (std::isnan(sample)   ? "not a number"
                                                        : std::isinf(sample) ? "infinite"
                                                                             : std::string(text) + ", beyond 2^256"));
        }
        peak = std::max(peak, magnitude);
    }
    return peak;
}

}  // namespace study
