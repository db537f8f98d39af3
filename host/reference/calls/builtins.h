// The table of functions called by name, and the functions that the reference host has initially.
#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/reference/functions.h"

namespace hostref {

std::map<std::string, Function, std::less<>> builtinFunctions();
/// The built-in functions that work on objects.
std::map<std::string, Function, std::less<>> objectFunctions();

bool hasTableFunction(std::string_view name);
/// Runs a function of the table and returns all its results; an unknown name raises "VELMAR:UndefinedFunction".
std::vector<hvArrayOwner> runTableFunction(std::string_view name, int resultCount,
                                           std::span<const hvArray* const> arguments);

}  // namespace hostref
