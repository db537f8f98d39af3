#include "logging/operation_counts.h"

#include <algorithm>

namespace tolvane::detail::operationcounts {

OperationCounts ofSum(std::uint64_t resultElements, bool isComplex, bool castsBeforeSum) {
    const std::uint64_t sums = isComplex ? 2 * resultElements : resultElements;
    return {castsBeforeSum ? 3 * sums : sums, sums};
}

OperationCounts ofTimes(Operand a, Operand b, bool castsBeforeSum) {
    const std::uint64_t m = std::max(a.elements(), b.elements());
    if (a.isComplex && b.isComplex) {
        return {castsBeforeSum ? 9 * m : 6 * m, 6 * m};
    }
    const std::uint64_t products = a.isComplex || b.isComplex ? 2 * m : m;
    return {products, products};
}

OperationCounts ofMatrixProduct(Operand a, Operand b, bool castsBeforeSum) {
    // With a scalar these are single products, otherwise one of the pairs that are summed.
    const std::uint64_t products = a.rows * a.columns * b.columns;
    OperationCounts counts{products, products};
    if (a.elements() != 1 && b.elements() != 1) {
        counts.mathOperations = 2 * products;
        counts.operations = (castsBeforeSum ? 4 : 2) * products;
    }
    if (a.isComplex && b.isComplex) {
        counts.operations += 5 * counts.mathOperations + 2 * products;
        counts.mathOperations *= 6;
    } else if (a.isComplex || b.isComplex) {
        counts.operations *= 2;
        counts.mathOperations *= 2;
    }
    return counts;
}

OperationCounts ofConvolution(std::uint64_t products, bool isComplexA, bool isComplexB, bool castsBeforeSum) {
    const std::uint64_t k = products * (isComplexA ? 2 : 1) * (isComplexB ? 2 : 1);
    return {castsBeforeSum ? 4 * k : 2 * k, 2 * k};
}

namespace {

/// Counts the products in the first `results` of all n + m - 1 results: their number per result increases by one up to
/// the shorter length, stays constant, and decreases in the same way.
std::uint64_t productsOfFirst(std::uint64_t results, std::uint64_t n, std::uint64_t m) {
    const auto [shorter, longer] = std::minmax(n, m);
    const auto sumTo = [](std::uint64_t last) { return last * (last + 1) / 2; };
    if (results <= shorter) {
        return sumTo(results);
    }
    if (results <= longer) {
        return sumTo(shorter) + (results - shorter) * shorter;
    }
    const std::uint64_t beyond = results - longer;
    return sumTo(shorter) + (longer - shorter + beyond) * shorter - sumTo(beyond);
}

}  // namespace

std::uint64_t productsOfFull(std::uint64_t n, std::uint64_t m) {
    return n * m;
}

std::uint64_t productsOfCentral(std::uint64_t n, std::uint64_t m) {
    if (n == 0 || m == 0) {
        return 0;
    }
    // ceil((m - 1) / 2) results precede the middle.
    const std::uint64_t before = m / 2;
    return productsOfFirst(before + n, n, m) - productsOfFirst(before, n, m);
}

std::uint64_t productsOfValid(std::uint64_t n, std::uint64_t m) {
    return n + 1 > m ? (n + 1 - m) * m : 0;
}

}  // namespace tolvane::detail::operationcounts
