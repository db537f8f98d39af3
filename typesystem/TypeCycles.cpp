#include "typesystem/TypeCycles.h"

#include <algorithm>
#include <new>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/OMInterface.h"
#include "typesystem/ComplexType.h"
#include "typesystem/MatrixType.h"
#include "typesystem/PointerType.h"
#include "typesystem/StructElement.h"
#include "typesystem/StructType.h"

namespace EmbeddedTypeSystem {

namespace {

constexpr std::size_t kFirstCollection = 64;

}  // namespace

StructType* TypeCycles::sFirst = nullptr;
std::size_t TypeCycles::sCount = 0;
std::size_t TypeCycles::sNextCollection = kFirstCollection;

/// The graph reachable from the structures that have handles: types and elements by their handles, and the references
/// that they hold on one another. A type without a handle, or whose handle was replaced, counts as outside, and so do
/// its references.
class TypeCycles::Graph {
 public:
    Graph() {
        for (StructType* structure = sFirst; structure != nullptr; structure = structure->mNext) {
            if (OMInterface* const handle = structure->getOMIWithoutCreating()) {
                find(handle, structure, nullptr);
            }
        }
        // Nodes are found while the list is walked.
        for (std::size_t i = 0; i < mNodes.size(); ++i) {
            addParts(i);
        }
    }

    /// Returns a reference on each structure that isn't kept alive from outside.
    std::vector<std::pair<StructType*, HandleReference>> findUnheld() {
        std::vector<std::size_t> held;
        for (std::size_t i = 0; i < mNodes.size(); ++i) {
            if (mNodes[i].handle->getNumberOfReferences() > mNodes[i].insideReferences) {
                hold(i, held);
            }
        }
        while (!held.empty()) {
            const std::size_t next = held.back();
            held.pop_back();
            for (const std::size_t part : mNodes[next].parts) {
                hold(part, held);
            }
        }
        std::vector<std::pair<StructType*, HandleReference>> unheld;
        for (const Node& node : mNodes) {
            auto* const structure = node.isHeld ? nullptr : dynamic_cast<StructType*>(node.type);
            if (structure != nullptr) {
                unheld.emplace_back(structure, HandleReference::to(node.handle));
            }
        }
        return unheld;
    }

 private:
    struct Node {
        OMInterface* handle;
        Type* type;
        StructElement* element;
        int insideReferences = 0;
        bool isHeld = false;
        std::vector<std::size_t> parts{};
    };

    std::size_t find(OMInterface* handle, Type* type, StructElement* element) {
        const auto [place, isNew] = mPlaces.try_emplace(handle, mNodes.size());
        if (isNew) {
            mNodes.push_back({handle, type, element});
        }
        return place->second;
    }

    void addPart(std::size_t node, OMInterface* handle, Type* type, StructElement* element) {
        if (handle != nullptr) {
            const std::size_t part = find(handle, type, element);
            ++mNodes[part].insideReferences;
            mNodes[node].parts.push_back(part);
        }
    }
    void addPart(std::size_t node, const PartReference& part) { addPart(node, part.getHandle(), part.get(), nullptr); }

    void addParts(std::size_t i) {
        if (StructElement* const element = mNodes[i].element) {
            addPart(i, element->mType);
            return;
        }
        Type* const type = mNodes[i].type;
        if (type->getOMIWithoutCreating() != mNodes[i].handle) {
            return;
        }
        if (const auto* structure = dynamic_cast<const StructType*>(type)) {
            for (std::uint64_t place = 0; place < structure->getNumElements(); ++place) {
                addPart(i, structure->getElementHandleAt(place), nullptr, structure->getElementAt(place));
            }
        } else if (const auto* pointer = dynamic_cast<const PointerType*>(type)) {
            addPart(i, pointer->mBaseType);
        } else if (const auto* matrix = dynamic_cast<const MatrixType*>(type)) {
            addPart(i, matrix->mBaseType);
        } else if (const auto* complex = dynamic_cast<const ComplexType*>(type)) {
            addPart(i, complex->mBaseType);
        }
    }

    void hold(std::size_t i, std::vector<std::size_t>& held) {
        if (!std::exchange(mNodes[i].isHeld, true)) {
            held.push_back(i);
        }
    }

    std::vector<Node> mNodes;
    std::unordered_map<OMInterface*, std::size_t> mPlaces;
};

std::size_t TypeCycles::collect() {
    const auto unheld = Graph().findUnheld();
    // Every cycle contains a structure, so without the elements of these all counts drop to the remaining references
    // here.
    for (const auto& [structure, reference] : unheld) {
        std::vector<HandleReference> elements;
        structure->mElements.swap(elements);
    }
    return unheld.size();
}

void TypeCycles::enter(StructType* structure) {
    if (sCount >= sNextCollection) {
        try {
            collect();
        } catch (const std::bad_alloc&) {
            // Without memory for the search, cycles remain until the next time.
        }
        sNextCollection = std::max(2 * sCount, kFirstCollection);
    }
    structure->mNext = sFirst;
    if (sFirst != nullptr) {
        sFirst->mPrevious = structure;
    }
    sFirst = structure;
    ++sCount;
}

void TypeCycles::leave(StructType* structure) {
    if (structure->mNext != nullptr) {
        structure->mNext->mPrevious = structure->mPrevious;
    }
    (structure->mPrevious == nullptr ? sFirst : structure->mPrevious->mNext) = structure->mNext;
    --sCount;
}

}  // namespace EmbeddedTypeSystem
