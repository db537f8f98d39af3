// Words and values of arrays as text, one text for each element.
//
//     to_hex(x)                         {"0008", "fff8"}: the words as they lie in memory
//     from_hex(lines, "s16,4")          the same words back, as values of a type
//     to_decimal(x)                     {"0.5", "-0.5"}: the values, exactly
//     from_decimal(lines, "s16,4")      decimal numbers of any kind, each rounded once
//
// Digits of words are unsigned patterns of a fixed width: a word of 10 bits has 3 hexadecimal digits. A complex element
// is one word of twice the bits, {imag, real}: its real part is the lower half. word_files.h writes files of them.
#pragma once

#include <concepts>
#include <ranges>
#include <string>
#include <string_view>
#include <vector>

#include "host/export.h"
#include "program/fixed_array.h"

namespace tolvane {

/// A range of texts.
template <class T>
concept text_source =
    std::ranges::input_range<T> && std::convertible_to<std::ranges::range_reference_t<const T>, std::string_view> &&
    !std::convertible_to<const T&, std::string_view>;

TOLVANE_API std::vector<std::string> to_hex(const fixed_array& x);
TOLVANE_API std::vector<std::string> to_bin(const fixed_array& x);
TOLVANE_API std::vector<std::string> to_oct(const fixed_array& x);
/// Exact decimal numbers, without exponents; complex arrays raise "tolvane:array:complex".
TOLVANE_API std::vector<std::string> to_decimal(const fixed_array& x);

// The texts of one array of one dimension. Of the format the type and the name matter. Digits have either case, and
// underscores between them; there may be fewer than the word needs. Other characters, and digits or bits beyond the
// word, raise "tolvane:words:text".

template <text_source Texts>
fixed_array from_hex(const Texts& texts, const fixed_format& format, bool is_complex = false);
template <text_source Texts>
fixed_array from_bin(const Texts& texts, const fixed_format& format, bool is_complex = false);
template <text_source Texts>
fixed_array from_oct(const Texts& texts, const fixed_format& format, bool is_complex = false);
/// Numbers like "-12.375e-3", each quantized once. Other texts raise "tolvane:value:text". If a log lives, the range
/// that it hears of is that of the numbers, cut off far below the format's last place.
template <text_source Texts>
fixed_array from_decimal(const Texts& texts, const fixed_format& format);

namespace detail {

TOLVANE_API fixed_array arrayOfDigits(const std::vector<std::string_view>& texts, int digitBits,
                                      const fixed_format& format, bool isComplex);
TOLVANE_API fixed_array arrayOfDecimals(const std::vector<std::string_view>& texts, const fixed_format& format);

/// Calls `make` with views of the texts.
template <class Texts, class Make>
fixed_array withViews(const Texts& texts, const Make& make) {
    std::vector<std::string> kept;  // what the range makes on the way
    std::vector<std::string_view> views;
    if constexpr (std::is_lvalue_reference_v<std::ranges::range_reference_t<const Texts>>) {
        for (const auto& text : texts) {
            views.emplace_back(text);
        }
    } else {
        for (const auto& text : texts) {
            kept.emplace_back(std::string_view(text));
        }
        views.assign(kept.begin(), kept.end());
    }
    return make(views);
}

}  // namespace detail

// Definitions.

template <text_source Texts>
fixed_array from_hex(const Texts& texts, const fixed_format& format, bool is_complex) {
    return detail::withViews(texts,
                             [&](const auto& views) { return detail::arrayOfDigits(views, 4, format, is_complex); });
}

template <text_source Texts>
fixed_array from_bin(const Texts& texts, const fixed_format& format, bool is_complex) {
    return detail::withViews(texts,
                             [&](const auto& views) { return detail::arrayOfDigits(views, 1, format, is_complex); });
}

template <text_source Texts>
fixed_array from_oct(const Texts& texts, const fixed_format& format, bool is_complex) {
    return detail::withViews(texts,
                             [&](const auto& views) { return detail::arrayOfDigits(views, 3, format, is_complex); });
}

template <text_source Texts>
fixed_array from_decimal(const Texts& texts, const fixed_format& format) {
    return detail::withViews(texts, [&](const auto& views) { return detail::arrayOfDecimals(views, format); });
}

}  // namespace tolvane
