// The type without values, for pointers to anything. Never complete.
#pragma once

#include "typesystem/Type.h"

namespace EmbeddedTypeSystem {

class TOLVANE_API VoidType : public Type {
 public:
    /// If `makesHandle`, makes a host handle at once.
    explicit VoidType(bool makesHandle);

    std::uint64_t getWidth() const override { return 1; }
    unsigned isScalar() const override { return 0; }
    unsigned isComplex() const override { return 0; }
    unsigned isStructure() const override { return 0; }
    unsigned isMatrix() const override { return 0; }
    unsigned isVoid() const override { return 1; }
    unsigned isPointer() const override { return 0; }
    /// Compares qualifiers with those of another VoidType.
    bool operator==(const Type& other) const override;
    bool isComplete() const override { return false; }
    void accept(EmbeddedTypeVisitor* visitor) override;
    /// Accepts anything.
    bool canBeConvertedTo(const Type* other) const override;
    OMClass* getOMClass() const override;
    void addCheckSum(MD5CheckSumModEndian& sum) const override;
};

}  // namespace EmbeddedTypeSystem
