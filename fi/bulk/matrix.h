// Sums of products over whole arrays of doubles: matrix products, convolutions and column sums, for operands without
// slope and bias.
//
// They give the values of the element steps (fi::operator*, the step of sums, the store of the result) in every bit,
// and the same logs. Before anything is computed both operands are surveyed: where they prove that no step rounds or
// leaves its type, quantizing is left out, and while nothing is counted the order of the additions is free and the
// matrix product is one of doubles. Otherwise each result passes its steps in the specified order, and the loops run
// across results. The types alone would not prove it: their setters change a type and requantize nothing.
#pragma once

#include <cstdint>
#include <functional>

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

/// The places of the steps, and whether they convert what they add first.
struct Quantizers {
    const quantizer& product;
    const quantizer& pair;  // of the sums of two products that two complex operands need
    const quantizer& sum;   // of the running sums
    bool castsPair;
    bool castsSum;
    /// Whether the running sum, too, is converted before each addition.
    bool castsTotal;
    /// The log of the result, which each running sum of a matrix product and each result of a convolution is stored in;
    /// null if the running sums are kept in the result itself.
    const qlogger* result;
    /// Whether the overflows of the sums so far are added to the log of the pairs after each result of a convolution.
    bool countsRunningOverflows;
};

/// Runs the element steps on a range of results: of columns, for matrices. It is called for a few of them where an
/// extreme is a zero whose sign depends on the order of the steps.
using ByElements = std::function<void(std::uint64_t begin, std::uint64_t end)>;

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

// Each computes all results, logs what the steps log, and returns true, or returns false and has changed nothing: when
// memory for the work arrays runs out, where statistics are wanted of formats that have no loop, and for column sums
// whose format has no loop. Results are separate from the operands.

bool multiply(const Operand& left, const Operand& right, const MatrixShape& shape, const Quantizers& quantizers,
              const Result& result, const ByElements& byElements);
bool convolve(const Operand& left, const Operand& right, const ConvolutionShape& shape, const Quantizers& quantizers,
              const Result& result, const ByElements& byElements);
/// Sums columns into `result`; `sum` is its quantizer.
bool sumColumns(const Operand& x, std::uint64_t rows, std::uint64_t columns, const quantizer& sum, bool castsBeforeSum,
                const Result& result, const ByElements& byElements);

}  // namespace tolvane::detail::arraymatrix
