// Ends types that only hold one another, such as the structure of a list whose element points at that structure.
//
// The host's reference counts keep such a cycle for ever. `collect` finds the structures to which no reference leads
// from outside of the cycles: it counts, for each handle that is reached from a structure, the references that come
// from parts of this graph; a handle with more references than those is held from outside, and so is all that it leads
// to. The rest is ended. Every cycle of types has a structure in it, for the other composites refuse to be closed in a
// ring.
#pragma once

#include <cstddef>

#include "host/export.h"

namespace EmbeddedTypeSystem {

class StructType;

class TOLVANE_API TypeCycles {
 public:
    TypeCycles() = delete;

    /// Ends all unreachable cycles and returns how many structures were in them. Runs by itself whenever the number of
    /// structures has doubled, and when the module stops. Pointers at types that no reference keeps are invalid then.
    static std::size_t collect();

 private:
    friend class StructType;

    class Graph;
    /// Enters a structure, and collects first when it is time.
    static void enter(StructType* structure);
    static void leave(StructType* structure);

    static StructType* sFirst;
    static std::size_t sCount;
    static std::size_t sNextCollection;
};

}  // namespace EmbeddedTypeSystem
