// Creation, copying and destruction of value arrays.
#include "host/hv.h"

#include <algorithm>
#include <initializer_list>
#include <limits>

#include "host/bs.h"
#include "host/hv_optional.h"
#include "host/reference/values/array.h"

namespace hostref {

namespace {

// No process has this many bytes; sizes below it can't overflow when headers are added.
constexpr std::size_t kMaxArrayBytes = std::size_t{1} << 47;

hvArrayOwner makeStruct(std::span<const std::size_t> dimensions, int fieldCount, const char* const* fieldNames) {
    std::vector<std::string> names(fieldNames, fieldNames + std::max(fieldCount, 0));
    for (auto name = names.begin(); name != names.end(); ++name) {
        if (std::find(names.begin(), name, *name) != name) {
            raiseError("VELMAR:array:duplicateField", "The field name '" + *name + "' is given twice.");
        }
    }
    hvArrayOwner array = makeArray(dimensions, hvSTRUCT_CLASS);
    std::size_t valueCount = 0;
    if (__builtin_mul_overflow(array->elementCount, names.size(), &valueCount) ||
        valueCount > kMaxArrayBytes / sizeof(hvArrayOwner)) {
        raiseNoMemory();
    }
    array->children->values.resize(valueCount);
    array->children->fieldNames = std::move(names);
    return array;
}

/// Copies element (row, column) to (column, row), in square tiles so that neither side strides through the cache.
template <class T>
void transposeData(const void* sourceData, void* targetData, std::size_t rows, std::size_t columns) {
    constexpr std::size_t kTile = 32;
    const T* source = static_cast<const T*>(sourceData);
    T* target = static_cast<T*>(targetData);
    for (std::size_t tileColumn = 0; tileColumn < columns; tileColumn += kTile) {
        const std::size_t columnEnd = std::min(columns, tileColumn + kTile);
        for (std::size_t tileRow = 0; tileRow < rows; tileRow += kTile) {
            const std::size_t rowEnd = std::min(rows, tileRow + kTile);
            for (std::size_t column = tileColumn; column < columnEnd; ++column) {
                for (std::size_t row = tileRow; row < rowEnd; ++row) {
                    target[column + row * columns] = source[row + column * rows];
                }
            }
        }
    }
}

void transposeBytes(const Buffer& source, const Buffer& target, std::size_t elementBytes, std::size_t rows,
                    std::size_t columns) {
    switch (elementBytes) {
        case 1:
            return transposeData<std::uint8_t>(source.data(), target.data(), rows, columns);
        case 2:
            return transposeData<std::uint16_t>(source.data(), target.data(), rows, columns);
        case 4:
            return transposeData<std::uint32_t>(source.data(), target.data(), rows, columns);
        default:
            return transposeData<std::uint64_t>(source.data(), target.data(), rows, columns);
    }
}

hvArrayOwner sharedCopy(const hvArray* array) {
    hvArrayOwner copy(new hvArray(*array));
    copy->nextToDestroy = nullptr;
    return copy;
}

std::vector<hvArrayOwner> sharedCopies(const std::vector<hvArrayOwner>& values) {
    std::vector<hvArrayOwner> copies(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (values[i] != nullptr) {
            copies[i] = sharedCopy(values[i].get());
        }
    }
    return copies;
}

}  // namespace

std::vector<std::size_t> normalizedDimensions(std::span<const std::size_t> given) {
    std::vector<std::size_t> dimensions(given.begin(), given.end());
    if (dimensions.size() < 2) {
        dimensions.resize(2, 1);
    }
    while (dimensions.size() > 2 && dimensions.back() == 1) {
        dimensions.pop_back();
    }
    return dimensions;
}

std::size_t checkedCount(const std::vector<std::size_t>& dimensions) {
    std::size_t product = 1;
    bool isEmpty = false;
    for (const std::size_t dimension : dimensions) {
        isEmpty = isEmpty || dimension == 0;
        if (dimension != 0 && __builtin_mul_overflow(product, dimension, &product)) {
            raiseNoMemory();
        }
    }
    return isEmpty ? 0 : product;
}

void raiseNoMemory() {
    raiseError("VELMAR:nomem", "Out of memory: an array of this size can't be made.");
}

hvArrayOwner makeArray(std::span<const std::size_t> dimensions, hvClassID classId, hvComplexity complexity,
                       Contents contents) {
    hvArrayOwner array(new hvArray);
    array->classId = classId;
    array->isComplex = complexity == hvCOMPLEX;
    array->dimensions = normalizedDimensions(dimensions);
    array->elementCount = checkedCount(array->dimensions);
    if (array->elementCount > kMaxArrayBytes / sizeof(std::uint64_t)) {
        raiseNoMemory();
    }
    const auto part = contents == Contents::unset ? Buffer::unset : Buffer::zeros;
    array->real = part(array->partBytes());
    if (array->isComplex) {
        array->imaginary = part(array->partBytes());
    }
    if (classId == hvCELL_CLASS || classId == hvSTRUCT_CLASS) {
        array->children = std::make_shared<Children>();
        if (classId == hvCELL_CLASS) {
            array->children->values.resize(array->elementCount);
        }
    }
    return array;
}

}  // namespace hostref

