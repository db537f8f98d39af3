#include "fi/result_types/operation_rules.h"

#include <cstdint>
#include <string>

#include "fi/result_types/slopebias_errors.h"
#include "fi/result_types/to_int.h"
#include "numbers/services.h"

namespace tolvane::detail::resulttypes {

using EmbeddedTypeSystem::NumericType;

namespace {

[[noreturn]] void raiseMaxWordLengthExceeded(const OperationRules& rules, std::int64_t needed) {
    const std::string maximum = std::string("Max") + rules.property + "WordLength";
    raise("fixedpoint:fi:" + maximum + "Exceeded",
          maximum + " is " + std::to_string(rules.maxWordLength) + " bits and a minimum word length of " +
              std::to_string(needed) + " bits is necessary to guarantee that this " + rules.operation +
              " can be computed with no loss of precision.  Increase " + maximum + " if you want the " + rules.result +
              " to grow to a larger word length.");
}

}  // namespace

OperationRules OperationRules::ofProducts(const fimath& rules) {
    return {"Product",
            "product",
            "product",
            rules.getProductMode(),
            rules.getProductWordLength(),
            rules.getMaxProductWordLength(),
            rules.getProductFixedExponent(),
            rules.getProductSlopeAdjustmentFactor(),
            rules.getProductBias()};
}

OperationRules OperationRules::ofSums(const fimath& rules) {
    return {"Sum",
            "sum or difference",
            "sum",
            rules.getSumMode(),
            rules.getSumWordLength(),
            rules.getMaxSumWordLength(),
            rules.getSumFixedExponent(),
            rules.getSumSlopeAdjustmentFactor(),
            rules.getSumBias()};
}

void OperationRules::setFormat(NumericType& type, bool isSigned, const Extent& full, bool isSlopeBiasCase) const {
    using Mode = fimath::ArithmeticModeEnum;
    if (isSlopeBiasCase && mode != Mode::SpecifyPrecision) {
        slopebias::raiseForMode(property);
    }
    std::int64_t bits = wordLength;
    std::int64_t exponent = full.fixedExponent;
    switch (mode) {
        case Mode::FullPrecision:
            bits = full.integerBits - full.fixedExponent;
            if (bits > maxWordLength) {
                raiseMaxWordLengthExceeded(*this, bits);
            }
            break;
        case Mode::KeepLSB:
            break;
        case Mode::KeepMSB:
            exponent = full.integerBits - bits;
            break;
        case Mode::SpecifyPrecision:
            exponent = fixedExponent;
            break;
    }
    type.setFixedPointProps(isSigned, toInt(bits), isSlopeBiasCase ? slopeAdjustmentFactor : 1.0, toInt(exponent),
                            isSlopeBiasCase ? bias : 0.0);
}

NumericType OperationRules::registerType(fi::DataTypeEnum dataType, fi::ScalingEnum scaling) const {
    return {dataType, scaling, true, wordLength, slopeAdjustmentFactor, fixedExponent, bias};
}

}  // namespace tolvane::detail::resulttypes
