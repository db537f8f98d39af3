// What rules say about the formats of products and of sums, in one shape for both.
#pragma once

#include <cstdint>

#include "fi/fi.h"

namespace tolvane::detail::resulttypes {

/// Number formats as the derivation adds them up, where ints could overflow.
struct Extent {
    using NumericType = EmbeddedTypeSystem::NumericType;

    Extent(std::int64_t lowestExponent, std::int64_t bitsAboveThePoint)
        : fixedExponent(lowestExponent), integerBits(bitsAboveThePoint) {}
    explicit Extent(const NumericType& type)
        : fixedExponent(type.getFixedExponent()), integerBits(fixedExponent + type.getWordLength()) {}
    Extent grown(int bits) const { return {fixedExponent, integerBits + bits}; }

    std::int64_t fixedExponent;
    std::int64_t integerBits;  // word length less fraction length
};

/// The rules of one operation.
struct OperationRules {
    using NumericType = EmbeddedTypeSystem::NumericType;

    static OperationRules ofProducts(const fimath& rules);
    static OperationRules ofSums(const fimath& rules);

    /// Gives a scaled type the format of a result: `full` holds every value exactly. With slope and bias on either side
    /// (`isSlopeBiasCase`) the mode must be SpecifyPrecision. Raises "fixedpoint:fi:MaxProductWordLengthExceeded" or
    /// "fixedpoint:fi:MaxSumWordLengthExceeded" where full precision takes more bits than the rules allow.
    void setFormat(NumericType& result, bool isSigned, const Extent& full, bool isSlopeBiasCase) const;

    /// The signed type of a register with the specified format.
    NumericType registerType(fi::DataTypeEnum dataType, fi::ScalingEnum scaling) const;

    const char* property;   // as in the names of properties
    const char* operation;  // as the user knows it
    const char* result;
    fimath::ArithmeticModeEnum mode;
    int wordLength;
    int maxWordLength;
    int fixedExponent;
    double slopeAdjustmentFactor;
    double bias;
};

}  // namespace tolvane::detail::resulttypes
