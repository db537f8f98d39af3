#include "typesystem/ComplexType.h"

#include "host/ErrorIdException.h"
#include "typesystem/EmbeddedTypeVisitor.h"
#include "typesystem/MD5CheckSumModEndian.h"
#include "typesystem/class_records.h"
#include "typesystem/tree_comparison.h"
#include "typesystem/type_class.h"

namespace EmbeddedTypeSystem {

ComplexType::ComplexType(bool makesHandle) {
    if (makesHandle) {
        getOMI();
    }
}

ComplexType::ComplexType(Type* base, bool makesHandle) {
    setBaseType(base);
    if (makesHandle) {
        getOMI();
    }
}

ComplexType::ComplexType(const ComplexType& other) : Type(other), mBaseType(other.getBaseType()) {}

ComplexType& ComplexType::operator=(const ComplexType& other) {
    if (this != &other) {
        Type::operator=(other);
        mBaseType = PartReference(other.getBaseType());
    }
    return *this;
}

void ComplexType::setBaseType(Type* base) {
    const bool isValid = base != nullptr && !base->hasQualifier() &&
                         (base->isStructure() != 0 || (base->isScalar() != 0 && isNumericType(*base)));
    if (!isValid) {
        raiseError("embeddedtype:complexbasetype:invalidbasetype", "Parameter is not a valid base type.");
    }
    if (base != getBaseType()) {
        mBaseType = PartReference(base);
    }
}

bool ComplexType::operator==(const Type& other) const {
    return areEqualTrees(*this, other);
}

void ComplexType::accept(EmbeddedTypeVisitor* visitor) {
    visitor->visitComplexType(this);
}

bool ComplexType::canBeConvertedTo(const Type* other) const {
    return isConvertibleTree(*this, other);
}

OMClass* ComplexType::getOMClass() const {
    return ClassRecordOf<ComplexType>::get("complextype");
}

void ComplexType::addCheckSum(MD5CheckSumModEndian& sum) const {
    sum.addText("Complex");
    if (getBaseType() != nullptr) {
        getBaseType()->addCheckSum(sum);
    }
    Type::addCheckSum(sum);
}

}  // namespace EmbeddedTypeSystem
