// Calls of methods and reads and writes of properties, as by a user's command: lookup by name, selection of a
// signature, conversion of arguments and results. Session and the functions called by name share it.
//
// Errors are raised by pointer, as everywhere below the session.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/reference/Value.h"

class OMClass;
class OMDatabaseClient;
class OMInterface;
class OMPropInfo;

namespace hostref {

/// An argument, borrowed: an array, an object, or an array around a handle, which has both.
struct Argument {
    const hvArray* array = nullptr;
    OMInterface* interface = nullptr;

    static Argument of(const Value& value) {
        return value.isObject() ? Argument{nullptr, value.interface()} : Argument{value.array(), nullptr};
    }
    TOLVANE_HOST_API static Argument of(const hvArray* array);
};

/// The number of results that a caller requests. `oneIfAny` means one, or none if there is none.
struct Wanted {
    int count = 0;
    bool isOneIfAny = false;

    static Wanted exactly(int count) { return {count, false}; }
    static Wanted oneIfAny() { return {1, true}; }
};

/// Finds a class by its full name, or by its short name if only one class has it; null if there is none.
OMClass* findClass(std::string_view name);
/// As findClass, except that it raises "VELMAR:class:unknown".
TOLVANE_HOST_API OMClass& requireClass(std::string_view name);

/// Calls the method that the arguments select; no value if none of them is an object that has it.
std::optional<std::vector<Value>> callMethod(std::string_view name, std::span<const Argument> arguments, Wanted wanted);
/// Calls a method of a class whatever the arguments are.
TOLVANE_HOST_API std::vector<Value> callMethodOfClass(OMClass& objectClass, std::string_view name,
                                                      std::span<const Argument> arguments, Wanted wanted);
/// Calls the method that the arguments select, otherwise the function of the table.
std::vector<Value> callByName(std::string_view name, std::span<const Argument> arguments, Wanted wanted);
/// Returns whether objects of the class have the method.
bool hasMethod(const OMClass& objectClass, std::string_view name);

/// Returns the object of an argument; an array without one raises "VELMAR:value:notObject".
OMInterface& requireObject(const Argument& argument);
/// Finds a property or raises "VELMAR:class:unknownProperty".
OMPropInfo& requireProperty(const OMClass& objectClass, std::string_view name);
/// Reads and writes as the external client, under the property's access attributes.
Value getProperty(OMInterface& interface, std::string_view name);
void setProperty(OMInterface& interface, std::string_view name, const Argument& value);
/// As getProperty, for a list of all properties: read as the internal client, so that a class that warns users of a
/// property stays silent.
Value listedProperty(OMInterface& interface, std::string_view name);
/// Read and write as a client whose access has been checked, without events; an argument that isn't a value of the data
/// type raises "VELMAR:datatype:badValue".
Value readProperty(OMInterface& interface, OMPropInfo& property, OMDatabaseClient* client);
TOLVANE_HOST_API void writeProperty(OMInterface& interface, OMPropInfo& property, OMDatabaseClient* client,
                                    const Argument& value);
/// Runs the read of one property when all properties of an object are read. Its error propagates if the class says so;
/// otherwise there is no value.
std::optional<Value> readOneOfAll(OMInterface& interface, const std::function<Value()>& read);
/// Reads a property in its saved form.
TOLVANE_HOST_API std::optional<Value> savedProperty(OMInterface& interface, OMPropInfo& property);

/// Makes an object by the class's own constructor.
TOLVANE_HOST_API Value constructObject(OMClass& objectClass, std::span<const Argument> arguments);

/// Runs a function of the table with the arguments copied or wrapped as arrays.
std::vector<Value> callTableFunction(std::string_view name, std::span<const Argument> arguments, Wanted wanted);

}  // namespace hostref
