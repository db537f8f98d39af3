#include "typesystem/tree_comparison.h"

#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "typesystem/ComplexType.h"
#include "typesystem/MatrixType.h"
#include "typesystem/PointerType.h"
#include "typesystem/StructElement.h"
#include "typesystem/StructType.h"
#include "typesystem/texts.h"

namespace EmbeddedTypeSystem {

namespace {

using Pair = std::pair<const Type*, const Type*>;

/// The pairs still to be looked at. Each is offered at most once.
class Pairs {
 public:
    Pairs(const Type& a, const Type* b) { add(&a, b); }

    void add(const Type* a, const Type* b) {
        if (mSeen.emplace(a, b).second) {
            mWaiting.emplace_back(a, b);
        }
    }
    bool isEmpty() const { return mWaiting.empty(); }
    Pair take() {
        const Pair pair = mWaiting.back();
        mWaiting.pop_back();
        return pair;
    }

 private:
    std::vector<Pair> mWaiting;
    std::set<Pair> mSeen;
};

/// Leaves the base types of two types of one class to be compared; two types without a base type differ.
template <class Composite>
bool addBases(const Composite& a, const Composite& b, Pairs& pairs) {
    if (a.getBaseType() == nullptr || b.getBaseType() == nullptr || !a.Type::operator==(b)) {
        return false;
    }
    pairs.add(a.getBaseType(), b.getBaseType());
    return true;
}

bool addElements(const StructType& a, const StructType& b, Pairs& pairs) {
    if (a.getNumElements() == 0 || a.getNumElements() != b.getNumElements() || !a.Type::operator==(b)) {
        return false;
    }
    for (std::uint64_t i = 0; i < a.getNumElements(); ++i) {
        const StructElement* const ofA = a.getElementAt(i);
        const StructElement* const ofB = b.getElementAt(i);
        if (ofA == ofB) {
            continue;
        }
        if (ofA == nullptr || ofB == nullptr ||
            std::string_view(textOrEmpty(ofA->getIdentifier())) != textOrEmpty(ofB->getIdentifier())) {
            return false;
        }
        if (ofA->getType() == nullptr || ofB->getType() == nullptr) {
            if (ofA->getType() != ofB->getType()) {
                return false;
            }
            continue;
        }
        pairs.add(ofA->getType(), ofB->getType());
    }
    return true;
}

bool areAlike(const Type& a, const Type* b, Pairs& pairs) {
    if (&a == b) {
        return true;
    }
    if (const auto* complex = dynamic_cast<const ComplexType*>(&a)) {
        const auto* other = dynamic_cast<const ComplexType*>(b);
        return other != nullptr && addBases(*complex, *other, pairs);
    }
    if (const auto* pointer = dynamic_cast<const PointerType*>(&a)) {
        const auto* other = dynamic_cast<const PointerType*>(b);
        return other != nullptr && addBases(*pointer, *other, pairs);
    }
    if (const auto* matrix = dynamic_cast<const MatrixType*>(&a)) {
        const auto* other = dynamic_cast<const MatrixType*>(b);
        return other != nullptr && matrix->compareDims(other) && matrix->getFrameData() == other->getFrameData() &&
               addBases(*matrix, *other, pairs);
    }
    if (const auto* structure = dynamic_cast<const StructType*>(&a)) {
        const auto* other = dynamic_cast<const StructType*>(b);
        return other != nullptr && addElements(*structure, *other, pairs);
    }
    return a == *b;
}

bool addConversion(const Type* from, const Type* to, Pairs& pairs) {
    if (from == nullptr || to == nullptr) {
        return false;
    }
    pairs.add(from, to);
    return true;
}

bool addSameOrConversion(const Type* from, const Type* to, Pairs& pairs) {
    return from == to || addConversion(from, to, pairs);
}

bool convertsPointer(const PointerType& from, const Type* to, Pairs& pairs) {
    if (const auto* pointer = dynamic_cast<const PointerType*>(to)) {
        return addSameOrConversion(from.getBaseType(), pointer->getBaseType(), pairs);
    }
    const auto* matrix = dynamic_cast<const MatrixType*>(to);
    return matrix != nullptr && addSameOrConversion(from.getBaseType(), matrix->getBaseType(), pairs);
}

bool convertsMatrix(const MatrixType& from, const Type* to, Pairs& pairs) {
    if (const auto* pointer = dynamic_cast<const PointerType*>(to)) {
        return addSameOrConversion(from.getBaseType(), pointer->getBaseType(), pairs);
    }
    if (to == nullptr || from.getNumDimensions() == 0) {
        return false;
    }
    if (const auto* matrix = dynamic_cast<const MatrixType*>(to)) {
        return matrix->getNumDimensions() != 0 && from.getWidth() == matrix->getWidth() &&
               addConversion(from.getBaseType(), matrix->getBaseType(), pairs);
    }
    return (to->isScalar() != 0 || to->isComplex() != 0) && from.getWidth() == 1 &&
           addConversion(from.getBaseType(), to, pairs);
}

bool convertsElement(const StructElement* from, const StructElement* to, Pairs& pairs) {
    if (from == to) {
        return true;
    }
    if (from == nullptr || to == nullptr) {
        return false;
    }
    return *from == *to || (from->getType() != nullptr && from->getType()->isMatrix() != 0 &&
                            addConversion(from->getType(), to->getType(), pairs));
}

bool convertsStructure(const StructType& from, const Type* to, Pairs& pairs) {
    if (&from == to) {
        return true;
    }
    const auto* other = dynamic_cast<const StructType*>(to);
    if (other == nullptr || from.getNumElements() == 0 || from.getNumElements() != other->getNumElements()) {
        return false;
    }
    for (std::uint64_t i = 0; i < from.getNumElements(); ++i) {
        if (!convertsElement(from.getElementAt(i), other->getElementAt(i), pairs)) {
            return false;
        }
    }
    return true;
}

bool converts(const Type& from, const Type* to, Pairs& pairs) {
    if (const auto* complex = dynamic_cast<const ComplexType*>(&from)) {
        const auto* other = dynamic_cast<const ComplexType*>(to);
        return other != nullptr && addConversion(complex->getBaseType(), other->getBaseType(), pairs);
    }
    if (const auto* pointer = dynamic_cast<const PointerType*>(&from)) {
        return convertsPointer(*pointer, to, pairs);
    }
    if (const auto* matrix = dynamic_cast<const MatrixType*>(&from)) {
        return convertsMatrix(*matrix, to, pairs);
    }
    if (const auto* structure = dynamic_cast<const StructType*>(&from)) {
        return convertsStructure(*structure, to, pairs);
    }
    return from.canBeConvertedTo(to);
}

template <class Rule>
bool holdsForAll(Pairs pairs, Rule rule) {
    while (!pairs.isEmpty()) {
        const auto [a, b] = pairs.take();
        if (!rule(*a, b, pairs)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool areEqualTrees(const Type& a, const Type& b) {
    return holdsForAll(Pairs(a, &b), areAlike);
}

bool isConvertibleTree(const Type& from, const Type* to) {
    return holdsForAll(Pairs(from, to), converts);
}

}  // namespace EmbeddedTypeSystem
