#include "program/log_analysis.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <numeric>
#include <ostream>

#include "program/kernels.h"
#include "program/text_table.h"

namespace tolvane {

namespace {

fixed_format withType(const fixed_format& format, const fixed_type& type) {
    return fixed_format(type, format.rounding(), format.overflow(), format.name());
}

fixed_format proposalFor(const place_record& p, const propose_options& options) {
    const value_range& values = p.before;
    fixed_type type = p.format.type();
    type.is_signed = type.is_signed || values.least.is_negative();
    const auto neededBits = [&] { return detail::bitsNeeded(withType(p.format, type), values); };
    if (options.rule == proposal_rule::keep_fraction) {
        type.bits = neededBits() + options.margin_bits;
        return withType(p.format, type);
    }
    if (values.least.is_zero() && values.greatest.is_zero()) {
        return p.format;
    }
    int top = std::numeric_limits<int>::min();
    for (const exact_value& value : {values.least, values.greatest}) {
        top = value.is_zero() ? top : std::max(top, value.magnitude_exponent());
    }
    // The bits for the whole part are about those of the greatest magnitude, plus one if that is rounded up to a power
    // of two, minus one if it is the least word.
    type.fraction = type.bits - options.margin_bits - top;
    while (type.fraction >= -top && neededBits() > type.bits - options.margin_bits) {
        --type.fraction;
    }
    if (type.fraction < -top) {
        throw error("tolvane:log:margin", "Words of " + std::to_string(type.bits) + " bits are too short for \"" +
                                              p.name + "\" with a margin of " + std::to_string(options.margin_bits) +
                                              " bits. Ask for a smaller margin, or for proposal_rule::keep_fraction.");
    }
    return withType(p.format, type);
}

/// The logarithm of a mean, which may be beyond doubles itself.
double log2Of(const exact_value& sum, std::uint64_t count) {
    const auto& limbs = sum.magnitude();
    const exact_value mantissa = exact_value::from_words(limbs.data(), limbs.size(), false, 1 - sum.bits());
    return sum.magnitude_exponent() + std::log2(mantissa.to_double()) - std::log2(static_cast<double>(count));
}

double meanOf(const exact_value& sum, std::uint64_t count) {
    return sum.to_double() / static_cast<double>(count);
}

void requireSizes(std::size_t expected, const fixed_array& x) {
    if (x.size() != expected) {
        throw error("tolvane:array:shape", "A reference of " + std::to_string(expected) +
                                               " values can't be compared with " + std::to_string(x.size()) +
                                               ". Cut both to the same range.");
    }
}

double ratioOf(const std::vector<std::complex<double>>& signal, const std::vector<std::complex<double>>& noise) {
    const auto squares = [](const std::vector<std::complex<double>>& values) {
        return std::accumulate(values.begin(), values.end(), 0.0,
                               [](double sum, std::complex<double> value) { return sum + std::norm(value); });
    };
    const double below = squares(noise);
    return below == 0 ? std::numeric_limits<double>::infinity() : 10 * std::log10(squares(signal) / below);
}

std::string differenceText(const exact_value& a, const exact_value& b) {
    return detail::shortText(a - b);
}

}  // namespace

std::vector<format_proposal> propose(const fixed_log& log, const propose_options& options) {
    if (options.margin_bits < 0) {
        throw error("tolvane:log:margin", "A margin has 0 bits or more, not " + std::to_string(options.margin_bits) +
                                              ". To allow overflows, shorten the formats themselves.");
    }
    std::vector<format_proposal> all;
    for (const place_record& p : log.places()) {
        all.push_back({p.name, p.format, proposalFor(p, options)});
    }
    return all;
}

std::vector<place_comparison> compare(const fixed_log& log, const fixed_log& reference) {
    for (const fixed_log* const each : {&log, &reference}) {
        if (!each->options().errors) {
            throw error("tolvane:log:options", std::string(each == &log ? "The log" : "The reference") +
                                                   " of compare doesn't keep errors. Make it with {.errors = true}.");
        }
    }
    const std::vector<place_record> others = reference.places();
    std::vector<place_comparison> all;
    for (const place_record& p : log.places()) {
        const auto found = std::ranges::find(others, p.name, &place_record::name);
        const place_record& other = found == others.end() ? p : *found;
        const exact_value& signal = other.errors->signal_squares;
        const exact_value& noise = p.errors->squares;
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        const double ratio = noise.is_zero()    ? kInfinity
                             : signal.is_zero() ? -kInfinity
                                                : (log2Of(signal, other.values) - log2Of(noise, p.values)) * 10 *
                                                      std::numbers::ln2 / std::numbers::ln10;
        all.push_back({p.name, p.format, meanOf(noise, p.values), meanOf(signal, other.values), ratio, p.overflows,
                       p.before, found != others.end(), other.before});
    }
    std::ranges::stable_sort(all, {}, &place_comparison::ratio_db);
    return all;
}

double signal_to_noise_db(const fixed_array& reference, const fixed_array& x) {
    requireSizes(reference.size(), x);
    // The differences are exact until they are doubles. Shapes don't matter.
    return ratioOf(reference.to_complex_doubles(),
                   (x.reshaped({x.size()}) - reference.reshaped({x.size()})).to_complex_doubles());
}

double signal_to_noise_db(const std::vector<double>& reference, const fixed_array& x) {
    requireSizes(reference.size(), x);
    std::vector<std::complex<double>> differences = x.to_complex_doubles();
    for (std::size_t i = 0; i < differences.size(); ++i) {
        differences[i] -= reference[i];
    }
    return ratioOf({reference.begin(), reference.end()}, differences);
}

std::ostream& operator<<(std::ostream& out, const std::vector<format_proposal>& proposals) {
    std::vector<detail::TextRow> rows = {{"place", "format", "proposed"}};
    for (const format_proposal& p : proposals) {
        rows.push_back({p.place, p.current.text(), p.proposed.text()});
    }
    return out << detail::tableOf(rows, rows.front().size());
}

std::ostream& operator<<(std::ostream& out, const std::vector<place_comparison>& comparisons) {
    std::vector<detail::TextRow> rows = {{"place", "format", "signal/noise dB", "rms noise", "rms signal", "overflows",
                                          "least before", "greatest before", "least moved by", "greatest moved by"}};
    for (const place_comparison& p : comparisons) {
        rows.push_back({p.place, p.format.text(), detail::shortText(p.ratio_db), detail::shortText(std::sqrt(p.noise)),
                        detail::shortText(std::sqrt(p.signal)), std::to_string(p.overflows),
                        detail::shortText(p.before.least), detail::shortText(p.before.greatest),
                        p.is_in_reference ? differenceText(p.before.least, p.reference_before.least) : "-",
                        p.is_in_reference ? differenceText(p.before.greatest, p.reference_before.greatest) : "-"});
    }
    return out << detail::tableOf(rows, 2);
}

}  // namespace tolvane
