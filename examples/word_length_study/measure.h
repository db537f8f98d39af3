// The effect of a quantizer on a recording: counts, range and signal-to-quantization-noise ratio.
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
    double snrDb = 0.0;  // plus infinity if no sample changed
};

/// Makes the quantizer of a format; it counts regardless of the session's logging switch.
std::unique_ptr<quantizer> makeQuantizer(const Format& format);

/// Passes the samples, at least one, through the quantizer of the format. The ratio is 10 log10(sum x^2 / sum (x -
/// q)^2), or minus infinity if a finite sample became infinite.
Measurement measure(std::span<const double> samples, const Format& format);

}  // namespace study
