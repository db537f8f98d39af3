// Queries of value arrays and access to their plain data.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "host/reference/values/array.h"

namespace {

constexpr std::size_t kNoDimensions[] = {0, 0};

template <class Array>
void* dataOfClass(Array* array, hvClassID classId, bool imaginary) {
    if (hvGetClassID(array) != classId) {
        return nullptr;
    }
    return const_cast<void*>(static_cast<const void*>(imaginary ? hvGetImagData(array) : hvGetData(array)));
}

double elementAsDouble(const hvArray* array, const void* data) {
    if (array->classId == hvCHAR_CLASS) {
        return static_cast<double>(*static_cast<const hvChar*>(data));
    }
    double value = 0.0;
    const bool isPlain = hvDispatchClass(array->classId, [&]<class T>(std::type_identity<T>) {
        value = static_cast<double>(*static_cast<const T*>(data));
    });
    return isPlain ? value : std::numeric_limits<double>::quiet_NaN();
}

void requireScalarClass(const hvArray* array) {
    const hvClassID classId = hvGetClassID(array);
    if (array == nullptr || (!hvIsNumeric(array) && classId != hvLOGICAL_CLASS && classId != hvCHAR_CLASS)) {
        raiseError("VELMAR:array:notNumericClass",
                   std::string("An array of class '") + hvGetClassName(array) + "' has no value as a number.");
    }
}

}  // namespace

void hvdetail::raiseWrongClass(const hvArray* array) {
    raiseError("VELMAR:array:wrongClass",
               std::string("The data of an array of class '") + hvGetClassName(array) + "' is asked for as another.");
}

hvClassID hvGetClassID(const hvArray* array) {
    return array == nullptr ? hvUNKNOWN_CLASS : array->classId;
}

const char* hvGetClassName(const hvArray* array) {
    if (array != nullptr && array->handle != nullptr) {
        return array->handle->className.c_str();
    }
    return hostref::classTraits(hvGetClassID(array)).name;
}

bool hvIsA(const hvArray* array, const char* className) {
    if (array == nullptr || className == nullptr) {
        return false;
    }
    const std::string_view wanted = className;
    if (wanted == hvGetClassName(array)) {
        return true;
    }
    if (array->handle != nullptr) {
        const hostref::SharedHandle& shared = *array->handle;
        return shared.operations != nullptr && shared.operations->isA != nullptr &&
               shared.operations->isA(shared.handle, className);
    }
    const bool isFloat = array->classId == hvDOUBLE_CLASS || array->classId == hvSINGLE_CLASS;
    return (wanted == "numeric" && hvIsNumeric(array)) || (wanted == "float" && isFloat) ||
           (wanted == "integer" && hvIsNumeric(array) && !isFloat);
}

bool hvIsNumeric(const hvArray* array) {
    return hostref::classTraits(hvGetClassID(array)).isNumeric;
}
bool hvIsComplex(const hvArray* array) {
    return array != nullptr && array->isComplex;
}
bool hvIsEmpty(const hvArray* array) {
    return hvGetNumberOfElements(array) == 0;
}
bool hvIsScalar(const hvArray* array) {
    return hvGetNumberOfElements(array) == 1;
}

bool hvIsRealVector(const hvArray* array) {
    return hvIsNumeric(array) && !hvIsComplex(array) && array->dimensions.size() == 2 &&
           (array->dimensions[0] == 1 || array->dimensions[1] == 1);
}

bool hvIsIntVector(const hvArray* array) {
    if (!hvIsRealVector(array)) {
        return false;
    }
    const auto areWhole = [](auto values) {
        return std::all_of(values.begin(), values.end(),
                           [](auto value) { return std::isfinite(value) && std::trunc(value) == value; });
    };
    if (array->classId == hvDOUBLE_CLASS) {
        return areWhole(hvGetTypedData<double>(array));
    }
    return array->classId != hvSINGLE_CLASS || areWhole(hvGetTypedData<float>(array));
}

bool hvIsNaN(double value) {
    return std::isnan(value);
}
bool hvIsInf(double value) {
    return std::isinf(value);
}
bool hvIsFinite(double value) {
    return std::isfinite(value);
}

std::size_t hvGetNumberOfDimensions(const hvArray* array) {
    return array == nullptr ? 2 : array->dimensions.size();
}

const std::size_t* hvGetDimensions(const hvArray* array) {
    return array == nullptr ? kNoDimensions : array->dimensions.data();
}

std::size_t hvGetM(const hvArray* array) {
    return hvGetDimensions(array)[0];
}

std::size_t hvGetN(const hvArray* array) {
    std::size_t columns = 1;
    for (const std::size_t dimension : hvGetDims(array).subspan(1)) {
        columns *= dimension;
    }
    return columns;
}

std::size_t hvGetNumberOfElements(const hvArray* array) {
    return array == nullptr ? 0 : array->elementCount;
}

std::size_t hvGetElementSize(const hvArray* array) {
    return hostref::classTraits(hvGetClassID(array)).elementBytes;
}

const void* hvGetData(const hvArray* array) {
    return array == nullptr ? nullptr : array->real.data();
}

void* hvGetData(hvArray* array) {
    if (array == nullptr) {
        return nullptr;
    }
    array->real.makeOwn(array->partBytes());
    return array->real.data();
}

const void* hvGetImagData(const hvArray* array) {
    return array == nullptr ? nullptr : array->imaginary.data();
}

void* hvGetImagData(hvArray* array) {
    if (array == nullptr) {
        return nullptr;
    }
    array->imaginary.makeOwn(array->partBytes());
    return array->imaginary.data();
}

const double* hvGetPr(const hvArray* array) {
    return static_cast<const double*>(dataOfClass(array, hvDOUBLE_CLASS, false));
}
double* hvGetPr(hvArray* array) {
    return static_cast<double*>(dataOfClass(array, hvDOUBLE_CLASS, false));
}
const double* hvGetPi(const hvArray* array) {
    return static_cast<const double*>(dataOfClass(array, hvDOUBLE_CLASS, true));
}
double* hvGetPi(hvArray* array) {
    return static_cast<double*>(dataOfClass(array, hvDOUBLE_CLASS, true));
}

void hvSetComplexity(hvArray* array, hvComplexity complexity) {
    if (!hvIsNumeric(array)) {
        raiseError("VELMAR:array:notNumericClass",
                   std::string("An array of class '") + hvGetClassName(array) + "' has no imaginary part.");
    }
    if (array->isComplex == (complexity == hvCOMPLEX)) {
        return;
    }
    array->imaginary = hostref::Buffer::zeros(complexity == hvCOMPLEX ? array->partBytes() : 0);
    array->isComplex = complexity == hvCOMPLEX;
}

double hvGetScalar(const hvArray* array) {
    // Nearly all callers read one double, many of them in a loop.
    if (array != nullptr && array->classId == hvDOUBLE_CLASS && array->elementCount != 0) {
        return *static_cast<const double*>(array->real.data());
    }
    requireScalarClass(array);
    return array->elementCount == 0 ? std::numeric_limits<double>::quiet_NaN()
                                    : elementAsDouble(array, array->real.data());
}

double hvGetImagScalar(const hvArray* array) {
    requireScalarClass(array);
    return array->elementCount == 0 || !array->isComplex ? 0.0 : elementAsDouble(array, array->imaginary.data());
}

void* hvGetHandle(const hvArray* array) {
    return array == nullptr || array->handle == nullptr ? nullptr : array->handle->handle;
}
