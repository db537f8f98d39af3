// Quotients of arrays into a given type.
#include <algorithm>
#include <cstdint>
#include <memory>

#include "fi/bulk/broadcast.h"
#include "fi/bulk/entries.h"
#include "fi/bulk/quotients.h"
#include "fi/fi.h"
#include "fi/result_types/slopebias_errors.h"
#include "fi/result_types/work_cells.h"
#include "host/ErrorIdException.h"
#include "host/hsc.h"

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
        raiseError("fixedpoint:fi:onlybinarypointdivide",
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

/// The cells in which elements are divided, at the working precision: twice that of the operands if products of them
/// are summed.
class ElementDivision {
 public:
    ElementDivision(bool hasComplexDivisor, unsigned precision, const quantizer& q)
        : mQuantizer(q),
          mHasComplexDivisor(hasComplexDivisor),
          mLeft(precision),
          mRight(precision),
          mNumerators(precision),
          mDivisor(cell(0.0, precision)),
          mProduct(cell(0.0, precision)),
          mQuotient(cell(0.0, precision)) {}

    bool endedWithZeroDivisor() const { return mEndedWithZeroDivisor; }

    // Take the current element of an operand.
    void setLeft(const fi& x) { set(mLeft, x); }
    void setRight(const fi& x) {
        set(mRight, x);
        if (mHasComplexDivisor) {
            addProducts(mDivisor, mRight.real, mRight.real, mRight.imag, mRight.imag);
        }
    }

    void divide(bool leftIsComplex, number& real, number* imag) {
        if (!mHasComplexDivisor) {
            divideElement(mLeft.real, mRight.real, real);
            if (imag) {
                divideElement(mLeft.imag, mRight.real, *imag);
            }
            return;
        }
        if (leftIsComplex) {
            addProducts(mNumerators.real, mLeft.real, mRight.real, mLeft.imag, mRight.imag);
            mNumerators.imag.setvalue(mLeft.imag) *= mRight.real;
            mProduct.setvalue(mLeft.real) *= mRight.imag;
            mNumerators.imag -= mProduct;
        } else {
            mNumerators.real.setvalue(mLeft.real) *= mRight.real;
            (mNumerators.imag.setvalue(mLeft.real) *= mRight.imag).negate();
        }
        divideElement(mNumerators.real, mDivisor, real);
        divideElement(mNumerators.imag, mDivisor, *imag);
    }

 private:
    struct Value {
        explicit Value(unsigned precision) : real(cell(0.0, precision)), imag(cell(0.0, precision)) {}
        number real;
        number imag;
    };

    static void set(Value& target, const fi& x) {
        target.real.setvalue(x.real());
        if (x.iscomplex()) {
            target.imag.setvalue(x.imag());
        }
    }

    void addProducts(number& sum, const number& a, const number& b, const number& c, const number& d) {
        sum.setvalue(a) *= b;
        mProduct.setvalue(c) *= d;
        sum += mProduct;
    }

    // A quotient by zero is the bound itself, whatever the overflow mode, and no overflow.
    void divideElement(const number& numerator, const number& divisor, number& out) {
        mEndedWithZeroDivisor = divisor.iszero();
        if (mEndedWithZeroDivisor) {
            // A zero of many bits can be negative.
            const bool isBelowZero = numerator.isnegative() && !numerator.iszero();
            out.setvalue(isBelowZero ? mQuantizer.getLowerBound() : mQuantizer.getUpperBound());
            return;
        }
        mQuotient.setvalue(numerator) /= divisor;
        out.setvalue(mQuantizer.quantize(mQuotient));
    }

    const quantizer& mQuantizer;
    bool mHasComplexDivisor;
    Value mLeft;
    Value mRight;
    Value mNumerators;
    number mDivisor;
    number mProduct;
    number mQuotient;
    bool mEndedWithZeroDivisor = false;
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

    const auto partsOf = [](const fi& x, bool isScalar) {
        return arrayquotients::Operand{entries::doublesOf(x.mReal, x.mNumel).data(),
                                       x.iscomplex() ? entries::doublesOf(x.imagEntries(), x.mNumel).data() : nullptr,
                                       isScalar};
    };
    const auto isUsable = [](const fi& x, const arrayquotients::Operand& parts) {
        return parts.real && (parts.imag || !x.iscomplex());
    };
    const arrayquotients::Operand left = partsOf(*this, operands.leftIsScalar());
    const arrayquotients::Operand right = partsOf(b, operands.rightIsScalar());
    doublenumber* const quotients = result->mReal.asDouble();
    doublenumber* const imagQuotients = isComplex ? result->imagEntries().asDouble() : nullptr;
    const bool isDoubleWork = cell(0.0, precision).asDouble() && isUsable(*this, left) && isUsable(b, right) &&
                              quotients && (imagQuotients || !isComplex);

    bool endedWithZeroDivisor = false;
    if (isDoubleWork) {
        endedWithZeroDivisor = arrayquotients::divide(
            left, right, quotients->elements(), imagQuotients ? imagQuotients->elements() : std::span<double>(), q);
        operands.settle(*result);
    } else {
        ElementDivision division(b.iscomplex(), precision, q);
        if (operands.leftIsScalar()) {
            setIndex(0);
            division.setLeft(*this);
        } else if (operands.rightIsScalar()) {
            b.setIndex(0);
            division.setRight(b);
        }
        operands.walk(*result, 0, result->numel(), [&] {
            if (!operands.leftIsScalar()) {
                division.setLeft(*this);
            }
            if (!operands.rightIsScalar()) {
                division.setRight(b);
            }
            division.divide(iscomplex(), result->mReal, isComplex ? &result->imagEntry() : nullptr);
        });
        endedWithZeroDivisor = division.endedWithZeroDivisor();
    }
    // Only checks the last division: callers rely on silence after a good one.
    if (endedWithZeroDivisor) {
        hscWarnMsgIdAndTxt("fi:divideByZero", "%s", "Division by zero occurred. Quotient was saturated.");
    }
    return *result.release();
}
