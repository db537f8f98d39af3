// Base of the tree of C-like data types: qualifiers, two texts, and the host's handle on the descriptor.
//
// A descriptor has predicates for its kind of type (virtual), comparison with another type, convertibility to another
// type, and a checksum. The host handle is reference-counted: a descriptor holds one reference on its own handle and
// releases it at destruction, unless the host has begun that destruction itself (`setCanDeleteOMI(false)`). If others
// hold references on its handle, a descriptor is destroyed by releasing its first reference, never by a delete.
// Ownership in a tree: PartReference.h. Numeric leaves: descriptors/NumericType.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "host/export.h"

class OMClass;
class OMInterface;

namespace EmbeddedTypeSystem {

class EmbeddedTypeVisitor;
class MD5CheckSumModEndian;

class TOLVANE_API Type {
 public:
    virtual ~Type();

    /// Returns the number of adjacent elements.
    virtual std::uint64_t getWidth() const = 0;
    virtual unsigned isScalar() const = 0;
    virtual unsigned isComplex() const = 0;
    virtual unsigned isStructure() const = 0;
    virtual unsigned isMatrix() const = 0;
    virtual unsigned isVoid() const = 0;
    virtual unsigned isPointer() const = 0;
    virtual unsigned isOpaque() const;
    /// Compares the qualifiers; a derived class adds the criteria for its own types.
    virtual bool operator==(const Type& other) const = 0;
    virtual bool isComplete() const = 0;
    /// Calls the visitor's operation for the class of this type.
    virtual void accept(EmbeddedTypeVisitor* visitor) = 0;
    /// Returns 0 for every type.
    virtual unsigned hash() const;
    /// Returns 0 for every pair of types.
    virtual unsigned char compare(const Type* other) const;
    virtual bool canBeConvertedTo(const Type* other) const = 0;
    /// Returns the class record of the host's handles on such types, built on first use. Raises
    /// "embeddedtype:class:notRegistered" in a process without the records.
    virtual OMClass* getOMClass() const = 0;
    /// Adds the identity of the type to the sum: its class and numbers, and last the qualifiers. A matrix or a
    /// structure adds only the qualifiers.
    virtual void addCheckSum(MD5CheckSumModEndian& sum) const;

    /// Returns the text, owned by this object and valid until it changes, or null if none was set.
    const char* getIdentifier() const { return mTexts ? textOrNull(mTexts->identifier) : nullptr; }
    const char* getName() const { return mTexts ? textOrNull(mTexts->name) : nullptr; }
    bool getReadOnly() const { return mReadOnly; }
    bool getVolatile() const { return mVolatile; }
    /// Returns whether the type is read-only or volatile.
    bool hasQualifier() const { return mReadOnly || mVolatile; }

    /// Stores a copy of the text; null and empty texts change nothing. Raises "embeddedtype:string:InvalidStringParam"
    /// for more than 128 characters.
    void setIdentifier(const char* text);
    /// As setIdentifier.
    void setName(const char* text);
    void setReadOnly(bool readOnly) { mReadOnly = readOnly; }
    void setVolatile(bool isVolatile) { mVolatile = isVolatile; }

    /// Returns the host handle of this descriptor, making one of the class `getOMClass` if there is none. The first
    /// reference is the descriptor's own and is released with it. To let the host own the descriptor, pass that
    /// reference on; the destroy operation of the class, `endWithHandle`, then destroys the descriptor with the last
    /// reference.
    OMInterface* getOMI();
    /// Returns the host handle of this descriptor, or null; the descriptor keeps the reference.
    OMInterface* getOMIWithoutCreating() const { return mInterface; }
    /// Takes over one reference on the handle (null allowed) and releases the one held before, which must not be the
    /// last of a handle that owns this object.
    void setOMI(OMInterface* interface);

    bool isBeingDeleted() const { return mBeingDeleted; }
    void setBeingDeleted(bool beingDeleted) { mBeingDeleted = beingDeleted; }
    bool canDeleteOMI() const { return mCanDeleteOMI; }
    void setCanDeleteOMI(bool canDelete) { mCanDeleteOMI = canDelete; }
    /// The destroy operation of the classes of types, for OMClass::destroyObject: destroys the descriptor of a handle
    /// whose last reference was released, unless its own destructor released that reference.
    static void endWithHandle(OMInterface* interface);

    /// Allocates with bsMalloc, so that the host can free the object; raises "bs:outofmemory".
    static void* operator new(std::size_t bytes);
    static void* operator new[](std::size_t bytes);
    static void operator delete(void* memory) noexcept;
    static void operator delete[](void* memory) noexcept;

 protected:
    Type() = default;
    /// Copies texts, qualifiers and flags, but not the handle: it represents one object, and two owners of one
    /// reference would release it twice.
    Type(const Type& other);
    /// As the copy constructor; this object keeps its own handle.
    Type& operator=(const Type& other);

 private:
    static const char* textOrNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

    // Few types have any.
    struct Texts {
        std::string identifier;
        std::string name;
    };
    Texts& texts();

    std::unique_ptr<Texts> mTexts;
    OMInterface* mInterface = nullptr;
    bool mReadOnly = false;
    bool mVolatile = false;
    bool mBeingDeleted = false;
    bool mCanDeleteOMI = true;
};

}  // namespace EmbeddedTypeSystem
