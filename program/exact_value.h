// One exact number: an integer times a power of two, of any size. What arrays are made of and asked for, element by
// element; no rounding happens here.
#pragma once

#include <compare>
#include <concepts>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "host/export.h"
#include "program/error.h"

namespace tolvane {

namespace detail {
__extension__ typedef __int128 Int128;
__extension__ typedef unsigned __int128 Unsigned128;
}  // namespace detail

/// An integer of up to 128 bits.
template <class T>
concept whole_number = std::integral<T> || std::same_as<T, detail::Int128> || std::same_as<T, detail::Unsigned128>;

/// A plain number: a double, a float or an integer.
template <class T>
concept plain_number = std::floating_point<T> || whole_number<T>;

class TOLVANE_API exact_value {
 public:
    exact_value() = default;
    template <whole_number Integer>
    exact_value(Integer value)  // NOLINT(google-explicit-constructor)
        : exact_value(static_cast<std::uint64_t>(value),
                      value < 0 ? ~std::uint64_t{0} : static_cast<std::uint64_t>(highBits(value)), value < 0) {}
    /// A finite double, exactly; others raise "tolvane:value:finite".
    exact_value(double value);  // NOLINT(google-explicit-constructor)
    /// Decimal text, "-12.375e-3", if it is a multiple of a power of two; others raise "tolvane:value:text".
    explicit exact_value(std::string_view text);
    /// An integer in two's complement, its lowest limb first, times 2^exponent.
    static exact_value from_words(const std::uint64_t* limbs, std::size_t count, bool is_signed, int exponent);

    bool is_zero() const { return mMagnitude.empty(); }
    bool is_negative() const { return mIsNegative; }
    /// 0, or odd times 2^exponent().
    int exponent() const { return mExponent; }
    /// The bits of the odd integer, 0 for zero.
    int bits() const;
    /// The place of the highest bit, as a power of two; only of values other than zero.
    int magnitude_exponent() const { return mExponent + bits() - 1; }
    /// The limbs of the odd integer's absolute value, the lowest first.
    const std::vector<std::uint64_t>& magnitude() const { return mMagnitude; }

    /// The nearest double, ties to even.
    double to_double() const;
    /// Exact decimal text, without an exponent.
    std::string text() const;

    friend bool operator==(const exact_value&, const exact_value&) = default;
    friend TOLVANE_API std::strong_ordering operator<=>(const exact_value& a, const exact_value& b);
    friend TOLVANE_API exact_value operator+(const exact_value& a, const exact_value& b);
    friend TOLVANE_API exact_value operator-(const exact_value& a, const exact_value& b);
    friend TOLVANE_API exact_value operator*(const exact_value& a, const exact_value& b);
    friend TOLVANE_API std::ostream& operator<<(std::ostream& out, const exact_value& value);
    exact_value operator-() const;

 private:
    exact_value(std::uint64_t low, std::uint64_t high, bool isNegative);
    template <class Integer>
    static auto highBits(Integer value) {
        if constexpr (sizeof(Integer) > sizeof(std::uint64_t)) {
            return value >> 64;
        } else {
            return std::uint64_t{0};
        }
    }

    bool mIsNegative = false;
    int mExponent = 0;
    std::vector<std::uint64_t> mMagnitude;  // no zero limb on top

    friend struct ExactInteger;
};

}  // namespace tolvane
