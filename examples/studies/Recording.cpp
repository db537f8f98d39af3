#include "examples/studies/Recording.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <ostream>
#include <system_error>
#include <utility>

#include "examples/studies/StudyError.h"
#include "examples/studies/write_beside.h"

namespace study {
namespace {

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

// Scaling by any fraction length of the study keeps such a sample well inside the range of a double.
const double kSampleLimit = std::ldexp(1.0, 256);

std::string encodingOf(int format) {
    SF_FORMAT_INFO info{};
    info.format = format & SF_FORMAT_SUBMASK;
    if (sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info) != 0 || info.name == nullptr) {
        return "unknown";
    }
    return info.name;
}

std::string cutRemark(std::uint64_t stated, std::uint64_t present, const char* unit) {
    return "the file is cut: of the " + std::to_string(stated) + " " + unit + " in its header, " +
           std::to_string(present) + " are present";
}

/// Reads the headers of files of plain samples.
class HeaderReader {
 public:
    explicit HeaderReader(const std::string& path) : mFile(path, std::ios::binary) {
        std::error_code error;
        mFileBytes = std::filesystem::file_size(path, error);
        if (error) {
            mFile.setstate(std::ios::failbit);
        }
    }

    bool isGood() const { return mFile.good(); }
    std::string text() {
        std::string bytes(4, '\0');
        mFile.read(bytes.data(), 4);
        return bytes;
    }
    std::uint64_t number(bool isBigEndian) {
        std::string bytes = text();
        if (!isBigEndian) {
            std::reverse(bytes.begin(), bytes.end());
        }
        std::uint64_t value = 0;
        for (const char byte : bytes) {
            value = value << 8 | static_cast<unsigned char>(byte);
        }
        return value;
    }
    void skip(std::uint64_t bytes) { mFile.seekg(static_cast<std::streamoff>(bytes), std::ios::cur); }
    std::uint64_t bytesLeft() {
        const auto place = static_cast<std::uint64_t>(mFile.tellg());
        return mFileBytes - std::min(place, mFileBytes);
    }

 private:
    std::ifstream mFile;
    std::uint64_t mFileBytes = 0;
};

/// Detects when the samples of a WAV, AIFF or AU file end before its header says, which libsndfile ignores.
std::optional<std::string> cutIn(const std::string& path) {
    HeaderReader header(path);
    std::uint64_t stated = 0;
    const std::string magic = header.text();
    const bool isBigEndian = magic != "RIFF";
    if (magic == ".snd") {
        const std::uint64_t headerBytes = header.number(isBigEndian);
        stated = header.number(isBigEndian);
        header.skip(headerBytes - std::min<std::uint64_t>(headerBytes, 12));
    } else if (magic == "RIFF" || magic == "FORM") {
        header.skip(8);
        for (std::string chunk = header.text(); header.isGood(); chunk = header.text()) {
            stated = header.number(isBigEndian);
            if (chunk == "data" || chunk == "SSND") {
                break;
            }
            // Chunks begin at even positions.
            header.skip(stated + stated % 2);
        }
    }
    // Sizes near the greatest ones are used in streams whose length was unknown at their start.
    constexpr std::uint64_t kUnknown = 0x7FFFF000;
    if (!header.isGood() || stated >= kUnknown || stated <= header.bytesLeft()) {
        return std::nullopt;
    }
    return cutRemark(stated, header.bytesLeft(), "bytes of sound");
}

bool holds(const Encoding& encoding, std::span<const double> values) {
    return encoding.bits == 0 || std::all_of(values.begin(), values.end(), [&encoding](double value) {
               const double steps = std::ldexp(value, encoding.bits - 1);
               return value >= -1.0 && value < 1.0 && steps == std::floor(steps);
           });
}

}  // namespace

Recording readRecording(const std::string& path, int channel) {
    const auto refuse = [&path](const std::string& why) {
        throw StudyError(ExitCode::BadRecording, path + ": " + why);
    };
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        refuse("there is no such file");
    }
    if (std::filesystem::is_directory(status)) {
        refuse("is a directory, not a recording");
    }
    if (std::filesystem::is_regular_file(status) && std::filesystem::file_size(path, error) == 0 && !error) {
        refuse("the file is empty");
    }

    SF_INFO info{};
    const Sound file(sf_open(path.c_str(), SFM_READ, &info));
    if (!file) {
        refuse(std::string("cannot be read as a recording: ") + sf_strerror(nullptr));
    }
    if (channel > info.channels) {
        throw StudyError(ExitCode::BadArguments, path + ": there is no channel " + std::to_string(channel) +
                                                     ", the recording has " + std::to_string(info.channels));
    }

    Recording recording{path, encodingOf(info.format), info.samplerate, info.channels, channel, {}};
    if (auto cut = cutIn(path)) {
        recording.remarks.push_back(std::move(*cut));
    }
    // The frame count of a header isn't trusted: memory grows with the actual data.
    constexpr std::size_t kBlockFrames = 4096;
    const auto channelCount = static_cast<std::size_t>(info.channels);
    std::vector<double> block(kBlockFrames * channelCount);
    for (;;) {
        const auto frames =
            static_cast<std::size_t>(std::max<sf_count_t>(0, sf_readf_double(file.get(), block.data(), kBlockFrames)));
        for (std::size_t frame = 0; frame < frames; ++frame) {
            recording.samples.push_back(block[frame * channelCount + static_cast<std::size_t>(channel - 1)]);
        }
        if (frames < kBlockFrames) {
            break;
        }
    }
    if (sf_error(file.get()) != SF_ERR_NO_ERROR) {
        refuse(std::string("reading failed: ") + sf_strerror(file.get()));
    }
    if (recording.samples.empty()) {
        refuse("the recording has no samples");
    }
    const auto frames = static_cast<sf_count_t>(recording.samples.size());
    if (recording.remarks.empty() && frames < info.frames && info.frames < SF_COUNT_MAX) {
        recording.remarks.push_back(
            cutRemark(static_cast<std::uint64_t>(info.frames), recording.samples.size(), "samples"));
    }
    return recording;
}

double applyGain(Recording& recording, double gainDb) {
    const double factor = std::pow(10.0, gainDb / 20.0);
    double peak = 0.0;
    for (std::size_t i = 0; i < recording.samples.size(); ++i) {
        double& sample = recording.samples[i];
        if (gainDb != 0.0) {
            sample *= factor;
        }
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
    if (peak == 0.0) {
        recording.remarks.push_back("channel " + std::to_string(recording.channel) +
                                    " is silent: every sample is 0, which any format holds");
    }
    return peak;
}

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
        if (!sound) {
            throw StudyError(ExitCode::NotWritten, path + ": cannot be written: " + sf_strerror(nullptr));
        }
        sf_count_t written = 0;
        if (encoding.bits == 0) {
            written = sf_write_double(sound.get(), values.data(), count);
        } else {
            // As 32-bit integers, since doubles would be scaled by the greatest integer instead of full scale.
            std::vector<int> steps;
            steps.reserve(values.size());
            for (const double value : values) {
                steps.push_back(static_cast<int>(std::ldexp(value, 31)));
            }
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
    writeBeside(path, write, check);
    return encoding.name;
}

void printRemarks(std::ostream& err, const char* program, const Recording& recording) {
    for (const std::string& remark : recording.remarks) {
        err << program << ": warning: " << recording.path << ": " << remark << '\n';
    }
}

}  // namespace study
