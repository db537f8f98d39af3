// What a quantizer does to a recording: counts, range and signal-to-quantization-noise ratio.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "examples/studies/Format.h"

class quantizer;

namespace study {

struct Measurement {
    Format format;
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;  // samples that were not zero and became zero
    double smallest = 0.0;         // of the quantized samples
    double greatest = 0.0;
    double snrDb = 0.0;  // plus infinity when no sample changed
};

/// Makes the quantizer of a format; it counts whatever the session's logging switch says.
std::unique_ptr<quantizer> makeQuantizer(const Format& format);

/// Sends at least one sample through the quantizer of the format. The ratio is 10 log10(sum x^2 / sum (x - q)^2); when
/// a finite sample became infinite it is minus infinity.
Measurement measure(std::span<const double> samples, const Format& format);

}  // namespace study
