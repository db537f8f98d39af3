// The recording mixed with a delayed, quieter copy of itself, computed with `fi` arrays through the host.
//
// Here the study is a user of the host: it opens a session on libtolvane.so, makes its types, rules and arrays, calls
// "plus" and "minus", and learns of overflows and underflows only from warnings. `mix_table.h` prints the outcome.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "examples/studies/Format.h"
#include "examples/studies/Recording.h"
#include "examples/word_length_study/Options.h"

namespace study {

struct MixSetting {
    std::size_t delay = 0;  // samples
    double delayMs = 0.0;
    double gainDb = 0.0;  // of the copy
};

/// Converts the delay to samples. Throws a StudyError (BadArguments) if the user's delay is not shorter than the
/// recording; the default is limited to a quarter of a short recording.
MixSetting mixSettingOf(const Options& options, const Recording& recording);

struct MixRow {
    std::string name;  // "recording", "copy", or the sum mode
    std::string type;  // of the result, read from it, such as "s17,15"
    Overflow overflow = Overflow::Saturate;
    bool castsOperands = true;     // to the result's type before they are added; always true for an operand itself
    std::uint64_t overflows = 0;   // from warnings with the id "fi:overflow"
    std::uint64_t underflows = 0;  // from warnings with the id "fi:underflow"
    double smallest = 0.0;         // in the array's log, including cast operands
    double greatest = 0.0;
    double snrDb = 0.0;  // against the same in doubles; plus infinity if equal
};

struct Mix {
    MixSetting setting;
    Format format;  // of the recording; the copy has its word length and the finest fraction that holds its peak
    std::vector<MixRow> operands;
    std::vector<MixRow> sums;
    std::vector<MixRow> differences;
    std::vector<std::string> warnings;  // all that were received, as `id: text`
};

/// Mixes the samples, at least one, finite, and at most 2^256 in magnitude. The format is a fixed-point one; its modes
/// are those of the mix. Throws hostref::HostError.
Mix mix(std::span<const double> samples, const Format& format, const MixSetting& setting);

/// Returns the format for the mix: the chosen one if that is fixed-point, otherwise 16 bits with the finest fraction
/// that holds the peak.
Format mixFormatOf(const std::optional<Format>& chosen, std::span<const double> samples, const Options& options);

}  // namespace study
