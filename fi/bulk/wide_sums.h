// Sums of products of whole arrays where words or work cells have too many bits for doubles: matrix products,
// convolutions and column sums, for operands without slope and bias.
//
// They give the values of the element steps in every bit, and the same logs, by blocks of integers: 64 results at a
// time take the same term. Where extents prove that nothing is rounded or forced into a range and nothing is counted,
// products are only added up.
#pragma once

#include "fi/bulk/ledger.h"
#include "fi/fi.h"

namespace tolvane::detail::wide {

/// The arrays whose quantizers and cells take part.
struct SumPlaces {
    const fi& product;
    const fi& pair;  // of the sums of two products that two complex operands need
    const fi& sum;   // of the running sums: the result itself, or a register whose sum is stored in the result
    /// Whether the running sum, too, is converted before each addition.
    bool castsTotal;
};

// Each computes all results, logs what the steps log, and returns true, or returns false and has changed nothing.

/// `byElements` computes columns.
bool multiplyMatrices(const fi& left, const fi& right, const SumPlaces& places, fi& result,
                      const ByElements& byElements);
/// The part of the full convolution from `offset` on; `countsRunningOverflows` adds the overflows of the sums so far to
/// the log of the pairs after each result.
bool convolve(const fi& left, const fi& right, std::uint64_t offset, const SumPlaces& places, fi& result,
              bool countsRunningOverflows, const ByElements& byElements);
/// `byElements` sums columns.
bool sumColumns(const fi& x, fi& result, const ByElements& byElements);

}  // namespace tolvane::detail::wide
