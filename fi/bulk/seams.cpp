#include "fi/bulk/seams.h"

#include <algorithm>
#include <span>

#include "fi/bulk/elementwise.h"
#include "fi/bulk/entries.h"
#include "fi/bulk/matrix.h"
#include "fi/bulk/wide_sums.h"
#include "fi/result_types/plain_words.h"
#include "fi/result_types/work_cells.h"

namespace tolvane::detail::arrayseams {

namespace {

/// The entries of an array where all are doubles.
struct Doubles {
    explicit Doubles(const fi& x)
        : isUsable(entries::isInDoubles(x.real(), x.numel()) &&
                   (x.isreal() || entries::isInDoubles(x.imag(), x.numel()))),
          real(isUsable ? entries::doublesOf(x.real(), x.numel()).data() : nullptr),
          imag(isUsable && x.iscomplex() ? entries::doublesOf(x.imag(), x.numel()).data() : nullptr) {}
    bool isUsable;
    const double* real;
    const double* imag;  // null for a real array
};

/// The entries of a result, to be written.
struct Target {
    explicit Target(fi& x) : mDoubles(x) {}
    double* real() const { return const_cast<double*>(mDoubles.real); }
    double* imag() const { return const_cast<double*>(mDoubles.imag); }
    bool isUsable() const { return mDoubles.isUsable; }

