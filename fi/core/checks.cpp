// The checks of operands and sizes.
#include <algorithm>
#include <span>
#include <string>

#include "fi/fi.h"
#include "fi/result_types/slopebias_errors.h"
#include "numbers/errors.h"
#include "numbers/services.h"

using namespace tolvane::detail;

void fi::errorIfBooleanMath(const fi& a) {
    if (a.isBoolean()) {
        raise("fixedpoint:fi:nobooleanmath", "Math operations are not allowed on FI objects with boolean data type.");
    }
}

void fi::errorIfMixedMath(const fi& a, const fi& b) {
    if (a.getDataType() != b.getDataType() && !(a.isScaledType() && b.isScaledType())) {
        raise("fixedpoint:fi:mixedmath", "Math operations are not allowed on FI objects with different data types.");
    }
}

void fi::errorIfFimathMismatch(const fi& a, const fi& b) {
    if (a.mFimathIsLocal && b.mFimathIsLocal && !a.getFimath().isequal(b.getFimath())) {
        raise("fixedpoint:fi:fimathmismatch", "FIMATH of both operands must be equal.");
    }
}

void fi::errorIfMathMismatch(const fi& a, const fi& b) {
    errorIfBooleanMath(a);
    errorIfBooleanMath(b);
    errorIfMixedMath(a, b);
    if (a.isFixed() && b.isFixed()) {
        errorIfFimathMismatch(a, b);
    }
}

void fi::errorIfSlopeBiasMath(const fi& a) {
    if (a.isSlopeBiasScaled()) {
        raise("fixedpoint:fi:onlybinarypointmath", "Math is supported only for binary-point scaling.");
    }
}

void fi::errorIfScaledDoubleSlopeBiasMath(const fi& a, const fi& b) {
    for (const fi* operand : {&a, &b}) {
        if (operand->isScaledDouble() && operand->isSlopeBiasScaled()) {
            raise("fixedpoint:fi:scaleddoubleslopebiasmathnotdefined",
                  "Math is not supported for slope-bias FIs when DataTypeMode is 'Scaled double: slope and bias "
                  "scaling'");
        }
    }
}

void fi::errorIfScaledDouble(const std::string& idSuffix, const std::string& name) const {
    if (isScaledDouble()) {
        raise("fixedpoint:fi:" + idSuffix + ":ScaledDoubleOn",
              name + " is not supported when the DataType is 'ScaledDouble'.");
    }
}

void fi::errorIfComplexSlopeBias(bool isComplex) const {
    if (isComplex && embedded::getFeatureFiRealOnlySlopeBias() && isSlopeBiasScaled()) {
        raise("fixedpoint:fi:nocomplexslopebias",
              "Complex FI objects must have an integer power of 2 slope, and a bias of 0.");
    }
}

void slopebias::raiseForMode(const char* kind) {
    raise("fixedpoint:fi:mathmodeslopebiasnotdefined",
          std::string("Math is only supported for slope-bias FIs when the ") + kind + "Mode is SpecifyPrecision.");
}

void slopebias::raiseForComplex(const char* operation) {
    raise("fixedpoint:fi:complexslopebiasnotdefined",
          std::string("Function '") + operation +
              "' is only supported for complex-value FI objects that have an integer power of 2 slope, and a "
              "bias of 0.");
}

void slopebias::raiseForComplexResult() {
    raise("fixedpoint:fi:noopleadingtocomplexslopebias",
          "All complex FI objects created by Tolvane Kit operations must have an integer power of 2 slope, and a "
          "bias of 0.");
}

void slopebias::raiseWithoutCast(const char* operation) {
    raise("fixedpoint:fi:castbeforesumfalseslopebiasnotdefined",
          std::string("Function '") + operation +
              "' is not defined for FI objects with slope and bias scaling when CastBeforeSum is false.");
}

void fi::errorIfBadValue(DataTypeEnum dataType) const {
    if (isView()) {
        detached()->errorIfBadValue(dataType);
        return;
    }
    NumericType::errorIfComplexLogical(dataType, iscomplex());
    const auto check = [dataType](const number& entries) {
        const std::uint64_t cursor = entries.getIndex();
        if (const doublenumber* doubles = entries.asDouble()) {
            NumericType::checkNaNInf(dataType, doubles->elements().data(), entries.numel());
            return;
        }
        try {
            for (std::uint64_t i = 0; i < entries.numel(); ++i) {
                NumericType::checkNaNInf(dataType, entries[i].todouble());
            }
        } catch (...) {
            entries.setIndex(cursor);
            throw;
        }
        entries.setIndex(cursor);
    };
    check(mReal);
    if (mImag) {
        check(*mImag);
    }
}

void fi::errorIfBadSource(const fi& source) const {
    NumericType::errorIfComplexLogical(getDataType(), source.iscomplex());
    // Words may exceed doubles, and are finite.
    if (!source.isFinite()) {
        source.errorIfBadValue(getDataType());
    }
}

bool fi::isSameSize(const fi& other) const {
    return mNumel == other.mNumel && std::ranges::equal(mDims, other.mDims);
}

void fi::checkElementwiseSize(const fi& other) const {
    if (!isSameSize(other)) {
        raiseDimensionsDisagree();
    }
}

void fi::checkSignedIndex(double index) const {
    if (!(index >= 0.0)) {
        raise("fixedpoint:fi:badsubscript", "Subscript indices must either be real positive integers or logicals.");
    }
    if (index >= static_cast<double>(mNumel)) {
        raise("fixedpoint:fi:badindex", "Index exceeds matrix dimensions.");
    }
}

std::uint64_t fi::getDimension(std::uint64_t dimension) const {
    if (dimension == 0) {
        raise("fixedpoint:fi:getDimension:badDimension",
              "Dimension number must be a non-negative integer in the range 1 to 2^31.");
    }
    return dimension <= mDims.size() ? mDims[dimension - 1] : 1;
}
