// Floating-point formats of any size and arrays of their words: what signals become in a GPU, in an accelerator, or in
// a processor beside the fixed-point hardware. Every result is the exact one, rounded once.
//
//     float_array x(samples, float_format("fp16"));
//     float_array y = cast(fixed, float_format("bf16"));           // fixed-point values, rounded to bfloat16
//     float_array z = multiply(x, x, floating(8, 23));             // exact products, rounded to another format
//     fixed_array back = cast(x * x, "s16,12");
//
// The encodings are those of IEEE 754: a sign, a biased exponent and a fraction, with subnormal numbers, signed zeros,
// infinities and NaN. A "finite" type has no infinities: its highest exponent holds numbers, and NaN is the one
// fraction of ones. That is what accelerators mean by e4m3 (greatest number 448), so "e4m3" is finite here as well; the
// IEEE variant (greatest number 240) is floating(4, 3), or "e4m3ieee". All other names are IEEE's.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <ranges>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/export.h"
#include "program/exact_value.h"
#include "program/fixed_array.h"
#include "program/format.h"

namespace tolvane {

/// The layout of words: a sign bit, then exponent and fraction.
struct float_type {
    int exponent_bits = 8;
    int fraction_bits = 23;
    bool is_finite = false;  // no infinities, one NaN

    int bits() const { return 1 + exponent_bits + fraction_bits; }
    friend bool operator==(const float_type&, const float_type&) = default;
    /// "e8m23", for finite types "e4m3fn", and "e4m3ieee" for the one that the bare name doesn't mean.
    TOLVANE_API std::string text() const;
};

/// An IEEE type. Exponents have 2 to 15 bits, fractions at least 1, words at most 64; others raise
/// "tolvane:float:type".
TOLVANE_API float_type floating(int exponent_bits, int fraction_bits);

/// What becomes of a number that is rounded beyond the greatest one.
enum class float_overflow : std::uint8_t {
    infinity,  // by IEEE's rule: infinity, or the greatest number if the rounding goes toward zero there; finite types
               // have NaN for infinity
    saturate,  // the greatest number, for infinities as well
};

/// A type, a rounding, an overflow and a name. Of the roundings `add_sign` and `stochastic` raise
/// "tolvane:float:rounding".
class TOLVANE_API float_format {
 public:
    float_format(const float_type& type, tolvane::rounding rounding = rounding::convergent,
                 float_overflow overflow = float_overflow::infinity, std::string name = {});
    /// Reads a type, then the names of a rounding and an overflow in any order: "bf16 toward_zero saturate". A type is
    /// one of
    ///     fp16, bf16, tf32 (19 bits), fp32, fp64
    ///     e5m2, e5m10, ...       exponent and fraction; "ieee" or "fn" behind it says whether it is finite
    /// Raises "tolvane:float:text".
    explicit float_format(std::string_view text, std::string name = {});

    const float_type& type() const { return mType; }
    tolvane::rounding rounding() const { return mRounding; }
    float_overflow overflow() const { return mOverflow; }
    const std::string& name() const { return mName; }
    float_format named(std::string name) const;
    /// All but the name, as the constructor reads it.
    std::string text() const;
    friend bool operator==(const float_format&, const float_format&) = default;

 private:
    float_type mType;
    tolvane::rounding mRounding = rounding::convergent;
    float_overflow mOverflow = float_overflow::infinity;
    std::string mName;
};

TOLVANE_API std::ostream& operator<<(std::ostream& out, const float_type& type);
TOLVANE_API std::ostream& operator<<(std::ostream& out, const float_format& format);

/// What a float means: a number, an infinity or NaN. Zeros have signs.
struct float_value {
    enum class kind : std::uint8_t { number, infinity, nan };
    kind what = kind::number;
    bool is_negative = false;
    exact_value number;  // with its sign; 0 if it is none
};

/// Numbers to make an array of: floats and doubles with all their special values, whole ones and exact ones.
template <class T>
concept float_source =
    std::ranges::input_range<T> && !std::same_as<std::ranges::range_value_t<T>, long double> &&
    (plain_number<std::ranges::range_value_t<T>> || std::same_as<std::ranges::range_value_t<T>, exact_value>);

/// A value; one real number an element, and a word of up to 64 bits for each. Logs don't hear of floats.
class TOLVANE_API float_array {
 public:
    /// No elements.
    float_array() = default;
    template <float_source Range>
    float_array(const Range& values, const float_format& format);
    template <plain_number Number>
    float_array(std::initializer_list<Number> values, const float_format& format)
        : float_array(std::vector<Number>(values), format) {}
    /// A mixture such as {1, -0.5}.
    float_array(std::initializer_list<double> values, const float_format& format)
        : float_array(std::vector<double>(values), format) {}
    /// Encodings; bits beyond the type raise "tolvane:float:word".
    static float_array from_words(std::span<const std::uint64_t> words, const float_type& type);
    /// Encodings as `to_words` makes them, say from a file; words of another length raise "tolvane:float:word".
    static float_array from_words(const fixed_array& words, const float_type& type);

