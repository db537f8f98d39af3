#include "examples/word_length_study/measure.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

#include "numbers/number.h"
#include "quantization/quantizer.h"

namespace study {

std::unique_ptr<quantizer> makeQuantizer(const Format& format) {
    using Mode = embedded::QuantizerModeEnum;
    const bool isFloat = format.kind == Kind::Float;
    const Mode mode = isFloat ? Mode::Float : format.kind == Kind::Signed ? Mode::Fixed : Mode::Ufixed;
    return std::make_unique<quantizer>(mode, format.round, format.overflow, format.wordBits,
                                       isFloat ? format.exponentBits : format.fractionBits, "",
                                       embedded::OperationTypeEnum::Unspecified, true);
}

Measurement measure(std::span<const double> samples, const Format& format) {
    const auto quantizer = makeQuantizer(format);
    std::array<double, 4096> quantized;
    // Samples down to 1e-300 have squares that only the wider exponent of long double holds.
    long double signal = 0.0L;
    long double noise = 0.0L;
    for (std::size_t begin = 0; begin < samples.size(); begin += quantized.size()) {
        const auto block = samples.subspan(begin, std::min(quantized.size(), samples.size() - begin));
        quantizer->quantize(block, std::span(quantized).first(block.size()));
        for (std::size_t i = 0; i < block.size(); ++i) {
            const long double sample = block[i];
            const long double difference = sample - quantized[i];
            signal += sample * sample;
            noise += difference * difference;
        }
    }

    Measurement result{format};
    result.overflows = quantizer->getNoverflows();
    result.underflows = quantizer->getNunderflows();
    result.smallest = quantizer->getMin().todouble();
    result.greatest = quantizer->getMax().todouble();
    result.snrDb = noise > 0.0L ? static_cast<double>(10.0L * std::log10(signal / noise))
                                : std::numeric_limits<double>::infinity();
    return result;
}

}  // namespace study
