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
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "host/export.h"
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

/// The ratio in dB of the squares of a reference to those of the differences between it and x, element by element:
/// what all places and coefficients together cost. Infinite if all are equal, minus infinity for a
/// reference of zeros. Sizes that differ raise "tolvane:array:shape".
TOLVANE_API double signal_to_noise_db(const fixed_array& reference, const fixed_array& x);
TOLVANE_API double signal_to_noise_db(const std::vector<double>& reference, const fixed_array& x);

// Write tables.
TOLVANE_API std::ostream& operator<<(std::ostream& out, const std::vector<format_proposal>& proposals);
TOLVANE_API std::ostream& operator<<(std::ostream& out, const std::vector<place_comparison>& comparisons);

}  // namespace tolvane
