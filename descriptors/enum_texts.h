// The texts of the enumerations that several classes share; NumericType_tables.h has those of NumericType.
//
// Row order is the order in which the host enumerations list their values.
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "descriptors/embedded.h"
#include "descriptors/fimath.h"

namespace tolvane::detail::enumtexts {

template <class Enum>
struct Row {
    Enum value;
    const char* text;
};

inline constexpr std::array<Row<embedded::QuantizerModeEnum>, 9> kQuantizerModes = {{
    {embedded::QuantizerModeEnum::None, "none"},
    {embedded::QuantizerModeEnum::Double, "double"},
    {embedded::QuantizerModeEnum::Float, "float"},
    {embedded::QuantizerModeEnum::Fixed, "fixed"},
    {embedded::QuantizerModeEnum::Single, "single"},
    {embedded::QuantizerModeEnum::Ufixed, "ufixed"},
    {embedded::QuantizerModeEnum::Boolean, "boolean"},
    {embedded::QuantizerModeEnum::ScaledDouble, "ScaledDouble"},
    {embedded::QuantizerModeEnum::UnsignedScaledDouble, "UnsignedScaledDouble"},
}};

inline constexpr std::array<Row<embedded::RoundModeEnum>, 6> kRoundModes = {{
    {embedded::RoundModeEnum::Ceil, "ceil"},
    {embedded::RoundModeEnum::Convergent, "convergent"},
    {embedded::RoundModeEnum::Fix, "fix"},
    {embedded::RoundModeEnum::Floor, "floor"},
    {embedded::RoundModeEnum::Nearest, "nearest"},
    {embedded::RoundModeEnum::Round, "round"},
}};

inline constexpr std::array<Row<embedded::OverflowModeEnum>, 2> kOverflowModes = {{
    {embedded::OverflowModeEnum::Saturate, "saturate"},
    {embedded::OverflowModeEnum::Wrap, "wrap"},
}};

inline constexpr std::array<Row<embedded::ScalingEnum>, 2> kScalings = {{
    {embedded::ScalingEnum::BinaryPoint, "BinaryPoint"},
    {embedded::ScalingEnum::SlopeBias, "SlopeBias"},
}};

inline constexpr std::array<Row<embedded::OperationTypeEnum>, 5> kOperationTypes = {{
    {embedded::OperationTypeEnum::Unspecified, "Unspecified"},
    {embedded::OperationTypeEnum::Assignment, "Assignment"},
    {embedded::OperationTypeEnum::Product, "Product"},
    {embedded::OperationTypeEnum::Sum, "Sum"},
    {embedded::OperationTypeEnum::Difference, "Difference"},
}};

inline constexpr std::array<Row<fimath::PrecisionModeEnum>, 2> kPrecisionModes = {{
    {fimath::PrecisionModeEnum::Arbitrary, "Arbitrary"},
    {fimath::PrecisionModeEnum::Stepped, "Stepped"},
}};

inline constexpr std::array<Row<fimath::ArithmeticModeEnum>, 4> kArithmeticModes = {{
    {fimath::ArithmeticModeEnum::FullPrecision, "FullPrecision"},
    {fimath::ArithmeticModeEnum::KeepLSB, "KeepLSB"},
    {fimath::ArithmeticModeEnum::KeepMSB, "KeepMSB"},
    {fimath::ArithmeticModeEnum::SpecifyPrecision, "SpecifyPrecision"},
}};

/// The text of a value; empty outside the enumeration.
template <class Table>
constexpr const char* textOf(const Table& table, decltype(table[0].value) value) {
    for (const auto& row : table) {
        if (row.value == value) {
            return row.text;
        }
    }
    return "";
}

/// The value of a text, which is compared exactly.
template <class Table>
constexpr auto valueOf(const Table& table, std::string_view text)
    -> std::optional<std::decay_t<decltype(table[0].value)>> {
    for (const auto& row : table) {
        if (text == row.text) {
            return row.value;
        }
    }
    return std::nullopt;
}

}  // namespace tolvane::detail::enumtexts