    const float_type& type() const { return mType; }
    const array_shape& shape() const { return mShape; }
    std::size_t size() const { return mWords.size(); }
    const std::string& name() const { return mName; }
    float_array named(std::string name) const;
    /// As many elements in another shape ("tolvane:array:shape").
    float_array reshaped(array_shape shape) const;

    std::span<const std::uint64_t> words() const { return mWords; }
    /// The words as whole numbers without sign, for texts and files of words.
    fixed_array to_words() const;
    /// An element by its place in memory; beyond the last raises "tolvane:array:index".
    float_value at(std::size_t index) const;
    /// The nearest doubles; NaN of any kind becomes the usual one.
    std::vector<double> to_doubles() const;

    /// Changes the signs, those of zeros, infinities and NaN as well.
    float_array operator-() const;
    /// Whether types, shapes and all words are equal, so NaN equals itself and the zeros differ; `equal` compares
    /// values.
    friend bool operator==(const float_array& a, const float_array& b) {
        return a.mType == b.mType && a.mShape == b.mShape && a.mWords == b.mWords;
    }

 private:
    friend class FloatAccess;
    static float_array rounded(std::span<const float_value> values, const float_format& format);
    static float_value valueOf(double value);

    float_type mType;
    array_shape mShape{0};
    std::string mName;
    std::vector<std::uint64_t> mWords;
};

/// Rounds values to a format. NaN becomes the quiet NaN with a zero sign. Complex arrays raise "tolvane:array:complex".
TOLVANE_API float_array cast(const fixed_array& x, const float_format& format);
TOLVANE_API float_array cast(const float_array& x, const float_format& format);
/// Forces numbers into a fixed-point format; infinities and NaN raise "tolvane:value:finite".
TOLVANE_API fixed_array cast(const float_array& x, const fixed_format& format);

// Arithmetic as IEEE 754 has it: the exact result of numbers is rounded once, 0 - 0 is -0 only if rounding goes down,
// and what has no value is NaN. Operands may be of different types. Shapes are equal, or an operand has one element;
// others raise "tolvane:array:shape".

TOLVANE_API float_array add(const float_array& a, const float_array& b, const float_format& format);
TOLVANE_API float_array subtract(const float_array& a, const float_array& b, const float_format& format);
TOLVANE_API float_array multiply(const float_array& a, const float_array& b, const float_format& format);
/// a b + c, rounded once.
TOLVANE_API float_array multiply_add(const float_array& a, const float_array& b, const float_array& c,
                                     const float_format& format);

// The same in the type of both operands, to nearest with ties to even; different types raise "tolvane:float:type".
TOLVANE_API float_array operator+(const float_array& a, const float_array& b);
TOLVANE_API float_array operator-(const float_array& a, const float_array& b);
TOLVANE_API float_array operator*(const float_array& a, const float_array& b);

// Comparison by value, element by element: zeros are equal, and NaN is unordered.
TOLVANE_API std::vector<bool> equal(const float_array& a, const float_array& b);
TOLVANE_API std::vector<bool> less(const float_array& a, const float_array& b);

/// Writes the type, the shape and up to some twenty elements.
TOLVANE_API std::ostream& operator<<(std::ostream& out, const float_array& x);

// Definitions.

template <float_source Range>
float_array::float_array(const Range& values, const float_format& format) {
    std::vector<float_value> kept;
    for (const auto& value : values) {
        using Value = std::ranges::range_value_t<Range>;
        if constexpr (std::floating_point<Value>) {
            kept.push_back(valueOf(static_cast<double>(value)));
        } else {
            const exact_value number(value);
            kept.push_back({float_value::kind::number, number.is_negative(), number});
        }
    }
    *this = rounded(kept, format);
}

}  // namespace tolvane
