// The functions of the reference host that are called by name: one table that a program may extend.
//
// Initially present: "eval", "lasterr", "disp", "sqrt" and the small functions listed in functions.cpp.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "host/export.h"
#include "host/hv.h"

namespace hostref {

/// Runs one function. The caller keeps the arguments. Returns its results: possibly one even if none is requested;
/// excess results are dropped. Fails by raising.
using Function = std::function<std::vector<hvArrayOwner>(int resultCount, std::span<const hvArray* const> arguments)>;

/// Adds a function to the table and returns the one it replaces; an empty function removes the name.
TOLVANE_HOST_API Function registerFunction(const std::string& name, Function function);

/// Calls a method if an argument is an object whose class has it, selected as by Session::call, otherwise the function
/// of the table. An unknown name raises "VELMAR:UndefinedFunction" ("VELMAR:class:unknownMethod" if the first argument
/// is an object), a function that returns fewer results than requested "VELMAR:unassignedOutputs".
TOLVANE_HOST_API std::vector<hvArrayOwner> callFunction(const std::string& name, int resultCount,
                                                        std::span<const hvArray* const> arguments);

/// As callFunction, but ignores methods.
TOLVANE_HOST_API std::vector<hvArrayOwner> callBuiltin(const std::string& name, int resultCount,
                                                       std::span<const hvArray* const> arguments);

/// The error of the last failed call, as returned by "lasterr".
struct LastError {
    std::string id;
    std::string message;
};
TOLVANE_HOST_API const LastError& lastError();
TOLVANE_HOST_API void setLastError(LastError error);

}  // namespace hostref
