#include "filters.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <map>
#include <numbers>
#include <stdexcept>
#include <string_view>

#include "operations.h"

namespace hardware {

using tolvane::exact_value;
using tolvane::feedback_sign;
using tolvane::filter_form;
using tolvane::filter_options;
using tolvane::filter_state;
using tolvane::fixed_array;
using tolvane::fixed_format;
using tolvane::fixed_log;
using tolvane::fixed_type;
using tolvane::overflow;
using tolvane::place_record;
using tolvane::rounding;
using tolvane::sfix;
using tolvane::ufix;

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

std::string_view nameOf(filter_form form) {
    constexpr std::string_view kNames[] = {"direct1", "direct2", "transposed1", "transposed2"};
    return kNames[static_cast<std::size_t>(form)];
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

Cascade Cascade::drawn(Draw& draw, filter_form form, Length length) {
    constexpr std::array<int, 2> kLengths[] = {{5, 14}, {20, 40}, {60, 100}};
    const auto [least, most] = kLengths[static_cast<std::size_t>(length)];
    const int inputBits = draw.between(least, most);
    const int coefficientBits = draw.between(least, most);
    Cascade made{sfix(inputBits, inputBits - 1), sfix(coefficientBits, coefficientBits - 2), {}, {}, {}};
    for (int k = draw.oneIn(2) ? 1 : draw.between(2, 3); k > 0; --k) {
        const double frequency = 2 * std::numbers::pi * draw.between(2, 45) / 100.0;
        const double damping = std::sin(frequency) / (2 * (draw.oneIn(3) ? 30 : 0.7));
        const double a0 = 1 + damping;
        const double b0 = (1 - std::cos(frequency)) / 2 / a0;
        made.sections.push_back({b0, 2 * b0, b0, 1, -2 * std::cos(frequency) / a0, (1 - damping) / a0});
    }
    if (draw.oneIn(3)) {
        for (std::size_t k = 0; k < made.sections.size(); ++k) {
            made.gains.push_back(draw.between(-19, 19) / 10.0);
        }
    }

    // Any modes, or those that have loops of their own: a rounding that adds a constant, with saturation everywhere or
    // with products and sums that wrap.
    enum class Style { any, saturate, wrapSums };
    const Style style = draw.oneIn(2) ? Style::any : draw.oneIn(2) ? Style::saturate : Style::wrapSums;
    const auto format = [&](const fixed_type& type, bool isSum) {
        if (style == Style::any) {
            return formatDrawn(draw, type, true);
        }
        return fixed_format{type, draw.oneIn(2) ? rounding::floor : rounding::nearest,
                            isSum && style == Style::wrapSums ? overflow::wrap : overflow::saturate};
    };
    filter_options& options = made.options;
    options.form = form;
    options.a_sign = draw.oneIn(3) ? feedback_sign::negated : feedback_sign::subtract;
    options.coefficients_b = options.coefficients_a = made.coefficient;
    const fixed_format w = format(changed(draw, made.input, -1, 1, 3), false);
    const fixed_format y = format(changed(draw, made.input, 0, 2, 3, style == Style::any ? 12 : 0), false);
    // direct2 and transposed1 have great values before the zeros make them small.
    const bool isPeaked = form == filter_form::direct2 || form == filter_form::transposed1;
    const fixed_type peak = changed(draw, w.type(), isPeaked ? 1 : -1, isPeaked ? 5 : 1, 3);
    const fixed_type termB = productOf(isPeaked ? peak : w.type(), made.coefficient);
    const fixed_type termA = productOf(isPeaked ? peak : y.type(), made.coefficient);
    options.section_input = w;
    options.product_b = format(changed(draw, termB, -2, 0, termB.bits / 2), true);
    options.product_a = format(changed(draw, termA, -2, 0, termA.bits / 2), true);
    options.sum_b = format(changed(draw, options.product_b->type(), -1, 2, 4), true);
    options.sum_a =
        format(form == filter_form::transposed1 ? peak : changed(draw, options.product_a->type(), -1, 2, 4), true);
    options.state = format(form == filter_form::transposed1   ? changed(draw, peak, 0, 2, 2, 6)
                           : form == filter_form::transposed2 ? changed(draw, options.sum_a->type(), -1, 2, 4)
                                                              : peak,
                           false);
    options.section_output = y;

    // Exact nodes, so that every loop still has a place.
    const bool hasFew = draw.oneIn(4);
    const int chance = draw.oneIn(2) ? 4 : 100;
    const auto leave = [&](std::optional<fixed_format>& node) {
        if (hasFew || draw.oneIn(chance)) {
            node.reset();
        }
    };
    if (draw.oneIn(4)) {
        options.section_input.reset();
    } else {
        leave(options.section_input);
    }
    leave(options.product_b);
    leave(options.product_a);
    leave(options.sum_b);
    leave(options.sum_a);
    if (!isPeaked || (options.sum_a && draw.oneIn(2))) {
        leave(options.state);
    }
    return made;
}

fixed_array Cascade::filtered(const fixed_array& x) const {
    filter_state state;
    return filtered(x, 0, x.size(), state);
}

fixed_array Cascade::filtered(const fixed_array& x, std::size_t from, std::size_t to, filter_state& state) const {
    std::vector<exact_value> samples;
    for (std::size_t n = from; n < to; ++n) {
        samples.push_back(x.at(n));
    }
    filter_options all = options;
    if (!gains.empty()) {
        all.gains = fixed_array(gains, coefficient);
    }
    return sosfilt(sections, fixed_array(samples, x.type()), state, all);
}

fixed_array Cascade::overflows(const fixed_array& x) const {
    const fixed_array whole = filtered(x);
    const fixed_log log;
    filter_state state;
    const std::size_t middle = x.size() / 3;
    const fixed_array first = filtered(x, 0, middle, state);
    const fixed_array second = filtered(x, middle, x.size(), state);
    for (std::size_t n = 0; n < x.size(); ++n) {
        if (whole.at(n) != (n < middle ? first.at(n) : second.at(n - middle))) {
            throw std::runtime_error("sample " + std::to_string(n) + " differs in two blocks, with " + parameters());
        }
    }
    std::map<std::string, std::uint64_t> counts;
    for (const place_record& place : log.places()) {
        counts[place.name] = place.overflows;
    }
    constexpr const char* kNodes[] = {"section_input", "product_b", "product_a",     "sum_b",
                                      "sum_a",         "state",     "section_output"};
    std::vector<exact_value> all;
    for (std::size_t k = 0; k < sections.size(); ++k) {
        const std::string prefix = sections.size() == 1 ? "" : "section " + std::to_string(k + 1) + " ";
        for (const char* node : kNodes) {
            all.emplace_back(static_cast<std::int64_t>(counts[prefix + node]));
        }
    }
    return fixed_array(all, ufix(32, 0));
}

fixed_array Cascade::coefficients() const {
    const double sign = options.a_sign == feedback_sign::negated ? -1 : 1;
    std::vector<double> all;
    for (std::size_t k = 0; k < sections.size(); ++k) {
        const auto& [b0, b1, b2, a0, a1, a2] = sections[k];
        all.insert(all.end(), {gains.empty() ? 1.0 : gains[k], b0, b1, b2, sign * a1, sign * a2});
    }
    return fixed_array(all, coefficient);
}

std::string Cascade::parameters() const {
    // Wires that hold everything: what coefficients multiply, the products, all formats, and some bits for sums.
    const auto both = [](const fixed_type& a, const fixed_type& b) {
        return typeOfRange(true, std::max(highOf(a), highOf(b)), std::min(lowOf(a), lowOf(b)));
    };
    const fixed_type& y = options.section_output->type();
    fixed_type factor = both(input, y);
    if (!gains.empty()) {
        factor = both(factor, productOf(factor, coefficient));
    }
    fixed_type wires = factor;
    std::string places;
    const auto place = [&](const char* name, const std::optional<fixed_format>& format, bool isFactor) {
        if (format) {
            wires = both(wires, format->type());
            factor = isFactor ? both(factor, format->type()) : factor;
            places += ", " + parametersOf(name, *format, false);
        }
    };
    place("W", options.section_input, true);
    place("PB", options.product_b, false);
    place("PA", options.product_a, false);
    place("SB", options.sum_b, false);
    place("SA", options.sum_a, true);
    place("T", options.state, true);
    place("Y", options.section_output, true);
    wires = both(wires, productOf(typeOfRange(true, highOf(factor) + 2, lowOf(factor)), coefficient));
    wires = typeOfRange(true, highOf(wires) + 4, lowOf(wires));
    return ".FORM(\"" + std::string(nameOf(options.form)) + "\"), .SECTIONS(" + std::to_string(sections.size()) +
           "), .SUBTRACT(" + (options.a_sign == feedback_sign::subtract ? "1" : "0") + "), " +
           parametersOf("X", input, false) + ", " + parametersOf("C", coefficient, false) + ", " +
           parametersOf("E", wires, false) + places;
}

}  // namespace hardware