using hostref::makeArray;
using hostref::withMemory;

void hvArray::ownChildren() {
    if (children != nullptr && children.use_count() > 1) {
        auto own = std::make_shared<hostref::Children>();
        own->fieldNames = children->fieldNames;
        own->values = hostref::sharedCopies(children->values);
        children = std::move(own);
    }
}

namespace {

hvArray* create(std::initializer_list<std::size_t> dimensions, hvClassID classId, hvComplexity complexity = hvREAL) {
    return withMemory([&] {
        return makeArray({dimensions.begin(), dimensions.size()}, classId, complexity).release();
    });
}

hvArray* create(std::size_t dimensionCount, const std::size_t* dimensions, hvClassID classId,
                hvComplexity complexity = hvREAL, hostref::Contents contents = hostref::Contents::zeros) {
    return withMemory([&] { return makeArray({dimensions, dimensionCount}, classId, complexity, contents).release(); });
}

void requireNumericClass(hvClassID classId) {
    if (!hostref::classTraits(classId).isNumeric) {
        raiseError("VELMAR:array:notNumericClass",
                   std::string("Class '") + hostref::classTraits(classId).name + "' is no numeric class.");
    }
}

}  // namespace

hvArray* hvCreateDoubleMatrix(std::size_t rows, std::size_t columns, hvComplexity complexity) {
    return create({rows, columns}, hvDOUBLE_CLASS, complexity);
}

hvArray* hvCreateDoubleScalar(double value) {
    hvArray* array = create({1, 1}, hvDOUBLE_CLASS);
    *hvGetPr(array) = value;
    return array;
}

hvArray* hvCreateComplexScalar(double real, double imaginary) {
    hvArray* array = create({1, 1}, hvDOUBLE_CLASS, hvCOMPLEX);
    *hvGetPr(array) = real;
    *hvGetPi(array) = imaginary;
    return array;
}

hvArray* hvFastZeros(std::size_t rows, std::size_t columns, hvComplexity complexity) {
    return create({rows, columns}, hvDOUBLE_CLASS, complexity);
}

hvArray* hvCreateLogicalMatrix(std::size_t rows, std::size_t columns) {
    return create({rows, columns}, hvLOGICAL_CLASS);
}

hvArray* hvCreateLogicalScalar(bool value) {
    hvArray* array = create({1, 1}, hvLOGICAL_CLASS);
    *static_cast<hvLogical*>(hvGetData(array)) = value ? 1 : 0;
    return array;
}

hvArray* hvCreateLogicalArray(std::size_t dimensionCount, const std::size_t* dimensions) {
    return create(dimensionCount, dimensions, hvLOGICAL_CLASS);
}

hvArray* hvCreateNumericArray(std::size_t dimensionCount, const std::size_t* dimensions, hvClassID classId,
                              hvComplexity complexity) {
    requireNumericClass(classId);
    return create(dimensionCount, dimensions, classId, complexity);
}

hvArray* hvCreateUnsetNumericArray(std::size_t dimensionCount, const std::size_t* dimensions, hvClassID classId,
                                   hvComplexity complexity) {
    requireNumericClass(classId);
    return create(dimensionCount, dimensions, classId, complexity, hostref::Contents::unset);
}

hvArray* hvCreateNumericMatrix(std::size_t rows, std::size_t columns, hvClassID classId, hvComplexity complexity) {
    requireNumericClass(classId);
    return create({rows, columns}, classId, complexity);
}

hvArray* hvCreateCharArray(std::size_t dimensionCount, const std::size_t* dimensions) {
    return create(dimensionCount, dimensions, hvCHAR_CLASS);
}

hvArray* hvCreateCellMatrix(std::size_t rows, std::size_t columns) {
    return create({rows, columns}, hvCELL_CLASS);
}

