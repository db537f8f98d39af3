// Property records as data: a class has a constexpr table of `PropertyRow`s, one line per property, in the order of
// registration. A row is all that a property needs; special behaviour is in a function named by the row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <type_traits>

#include "binding/frame/handles.h"
#include "binding/frame/shapes.h"
#include "host/OMClass.h"
#include "host/OMDatabaseClient.h"
#include "host/OMPropInfoTemplate.h"

namespace tolvane::detail {

/// Access attributes and visibility as eight letters, '-' for one that is off: external set, external get, internal
/// set, internal get, serialize, copy, listener, visible.
struct AccessColumn {
    consteval AccessColumn(const char (&letters)[9]) {
        constexpr char kOn[] = "sgSGzclv";
        for (std::size_t i = 0; i < 8; ++i) {
            if (letters[i] != kOn[i] && letters[i] != '-') {
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

/// The requesting client and the object's handle.
struct PropertyCall {
    OMDatabaseClient* client;
    OMInterface* handle;

    template <class Object>
    Object& object() const {
        return *objectOf<Object>(handle);
    }
};

/// How a property is read and written; `set` is null for a property that no client can write.
struct PropertyFunctions {
    /// Returns a new value in the form of the data type.
    void* (*get)(const PropertyCall& call);
    /// Takes a value, never null.
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

void addProperties(OMClass& objectClass, std::span<const PropertyRow> rows);

// Functions of rows.

/// The type that a getter returns, as a value.
template <auto get, class Object>
using Read = std::remove_cvref_t<std::invoke_result_t<decltype(get), Object&>>;

template <class Object, auto get>
void* reader(const PropertyCall& call) {
    return Shape<Read<get, Object>>::box(std::invoke(get, call.object<Object>()));
}

template <class Object, auto get, auto set>
void writer(const PropertyCall& call, const void* value) {
    std::invoke(set, call.object<Object>(), Shape<Read<get, Object>>::unbox(value));
}

/// A read-only property; writes are ignored.
template <class Object, auto get>
constexpr PropertyFunctions readOnly() {
    return {reader<Object, get>, nullptr};
}

/// The nearest count: NaN and negative numbers give 0.
std::uint64_t toCount(double value);

/// A count of 64 bits that is passed as a double.
template <class Object, auto get, auto set>
constexpr PropertyFunctions countField() {
    return {[](const PropertyCall& call) {
                return Shape<double>::box(static_cast<double>(std::invoke(get, call.object<Object>())));
            },
            [](const PropertyCall& call, const void* value) {
                std::invoke(set, call.object<Object>(), toCount(Shape<double>::unbox(value)));
            }};
}

/// A property that two members or functions of the object read and write; the setter may take any type to which the
/// getter's converts.
template <class Object, auto get, auto set>
constexpr PropertyFunctions field() {
    return {reader<Object, get>, writer<Object, get, set>};
}

}  // namespace tolvane::detail
