// Products of elements, element-wise products of arrays, and matrix products.
#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "fi/bulk/blocks.h"
#include "fi/bulk/broadcast.h"
#include "fi/bulk/seams.h"
#include "fi/bulk/wide_elementwise.h"
#include "fi/fi.h"
#include "fi/ops/element_machine.h"
#include "fi/ops/lent_product_logs.h"
#include "fi/result_types/late_product.h"
#include "fi/result_types/plain_words.h"
#include "fi/result_types/slopebias_errors.h"
#include "fi/result_types/work_cells.h"
#include "numbers/services.h"

using namespace tolvane::detail;

namespace {

/// Sets the target to the result of number's operator for a and b, which is rounded at the precision of a.
void setProduct(number& target, const number& a, const number& b) {
    if (target.gettype() == a.gettype() && target.getprecision() == a.getprecision()) {
        target.setvalue(a);
        target *= b;
    } else {
        target = a * b;
    }
}

}  // namespace

// Elements. The registers are wide enough for exact products, so each product is rounded only by its quantizer.

fi& fi::timesEquals(const fi& b, const quantizer& productQ, const quantizer& sumQ, unsigned precision) {
    const bool wasComplex = iscomplex();
    const bool bIsComplex = b.iscomplex();
    coordinateComplexity(bIsComplex, 0);
    if (wasComplex && bIsComplex) {
        const unsigned cellPrecision = std::max(precision, wordPrecision() + 1 + b.wordPrecision());
        number t1 = cell(0.0, cellPrecision);
        number t2 = cell(0.0, cellPrecision);
        complexTimesEquals(b, productQ, sumQ, t1, t2);
    } else {
        ElementMachine machine(productQ, {sumQ, false});
        ElementMachine::Cell cell{&mReal, iscomplex() ? &imagEntry() : nullptr};
        const ElementMachine::Element factor{&b.mReal, bIsComplex ? &b.imag() : nullptr};
        steps::multiplyStep(machine, cell, cell, factor);
    }
    if (getLogging()) {
        productQ.getQlogger().nMathOperationsPlusOne();
    }
    return *this;
}

fi& fi::complexTimesEquals(const fi& b, const quantizer& productQ, const quantizer& sumQ, number& t1, number& t2) {
    number& imagPart = imagEntry();
    const number& bReal = b.mReal;
    const number& bImag = b.imag();
    ElementMachine machine(productQ, {sumQ, getCastBeforeSum()});
    ElementMachine::Cell first{&t1, nullptr};
    ElementMachine::Cell second{&t2, nullptr};
    setProduct(t1, mReal, bReal);
    setProduct(t2, imagPart, bImag);
    steps::combinePairStep(machine, Minus(), first, second);
    // The real part is stored only when the products of the imaginary part no longer need its old value.
    setProduct(t2, mReal, bImag);
    mReal.setvalue(t1);
    setProduct(t1, imagPart, bReal);
    steps::combinePairStep(machine, Plus(), first, second);
    imagPart.setvalue(t1);
    return *this;
}

// With a bias anywhere the operands go through types with binary point that hold all their values; slopes alone take
// one factor.
fi& fi::multiplySlopeBias(const fi& b) const {
    fi& product = getProductRegister(b);
    if (getBias() != 0.0 || b.getBias() != 0.0 || product.getBias() != 0.0) {
        initParamsForWorstCaseSlopeBiasTimes(b);
        fi& left = getAForSlopeBiasTimes();
        fi& right = getBForSlopeBiasTimes();
        left = *this;
        right = b;
        return product = left * right;
    }
    const quantizer& q = product.getAssignmentQuantizer();
    const double netSlope =
        (b.getSlopeAdjustmentFactor() * getSlopeAdjustmentFactor()) / product.getSlopeAdjustmentFactor();
    if (netSlope == 1.0) {
        product.setvalue(*this);
        return product.timesEquals(b, q, product.getSumQuantizer(), 0);
    }
    initSlopeCorrectionFactorForTimes(netSlope, product);
    number n = cell(0.0, wordBits(*this) + wordBits(b));
    n.setvalue(mReal);
    n *= b.mReal;
    const number factor = cell(getFscForTimes(), number::getDefaultPrecision());
    q.quantize(n);
    n = n * factor;
    product.mReal.setvalue(q.quantize(n));
    return product;
}

fi& fi::operator*(const fi& b) const {
    if ((isScaledType() || b.isScaledType()) &&
        (getFimath(b).isProductSlopeBiasScaled() || isSlopeBiasScaled() || b.isSlopeBiasScaled())) {
        return multiplySlopeBias(b);
    }
    fi& product = getProductRegister(b);
    const quantizer& productQ = product.getAssignmentQuantizer();
    fi& sum = product.getSumRegister();
    const quantizer& sumQ = sum.getAssignmentQuantizer();
    if (isreal() && b.iscomplex()) {
        // The complex operand goes on the left, and the quantizers of the left operand do the work.
        fi& swapped = b.getProductRegister(product.getNumericType(), product.getFimath());
        swapped.setvalue(b);
        return swapped.timesEquals(*this, productQ, sumQ, 0);
    }
    if (iscomplex() && b.iscomplex()) {
        const unsigned precision = std::max(wordBits(sum), wordBits(*this) + 1 + wordBits(b));
        number t1 = cell(0.0, precision);
        number t2 = cell(0.0, precision);
        sum.setvalue(*this);
        return sum.complexTimesEquals(b, productQ, sumQ, t1, t2);
    }
    product.setvalue(*this);
    return product.timesEquals(b, productQ, sumQ, 0);
}

