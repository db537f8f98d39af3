#include "typesystem/tree_comparison.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
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

/// Adds the base types of two types of one class to the comparison; two types without a base type differ.
template <class Composite>
bool addBases(const Composite& a, const Composite& b, std::vector<Pair>& parts) {
    if (a.getBaseType() == nullptr || b.getBaseType() == nullptr || !a.Type::operator==(b)) {
        return false;
    }
    parts.emplace_back(a.getBaseType(), b.getBaseType());
    return true;
}

/// Adds the types of two elements to the comparison, unless both have none.
bool addElement(const StructElement* a, const StructElement* b, std::vector<Pair>& parts) {
    if (a == b) {
        return true;
    }
    if (a == nullptr || b == nullptr ||
        std::string_view(textOrEmpty(a->getIdentifier())) != textOrEmpty(b->getIdentifier())) {
        return false;
    }
    if (a->getType() == nullptr || b->getType() == nullptr) {
        return a->getType() == b->getType();
    }
    parts.emplace_back(a->getType(), b->getType());
    return true;
}

bool addElements(const StructType& a, const StructType& b, std::vector<Pair>& parts) {
    if (a.getNumElements() == 0 || a.getNumElements() != b.getNumElements() || !a.Type::operator==(b)) {
        return false;
    }
    for (std::uint64_t i = 0; i < a.getNumElements(); ++i) {
        if (!addElement(a.getElementAt(i), b.getElementAt(i), parts)) {
            return false;
        }
    }
    return true;
}

/// Returns whether two types are equal apart from their parts, and which parts then have to be equal.
bool areAlike(const Type& a, const Type* b, std::vector<Pair>& parts) {
    if (&a == b) {
        return true;
    }
    if (const auto* complex = dynamic_cast<const ComplexType*>(&a)) {
        const auto* other = dynamic_cast<const ComplexType*>(b);
        return other != nullptr && addBases(*complex, *other, parts);
    }
    if (const auto* pointer = dynamic_cast<const PointerType*>(&a)) {
        const auto* other = dynamic_cast<const PointerType*>(b);
        return other != nullptr && addBases(*pointer, *other, parts);
    }
    if (const auto* matrix = dynamic_cast<const MatrixType*>(&a)) {
        const auto* other = dynamic_cast<const MatrixType*>(b);
        return other != nullptr && matrix->compareDims(other) && matrix->getFrameData() == other->getFrameData() &&
               addBases(*matrix, *other, parts);
    }
    if (const auto* structure = dynamic_cast<const StructType*>(&a)) {
        const auto* other = dynamic_cast<const StructType*>(b);
        return other != nullptr && addElements(*structure, *other, parts);
    }
    return a == *b;
}

/// Which pairs of types are equal. Results of one query are reused by the next: no pair is examined twice, whether
/// equal or different.
///
/// A walk over the pairs that add one another to the comparison ends at the first difference. Each pair that it entered
/// is then known: the walk settles pairs that depend on one another together, as soon as all of them are finished, and
/// each pair that isn't settled yet leads to the current one.
class Equality {
 public:
    bool holds(Pair pair) {
        const auto [known, isNew] = mPlaces.try_emplace(pair, 0);
        if (!isNew) {
            return known->second == kEqual;
        }
        const bool isEqual = enter(pair) && walk();
        if (!isEqual) {
            settle(0, kDifferent);
            mPath.clear();
        }
        return isEqual;
    }

 private:
    static constexpr std::size_t kEqual = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t kDifferent = kEqual - 1;

    struct Step {
        std::size_t place;
        std::size_t firstReached;
        std::vector<Pair> parts{};
        std::size_t nextPart = 0;
    };

    bool enter(Pair pair) {
        Step step{mUnsettled.size(), mUnsettled.size()};
        mUnsettled.push_back(pair);
        if (!areAlike(*pair.first, pair.second, step.parts)) {
            return false;
        }
        mPath.push_back(std::move(step));
        return true;
    }

    bool walk() {
        while (!mPath.empty()) {
            Step& step = mPath.back();
            if (step.nextPart == step.parts.size()) {
                leave();
                continue;
            }
            const Pair part = step.parts[step.nextPart++];
            const auto [known, isNew] = mPlaces.try_emplace(part, mUnsettled.size());
            if (isNew ? !enter(part) : known->second == kDifferent) {
                return false;
            }
            if (!isNew) {
                step.firstReached = std::min(step.firstReached, known->second);
            }
        }
        return true;
    }

    void leave() {
        const std::size_t place = mPath.back().place;
        const std::size_t firstReached = mPath.back().firstReached;
        mPath.pop_back();
        if (firstReached == place) {
            settle(place, kEqual);
        } else {
            mPath.back().firstReached = std::min(mPath.back().firstReached, firstReached);
        }
    }

