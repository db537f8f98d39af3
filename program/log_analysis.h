// What to make of logs: formats in which nothing overflows, and where most was lost.
//
//     fixed_log reference({.errors = true, .formats = override::doubles});
//     run();                                              // the program as if in doubles
//     reference.stop();
//     std::cout << propose(reference);                    // formats from its ranges
//
//     fixed_log log({.errors = true});
//     run();                                              // the same with its formats
//     std::cout << compare(log, reference);               // its places, the worst first
//
// Logs with {.samples = true} are compared value by value: `explain` tells how much noise came to each place and how
// much it added, and `differences` where two runs part.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "host/export.h"
#include "program/exact_value.h"
#include "program/fixed_array.h"
#include "program/fixed_log.h"
#include "program/format.h"

namespace tolvane {

enum class proposal_rule : std::uint8_t {
    keep_length,    // the point moves: as many places after it as leave room for all values
    keep_fraction,  // the word becomes as long as its values need
};

struct propose_options {
    proposal_rule rule = proposal_rule::keep_length;
    /// Bits that each word has beyond what its values need.
    int margin_bits = 0;
};

struct format_proposal {
    std::string place;
    fixed_format current;
    fixed_format proposed;
};

/// Formats for all places of a log, in its order, by the ranges of their exact values: with the same rounding, overflow
/// and name, and a sign if it had one or values are below zero. No value overflows in them; a place of nothing but
/// zeros keeps its format under keep_length. A word too short for its margin, or a margin below 0, raises
/// "tolvane:log:margin".
TOLVANE_API std::vector<format_proposal> propose(const fixed_log& log, const propose_options& options = {});

/// How a place of a log compares with that of a reference. The noise is what the place itself adds to what comes to it;
/// `signal_to_noise_db` of the results tells what all of them cost.
struct place_comparison {
    std::string place;
    fixed_format format;
    double noise = 0;     // the mean of the squared errors of the log
    double signal = 0;    // the mean of the squares of the exact values, in the reference if it has the place
    double ratio_db = 0;  // of signal to noise, in dB; infinite without noise, minus infinity without signal
    std::uint64_t overflows = 0;
    value_range before;  // of the exact values in the log
    bool is_in_reference = false;
    value_range reference_before = {};
};

/// The places of a log by ratios, the worst first, and in the order of the log where they are equal. They are found in
/// the reference by their names, so both runs need the same ones; a format without a name, which goes by its text,
/// isn't found once it has changed. Logs that don't keep errors raise "tolvane:log:options".
TOLVANE_API std::vector<place_comparison> compare(const fixed_log& log, const fixed_log& reference);

/// The values of a place in the order in which they came, and the words that were made of them. Parts of complex
/// arrays follow one another.
struct place_samples {
    std::vector<exact_value> before;
    std::vector<exact_value> after;
};

/// All that a log made with `samples` has of a place. Other logs raise "tolvane:log:options", and a place that the log
/// lacks "tolvane:log:name".
TOLVANE_API place_samples samples_of(const fixed_log& log, const std::string& place);

/// How a place of a log differs from that of a reference, value by value. Powers are means of squares.
struct place_explanation {
    std::string place;
    fixed_format format;
    /// Whether the reference has the place with as many values, and both logs keep samples. Else only `added` and the
    /// counts are known, the signal is that of the log, and the other numbers are 0.
    bool is_matched = false;
    double signal = 0;    // of the reference's values
    double arrived = 0;   // the difference of the values that came
    double added = 0;     // what the place did to them: word minus value, overflows as well
    double total = 0;     // the difference of the words
    double added_db = 0;  // signal to added noise, in dB: infinite without noise, minus infinity without signal
    double total_db = 0;  // signal to all noise
    std::uint64_t values = 0;
    std::uint64_t overflows = 0;
    int bits_needed = 1;
    int bits_to_spare = 0;
    std::string file;  // the program's call that was the first to quantize here, if known
    std::uint32_t line = 0;

    /// The part of the noise behind the place that is new there, from 0 to 1; 0 if none is.
    double new_part() const { return added + arrived > 0 ? added / (added + arrived) : 0; }
};

/// Which place lost most: the places of a log by the ratio of signal to added noise, the worst first, and in the order
/// of the log where they are equal. The reference is a log of the same program, say with override::doubles; places are
/// found in it by their names. The log needs errors or samples, and samples on both sides tell what came in; logs with
/// neither raise "tolvane:log:options".
TOLVANE_API std::vector<place_explanation> explain(const fixed_log& log, const fixed_log& reference);

/// How the words of a place differ between two runs of a program.
struct place_difference {
    std::string place;
    std::uint64_t values = 0;        // in the first log
    std::uint64_t other_values = 0;  // in the second, 0 if it lacks the place
    std::uint64_t differences = 0;   // among those that both have
    /// The first that differs, or that only one of them has, and its values there; 0 where there is none.
    std::uint64_t first = 0;
    exact_value one;
    exact_value other;
    exact_value greatest;  // magnitude of a difference
    std::string file;
    std::uint32_t line = 0;
};

/// The places that differ, the one that was the first to differ in the first log first, so that the cause is on top.
/// Within one operation, as a filter, the values of all its places advance together; places that part at one sample
/// are in the order of the log. Both logs need samples; others
/// raise "tolvane:log:options".
TOLVANE_API std::vector<place_difference> differences(const fixed_log& a, const fixed_log& b);

/// The ratio in dB of the squares of a reference to those of the differences between it and x, element by element:
/// what all places and coefficients together cost. Infinite if all are equal, minus infinity for a
/// reference of zeros. Sizes that differ raise "tolvane:array:shape".
TOLVANE_API double signal_to_noise_db(const fixed_array& reference, const fixed_array& x);
TOLVANE_API double signal_to_noise_db(const std::vector<double>& reference, const fixed_array& x);

// Write tables.
TOLVANE_API std::ostream& operator<<(std::ostream& out, const std::vector<format_proposal>& proposals);
TOLVANE_API std::ostream& operator<<(std::ostream& out, const std::vector<place_comparison>& comparisons);
TOLVANE_API std::ostream& operator<<(std::ostream& out, const std::vector<place_explanation>& explanations);
TOLVANE_API std::ostream& operator<<(std::ostream& out, const std::vector<place_difference>& differences);

}  // namespace tolvane
