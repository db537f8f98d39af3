// Sums and differences of elements and of arrays.
#include <algorithm>
#include <functional>
#include <memory>
#include <optional>

#include "fi/bulk/broadcast.h"
#include "fi/bulk/seams.h"
#include "fi/bulk/wide_elementwise.h"
#include "fi/fi.h"
#include "fi/ops/element_machine.h"
#include "fi/result_types/plain_words.h"
#include "fi/result_types/slopebias_errors.h"
#include "fi/result_types/work_cells.h"

using namespace tolvane::detail;

namespace {

// The two operations by their treatment of the right operand.
struct Sum : Plus {
    static constexpr const char* kName = "plus";
    static constexpr auto kSign = arrayseams::Sign::plus;
    static constexpr auto kWideSign = wide::Sign::plus;
    static double bias(const fi& a, const fi& b, const fi& result) {
        return b.getBias() + a.getBias() - result.getBias();
    }
};
struct Difference : Minus {
    static constexpr const char* kName = "minus";
    static constexpr auto kSign = arrayseams::Sign::minus;
    static constexpr auto kWideSign = wide::Sign::minus;
    static double bias(const fi& a, const fi& b, const fi& result) {
        return a.getBias() - b.getBias() - result.getBias();
    }
};

}  // namespace

// Elements.

// The terms are products of a factor and an entry. Both products are formed before anything is stored, as the cell that
// carries the element may be an operand; each is quantized in its turn.
template <class Operation>
void fi::combineSlopeBias(const fi& a, const fi& b, fi& tmp, const quantizer& q) {
    const bool negativeIntoUnsigned = Operation::bias(a, b, tmp) < 0.0 && !tmp.isSigned();
    a.initSlopeBiasCorrectionFactorsForPlus(b, tmp);
    constexpr bool kIsSum = std::is_same_v<Operation, Sum>;
    const double net = kIsSum ? a.getBnetForSlopeBiasPlus() : a.getBnetForSlopeBiasMinus();
    number left = cell(a.getFsaForPlus(), wordBits(a) + wordBits(tmp));
    left *= a.real();
    number right = cell(a.getFsbForPlus(), wordBits(b) + wordBits(tmp));
    right *= b.real();

    number& sum = tmp.mReal;
    if (negativeIntoUnsigned) {
        sum = q.quantize(left);
        Operation::combine(sum, q.quantize(right));
        q.quantize(sum);
        sum -= cell(net, number::getDefaultPrecision());
        q.quantize(sum);
    } else {
        sum.setvalue(net);
        sum += q.quantize(left);
        q.quantize(sum);
        Operation::combine(sum, q.quantize(right));
        q.quantize(sum);
    }
}

template <class Operation>
void fi::combineElements(const fi& a, const fi& b, fi& tmp, number& scratch) {
    const fimath& rules = getFimath();
    const quantizer& q = getAssignmentQuantizer();
    if (rules.isSumSlopeBiasScaled() || a.isSlopeBiasScaled() || b.isSlopeBiasScaled()) {
        combineSlopeBias<Operation>(a, b, tmp, q);
    } else {
        const bool carriesLeft = &tmp != &a;
        const bool bIsComplex = b.iscomplex();
        if (carriesLeft) {
            tmp.setvalue(a);
        }
        tmp.coordinateComplexity(bIsComplex, 0);
        ElementMachine machine({q, rules.getCastBeforeSum()}, scratch);
        ElementMachine::Cell total{&tmp.mReal, tmp.iscomplex() ? &tmp.imagEntry() : nullptr};
        const ElementMachine::Element term{&b.real(), bIsComplex ? &b.imag() : nullptr};
        if (carriesLeft) {
            steps::combineStep(machine, machine.sum, Operation(), total, term);
        } else {
            steps::accumulateStep(machine, machine.sum, Operation(), total, term);
        }
        if (getLogging()) {
            getQlogger().nMathOperationsPlusOne();
        }
    }

    if (this != &tmp) {
        mReal.setvalue(tmp.mReal);
        if (tmp.iscomplex()) {
            coordinateComplexity(true, 0);
            imagEntry().setvalue(tmp.imagEntry());
        }
    }
}

