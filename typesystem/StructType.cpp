#include "typesystem/StructType.h"

#include <algorithm>
#include <memory>
#include <string_view>

#include "host/ErrorIdException.h"
#include "host/OMClass.h"
#include "host/OMInterface.h"
#include "typesystem/EmbeddedTypeVisitor.h"
#include "typesystem/StructElement.h"
#include "typesystem/TypeCycles.h"
#include "typesystem/class_records.h"
#include "typesystem/memory.h"
#include "typesystem/texts.h"
#include "typesystem/tree_comparison.h"

namespace EmbeddedTypeSystem {

namespace {

OMClass* elementClass() {
    return ClassRecordOf<StructElement>::get("structelement");
}

StructElement* elementOf(OMInterface* handle) {
    return handle == nullptr ? nullptr : static_cast<StructElement*>(handle->getObject());
}

HandleReference wrapped(std::unique_ptr<StructElement> element, OMClass* objectClass) {
    HandleReference handle = HandleReference::adopt(new OMInterface(element.get(), objectClass, nullptr));
    static_cast<void>(element.release());
    return handle;
}

HandleReference copyOf(OMInterface* handle) {
    const StructElement* const element = elementOf(handle);
    return element == nullptr ? HandleReference()
                              : wrapped(std::make_unique<StructElement>(*element), handle->getClass());
}

template <class Handles, class ToHandle>
std::vector<HandleReference> copiesOf(const Handles& handles, ToHandle toHandle) {
    return orOutOfMemory([&] {
        std::vector<HandleReference> copies;
        copies.reserve(handles.size());
        for (const auto& handle : handles) {
            copies.push_back(copyOf(toHandle(handle)));
        }
        return copies;
    });
}

void errorIfNamesClash(const Vector& elements) {
    std::vector<std::string_view> names = orOutOfMemory([&] {
        std::vector<std::string_view> identifiers;
        for (OMInterface* const handle : elements) {
            identifiers.emplace_back(elementOf(handle)->getIdentifier());
        }
        return identifiers;
    });
    std::ranges::sort(names);
    if (std::ranges::adjacent_find(names) != names.end()) {
        raiseError("embeddedtype:struct:NameClash", "Elements should have unique identifiers");
    }
}

}  // namespace

StructType::StructType(bool makesHandle) : StructType(0, makesHandle) {}

StructType::StructType(std::uint64_t count, bool makesHandle)
    : StructType(orOutOfMemory([count] { return std::vector<HandleReference>(count); })) {
    if (makesHandle) {
        getOMI();
    }
}

StructType::StructType(std::vector<HandleReference> elements) : mElements(std::move(elements)) {
    TypeCycles::enter(this);
}

StructType::StructType(const StructType& other) : Type(other), mElements(other.copyElements()) {
    TypeCycles::enter(this);
}

StructType& StructType::operator=(const StructType& other) {
    if (this != &other) {
        std::vector<HandleReference> elements = other.copyElements();
        Type::operator=(other);
        mElements.swap(elements);
    }
    return *this;
}

StructType::~StructType() {
    TypeCycles::leave(this);
}

std::vector<HandleReference> StructType::copyElements() const {
    return copiesOf(mElements, [](const HandleReference& element) { return element.get(); });
}

void StructType::setElements(const Vector* elements) {
    const Vector none;
    const Vector& handles = elements == nullptr ? none : *elements;
    for (OMInterface* const handle : handles) {
        if (handle == nullptr || !handle->getClass()->isDescendantOf(elementClass())) {
            raiseError("embeddedtype:struct:InvalidElement",
                       "Elements should be vector of embedded.structelement objects");
        }
        const StructElement* const element = elementOf(handle);
        if (element == nullptr || !element->isComplete()) {
            raiseError("embeddedtype:struct:IncompleteElement", "All elements should have a valid Type and Identifier");
        }
        if (element->getType() == this) {
            raiseError("embeddedtype:struct:RecursiveElement", "Parameter contains invalid Structure Element");
        }
    }
    errorIfNamesClash(handles);
    std::vector<HandleReference> copies = copiesOf(handles, [](OMInterface* handle) { return handle; });
    // The old elements are destroyed last, when the structure is complete.
    mElements.swap(copies);
}

void StructType::setMemberAt(Type* type, const char* identifier, std::uint64_t index) {
    HandleReference element = wrapped(std::make_unique<StructElement>(type, identifier), elementClass());
    if (index < mElements.size()) {
        mElements[index] = std::move(element);
    }
}

Vector StructType::getElements() const {
    Vector handles;
    for (const HandleReference& element : mElements) {
        handles.push_back(element.get());
    }
    return handles;
}

OMInterface* StructType::getElementHandleAt(std::uint64_t index) const {
    return index < mElements.size() ? mElements[index].get() : nullptr;
}

StructElement* StructType::getElementAt(std::uint64_t index) const {
    return elementOf(getElementHandleAt(index));
}

StructElement* StructType::getElementByName(const char* identifier) const {
    for (const HandleReference& handle : mElements) {
        StructElement* const element = elementOf(handle.get());
        if (identifier != nullptr && element != nullptr && element->getIdentifier() != nullptr &&
            std::string_view(element->getIdentifier()) == identifier) {
            return element;
        }
    }
    return nullptr;
}

bool StructType::isElement(const StructElement* element) const {
    return element != nullptr && std::ranges::any_of(mElements, [element](const HandleReference& handle) {
               const StructElement* const own = elementOf(handle.get());
               return own != nullptr && *own == *element;
           });
}

bool StructType::operator==(const Type& other) const {
    return areEqualTrees(*this, other);
}

void StructType::accept(EmbeddedTypeVisitor* visitor) {
    visitor->visitStructType(this);
}

bool StructType::canBeConvertedTo(const Type* other) const {
    return isConvertibleTree(*this, other);
}

OMClass* StructType::getOMClass() const {
    return ClassRecordOf<StructType>::get("structtype");
}

}  // namespace EmbeddedTypeSystem
