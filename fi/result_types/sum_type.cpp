// The types of sums: derived from the operands and the rules; and the register of a specified type.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "fi/fi.h"
#include "fi/result_types/operation_rules.h"

using tolvane::detail::resulttypes::Extent;
using tolvane::detail::resulttypes::OperationRules;

using namespace tolvane::detail;

namespace {

/// The bits that a sum of so many addends needs beyond theirs; none for a sum of nothing.
int carryBits(double addends) {
    return addends > 1.0 ? static_cast<int>(std::ceil(std::log2(addends))) : 0;
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
    OperationRules::ofSums(rules).setFormat(result, isSigned() || b.isSigned(), {lowestExponent, integerBits},
                                            isSlopeBiasCase);
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
        OperationRules::ofSums(getFimath(b)).setFormat(result, product.isSigned(), Extent(product).grown(1), false);
    }
    return result;
}

fi::NumericType& fi::getSumNumericTypeForMatrixMultiply(const fi& b, const NumericType& product) const {
    const DataTypeEnum dataType = getDataTypeForMathOp(*this, b);
    const fimath& rules = getFimath(b);
    // The rules provide the scaling of products, although this is the type of a sum.
    const bool isSlopeBiasCase = isSlopeBiasScaled() || rules.isProductSlopeBiasScaled() || b.isSlopeBiasScaled();
    if (!mAddOpType) {
        mAddOpType = std::make_unique<NumericType>();
    }
    NumericType& result = *mAddOpType;
    result.setDataType(dataType);
    if (result.isScaledType()) {
        const double addends = static_cast<double>(mN) + (iscomplex() && b.iscomplex() ? 1.0 : 0.0);
        OperationRules::ofSums(rules).setFormat(result, product.isSigned(), Extent(product).grown(carryBits(addends)),
                                                isSlopeBiasCase);
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
        OperationRules::ofSums(getFimath())
            .setFormat(result, isSigned(), Extent(getNumericType()).grown(growth), false);
    }
    return result;
}

void fi::initializeSumRegister(const fimath& rules) const {
    const ScalingEnum scaling = isScaledType() && rules.isSumSlopeBiasScaled() ? ScalingEnum::SlopeBias : getScaling();
    initializeSumRegister(OperationRules::ofSums(rules).registerType(getDataType(), scaling), rules, 0);
}

void fi::initializeSumRegister(const NumericType& type, const fimath& rules, unsigned precision) const {
    const unsigned entryPrecision = std::max(precision, static_cast<unsigned>(std::max(getWordLength(), 0)));
    auto made = std::make_unique<fi>(0.0, type, rules, entryPrecision, getTag(), mFimathIsLocal,
                                     embedded::OperationTypeEnum::Sum);
    made->coordinateComplexity(iscomplex(), entryPrecision);
    made->resetLogging();
    // The old register is destroyed last, since type and rules may be its own.
    mSumRegister = std::move(made);
}

fi& fi::getSumRegister() const {
    if (!mSumRegister) {
        initializeSumRegister(getFimath());
        return *mSumRegister;
    }
    return cleared(*mSumRegister);
}
