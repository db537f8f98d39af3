// Sums and differences of whole arrays of doubles, for operands without slope and bias.
//
// They give the values of the element steps (fi::sumEquals, fi::diffEquals) in every bit, and the same counts and
// extremes, a block at a time: cast both operands into the sum type when the rules say so, add, quantize into the
// result, each by the quantizer of the result. While nothing is counted, a block is first added without quantizing, and
// stands if all values of the block prove to be values of the sum type, which quantizing leaves alone. The operands'
// types would not prove it: their setters change a type and requantize nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

#include "quantization/quantizer.h"

namespace tolvane::detail::arraysums {

enum class Operation { plus, minus };

/// One operand: a double for each element, or one for all of them. `imag` is null for a real operand.
struct Operand {
    const double* real;
    const double* imag;
    bool isScalar;
};

/// Computes all elements of `real`, and of `imag` unless it is empty; that is for the sum of real operands. The outputs
/// are separate from the operands. Counts in the quantizer's log, operations included. `byElements(begin, end)` runs
/// the element steps on a range of elements: it is called for a block where an extreme becomes a zero, whose sign
/// depends on the order of all steps.
void combine(Operation operation, const Operand& left, const Operand& right, std::span<double> real,
             std::span<double> imag, const quantizer& q, bool castsBeforeSum,
             const std::function<void(std::uint64_t begin, std::uint64_t end)>& byElements);

}  // namespace tolvane::detail::arraysums
