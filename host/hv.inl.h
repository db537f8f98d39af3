// Typed access to the plain data of an hvArray, and dispatch from its class to an element type. Included by hv.h.
#pragma once

#include <type_traits>

#include "host/hv.h"

/// The class id of the arrays whose elements are of type T.
template <class T>
inline constexpr hvClassID hvClassOf = hvUNKNOWN_CLASS;
template <>
inline constexpr hvClassID hvClassOf<double> = hvDOUBLE_CLASS;
template <>
inline constexpr hvClassID hvClassOf<float> = hvSINGLE_CLASS;
template <>
inline constexpr hvClassID hvClassOf<std::int8_t> = hvINT8_CLASS;
template <>
inline constexpr hvClassID hvClassOf<std::uint8_t> = hvUINT8_CLASS;
template <>
inline constexpr hvClassID hvClassOf<std::int16_t> = hvINT16_CLASS;
template <>
inline constexpr hvClassID hvClassOf<std::uint16_t> = hvUINT16_CLASS;
template <>
inline constexpr hvClassID hvClassOf<std::int32_t> = hvINT32_CLASS;
template <>
inline constexpr hvClassID hvClassOf<std::uint32_t> = hvUINT32_CLASS;
template <>
inline constexpr hvClassID hvClassOf<std::int64_t> = hvINT64_CLASS;
template <>
inline constexpr hvClassID hvClassOf<std::uint64_t> = hvUINT64_CLASS;
template <>
inline constexpr hvClassID hvClassOf<hvChar> = hvCHAR_CLASS;

/// Calls `visitor(std::type_identity<T>{})` with the element type of a numeric or logical class (logical as its
/// bytes); returns false, without a call, for any other class.
template <class Visitor>
bool hvDispatchClass(hvClassID classId, Visitor&& visitor) {
    switch (classId) {
        case hvDOUBLE_CLASS:
            visitor(std::type_identity<double>{});
            return true;
        case hvSINGLE_CLASS:
            visitor(std::type_identity<float>{});
            return true;
        case hvINT8_CLASS:
            visitor(std::type_identity<std::int8_t>{});
            return true;
        case hvLOGICAL_CLASS:
        case hvUINT8_CLASS:
            visitor(std::type_identity<std::uint8_t>{});
            return true;
        case hvINT16_CLASS:
            visitor(std::type_identity<std::int16_t>{});
            return true;
        case hvUINT16_CLASS:
            visitor(std::type_identity<std::uint16_t>{});
            return true;
        case hvINT32_CLASS:
            visitor(std::type_identity<std::int32_t>{});
            return true;
        case hvUINT32_CLASS:
            visitor(std::type_identity<std::uint32_t>{});
            return true;
        case hvINT64_CLASS:
            visitor(std::type_identity<std::int64_t>{});
            return true;
        case hvUINT64_CLASS:
            visitor(std::type_identity<std::uint64_t>{});
            return true;
        default:
            return false;
    }
}

namespace hvdetail {

/// Raises "VELMAR:array:wrongClass".
[[noreturn]] TOLVANE_HOST_API void raiseWrongClass(const hvArray* array);

template <class T>
void requireElements(const hvArray* array) {
    static_assert(hvClassOf<T> != hvUNKNOWN_CLASS, "no array class has elements of this type");
    const hvClassID classId = hvGetClassID(array);
    const bool isLogicalBytes = std::is_same_v<T, hvLogical> && classId == hvLOGICAL_CLASS;
    if (classId != hvClassOf<T> && !isLogicalBytes) {
        raiseWrongClass(array);
    }
}

template <class T, class Data>
std::span<T> asSpan(Data* data, const hvArray* array) {
    return {static_cast<T*>(data), data == nullptr ? 0 : hvGetNumberOfElements(array)};
}

}  // namespace hvdetail

/// The real data as a span of T; a class other than that of T raises "VELMAR:array:wrongClass". A logical array reads
/// as std::uint8_t.
template <class T>
std::span<const T> hvGetTypedData(const hvArray* array) {
    hvdetail::requireElements<T>(array);
    return hvdetail::asSpan<const T>(hvGetData(array), array);
}
/// As above, for writing: unshares the data.
template <class T>
std::span<T> hvGetTypedData(hvArray* array) {
    hvdetail::requireElements<T>(array);
    return hvdetail::asSpan<T>(hvGetData(array), array);
}
/// As hvGetTypedData, for the imaginary part; an empty span for a real array.
template <class T>
std::span<const T> hvGetTypedImagData(const hvArray* array) {
    hvdetail::requireElements<T>(array);
    return hvdetail::asSpan<const T>(hvGetImagData(array), array);
}
template <class T>
std::span<T> hvGetTypedImagData(hvArray* array) {
    hvdetail::requireElements<T>(array);
    return hvdetail::asSpan<T>(hvGetImagData(array), array);
}
