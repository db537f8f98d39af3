// The type of an enumeration: an integer with a number of bits, signed or not, with named members. A leaf.
//
// Equality, conversion and the checksum use only the integer; the host shows names and values. Strings are set first,
// then the same number of values.
#pragma once

#include <cstdint>

#include "host/StringVector.h"
#include "host/hv.h"
#include "typesystem/ScalarType.h"

namespace EmbeddedTypeSystem {

class TOLVANE_API FIEnumType : public ScalarType {
 public:
    /// Makes the signed type of 32 bits without members, with a host handle if `makesHandle`. Raises
    /// "embeddedtype:memory:OutofMemory".
    explicit FIEnumType(bool makesHandle);
    /// As above, with `count` members with empty names and value 0.
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
    /// Copies the names and removes all values; null means no names. Raises "embeddedtype:memory:OutofMemory".
    void setStrings(const StringVector* strings);
    /// Copies a vector of whole numbers, as many as there are names. Raises "embeddedtype:enum:InvalidValues",
    /// "embeddedtype:enum:ValuesandStringsMismatch" and "embeddedtype:memory:OutofMemory".
    void setHvValues(const hvArray* values);
    /// Writes the name (null means empty) and value of one member if it exists; an index beyond the names, or beyond
    /// the values, writes no name, or no value. Values that were set as another class than double become double.
    void setMemberAt(const char* name, int value, std::uint64_t index);

    /// Compares qualifiers, bits and sign.
    bool operator==(const Type& other) const override;
    void accept(EmbeddedTypeVisitor* visitor) override;
    /// Accepts any FIEnumType.
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
