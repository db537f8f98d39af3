// Arrays of fixed-point numbers as values: exact arithmetic, and formats where a program says so.
//
//     fixed_array x(samples, "s16,15");           // samples from any range, quantized once
//     fixed_array y = 2 * x + 1;                  // exact: the type grows so that it holds every result
//     fixed_array z = cast(y, "s16,14 wrap");     // quantized once more
//
// Operators never round and never overflow. Their types hold every value that the types of their operands allow,
// whatever the values are. Shapes are in C's order, the last index moving fastest; shapes of operands are broadcast as
// usual: sizes from the last on are equal, or one of them is 1 or missing.
//
// What quantizes takes the place of the call in the program as its last parameter, for logs; programs leave it out.
#pragma once

#include <complex>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <memory>
#include <optional>
#include <ranges>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "host/export.h"
#include "program/code_location.h"
#include "program/exact_value.h"
#include "program/format.h"

namespace tolvane {

namespace detail {
class wordarray;
class ArrayAccess;
class Leaf;

template <class T>
struct ScalarOf {
    using Type = T;
};
template <class T>
struct ScalarOf<std::complex<T>> {
    using Type = T;
};
}  // namespace detail

/// Something to make an array of: plain numbers, complex ones, exact values.
template <class T>
concept array_source = std::ranges::input_range<T> &&
    (plain_number<typename detail::ScalarOf<std::ranges::range_value_t<T>>::Type> ||
     std::same_as<std::ranges::range_value_t<T>, exact_value>)&&!std::convertible_to<T, std::string_view>;

using array_shape = std::vector<std::size_t>;

class fixed_array;

/// What `a += b` takes: an array or a plain number, and where the program has it.
class TOLVANE_API array_operand {
 public:
    /// The array has to live as long as the operand.
    array_operand(const fixed_array& value,  // NOLINT(google-explicit-constructor)
                  const code_location& where = code_location::current())
        : mArray(&value), mWhere(where) {}
    template <plain_number Number>
    array_operand(Number value,  // NOLINT(google-explicit-constructor)
                  const code_location& where = code_location::current())
        : mNumber(value), mIsWhole(whole_number<Number>), mWhere(where) {}

 private:
    friend class fixed_array;
    /// As an array to compute with x.
    fixed_array arrayFor(const fixed_array& x) const;

    const fixed_array* mArray = nullptr;
    exact_value mNumber;
    bool mIsWhole = false;
    code_location mWhere;
};

/// A value: copies share memory until one of them changes. An element is one number, or a complex one.
class TOLVANE_API fixed_array {
 public:
    /// No elements.
    fixed_array();
    /// One dimension of values, each quantized once. Values that aren't finite raise "tolvane:value:finite".
    template <array_source Range>
    fixed_array(const Range& values, const fixed_format& format, const code_location& where = code_location::current());
    template <plain_number Number>
    fixed_array(std::initializer_list<Number> values, const fixed_format& format,
                const code_location& where = code_location::current())
        : fixed_array(std::vector<Number>(values), format, where) {}
    /// A mixture such as {1, -0.5}.
    fixed_array(std::initializer_list<double> values, const fixed_format& format,
                const code_location& where = code_location::current())
        : fixed_array(std::vector<double>(values), format, where) {}
    template <plain_number Number>
    fixed_array(Number value, const fixed_format& format, const code_location& where = code_location::current())
        : fixed_array(std::vector<Number>{value}, format, where) {
        mShape.clear();
    }
    /// Values with a name for the variable, under which logs keep them.
    template <class Source>
    fixed_array(const Source& values, const fixed_format& format, std::string name,
                const code_location& where = code_location::current())
        : fixed_array(values, format.named(std::move(name)), where) {}
    template <plain_number Number>
    fixed_array(std::initializer_list<Number> values, const fixed_format& format, std::string name,
                const code_location& where = code_location::current())
        : fixed_array(values, format.named(std::move(name)), where) {}
    fixed_array(std::initializer_list<double> values, const fixed_format& format, std::string name,
                const code_location& where = code_location::current())
        : fixed_array(values, format.named(std::move(name)), where) {}
    /// Words as they lie in memory, in two's complement if signed; those beyond the type raise "tolvane:array:word".
    static fixed_array from_words(std::span<const std::int64_t> words, const fixed_type& type);
    static fixed_array zeros(array_shape shape, const fixed_type& type);

