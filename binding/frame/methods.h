// Method records as data: a class has a constexpr table of `MethodRow`s, one line per method, in the order of
// registration. A row is a name and the maker of its record.
//
// Most makers are `unary`, a query of one object, and `plain`, the signatures of a call and the function that runs it.
// A family with its own frame has its own record classes (FiBinaryOperation.h), made by `record`.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <type_traits>

#include "binding/frame/handles.h"
#include "binding/frame/shapes.h"
#include "host/OMClass.h"
#include "host/OMMethodInfo.h"
#include "host/OMMethodSignature.h"
#include "host/hv.h"

namespace tolvane::detail {

/// One signature of a call: data types of arguments and results. Unused entries are null.
struct SignatureColumn {
    std::array<const DataTypeColumn*, 7> arguments{};
    std::array<const DataTypeColumn*, 2> results{};

    template <class... Columns>
    constexpr SignatureColumn to(const Columns&... columns) const {
        return {arguments, {&columns...}};
    }
    void addTo(OMMethodSignature& signature) const;
    std::unique_ptr<OMMethodSignature> make() const;
};
template <class... Columns>
constexpr SignatureColumn takes(const Columns&... columns) {
    return {{&columns...}, {}};
}

/// A call in progress: `signature` is the index of the selected signature in the record.
struct MethodCall {
    std::size_t signature;
    int* resultCount;
    void** results;
    int argumentCount;
    void** arguments;

    /// The number of results requested by the caller; one if unspecified.
    int wantedResults() const { return *resultCount == 0 ? 1 : *resultCount; }
    /// The object of an argument; raises "fixedpoint:method:noObject" for the null handle of an empty array.
    template <class Object>
    Object& object(int index) const {
        if (arguments[index] == nullptr) {
            raiseNoObject();
        }
        return *objectOf<Object>(arguments[index]);
    }
    /// The object of an argument of type "handle", which accepts objects of every class; raises
    /// "VELMAR:class:WrongObjectType" for one that is not of the class.
    template <class Object>
    Object& objectInHandle(int index) const {
        errorIfNotOfClass(static_cast<const OMInterface*>(arguments[index]), Object::getVelmarPackageClassName());
        return *objectOf<Object>(arguments[index]);
    }
    const hvArray* array(int index) const { return static_cast<const hvArray*>(arguments[index]); }
    /// Returns the whole part of the first number of an array, 0 if it is negative or above any base; raises the error
    /// of that id if the array isn't numeric.
    int base(int index, const std::string& idOfOthers) const;
    /// Stores the single result, which the host then owns.
    void give(void* result) const {
        results[0] = result;
        *resultCount = 1;
    }
    void giveNothing() const { *resultCount = 0; }

 private:
    [[noreturn]] static void raiseNoObject();
};

using MethodFunction = void (*)(const MethodCall& call);

class PlainMethodInfo : public OMMethodInfo {
 public:
    PlainMethodInfo(const char* name, std::span<const SignatureColumn> signatures, MethodFunction invoke);
    void invokeMethod(OMMethodSignature* signature, int* resultCount, void** results, int argumentCount,
                      void** arguments) override;

 private:
    MethodFunction mInvoke;
};

struct MethodRow {
    const char* name;
    std::unique_ptr<OMMethodInfo> (*make)(const char* name);
};

void addMethods(OMClass& objectClass, std::span<const MethodRow> rows);

// Makers of records.

template <const auto& signatures, MethodFunction invoke>
std::unique_ptr<OMMethodInfo> plain(const char* name) {
    return std::make_unique<PlainMethodInfo>(name, signatures, invoke);
}

/// As `plain`, for a method that is called for an object as any argument.
template <const auto& signatures, MethodFunction invoke>
std::unique_ptr<OMMethodInfo> plainOnAny(const char* name) {
    auto made = plain<signatures, invoke>(name);
    made->setDispatchedOnFirstArgument(false);
    return made;
}

/// As `plain`, for a method of the class itself.
template <const auto& signatures, MethodFunction invoke>
std::unique_ptr<OMMethodInfo> plainStatic(const char* name) {
    auto made = plain<signatures, invoke>(name);
    made->setStatic(true);
    return made;
}

template <class Record>
std::unique_ptr<OMMethodInfo> record(const char* name) {
    return std::make_unique<Record>(name);
}

// Results in the form of a host array.

inline hvArray* toHostResult(bool value) {
    return hvCreateLogicalScalar(value);
}
template <class Number>
requires(std::is_arithmetic_v<Number> && !std::is_same_v<Number, bool>) hvArray* toHostResult(Number value) {
    return hvCreateDoubleScalar(static_cast<double>(value));
}
inline hvArray* toHostResult(const std::string& value) {
    return hvCreateString(value);
}
inline hvArray* toHostResult(hvArray* value) {
    return value;
}

// Functions of the records that `unary` makes.

/// How a function gets the object of its first argument: by the class of the argument, or, for type "handle", with a
/// check of its own.
template <class Object>
using ObjectArgument = Object& (MethodCall::*)(int) const;

template <class Object, auto question, ObjectArgument<Object> argument = &MethodCall::object<Object>>
void ask(const MethodCall& call) {
    Object& object = (call.*argument)(0);
    if constexpr (std::is_void_v<std::invoke_result_t<decltype(question), Object&>>) {
        std::invoke(question, object);
        call.giveNothing();
    } else {
        call.give(toHostResult(std::invoke(question, object)));
    }
}

template <const DataTypeColumn& column>
inline constexpr SignatureColumn kOneToArray[] = {takes(column).to(datatypes::kArray)};
template <const DataTypeColumn& column>
inline constexpr SignatureColumn kOneToNothing[] = {takes(column)};

/// Queries one object by a member or a function; the answer is returned as a host array, and no answer as no result.
template <class Object, auto question, const DataTypeColumn& column = datatypes::kObject<Object>,
          ObjectArgument<Object> argument = &MethodCall::object<Object>>
std::unique_ptr<OMMethodInfo> unary(const char* name) {
    if constexpr (std::is_void_v<std::invoke_result_t<decltype(question), Object&>>) {
        return plain<kOneToNothing<column>, ask<Object, question, argument>>(name);
    } else {
        return plain<kOneToArray<column>, ask<Object, question, argument>>(name);
    }
}
/// As `unary`, for an argument of type "handle".
template <class Object, auto question>
std::unique_ptr<OMMethodInfo> unaryOfHandle(const char* name) {
    return unary<Object, question, datatypes::kHandle, &MethodCall::objectInHandle<Object>>(name);
}

}  // namespace tolvane::detail
