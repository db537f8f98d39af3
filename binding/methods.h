// Method records as data: a class has constexpr tables of `MethodRow`s, a line for each method, in the order in which
// they are registered.
//
// A row has the shapes in which the method is called, and the function that runs it. Most functions come from
// `unaryMethod`, which wraps a question to one object; a family of methods with a frame of its own has record classes
// of its own (FiBinaryOperation.h).
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>

#include "binding/handles.h"
#include "binding/properties.h"
#include "binding/shapes.h"
#include "host/OMClass.h"
#include "host/OMMethodInfo.h"
#include "host/OMMethodSignature.h"
#include "host/hv.h"

/// One shape of a call. Unused places are null.
struct SignatureColumn {
    std::array<const DataTypeColumn*, 4> arguments{};
    std::array<const DataTypeColumn*, 2> results{};
    bool isRepeatable = false;

    /// Adds a result type.
    constexpr SignatureColumn to(const DataTypeColumn& type) const {
        SignatureColumn longer = *this;
        longer.results[longer.results[0] == nullptr ? 0 : 1] = &type;
        return longer;
    }
    /// Lets the last argument be repeated.
    constexpr SignatureColumn repeated() const {
        SignatureColumn repeatable = *this;
        repeatable.isRepeatable = true;
        return repeatable;
    }
    std::unique_ptr<OMMethodSignature> make() const;
    /// Adds the types to a signature of the caller's own kind.
    void addTo(OMMethodSignature& signature) const;
};
template <class... Columns>
constexpr SignatureColumn takes(const Columns&... columns) {
    return {.arguments = {&columns...}};
}

/// A call on its way: `signature` is the place of the selected one among those of the row.
struct MethodCall {
    std::size_t signature;
    int* resultCount;
    void** results;
    int argumentCount;
    void** arguments;

    /// How many results the caller wants; one when it did not say.
    int wantedResults() const { return *resultCount == 0 ? 1 : *resultCount; }
    template <class Object>
    Object& object(int index) const {
        return *objectOf<Object>(arguments[index]);
    }
    const hvArray* array(int index) const { return static_cast<const hvArray*>(arguments[index]); }
    /// Stores the one result, which the host owns then.
    void give(void* result) const {
        results[0] = result;
        *resultCount = 1;
    }
    void giveNothing() const { *resultCount = 0; }
};

enum class Dispatch { OnFirst, OnAny };

struct MethodRow {
    static constexpr std::size_t maxSignatures = 3;

    const char* name;
    std::array<SignatureColumn, maxSignatures> signatures;
    std::size_t signatureCount;
    void (*invoke)(const MethodCall& call);
    Dispatch dispatch = Dispatch::OnFirst;
    /// Makes the signature objects, where they are of a kind of their own.
    std::unique_ptr<OMMethodSignature> (*makeSignature)(const SignatureColumn& column) = nullptr;
};

/// The record of a row.
class MethodRecord : public OMMethodInfo {
 public:
    explicit MethodRecord(const MethodRow& row);
    void invokeMethod(OMMethodSignature* signature, int* resultCount, void** results, int argumentCount,
                      void** arguments) override;

 private:
    const MethodRow& mRow;
};

/// The record class of one row of a table, for those who name it.
template <const auto& table, std::size_t index>
class TableMethodInfo final : public MethodRecord {
 public:
    TableMethodInfo() : MethodRecord(table[index]) {}
};

/// Adds a record for each row.
template <const auto& table>
void addMethods(OMClass& objectClass) {
    [&]<std::size_t... index>(std::index_sequence<index...>) {
        (objectClass.addMethod(std::make_unique<TableMethodInfo<table, index>>()), ...);
    }(std::make_index_sequence<std::size(table)>());
}

// Results in the shape of a host array.

inline hvArray* toHostResult(bool value) {
    return hvCreateLogicalScalar(value);
}
template <class Number>
requires(std::is_arithmetic_v<Number> && !std::is_same_v<Number, bool>) hvArray* toHostResult(Number value) {
    return hvCreateDoubleScalar(static_cast<double>(value));
}
inline hvArray* toHostResult(hvArray* value) {
    return value;
}

/// Asks one object a question by a member or a function; the answer travels as a host array, and no answer as none.
template <class Object, auto question>
void unaryMethod(const MethodCall& call) {
    if constexpr (std::is_void_v<std::invoke_result_t<decltype(question), Object&>>) {
        std::invoke(question, call.object<Object>(0));
        call.giveNothing();
    } else {
        call.give(toHostResult(std::invoke(question, call.object<Object>(0))));
    }
}