    const fixed_type& type() const { return mType; }
    const array_shape& shape() const { return mShape; }
    std::size_t size() const;
    bool is_complex() const { return mImag != nullptr; }
    const std::string& name() const { return mName; }
    /// The same array under another name, and in another shape of as many elements ("tolvane:array:shape").
    fixed_array named(std::string name) const;
    fixed_array reshaped(array_shape shape) const;

    /// An element by its place in memory; beyond the last raises "tolvane:array:index".
    exact_value at(std::size_t index) const;
    exact_value imag_at(std::size_t index) const;
    /// An element of a real array as an expression of program/fixed_scalar.h, for loops: acc = acc + h[k] * x[n - k].
    detail::Leaf operator[](std::size_t index) const;
    fixed_array real() const;
    /// Zeros of the type for a real array.
    fixed_array imag() const;
    /// The nearest doubles, of the real parts.
    std::vector<double> to_doubles() const;
    std::vector<std::complex<double>> to_complex_doubles() const;
    /// The words, in two's complement if signed; types of more than 64 bits raise "tolvane:array:word". A view is valid
    /// while the array lives and doesn't change.
    std::span<const std::int64_t> words() const;
    std::span<const std::int64_t> imag_words() const;

    fixed_array operator-() const;
    // Quantized to this array's type, to nearest and with saturation.
    fixed_array& operator+=(const array_operand& other);
    fixed_array& operator-=(const array_operand& other);
    fixed_array& operator*=(const array_operand& other);

 private:
    friend class detail::ArrayAccess;
    static fixed_array quantized(const std::vector<exact_value>& real, const std::vector<exact_value>& imag,
                                 const fixed_format& format, const code_location& where);
    static fixed_array quantized(std::span<const std::int64_t> real, std::span<const std::int64_t> imag, bool isSigned,
                                 const fixed_format& format, const code_location& where);
    static fixed_array quantized(std::span<const double> real, std::span<const double> imag, const fixed_format& format,
                                 const code_location& where);

