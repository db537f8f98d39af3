// An array type: a number of values of a base type along each dimension. Dimensions may be left open (unset).
#pragma once

#include <vector>

#include "host/hv.h"
#include "typesystem/PartReference.h"
#include "typesystem/Type.h"

namespace EmbeddedTypeSystem {

class TOLVANE_API MatrixType : public Type {
 public:
    /// Makes a type without base type and dimensions, with a host handle if `makesHandle`. Raises
    /// "embeddedtype:memory:OutofMemory".
    explicit MatrixType(bool makesHandle);
    /// As above with both; raises as their setters.
    MatrixType(Type* base, const hvArray* dimensions, bool makesHandle);
    MatrixType(const MatrixType& other);
    /// Raises "embeddedtype:matrixbasetype:recursion" if the other leads to this without a structure in between.
    MatrixType& operator=(const MatrixType& other);

    /// Takes a complete type that isValidBaseType accepts (PartReference.h explains how it is held). Raises
    /// "embeddedtype:matrixbasetype:nullbasetype", "embeddedtype:matrixbasetype:incompletebasetype",
    /// "embeddedtype:matrixbasetype:invalidbasetype" and "embeddedtype:matrixbasetype:recursion".
    void setBaseType(Type* base);
    /// Returns the type of the values, or null.
    Type* getBaseType() const { return mBaseType.get(); }

    /// Accepts a scalar, complex, structure or opaque type, but not null. Raises
    /// "embeddedtype:matrixbasetype:recursion" for this object.
    bool isValidPrimitiveBaseType(const Type* type) const;
    /// Accepts a primitive base type and a pointer, or pointer to a pointer, to one. Raises as
    /// isValidPrimitiveBaseType.
    bool isValidBaseType(const Type* type) const;

    /// Copies a real numeric vector of positive whole sizes, where the last of more than two is not 1; an empty vector
    /// leaves the dimensions open. Raises "embeddedtype:matrix:InvalidDims" and "embeddedtype:memory:OutofMemory".
    void setDims(const hvArray* dimensions);
    /// As above, with sizes that are exact as doubles.
    void setDims(std::uint64_t count, const std::uint64_t* sizes);
    /// Returns the dimensions, a numeric vector owned by this object.
    const hvArray* getDims() const { return mDimensions.get(); }
    std::uint64_t getNumDimensions() const { return mSizes.size(); }
    /// Returns the size along a dimension, counted from 0; beyond the last it is 0.
    std::uint64_t getDimension(std::uint64_t index) const { return index < mSizes.size() ? mSizes[index] : 0; }
    /// Returns whether both have the same sizes.
    bool compareDims(const MatrixType* other) const;
    void setFrameData(bool isFrame) { mFrameData = isFrame; }
    bool getFrameData() const { return mFrameData; }

    /// Returns the product of all sizes, at most the highest 64-bit number. Raises "embeddedtype:matrix:InvalidDims"
    /// while the dimensions are open.
    std::uint64_t getWidth() const override;
    unsigned isScalar() const override { return 0; }
    unsigned isComplex() const override { return 0; }
    unsigned isStructure() const override { return 0; }
    unsigned isMatrix() const override { return 1; }
    unsigned isVoid() const override { return 0; }
    unsigned isPointer() const override { return 0; }
    /// Compares qualifiers, dimensions, base types and frame flags; without a base type, a type equals only itself.
    bool operator==(const Type& other) const override;
    bool isComplete() const override { return mBaseType.get() != nullptr; }
    void accept(EmbeddedTypeVisitor* visitor) override;
    /// Accepts a pointer with the same base type or one to which this base type converts; a matrix of the same width to
    /// whose base type this one converts; and for a width of 1 a scalar or complex type to which this base type
    /// converts. While dimensions are open, accepts only a pointer.
    bool canBeConvertedTo(const Type* other) const override;
    OMClass* getOMClass() const override;

 private:
    friend class TypeCycles;

    PartReference mBaseType;
    hvArrayOwner mDimensions;
    // The elements of mDimensions.
    std::vector<std::uint64_t> mSizes;
    bool mFrameData = false;
};

}  // namespace EmbeddedTypeSystem