 private:
    Doubles mDoubles;
};

bool haveSlopeBias(const fi& left, const fi& right, const fi& sum) {
    return left.isSlopeBiasScaled() || right.isSlopeBiasScaled() || left.getFimath(right).isProductSlopeBiasScaled() ||
           right.getFimath(left).isProductSlopeBiasScaled() || sum.getFimath().isSumSlopeBiasScaled();
}

bool holdDoubles(const fi& a, const fi& b) {
    return Doubles(a).isUsable && Doubles(b).isUsable;
}

/// Whether a cell of that precision holds a double.
bool holdsDouble(unsigned precision) {
    return areEntriesDoubles(precision) && !number::getDefaultForceMultiplePrecision();
}

/// Whether both cells of a complex product do.
bool pairCellsHoldDoubles(const fi& left, const fi& right, const fi& pair) {
    return left.isreal() || right.isreal() ||
           holdsDouble(std::max(wordBits(pair), wordBits(left) + 1 + wordBits(right)));
}

/// Whether sums of products run on doubles without slope and bias.
bool sumsRunOnDoubles(const fi& left, const fi& right, const fi& product, const fi& pair, const fi& sum,
                      const fi& result) {
    return !haveSlopeBias(left, right, sum) && holdDoubles(left, right) && holdDoubles(product, pair) &&
           holdDoubles(sum, result) && pairCellsHoldDoubles(left, right, pair) &&
           holdsDouble(std::max({wordBits(result), wordBits(product), wordBits(pair)}));
}

/// Where the running sums have a register of their own, it is given the sum so far before each term of a matrix
/// product, and stored in the result.
arraymatrix::Quantizers quantizersOf(const fi& product, const fi& pair, const fi& sum, const fi& result) {
    const bool hasOwnSum = &sum != &result;
    return {product.getAssignmentQuantizer(),
            pair.getAssignmentQuantizer(),
            sum.getAssignmentQuantizer(),
            pair.getCastBeforeSum(),
            sum.getCastBeforeSum(),
            hasOwnSum,
            hasOwnSum ? &result.getQlogger() : nullptr,
            false};
}

/// What operations element by element are given.
struct Elements {
    bool areUsable;
    elementwise::Operand left;
    elementwise::Operand right;
    std::span<double> real;
    std::span<double> imag;
};
Elements elementsOf(const fi& left, const fi& right, fi& result) {
    const Doubles a(left);
    const Doubles b(right);
    const Target out(result);
    const std::uint64_t count = result.numel();
    return {a.isUsable && b.isUsable && out.isUsable(),
            {a.real, a.imag, left.isscalar()},
            {b.real, b.imag, right.isscalar()},
            {out.real(), count},
            {out.imag(), out.imag() ? count : 0}};
}

arraymatrix::Operand operandOf(const fi& x) {
    const Doubles entries(x);
    return {entries.real, entries.imag, x.getFixedExponent()};
}

}  // namespace

bool add(Sign sign, const fi& left, const fi& right, const broadcasting& operands, fi& result, bool castsBeforeSum,
         const ByElements& byElements) {
    const Elements all = elementsOf(left, right, result);
    if (!all.areUsable || !elementwise::add(sign, all.left, all.right, all.real, all.imag,
                                            result.getAssignmentQuantizer(), castsBeforeSum, byElements)) {
        return false;
    }
    operands.settle(result);
    return true;
}

bool multiply(const fi& left, const fi& right, const broadcasting& operands, const fi& product, const fi& sum,
              fi& result, const ByElements& byElements) {
    const Elements all = elementsOf(left, right, result);
    if (!all.areUsable || haveSlopeBias(left, right, sum) || !holdDoubles(product, sum) ||
        !pairCellsHoldDoubles(left, right, sum)) {
        return false;
    }
    const quantizer& q = product.getAssignmentQuantizer();
    if (!elementwise::multiply(
            all.left, all.right, all.real, all.imag,
            {q, q.getQlogger(), sum.getAssignmentQuantizer(), result.getAssignmentQuantizer(), sum.getCastBeforeSum()},
            byElements)) {
        return false;
    }
    operands.settle(result);
    return true;
}

bool multiply(const fi& left, const fi& right, const broadcasting& operands, const quantizer& format,
              const qlogger& log, fi& result, const ByElements& byElements) {
    const Elements all = elementsOf(left, right, result);
    // The sum's quantizer has no work.
    if (!all.areUsable || haveSlopeBias(left, right, result) ||
        !elementwise::multiply(all.left, all.right, all.real, all.imag,
                               {format, log, format, result.getAssignmentQuantizer(), false}, byElements)) {
        return false;
    }
    operands.settle(result);
    return true;
}

std::optional<bool> divide(const fi& left, const fi& right, const broadcasting& operands, unsigned precision,
                           fi& result, const ByElements& byElements) {
    const Elements all = elementsOf(left, right, result);
    if (!all.areUsable || !holdsDouble(precision)) {
        return std::nullopt;
    }
    const std::optional<bool> endedByZero =
        elementwise::divide(all.left, all.right, all.real, all.imag, result.getAssignmentQuantizer(), byElements);
    if (endedByZero) {
        operands.settle(result);
    }
    return endedByZero;
}

bool multiplyMatrices(const fi& left, const fi& right, const fi& product, const fi& pair, const fi& sum, fi& result,
                      const ByElements& byElements) {
    if (!sumsRunOnDoubles(left, right, product, pair, sum, result)) {
        return wide::multiplyMatrices(left, right, {product, pair, sum, &sum != &result}, result, byElements);
    }
    const Target out(result);
    const arraymatrix::Quantizers quantizers = quantizersOf(product, pair, sum, result);
    const arraymatrix::MatrixShape shape{left.getM(), left.getN(), right.getN()};
    if (!arraymatrix::multiply(operandOf(left), operandOf(right), shape, quantizers, {out.real(), out.imag()},
                               byElements)) {
        return false;
    }
    if (result.numel() > 0 && shape.inner > 0) {
        for (const fi* array : {&left, &right, static_cast<const fi*>(&result)}) {
            array->setIndex(array->numel() - 1);
        }
    }
    return true;
}

bool convolve(const fi& left, const fi& right, std::uint64_t offset, const fi& product, const fi& pair, const fi& sum,
              fi& result, bool countsRunningOverflows, const ByElements& byElements) {
    if (!sumsRunOnDoubles(left, right, product, pair, sum, result)) {
        return wide::convolve(left, right, offset, {product, pair, sum, false}, result, countsRunningOverflows,
                              byElements);
    }
    const Target out(result);
    arraymatrix::Quantizers quantizers = quantizersOf(product, pair, sum, result);
    quantizers.castsTotal = false;
    quantizers.countsRunningOverflows = countsRunningOverflows;
    const arraymatrix::ConvolutionShape shape{left.numel(), right.numel(), result.numel(), offset};
    if (!arraymatrix::convolve(operandOf(left), operandOf(right), shape, quantizers, {out.real(), out.imag()},
                               byElements)) {
        return false;
    }
    if (result.numel() > 0) {
        result.setIndex(result.numel() - 1);
        if (shape.leftCount > 0 && shape.rightCount > 0) {
            left.setIndex(std::min(offset + result.numel(), shape.leftCount) - 1);
        }
    }
    return true;
}

bool sumColumns(const fi& x, fi& result, const ByElements& byElements) {
    if (x.isSlopeBiasScaled() || result.getFimath().isSumSlopeBiasScaled() || !holdDoubles(x, result) ||
        !holdsDouble(std::max(wordBits(x), wordBits(result)))) {
        return wide::sumColumns(x, result, byElements);
    }
    const Target out(result);
    if (!arraymatrix::sumColumns(operandOf(x), x.getM(), x.getN(), result.getAssignmentQuantizer(),
                                 result.getCastBeforeSum(), {out.real(), out.imag()}, byElements)) {
        return false;
    }
    if (x.numel() > 0) {
        x.setIndex(x.numel() - 1);
        result.setIndex(result.numel() - 1);
    }
    return true;
}

}  // namespace tolvane::detail::arrayseams
