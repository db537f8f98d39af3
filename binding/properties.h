// Property records as data: a class has a constexpr table of `PropertyRow`s, a line for each property, in the order in
// which they are registered. A row is all that a property needs; what is special about one stands in a function that
// the row names.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>

#include "binding/shapes.h"
#include "host/OMClass.h"
#include "host/OMDatabaseClient.h"
#include "host/OMPropInfoTemplate.h"

/// Access attributes and visibility as eight letters, '-' where one is off: external set, external get, internal set,
/// internal get, serialize, copy, listener, visible.
struct AccessColumn {
    consteval AccessColumn(const char (&letters)[9]) {
        constexpr char on[] = "sgSGzclv";
        for (std::size_t i = 0; i < 8; ++i) {
            if (letters[i] != on[i] && letters[i] != '-') {
                throw "a letter out of place";
            }
            isOn[i] = letters[i] != '-';
        }
    }
    OMPropertyAccess attributes() const {
        OMPropertyAccess access;
        access.isExternalSetAccess = isOn[0];
        access.isExternalGetAccess = isOn[1];
        access.isInternalSetAccess = isOn[2];
        access.isInternalGetAccess = isOn[3];
        access.isSerializeAccess = isOn[4];
        access.isCopyAccess = isOn[5];
        access.isListenerAccess = isOn[6];
        return access;
    }
    bool isVisible() const { return isOn[7]; }

    bool isOn[8] = {};
};

/// Who asks, and for whose property.
struct PropertyCall {
    OMDatabaseClient* client;
    OMInterface* handle;
};

/// How a property is read and written; `set` is null for one that nobody can write.
struct PropertyFunctions {
    /// Returns a new value in the shape of the data type.
    void* (*get)(const PropertyCall& call);
    /// Takes a value that is there.
    void (*set)(const PropertyCall& call, const void* value);
};

struct PropertyRow {
    const char* name;
    DataTypeColumn dataType;
    AccessColumn access;
    PropertyFunctions functions;
};

/// The record of a row.
class PropertyRecord : public OMPropInfoTemplate {
 public:
    explicit PropertyRecord(const PropertyRow& row);
    void* getValue(OMDatabaseClient* client, OMInterface* interface) override;
    void setValue(OMDatabaseClient* client, OMInterface* interface, const void* value) override;
    bool canContainOMInterfaces(OMInterface* interface) const override;

 private:
    const PropertyRow& mRow;
};

/// The record class of one row of a table, for those who name it.
template <const auto& table, std::size_t index>
class TablePropInfo final : public PropertyRecord {
 public:
    TablePropInfo() : PropertyRecord(table[index]) {}
};

/// Finds a row by name at compile time.
template <const auto& table>
consteval std::size_t rowNamed(std::string_view name) {
    for (std::size_t i = 0; i < std::size(table); ++i) {
        if (name == table[i].name) {
            return i;
        }
    }
    throw "no row of that name";
}

/// Adds a record for each row.
template <const auto& table>
void addProperties(OMClass& objectClass) {
    [&]<std::size_t... index>(std::index_sequence<index...>) {
        (objectClass.addProperty(std::make_unique<TablePropInfo<table, index>>()), ...);
    }(std::make_index_sequence<std::size(table)>());
}
