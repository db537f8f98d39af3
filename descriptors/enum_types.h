// Host enumerations made from tables of values and texts.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "host/EnumStringType.h"

namespace tolvane::detail {

/// Finds the host enumeration of that name, or makes and registers it with the rows of the table.
template <class Table>
EnumStringType* enumType(const char* name, const Table& table) {
    std::vector<EnumStringType::Entry> entries;
    entries.reserve(table.size());
    for (const auto& row : table) {
        entries.push_back({static_cast<std::int32_t>(row.value), row.text});
    }
    return EnumStringType::findOrAdd(name, std::move(entries));
}

}  // namespace tolvane::detail
