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

inline constexpr DataTypeColumn kDataTypeMode = kEnumeration<&EmbeddedTypeSystem::NumericType::getDataTypeModeEnum>;
inline constexpr DataTypeColumn kDataType = kEnumeration<&EmbeddedTypeSystem::NumericType::getDataTypeEnum>;
inline constexpr DataTypeColumn kScaling = kEnumeration<&EmbeddedTypeSystem::NumericType::getScalingEnum>;
inline constexpr DataTypeColumn kSignedness = kEnumeration<&EmbeddedTypeSystem::NumericType::getSignednessEnum>;
inline constexpr DataTypeColumn kDataTypeOverride =
    kEnumeration<&EmbeddedTypeSystem::NumericType::getDataTypeOverrideEnum>;
inline constexpr DataTypeColumn kRoundMode = kEnumeration<&embedded::getRoundModeEnum>;
inline constexpr DataTypeColumn kOverflowMode = kEnumeration<&embedded::getOverflowModeEnum>;
inline constexpr DataTypeColumn kQuantizerMode = kEnumeration<&embedded::getQuantizerModeEnum>;
inline constexpr DataTypeColumn kOperationType = kEnumeration<&embedded::getOperationTypeEnum>;
inline constexpr DataTypeColumn kPrecisionMode = kEnumeration<&fimath::getPrecisionModeEnum>;
inline constexpr DataTypeColumn kArithmeticMode = kEnumeration<&fimath::getArithmeticModeEnum>;

}  // namespace datatypes

/// Warns "fi:getdatatypemode" if a user reads the property, unless the feature "FiWarnForDataTypeMode" is off.
void warnOfDataTypeMode(const PropertyCall& call);

}  // namespace tolvane::detail