fi& fi::operator*=(const fi& b) {
    // The real part of a complex element is stored before the imaginary one is computed.
    const bool isCopied = sharesElementsOf(b) && (iscomplex() || b.iscomplex());
    const fi& right = isCopied ? b.getElement() : b;
    return timesEquals(right, getAssignmentQuantizer(), getSumQuantizer(), 0);
}

// Arrays.

// The result has the type of the register, so its quantizer does the same where the modes are the same.
bool fi::multiplyWithoutRegister(const fi& b, const broadcasting& operands, fi& result,
                                 const std::function<void(std::uint64_t, std::uint64_t)>& byElements) const {
    if (getLogging() && result.numel() > arrayblocks::kBlock) {
        return false;
    }
    const fimath& rules = mLateProduct->rules ? *mLateProduct->rules : fimath::getGlobalFimath();
    const quantizer& format = result.getAssignmentQuantizer();
    return format.getRoundMode() == rules.getRoundMode() && format.getOverflowMode() == rules.getOverflowMode() &&
           arrayseams::multiply(*this, b, operands, format, mLateProduct->log, result, byElements);
}

fi& fi::times(const fi& b) const {
    const NumericType& product = getProductTypeForMpyOp(b);
    const fimath& rules = getFimath(b);
    const bool isComplex = iscomplex() || b.iscomplex();
    const bool areBothComplex = iscomplex() && b.iscomplex();
    if (isComplex && (isSlopeBiasScaled() || b.isSlopeBiasScaled() || rules.isSumSlopeBiasScaled())) {
        slopebias::raiseForComplex("times");
    }
    const NumericType& type = areBothComplex ? getSumTypeForMpyOp(b, product) : product;
    const unsigned precision = wordBits(*this) + wordBits(b);
    const bool isSwapped = isreal() && b.iscomplex();
    if (isSwapped) {
        b.initializeProductRegister(type, product, rules, precision);
    }
    initializeProductRegister(type, product, rules, precision);
    std::optional<lentproductlogs> lent;
    if (isSwapped && getLogging()) {
        // The owner of the logs has its register before the other one lends its own.
        static_cast<void>(productRegister());
        lent.emplace(b);
    }

    const broadcasting operands(*this, b);
    std::unique_ptr<fi> result(new fi(operands.shape().mDims, type, &rules, isComplex, getTag(),
                                      mFimathIsLocal || b.mFimathIsLocal, embedded::OperationTypeEnum::Product, 0U,
                                      Entries::unset));
    if (areBothComplex) {
        result->initializeSumRegister(type, rules, 0);
    }
    const fi& left = isSwapped ? b : *this;
    const fi& right = isSwapped ? *this : b;
    const auto byElements = [&](std::uint64_t begin, std::uint64_t end) {
        operands.walk(*result, begin, end, [&] { *result = left * right; });
    };
    if (mLateProduct && !isSwapped && !areBothComplex &&
        multiplyWithoutRegister(b, operands, *result, std::ref(byElements))) {
        return *result.release();
    }
    fi& reg = *left.productRegister();
    const auto multiplyWide = [&] {
        const fi& sum = *reg.mSumRegister;
        // The cells that are quantized are floats of many bits.
        const number& cells = areBothComplex ? sum.mReal : reg.mReal;
        const unsigned quantized = areBothComplex ? std::max(wordBits(sum), precision + 1) : reg.mReal.getprecision();
        return !areEntriesDoubles(quantized) && !number::getDefaultForceMultiplePrecision() && !isSlopeBiasScaled() &&
               !b.isSlopeBiasScaled() && !rules.isProductSlopeBiasScaled() &&
               wide::multiply(left, right, operands, *result,
                              {reg.getAssignmentQuantizer(), reg.getQlogger(), sum.getAssignmentQuantizer(),
                               sum.getCastBeforeSum(), std::min(cells.getprecision(), quantized)},
                              std::ref(byElements));
    };
    if (!arrayseams::multiply(left, right, operands, reg, *reg.mSumRegister, *result, std::ref(byElements)) &&
        !multiplyWide()) {
        if (isComplex || getLogging() || isSlopeBiasScaled() || b.isSlopeBiasScaled() ||
            rules.isProductSlopeBiasScaled()) {
            byElements(0, result->numel());
        } else {
            // The steps of real elements amount to this; wide words are affected by the rest.
            result->getAssignmentQuantizer();
            ElementMachine machine(reg.getAssignmentQuantizer(), {reg.getAssignmentQuantizer(), false});
            ElementMachine::Cell cell{&reg.mReal, nullptr};
            const ElementMachine::Element factor{&b.mReal, nullptr};
            operands.walk(*result, 0, result->numel(), [&] {
                reg.mReal.setvalue(mReal);
                steps::multiplyStep(machine, cell, cell, factor);
                result->mReal.setvalue(reg.mReal);
            });
        }
    }
    if (lent) {
        lent->handTo(*this);
    }
    return *result.release();
}

