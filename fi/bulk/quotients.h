// Quotients of whole arrays of doubles.
//
// They give the values of the element division (fi/ops/division.cpp) in every bit, and the same counts and extremes, a
// block at a time. A quotient by zero does not pass the quantizer, so a block that has one hands the others over alone,
// in the order of the elements.
#pragma once

#include <span>

#include "quantization/quantizer.h"

namespace tolvane::detail::arrayquotients {

/// One operand: a double for each element, or one for all of them. `imag` is null for a real operand.
struct Operand {
    const double* real;
    const double* imag;
    bool isScalar;
};

/// Computes all elements of `real`, and of `imag` unless it is empty; that is for the quotient of real operands. The
/// outputs are separate from the operands. Says whether the last division was one by zero.
bool divide(const Operand& left, const Operand& right, std::span<double> real, std::span<double> imag,
            const quantizer& q);

}  // namespace tolvane::detail::arrayquotients