    void settle(std::size_t first, std::size_t outcome) {
        for (std::size_t i = first; i < mUnsettled.size(); ++i) {
            mPlaces[mUnsettled[i]] = outcome;
        }
        mUnsettled.resize(first);
    }

    // A position among the unsettled pairs, or the outcome.
    std::map<Pair, std::size_t> mPlaces;
    std::vector<Pair> mUnsettled;
    std::vector<Step> mPath;
};

/// The pairs that have to convert for one pair to do so, each offered at most once, and known results of equality.
class Conversions {
 public:
    Conversions(const Type& from, const Type* to) { add(&from, to); }

    void add(const Type* from, const Type* to) {
        if (mSeen.emplace(from, to).second) {
            mWaiting.emplace_back(from, to);
        }
    }
    bool isEmpty() const { return mWaiting.empty(); }
    Pair take() {
        const Pair pair = mWaiting.back();
        mWaiting.pop_back();
        return pair;
    }
    bool areEqual(Pair pair) { return mEquality.holds(pair); }

 private:
    std::vector<Pair> mWaiting;
    std::set<Pair> mSeen;
    Equality mEquality;
};

bool addConversion(const Type* from, const Type* to, Conversions& conversions) {
    if (from == nullptr || to == nullptr) {
        return false;
    }
    conversions.add(from, to);
    return true;
}

bool addSameOrConversion(const Type* from, const Type* to, Conversions& conversions) {
    return from == to || addConversion(from, to, conversions);
}

bool convertsPointer(const PointerType& from, const Type* to, Conversions& conversions) {
    if (const auto* pointer = dynamic_cast<const PointerType*>(to)) {
        return addSameOrConversion(from.getBaseType(), pointer->getBaseType(), conversions);
    }
    const auto* matrix = dynamic_cast<const MatrixType*>(to);
    return matrix != nullptr && addSameOrConversion(from.getBaseType(), matrix->getBaseType(), conversions);
}

bool convertsMatrix(const MatrixType& from, const Type* to, Conversions& conversions) {
    if (const auto* pointer = dynamic_cast<const PointerType*>(to)) {
        return addSameOrConversion(from.getBaseType(), pointer->getBaseType(), conversions);
    }
    if (to == nullptr || from.getNumDimensions() == 0) {
        return false;
    }
    if (const auto* matrix = dynamic_cast<const MatrixType*>(to)) {
        return matrix->getNumDimensions() != 0 && from.getWidth() == matrix->getWidth() &&
               addConversion(from.getBaseType(), matrix->getBaseType(), conversions);
    }
    return (to->isScalar() != 0 || to->isComplex() != 0) && from.getWidth() == 1 &&
           addConversion(from.getBaseType(), to, conversions);
}

bool convertsElement(const StructElement* from, const StructElement* to, Conversions& conversions) {
    std::vector<Pair> types;
    if (addElement(from, to, types) && (types.empty() || conversions.areEqual(types.front()))) {
        return true;
    }
    return from != nullptr && to != nullptr && from->getType() != nullptr && from->getType()->isMatrix() != 0 &&
           addConversion(from->getType(), to->getType(), conversions);
}

bool convertsStructure(const StructType& from, const Type* to, Conversions& conversions) {
    if (&from == to) {
        return true;
    }
    const auto* other = dynamic_cast<const StructType*>(to);
    if (other == nullptr || from.getNumElements() == 0 || from.getNumElements() != other->getNumElements()) {
        return false;
    }
    for (std::uint64_t i = 0; i < from.getNumElements(); ++i) {
        if (!convertsElement(from.getElementAt(i), other->getElementAt(i), conversions)) {
            return false;
        }
    }
    return true;
}

bool converts(const Type& from, const Type* to, Conversions& conversions) {
    if (const auto* complex = dynamic_cast<const ComplexType*>(&from)) {
        const auto* other = dynamic_cast<const ComplexType*>(to);
        return other != nullptr && addConversion(complex->getBaseType(), other->getBaseType(), conversions);
    }
    if (const auto* pointer = dynamic_cast<const PointerType*>(&from)) {
        return convertsPointer(*pointer, to, conversions);
    }
    if (const auto* matrix = dynamic_cast<const MatrixType*>(&from)) {
        return convertsMatrix(*matrix, to, conversions);
    }
    if (const auto* structure = dynamic_cast<const StructType*>(&from)) {
        return convertsStructure(*structure, to, conversions);
    }
    return from.canBeConvertedTo(to);
}

}  // namespace

bool areEqualTrees(const Type& a, const Type& b) {
    return Equality().holds({&a, &b});
}

bool isConvertibleTree(const Type& from, const Type* to) {
    Conversions conversions(from, to);
    while (!conversions.isEmpty()) {
        const auto [a, b] = conversions.take();
        if (!converts(*a, b, conversions)) {
            return false;
        }
    }
    return true;
}

}  // namespace EmbeddedTypeSystem
