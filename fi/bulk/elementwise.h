// Sums, products and quotients of whole arrays of doubles, element by element, for operands without slope and bias.
//
// They give the values of the element steps in every bit, and the same counts and extremes, a block at a time. A block
// of sums or products is first computed without quantizing, and is kept if all its values prove to be of the types that
// quantizing would force them into. The operations are those of doubles, so all cells of the element steps must hold
// doubles.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "fi/bulk/lane_loops.h"
#include "quantization/quantizer.h"

namespace tolvane::detail::elementwise {

using laneloops::Sign;

/// The entries of one operand; `imag` is null for a real one. A scalar has one entry and meets all of the other's.
struct Operand {
    const double* real;
    const double* imag;
    bool isScalar;
};

/// Runs the element steps on a range of elements. It is called for a block where an extreme becomes a zero whose sign
/// depends on the order of the steps.
using ByElements = std::function<void(std::uint64_t begin, std::uint64_t end)>;

// Each computes all elements of `real`, and of `imag` unless it is empty, as it is for real operands; the outputs are
// separate from the operands. Counts in the logs of the quantizers, operations included. Returns false and does nothing
// where statistics are wanted of a format for which there are no array loops.

/// Adds or subtracts; `castsBeforeSum` converts both operands to the format of the quantizer first.
bool add(Sign sign, const Operand& left, const Operand& right, std::span<double> real, std::span<double> imag,
         const quantizer& q, bool castsBeforeSum, const ByElements& byElements);

/// The quantizers of the element steps of products.
struct Quantizers {
    const quantizer& product;
    const qlogger& productLog;  // which needn't be the product quantizer's own
    const quantizer& sum;       // of the sums of two products that two complex operands need
    const quantizer& result;    // of the array that keeps the results
    bool castsBeforeSum;
};
/// Multiplies. A real operand meets a complex one from the right.
bool multiply(const Operand& left, const Operand& right, std::span<double> real, std::span<double> imag,
              const Quantizers& quantizers, const ByElements& byElements);

/// Divides; counts no operations. Gives whether the last division was one by zero, or nothing instead of false.
std::optional<bool> divide(const Operand& left, const Operand& right, std::span<double> real, std::span<double> imag,
                           const quantizer& q, const ByElements& byElements);

}  // namespace tolvane::detail::elementwise
