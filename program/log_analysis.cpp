#include "program/log_analysis.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <numeric>
#include <ostream>
#include <utility>

#include "program/kernels.h"
#include "program/log_access.h"
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

constexpr double kInfinity = std::numeric_limits<double>::infinity();

double inDb(double signal, double noise) {
    return noise == 0 ? kInfinity : signal == 0 ? -kInfinity : 10 * std::log10(signal / noise);
}

place_samples valuesOf(const detail::Samples& samples) {
    place_samples values;
    values.before.reserve(samples.count);
    values.after.reserve(samples.count);
    for (const detail::SampleChunk& chunk : samples.chunks) {
        for (std::size_t i = 0; i < chunk.count(); ++i) {
            const std::size_t at = i * chunk.width;
            values.before.push_back(
                exact_value::from_words(chunk.before.data() + at, chunk.width, true, chunk.exponentBefore));
            values.after.push_back(
                exact_value::from_words(chunk.after.data() + at, chunk.width, true, chunk.exponentAfter));
        }
    }
    return values;
}

void requireSamples(const fixed_log& log, const char* which) {
    if (!log.options().samples) {
        throw error("tolvane:log:options",
                    std::string(which) + " doesn't keep samples. Make it with {.samples = true}.");
    }
}

double squareOf(double x) {
    return x * x;
}

/// Sets what the samples of a place and of the same place of a reference tell.
void explainBySamples(const place_samples& own, const place_samples* other, place_explanation& row) {
    const std::size_t count = own.after.size();
    row.is_matched = other != nullptr && other->after.size() == count && count > 0;
    for (std::size_t i = 0; i < count; ++i) {
        row.added += squareOf((own.after[i] - own.before[i]).to_double());
        if (row.is_matched) {
            row.signal += squareOf(other->after[i].to_double());
            row.arrived += squareOf((own.before[i] - other->before[i]).to_double());
            row.total += squareOf((own.after[i] - other->after[i]).to_double());
        } else {
            row.signal += squareOf(own.before[i].to_double());
        }
    }
    for (double* const power : {&row.signal, &row.arrived, &row.added, &row.total}) {
        *power = count == 0 ? 0 : *power / static_cast<double>(count);
    }
}

/// When a place was the first to differ: the operation, and the part of its values that came before.
using Moment = std::pair<std::uint64_t, double>;

Moment momentOf(const detail::Samples& samples, std::size_t index) {
    const auto after = std::ranges::upper_bound(samples.runs, index, {}, &detail::Samples::Run::begin);
    if (after == samples.runs.begin() || index >= samples.count) {
        return {std::numeric_limits<std::uint64_t>::max(), 0};
    }
    const detail::Samples::Run& run = *std::prev(after);
    const std::size_t end = after == samples.runs.end() ? samples.count : after->begin;
    return {run.operation, static_cast<double>(index - run.begin) / static_cast<double>(end - run.begin)};
}

