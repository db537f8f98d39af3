#include "typesystem/CharType.h"

#include "typesystem/EmbeddedTypeVisitor.h"
#include "typesystem/MD5CheckSumModEndian.h"
#include "typesystem/class_records.h"

namespace EmbeddedTypeSystem {

CharType::CharType(bool makesHandle) : CharType(8, true, makesHandle) {}

CharType::CharType(int bits, bool isSigned, bool makesHandle) : mNumBits(bits), mSignedNess(isSigned) {
    if (makesHandle) {
        getOMI();
    }
}

bool CharType::operator==(const Type& other) const {
    if (this == &other) {
        return true;
    }
    const auto* character = dynamic_cast<const CharType*>(&other);
    return character != nullptr && Type::operator==(other) && mNumBits == character->mNumBits &&
           mSignedNess == character->mSignedNess;
}

void CharType::accept(EmbeddedTypeVisitor* visitor) {
    visitor->visitCharType(this);
}

bool CharType::canBeConvertedTo(const Type* other) const {
    return dynamic_cast<const CharType*>(other) != nullptr;
}

OMClass* CharType::getOMClass() const {
    return ClassRecordOf<CharType>::get("chartype");
}

void CharType::addCheckSum(MD5CheckSumModEndian& sum) const {
    sum.addText("char");
    sum.addInt32(mNumBits);
    sum.addUInt32(mSignedNess ? 1 : 0);
    ScalarType::addCheckSum(sum);
}

}  // namespace EmbeddedTypeSystem
