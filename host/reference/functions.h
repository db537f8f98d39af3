// The functions of the reference host that are called by name: one table that a program may extend.
//
// Present from the start: "eval", "lasterr", "disp", "sqrt" and the small functions listed in functions.cpp.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "host/export.h"
#include "host/hv.h"

namespace hostref {

/// Runs one function. The arguments stay the caller's. Returns its results; it may return one although none is asked
/// for, and results beyond the count asked for are dropped. Fails by raising.
using Function = std::function<std::vector<hvArrayOwner>(int resultCount, std::span<const hvArray* const> arguments)>;

/// Puts a function into the table and returns the one it replaces; an empty function takes the name out.
TOLVANE_HOST_API Function registerFunction(const std::string& name, Function function);

/// Calls a method when an argument is an object whose class has it, as Session::call selects it, else the function of
/// the table. An unknown name raises "VELMAR:UndefinedFunction" ("VELMAR:class:unknownMethod" when the first argument
/// is an object), a function that returns fewer results than asked for "VELMAR:unassignedOutputs".
TOLVANE_HOST_API std::vector<hvArrayOwner> callFunction(const std::string& name, int resultCount,
                                                        std::span<const hvArray* const> arguments);

/// As callFunction, except that methods are passed by.
TOLVANE_HOST_API std::vector<hvArrayOwner> callBuiltin(const std::string& name, int resultCount,
                                                       std::span<const hvArray* const> arguments);

/// What the last failed call left behind; "lasterr" gives it to callers.
struct LastError {
    std::string id;
    std::string message;
};
TOLVANE_HOST_API const LastError& lastError();
TOLVANE_HOST_API void setLastError(LastError error);

}  // namespace hostref
