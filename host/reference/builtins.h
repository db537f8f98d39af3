// The functions that the reference host has from the start.
#pragma once

#include <map>
#include <string>

#include "host/reference/functions.h"

namespace hostref {

std::map<std::string, Function> builtinFunctions();

}  // namespace hostref
