// The data types of properties and arguments, and the form in which a value of each is passed: see host/OMDataType.h.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>

#include "descriptors/RealPoint.h"
#include "host/OMDataType.h"
#include "host/OMInterface.h"
#include "host/StringVector.h"
#include "host/bs.h"
#include "host/hv.h"

namespace tolvane::detail {

/// A data type as a column of a table: it is looked up when the record is made.
struct DataTypeColumn {
    OMDataType* (*find)();
    /// Whether a property of the type reports that it holds no handles.
    bool deniesHandles;
};

/// Looks up a type by name; raises an internal error "fixedpoint:binding:unknownType" if it doesn't exist.
OMDataType* findDataType(const char* name);

namespace datatypes {

inline constexpr DataTypeColumn kInt32{[] { return findDataType("int32"); }, false};
inline constexpr DataTypeColumn kInteger{[] { return findDataType("int"); }, false};
inline constexpr DataTypeColumn kRealPoint{[] { return findDataType("real point"); }, false};
inline constexpr DataTypeColumn kReal{[] { return findDataType("double"); }, false};
inline constexpr DataTypeColumn kBoolean{[] { return findDataType("bool"); }, false};
inline constexpr DataTypeColumn kText{[] { return findDataType("string"); }, true};
inline constexpr DataTypeColumn kArray{[] { return findDataType("VELMAR array"); }, true};
/// Any object's handle.
inline constexpr DataTypeColumn kHandle{[] { return findDataType("handle"); }, false};
inline constexpr DataTypeColumn kHandleVector{[] { return findDataType("handle vector"); }, false};
inline constexpr DataTypeColumn kStringVector{[] { return findDataType("string vector"); }, false};
/// The handles of a class, which knows its full name.
template <class Object>
inline constexpr DataTypeColumn kObject{[] { return findDataType(Object::getVelmarPackageClassName()); }, true};
/// An enumeration, by the function that returns its type.
template <auto getEnum>
inline constexpr DataTypeColumn kEnumeration{[]() -> OMDataType* { return getEnum(); }, false};

}  // namespace datatypes

/// How a value of a C++ type is converted to its form (`box`, a new value that the caller owns) and read from it.
template <class T>
struct Shape;

template <class T>
requires(std::is_enum_v<T> || std::is_same_v<T, int>) struct Shape<T> {
    static void* box(T value) { return new std::int32_t(static_cast<std::int32_t>(value)); }
    static T unbox(const void* value) { return static_cast<T>(*static_cast<const std::int32_t*>(value)); }
};
template <>
struct Shape<double> {
    static void* box(double value) { return new double(value); }
    static double unbox(const void* value) { return *static_cast<const double*>(value); }
};
template <>
struct Shape<bool> {
    static void* box(bool value) { return new std::uint8_t(value ? 1 : 0); }
    static bool unbox(const void* value) { return *static_cast<const std::uint8_t*>(value) != 0; }
};
/// A null value never reaches a record, so an empty text arrives as a text without characters.
template <>
struct Shape<std::string> {
    static void* box(const std::string& value) {
        if (value.empty()) {
            return nullptr;
        }
        // Hosts rely on room for two terminating characters.
        auto* const copy = static_cast<char*>(bsMallocWithCheck(value.size() + 2));
        std::fill_n(std::ranges::copy(value, copy).out, 2, '\0');
        return copy;
    }
    static const char* unbox(const void* value) { return static_cast<const char*>(value); }
};
/// As above; null for none.
template <>
struct Shape<const char*> {
    static void* box(const char* value) { return Shape<std::string>::box(value == nullptr ? "" : value); }
    static const char* unbox(const void* value) { return static_cast<const char*>(value); }
};
template <>
struct Shape<StringVector> {
    static void* box(const StringVector& value) { return new StringVector(value); }
    static const StringVector* unbox(const void* value) { return static_cast<const StringVector*>(value); }
};
template <>
struct Shape<RealPoint> {
    using Pair = std::array<double, 2>;
    static void* box(RealPoint value) { return new Pair{value.first, value.second}; }
    static RealPoint unbox(const void* value) {
        const Pair& pair = *static_cast<const Pair*>(value);
        return {pair[0], pair[1]};
    }
};
template <>
struct Shape<hvArray*> {
    static void* box(hvArray* value) { return value; }
    static const hvArray* unbox(const void* value) { return static_cast<const hvArray*>(value); }
};
template <>
struct Shape<OMInterface*> {
    static void* box(OMInterface* value) { return value; }
};

}  // namespace tolvane::detail