namespace {

// The check of a matrix product reads the left operand's own rules, and both their scalings.
void errorIfMatrixProductUndefined(const fi& a, const fi& b) {
    const fimath& rules = a.getFimath();
    if (!a.isSlopeBiasScaled() && !b.isSlopeBiasScaled() && !rules.isSumSlopeBiasScaled() &&
        !rules.isProductSlopeBiasScaled()) {
        return;
    }
    if (rules.getProductMode() != fimath::ArithmeticModeEnum::SpecifyPrecision) {
        slopebias::raiseForMode("Product");
    }
    if (a.iscomplex() || b.iscomplex()) {
        slopebias::raiseForComplex("mtimes");
    }
    if (a.numel() > 1 && b.numel() > 1 && !rules.getCastBeforeSum()) {
        slopebias::raiseWithoutCast("mtimes");
    }
}

}  // namespace

fi& fi::mtimes(const fi& b) const {
    errorIfMatrixProductUndefined(*this, b);
    if (isscalar() || b.isscalar()) {
        return times(b);
    }
    // A view of a view would lose the start of the latter.
    const fi right = b.isView() ? fi(b) : fi(b, embedded::CopyIndex::tag);
    right.resetLogging();  // the log of b, which only b writes to the log map
    if (ndims() > 2 || b.ndims() > 2) {
        raise("fixedpoint:fi:mtimes:inputsMustBe2D", "Input arguments must be 2-D.");
    }
    const std::uint64_t rows = mM;
    const std::uint64_t inner = mN;
    const std::uint64_t columns = b.mN;
    if (inner != b.mM) {
        raise("fixedpoint:fi:innerdim", "Inner matrix dimensions must agree.");
    }
    const NumericType& product = getProductTypeForMpyOp(right);
    const bool areBothComplex = iscomplex() && b.iscomplex();
    const NumericType& type =
        areBothComplex || inner > 1 ? getSumNumericTypeForMatrixMultiply(right, product) : product;
    const fimath& rules = getFimath(b);
    const unsigned precision = wordBits(*this) + wordBits(b);
    auto result =
        std::make_unique<fi>(rows, columns, type, rules, iscomplex() || b.iscomplex(), getTag(),
                             mFimathIsLocal || b.mFimathIsLocal, embedded::OperationTypeEnum::Assignment, precision);

    const auto accumulate = [&](std::uint64_t begin, std::uint64_t end, const auto& step) {
        for (std::uint64_t column = begin; column < end; ++column) {
            for (std::uint64_t k = 0; k < inner; ++k) {
                right.setIndex(column * inner + k);
                for (std::uint64_t row = 0; row < rows; ++row) {
                    setIndex(k * rows + row);
                    result->setIndex(column * rows + row);
                    step();
                }
            }
        }
    };
    if (isreal() && b.iscomplex()) {
        right.initializeProductRegister(type, product, rules, precision);
        initializeProductRegister(type, product, rules, precision);
        std::optional<lentproductlogs> lent;
        if (getLogging()) {
            lent.emplace(right);
        }
        number scratch = cell(0.0, std::max(wordBits(*result), wordBits(*right.productRegister())));
        const fi& reg = *right.productRegister();
        const auto byElements = [&](std::uint64_t begin, std::uint64_t end) {
            accumulate(begin, end, [&] { result->sumEquals(*result, right * *this, *result, scratch); });
        };
        if (!arrayseams::multiplyMatrices(*this, right, reg, *reg.mSumRegister, *result, *result, byElements)) {
            byElements(0, columns);
        }
        if (lent) {
            right.getproductregsumQlogger().addtoOverflows(result->getNoverflows());
            lent->handTo(*this);
        }
        return *result.release();
    }
    initializeProductRegister(type, product, rules, precision);
    result->initializeSumRegister(type, rules, 0);
    fi& sum = result->getSumRegister();
    number scratch = cell(0.0, std::max(wordBits(*result), wordBits(*productRegister())));
    const auto byElements = [&](std::uint64_t begin, std::uint64_t end) {
        accumulate(begin, end, [&] {
            sum.sumEquals(*result, *this * right, sum, scratch);
            *result = sum;
        });
    };
    if (!arrayseams::multiplyMatrices(*this, right, *productRegister(), *productRegister()->mSumRegister, sum, *result,
                                      byElements)) {
        byElements(0, columns);
    }
    if (getLogging()) {
        result->getQlogger().copyMinMax(sum.getQlogger());
        getproductregsumQlogger().addtoOverflows(sum.getNoverflows());
    }
    return *result.release();
}
