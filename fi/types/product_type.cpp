// The types of products: what the operands and the rules make of them, and the register of a specified one.
#include <algorithm>
#include <cstdint>
#include <string>

#include "fi/fi.h"
#include "fi/types/slopebias_errors.h"
#include "fi/types/to_int.h"
#include "fi/types/work_cells.h"
#include "host/ErrorIdException.h"

namespace {

[[noreturn]] void raiseMaxProductWordLengthExceeded(int maximum, std::int64_t needed) {
    raiseError("fixedpoint:fi:MaxProductWordLengthExceeded",
               "MaxProductWordLength is " + std::to_string(maximum) + " bits and a minimum word length of " +
                   std::to_string(needed) +
                   " bits is necessary to guarantee that this product can be computed with no loss of precision.  "
                   "Increase MaxProductWordLength if you want the product to grow to a larger word length.");
}

}  // namespace

fi::NumericType& fi::getProductTypeForMpyOp(const fi& b) const {
    const DataTypeEnum dataType = getDataTypeForMathOp(*this, b);
    const fimath& rules = getFimath(b);
    const bool isSlopeBiasCase = isSlopeBiasScaled() || rules.isProductSlopeBiasScaled() || b.isSlopeBiasScaled();
    if (!mMpyOpType) {
        mMpyOpType = std::make_unique<NumericType>();
    }
    NumericType& result = *mMpyOpType;
    result.setDataType(dataType);
    if (!result.isScaledType()) {
        return result;
    }

    const ArithmeticModeEnum mode = rules.getProductMode();
    if (isSlopeBiasCase && mode != ArithmeticModeEnum::SpecifyPrecision) {
        slopebias::raiseForMode("Product");
    }
    const std::int64_t fullWordLength = std::int64_t{getWordLength()} + b.getWordLength();
    const std::int64_t lowestExponent = std::int64_t{getFixedExponent()} + b.getFixedExponent();
    std::int64_t wordLength = rules.getProductWordLength();
    std::int64_t fixedExponent = lowestExponent;
    double slopeAdjustmentFactor = 1.0;
    double bias = 0.0;
    switch (mode) {
        case ArithmeticModeEnum::FullPrecision:
            wordLength = fullWordLength;
            if (wordLength > rules.getMaxProductWordLength()) {
                raiseMaxProductWordLengthExceeded(rules.getMaxProductWordLength(), wordLength);
            }
            break;
        case ArithmeticModeEnum::KeepLSB:
            break;
        case ArithmeticModeEnum::KeepMSB:
            fixedExponent = fullWordLength - wordLength + lowestExponent;
            break;
        case ArithmeticModeEnum::SpecifyPrecision:
            fixedExponent = rules.getProductFixedExponent();
            if (isSlopeBiasCase) {
                slopeAdjustmentFactor = rules.getProductSlopeAdjustmentFactor();
                bias = rules.getProductBias();
            }
            break;
    }
    result.setFixedPointProps(isSigned() || b.isSigned(), toInt(wordLength), slopeAdjustmentFactor,
                              toInt(fixedExponent), bias);
    return result;
}

void fi::initializeProductRegister(const fimath& rules, unsigned precision) const {
    const ScalingEnum scaling =
        isScaledType() && rules.isProductSlopeBiasScaled() ? ScalingEnum::SlopeBias : getScaling();
    const NumericType productType(getDataType(), scaling, true, rules.getProductWordLength(),
                                  rules.getProductSlopeAdjustmentFactor(), rules.getProductFixedExponent(),
                                  rules.getProductBias());
    const NumericType sumType(getDataType(), scaling, true, rules.getSumWordLength(),
                              rules.getSumSlopeAdjustmentFactor(), rules.getSumFixedExponent(), rules.getSumBias());
    initializeProductRegister(sumType, productType, rules, precision);
}

void fi::initializeProductRegister(const NumericType& sumType, const NumericType& productType, const fimath& rules,
                                   unsigned precision) const {
    const unsigned entryPrecision = std::max(precision, wordBits(*this));
    auto made = std::make_unique<fi>(0.0, productType, rules, entryPrecision, getTag(), mFimathIsLocal,
                                     embedded::OperationTypeEnum::Product);
    made->coordinateComplexity(iscomplex(), entryPrecision);
    made->initializeSumRegister(sumType, rules, entryPrecision);
    made->resetLogging();
    // The old register goes last, as types and rules may be its own.
    mProductRegister = std::move(made);
}

fi& fi::getProductRegister() const {
    if (!mProductRegister) {
        initializeProductRegister(getFimath(), 0);
        return *mProductRegister;
    }
    return cleared(*mProductRegister);
}

fi& fi::getProductRegister(const fi& b) const {
    if (!mProductRegister) {
        initializeProductRegister(getFimath(), wordBits(*this) + 1 + wordBits(b));
        return *mProductRegister;
    }
    return cleared(*mProductRegister);
}

// The type is only a key: a register that is made anew follows the rules alone.
fi& fi::getProductRegister(const NumericType& type, const fimath& rules) const {
    if (mProductRegister && mProductRegister->getNumericType().isequivalent(type) &&
        mProductRegister->getFimath().isequal(rules)) {
        return cleared(*mProductRegister);
    }
    initializeProductRegister(rules, 0);
    return *mProductRegister;
}
