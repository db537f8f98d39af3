// The type of one character: a number of bits, signed or not. A leaf.
#pragma once

#include <cstdint>

#include "typesystem/ScalarType.h"

namespace EmbeddedTypeSystem {

class TOLVANE_API CharType : public ScalarType {
 public:
    /// Makes the signed type of 8 bits, with a host handle if `makesHandle`.
    explicit CharType(bool makesHandle);
    CharType(int bits, bool isSigned, bool makesHandle);

    void setNumBits(int bits) { mNumBits = bits; }
    int getNumBits() const { return mNumBits; }
    void setSignedNess(bool isSigned) { mSignedNess = isSigned; }
    bool getSignedNess() const { return mSignedNess; }

    /// Compares qualifiers, bits and sign.
    bool operator==(const Type& other) const override;
    void accept(EmbeddedTypeVisitor* visitor) override;
    /// Accepts any CharType.
    bool canBeConvertedTo(const Type* other) const override;
    OMClass* getOMClass() const override;
    void addCheckSum(MD5CheckSumModEndian& sum) const override;

 private:
    std::int32_t mNumBits;
    bool mSignedNess;
};

}  // namespace EmbeddedTypeSystem