hvArray* hvCreateCellArray(std::size_t dimensionCount, const std::size_t* dimensions) {
    return create(dimensionCount, dimensions, hvCELL_CLASS);
}

hvArray* hvCreateStructMatrix(std::size_t rows, std::size_t columns, int fieldCount, const char* const* fieldNames) {
    const std::size_t dimensions[] = {rows, columns};
    return hvCreateStructArray(2, dimensions, fieldCount, fieldNames);
}

hvArray* hvCreateStructArray(std::size_t dimensionCount, const std::size_t* dimensions, int fieldCount,
                             const char* const* fieldNames) {
    return withMemory([&] {
        return hostref::makeStruct({dimensions, dimensionCount}, fieldCount, fieldNames).release();
    });
}

hvArray* hvCreateOpaque(const char* className, void* handle, const hvHandleOperations* operations) {
    return withMemory([&] {
        const std::size_t dimensions[] = {1, 1};
        hvArrayOwner array = makeArray(dimensions, hvOPAQUE_CLASS);
        auto shared = std::make_shared<hostref::SharedHandle>();
        shared->className = className;
        // From here on nothing raises, so the reference is taken over only when the array is complete.
        shared->handle = handle;
        shared->operations = operations;
        array->handle = std::move(shared);
        return array.release();
    });
}

hvArray* hvCreateSharedDataCopy(const hvArray* array) {
    return withMemory([&] { return hostref::sharedCopy(array).release(); });
}

hvArray* hvDuplicateArray(const hvArray* array) {
    return withMemory([&] {
        hvArrayOwner copy = hostref::sharedCopy(array);
        std::vector<hvArray*> stillShared{copy.get()};
        while (!stillShared.empty()) {
            hvArray* current = stillShared.back();
            stillShared.pop_back();
            current->ownData();
            current->ownChildren();
            if (current->children != nullptr) {
                for (const hvArrayOwner& child : current->children->values) {
                    if (child != nullptr) {
                        stillShared.push_back(child.get());
                    }
                }
            }
        }
        return copy.release();
    });
}

hvArray* hvTranspose(const hvArray* array) {
    if (array->dimensions.size() > 2) {
        raiseError("VELMAR:transpose:NDArray", "An array of more than two dimensions has no transpose.");
    }
    return withMemory([&] {
        hvArrayOwner result = hostref::sharedCopy(array);
        const std::size_t rows = array->dimensions[0];
        const std::size_t columns = array->dimensions[1];
        std::swap(result->dimensions[0], result->dimensions[1]);
        // The elements of a vector stay in order, so it keeps sharing them.
        if (array->elementCount == 0 || rows == 1 || columns == 1) {
            return result.release();
        }
        const std::size_t elementBytes = hostref::classTraits(array->classId).elementBytes;
        if (elementBytes != 0) {
            result->real = hostref::Buffer::unset(array->partBytes());
            hostref::transposeBytes(array->real, result->real, elementBytes, rows, columns);
            if (array->isComplex) {
                result->imaginary = hostref::Buffer::unset(array->partBytes());
                hostref::transposeBytes(array->imaginary, result->imaginary, elementBytes, rows, columns);
            }
        }
        if (array->children != nullptr) {
            result->ownChildren();
            const std::size_t valuesPerElement = array->children->values.size() / array->elementCount;
            std::vector<hvArrayOwner> transposed(array->children->values.size());
            for (std::size_t source = 0; source < array->elementCount; ++source) {
                const std::size_t target = source / rows + source % rows * columns;
                for (std::size_t i = 0; i < valuesPerElement; ++i) {
                    transposed[target * valuesPerElement + i] =
                        std::move(result->children->values[source * valuesPerElement + i]);
                }
            }
            result->children->values = std::move(transposed);
        }
        return result.release();
    });
}

void hvDestroyArray(hvArray* array) {
    hvArray* pending = array;
    while (pending != nullptr) {
        hvArray* current = std::exchange(pending, pending->nextToDestroy);
        if (current->children != nullptr && current->children.use_count() == 1) {
            for (hvArrayOwner& child : current->children->values) {
                if (child != nullptr) {
                    child->nextToDestroy = pending;
                    pending = child.release();
                }
            }
        }
        delete current;
    }
}

void* hvCalloc(std::size_t count, std::size_t bytes) {
    void* memory = bsCalloc(count, bytes);
    if (memory == nullptr) {
        hostref::raiseNoMemory();
    }
    return memory;
}

void hvFree(void* memory) {
    bsFree(memory);
}