std::string lineText(const std::string& file, std::uint32_t line) {
    const std::size_t slash = file.find_last_of('/');
    return line == 0 ? "" : file.substr(slash == std::string::npos ? 0 : slash + 1) + ":" + std::to_string(line);
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

place_samples samples_of(const fixed_log& log, const std::string& place) {
    requireSamples(log, "The log");
    const place_record found = log.place(place);
    return valuesOf(LogAccess::samplesOf(log)[found.name]);
}

std::vector<place_explanation> explain(const fixed_log& log, const fixed_log& reference) {
    if (!log.options().errors && !log.options().samples) {
        throw error("tolvane:log:options",
                    "The log of explain keeps neither errors nor samples. Make it with {.samples = true}.");
    }
    auto own = LogAccess::samplesOf(log);
    auto others = LogAccess::samplesOf(reference);
    std::vector<place_explanation> all;
    for (const place_record& p : log.places()) {
        place_explanation row{.place = p.name,
                              .format = p.format,
                              .values = p.values,
                              .overflows = p.overflows,
                              .bits_needed = p.bits_needed,
                              .bits_to_spare = p.bits_to_spare(),
                              .file = p.file,
                              .line = p.line};
        if (log.options().samples) {
            const auto found = others.find(p.name);
            const place_samples values = valuesOf(own[p.name]);
            if (found == others.end()) {
                explainBySamples(values, nullptr, row);
            } else {
                const place_samples referenceValues = valuesOf(found->second);
                explainBySamples(values, &referenceValues, row);
            }
        } else {
            row.signal = meanOf(p.errors->signal_squares, p.values);
            row.added = meanOf(p.errors->squares, p.values);
        }
        row.added_db = inDb(row.signal, row.added);
        row.total_db = row.is_matched ? inDb(row.signal, row.total) : 0;
        all.push_back(std::move(row));
    }
    std::ranges::stable_sort(all, {}, &place_explanation::added_db);
    return all;
}

std::vector<place_difference> differences(const fixed_log& a, const fixed_log& b) {
    requireSamples(a, "The first log");
    requireSamples(b, "The second log");
    auto ones = LogAccess::samplesOf(a);
    auto others = LogAccess::samplesOf(b);
    std::vector<place_record> records = a.places();
    for (const place_record& record : b.places()) {
        if (!ones.contains(record.name)) {
            records.push_back(record);
        }
    }
    std::vector<std::pair<Moment, place_difference>> all;
    for (const place_record& record : records) {
        const detail::Samples& samples = ones[record.name];
        const place_samples one = valuesOf(samples);
        const place_samples other = valuesOf(others[record.name]);
        place_difference row;
        row.place = record.name;
        row.values = one.after.size();
        row.other_values = other.after.size();
        row.file = record.file;
        row.line = record.line;
        const std::size_t common = std::min(one.after.size(), other.after.size());
        std::size_t first = common;
        for (std::size_t i = 0; i < common; ++i) {
            if (one.after[i] == other.after[i]) {
                continue;
            }
            const exact_value moved = one.after[i] - other.after[i];
            row.greatest = std::max(row.greatest, moved.is_negative() ? -moved : moved);
            first = std::min(first, i);
            ++row.differences;
        }
        if (row.differences == 0 && row.values == row.other_values) {
            continue;
        }
        row.first = first;
        row.one = first < one.after.size() ? one.after[first] : exact_value();
        row.other = first < other.after.size() ? other.after[first] : exact_value();
        all.emplace_back(momentOf(samples, first), std::move(row));
    }
    std::ranges::stable_sort(all, {}, &std::pair<Moment, place_difference>::first);
    std::vector<place_difference> rows;
    for (auto& [moment, row] : all) {
        rows.push_back(std::move(row));
    }
    return rows;
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

std::ostream& operator<<(std::ostream& out, const std::vector<place_explanation>& explanations) {
    std::vector<detail::TextRow> rows = {{"place", "format", "signal/added dB", "signal/all dB", "new", "rms added",
                                          "rms arrived", "rms signal", "bits needed", "to spare", "values", "overflows",
                                          "line"}};
    for (const place_explanation& p : explanations) {
        const auto ifMatched = [&](const std::string& text) { return p.is_matched ? text : "-"; };
        rows.push_back(
            {p.place, p.format.text(), detail::shortText(p.added_db), ifMatched(detail::shortText(p.total_db)),
             ifMatched(std::to_string(std::lround(100 * p.new_part())) + "%"), detail::shortText(std::sqrt(p.added)),
             ifMatched(detail::shortText(std::sqrt(p.arrived))), detail::shortText(std::sqrt(p.signal)),
             std::to_string(p.bits_needed), std::to_string(p.bits_to_spare), std::to_string(p.values),
             std::to_string(p.overflows), lineText(p.file, p.line)});
    }
    return out << detail::tableOf(rows, 2, true);
}

std::ostream& operator<<(std::ostream& out, const std::vector<place_difference>& differences) {
    std::vector<detail::TextRow> rows = {
        {"place", "values", "other values", "differences", "first", "one", "other", "greatest", "line"}};
    for (const place_difference& p : differences) {
        rows.push_back({p.place, std::to_string(p.values), std::to_string(p.other_values),
                        std::to_string(p.differences), std::to_string(p.first),
                        p.first < p.values ? detail::shortText(p.one) : "-",
                        p.first < p.other_values ? detail::shortText(p.other) : "-", detail::shortText(p.greatest),
                        lineText(p.file, p.line)});
    }
    return out << detail::tableOf(rows, 1, true);
}

}  // namespace tolvane
