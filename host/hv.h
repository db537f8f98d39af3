// The host's value arrays (`hv` family, type `hvArray`): numeric, logical, char, cell, struct and object arrays of two
// or more dimensions, stored column by column, real and imaginary parts apart.
//
// Every array is made by an hvCreate... function and destroyed by hvDestroyArray; hvArrayOwner does that for C++
// callers. Data is shared between an array and its hvCreateSharedDataCopy copies and never changes through another
// copy: requesting the data of a non-const array first unshares it. So request data through a const pointer unless you
// mean to write, and request a new pointer after the array was copied.
//
// Trailing dimensions of 1 beyond the second are dropped; missing ones are 1. A null array, such as a cell that was
// never set, reads as a 0-by-0 array of class hvUNKNOWN_CLASS. Creation raises "VELMAR:nomem" if there is no memory or
// the size is impossible. Typed access and dispatch on a class are in hv.inl.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "host/export.h"

struct hvArray;

/// Class ids, as in the host's tables and files.
enum hvClassID : int {
    hvUNKNOWN_CLASS = 0,
    hvCELL_CLASS = 1,
    hvSTRUCT_CLASS = 2,
    hvLOGICAL_CLASS = 3,
    hvCHAR_CLASS = 4,
    hvVOID_CLASS = 5,
    hvDOUBLE_CLASS = 6,
    hvSINGLE_CLASS = 7,
    hvINT8_CLASS = 8,
    hvUINT8_CLASS = 9,
    hvINT16_CLASS = 10,
    hvUINT16_CLASS = 11,
    hvINT32_CLASS = 12,
    hvUINT32_CLASS = 13,
    hvINT64_CLASS = 14,
    hvUINT64_CLASS = 15,
    hvFUNCTION_CLASS = 16,
    hvOPAQUE_CLASS = 17,
    hvOBJECT_CLASS = 18
};

enum hvComplexity : bool { hvREAL = false, hvCOMPLEX = true };

/// One element of a logical array: 0 or 1 in a byte.
using hvLogical = std::uint8_t;
/// One element of a char array: a UTF-16 code unit.
using hvChar = char16_t;

/// How an object array treats its handle. The array and its copies share one reference.
struct hvHandleOperations {
    /// Releases that reference; called once, when the last array that holds the handle is destroyed.
    void (*release)(void* handle);
    /// Returns whether the object is of the class or of a descendant. If null, names are compared.
    bool (*isA)(const void* handle, const char* className);
};

// Creation. Numbers start as 0, logicals as false, characters as code 0, cells and fields as null.

TOLVANE_HOST_API hvArray* hvCreateDoubleMatrix(std::size_t rows, std::size_t columns, hvComplexity complexity = hvREAL);
TOLVANE_HOST_API hvArray* hvCreateDoubleScalar(double value);
TOLVANE_HOST_API hvArray* hvCreateComplexScalar(double real, double imaginary);
/// As hvCreateDoubleMatrix; the fast way for fresh zeros of the system's own use.
TOLVANE_HOST_API hvArray* hvFastZeros(std::size_t rows, std::size_t columns, hvComplexity complexity = hvREAL);
TOLVANE_HOST_API hvArray* hvCreateLogicalMatrix(std::size_t rows, std::size_t columns);
TOLVANE_HOST_API hvArray* hvCreateLogicalScalar(bool value);
TOLVANE_HOST_API hvArray* hvCreateLogicalArray(std::size_t dimensionCount, const std::size_t* dimensions);
/// Makes an array of a numeric class (double, single or integer); another class raises "VELMAR:array:notNumericClass".
TOLVANE_HOST_API hvArray* hvCreateNumericArray(std::size_t dimensionCount, const std::size_t* dimensions,
                                               hvClassID classId, hvComplexity complexity = hvREAL);
TOLVANE_HOST_API hvArray* hvCreateNumericMatrix(std::size_t rows, std::size_t columns, hvClassID classId,
                                                hvComplexity complexity = hvREAL);
