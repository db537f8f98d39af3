// The tables behind NumericType: the meaning of each mode and the changes that it allows, and the texts of the
// enumerations.
//
// Internal to the sources of NumericType. Row order is the order in which the host enumerations list their values.
#pragma once

#include <array>

#include "descriptors/NumericType.h"
#include "descriptors/int_bounds.h"

namespace EmbeddedTypeSystem::numerictypetables {

/// The action of a setter for a value other than the neutral one of its property.
enum class Change { store, refuse, raise };

struct ModeRow {
    NumericType::DataTypeModeEnum value;
    const char* text;
    NumericType::DataTypeEnum dataType;
    NumericType::ScalingEnum scaling;
    int fixedWordBits;  // 0 where word length and sign are free
    NumericType::Signedness fixedSign;
    Change exponent;  // also for the total slope
    Change slopeAdjustmentFactor;
    Change bias;

    bool isScaled() const { return fixedWordBits == 0; }
};

namespace detail {
using Mode = NumericType::DataTypeModeEnum;
using Data = NumericType::DataTypeEnum;
using Scaling = NumericType::ScalingEnum;
using Sign = NumericType::Signedness;
using enum Change;
}  // namespace detail

inline constexpr std::array<ModeRow, 9> kModes = [] {
    using namespace detail;
    // clang-format off
    return std::array<ModeRow, 9>{{
        // mode, text, data type, scaling, fixed word and sign, and changes of: exponent, factor, bias
        {Mode::Boolean, "Boolean", Data::Boolean, Scaling::Unused, 1, Sign::Unsigned, refuse, refuse, refuse},
        {Mode::Single, "Single", Data::Single, Scaling::Unused, 32, Sign::Signed, refuse, refuse, refuse},
        {Mode::Double, "Double", Data::Double, Scaling::Unused, 64, Sign::Signed, refuse, refuse, refuse},
        {Mode::FixedUnspecified, "Fixed-point: unspecified scaling",
         Data::Fixed, Scaling::Unspecified, 0, Sign::Auto, refuse, refuse, raise},
        {Mode::FixedBinaryPoint, "Fixed-point: binary point scaling",
         Data::Fixed, Scaling::BinaryPoint, 0, Sign::Auto, store, raise, raise},
        {Mode::FixedSlopeBias, "Fixed-point: slope and bias scaling",
         Data::Fixed, Scaling::SlopeBias, 0, Sign::Auto, store, store, store},
        {Mode::ScaledDoubleUnspecified, "Scaled double: unspecified scaling",
         Data::ScaledDouble, Scaling::Unspecified, 0, Sign::Auto, refuse, raise, raise},
        {Mode::ScaledDoubleBinaryPoint, "Scaled double: binary point scaling",
         Data::ScaledDouble, Scaling::BinaryPoint, 0, Sign::Auto, store, raise, raise},
        {Mode::ScaledDoubleSlopeBias, "Scaled double: slope and bias scaling",
         Data::ScaledDouble, Scaling::SlopeBias, 0, Sign::Auto, store, store, store},
    }};
    // clang-format on
}();

template <class Enum>
struct TextRow {
    Enum value;
    const char* text;
};

inline constexpr std::array<TextRow<NumericType::DataTypeEnum>, 5> kDataTypes = {{
    {NumericType::DataTypeEnum::Fixed, "Fixed"},
    {NumericType::DataTypeEnum::Boolean, "boolean"},
    {NumericType::DataTypeEnum::Double, "double"},
    {NumericType::DataTypeEnum::Single, "single"},
    {NumericType::DataTypeEnum::ScaledDouble, "ScaledDouble"},
}};

inline constexpr std::array<TextRow<NumericType::ScalingEnum>, 4> kScalings = {{
    {NumericType::ScalingEnum::BinaryPoint, "BinaryPoint"},
    {NumericType::ScalingEnum::SlopeBias, "SlopeBias"},
    {NumericType::ScalingEnum::Unspecified, "Unspecified"},
    {NumericType::ScalingEnum::Unused, "Unused"},
}};

inline constexpr std::array<TextRow<NumericType::Signedness>, 3> kSigns = {{
    {NumericType::Signedness::Signed, "Signed"},
    {NumericType::Signedness::Unsigned, "Unsigned"},
    {NumericType::Signedness::Auto, "Auto"},
}};

inline constexpr std::array<TextRow<fxpDataTypeDTOMode>, 2> kOverrides = {{
    {fxpDataTypeDTOMode::Inherit, "Inherit"},
    {fxpDataTypeDTOMode::Off, "Off"},
}};

/// The row of a value, or null for a value outside the enumeration.
template <class Table, class Enum>
constexpr auto find(const Table& table, Enum value) -> const typename Table::value_type* {
    for (const auto& row : table) {
        if (row.value == value) {
            return &row;
        }
    }
    return nullptr;
}

/// The text of a value; empty outside the enumeration.
template <class Table, class Enum>
constexpr const char* textOf(const Table& table, Enum value) {
    const auto* row = find(table, value);
    return row == nullptr ? "" : row->text;
}

using tolvane::detail::intbounds::negated;

}  // namespace EmbeddedTypeSystem::numerictypetables
