// The number of operations in an array operation, for users who budget an implementation.
//
// Pure formulas over sizes. `operations` counts the steps of the arithmetic with the casts before sums, the other count
// excludes the casts. Counts are modulo 2^64, which no array that fits in memory reaches.
#pragma once

#include <cstdint>

#include "host/export.h"

namespace tolvane::detail {

struct OperationCounts {
    std::uint64_t operations = 0;
    std::uint64_t mathOperations = 0;
    bool operator==(const OperationCounts&) const = default;
};

namespace operationcounts {

/// An operand of the formulas: `columns` is the product of all dimensions but the first.
struct Operand {
    std::uint64_t rows;
    std::uint64_t columns;
    bool isComplex;

    std::uint64_t elements() const { return rows * columns; }
};

/// Counts a sum or difference, from the size of its result.
TOLVANE_API OperationCounts ofSum(std::uint64_t resultElements, bool isComplex, bool castsBeforeSum);

/// Counts an element-wise product; the larger operand determines the number of elements.
TOLVANE_API OperationCounts ofTimes(Operand a, Operand b, bool castsBeforeSum);

/// Counts a matrix product, or the product with a scalar operand. With a scalar on the left, only the columns of the
/// right operand count, so a column vector counts as one element; users compare these numbers from run to run.
TOLVANE_API OperationCounts ofMatrixProduct(Operand a, Operand b, bool castsBeforeSum);

/// Counts a convolution of that many products of elements; see the three below for its forms.
TOLVANE_API OperationCounts ofConvolution(std::uint64_t products, bool isComplexA, bool isComplexB,
                                          bool castsBeforeSum);

/// Return the number of products of elements in a convolution of n with m elements: all n + m - 1 results, the n
/// results in the middle, or those n - m + 1 that use all m elements (0 for more than n elements).
TOLVANE_API std::uint64_t productsOfFull(std::uint64_t n, std::uint64_t m);
TOLVANE_API std::uint64_t productsOfCentral(std::uint64_t n, std::uint64_t m);
TOLVANE_API std::uint64_t productsOfValid(std::uint64_t n, std::uint64_t m);

}  // namespace operationcounts

}  // namespace tolvane::detail
