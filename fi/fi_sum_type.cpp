// The types of sums: what the operands and the rules make of them, and the register of a specified one.
#include <algorithm>
#include <cstdint>
#include <string>

#include "fi/fi.h"
#include "fi/to_int.h"
#include "host/ErrorIdException.h"

namespace {

using EmbeddedTypeSystem::NumericType;

/// Number formats as the derivation adds them up, where ints could overflow.
struct Extent {
    explicit Extent(const NumericType& type)
        : fixedExponent(type.getFixedExponent()), integerBits(fixedExponent + type.getWordLength()) {}

    std::int64_t fixedExponent;
    std::int64_t integerBits;  // word length less fraction length
};

[[noreturn]] void raiseMaxSumWordLengthExceeded(int maximum, std::int64_t needed) {
    raiseError("fixedpoint:fi:MaxSumWordLengthExceeded",
               "MaxSumWordLength is " + std::to_string(maximum) + " bits and a minimum word length of " +
                   std::to_string(needed) +
                   " bits is necessary to guarantee that this sum or difference can be computed with no loss of "
                   "precision.  Increase MaxSumWordLength if you want the sum to grow to a larger word length.");
}

}  // namespace

fi::DataTypeEnum fi::getDataTypeForMathOp(const fi& a, const fi& b) {
    errorIfMathMismatch(a, b);
    return b.isScaledDouble() ? DataTypeEnum::ScaledDouble : a.getDataType();
}

fi::NumericType& fi::getNumericTypeForAddOp(const fi& b) const {
    const DataTypeEnum dataType = getDataTypeForMathOp(*this, b);
    const fimath& rules = getFimath(b);
    const bool isSlopeBiasCase = isSlopeBiasScaled() || rules.isSumSlopeBiasScaled() || b.isSlopeBiasScaled();
    if (!mAddOpType) {
        mAddOpType = std::make_unique<NumericType>();
    }
    NumericType& result = *mAddOpType;
    result.setDataType(dataType);
    if (!result.isScaledType()) {
        return result;
    }

    const ArithmeticModeEnum mode = rules.getSumMode();
    if (isSlopeBiasCase && mode != ArithmeticModeEnum::SpecifyPrecision) {
        raiseError("fixedpoint:fi:mathmodeslopebiasnotdefined",
                   "Math is only supported for slope-bias FIs when the SumMode is SpecifyPrecision.");
    }
    const Extent left(getNumericType());
    const Extent right(b.getNumericType());
    const std::int64_t lowestExponent = std::min(left.fixedExponent, right.fixedExponent);
    // The carry takes one bit above the larger operand.
    const std::int64_t integerBits = std::max(left.integerBits, right.integerBits) + 1;
    std::int64_t wordLength = rules.getSumWordLength();
    std::int64_t fixedExponent = lowestExponent;
    double slopeAdjustmentFactor = 1.0;
    double bias = 0.0;
    switch (mode) {
        case ArithmeticModeEnum::FullPrecision:
            wordLength = integerBits - lowestExponent;
            if (wordLength > rules.getMaxSumWordLength()) {
                raiseMaxSumWordLengthExceeded(rules.getMaxSumWordLength(), wordLength);
            }
            break;
        case ArithmeticModeEnum::KeepLSB:
            break;
        case ArithmeticModeEnum::KeepMSB:
            fixedExponent = integerBits - wordLength;
            break;
        case ArithmeticModeEnum::SpecifyPrecision:
            fixedExponent = rules.getSumFixedExponent();
            if (isSlopeBiasCase) {
                slopeAdjustmentFactor = rules.getSumSlopeAdjustmentFactor();
                bias = rules.getSumBias();
            }
            break;
    }
    result.setFixedPointProps(isSigned() || b.isSigned(), toInt(wordLength), slopeAdjustmentFactor,
                              toInt(fixedExponent), bias);
    return result;
}

void fi::initializeSumRegister(const fimath& rules) const {
    const ScalingEnum scaling = isScaledType() && rules.isSumSlopeBiasScaled() ? ScalingEnum::SlopeBias : getScaling();
    initializeSumRegister(
        NumericType(getDataType(), scaling, true, rules.getSumWordLength(), rules.getSumSlopeAdjustmentFactor(),
                    rules.getSumFixedExponent(), rules.getSumBias()),
        rules, 0);
}

void fi::initializeSumRegister(const NumericType& type, const fimath& rules, unsigned precision) const {
    const unsigned entryPrecision = std::max(precision, static_cast<unsigned>(std::max(getWordLength(), 0)));
    auto made = std::make_unique<fi>(0.0, type, rules, entryPrecision, getTag(), mFimathIsLocal,
                                     embedded::OperationTypeEnum::Sum);
    made->coordinateComplexity(iscomplex(), entryPrecision);
    made->resetLogging();
    // The old register goes last, as type and rules may be its own.
    mSumRegister = std::move(made);
}

fi& fi::getSumRegister() const {
    if (!mSumRegister) {
        initializeSumRegister(getFimath());
        return *mSumRegister;
    }
    return cleared(*mSumRegister);
}
