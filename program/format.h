// Formats: what a value is forced into at one place of a design. A format is a type (sign, word length, place of the
// binary point), a rounding, an overflow and a name, under which logs keep what happens at the place.
//
//     sfix(16, 15)                                      a type: 16 bits with sign, 15 of them fraction
//     fixed_format{sfix(16, 15), rounding::convergent}        a format, with a default for all that isn't given
//     fixed_format("s16,15 convergent wrap")                  the same as text
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

#include "host/export.h"
#include "program/error.h"

namespace tolvane {

/// How a value between two words is rounded.
enum class rounding : std::uint8_t {
    ceil,        // toward plus infinity
    convergent,  // to nearest, ties to even
    toward_zero,
    floor,         // toward minus infinity: bits are cut off
    nearest,       // ties toward plus infinity: a half is added and bits are cut off
    nearest_away,  // ties away from zero
    nearest_zero,  // ties toward zero
    nearest_down,  // ties toward minus infinity
    nearest_odd,   // ties to odd
    away_from_zero,
    jam,         // bits are cut off, and the last one is set if any of them was
    add_sign,    // bits are cut off, and the sign bit is added in the last place
    stochastic,  // up with the probability of the fraction
};

/// What becomes of a value beyond the words.
enum class overflow : std::uint8_t {
    saturate,   // the nearest bound
    wrap,       // the low bits
    symmetric,  // as saturate, but minus the greatest word for the least one
    zero,
    keep_sign,  // the sign bit and the low bits below it
};

/// The values word * 2^-fraction, for words of so many bits, in two's complement if signed.
struct fixed_type {
    bool is_signed = true;
    int bits = 16;
    int fraction = 15;

    friend bool operator==(const fixed_type&, const fixed_type&) = default;
    /// "s16,15" or "u8,-2".
    TOLVANE_API std::string text() const;
};

/// Types with and without sign. Words have 1 to 65535 bits; others raise "tolvane:format:type".
TOLVANE_API fixed_type sfix(int bits, int fraction);
TOLVANE_API fixed_type ufix(int bits, int fraction);
/// Words of so many bits with the most bits after the point that leave room for a value: the best precision for a
/// constant. Zero, and a value below zero without a sign, get all bits after the point. Values that aren't finite raise
/// "tolvane:value:finite".
TOLVANE_API fixed_type best_type(bool is_signed, int bits, double value);

/// Immutable; equal if all parts are.
class TOLVANE_API fixed_format {
 public:
    fixed_format(const fixed_type& type, tolvane::rounding rounding = rounding::nearest,
                 tolvane::overflow overflow = overflow::saturate, std::string name = {});
    /// Reads a type, then the names of a rounding and an overflow in any order. A type is written as one of
    ///     s16,15   u8,4      fxp-s16/15: 16 bits, 15 of them fraction; the "fxp" form has all bits and the fraction
    ///     ac_fixed<16,1,true>            16 bits, 1 of them before the point, signed
    ///     sfixed(0 downto -15)           the places of the first bit and the last
    /// Raises "tolvane:format:text", and for "Q1.15", which two conventions read differently, with both readings.
    fixed_format(std::string_view text, std::string name = {});  // NOLINT(google-explicit-constructor)
    fixed_format(const char* text, std::string name = {}) : fixed_format(std::string_view(text), std::move(name)) {}

    const fixed_type& type() const { return mType; }
    tolvane::rounding rounding() const { return mRounding; }
    tolvane::overflow overflow() const { return mOverflow; }
    const std::string& name() const { return mName; }
    /// The same format under another name.
    fixed_format named(std::string name) const;
    /// All but the name, as the constructor reads it.
    std::string text() const;

    friend bool operator==(const fixed_format&, const fixed_format&) = default;

 private:
    fixed_type mType;
    tolvane::rounding mRounding = rounding::nearest;
    tolvane::overflow mOverflow = overflow::saturate;
    std::string mName;
};

TOLVANE_API std::ostream& operator<<(std::ostream& out, const fixed_type& type);
TOLVANE_API std::ostream& operator<<(std::ostream& out, const fixed_format& format);
TOLVANE_API std::string_view name_of(rounding rounding);
TOLVANE_API std::string_view name_of(overflow overflow);

}  // namespace tolvane

template <>
struct std::hash<tolvane::fixed_type> {
    std::size_t operator()(const tolvane::fixed_type& type) const noexcept {
        const auto bits = static_cast<std::size_t>(type.bits);
        return ((static_cast<std::size_t>(static_cast<unsigned>(type.fraction)) * 65536 + bits) << 1) +
               (type.is_signed ? 1U : 0U);
    }
};
template <>
struct std::hash<tolvane::fixed_format> {
    std::size_t operator()(const tolvane::fixed_format& format) const noexcept {
        const std::size_t modes =
            static_cast<std::size_t>(format.rounding()) * 8 + static_cast<std::size_t>(format.overflow());
        return std::hash<tolvane::fixed_type>()(format.type()) * 31 + modes +
               31 * std::hash<std::string>()(format.name());
    }
};
