// Logs: what happens at every place where values are quantized, by the names of the formats, while a log lives.
//
//     fixed_log log;
//     fixed_array z = cast(y, fixed_format{sfix(16, 15)}.named("z"));
//     std::cout << log.report();     // ranges before and after, bits needed and to spare, overflows
//
// Logs may be nested; each hears of everything while it lives, from all threads. Without a log nothing is counted.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/export.h"
#include "program/exact_value.h"
#include "program/format.h"

namespace tolvane {

/// The least and the greatest of some values.
struct value_range {
    exact_value least;
    exact_value greatest;
    friend bool operator==(const value_range&, const value_range&) = default;
};

/// What a log knows of one place.
struct place_record {
    std::string name;  // that of the format, or its text if it has none
    fixed_format format;
    value_range before;  // of the exact values that came
    value_range after;   // of the words that were made of them
    std::uint64_t values = 0;
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;  // values other than zero that became zero
    /// The least word length at which no value would have overflowed, with the format's fraction and rounding. Values
    /// below zero need a sign bit, even if the format has none.
    int bits_needed = 1;

    /// The bits of the format beyond those, negative if there are too few.
    int bits_to_spare() const { return format.type().bits - bits_needed; }
};

class TOLVANE_API fixed_log {
 public:
    fixed_log();
    ~fixed_log();
    fixed_log(const fixed_log&) = delete;
    fixed_log& operator=(const fixed_log&) = delete;

    /// The places in the order in which they were first heard of.
    std::vector<place_record> places() const;
    /// One place; a name that no place has raises "tolvane:log:name".
    place_record place(const std::string& name) const;
    /// A table for people.
    std::string report() const;
    /// The same as comma-separated values with a line of names, and as JSON.
    std::string csv() const;
    std::string json() const;
    void clear();

 private:
    struct State;
    std::unique_ptr<State> mState;
    friend class LogAccess;
};

}  // namespace tolvane
