#include "typesystem/PointerType.h"

#include <vector>

#include "host/ErrorIdException.h"
#include "typesystem/EmbeddedTypeVisitor.h"
#include "typesystem/MD5CheckSumModEndian.h"
#include "typesystem/base_chain.h"
#include "typesystem/class_records.h"
#include "typesystem/tree_comparison.h"

namespace EmbeddedTypeSystem {

namespace {

void errorIfRecursive(bool isRecursive) {
    if (isRecursive) {
        raiseError("embeddedtype:pointerbasetype:recursion", "Invalid Parameter, parameter leads to recursion");
    }
}

constexpr const char* kInvalid = "Parameter is not a valid type.";

}  // namespace

PointerType::PointerType(bool makesHandle) {
    if (makesHandle) {
        getOMI();
    }
}

PointerType::PointerType(Type* base, bool makesHandle) {
    setBaseType(base);
    if (makesHandle) {
        getOMI();
    }
}

PointerType::PointerType(const PointerType& other) : Type(other), mBaseType(other.getBaseType()) {}

PointerType& PointerType::operator=(const PointerType& other) {
    if (this != &other) {
        errorIfRecursive(leadsTo(other.getBaseType(), this));
        Type::operator=(other);
        mBaseType = PartReference(other.getBaseType());
    }
    return *this;
}

void PointerType::setBaseType(Type* base) {
    if (base == nullptr) {
        raiseError("embeddedtype:pointerbasetype:nullbasetype", kInvalid);
    }
    if (!isValidBaseType(base)) {
        raiseError("embeddedtype:pointerbasetype:invalidbasetype", kInvalid);
    }
    if (base != getBaseType()) {
        mBaseType = PartReference(base);
    }
}

bool PointerType::isValidPrimitiveBaseType(const Type* type) const {
    errorIfRecursive(type == this);
    return type != nullptr && (type->isScalar() != 0 || type->isComplex() != 0 || type->isVoid() != 0 ||
                               type->isStructure() != 0 || type->isOpaque() != 0);
}

bool PointerType::isValidBaseType(const Type* type) const {
    if (isValidPrimitiveBaseType(type)) {
        return true;
    }
    if (const auto* pointer = dynamic_cast<const PointerType*>(type)) {
        return isValidPrimitiveBaseType(pointer->getBaseType());
    }
    const auto* matrix = dynamic_cast<const MatrixType*>(type);
    return matrix != nullptr && matrix->isValidPrimitiveBaseType(matrix->getBaseType());
}

bool PointerType::operator==(const Type& other) const {
    return areEqualTrees(*this, other);
}

void PointerType::accept(EmbeddedTypeVisitor* visitor) {
    visitor->visitPointerType(this);
}

bool PointerType::canBeConvertedTo(const Type* other) const {
    return isConvertibleTree(*this, other);
}

OMClass* PointerType::getOMClass() const {
    return ClassRecordOf<PointerType>::get("pointertype");
}

// A chain of pointers may be as long as memory allows, so this walks it down and up again in loops.
void PointerType::addCheckSum(MD5CheckSumModEndian& sum) const {
    std::vector<const PointerType*> chain;
    const Type* type = this;
    while (const auto* pointer = dynamic_cast<const PointerType*>(type)) {
        sum.addText("pointer");
        chain.push_back(pointer);
        type = pointer->getBaseType();
    }
    if (type != nullptr) {
        type->addCheckSum(sum);
    }
    for (auto pointer = chain.rbegin(); pointer != chain.rend(); ++pointer) {
        (*pointer)->Type::addCheckSum(sum);
    }
}

}  // namespace EmbeddedTypeSystem
