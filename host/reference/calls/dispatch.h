// Calls of methods and reads and writes of properties, as a user's command does them: lookup by name, selection of a
// signature, conversion of arguments and results. Session and the functions called by name share it.
//
// What is raised here is raised by pointer, as everywhere below the session.
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
    static Argument of(const hvArray* array);
};

/// How many results a caller wants. `oneIfAny` stands for one, or none from what gives none.
struct Wanted {
    int count = 0;
    bool isOneIfAny = false;

    static Wanted exactly(int count) { return {count, false}; }
    static Wanted oneIfAny() { return {1, true}; }
};

/// Finds a class by its full name, or by its short name when only one class has it; null when there is none.
OMClass* findClass(std::string_view name);
/// As findClass, except that it raises "VELMAR:class:unknown".
OMClass& requireClass(std::string_view name);

/// Calls the method that the arguments select; no value when none of them is an object that has it.
std::optional<std::vector<Value>> callMethod(std::string_view name, std::span<const Argument> arguments, Wanted wanted);
/// Calls a method of a class whatever the arguments are.
std::vector<Value> callMethodOfClass(OMClass& objectClass, std::string_view name, std::span<const Argument> arguments,
                                     Wanted wanted);
/// Calls the method that the arguments select, else the function of the table.
std::vector<Value> callByName(std::string_view name, std::span<const Argument> arguments, Wanted wanted);
/// Answers whether objects of the class have the method.
bool hasMethod(const OMClass& objectClass, std::string_view name);

/// Returns the object of an argument; an array without one raises "VELMAR:value:notObject".
OMInterface& requireObject(const Argument& argument);
/// Finds a property or raises "VELMAR:class:unknownProperty".
OMPropInfo& requireProperty(const OMClass& objectClass, std::string_view name);
/// Reads and writes as the external client, under the property's access attributes.
Value getProperty(OMInterface& interface, std::string_view name);
void setProperty(OMInterface& interface, std::string_view name, const Argument& value);
/// As getProperty, for a list of all properties: it is the host that reads then, so that a class which gives advice to
/// the users of a property gives none here.
Value listedProperty(OMInterface& interface, std::string_view name);
/// Read and write as a client whose access has been looked at, without events; an argument that is no value of the data
/// type raises "VELMAR:datatype:badValue".
Value readProperty(OMInterface& interface, OMPropInfo& property, OMDatabaseClient* client);
void writeProperty(OMInterface& interface, OMPropInfo& property, OMDatabaseClient* client, const Argument& value);
/// Runs what reads one of all the properties of an object. What it throws goes on if the class says so; otherwise there
/// is no value.
std::optional<Value> readOneOfAll(OMInterface& interface, const std::function<Value()>& read);
/// Reads a property as the saved form has it.
std::optional<Value> savedProperty(OMInterface& interface, OMPropInfo& property);

/// Makes an object by the class's own constructor.
Value constructObject(OMClass& objectClass, std::span<const Argument> arguments);

/// Runs a function of the table with copies or wraps of the arguments as arrays.
std::vector<Value> callTableFunction(std::string_view name, std::span<const Argument> arguments, Wanted wanted);

}  // namespace hostref
