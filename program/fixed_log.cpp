#include "program/fixed_log.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <iomanip>
#include <mutex>
#include <sstream>

#include "program/log_access.h"

namespace tolvane {

constinit std::atomic<int> detail::currentLogLevel = static_cast<int>(LogLevel::none);
constinit std::atomic<std::uint64_t> detail::currentLogEpoch = 0;

struct fixed_log::State {
    std::vector<place_record> records;
    std::uint64_t epoch = 0;  // the first that the log lived in
};

namespace {

std::mutex sLock;

std::vector<fixed_log*>& livingLogs() {
    static auto* const sLiving = new std::vector<fixed_log*>;  // logs may outlive this file's statics
    return *sLiving;
}

/// Call it with the lock, after a log began or ended.
void setLevel() {
    const detail::LogLevel level = livingLogs().empty() ? detail::LogLevel::none : detail::LogLevel::ranges;
    detail::currentLogLevel.store(static_cast<int>(level), std::memory_order_relaxed);
    detail::currentLogEpoch.fetch_add(1, std::memory_order_relaxed);
}

void merge(value_range& held, const value_range& added) {
    held.least = std::min(held.least, added.least);
    held.greatest = std::max(held.greatest, added.greatest);
}

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

std::string short_text(const exact_value& value) {
    std::ostringstream out;
    out << std::setprecision(6) << value.to_double();
    return out.str();
}

constexpr std::array kColumns{"place",       "format",         "least before", "greatest before",
                              "least after", "greatest after", "bits needed",  "to spare",
                              "values",      "overflows",      "underflows"};

std::array<std::string, kColumns.size()> cellsOf(const place_record& p, std::string (*valueText)(const exact_value&)) {
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

std::string exactText(const exact_value& value) {
    return value.text();
}

}  // namespace

fixed_log::fixed_log() : mState(std::make_unique<State>()) {
    const std::lock_guard lock(sLock);
    livingLogs().push_back(this);
    setLevel();
    mState->epoch = detail::currentLogEpoch.load(std::memory_order_relaxed);
}

fixed_log::~fixed_log() {
    const std::lock_guard lock(sLock);
    std::erase(livingLogs(), this);
    setLevel();
}

std::vector<place_record> fixed_log::places() const {
    detail::handOverVariables();
    const std::lock_guard lock(sLock);
    return mState->records;
}

place_record fixed_log::place(const std::string& name) const {
    const std::vector<place_record> all = places();
    const auto found = std::ranges::find(all, name, &place_record::name);
    if (found == all.end()) {
        std::string known;
        for (const place_record& record : all) {
            known.append(known.empty() ? "" : ", ").append(record.name);
        }
        throw error("tolvane:log:name", "The log has no place \"" + name + "\"" +
                                            (known.empty() ? "; nothing was quantized." : "; it has " + known + "."));
    }
    return *found;
}

void fixed_log::clear() {
    detail::handOverVariables();
    const std::lock_guard lock(sLock);
    mState->records.clear();
}

std::string fixed_log::report() const {
    std::vector<std::array<std::string, kColumns.size()>> rows(1);
    std::ranges::copy(kColumns, rows.front().begin());
    for (const place_record& record : places()) {
        rows.push_back(cellsOf(record, short_text));
    }
    std::array<std::size_t, kColumns.size()> widths{};
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::ostringstream out;
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            // Names to the left, numbers to the right.
            out << (i == 0 ? "" : "  ") << (i < 2 ? std::left : std::right) << std::setw(static_cast<int>(widths[i]))
                << row[i];
        }
        out << '\n';
    }
    return out.str();
}

std::string fixed_log::csv() const {
    std::ostringstream out;
    for (std::size_t i = 0; i < kColumns.size(); ++i) {
        out << (i == 0 ? "" : ",") << kColumns[i];
    }
    out << '\n';
    for (const place_record& record : places()) {
        const auto cells = cellsOf(record, exactText);
        for (std::size_t i = 0; i < cells.size(); ++i) {
            std::string cell = cells[i];
            if (cell.find_first_of(",\"\n") != std::string::npos) {
                for (std::size_t at = 0; (at = cell.find('"', at)) != std::string::npos; at += 2) {
                    cell.insert(at, 1, '"');
                }
                cell.insert(0, 1, '"').push_back('"');
            }
            out << (i == 0 ? "" : ",") << cell;
        }
        out << '\n';
    }
    return out.str();
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
            << ", \"underflows\": " << p.underflows << "}";
        separator = ",";
    }
    out << "\n]\n";
    return out.str();
}

void LogAccess::add(const place_record& record, std::uint64_t epoch) {
    if (record.values == 0) {
        return;
    }
    const std::lock_guard lock(sLock);
    for (fixed_log* const log : livingLogs()) {
        if (log->mState->epoch > epoch) {
            continue;
        }
        std::vector<place_record>& records = log->mState->records;
        const auto found = std::ranges::find(records, record.name, &place_record::name);
        if (found == records.end()) {
            records.push_back(record);
            continue;
        }
        merge(found->before, record.before);
        merge(found->after, record.after);
        found->format = record.format;
        found->bits_needed = std::max(found->bits_needed, record.bits_needed);
        found->values += record.values;
        found->overflows += record.overflows;
        found->underflows += record.underflows;
    }
}

}  // namespace tolvane
