// A count that increases whenever a class, property, method or signature record is added, renamed or removed, so that
// results of look-ups by name can be cached until then.
#pragma once

#include <cstdint>

namespace hostref {

extern std::uint64_t recordGeneration;

}  // namespace hostref
