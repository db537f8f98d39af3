// The machine that proves: it runs the steps of arithmetic (fi/bulk/steps.inl.h) on ranges of values, and all it
// gathers is whether a step could round or leave its type. Where none can, results are exact, and the same in any
// order.
#pragma once

#include <cstdint>

#include "fi/bulk/matrix.h"

namespace tolvane::detail::arraymatrix {

/// Bounds of values and zero, and whether all values are whole multiples of 2^exponent.
struct Range {
    double least;
    double greatest;
    int exponent;
    bool isOnGrid;
    bool hasSign;  // of any value, a zero included
};

Range rangeOf(const Operand& x, std::uint64_t count);

// Proofs that no step could.

bool provesProducts(const Range& left, const Range& right, const Quantizers& q);
/// For sums of that many values.
bool provesSums(const Range& value, std::uint64_t terms, const Quantizers& q);
/// For sums of that many products, or pairs of products.
bool provesSumsOfProducts(const Range& left, const Range& right, std::uint64_t terms, bool isPair, const Quantizers& q);

}  // namespace tolvane::detail::arraymatrix
