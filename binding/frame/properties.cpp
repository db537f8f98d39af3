#include "binding/frame/properties.h"

#include <memory>

namespace tolvane::detail {

PropertyRecord::PropertyRecord(const PropertyRow& row)
    : OMPropInfoTemplate(row.name, row.dataType.find(), row.access.attributes(), row.access.isVisible()), mRow(row) {}

void* PropertyRecord::getValue(OMDatabaseClient* client, OMInterface* interface) {
    return mRow.functions.get({client, interface});
}

void PropertyRecord::setValue(OMDatabaseClient* client, OMInterface* interface, const void* value) {
    if (value != nullptr && mRow.functions.set != nullptr) {
        mRow.functions.set({client, interface}, value);
    }
}

bool PropertyRecord::canContainOMInterfaces(OMInterface* interface) const {
    return !mRow.dataType.deniesHandles && OMPropInfoTemplate::canContainOMInterfaces(interface);
}

void addProperties(OMClass& objectClass, std::span<const PropertyRow> rows) {
    for (const PropertyRow& row : rows) {
        objectClass.addProperty(std::make_unique<PropertyRecord>(row));
    }
}

std::uint64_t toCount(double value) {
    constexpr double kEnd = 0x1p64;
    if (!(value > 0.0)) {
        return 0;
    }
    return value < kEnd ? static_cast<std::uint64_t>(value) : UINT64_MAX;
}

}  // namespace tolvane::detail
