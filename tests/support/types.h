// Short ways to make type descriptors in tests, and all their fields as one value that can be compared and printed.
#pragma once

#include <ostream>
#include <tuple>

#include "descriptors/NumericType.h"

using EmbeddedTypeSystem::NumericType;
using TypeMode = NumericType::DataTypeModeEnum;
using TypeData = NumericType::DataTypeEnum;
using TypeScaling = NumericType::ScalingEnum;
using TypeSign = NumericType::Signedness;

/// Every numeric field of a type.
struct TypeFields {
    TypeMode mode;
    TypeData data;
    TypeScaling scaling;
    TypeSign sign;
    int wordBits;
    double factor;
    int exponent;
    double bias;
    fxpDataTypeDTOMode typeOverride = fxpDataTypeDTOMode::Inherit;
    bool operator==(const TypeFields&) const = default;
};

inline TypeFields fieldsOf(const NumericType& type) {
    return {type.getDataTypeMode(),  type.getDataType(),   type.getScaling(),
            type.getSignedness(),    type.getWordLength(), type.getSlopeAdjustmentFactor(),
            type.getFixedExponent(), type.getBias(),       type.getDataTypeOverride()};
}

inline std::ostream& operator<<(std::ostream& out, const TypeFields& fields) {
    return out << "mode " << static_cast<int>(fields.mode) << " data " << static_cast<int>(fields.data) << " scaling "
               << static_cast<int>(fields.scaling) << " sign " << static_cast<int>(fields.sign) << " bits "
               << fields.wordBits << " factor " << fields.factor << " exponent " << fields.exponent << " bias "
               << fields.bias << " override " << static_cast<int>(fields.typeOverride);
}

/// A type of the mode: signed, 12 bits, factor 1.25, exponent -3, bias 0.5, as far as the mode has them.
inline NumericType typeOfMode(TypeMode mode) {
    return NumericType(mode, true, 12, 1.25, -3, 0.5);
}
