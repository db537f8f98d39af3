// Vector loops under the array code of sums and products: the steps of arithmetic on lanes of doubles, a block of
// elements or a run of terms at a time.
//
// Each loop takes the steps (fi/bulk/steps.inl.h) of every lane in their order, so its results agree with the element
// path in every bit, and so do its statistics, except that a zero extreme can have had either sign (`Tally`). The loops
// named `exact` may reorder: their callers have proven that no operation rounds. None may be called unless
// `areAvailable`.
#pragma once

#include <cstddef>
#include <cstdint>

#include "descriptors/embedded.h"
#include "fi/bulk/membership.h"
#include "quantization/fixed_limits.h"
#include "quantization/quantizer.h"
#include "quantization/tally.h"

namespace tolvane::detail::laneloops {

enum class Sign { plus, minus };

/// Two arrays to be combined.
struct Operands {
    const double* left;
    const double* right;
};

/// How values are forced into a format. The rounding and overflow of all places of a loop are the same.
struct Rule {
    embedded::RoundModeEnum round;
    embedded::OverflowModeEnum overflow;
    bool operator==(const Rule&) const = default;
};

/// The rule of a quantizer; it has a meaning only if the quantizer has a fixed kernel.
Rule ruleOf(const quantizer& q);

/// What the places do with their values.
enum class Treatment {
    keep,      // nothing, because the caller has proven that all are of the place's format
    examine,   // nothing, but find out whether all were of the place's format
    quantize,  // force them into it
};

/// The places of a loop: products, their pairs and sums. Pairs and sums have the same format. Places that a loop
/// doesn't have, and fields that its treatment doesn't need, are ignored.
struct Places {
    Treatment treatment = Treatment::quantize;
    Rule rule{};
    FixedDoubleLimits product;
    FixedDoubleLimits sum;
    Membership productMembers;  // for `examine`
    Membership sumMembers;
    bool keepsProducts = false;  // for `quantize` in runs without statistics: all products are of their format
    bool castsPair = false;
    bool castsSum = false;
};

/// What the places noted.
struct Tallies {
    Tally product;
    Tally pair;
    Tally sum;
};

/// Whether the processor has an instruction set for the loops.
bool areAvailable();

// Element by element. The result of `examine` says whether all values were of their formats; the others return true.
// `tallies` is null where nothing is counted, else set.

bool add(const Places& places, Sign sign, Operands operands, double* out, std::size_t count, Tallies* tallies);
bool multiply(const Places& places, Operands factors, double* out, std::size_t count, Tallies* tallies);
/// Adds or subtracts two products.
bool multiplyPairs(const Places& places, Sign sign, Operands first, Operands second, double* out, std::size_t count,
                   Tallies* tallies);
/// Divides, always quantizes, and notes the quotients but those by zero in the place of products, their number
/// included.
void divide(const Places& places, Operands operands, double* out, std::size_t count, Tallies* tallies);

// Runs of terms: lane i of a term is the product of one value for all lanes and of a value of its own, or that value
// alone. The terms are added to `out` in their order.

/// The values of a run. Reads go up to the next multiple of `kLaneMultiple` lanes.
struct Run {
    const double* moving;       // lane i of term t is moving[t * movingStep + i]
    std::ptrdiff_t movingStep;  //
    const double* fixed;  // fixed[t * fixedStep] is the factor of all lanes of term t; null for none, with notes only
    std::ptrdiff_t fixedStep;
};

/// As many lanes as the loops keep in registers at a time.
constexpr std::size_t kLaneMultiple = 32;

/// The lanes that take part in a term: those with 0 <= start + t * step + i < length, for lane i of term t.
struct Extent {
    std::ptrdiff_t start;
    std::ptrdiff_t step;
    std::ptrdiff_t length;
};

/// Statistics of runs. Those of a run are joined to `tallies`; `overflows` of the sums are added for each lane, unless
/// null.
struct RunNotes {
    Tallies tallies;
    std::uint64_t* overflows = nullptr;
};

/// Adds up the products of a run. `extent` null lets all lanes take part in all terms. `notes` is null where nothing is
/// counted.
void accumulate(const Places& places, const Run& run, std::size_t terms, const Extent* extent, double* out,
                std::size_t lanes, RunNotes* notes);
/// As above, for sums or differences of two products.
void accumulatePairs(const Places& places, Sign sign, const Run& first, const Run& second, std::size_t terms,
                     const Extent* extent, double* out, std::size_t lanes, RunNotes* notes);
/// Sets `out` to the sums of the columns of an array, where all places keep their values and something is counted.
void accumulateColumns(const Places& places, const double* values, std::size_t rows, double* out, std::size_t columns,
                       RunNotes* notes);
/// Adds up the products of a run where no operation rounds. Lanes that are to take no part have zeros.
void accumulateExact(const Run& run, std::size_t terms, double* out, std::size_t lanes);

/// Adds values to a total of the sum's format, one after the other, each a step of one chain. The values are whole
/// multiples of a power of two of at most 50 bits.
double accumulateChain(const Places& places, const double* terms, std::size_t count, double total, RunNotes* notes);

// Surveys of entries.

/// The bounds of values, whether all are whole multiples of 2^exponent of at most 50 bits, and whether any has a sign,
/// a zero included.
struct Survey {
    double least;
    double greatest;
    bool isOnGrid;
    bool hasSign;
};
Survey survey(const double* values, std::size_t count, int exponent);
/// The extremes of values and how many there are.
Tally extremes(const double* values, std::size_t count);
/// The sum of values, where no operation rounds.
double sumExact(const double* values, std::size_t count);

}  // namespace tolvane::detail::laneloops
