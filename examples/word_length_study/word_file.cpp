#include "examples/word_length_study/word_file.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>

#include "examples/studies/StudyError.h"
#include "examples/studies/stored_word.h"
#include "examples/studies/write_beside.h"
#include "examples/word_length_study/measure.h"
#include "numbers/number.h"
#include "quantization/quantizer.h"

namespace study {
namespace {

constexpr std::size_t kDigitsLimit = 16;

std::size_t digitCount(const Format& format) {
    return (static_cast<std::size_t>(format.wordBits) + 3) / 4;
}

void writeDigits(std::FILE* file, std::span<const double> samples, const Format& format) {
    const auto quantizer = makeQuantizer(format);
    const std::size_t digits = digitCount(format);
    std::array<double, 4096> quantized;
    std::array<char, kDigitsLimit + 1> line;
    line[digits] = '\n';
    number element(0.0, 52, false);
    for (std::size_t begin = 0; begin < samples.size(); begin += quantized.size()) {
        const auto block = samples.subspan(begin, std::min(quantized.size(), samples.size() - begin));
        quantizer->quantize(block, std::span(quantized).first(block.size()));
        for (std::size_t i = 0; i < block.size(); ++i) {
            element.setvalue(quantized[i]);
            quantizer->num2base(line.data(), static_cast<int>(digits), element, 16);
            std::fwrite(line.data(), 1, digits + 1, file);
        }
    }
}

/// Reads one line of exactly `digits` lower-case hexadecimal digits; nothing for anything else.
std::optional<std::uint64_t> readWord(std::FILE* file, std::size_t digits) {
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < digits; ++i) {
        const int character = std::fgetc(file);
        if (character >= '0' && character <= '9') {
            word = word << 4 | static_cast<std::uint64_t>(character - '0');
        } else if (character >= 'a' && character <= 'f') {
            word = word << 4 | static_cast<std::uint64_t>(character - 'a' + 10);
        } else {
            return std::nullopt;
        }
    }
    return std::fgetc(file) == '\n' ? std::optional(word) : std::nullopt;
}

}  // namespace

void writeWords(const std::string& path, std::span<const double> samples, const Format& format) {
    writeBeside(
        path, [&](std::FILE* file) { writeDigits(file, samples, format); },
        [&](std::FILE* file) { compareWords(file, path, samples, format); });
}

void compareWords(std::FILE* file, const std::string& path, std::span<const double> samples, const Format& format) {
    const std::size_t digits = digitCount(format);
    const auto differ = [&path](std::size_t at, const std::string& found) {
        throw StudyError(ExitCode::WordsDiffer, path + ": word " + std::to_string(at) +
                                                    " (counted from 0) was read back as " + found +
                                                    "; the file was not kept");
    };
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto word = readWord(file, digits);
        if (!word) {
            differ(i, "something that is no word");
            return;
        }
        const std::uint64_t wanted = storedWord(samples[i], format);
        if (*word != wanted) {
            std::array<char, 96> text;
            std::snprintf(text.data(), text.size(), "%0*" PRIx64 ", but sample %.17g stores %0*" PRIx64,
                          static_cast<int>(digits), *word, samples[i], static_cast<int>(digits), wanted);
            differ(i, text.data());
        }
    }
    if (std::fgetc(file) != EOF) {
        differ(samples.size(), "one too many");
    }
}

}  // namespace study
