// A type of named elements, in order. The elements are objects of the host's class "structelement"; a structure has its
// own copies of them and keeps these by a reference each.
//
// Structures are how types get to refer to themselves: an element may point at its structure. The handles of such a
// cycle hold each other; TypeCycles.h ends them when nobody else does.
#pragma once

#include <vector>

#include "host/Vector.h"
#include "typesystem/HandleReference.h"
#include "typesystem/Type.h"

namespace EmbeddedTypeSystem {

class StructElement;

class TOLVANE_API StructType : public Type {
 public:
    /// Makes a structure without elements, with a host handle at once if asked.
    explicit StructType(bool makesHandle);
    /// As above with `count` empty places. Raises "embeddedtype:memory:OutofMemory".
    StructType(std::uint64_t count, bool makesHandle);
    /// Has elements of its own, which are copies.
    StructType(const StructType& other);
    StructType& operator=(const StructType& other);
    ~StructType() override;

    /// Puts copies of the elements in the place of the old ones; null counts as none. Raises
    /// "embeddedtype:struct:InvalidElement" for what is no element, "embeddedtype:struct:IncompleteElement" for one
    /// without type or identifier, "embeddedtype:struct:RecursiveElement" for one of this very type,
    /// "embeddedtype:struct:NameClash" and "embeddedtype:memory:OutofMemory".
    void setElements(const Vector* elements);
    /// Puts a new element into one place; does nothing where there is no such place. Raises as the constructor of
    /// StructElement and "embeddedtype:class:notRegistered"; the old element stays then.
    void setMemberAt(Type* type, const char* identifier, std::uint64_t index);

    std::uint64_t getNumElements() const { return mElements.size(); }
    /// Returns the handles of the elements, null for an empty place; the references stay with the structure.
    Vector getElements() const;
    /// Returns the handle of one element; null for an empty place and where there is none.
    OMInterface* getElementHandleAt(std::uint64_t index) const;
    /// Returns one element; null for an empty place and where there is none.
    StructElement* getElementAt(std::uint64_t index) const;
    /// Returns the first element of that identifier, or null.
    StructElement* getElementByName(const char* identifier) const;
    /// Answers whether this object or an equal one is an element.
    bool isElement(const StructElement* element) const;

    std::uint64_t getWidth() const override { return 1; }
    unsigned isScalar() const override { return 0; }
    unsigned isComplex() const override { return 0; }
    unsigned isStructure() const override { return 1; }
    unsigned isMatrix() const override { return 0; }
    unsigned isVoid() const override { return 0; }
    unsigned isPointer() const override { return 0; }
    /// Compares qualifiers and elements in their order; without elements a type equals itself alone.
    bool operator==(const Type& other) const override;
    bool isComplete() const override { return !mElements.empty(); }
    void accept(EmbeddedTypeVisitor* visitor) override;
    /// This type itself will do, and a structure of as many elements each of which is equal to this one's at its place,
    /// or of a type to which this one's, a matrix, converts.
    bool canBeConvertedTo(const Type* other) const override;
    OMClass* getOMClass() const override;

 private:
    friend class TypeCycles;

    explicit StructType(std::vector<HandleReference> elements);
    std::vector<HandleReference> copyElements() const;

    std::vector<HandleReference> mElements;
    // All structures are linked, for TypeCycles to find those that nobody but a cycle holds.
    StructType* mPrevious = nullptr;
    StructType* mNext = nullptr;
};

}  // namespace EmbeddedTypeSystem
