// The straight way down from a composite type: through the one base type of each pointer, matrix or complex type.
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

/// Answers whether the way down from `start` comes by `end`. It has an end, for no ring of these types can be made:
/// a base type is refused from which the way is not short, or comes back, and so is an assignment.
inline bool leadsTo(const Type* start, const Type* end) {
    while (start != nullptr && start != end) {
        start = baseOf(start);
    }
    return start == end;
}

}  // namespace EmbeddedTypeSystem
