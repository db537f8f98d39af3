#include "typesystem/FIEnumType.h"

#include <algorithm>
#include <cstring>

#include "host/ErrorIdException.h"
#include "typesystem/EmbeddedTypeVisitor.h"
#include "typesystem/MD5CheckSumModEndian.h"
#include "typesystem/class_records.h"
#include "typesystem/memory.h"
#include "typesystem/texts.h"

namespace EmbeddedTypeSystem {

namespace {

hvArrayOwner asDoubles(const hvArray* values) {
    hvArrayOwner doubles = ownedArray([values] { return hvFastZeros(hvGetM(values), hvGetN(values)); });
    hvDispatchClass(hvGetClassID(values), [&]<class T>(std::type_identity<T>) {
        std::ranges::copy(hvGetTypedData<T>(values), hvGetPr(doubles.get()));
    });
    return doubles;
}

}  // namespace

FIEnumType::FIEnumType(bool makesHandle) : FIEnumType(0, makesHandle) {}

FIEnumType::FIEnumType(std::uint64_t count, bool makesHandle)
    : mStrings(orOutOfMemory([count] { return StringVector(count); })), mValues(zeroColumn(count)) {
    if (makesHandle) {
        getOMI();
    }
}

FIEnumType::FIEnumType(const FIEnumType& other)
    : ScalarType(other),
      mStrings(other.mStrings),
      mValues(duplicateOf(other.mValues.get())),
      mNumBits(other.mNumBits),
      mSignedNess(other.mSignedNess),
      mDefaultMember(other.mDefaultMember) {}

FIEnumType& FIEnumType::operator=(const FIEnumType& other) {
    if (this != &other) {
        StringVector strings = other.mStrings;
        hvArrayOwner values = duplicateOf(other.mValues.get());
        ScalarType::operator=(other);
        mStrings = std::move(strings);
        mValues = std::move(values);
        mNumBits = other.mNumBits;
        mSignedNess = other.mSignedNess;
        mDefaultMember = other.mDefaultMember;
    }
    return *this;
}

void FIEnumType::setStrings(const StringVector* strings) {
    StringVector copies = orOutOfMemory([strings] { return strings == nullptr ? StringVector() : *strings; });
    mValues = zeroColumn(0);
    mStrings = std::move(copies);
}

void FIEnumType::setHvValues(const hvArray* values) {
    if (values == nullptr || !hvIsIntVector(values)) {
        raiseError("embeddedtype:enum:InvalidValues", "Values should be vector of +ve or -ve integers");
    }
    if (hvGetNumberOfElements(values) != mStrings.size()) {
        raiseError("embeddedtype:enum:ValuesandStringsMismatch",
                   "Number of values should be equal to number of strings");
    }
    mValues = duplicateOf(values);
}

void FIEnumType::setMemberAt(const char* name, int value, std::uint64_t index) {
    std::string text = textOrEmpty(name);
    if (index < hvGetNumberOfElements(mValues.get())) {
        if (hvGetClassID(mValues.get()) != hvDOUBLE_CLASS) {
            mValues = asDoubles(mValues.get());
        }
        hvGetPr(mValues.get())[index] = value;
    }
    if (index < mStrings.size()) {
        mStrings[index] = std::move(text);
    }
}

bool FIEnumType::operator==(const Type& other) const {
    if (this == &other) {
        return true;
    }
    const auto* enumeration = dynamic_cast<const FIEnumType*>(&other);
    return enumeration != nullptr && Type::operator==(other) && mNumBits == enumeration->mNumBits &&
           mSignedNess == enumeration->mSignedNess;
}

void FIEnumType::accept(EmbeddedTypeVisitor* visitor) {
    visitor->visitFIEnumType(this);
}

bool FIEnumType::canBeConvertedTo(const Type* other) const {
    return dynamic_cast<const FIEnumType*>(other) != nullptr;
}

OMClass* FIEnumType::getOMClass() const {
    return ClassRecordOf<FIEnumType>::get("enumtype");
}

void FIEnumType::addCheckSum(MD5CheckSumModEndian& sum) const {
    // The sum uses four bytes for each letter of the word: the word and then zeros.
    constexpr unsigned char kWord[24] = {'f', 'i', 'e', 'n', 'u', 'm'};
    sum.addn(kWord, sizeof(kWord));
    sum.addInt32(mNumBits);
    sum.addUInt32(mSignedNess ? 1 : 0);
    ScalarType::addCheckSum(sum);
}

}  // namespace EmbeddedTypeSystem
