// Logs as texts: tables for people, comma-separated values, JSON.
#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <sstream>

#include "program/fixed_log.h"
#include "program/text_table.h"

namespace tolvane {

namespace {

using detail::TextRow;

/// A text in quotation marks, with what JSON escapes.
std::string quoted(const std::string& text) {
    std::ostringstream out;
    out << '"';
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out << '\\' << c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            out << "\\u" << std::hex << std::setw(4) << std::setfill('0') << static_cast<int>(c) << std::dec;
        } else {
            out << c;
        }
    }
    out << '"';
    return out.str();
}

TextRow columns() {
    return {"place",       "format",   "least before", "greatest before", "least after", "greatest after",
            "bits needed", "to spare", "values",       "overflows",       "underflows"};
}

void append(TextRow& row, std::initializer_list<std::string> cells) {
    row.insert(row.end(), cells);
}

TextRow cellsOf(const place_record& p, std::string (*valueText)(const exact_value&)) {
    return {p.name,
            p.format.text(),
            valueText(p.before.least),
            valueText(p.before.greatest),
            valueText(p.after.least),
            valueText(p.after.greatest),
            std::to_string(p.bits_needed),
            std::to_string(p.bits_to_spare()),
            std::to_string(p.values),
            std::to_string(p.overflows),
            std::to_string(p.underflows)};
}

std::string overflowPlace(const std::string& file, const place_record& p) {
    return p.overflow_line == 0 ? "" : file + ":" + std::to_string(p.overflow_line);
}

std::string exactText(const exact_value& value) {
    return value.text();
}

/// The counts of a histogram, with a bar for those of each power of two.
std::string histogramText(const place_record& p) {
    constexpr std::size_t kLongestBar = 40;
    std::vector<TextRow> rows = {{p.name, "positive", "negative", ""}};
    std::uint64_t most = std::max<std::uint64_t>(p.histogram->zeros, 1);
    for (const auto& [exponent, counts] : p.histogram->powers) {
        most = std::max(most, counts.positive + counts.negative);
    }
    const auto bar = [&](std::uint64_t count) {
        return std::string((static_cast<std::size_t>(std::ceil(static_cast<double>(count) / static_cast<double>(most) *
                                                               static_cast<double>(kLongestBar)))),
                           '#');
    };
    for (auto row = p.histogram->powers.rbegin(); row != p.histogram->powers.rend(); ++row) {
        const auto& [exponent, counts] = *row;
        rows.push_back({"2^" + std::to_string(exponent), std::to_string(counts.positive),
                        std::to_string(counts.negative), bar(counts.positive + counts.negative)});
    }
    if (p.histogram->zeros > 0) {
        rows.push_back({"0", std::to_string(p.histogram->zeros), "", bar(p.histogram->zeros)});
    }
    return detail::tableOf(rows, 1, true);
}

/// "zeros:3 -2:5/4": exponents with the counts of positive and negative values.
std::string histogramCell(const magnitude_histogram& histogram) {
    std::string text = "zeros:" + std::to_string(histogram.zeros);
    for (const auto& [exponent, counts] : histogram.powers) {
        text += " " + std::to_string(exponent) + ":" + std::to_string(counts.positive) + "/" +
                std::to_string(counts.negative);
    }
    return text;
}

std::string csvCell(std::string cell) {
    if (cell.find_first_of(",\"\n") != std::string::npos) {
        for (std::size_t at = 0; (at = cell.find('"', at)) != std::string::npos; at += 2) {
            cell.insert(at, 1, '"');
        }
        cell.insert(0, 1, '"').push_back('"');
    }
    return cell;
}

}  // namespace

std::string fixed_log::report() const {
    const std::vector<place_record> all = places();
    const bool showsPlaces = std::ranges::any_of(all, [](const place_record& p) { return p.overflow_line != 0; });
    std::vector<TextRow> rows = {columns()};
    if (options().errors) {
        append(rows.front(), {"greatest error", "mean error", "rms error"});
    }
    if (showsPlaces) {
        append(rows.front(), {"first overflow"});
    }
    for (const place_record& p : all) {
        TextRow& row = rows.emplace_back(cellsOf(p, detail::shortText));
        if (p.errors) {
            const auto count = static_cast<double>(p.values);
            append(row, {detail::shortText(p.errors->greatest), detail::shortText(p.errors->sum.to_double() / count),
                         detail::shortText(std::sqrt(p.errors->squares.to_double() / count))});
        }
        if (showsPlaces) {
            append(row, {overflowPlace(p.overflow_file.substr(p.overflow_file.find_last_of('/') + 1), p)});
        }
    }
    std::string text = detail::tableOf(rows, 2, showsPlaces);
    for (const place_record& p : all) {
        if (p.histogram) {
            text += "\n" + histogramText(p);
        }
    }
    return text;
}

std::string fixed_log::csv() const {
    std::vector<TextRow> rows = {columns()};
    append(rows.front(), {"first overflow"});
    if (options().errors) {
        append(rows.front(), {"greatest error", "sum of errors", "sum of squared errors", "sum of squared values"});
    }
    if (options().histogram) {
        append(rows.front(), {"histogram"});
    }
    for (const place_record& p : places()) {
        TextRow& row = rows.emplace_back(cellsOf(p, exactText));
        append(row, {overflowPlace(p.overflow_file, p)});
        if (p.errors) {
            append(row, {p.errors->greatest.text(), p.errors->sum.text(), p.errors->squares.text(),
                         p.errors->signal_squares.text()});
        }
        if (p.histogram) {
            append(row, {histogramCell(*p.histogram)});
        }
    }
    std::string text;
    for (const TextRow& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            text.append(i == 0 ? "" : ",").append(csvCell(row[i]));
        }
        text += '\n';
    }
    return text;
}

std::string fixed_log::json() const {
    std::ostringstream out;
    out << "[";
    const char* separator = "";
    for (const place_record& p : places()) {
        const auto range = [](const value_range& r) { return "[" + r.least.text() + ", " + r.greatest.text() + "]"; };
        out << separator << "\n  {\"place\": " << quoted(p.name) << ", \"format\": " << quoted(p.format.text())
            << ", \"before\": " << range(p.before) << ", \"after\": " << range(p.after)
            << ", \"bits_needed\": " << p.bits_needed << ", \"bits_to_spare\": " << p.bits_to_spare()
            << ", \"values\": " << p.values << ", \"overflows\": " << p.overflows
            << ", \"underflows\": " << p.underflows;
        if (p.overflow_line != 0) {
            out << ", \"overflow_file\": " << quoted(p.overflow_file) << ", \"overflow_line\": " << p.overflow_line;
        }
        if (p.errors) {
            out << ", \"errors\": {\"greatest\": " << p.errors->greatest << ", \"sum\": " << p.errors->sum
                << ", \"squares\": " << p.errors->squares << ", \"signal_squares\": " << p.errors->signal_squares
                << "}";
        }
        if (p.histogram) {
            out << ", \"histogram\": {\"zeros\": " << p.histogram->zeros << ", \"powers\": [";
            const char* comma = "";
            for (const auto& [exponent, counts] : p.histogram->powers) {
                out << comma << "[" << exponent << ", " << counts.positive << ", " << counts.negative << "]";
                comma = ", ";
            }
            out << "]}";
        }
        out << "}";
        separator = ",";
    }
    out << "\n]\n";
    return out.str();
}

}  // namespace tolvane
