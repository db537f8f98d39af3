// The types of products: derived from the operands and the rules; and the register of a specified type.
#include <algorithm>

#include "fi/fi.h"
#include "fi/result_types/late_product.h"
#include "fi/result_types/operation_rules.h"
#include "fi/result_types/plain_words.h"
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
    // The old register is destroyed last, since types and rules may be its own.
    if (isPlainWord(productType) && isPlainWord(sumType) && areEntriesDoubles(entryPrecision) &&
        areDefaultNumbersDoubles()) {
        auto waiting = std::unique_ptr<LateProduct>(
            new LateProduct{qlogger(getTag(), embedded::OperationTypeEnum::Product, productType, false, true), sumType,
                            mFimathIsLocal ? std::optional<fimath>(rules) : std::nullopt, entryPrecision, iscomplex()});
        mProductRegister.reset();
        mLateProduct = std::move(waiting);
        return;
    }
    auto made = std::make_unique<fi>(0.0, productType, rules, entryPrecision, getTag(), mFimathIsLocal,
                                     embedded::OperationTypeEnum::Product);
    made->coordinateComplexity(iscomplex(), entryPrecision);
    made->initializeSumRegister(sumType, rules, entryPrecision);
    made->resetLogging();
    mLateProduct.reset();
    mProductRegister = std::move(made);
}

namespace {

/// Gives the numbers that are made by default to doubles.
class DoublesByDefault {
 public:
    DoublesByDefault()
        : mPrecision(number::getDefaultPrecision()), mIsForced(number::getDefaultForceMultiplePrecision()) {
        number::setDefaultPrecision(doublenumber::kScalarPrecision, false);
    }
    ~DoublesByDefault() { number::setDefaultPrecision(mPrecision, mIsForced); }
    DoublesByDefault(const DoublesByDefault&) = delete;
    DoublesByDefault& operator=(const DoublesByDefault&) = delete;

 private:
    unsigned mPrecision;
    bool mIsForced;
};

}  // namespace

void fi::makeLateProduct() const {
    const DoublesByDefault doubles;
    const LateProduct& late = *mLateProduct;
    const bool isLocal = late.rules.has_value();
    const fimath& rules = isLocal ? *late.rules : fimath::getGlobalFimath();
    auto made = std::make_unique<fi>(0.0, late.log.getNumericType(), rules, late.precision, late.log.getTag(), isLocal,
                                     embedded::OperationTypeEnum::Product);
    made->coordinateComplexity(late.isComplex, late.precision);
    made->initializeSumRegister(late.sumType, rules, late.precision);
    made->resetLogging();
    made->mAssignmentQuantizer.setQlogger(late.log);
    late.log.reset();  // so that it isn't written twice
    mProductRegister = std::move(made);
    mLateProduct.reset();
}

fi& fi::getProductRegister() const {
    if (!isProductRegisterInitialized()) {
        initializeProductRegister(getFimath(), 0);
        return *productRegister();
    }
    return cleared(*productRegister());
}

fi& fi::getProductRegister(const fi& b) const {
    if (!isProductRegisterInitialized()) {
        initializeProductRegister(getFimath(), wordBits(*this) + 1 + wordBits(b));
        return *productRegister();
    }
    return cleared(*productRegister());
}

// The type is only a key: a new register follows only the rules.
fi& fi::getProductRegister(const NumericType& type, const fimath& rules) const {
    fi* const existing = productRegister();
    if (existing != nullptr && existing->getNumericType().isequivalent(type) && existing->getFimath().isequal(rules)) {
        return cleared(*existing);
    }
    initializeProductRegister(rules, 0);
    return *productRegister();
}