TOLVANE_HOST_API hvArray* hvCreateCharArray(std::size_t dimensionCount, const std::size_t* dimensions);
/// Makes a char row from UTF-8; a null or empty text gives 0-by-0, a malformed byte the code 0xFFFD.
TOLVANE_HOST_API hvArray* hvCreateString(const char* text);
TOLVANE_HOST_API hvArray* hvCreateString(const std::string& text);
TOLVANE_HOST_API hvArray* hvCreateCellMatrix(std::size_t rows, std::size_t columns);
TOLVANE_HOST_API hvArray* hvCreateCellArray(std::size_t dimensionCount, const std::size_t* dimensions);
/// Makes a struct array. A field name given twice raises "VELMAR:array:duplicateField".
TOLVANE_HOST_API hvArray* hvCreateStructMatrix(std::size_t rows, std::size_t columns, int fieldCount,
                                               const char* const* fieldNames);
TOLVANE_HOST_API hvArray* hvCreateStructArray(std::size_t dimensionCount, const std::size_t* dimensions, int fieldCount,
                                              const char* const* fieldNames);
/// Makes a 1-by-1 array of class id hvOPAQUE_CLASS around a handle and takes over one reference to it, unless this
/// raises. `operations` must outlive the array.
TOLVANE_HOST_API hvArray* hvCreateOpaque(const char* className, void* handle, const hvHandleOperations* operations);

/// Makes an array with the same contents in constant time; see the file comment on sharing. Copies and original may be
/// destroyed in any order.
TOLVANE_HOST_API hvArray* hvCreateSharedDataCopy(const hvArray* array);
/// As hvCreateSharedDataCopy, except that all data is copied at all depths; a handle stays the same object.
TOLVANE_HOST_API hvArray* hvDuplicateArray(const hvArray* array);
/// Makes the plain (not conjugated) transpose; more than two dimensions raise "VELMAR:transpose:NDArray".
TOLVANE_HOST_API hvArray* hvTranspose(const hvArray* array);
/// Destroys an array and its contents; null is harmless.
TOLVANE_HOST_API void hvDestroyArray(hvArray* array);

struct hvArrayDeleter {
    void operator()(hvArray* array) const { hvDestroyArray(array); }
};
using hvArrayOwner = std::unique_ptr<hvArray, hvArrayDeleter>;

// Inspection.

TOLVANE_HOST_API hvClassID hvGetClassID(const hvArray* array);
/// Names the class: "double", "logical", "char", "cell", "struct", ..., or the class of the object.
TOLVANE_HOST_API const char* hvGetClassName(const hvArray* array);
/// Returns whether the array is of the class. Also accepts the names of an object's ancestors, "numeric" for all ten
/// numeric classes, "float" for double and single, and "integer" for the other eight.
TOLVANE_HOST_API bool hvIsA(const hvArray* array, const char* className);
/// Double, single or integer; logical and char arrays are not numeric.
TOLVANE_HOST_API bool hvIsNumeric(const hvArray* array);
TOLVANE_HOST_API bool hvIsComplex(const hvArray* array);
TOLVANE_HOST_API bool hvIsEmpty(const hvArray* array);
TOLVANE_HOST_API bool hvIsScalar(const hvArray* array);
/// Numeric, real, of two dimensions one of which is 1 (1-by-0 and 0-by-1 included).
TOLVANE_HOST_API bool hvIsRealVector(const hvArray* array);
/// As hvIsRealVector, and each element is a finite whole number.
TOLVANE_HOST_API bool hvIsIntVector(const hvArray* array);

