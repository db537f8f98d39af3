// The type of an enumeration: an integer of so many bits, signed or not, with named members. A leaf.
//
// Equality, conversion and the checksum ask about the integer alone; names and values are what the host shows. Strings
// are set first, then as many values.
#pragma once

#include <cstdint>

#include "host/StringVector.h"
#include "host/hv.h"
#include "typesystem/ScalarType.h"

namespace EmbeddedTypeSystem {

class TOLVANE_API FIEnumType : public ScalarType {
 public:
    /// Makes the signed type of 32 bits without members, with a host handle at once if asked. Raises
    /// "embeddedtype:memory:OutofMemory".
    explicit FIEnumType(bool makesHandle);
    /// As above with `count` members of empty names and value 0.
    FIEnumType(std::uint64_t count, bool makesHandle);
    FIEnumType(const FIEnumType& other);
    FIEnumType& operator=(const FIEnumType& other);

    void setNumBits(int bits) { mNumBits = bits; }
    int getNumBits() const { return mNumBits; }
    void setSignedNess(bool isSigned) { mSignedNess = isSigned; }
    bool getSignedNess() const { return mSignedNess; }
    void setDefaultMember(int index) { mDefaultMember = index; }
    int getDefaultMember() const { return mDefaultMember; }

    const StringVector& getStrings() const { return mStrings; }
    /// Returns the values, a numeric vector owned by this object.
    const hvArray* getHvValues() const { return mValues.get(); }
    /// Copies the names and drops all values; null counts as no names. Raises "embeddedtype:memory:OutofMemory".
    void setStrings(const StringVector* strings);
    /// Copies a vector of whole numbers, as many as there are names. Raises "embeddedtype:enum:InvalidValues",
    /// "embeddedtype:enum:ValuesandStringsMismatch" and "embeddedtype:memory:OutofMemory".
    void setHvValues(const hvArray* values);
    /// Writes name (null counts as empty) and value of one member where there is room for them; an index beyond the
    /// names, or beyond the values, writes no name, or no value. Values that were set with another class than double
    /// become double.
    void setMemberAt(const char* name, int value, std::uint64_t index);

    /// Compares qualifiers, bits and sign.
    bool operator==(const Type& other) const override;
    void accept(EmbeddedTypeVisitor* visitor) override;
    /// Any FIEnumType will do.
    bool canBeConvertedTo(const Type* other) const override;
    OMClass* getOMClass() const override;
    void addCheckSum(MD5CheckSumModEndian& sum) const override;

 private:
    StringVector mStrings;
    hvArrayOwner mValues;
    std::int32_t mNumBits = 32;
    bool mSignedNess = true;
    std::int32_t mDefaultMember = 0;
};

}  // namespace EmbeddedTypeSystem
