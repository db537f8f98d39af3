// Sums and products of whole arrays, element by element, where words or work cells have too many bits for doubles, for
// operands without slope and bias.
//
// They give the values of the element steps in every bit, and the same counts and extremes. The steps run on blocks of
// integers; an extent of each value proves beforehand that the floats of the element steps hold the same.
#pragma once

#include <optional>

#include "fi/bulk/broadcast.h"
#include "fi/bulk/ledger.h"
#include "fi/fi.h"
#include "quantization/integer_blocks.h"

namespace tolvane::detail::wide {

using integers::Sign;

// Each computes all elements of the result and counts in the logs, operations included. Returns false, and has changed
// no element, where integers don't do.

/// Adds or subtracts. Cells of the element steps have a stored precision of `precision` bits.
bool add(Sign sign, const fi& left, const fi& right, const broadcasting& operands, fi& result, bool castsBeforeSum,
         unsigned precision, const ByElements& byElements);

/// The quantizers of the element steps of products.
struct ProductPlaces {
    const quantizer& product;
    const qlogger& productLog;  // which needn't be the product quantizer's own
    const quantizer& sum;       // of the sums of two products that two complex operands need
    bool castsBeforeSum;
    unsigned precision;  // of the cells of products
};
/// Multiplies. A real operand meets a complex one from the right.
bool multiply(const fi& left, const fi& right, const broadcasting& operands, fi& result, const ProductPlaces& places,
              const ByElements& byElements);

/// Divides in cells of a stored precision. Gives whether the last division was one by zero, or nothing instead of
/// false.
std::optional<bool> divide(const fi& left, const fi& right, const broadcasting& operands, unsigned precision,
                           fi& result, const ByElements& byElements);

/// Assigns all elements of the source, which are as many as the target's; the target is complex if the source is.
bool assign(const fi& source, fi& target, const ByElements& byElements);

}  // namespace tolvane::detail::wide