void fi::sumEquals(const fi& a, const fi& b, fi& tmp, number& scratch) {
    combineElements<Sum>(a, b, tmp, scratch);
}

void fi::diffEquals(const fi& a, const fi& b, fi& tmp, number& scratch) {
    combineElements<Difference>(a, b, tmp, scratch);
}

void fi::sumEquals(const fi& a, const fi& b, fi& tmp) {
    number scratch = cell(0.0, std::max(wordBits(b), wordBits(*this)));
    sumEquals(a, b, tmp, scratch);
}

void fi::diffEquals(const fi& a, const fi& b, fi& tmp) {
    number scratch = cell(0.0, std::max(wordBits(b), wordBits(*this)));
    diffEquals(a, b, tmp, scratch);
}

fi& fi::operator+(const fi& b) const {
    fi& result = getSumRegister();
    result.sumEquals(*this, b, result);
    return result;
}

fi& fi::operator-(const fi& b) const {
    fi& result = getSumRegister();
    result.diffEquals(*this, b, result);
    return result;
}

fi& fi::operator+=(const fi& b) {
    sumEquals(*this, b, *this);
    return *this;
}

fi& fi::operator-=(const fi& b) {
    diffEquals(*this, b, *this);
    return *this;
}

// Arrays.

template <class Operation>
fi& fi::combineArrays(const fi& b) const {
    const NumericType& type = getNumericTypeForAddOp(b);
    const fimath& rules = getFimath(b);
    const bool isComplex = iscomplex() || b.iscomplex();
    const bool isSlopeBiasCase = isSlopeBiasScaled() || b.isSlopeBiasScaled() || rules.isSumSlopeBiasScaled();
    if (isSlopeBiasCase) {
        if (isComplex) {
            slopebias::raiseForComplex(Operation::kName);
        }
        // The left operand's own rules decide here, not the rules of the operation.
        if (!getCastBeforeSum()) {
            slopebias::raiseWithoutCast(Operation::kName);
        }
    }

    constexpr auto kSum = embedded::OperationTypeEnum::Sum;
    const unsigned precision = std::max(wordBits(*this), wordBits(b));
    // Array code needs no cells.
    std::optional<fi> tmp;
    std::optional<number> scratch;
    const auto makeCells = [&] {
        if (!tmp) {
            tmp.emplace(1, 1, type, rules, isComplex, getTag(), mFimathIsLocal, kSum, precision);
            scratch.emplace(0.0, std::max(wordBits(*tmp), precision), number::getDefaultForceMultiplePrecision());
        }
    };
    if (!isPlainWord(type)) {
        makeCells();
    }
    const broadcasting operands(*this, b);
    const fi& shape = operands.shape();
    std::unique_ptr<fi> result(new fi(shape.mDims, type, &rules, isComplex, getTag(),
                                      mFimathIsLocal || b.mFimathIsLocal, kSum, 0U, Entries::unset));

    const auto byElements = [&](std::uint64_t begin, std::uint64_t end) {
        makeCells();
        operands.walk(*result, begin, end, [&] { result->combineElements<Operation>(*this, b, *tmp, *scratch); });
    };
    const unsigned cellPrecision = std::max(wordBits(*result), precision);
    const auto addArrays = [&] {
        return areEntriesDoubles(cellPrecision)
                   ? arrayseams::add(Operation::kSign, *this, b, operands, *result, rules.getCastBeforeSum(),
                                     std::ref(byElements))
                   : wide::add(Operation::kWideSign, *this, b, operands, *result, rules.getCastBeforeSum(),
                               cellPrecision, std::ref(byElements));
    };
    if (isSlopeBiasCase || number::getDefaultForceMultiplePrecision() || !addArrays()) {
        byElements(0, result->numel());
    }
    return *result.release();
}

fi& fi::plus(const fi& b) const {
    return combineArrays<Sum>(b);
}

fi& fi::minus(const fi& b) const {
    return combineArrays<Difference>(b);
}
