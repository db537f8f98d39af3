#include "filters.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

#include "operations.h"

namespace hardware {

using tolvane::exact_value;
using tolvane::fixed_array;
using tolvane::fixed_format;
using tolvane::fixed_type;
using tolvane::overflow;
using tolvane::rounding;
using tolvane::sfix;

namespace {

/// Words of filters: of 6 to 40 bits, and now and then of up to 100.
int lengthDrawn(Draw& draw) {
    return draw.oneIn(4) ? draw.between(41, 100) : draw.between(6, 40);
}

fixed_type productOf(const fixed_type& a, const fixed_type& b) {
    return sfix(a.bits + b.bits, a.fraction + b.fraction);
}

/// A type with `least` to `most` bits more in front, and with up to so many cut off at the end, or `appended`.
fixed_type changed(Draw& draw, const fixed_type& type, int least, int most, int cut, int appended = 0) {
    const int high = highOf(type) + draw.between(least, most);
    const int low = lowOf(type) + draw.between(-appended, cut);
    return typeOfRange(true, std::max(high, low + 1), low);
}

/// An array of one number.
fixed_array number(const exact_value& value, const fixed_format& format) {
    return fixed_array(std::vector<exact_value>{value}, format);
}

}  // namespace

fixed_array signalDrawn(Draw& draw, const fixed_type& type, std::size_t count) {
    std::vector<exact_value> samples;
    const exact_value top = exact_value::from_words(std::vector<std::uint64_t>{1}.data(), 1, false, highOf(type));
    while (samples.size() < count) {
        const int kind = draw.between(0, 4);
        const int period = draw.between(1, 12);
        const auto length = static_cast<std::size_t>(draw.between(10, 80));
        for (const exact_value& noise : draw.values(type, type, length)) {
            const bool isHigh = samples.size() / static_cast<std::size_t>(period) % 2 == 0;
            samples.push_back(kind == 0 ? exact_value() : kind == 1 ? (isHigh ? top : -top) : noise);
        }
    }
    samples.resize(count);
    return fixed_array(samples, type);
}

FirFilter FirFilter::drawn(Draw& draw) {
    const int inputBits = lengthDrawn(draw);
    const int tapBits = lengthDrawn(draw);
    const fixed_type input = sfix(inputBits, inputBits - 1);
    std::vector<double> taps(static_cast<std::size_t>(draw.between(4, 32)));
    const double cutoff = draw.between(5, 40) / 100.0;
    const double middle = static_cast<double>(taps.size() - 1) / 2;
    for (std::size_t k = 0; k < taps.size(); ++k) {
        const double place = static_cast<double>(k) - middle;
        const double angle = 2 * std::numbers::pi * cutoff * place;
        const double window = 0.54 + 0.46 * std::cos(std::numbers::pi * place / (middle + 1));
        taps[k] = 2 * cutoff * (place == 0 ? 1 : std::sin(angle) / angle) * window;
    }
    FirFilter filter{input, fixed_array(taps, sfix(tapBits, tapBits - 1)), {}, {}, input};
    fixed_type term = productOf(input, filter.taps.type());
    if (draw.oneIn(2)) {
        filter.product = formatDrawn(draw, changed(draw, term, -2, 0, term.bits / 2));
        term = filter.product->type();
    }
    if (!draw.oneIn(3)) {
        filter.sum = formatDrawn(draw, changed(draw, term, -1, 3, 4), true);
        term = filter.sum->type();
    }
    // In outputs with the bits of the sums, no wrong bit of a sum can hide.
    const bool isWhole = draw.oneIn(2);
    filter.output =
        formatDrawn(draw, isWhole ? changed(draw, term, -1, 0, 0) : changed(draw, input, -1, 1, inputBits / 2));
    return filter;
}

fixed_array FirFilter::filtered(const fixed_array& x) const {
    const fixed_array all = conv(x, taps, {.product = product, .sum = sum});
    std::vector<exact_value> first;
    for (std::size_t n = 0; n < x.size(); ++n) {
        first.push_back(all.at(n));
    }
    return cast(fixed_array(first, all.type()), output);
}

std::string FirFilter::parameters() const {
    // Where the library keeps all bits, the hardware has registers that hold them.
    const fixed_format held =
        product.value_or(fixed_format{productOf(input, taps.type()), rounding::floor, overflow::wrap});
    fixed_type whole = held.type();
    whole.bits += static_cast<int>(std::bit_width(taps.size() - 1));
    const fixed_format total = sum.value_or(fixed_format{whole, rounding::floor, overflow::wrap});
    return ".TAPS(" + std::to_string(taps.size()) + "), " + parametersOf("X", input, false) + ", " +
           parametersOf("H", taps.type(), false) + ", " + parametersOf("P", held, false) + ", " +
           parametersOf("S", total, false) + ", " + parametersOf("Y", output, false);
}

BiquadFilter BiquadFilter::drawn(Draw& draw) {
    const int inputBits = lengthDrawn(draw);
    const int coefficientBits = lengthDrawn(draw);
    const double frequency = 2 * std::numbers::pi * draw.between(2, 45) / 100.0;
    const double damping = std::sin(frequency) / (2 * (draw.oneIn(3) ? 30 : 0.7));
    const double a0 = 1 + damping;
    const double b0 = (1 - std::cos(frequency)) / 2 / a0;
    const fixed_array coefficients({b0, 2 * b0, b0, -2 * std::cos(frequency) / a0, (1 - damping) / a0},
                                   sfix(coefficientBits, coefficientBits - 2));
    const fixed_type input = sfix(inputBits, inputBits - 1);
    const fixed_format sectionInput = formatDrawn(draw, changed(draw, input, -1, 1, 3));
    const fixed_format sectionOutput = formatDrawn(draw, changed(draw, input, 0, 2, 3, 12));
    const fixed_type termB = productOf(sectionInput.type(), coefficients.type());
    const fixed_type termA = productOf(sectionOutput.type(), coefficients.type());
    const fixed_format productB = formatDrawn(draw, changed(draw, termB, -2, 0, termB.bits / 2));
    const fixed_format productA = formatDrawn(draw, changed(draw, termA, -2, 0, termA.bits / 2));
    return {input,
            coefficients,
            sectionInput,
            productB,
            formatDrawn(draw, changed(draw, productB.type(), -1, 2, 4)),
            productA,
            formatDrawn(draw, changed(draw, productA.type(), -1, 2, 4)),
            sectionOutput};
}

fixed_array BiquadFilter::filtered(const fixed_array& x) const {
    std::vector<fixed_array> c;
    for (std::size_t k = 0; k < coefficients.size(); ++k) {
        c.push_back(number(coefficients.at(k), coefficients.type()));
    }
    const fixed_array w = cast(x, sectionInput);
    std::vector<fixed_array> inputs(3, number(0, sectionInput));
    std::vector<fixed_array> outputs(2, number(0, sectionOutput));
    std::vector<exact_value> results;
    for (std::size_t n = 0; n < x.size(); ++n) {
        std::rotate(inputs.begin(), inputs.end() - 1, inputs.end());
        inputs[0] = number(w.at(n), w.type());
        fixed_array sum = number(0, sumB);
        for (std::size_t k = 0; k < 3; ++k) {
            sum = cast(sum + cast(c[k] * inputs[k], productB), sumB);
        }
        for (std::size_t k = 0; k < 2; ++k) {
            sum = cast(sum - cast(c[3 + k] * outputs[k], productA), sumA);
        }
        outputs[1] = outputs[0];
        outputs[0] = cast(sum, sectionOutput);
        results.push_back(outputs[0].at(0));
    }
    return fixed_array(results, sectionOutput.type());
}

std::string BiquadFilter::parameters() const {
    return parametersOf("X", input, false) + ", " + parametersOf("C", coefficients.type(), false) + ", " +
           parametersOf("W", sectionInput, false) + ", " + parametersOf("PB", productB, false) + ", " +
           parametersOf("SB", sumB, false) + ", " + parametersOf("PA", productA, false) + ", " +
           parametersOf("SA", sumA, false) + ", " + parametersOf("Y", sectionOutput, false);
}

}  // namespace hardware
