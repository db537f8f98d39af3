// The columns of enumerations shared by several class tables, and the warning for users who read a data type mode.
#pragma once

#include "binding/frame/properties.h"
#include "binding/frame/shapes.h"
#include "descriptors/NumericType.h"
#include "descriptors/embedded.h"
#include "descriptors/fimath.h"
#include "host/EnumStringType.h"

namespace tolvane::detail {

namespace datatypes {

inline constexpr DataTypeColumn dataTypeMode = enumeration<&EmbeddedTypeSystem::NumericType::getDataTypeModeEnum>;
inline constexpr DataTypeColumn dataType = enumeration<&EmbeddedTypeSystem::NumericType::getDataTypeEnum>;
inline constexpr DataTypeColumn scaling = enumeration<&EmbeddedTypeSystem::NumericType::getScalingEnum>;
inline constexpr DataTypeColumn signedness = enumeration<&EmbeddedTypeSystem::NumericType::getSignednessEnum>;
inline constexpr DataTypeColumn dataTypeOverride =
    enumeration<&EmbeddedTypeSystem::NumericType::getDataTypeOverrideEnum>;
inline constexpr DataTypeColumn roundMode = enumeration<&embedded::getRoundModeEnum>;
inline constexpr DataTypeColumn overflowMode = enumeration<&embedded::getOverflowModeEnum>;
inline constexpr DataTypeColumn quantizerMode = enumeration<&embedded::getQuantizerModeEnum>;
inline constexpr DataTypeColumn operationType = enumeration<&embedded::getOperationTypeEnum>;
inline constexpr DataTypeColumn precisionMode = enumeration<&fimath::getPrecisionModeEnum>;
inline constexpr DataTypeColumn arithmeticMode = enumeration<&fimath::getArithmeticModeEnum>;

}  // namespace datatypes

/// Warns "fi:getdatatypemode" if a user reads the property, unless the feature "FiWarnForDataTypeMode" is off.
void warnOfDataTypeMode(const PropertyCall& call);

}  // namespace tolvane::detail
