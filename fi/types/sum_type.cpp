// The types of sums: what the operands and the rules make of them, and the register of a specified one.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

#include "fi/fi.h"
#include "fi/types/slopebias_errors.h"
#include "fi/types/to_int.h"
#include "host/ErrorIdException.h"

namespace {

using EmbeddedTypeSystem::NumericType;

/// Number formats as the derivation adds them up, where ints could overflow.
struct Extent {
    Extent(std::int64_t lowestExponent, std::int64_t bitsAboveThePoint)
        : fixedExponent(lowestExponent), integerBits(bitsAboveThePoint) {}
    explicit Extent(const NumericType& type)
        : fixedExponent(type.getFixedExponent()), integerBits(fixedExponent + type.getWordLength()) {}
    Extent grown(int bits) const { return {fixedExponent, integerBits + bits}; }

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

/// The bits that a sum of so many addends needs beyond theirs; none for a sum of nothing.
int carryBits(double addends) {
    return addends > 1.0 ? static_cast<int>(std::ceil(std::log2(addends))) : 0;
}

/// Gives a scaled type the format of a sum: `full` holds every sum of the addends.
void setSumFormat(NumericType& result, const fimath& rules, bool isSigned, const Extent& full, bool isSlopeBiasCase) {
    using Mode = fimath::ArithmeticModeEnum;
    const Mode mode = rules.getSumMode();
    if (isSlopeBiasCase && mode != Mode::SpecifyPrecision) {
        slopebias::raiseForMode("Sum");
    }
    std::int64_t wordLength = rules.getSumWordLength();
    std::int64_t fixedExponent = full.fixedExponent;
    double slopeAdjustmentFactor = 1.0;
    double bias = 0.0;
    switch (mode) {
        case Mode::FullPrecision:
            wordLength = full.integerBits - full.fixedExponent;
            if (wordLength > rules.getMaxSumWordLength()) {
                raiseMaxSumWordLengthExceeded(rules.getMaxSumWordLength(), wordLength);
            }
            break;
        case Mode::KeepLSB:
            break;
        case Mode::KeepMSB:
            fixedExponent = full.integerBits - wordLength;
            break;
        case Mode::SpecifyPrecision:
            fixedExponent = rules.getSumFixedExponent();
            if (isSlopeBiasCase) {
                slopeAdjustmentFactor = rules.getSumSlopeAdjustmentFactor();
                bias = rules.getSumBias();
            }
            break;
    }
    result.setFixedPointProps(isSigned, toInt(wordLength), slopeAdjustmentFactor, toInt(fixedExponent), bias);
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

    const Extent left(getNumericType());
    const Extent right(b.getNumericType());
    const std::int64_t lowestExponent = std::min(left.fixedExponent, right.fixedExponent);
    // The carry takes one bit above the larger operand.
    const std::int64_t integerBits = std::max(left.integerBits, right.integerBits) + 1;
    setSumFormat(result, rules, isSigned() || b.isSigned(), {lowestExponent, integerBits}, isSlopeBiasCase);
    return result;
}

fi::NumericType& fi::getSumTypeForMpyOp(const fi& b, const NumericType& product) const {
    const DataTypeEnum dataType = getDataTypeForMathOp(*this, b);
    if (!mAddOpType) {
        mAddOpType = std::make_unique<NumericType>();
    }
    NumericType& result = *mAddOpType;
    result.setDataType(dataType);
    if (result.isScaledType()) {
        setSumFormat(result, getFimath(b), product.isSigned(), Extent(product).grown(1), false);
    }
    return result;
}

fi::NumericType& fi::getSumNumericTypeForMatrixMultiply(const fi& b, const NumericType& product) const {
    const DataTypeEnum dataType = getDataTypeForMathOp(*this, b);
    const fimath& rules = getFimath(b);
    // The rules are asked for the scaling of products, though this is the type of a sum.
    const bool isSlopeBiasCase = isSlopeBiasScaled() || rules.isProductSlopeBiasScaled() || b.isSlopeBiasScaled();
    if (!mAddOpType) {
        mAddOpType = std::make_unique<NumericType>();
    }
    NumericType& result = *mAddOpType;
    result.setDataType(dataType);
    if (result.isScaledType()) {
        const double addends = static_cast<double>(mN) + (iscomplex() && b.iscomplex() ? 1.0 : 0.0);
        setSumFormat(result, rules, product.isSigned(), Extent(product).grown(carryBits(addends)), isSlopeBiasCase);
    }
    return result;
}

fi::NumericType& fi::getNumericTypeForLeadingDimensionSum() const {
    errorIfBooleanMath(*this);
    errorIfSlopeBiasMath(*this);
    if (!mAddOpType) {
        mAddOpType = std::make_unique<NumericType>();
    }
    NumericType& result = *mAddOpType;
    result.set(getNumericType());
    if (result.isScaledType()) {
        const int growth = carryBits(static_cast<double>(mM));
        setSumFormat(result, getFimath(), isSigned(), Extent(getNumericType()).grown(growth), false);
    }
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
