// The value of a user's variable in the host: an array, or a handle on an object of a class.
//
// A value is reference-counted and cheap to copy. Copies share: an array never changes once it is in a value, and an
// object is the same object in every copy, so a property set through one is seen through all (the method "copy" of a
// class makes another object). An array around a handle becomes the object itself. Matrices are stored column by
// column.
//
// Operations on objects go through the host: they respect access attributes and throw HostError.
#pragma once

#include <concepts>
#include <cstddef>
#include <iosfwd>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/export.h"
#include "host/hv.h"

class OMInterface;

namespace hostref {

class TOLVANE_HOST_API Value {
 public:
    /// The empty array: 0-by-0, double.
    Value();
    /// A double scalar, even from integers: numbers of the host are doubles.
    template <class T>
    requires(std::is_arithmetic_v<T> && !std::same_as<T, bool>) Value(T number)
        : Value(fromDouble(static_cast<double>(number))) {}
    /// A logical scalar.
    template <std::same_as<bool> T>
    Value(T flag) : Value(fromBool(flag)) {}
    /// A char row.
    Value(const char* text);
    Value(const std::string& text);
    /// A double row of 1-by-n.
    Value(const std::vector<double>& row);
    /// Takes ownership of an array; null gives the empty one.
    Value(hvArrayOwner array);

    Value(const Value& other) noexcept;
    Value(Value&& other) noexcept
        : mArray(std::move(other.mArray)), mInterface(std::exchange(other.mInterface, nullptr)) {}
    Value& operator=(Value other) noexcept {
        std::swap(mArray, other.mArray);
        std::swap(mInterface, other.mInterface);
        return *this;
    }
    ~Value();

    /// A double matrix from its elements, column by column; throws "VELMAR:array:dimensions" if their number differs.
    static Value matrix(std::size_t rows, std::size_t columns, std::span<const double> elements);
    /// As above, complex.
    static Value matrix(std::size_t rows, std::size_t columns, std::span<const double> real,
                        std::span<const double> imaginary);
    static Value complex(double real, double imaginary);
    /// A cell row.
    static Value cells(std::span<const Value> elements);
    /// Shares the data of an array, which the caller still owns; null gives the empty array.
    static Value share(const hvArray* array);
    /// Holds an object with a new reference; null gives the empty array.
    static Value hold(OMInterface* interface);
    /// As hold, except that it takes over one of the caller's internal references.
    static Value adopt(OMInterface* interface);

    bool isObject() const { return mInterface != nullptr; }
    bool isArray() const { return mInterface == nullptr; }
    /// The handle, borrowed; null for an array.
    OMInterface* interface() const { return mInterface; }
    /// The object that a module holds behind the handle, for code that is linked with the module; null for an array.
    void* object() const;
    /// The array, borrowed; null for an object.
    const hvArray* array() const;
    /// A new array with the same contents; for an object, an object array around the handle.
    hvArrayOwner toArray() const;
    /// "double", "char", ..., or the full name of an object's class.
    std::string className() const;
    /// As hvIsA.
    bool isA(const char* className) const;

    // Reading arrays. An object throws "VELMAR:value:notArray" here; read a property or call a method instead.

    std::vector<std::size_t> dimensions() const;
    std::size_t rows() const;
    std::size_t columns() const;
    std::size_t numberOfElements() const;
    bool isEmpty() const;
    bool isComplex() const;
    /// The first element, as hvGetScalar; NaN for an empty array.
    double toDouble() const;
    /// The imaginary part of the first element, 0 for a real one.
    double toImaginary() const;
    /// Whether the first element is neither 0 nor missing.
    bool toBool() const;
    /// All elements (real parts) of a numeric, logical or char array as doubles; otherwise
    /// "VELMAR:array:notNumericClass".
    std::vector<double> toDoubles() const;
    /// The imaginary parts; empty for a real array.
    std::vector<double> toImaginaries() const;
    /// The elements (real parts) of a double array where they are, while a value shares it; "VELMAR:array:wrongClass"
    /// for another class.
    std::span<const double> doubles() const;
    /// The same for the imaginary parts; empty for a real array.
    std::span<const double> imaginaries() const;
    /// The characters as UTF-8; "VELMAR:array:notChar" for another class, "VELMAR:array:severalRows" for more than one
    /// row.
    std::string toText() const;
    /// As toText, one text per row, page by page: for example the words "hex" of a column.
    std::vector<std::string> toLines() const;
    /// An element of a cell array, from 0, or the field of a one-element struct.
    Value cell(std::size_t index) const;
    Value field(const char* name) const;

    // Objects; "VELMAR:value:notObject" for an array.

    /// As Session::get.
    Value get(std::string_view property) const;
    /// As Session::set.
    void set(std::string_view property, const Value& value) const;
    /// As Session::call with this as first argument.
    Value call(std::string_view method, std::initializer_list<Value> arguments = {}) const;

    /// Arrays are equal if class, complexity, dimensions and elements are, where all NaN are equal; objects are equal
    /// if they are the same object.
    TOLVANE_HOST_API friend bool operator==(const Value& a, const Value& b);

 private:
    static Value fromDouble(double number);
    static Value fromBool(bool flag);

    std::shared_ptr<hvArray> mArray;  // null for the empty array
    OMInterface* mInterface = nullptr;
};

/// Writes the elements, or the class of an object, for messages.
TOLVANE_HOST_API std::ostream& operator<<(std::ostream& out, const Value& value);

}  // namespace hostref
