// Releases types that are held only by one another, such as the structure of a list whose element points at that
// structure.
//
// Reference counts alone would keep such a cycle alive forever. `collect` finds the structures to which no reference
// leads from outside the cycles: for each handle reachable from a structure, it counts the references from parts of
// this graph; a handle with more references is held from outside, and so is everything reachable from it. The rest is
// released. Every cycle of types contains a structure, since the other composites refuse to close a cycle.
#pragma once

#include <cstddef>

#include "host/export.h"

namespace EmbeddedTypeSystem {

class StructType;

class TOLVANE_API TypeCycles {
 public:
    TypeCycles() = delete;

    /// Releases all unreachable cycles and returns the number of structures in them. Runs automatically whenever the
    /// number of structures has doubled, and when the module stops. Invalidates pointers to types that no reference
    /// keeps alive.
    static std::size_t collect();

 private:
    friend class StructType;

    class Graph;
    /// Adds a structure, and collects first if it is time.
    static void enter(StructType* structure);
    static void leave(StructType* structure);

    static StructType* sFirst;
    static std::size_t sCount;
    static std::size_t sNextCollection;
};

}  // namespace EmbeddedTypeSystem
