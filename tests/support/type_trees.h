// Types for tests: class records for their handles, and an owner that keeps each type by the first reference on its
// handle, so that types may be destroyed in any order.
#pragma once

#include <concepts>
#include <utility>
#include <vector>

#include "descriptors/NumericType.h"
#include "host/OMClass.h"
#include "host/OMInterface.h"
#include "host/hv.h"
#include "typesystem/CharType.h"
#include "typesystem/ComplexType.h"
#include "typesystem/FIEnumType.h"
#include "typesystem/MatrixType.h"
#include "typesystem/OpaqueType.h"
#include "typesystem/PointerType.h"
#include "typesystem/StructElement.h"
#include "typesystem/StructType.h"
#include "typesystem/TypeCycles.h"
#include "typesystem/VoidType.h"
#include "typesystem/class_records.h"

namespace typetrees {

using namespace EmbeddedTypeSystem;

template <class Described>
class Record : public OMClass {
 public:
    void destroyObject(OMInterface* interface) override {
        if constexpr (std::derived_from<Described, Type>) {
            Type::endWithHandle(interface);
        } else {
            Described::endWithHandle(interface);
        }
    }
};

template <class... Described>
void describe() {
    (ClassRecordOf<Described>::set([]() -> OMClass* {
         static Record<Described> record;
         return &record;
     }),
     ...);
}

class Owner {
 public:
    Owner() {
        describe<CharType, ComplexType, FIEnumType, MatrixType, NumericType, OpaqueType, PointerType, StructElement,
                 StructType, VoidType>();
    }
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
    /// Class records must outlive the cycles that a test leaves.
    ~Owner() {
        mReferences.clear();
        EmbeddedTypeSystem::TypeCycles::collect();
    }

    template <class Made, class... Arguments>
    Made* make(Arguments&&... arguments) {
        auto* const type = new Made(std::forward<Arguments>(arguments)...);
        mReferences.push_back(HandleReference::adopt(type->getOMI()));
        return type;
    }
    PointerType* pointer(Type* base) { return make<PointerType>(base, false); }
    MatrixType* matrix(Type* base, std::vector<std::uint64_t> sizes) {
        auto* const matrix = make<MatrixType>(false);
        matrix->setBaseType(base);
        matrix->setDims(sizes.size(), sizes.data());
        return matrix;
    }
    StructType* structure(const std::vector<std::pair<const char*, Type*>>& elements) {
        auto* const structure = make<StructType>(elements.size(), false);
        for (std::size_t i = 0; i < elements.size(); ++i) {
            structure->setMemberAt(elements[i].second, elements[i].first, i);
        }
        return structure;
    }
    OpaqueType* opaque(const char* identifier) {
        auto* const opaque = make<OpaqueType>(false);
        opaque->setIdentifier(identifier);
        return opaque;
    }

    std::vector<HandleReference>& references() { return mReferences; }

 private:
    std::vector<HandleReference> mReferences;
};

}  // namespace typetrees
