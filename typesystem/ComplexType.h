// A type of two parts of one type, real and imaginary: numbers, or structures.
#pragma once

#include "typesystem/PartReference.h"
#include "typesystem/Type.h"

namespace EmbeddedTypeSystem {

class TOLVANE_API ComplexType : public Type {
 public:
    /// If `makesHandle`, makes a host handle at once.
    explicit ComplexType(bool makesHandle);
    /// As above with the type of the parts; raises as setBaseType.
    ComplexType(Type* base, bool makesHandle);
    ComplexType(const ComplexType& other);
    ComplexType& operator=(const ComplexType& other);

    /// Takes a NumericType or a structure without qualifiers (PartReference.h explains how it is held). Raises
    /// "embeddedtype:complexbasetype:invalidbasetype", even for null.
    void setBaseType(Type* base);
    /// Returns the type of the parts, or null.
    Type* getBaseType() const { return mBaseType.get(); }

    std::uint64_t getWidth() const override { return 1; }
    unsigned isScalar() const override { return 0; }
    unsigned isComplex() const override { return 1; }
    unsigned isStructure() const override { return 0; }
    unsigned isMatrix() const override { return 0; }
    unsigned isVoid() const override { return 0; }
    unsigned isPointer() const override { return 0; }
    /// Compares qualifiers and base types; without a base type, a type equals only itself.
    bool operator==(const Type& other) const override;
    bool isComplete() const override { return mBaseType.get() != nullptr; }
    void accept(EmbeddedTypeVisitor* visitor) override;
    /// Accepts a ComplexType to whose base type this base type converts.
    bool canBeConvertedTo(const Type* other) const override;
    OMClass* getOMClass() const override;
    void addCheckSum(MD5CheckSumModEndian& sum) const override;

 private:
    friend class TypeCycles;

    PartReference mBaseType;
};

}  // namespace EmbeddedTypeSystem
