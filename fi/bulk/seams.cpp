#include "fi/bulk/seams.h"

#include <algorithm>

#include "fi/bulk/elementwise.h"
#include "fi/bulk/entries.h"
#include "fi/bulk/matrix.h"
#include "fi/result_types/plain_words.h"
#include "fi/result_types/work_cells.h"

namespace tolvane::detail::arrayseams {

namespace {

/// Whether a part holds one double for each element; that of a column view holds those of its root.
bool isInDoubles(const number& part, std::uint64_t count) {
    const doublenumber* const doubles = part.asDouble();
    return doubles != nullptr && doubles->numel() == count;
}

/// The entries of an array where all are doubles.
struct Doubles {
    explicit Doubles(const fi& x)
        : isUsable(isInDoubles(x.real(), x.numel()) && (x.isreal() || isInDoubles(x.imag(), x.numel()))),
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

arraymatrix::Operand operandOf(const fi& x) {
    const Doubles entries(x);
    return {entries.real, entries.imag, x.getFixedExponent()};
}

}  // namespace

namespace {

bool multiplyElements(const fi& left, const fi& right, const broadcasting& operands,
                      const elementwise::Quantizers& quantizers, fi& result, const ByElements& byElements) {
    const Target out(result);
    if (!out.isUsable()) {
        return false;
    }
    const auto operandOfProduct = [](const fi& x) {
        const Doubles entries(x);
        return elementwise::Operand{entries.real, entries.imag, x.isscalar()};
    };
    const std::uint64_t count = result.numel();
    if (!elementwise::multiply(operandOfProduct(left), operandOfProduct(right), {out.real(), count},
                               {out.imag(), out.imag() ? count : 0}, quantizers, byElements)) {
        return false;
    }
    operands.settle(result);
    return true;
}

}  // namespace

bool multiply(const fi& left, const fi& right, const broadcasting& operands, const fi& product, const fi& sum,
              fi& result, const ByElements& byElements) {
    if (haveSlopeBias(left, right, sum) || !holdDoubles(left, right) || !holdDoubles(product, sum) ||
        !pairCellsHoldDoubles(left, right, sum)) {
        return false;
    }
    const quantizer& q = product.getAssignmentQuantizer();
    return multiplyElements(
        left, right, operands,
        {q, q.getQlogger(), sum.getAssignmentQuantizer(), result.getAssignmentQuantizer(), sum.getCastBeforeSum()},
        result, byElements);
}

bool multiply(const fi& left, const fi& right, const broadcasting& operands, const quantizer& format,
              const qlogger& log, fi& result, const ByElements& byElements) {
    // The sum's quantizer has no work.
    return !haveSlopeBias(left, right, result) && holdDoubles(left, right) &&
           multiplyElements(left, right, operands, {format, log, format, result.getAssignmentQuantizer(), false},
                            result, byElements);
}

bool multiplyMatrices(const fi& left, const fi& right, const fi& product, const fi& pair, const fi& sum, fi& result,
                      const ByElements& byElements) {
    if (!sumsRunOnDoubles(left, right, product, pair, sum, result)) {
        return false;
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
        return false;
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
        return false;
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
