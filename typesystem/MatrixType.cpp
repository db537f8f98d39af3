#include "typesystem/MatrixType.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "host/ErrorIdException.h"
#include "typesystem/EmbeddedTypeVisitor.h"
#include "typesystem/base_chain.h"
#include "typesystem/class_records.h"
#include "typesystem/memory.h"
#include "typesystem/tree_comparison.h"

namespace EmbeddedTypeSystem {

namespace {

void errorIfRecursive(bool isRecursive) {
    if (isRecursive) {
        raiseError("embeddedtype:matrixbasetype:recursion", "Invalid Parameter, parameter leads to recursion");
    }
}

[[noreturn]] void raiseInvalidDims(const char* message) {
    raiseError("embeddedtype:matrix:InvalidDims", message);
}
constexpr const char* kPositive = "Dimensions should be vector of positive numbers";

template <class T>
std::optional<std::uint64_t> sizeOf(T value) {
    if (!(value > 0)) {
        return std::nullopt;
    }
    if constexpr (std::is_floating_point_v<T>) {
        constexpr T kTwoTo64 = 18446744073709551616.0;
        if (!(value < kTwoTo64) || std::trunc(value) != value) {
            return std::nullopt;
        }
    }
    return static_cast<std::uint64_t>(value);
}

std::vector<std::uint64_t> sizesOf(const hvArray* dimensions) {
    std::vector<std::uint64_t> sizes;
    bool areValid = dimensions != nullptr && hvIsRealVector(dimensions);
    areValid = areValid &&
               hvDispatchClass(hvGetClassID(dimensions),
                               [&]<class T>(std::type_identity<T>) {
                                   for (const T value : hvGetTypedData<T>(dimensions)) {
                                       const std::optional<std::uint64_t> size = sizeOf(value);
                                       areValid = areValid && size.has_value();
                                       sizes.push_back(size.value_or(0));
                                   }
                               }) &&
               areValid;
    if (!areValid) {
        raiseInvalidDims(kPositive);
    }
    if (sizes.size() > 2 && sizes.back() == 1) {
        raiseInvalidDims("The trailing dimension should be greater than 1");
    }
    return sizes;
}

bool isPrimitive(const Type* type) {
    return type != nullptr &&
           (type->isScalar() != 0 || type->isComplex() != 0 || type->isStructure() != 0 || type->isOpaque() != 0);
}

}  // namespace

MatrixType::MatrixType(bool makesHandle) : mDimensions(zeroColumn(0)) {
    if (makesHandle) {
        getOMI();
    }
}

MatrixType::MatrixType(Type* base, const hvArray* dimensions, bool makesHandle) {
    setBaseType(base);
    setDims(dimensions);
    if (makesHandle) {
        getOMI();
    }
}

MatrixType::MatrixType(const MatrixType& other)
    : Type(other),
      mBaseType(other.getBaseType()),
      mDimensions(duplicateOf(other.getDims())),
      mSizes(other.mSizes),
      mFrameData(other.mFrameData) {}

MatrixType& MatrixType::operator=(const MatrixType& other) {
    if (this != &other) {
        errorIfRecursive(leadsTo(other.getBaseType(), this));
        hvArrayOwner dimensions = duplicateOf(other.getDims());
        std::vector<std::uint64_t> sizes = other.mSizes;
        Type::operator=(other);
        mBaseType = PartReference(other.getBaseType());
        mDimensions = std::move(dimensions);
        mSizes = std::move(sizes);
        mFrameData = other.mFrameData;
    }
    return *this;
}

void MatrixType::setBaseType(Type* base) {
    if (base == nullptr) {
        raiseError("embeddedtype:matrixbasetype:nullbasetype", "Parameter is invalid.");
    }
    if (!base->isComplete()) {
        raiseError("embeddedtype:matrixbasetype:incompletebasetype", "Parameter is not a completely specified type.");
    }
    if (!isValidBaseType(base)) {
        raiseError("embeddedtype:matrixbasetype:invalidbasetype", "Parameter is not a valid type.");
    }
    if (base != getBaseType()) {
        mBaseType = PartReference(base);
    }
}

bool MatrixType::isValidPrimitiveBaseType(const Type* type) const {
    errorIfRecursive(type == this);
    return isPrimitive(type);
}

bool MatrixType::isValidBaseType(const Type* type) const {
    if (isValidPrimitiveBaseType(type)) {
        return true;
    }
    const auto* pointer = dynamic_cast<const PointerType*>(type);
    if (pointer == nullptr) {
        return false;
    }
    if (isValidPrimitiveBaseType(pointer->getBaseType())) {
        return true;
    }
    const auto* inner = dynamic_cast<const PointerType*>(pointer->getBaseType());
    return inner != nullptr && isValidPrimitiveBaseType(inner->getBaseType());
}

void MatrixType::setDims(const hvArray* dimensions) {
    std::vector<std::uint64_t> sizes = sizesOf(dimensions);
    mDimensions = duplicateOf(dimensions);
    mSizes = std::move(sizes);
}

void MatrixType::setDims(std::uint64_t count, const std::uint64_t* sizes) {
    const hvArrayOwner row = ownedArray([count] { return hvFastZeros(1, count); });
    std::copy_n(sizes, count, hvGetPr(row.get()));
    setDims(row.get());
}

bool MatrixType::compareDims(const MatrixType* other) const {
    return other != nullptr && mSizes == other->mSizes;
}

std::uint64_t MatrixType::getWidth() const {
    if (mSizes.empty()) {
        raiseInvalidDims(kPositive);
    }
    constexpr std::uint64_t kHighest = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t width = 1;
    for (const std::uint64_t size : mSizes) {
        width = width > kHighest / size ? kHighest : width * size;
    }
    return width;
}

bool MatrixType::operator==(const Type& other) const {
    return areEqualTrees(*this, other);
}

void MatrixType::accept(EmbeddedTypeVisitor* visitor) {
    visitor->visitMatrixType(this);
}

bool MatrixType::canBeConvertedTo(const Type* other) const {
    return isConvertibleTree(*this, other);
}

OMClass* MatrixType::getOMClass() const {
    return ClassRecordOf<MatrixType>::get("matrixtype");
}

}  // namespace EmbeddedTypeSystem
