// A type of named elements, in order. The elements are objects of the host's class "structelement"; a structure has its
// own copies of them and holds a reference to each.
//
// Structures are what allows types to refer to themselves: an element may point at its structure. The handles of such a
// cycle hold each other; TypeCycles.h releases them when there are no other references.
#pragma once

#include <vector>

#include "host/Vector.h"
#include "typesystem/HandleReference.h"
#include "typesystem/Type.h"

namespace EmbeddedTypeSystem {

class StructElement;

class TOLVANE_API StructType : public Type {
 public:
    /// Makes a structure without elements, with a host handle if `makesHandle`.
    explicit StructType(bool makesHandle);
    /// As above, with `count` unset elements. Raises "embeddedtype:memory:OutofMemory".
    StructType(std::uint64_t count, bool makesHandle);
    /// Copies the elements.
    StructType(const StructType& other);
    StructType& operator=(const StructType& other);
    ~StructType() override;

    /// Replaces the elements by copies of the given ones; null means none. Raises "embeddedtype:struct:InvalidElement"
    /// for an object that isn't an element, "embeddedtype:struct:IncompleteElement" for one without type or identifier,
    /// "embeddedtype:struct:RecursiveElement" for one of this very type, "embeddedtype:struct:NameClash" and
    /// "embeddedtype:memory:OutofMemory".
    void setElements(const Vector* elements);
    /// Replaces the element at an index by a new one; does nothing if the index is out of range. Raises as the
    /// constructor of StructElement and "embeddedtype:class:notRegistered"; the old element is kept in that case.
    void setMemberAt(Type* type, const char* identifier, std::uint64_t index);

    std::uint64_t getNumElements() const { return mElements.size(); }
    /// Returns the handles of the elements, null for an unset one; the structure keeps the references.
    Vector getElements() const;
    /// Returns the handle of one element; null if it is unset or out of range.
    OMInterface* getElementHandleAt(std::uint64_t index) const;
    /// Returns one element; null if it is unset or out of range.
    StructElement* getElementAt(std::uint64_t index) const;
    /// Returns the first element with that identifier, or null.
    StructElement* getElementByName(const char* identifier) const;
    /// Returns whether this object or an equal one is an element.
    bool isElement(const StructElement* element) const;

    std::uint64_t getWidth() const override { return 1; }
    unsigned isScalar() const override { return 0; }
    unsigned isComplex() const override { return 0; }
    unsigned isStructure() const override { return 1; }
    unsigned isMatrix() const override { return 0; }
    unsigned isVoid() const override { return 0; }
    unsigned isPointer() const override { return 0; }
    /// Compares qualifiers and elements in their order; without elements, a type equals only itself.
    bool operator==(const Type& other) const override;
    bool isComplete() const override { return !mElements.empty(); }
    void accept(EmbeddedTypeVisitor* visitor) override;
    /// Accepts this type itself, and a structure with the same number of elements, where each element of this
    /// type equals the one at the same index, or has a matrix type that converts to the type of that one.
    bool canBeConvertedTo(const Type* other) const override;
    OMClass* getOMClass() const override;

 private:
    friend class TypeCycles;

    explicit StructType(std::vector<HandleReference> elements);
    std::vector<HandleReference> copyElements() const;

    std::vector<HandleReference> mElements;
    // All structures are linked, for TypeCycles to find those that are held only by a cycle.
    StructType* mPrevious = nullptr;
    StructType* mNext = nullptr;
};

}  // namespace EmbeddedTypeSystem
