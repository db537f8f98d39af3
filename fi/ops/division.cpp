// Quotients of arrays into a given type.
#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "fi/bulk/broadcast.h"
#include "fi/bulk/seams.h"
#include "fi/bulk/wide_elementwise.h"
#include "fi/fi.h"
#include "fi/ops/element_machine.h"
#include "fi/result_types/slopebias_errors.h"
#include "fi/result_types/work_cells.h"
#include "numbers/services.h"

using namespace tolvane::detail;

namespace {

using EmbeddedTypeSystem::NumericType;

bool isFloatOperand(const fi& x) {
    return x.isDouble() || x.isSingle();
}

void errorIfUndefined(const fi& a, const fi& b, const NumericType& type) {
    // The right operand may be boolean.
    fi::errorIfBooleanMath(a);
    if (a.isSlopeBiasScaled() || b.isSlopeBiasScaled()) {
        raise("fixedpoint:fi:onlybinarypointdivide",
              "Function 'divide' is only supported for FI object operands that have an integer power of 2 slope, "
              "and a bias of 0.");
    }
    if ((a.iscomplex() || b.iscomplex()) && type.isSlopeBiasScaled()) {
        slopebias::raiseForComplexResult();
    }
}

/// The given type in the data type that the operands lead to.
NumericType quotientType(const fi& a, const fi& b, const NumericType& type) {
    NumericType result(type);
    if (type.isScaledType() && isFloatOperand(a) && isFloatOperand(b)) {
        result.setDataType(a.getDataType());
    } else if (type.isFixed() && a.isScaledDouble() && b.isScaledDouble()) {
        result.setDataType(NumericType::DataTypeEnum::ScaledDouble);
    }
    return result;
}

/// The precision of the operands in a quotient. Results of short words keep their own precision, so that doubles
/// suffice; longer ones have ample precision.
unsigned workPrecision(const fi& a, const fi& b, const NumericType& result) {
    constexpr unsigned kGuardBits = 10;
    constexpr unsigned kGreatestExact = 32;
    constexpr unsigned kLeastWide = 128;
    const auto resultBits = static_cast<unsigned>(std::max(result.getWordLength(), 0));
    if (!result.isFixed()) {
        return resultBits;
    }
    const unsigned precision = std::max({resultBits + kGuardBits, wordBits(a), wordBits(b)});
    return precision > kGreatestExact ? std::max(precision, kLeastWide) : precision;
}

/// The machine that divides elements, with its cells at the working precision: twice that of the operands if products
/// of them are summed.
class ElementDivision {
 public:
    ElementDivision(bool isByComplex, unsigned precision, const quantizer& q)
        : mMachine(q, {q, false}),
          mIsByComplex(isByComplex),
          mLeft(precision),
          mRight(precision),
          mNumerators(precision),
          mQuotients(precision),
          mDivisor(cell(0.0, precision)),
          mOther(cell(0.0, precision)) {}

    // Take the current element of an operand.
    void setLeft(const fi& x) { set(mLeft, x); }
    void setRight(const fi& x) {
        set(mRight, x);
        if (mIsByComplex) {
            Cell square{&mDivisor, nullptr};
            Cell other{&mOther, nullptr};
            steps::squareMagnitude(mMachine, square, other, real(mRight), imag(mRight));
        }
    }
    bool isByZero() const { return (mIsByComplex ? mDivisor : mRight.real).iszero(); }

    /// Divides into the parts of an element; `imagOut` is null for a real one.
    void divide(bool leftIsComplex, number& realOut, number* imagOut) {
        if (mIsByComplex) {
            Cell re{&mNumerators.real, nullptr};
            Cell im{&mNumerators.imag, nullptr};
            if (leftIsComplex) {
                Cell other{&mOther, nullptr};
                steps::multiplyByConjugate(mMachine, re, im, other, real(mLeft), imag(mLeft), real(mRight),
                                           imag(mRight));
            } else {
                steps::multiplyByConjugate(mMachine, re, im, real(mLeft), real(mRight), imag(mRight));
            }
        }
        const Value& numerators = mIsByComplex ? mNumerators : mLeft;
        Cell quotient{&mQuotients.real, imagOut ? &mQuotients.imag : nullptr};
        const Element numerator{&numerators.real, imagOut ? &numerators.imag : nullptr};
        const Element divisor{mIsByComplex ? &mDivisor : &mRight.real, nullptr};
        steps::divideStep(mMachine, mMachine.product, quotient, numerator, divisor);
        realOut.setvalue(mQuotients.real);
        if (imagOut) {
            imagOut->setvalue(mQuotients.imag);
        }
    }

 private:
    using Cell = ElementMachine::Cell;
    using Element = ElementMachine::Element;

    struct Value {
        explicit Value(unsigned precision) : real(cell(0.0, precision)), imag(cell(0.0, precision)) {}
        number real;
        number imag;
    };
    static Element real(const Value& x) { return {&x.real, nullptr}; }
    static Element imag(const Value& x) { return {&x.imag, nullptr}; }

    static void set(Value& target, const fi& x) {
        target.real.setvalue(x.real());
        if (x.iscomplex()) {
            target.imag.setvalue(x.imag());
        }
    }

    ElementMachine mMachine;
    bool mIsByComplex;
    Value mLeft;
    Value mRight;
    Value mNumerators;
    Value mQuotients;
    number mDivisor;
    number mOther;
};

}  // namespace

fi& fi::over(const fi& b, const NumericType& type) const {
    errorIfUndefined(*this, b, type);
    const fimath& rules = getFimath(b);
    const NumericType resultType = quotientType(*this, b, type);
    // Raises for a type that no array can have; this error takes precedence over a size mismatch.
    static_cast<void>(quantizer(resultType, rules.getRoundMode(), rules.getOverflowMode(), "",
                                embedded::OperationTypeEnum::Assignment, false));
    const bool isComplex = iscomplex() || b.iscomplex();
    const broadcasting operands(*this, b);
    std::unique_ptr<fi> result(new fi(operands.shape().mDims, resultType, &rules, isComplex, getTag(),
                                      mFimathIsLocal || b.mFimathIsLocal, embedded::OperationTypeEnum::Assignment, 0U,
                                      Entries::unset));
    const quantizer& q = result->getAssignmentQuantizer();
    const unsigned precision = workPrecision(*this, b, resultType) * (b.iscomplex() ? 2 : 1);

    std::optional<ElementDivision> division;
    const auto byElements = [&](std::uint64_t begin, std::uint64_t end) {
        division.emplace(b.iscomplex(), precision, q);
        if (operands.leftIsScalar()) {
            setIndex(0);
            division->setLeft(*this);
        } else if (operands.rightIsScalar()) {
            b.setIndex(0);
            division->setRight(b);
        }
        operands.walk(*result, begin, end, [&] {
            if (!operands.leftIsScalar()) {
                division->setLeft(*this);
            }
            if (!operands.rightIsScalar()) {
                division->setRight(b);
            }
            division->divide(iscomplex(), result->mReal, isComplex ? &result->imagEntry() : nullptr);
        });
    };
    std::optional<bool> endedByZero = arrayseams::divide(*this, b, operands, precision, *result, std::ref(byElements));
    if (!endedByZero) {
        endedByZero = wide::divide(*this, b, operands, precision, *result, std::ref(byElements));
    }
    if (!endedByZero) {
        byElements(0, result->numel());
        endedByZero = result->numel() > 0 && division->isByZero();
    }
    // Only checks the last division: callers rely on silence after a good one.
    if (*endedByZero) {
        warn("fi:divideByZero", "Division by zero occurred. Quotient was saturated.");
    }
    return *result.release();
}
