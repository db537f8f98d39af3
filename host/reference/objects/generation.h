// A count that grows whenever a class, property, method or signature record is added, renamed or taken away, so that
// what was looked up by name can be kept until then.
#pragma once

#include <cstdint>

namespace hostref {

extern std::uint64_t recordGeneration;

}  // namespace hostref