inline bool hvIsClass(const hvArray* array, hvClassID classId) {
    return hvGetClassID(array) == classId;
}
inline bool hvIsCell(const hvArray* array) {
    return hvIsClass(array, hvCELL_CLASS);
}
inline bool hvIsStruct(const hvArray* array) {
    return hvIsClass(array, hvSTRUCT_CLASS);
}
inline bool hvIsLogical(const hvArray* array) {
    return hvIsClass(array, hvLOGICAL_CLASS);
}
inline bool hvIsChar(const hvArray* array) {
    return hvIsClass(array, hvCHAR_CLASS);
}
inline bool hvIsDouble(const hvArray* array) {
    return hvIsClass(array, hvDOUBLE_CLASS);
}
inline bool hvIsSingle(const hvArray* array) {
    return hvIsClass(array, hvSINGLE_CLASS);
}
inline bool hvIsInt8(const hvArray* array) {
    return hvIsClass(array, hvINT8_CLASS);
}
inline bool hvIsUint8(const hvArray* array) {
    return hvIsClass(array, hvUINT8_CLASS);
}
inline bool hvIsInt16(const hvArray* array) {
    return hvIsClass(array, hvINT16_CLASS);
}
inline bool hvIsUint16(const hvArray* array) {
    return hvIsClass(array, hvUINT16_CLASS);
}
inline bool hvIsInt32(const hvArray* array) {
    return hvIsClass(array, hvINT32_CLASS);
}
inline bool hvIsUint32(const hvArray* array) {
    return hvIsClass(array, hvUINT32_CLASS);
}
inline bool hvIsInt64(const hvArray* array) {
    return hvIsClass(array, hvINT64_CLASS);
}
inline bool hvIsUint64(const hvArray* array) {
    return hvIsClass(array, hvUINT64_CLASS);
}
inline bool hvIsOpaque(const hvArray* array) {
    return hvIsClass(array, hvOPAQUE_CLASS);
}

TOLVANE_HOST_API bool hvIsNaN(double value);
TOLVANE_HOST_API bool hvIsInf(double value);
TOLVANE_HOST_API bool hvIsFinite(double value);

/// Counts the dimensions: at least 2.
TOLVANE_HOST_API std::size_t hvGetNumberOfDimensions(const hvArray* array);
/// The dimensions, valid until they are set or the array is destroyed.
TOLVANE_HOST_API const std::size_t* hvGetDimensions(const hvArray* array);
/// The same as a span.
inline std::span<const std::size_t> hvGetDims(const hvArray* array) {
    return {hvGetDimensions(array), hvGetNumberOfDimensions(array)};
}
/// Rows: the first dimension.
TOLVANE_HOST_API std::size_t hvGetM(const hvArray* array);
/// Columns: the product of all dimensions from the second on.
TOLVANE_HOST_API std::size_t hvGetN(const hvArray* array);
TOLVANE_HOST_API std::size_t hvGetNumberOfElements(const hvArray* array);
/// Bytes of one element of one part; 0 for classes without plain data.
TOLVANE_HOST_API std::size_t hvGetElementSize(const hvArray* array);
/// Gives the array new dimensions; a different number of elements raises "VELMAR:array:dimensions".
TOLVANE_HOST_API void hvSetDimensions(hvArray* array, std::size_t dimensionCount, const std::size_t* dimensions);

// Plain data: elements column by column. Null for a class without plain data and for an empty array. The non-const
// forms unshare the data and may raise "VELMAR:nomem".

TOLVANE_HOST_API const void* hvGetData(const hvArray* array);
TOLVANE_HOST_API void* hvGetData(hvArray* array);
/// As hvGetData, for the imaginary part; null for a real array.
TOLVANE_HOST_API const void* hvGetImagData(const hvArray* array);
TOLVANE_HOST_API void* hvGetImagData(hvArray* array);
/// As hvGetData, except that it is null for every class but double.
TOLVANE_HOST_API const double* hvGetPr(const hvArray* array);
TOLVANE_HOST_API double* hvGetPr(hvArray* array);
TOLVANE_HOST_API const double* hvGetPi(const hvArray* array);
TOLVANE_HOST_API double* hvGetPi(hvArray* array);
/// Makes a numeric array complex, with zeros, or removes its imaginary part.
TOLVANE_HOST_API void hvSetComplexity(hvArray* array, hvComplexity complexity);

