// Computes with the engine alone, in a process without a host: arrays against integers, errors, and to the streams a
// warning and the display of a type, which the script that runs it compares.
#include <link.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string_view>
#include <vector>

#include "fi/fi.h"
#include "host/ErrorIdException.h"
#include "quantization/quantizer.h"

namespace {

using EmbeddedTypeSystem::NumericType;

constexpr std::size_t kSamples = 300;
constexpr std::size_t kTaps = 20;

/// Whole numbers of a few bits with signs.
std::vector<double> wholes(std::size_t count, std::uint32_t seed) {
    std::vector<double> values(count);
    for (double& value : values) {
        seed = seed * 1664525U + 1013904223U;
        value = static_cast<double>(static_cast<std::int32_t>(seed) >> 24);
    }
    return values;
}

fi arrayOf(const std::vector<double>& values, int wordLength) {
    const std::uint64_t dims[] = {1, values.size()};
    return {values.data(), dims, 2,     NumericType(true, wordLength, 0),
            fimath(),      "",   false, embedded::OperationTypeEnum::Assignment};
}

/// The words choose the loops: of doubles, or of integers of several limbs.
bool convolvesAsIntegers(int wordLength) {
    const std::vector<double> x = wholes(kSamples, 1);
    const std::vector<double> h = wholes(kTaps, 2);
    const fi samples = arrayOf(x, wordLength);
    const fi taps = arrayOf(h, wordLength);
    const std::unique_ptr<fi> result(&samples.convF(taps));
    if (result->numel() != kSamples + kTaps - 1 || result->getWordLength() <= 2 * wordLength) {
        return false;
    }
    for (std::size_t i = 0; i < result->numel(); ++i) {
        std::int64_t sum = 0;
        for (std::size_t k = 0; k < kTaps && k <= i; ++k) {
            sum += i - k < kSamples ? static_cast<std::int64_t>(h[k]) * static_cast<std::int64_t>(x[i - k]) : 0;
        }
        if (result->realdouble(i) != static_cast<double>(sum)) {
            return false;
        }
    }
    return true;
}

bool logsAndRaises() {
    quantizer q(NumericType(true, 8, 7), embedded::RoundModeEnum::Nearest, embedded::OverflowModeEnum::Saturate, "",
                embedded::OperationTypeEnum::Unspecified, true);
    number value(1.5, 8, false);
    q.quantize(value);
    if (value.todouble() != 127.0 / 128.0 || q.getNoverflows() != 1) {
        return false;
    }
    try {
        q.setWordlength(65536);
    } catch (const ErrorIdException* error) {
        const std::unique_ptr<const ErrorIdException> owner(error);
        return error->getId() == std::string_view("fixedpoint:quantizer:wordlengthtoobig") &&
               std::string_view(error->getMessage()).find("65535") != std::string_view::npos;
    }
    return false;
}

/// Whether libraries of this project are in the process: the engine, and any other.
bool isEngineAlone() {
    struct Found {
        bool engine = false;
        bool other = false;
    } found;
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* data) {
            const std::string_view file(info->dlpi_name);
            const std::string_view name = file.substr(file.rfind('/') + 1);
            auto& seen = *static_cast<Found*>(data);
            (name.starts_with("libtolvane_engine.so.") ? seen.engine : seen.other) |= name.starts_with("libtolvane");
            return 0;
        },
        &found);
    return found.engine && !found.other;
}

}  // namespace

int main() {
    NumericType type(NumericType::DataTypeModeEnum::FixedSlopeBias, true, 16, 1.2, -1, 0.1);
    type.setWordLength(0);
    type.disp();
    const struct {
        const char* name;
        bool holds;
    } checks[] = {{"short words", convolvesAsIntegers(16)},
                  {"wide words", convolvesAsIntegers(60)},
                  {"logs and errors", logsAndRaises()},
                  {"no other library", isEngineAlone()}};
    bool isRight = true;
    for (const auto& check : checks) {
        if (!check.holds) {
            std::fprintf(stderr, "wrong: %s\n", check.name);
            isRight = false;
        }
    }
    return isRight ? 0 : 1;
}
