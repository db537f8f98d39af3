// Logs: what happens at every place where values are quantized, by the names of the formats, while a log lives.
//
//     fixed_log log;
//     fixed_array z = cast(y, fixed_format{sfix(16, 15)}.named("z"));
//     std::cout << log.report();     // ranges before and after, bits needed and to spare, overflows
//
// Logs may be nested; each hears of every operation that begins while it lives, until it is stopped, on all threads,
// and keeps what it asked for. Without a log nothing is counted. What to make of logs is in log_analysis.h.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/export.h"
#include "program/code_location.h"
#include "program/exact_value.h"
#include "program/format.h"

namespace tolvane {

/// The least and the greatest of some values.
struct value_range {
    exact_value least;
    exact_value greatest;
    friend bool operator==(const value_range&, const value_range&) = default;
};

/// How many values reach each power of two.
struct magnitude_histogram {
    struct counts {
        std::uint64_t positive = 0;
        std::uint64_t negative = 0;
        friend bool operator==(const counts&, const counts&) = default;
    };
    std::uint64_t zeros = 0;
    /// Magnitudes of 2^exponent and more, below 2^(exponent + 1), by exponent, where there are any.
    std::map<int, counts> powers;
    friend bool operator==(const magnitude_histogram&, const magnitude_histogram&) = default;
};

/// What quantizing did to values: the word minus the exact value, summed exactly.
struct error_sums {
    exact_value greatest;  // magnitude
    exact_value sum;
    exact_value squares;
    exact_value signal_squares;  // of the exact values themselves
    friend bool operator==(const error_sums&, const error_sums&) = default;
};

/// What a log knows of one place.
struct place_record {
    std::string name;  // that of the format, or its text if it has none
    fixed_format format;
    value_range before;  // of the exact values that came
    value_range after;   // of the words that were made of them
    std::uint64_t values = 0;
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;  // values other than zero that were rounded to zero
    /// The least word length at which no value would have overflowed, with the format's fraction and rounding. Values
    /// below zero need a sign bit, even if the format has none.
    int bits_needed = 1;
    /// The program's call that was the first to quantize here, if known: variables tell theirs only to logs that hear
    /// of each value.
    std::string file = {};
    std::uint32_t line = 0;
    /// The call that was the first to overflow; empty and 0 if none did, or where isn't known.
    std::string overflow_file = {};
    std::uint32_t overflow_line = 0;
    // If the log asked for them.
    std::optional<magnitude_histogram> histogram = std::nullopt;  // of the exact values that came
    std::optional<error_sums> errors = std::nullopt;

    /// The bits of the format beyond those, negative if there are too few.
    int bits_to_spare() const { return format.type().bits - bits_needed; }
};

/// An operation overflowed at a place.
struct overflow_event {
    std::string place;
    fixed_format format;
    std::uint64_t count = 0;  // values
    code_location where;      // the program's call, if known
};

/// Whether formats act while a log lives, on its thread. The innermost log that says it decides.
enum class override : std::uint8_t {
    inherit,  // says nothing
    none,     // formats act
    /// No format acts: each becomes one with a sign, to nearest and saturating, that has 64 or more bits more on both
    /// sides of the point, as far as doubles go. Values stay fixed_arrays, of these types, and the limit of exact
    /// growth is off. Records show what the format itself would have met: counts and bits needed are those of
    /// quantizing to it, `after` and the errors are of the words that were made. Types without a place, as `from_words`
    /// and `zeros` take them, stay; a program that reads words of 64 bits has to take values instead.
    doubles,
};

struct log_options {
    // Of the exact values of each place; of quotients, with 62 bits below the last place of the format.
    bool histogram = false;
    bool errors = false;
    /// Keeps each value that came and the word that was made of it, for `samples_of`, `explain` and `differences`
    /// (log_analysis.h): memory for all of them.
    bool samples = false;
    /// Called once for each place that overflows in an operation, by its thread, when the operation is complete and
    /// recorded. It may use this interface; what overflows meanwhile is recorded and not told. What it throws comes out
    /// of the operation, which then has no result.
    std::function<void(const overflow_event&)> on_overflow = nullptr;
    override formats = override::inherit;
};

class TOLVANE_API fixed_log {
 public:
    fixed_log();
    explicit fixed_log(log_options options);
    explicit fixed_log(override formats);
    ~fixed_log();
    fixed_log(const fixed_log&) = delete;
    fixed_log& operator=(const fixed_log&) = delete;

    const log_options& options() const;
    /// The places in the order in which they were first heard of.
    std::vector<place_record> places() const;
    /// One place; a name that no place has raises "tolvane:log:name".
    place_record place(const std::string& name) const;
    /// A table for people, with histograms below it.
    std::string report() const;
    /// All numbers, exactly, as comma-separated values with a line of names, and as JSON.
    std::string csv() const;
    std::string json() const;
    /// Forgets all places.
    void clear();
    /// Ends listening, as the end of its life does, and keeps what it has.
    void stop();

 private:
    struct State;
    std::unique_ptr<State> mState;
    friend class LogAccess;
};

}  // namespace tolvane