/// The first element as a double: numeric (its real part), logical or char. NaN for an empty array; another class
/// raises "VELMAR:array:notNumericClass".
TOLVANE_HOST_API double hvGetScalar(const hvArray* array);
/// As hvGetScalar, for the imaginary part; 0 for a real or empty array.
TOLVANE_HOST_API double hvGetImagScalar(const hvArray* array);

/// The characters in storage order as UTF-8; another class raises "VELMAR:array:notChar". An unpaired surrogate
/// becomes code 0xFFFD.
TOLVANE_HOST_API std::string hvArray2String(const hvArray* array);
/// As hvArray2String, as a text that the caller frees with hvFree; null for an array that isn't char.
TOLVANE_HOST_API char* hvArrayToString(const hvArray* array);

// Cells and structs. Indices are zero-based; one out of range, or an array of the wrong class, raises
// "VELMAR:array:badIndex" or "VELMAR:array:notCell", "VELMAR:array:notStruct". Elements stay owned by the array.

TOLVANE_HOST_API const hvArray* hvGetCell(const hvArray* array, std::size_t index);
TOLVANE_HOST_API hvArray* hvGetCell(hvArray* array, std::size_t index);
/// Stores the value, which the array owns once this returns; the previous value is destroyed.
TOLVANE_HOST_API void hvSetCell(hvArray* array, std::size_t index, hvArray* value);

TOLVANE_HOST_API int hvGetNumberOfFields(const hvArray* array);
/// The number of a field, from 0; -1 if there is none of that name or the array isn't a struct.
TOLVANE_HOST_API int hvGetFieldNumber(const hvArray* array, const char* name);
TOLVANE_HOST_API const char* hvGetFieldNameByNumber(const hvArray* array, int fieldNumber);
/// Adds a field with null values and returns its number; an existing field keeps its number and values.
TOLVANE_HOST_API int hvAddField(hvArray* array, const char* name);
/// The field of one element; null if it was never set or there is no such field.
TOLVANE_HOST_API const hvArray* hvGetField(const hvArray* array, std::size_t index, const char* name);
TOLVANE_HOST_API hvArray* hvGetField(hvArray* array, std::size_t index, const char* name);
TOLVANE_HOST_API const hvArray* hvGetFieldByNumber(const hvArray* array, std::size_t index, int fieldNumber);
TOLVANE_HOST_API hvArray* hvGetFieldByNumber(hvArray* array, std::size_t index, int fieldNumber);
/// As hvSetCell, for a field of one element.
TOLVANE_HOST_API void hvSetFieldByNumber(hvArray* array, std::size_t index, int fieldNumber, hvArray* value);
/// As hvSetFieldByNumber, by name; an unknown name raises "VELMAR:array:noField".
TOLVANE_HOST_API void hvSetField(hvArray* array, std::size_t index, const char* name, hvArray* value);

/// The handle of an object array, still owned by it; null for any other array.
TOLVANE_HOST_API void* hvGetHandle(const hvArray* array);

// Memory, errors and warnings.

/// As bsCalloc, except that it raises "VELMAR:nomem" instead of returning null.
TOLVANE_HOST_API void* hvCalloc(std::size_t count, std::size_t bytes);
TOLVANE_HOST_API void hvFree(void* memory);

/// Raises a standard error of the host: 1 too many inputs, 2 not enough inputs, 3 too many outputs, 73 an index that
/// isn't a position; any other number raises "VELMAR:unknownError".
[[noreturn]] TOLVANE_HOST_API void hvErrMsg(int number);
[[noreturn]] TOLVANE_HOST_API void hvErrMsgIdAndTxt(const char* id, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
TOLVANE_HOST_API void hvWarningMsgIdAndTxt(const char* id, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
/// Sets the error mode and returns the old one. An error caught by a trapped call is printed only in mode 0, the
/// initial one; -1 is the customary quiet mode.
TOLVANE_HOST_API int hvSetErrorMode(int mode);

#include "host/hv.inl.h"
