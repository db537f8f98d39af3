// A type of which only the name, its identifier, is known. It equals a type of the same name and converts to nothing.
#pragma once

#include "typesystem/Type.h"

namespace EmbeddedTypeSystem {

class TOLVANE_API OpaqueType : public Type {
 public:
    /// If `makesHandle`, makes a host handle at once.
    explicit OpaqueType(bool makesHandle);

    std::uint64_t getWidth() const override { return 1; }
    unsigned isScalar() const override { return 0; }
    unsigned isComplex() const override { return 0; }
    unsigned isStructure() const override { return 0; }
    unsigned isMatrix() const override { return 0; }
    unsigned isVoid() const override { return 0; }
    unsigned isPointer() const override { return 0; }
    unsigned isOpaque() const override { return 1; }
    /// Compares qualifiers and identifiers with those of another OpaqueType.
    bool operator==(const Type& other) const override;
    bool isComplete() const override { return true; }
    void accept(EmbeddedTypeVisitor* visitor) override;
    /// Accepts nothing, not even this type itself.
    bool canBeConvertedTo(const Type* other) const override;
    OMClass* getOMClass() const override;
    void addCheckSum(MD5CheckSumModEndian& sum) const override;
};

}  // namespace EmbeddedTypeSystem
