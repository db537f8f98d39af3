// The recording mixed with a delayed, quieter copy of itself, by `fi` arrays made and added through the host.
//
// Here the study is a user of the host: it opens a session on libtolvane.so, makes types, rules and arrays of it, calls
// "plus" and "minus", and knows of overflows and underflows only what it was warned of. `mix_table.h` prints the
// outcome.
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

/// Works out the delay in samples. Throws a StudyError (BadArguments) when the user's delay is not shorter than the
/// recording; the default one becomes a quarter of a short recording.
MixSetting mixSettingOf(const Options& options, const Recording& recording);

struct MixRow {
    std::string name;  // "recording", "copy", or the sum mode
    std::string type;  // of the result, read from it, such as "s17,15"
    Overflow overflow = Overflow::Saturate;
    bool castsOperands = true;     // to the result's type before they are added; always so for an operand itself
    std::uint64_t overflows = 0;   // as warnings with the id "fi:overflow" told
    std::uint64_t underflows = 0;  // as warnings with the id "fi:underflow" told
    double smallest = 0.0;         // of what the array's log has seen, cast operands among it
    double greatest = 0.0;
    double snrDb = 0.0;  // against the same in doubles; plus infinity when equal
};

struct Mix {
    MixSetting setting;
    Format format;  // of the recording; the copy has its word length and the finest fraction that holds its peak
    std::vector<MixRow> operands;
    std::vector<MixRow> sums;
    std::vector<MixRow> differences;
    std::vector<std::string> warnings;  // all that came, as `id: text`
};

/// Mixes the samples, at least one, finite, and at most 2^256 in magnitude. The format is a fixed-point one; its modes
/// are those of the mix. Throws hostref::HostError.
Mix mix(std::span<const double> samples, const Format& format, const MixSetting& setting);

/// Returns the format for the mix: the chosen one if that is fixed-point, else 16 bits with the finest fraction that
/// holds the peak.
Format mixFormatOf(const std::optional<Format>& chosen, std::span<const double> samples, const Options& options);

}  // namespace study
