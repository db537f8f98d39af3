// Vector loops under the array code of products: multiply, quantize and add doubles, a block or a run of terms at a
// time. Nothing is counted here; what is logged goes through the quantizers.
//
// Each loop does the operations of the element steps in their order, so its results agree with them in every bit. The
// loops named `exact` may reorder: their callers have proven that no operation rounds.
#pragma once

#include <cstddef>
#include <cstdint>

#include "descriptors/embedded.h"
#include "fi/bulk/membership.h"
#include "quantization/fixed_limits.h"
#include "quantization/quantizer.h"

namespace tolvane::detail::productloops {

enum class Sign { plus, minus };

/// Two arrays to be multiplied.
struct Factors {
    const double* left;
    const double* right;
};

/// How values are forced into a format. The rounding and overflow of all steps of a loop are the same.
struct Rule {
    embedded::RoundModeEnum round;
    embedded::OverflowModeEnum overflow;
    bool isSigned;
    bool operator==(const Rule&) const = default;
};

/// The rule of a quantizer, which plays a part only if that has a fixed kernel.
Rule ruleOf(const quantizer& q);

/// The formats that a term passes; those of the steps that are left out play no part.
struct Formats {
    FixedDoubleLimits product;
    FixedDoubleLimits sum;
};

// Element by element.

/// Multiplies. Says whether all products are of the type; null tests nothing and gives false.
bool multiply(Factors factors, double* out, std::size_t count, const Membership* type);
/// Multiplies and quantizes into `formats.product`.
void multiplyQuantized(Rule rule, const Formats& formats, Factors factors, double* out, std::size_t count);
/// Adds or subtracts two products. Says whether all products are of the product type, and all results of the sum type.
bool combine(Sign sign, Factors first, Factors second, double* out, std::size_t count, const Membership& product,
             const Membership& sum);
/// Likewise, with products quantized and, when told so, cast into the sum type, in which the results are.
void combineQuantized(Rule rule, const Formats& formats, bool casts, Sign sign, Factors first, Factors second,
                      double* out, std::size_t count);

// Runs of terms: lane i of a term is the product of one value for all lanes and of a value of its own. The products are
// added to `out` in the order of the terms.

/// The values of a run. Reads go up to the next multiple of `kLaneMultiple` lanes.
struct Run {
    const double* moving;       // lane i of term t is moving[t * movingStep + i]
    std::ptrdiff_t movingStep;  //
    const double* fixed;        // fixed[t * fixedStep] stands for all lanes of term t
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

/// What is quantized. Without `sums` the others play no part.
struct Steps {
    bool products;  // the products, into the product type
    bool casts;     // what is added, into the sum type
    bool sums;      // the running sums
};

/// Adds up the products of a run. `extent` null lets all lanes take part in all terms.
void accumulate(Rule rule, const Formats& formats, Steps steps, const Run& run, std::size_t terms, const Extent* extent,
                double* out, std::size_t lanes);
/// As above, for sums or differences of two products: `steps.casts` is about the products, `steps.sums` about the pairs
/// and the running sums, and `steps.products` is taken as set with it.
void accumulatePairs(Rule rule, const Formats& formats, Steps steps, Sign sign, const Run& first, const Run& second,
                     std::size_t terms, const Extent* extent, double* out, std::size_t lanes);
/// Adds up the products of a run where no operation rounds. Lanes that are to take no part have zeros.
void accumulateExact(const Run& run, std::size_t terms, double* out, std::size_t lanes);

// Surveys of entries.

/// The bounds of values, and whether all are whole multiples of 2^exponent of at most 50 bits.
struct Survey {
    double least;
    double greatest;
    bool isOnGrid;
};
Survey survey(const double* values, std::size_t count, int exponent);
/// The bounds of values; of several zeros either may stand, and infinities of the other end for NaN alone.
struct Extremes {
    double greatest;
    double least;
};
Extremes extremes(const double* values, std::size_t count);
/// The sum of values, where no operation rounds.
double sumExact(const double* values, std::size_t count);

}  // namespace tolvane::detail::productloops
