// Base of the types that hold one value: it implements the queries for shape and adds no data.
//
// Still abstract: equality and conversion belong to the leaves, such as descriptors/NumericType.h.
#pragma once

#include "typesystem/Type.h"

namespace EmbeddedTypeSystem {

class TOLVANE_API ScalarType : public Type {
 public:
    std::uint64_t getWidth() const override;
    unsigned isScalar() const override;
    unsigned isComplex() const override;
    unsigned isStructure() const override;
    unsigned isMatrix() const override;
    unsigned isVoid() const override;
    unsigned isPointer() const override;
    bool isComplete() const override;

 protected:
    ScalarType() = default;
    ScalarType(const ScalarType& other) = default;
    ScalarType& operator=(const ScalarType& other) = default;
};

}  // namespace EmbeddedTypeSystem
