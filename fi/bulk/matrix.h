// Sums of products over whole arrays of doubles: matrix products, convolutions and column sums, for operands without
// slope and bias.
//
// They give the values of the element steps (fi::operator*, the step of sums, the store of the result) in every bit,
// and serve only while nothing is counted. Before anything is computed both operands are surveyed: where they prove
// that no step rounds or leaves its type, the order of the additions is free, and the matrix product is one of doubles.
// Else each result passes its steps in the told order, and the loops run across results. The types alone would not
// prove it: their setters change a type and requantize nothing.
#pragma once

#include <cstdint>

#include "quantization/quantizer.h"

namespace tolvane::detail::arraymatrix {

/// An array of doubles; `imag` is null for a real one. `exponent` is the fixed exponent that its values should have.
struct Operand {
    const double* real;
    const double* imag;
    int exponent;
};

/// Where results go; `imag` is null for the product of real operands.
struct Result {
    double* real;
    double* imag;
};

/// The quantizers of the steps, and whether their operands are cast before they are added.
struct Quantizers {
    const quantizer& product;
    const quantizer& pair;  // of the sums of two products that two complex operands need
    const quantizer& sum;   // of the running sums
    bool castsPair;
    bool castsSum;
};

/// A rows-by-inner matrix times an inner-by-columns one, each column by column.
struct MatrixShape {
    std::uint64_t rows;
    std::uint64_t inner;
    std::uint64_t columns;
};

/// The part of a full convolution that is wanted: `count` elements from `offset` on.
struct ConvolutionShape {
    std::uint64_t leftCount;
    std::uint64_t rightCount;
    std::uint64_t count;
    std::uint64_t offset;
};

// Each computes all results and returns true, or returns false and has touched nothing: while something is counted,
// when memory for the work arrays runs out, and for column sums whose format has no loop. Results are separate from the
// operands.

bool multiply(const Operand& left, const Operand& right, const MatrixShape& shape, const Quantizers& quantizers,
              const Result& result);
bool convolve(const Operand& left, const Operand& right, const ConvolutionShape& shape, const Quantizers& quantizers,
              const Result& result);
/// Sums the columns of one part.
bool sumColumns(const double* values, int exponent, std::uint64_t rows, std::uint64_t columns, const quantizer& sum,
                bool castsBeforeSum, double* result);

}  // namespace tolvane::detail::arraymatrix
