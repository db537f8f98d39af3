// The numeric properties of one data type as a plain record, in the order in which the simulation library reads them.
//
// real-world value = SlopeAdjustmentFactor * 2^FixedExponent * stored integer + Bias
//
// The record has no rules; descriptors/NumericType.h holds one and guards it.
#pragma once

#include <cstdint>

namespace EmbeddedTypeSystem {
class NumericType;
}

enum class fxpModeDataType : std::int32_t { Fixed = 0, ScaledDouble = 1, Double = 2, Single = 3, Boolean = 4 };

/// Auto means that the sign is not yet specified.
enum class fxpSignedness : std::int32_t { Unsigned = 0, Signed = 1, Auto = 2 };

/// Whether a model may override the type of a signal (Inherit) or not (Off).
enum class fxpDataTypeDTOMode : std::int32_t { Inherit = 0, Off = 1 };

class fxpDataTypeProp {
 public:
    /// Takes the word length in bits; the override is Inherit.
    fxpDataTypeProp(fxpModeDataType dataType, bool isSigned, int wordLength, double slopeAdjustmentFactor,
                    int fixedExponent, double bias)
        : DataType(dataType),
          Signedness(isSigned ? fxpSignedness::Signed : fxpSignedness::Unsigned),
          WordLength(wordLength),
          FixedExponent(fixedExponent),
          SlopeAdjustmentFactor(slopeAdjustmentFactor),
          Bias(bias) {}

    bool isUnitSlopeAdjustmentFactorZeroBias() const { return SlopeAdjustmentFactor == 1.0 && Bias == 0.0; }

    fxpModeDataType DataType;
    fxpSignedness Signedness;
    std::int32_t WordLength;
    std::int32_t FixedExponent;
    double SlopeAdjustmentFactor;
    double Bias;
    fxpDataTypeDTOMode DataTypeOverride = fxpDataTypeDTOMode::Inherit;

 protected:
    friend class EmbeddedTypeSystem::NumericType;

    /// Compares all fields except DataType, including the override; a NaN equals nothing.
    bool isEqualIgnoreMode(const fxpDataTypeProp& other) const {
        return Signedness == other.Signedness && WordLength == other.WordLength &&
               FixedExponent == other.FixedExponent && SlopeAdjustmentFactor == other.SlopeAdjustmentFactor &&
               Bias == other.Bias && DataTypeOverride == other.DataTypeOverride;
    }
};
