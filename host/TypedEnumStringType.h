// An EnumStringType whose values are those of a C++ enumeration.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "host/EnumStringType.h"

template <class Enum>
class TypedEnumStringType : public EnumStringType {
 public:
    using EnumStringType::EnumStringType;

    void addValue(Enum value, std::string text) {
        EnumStringType::addValue(static_cast<std::int32_t>(value), std::move(text));
    }
    const char* getText(Enum value) const { return EnumStringType::getText(static_cast<std::int32_t>(value)); }
    std::optional<Enum> getValue(const char* text) const {
        std::int32_t value = 0;
        if (!EnumStringType::getValue(text, value)) {
            return std::nullopt;
        }
        return static_cast<Enum>(value);
    }
};
