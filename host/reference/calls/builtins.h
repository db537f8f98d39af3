// The table of functions called by name, and those that the reference host has from the start.
#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/reference/functions.h"

namespace hostref {

std::map<std::string, Function, std::less<>> builtinFunctions();
/// Those among them that know objects.
std::map<std::string, Function, std::less<>> objectFunctions();

bool hasTableFunction(std::string_view name);
/// Runs a function of the table and returns all it gives; an unknown name raises "VELMAR:UndefinedFunction".
std::vector<hvArrayOwner> runTableFunction(std::string_view name, int resultCount,
                                           std::span<const hvArray* const> arguments);

}  // namespace hostref
