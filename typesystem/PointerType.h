// A type that points at values of another: any type except one that leads straight back to the pointer, with at most
// one further pointer or matrix in between at the time of setting.
#pragma once

#include "typesystem/PartReference.h"
#include "typesystem/Type.h"

namespace EmbeddedTypeSystem {

class TOLVANE_API PointerType : public Type {
 public:
    /// If `makesHandle`, makes a host handle at once.
    explicit PointerType(bool makesHandle);
    /// As above, with the type it points at; raises as setBaseType.
    PointerType(Type* base, bool makesHandle);
    PointerType(const PointerType& other);
    /// Raises "embeddedtype:pointerbasetype:recursion" if the other leads to this without a structure in between.
    PointerType& operator=(const PointerType& other);

    /// Takes a type that isValidBaseType accepts (PartReference.h explains how it is held). Raises
    /// "embeddedtype:pointerbasetype:nullbasetype", "embeddedtype:pointerbasetype:invalidbasetype" and
    /// "embeddedtype:pointerbasetype:recursion".
    void setBaseType(Type* base);
    /// Returns the type it points at, or null.
    Type* getBaseType() const { return mBaseType.get(); }

    /// Accepts a scalar, complex, void, structure or opaque type, but not null. Raises
    /// "embeddedtype:pointerbasetype:recursion" for this object.
    bool isValidPrimitiveBaseType(const Type* type) const;
    /// Accepts a primitive base type, a pointer to one, and a matrix of one that a matrix accepts. Raises as
    /// isValidPrimitiveBaseType.
    bool isValidBaseType(const Type* type) const;

    std::uint64_t getWidth() const override { return 1; }
    unsigned isScalar() const override { return 0; }
    unsigned isComplex() const override { return 0; }
    unsigned isStructure() const override { return 0; }
    unsigned isMatrix() const override { return 0; }
    unsigned isVoid() const override { return 0; }
    unsigned isPointer() const override { return 1; }
    /// Compares qualifiers and base types; without a base type, a type equals only itself.
    bool operator==(const Type& other) const override;
    bool isComplete() const override { return mBaseType.get() != nullptr; }
    void accept(EmbeddedTypeVisitor* visitor) override;
    /// Accepts a pointer or a matrix with the same base type, or one to which this base type converts.
    bool canBeConvertedTo(const Type* other) const override;
    OMClass* getOMClass() const override;
    void addCheckSum(MD5CheckSumModEndian& sum) const override;

 private:
    friend class TypeCycles;

    PartReference mBaseType;
};

}  // namespace EmbeddedTypeSystem
