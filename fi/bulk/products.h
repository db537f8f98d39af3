// Products of whole arrays of doubles, element by element, for operands without slope and bias.
//
// They give the values of the element steps (fi::operator* and the store of its result) in every bit, and the same
// counts and extremes, a block at a time. While nothing is counted, a block is first computed without quantizing, and
// stands if all its values prove to be of the types that quantizing would force them into. The products are those of
// doubles, so all cells of the element steps must hold doubles.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "fi/bulk/sums.h"
#include "quantization/quantizer.h"

namespace tolvane::detail::arrayproducts {

using arraysums::Operand;

/// The quantizers of the element steps.
struct Quantizers {
    const quantizer& product;
    const quantizer& sum;     // of the sums of two products that two complex operands need
    const quantizer& result;  // of the array that keeps the results
    bool castsBeforeSum;
};

/// Computes all elements of `real`, and of `imag` unless it is empty; that is for the product of real operands. The
/// outputs are separate from the operands. A real operand meets a complex one from the right. Counts in the logs of all
/// three quantizers, operations included. `byElements(begin, end)` runs the element steps on a range of elements: it is
/// called for a block where an extreme becomes a zero, whose sign depends on the order of all steps.
void multiply(const Operand& left, const Operand& right, std::span<double> real, std::span<double> imag,
              const Quantizers& quantizers,
              const std::function<void(std::uint64_t begin, std::uint64_t end)>& byElements);

}  // namespace tolvane::detail::arrayproducts
