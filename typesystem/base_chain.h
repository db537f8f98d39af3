// The chain of base types of a composite type, through the single base type of each pointer, matrix or complex type.
#pragma once

#include "typesystem/ComplexType.h"
#include "typesystem/MatrixType.h"
#include "typesystem/PointerType.h"

namespace EmbeddedTypeSystem {

/// Returns the base type of a type that has one, or null.
inline Type* baseOf(const Type* type) {
    if (const auto* pointer = dynamic_cast<const PointerType*>(type)) {
        return pointer->getBaseType();
    }
    if (const auto* matrix = dynamic_cast<const MatrixType*>(type)) {
        return matrix->getBaseType();
    }
    if (const auto* complex = dynamic_cast<const ComplexType*>(type)) {
        return complex->getBaseType();
    }
    return nullptr;
}

/// Returns whether the chain from `start` contains `end`. The chain is finite, since these types cannot form a cycle: a
/// setter refuses a base type whose chain is long or comes back, and an assignment one whose chain comes back.
inline bool leadsTo(const Type* start, const Type* end) {
    while (start != nullptr && start != end) {
        start = baseOf(start);
    }
    return start == end;
}

}  // namespace EmbeddedTypeSystem