    fixed_type mType;
    array_shape mShape{0};
    std::string mName;
    std::shared_ptr<const detail::wordarray> mReal;
    std::shared_ptr<const detail::wordarray> mImag;
};

/// Forces every element into a format.
TOLVANE_API fixed_array cast(const fixed_array& x, const fixed_format& format,
                             const code_location& where = code_location::current());

// Exact arithmetic. A type beyond the limit of growth raises "tolvane:array:growth", and shapes that don't fit
// "tolvane:array:shape".
TOLVANE_API fixed_array operator+(const fixed_array& a, const fixed_array& b);
TOLVANE_API fixed_array operator-(const fixed_array& a, const fixed_array& b);
TOLVANE_API fixed_array operator*(const fixed_array& a, const fixed_array& b);
TOLVANE_API fixed_array abs(const fixed_array& x);
/// The values times 2^places, in a type whose point moves.
TOLVANE_API fixed_array scaled(const fixed_array& x, int places);
/// The quotients, each rounded once to a format. A divisor of zero raises "tolvane:array:division".
TOLVANE_API fixed_array divide(const fixed_array& a, const fixed_array& b, const fixed_format& format,
                               const code_location& where = code_location::current());

/// A constant for an array: exact, in the shortest type that holds it. An integer may have any length; a double whose
/// mantissa is longer than the words of the array is probably the rounding of something else, and raises
/// "tolvane:array:constant".
TOLVANE_API fixed_array constant_for(const fixed_array& x, const exact_value& value, bool isWhole);

template <plain_number Number>
fixed_array operator+(const fixed_array& a, Number b) {
    return a + constant_for(a, exact_value(b), whole_number<Number>);
}
template <plain_number Number>
fixed_array operator+(Number a, const fixed_array& b) {
    return constant_for(b, exact_value(a), whole_number<Number>) + b;
}
template <plain_number Number>
fixed_array operator-(const fixed_array& a, Number b) {
    return a - constant_for(a, exact_value(b), whole_number<Number>);
}
template <plain_number Number>
fixed_array operator-(Number a, const fixed_array& b) {
    return constant_for(b, exact_value(a), whole_number<Number>) - b;
}
template <plain_number Number>
fixed_array operator*(const fixed_array& a, Number b) {
    return a * constant_for(a, exact_value(b), whole_number<Number>);
}
template <plain_number Number>
fixed_array operator*(Number a, const fixed_array& b) {
    return constant_for(b, exact_value(a), whole_number<Number>) * b;
}

// Sums. Without formats they are exact; with formats, each product and each running sum is quantized, from the first
// element on.

/// Where sums of products are quantized. A missing format is exact.
struct sum_formats {
    std::optional<fixed_format> product = std::nullopt;
    std::optional<fixed_format> sum = std::nullopt;
};

/// The sum of all elements.
TOLVANE_API fixed_array sum(const fixed_array& x, const sum_formats& formats = {},
                            const code_location& where = code_location::current());
TOLVANE_API fixed_array cumsum(const fixed_array& x, const fixed_format& format,
                               const code_location& where = code_location::current());
/// The sum of products of two vectors of equal length.
TOLVANE_API fixed_array dot(const fixed_array& a, const fixed_array& b, const sum_formats& formats = {},
                            const code_location& where = code_location::current());
/// The full convolution of two vectors. Element n adds h[0] x[n], h[1] x[n - 1] and so on, in this order.
TOLVANE_API fixed_array conv(const fixed_array& x, const fixed_array& h, const sum_formats& formats = {},
                             const code_location& where = code_location::current());

// Comparison, by exact value whatever the types. Order needs real numbers and raises "tolvane:array:complex".

/// Whether shapes and all values are equal.
TOLVANE_API bool operator==(const fixed_array& a, const fixed_array& b);
TOLVANE_API exact_value max(const fixed_array& x);
TOLVANE_API exact_value min(const fixed_array& x);

/// Writes the type, the shape and up to some twenty elements.
TOLVANE_API std::ostream& operator<<(std::ostream& out, const fixed_array& x);

/// The most bits that exact arithmetic may need, 1024 unless set, for all threads; returns those before.
TOLVANE_API int set_most_bits(int bits);

// Definitions.

template <array_source Range>
fixed_array::fixed_array(const Range& values, const fixed_format& format, const code_location& where) {
    using Value = std::ranges::range_value_t<Range>;
    using Scalar = typename detail::ScalarOf<Value>::Type;
    constexpr bool kIsShort = whole_number<Scalar> && sizeof(Scalar) <= sizeof(std::int64_t);
    using Kept = std::conditional_t<std::floating_point<Scalar>, double,
                                    std::conditional_t<kIsShort, std::int64_t, exact_value>>;
    if constexpr (std::ranges::contiguous_range<Range> && std::ranges::sized_range<Range> &&
                  std::same_as<Value, double>) {
        *this =
            quantized(std::span<const double>(std::ranges::data(values), std::ranges::size(values)), {}, format, where);
        return;
    }
    std::vector<Kept> real;
    std::vector<Kept> imag;
    if constexpr (std::ranges::sized_range<Range>) {
        real.reserve(std::ranges::size(values));
        imag.reserve(std::same_as<Value, Scalar> ? 0 : std::ranges::size(values));
    }
    for (const Value& value : values) {
        if constexpr (std::same_as<Value, Scalar>) {
            real.push_back(static_cast<Kept>(value));
        } else {
            real.push_back(static_cast<Kept>(value.real()));
            imag.push_back(static_cast<Kept>(value.imag()));
        }
    }
    if constexpr (kIsShort) {
        *this = quantized(real, imag, static_cast<Scalar>(-1) < Scalar{0}, format, where);
    } else if constexpr (std::same_as<Kept, double>) {
        *this = quantized(std::span<const double>(real), std::span<const double>(imag), format, where);
    } else {
        *this = quantized(real, imag, format, where);
    }
}

}  // namespace tolvane
