// The types of products: derived from the operands and the rules; and the register of a specified type.
#include <algorithm>

#include "fi/fi.h"
#include "fi/result_types/operation_rules.h"
#include "fi/result_types/work_cells.h"

using namespace tolvane::detail;

using tolvane::detail::resulttypes::Extent;
using tolvane::detail::resulttypes::OperationRules;

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

    const Extent left(getNumericType());
    const Extent right(b.getNumericType());
    const Extent full(left.fixedExponent + right.fixedExponent, left.integerBits + right.integerBits);
    OperationRules::ofProducts(rules).setFormat(result, isSigned() || b.isSigned(), full, isSlopeBiasCase);
    return result;
}

void fi::initializeProductRegister(const fimath& rules, unsigned precision) const {
    const ScalingEnum scaling =
        isScaledType() && rules.isProductSlopeBiasScaled() ? ScalingEnum::SlopeBias : getScaling();
    const NumericType productType = OperationRules::ofProducts(rules).registerType(getDataType(), scaling);
    const NumericType sumType = OperationRules::ofSums(rules).registerType(getDataType(), scaling);
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
    // The old register is destroyed last, since types and rules may be its own.
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

// The type is only a key: a new register follows only the rules.
fi& fi::getProductRegister(const NumericType& type, const fimath& rules) const {
    if (mProductRegister && mProductRegister->getNumericType().isequivalent(type) &&
        mProductRegister->getFimath().isequal(rules)) {
        return cleared(*mProductRegister);
    }
    initializeProductRegister(rules, 0);
    return *mProductRegister;
}
