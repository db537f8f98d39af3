// Recursive and non-recursive filters, exact or quantized node by node: what a filter in hardware computes, word for
// word.
//
//     fixed_array x(samples, "s16,15", "x");
//     fixed_array y = sosfilt({{0.25, 0.5, 0.25, 1, -0.5, 0.25}}, x,
//                             {.coefficients_b = "s18,16", .coefficients_a = "s18,16",
//                              .section_output = "s16,15 convergent"});
//     fixed_array z = lfilter({0.5, 0.25, 0.25}, {1}, x);     // without feedback everything can be exact
//
// A signal in blocks comes to the same words as in one go:
//
//     filter_state state;
//     fixed_array first = lfilter({0.5, 0.5}, {1}, x, state);
//     fixed_array second = lfilter({0.5, 0.5}, {1}, x, state);
//
// A section has the coefficients b0 to bN and a1 to aM; a0 is 1 and multiplies nothing. Every node with a format
// quantizes each value that passes it, and one without leaves it exact. With [...] for such a node, and u for the
// section's input, [gain x] of section_input:
//
//     direct1      y = [b0 u + b1 u1 + ... + bN uN - a1 y1 - ... - aM yM] of section_output, added from left to right.
//                  The delays u1, y1 take [u] and [y] of state.
//     direct2      w = [u - a1 w1 - ... - aM wM] of state; y = [b0 w + b1 w1 + ... + bN wN] of section_output.
//                  The delay w1 takes w.
//     transposed1  w = [u + p1] of sum_a; y = [q1 + b0 w] of section_output. Then, for k from 1 on,
//                  pk = [p(k+1) - ak w] of state, qk = [q(k+1) + bk w] of state.
//     transposed2  y = [z1 + b0 u] of section_output. Then, for k from 1 on, zk = [z(k+1) + bk u - ak y] of state.
//
// In all of them each product with a b is quantized by product_b, and with an a by product_a. Then it is added, and the
// sum is quantized: by sum_b where a product with a b was added, by sum_a where one with an a was. A sum that begins
// with a product is quantized from this product on. Coefficients of 0 and 1 are like all others.
//
// A place of the logs is named after the format, "acc", or after the node if the format has no name, "sum_b"; where
// there are several sections, "section 1 acc". The options' name precedes that: "lowpass section 1 acc".
#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <ranges>
#include <string>
#include <utility>
#include <vector>

#include "host/export.h"
#include "program/code_location.h"
#include "program/fixed_array.h"
#include "program/format.h"

namespace tolvane {

enum class filter_form : std::uint8_t { direct1, direct2, transposed1, transposed2 };

/// What becomes of the minus sign of a: products are quantized and then subtracted, or the coefficients are negated
/// before they are quantized, and products are added. The negative of a value that was rounded isn't always the
/// negative value rounded.
enum class feedback_sign : std::uint8_t { subtract, negated };

/// A missing format is exact.
struct filter_options {
    filter_form form = filter_form::direct1;
    feedback_sign a_sign = feedback_sign::subtract;
    std::optional<fixed_format> coefficients_b = std::nullopt;
    std::optional<fixed_format> coefficients_a =
        std::nullopt;  // a0 stays 1, whether it is a value of the format or not
    std::optional<fixed_format> section_input = std::nullopt;
    std::optional<fixed_format> product_b = std::nullopt;
    std::optional<fixed_format> product_a = std::nullopt;
    std::optional<fixed_format> sum_b = std::nullopt;
    std::optional<fixed_format> sum_a = std::nullopt;
    std::optional<fixed_format> state = std::nullopt;
    std::optional<fixed_format> section_output = std::nullopt;
    /// One for each section, or none. The input of a section is multiplied by its gain before section_input.
    fixed_array gains = {};
    /// Precedes the names of places, and names the result unless section_output does.
    std::string name = {};
};

/// What a section holds between samples. Each delay has a type that holds all its values, one element for each signal
/// (the shape of the signals without their last axis).
struct section_state {
    /// direct1: u1, u2 and so on; transposed1: q1, q2; direct2 and transposed2: all delays.
    std::vector<fixed_array> b;
    /// direct1: y1, y2; transposed1: p1, p2; else none.
    std::vector<fixed_array> a;
};

/// Without sections, all delays are zero.
struct filter_state {
    std::vector<section_state> sections;
};

/// One side's coefficients, as a vector of the array kind, or doubles, which need a format unless their mantissas are
/// no longer than the words of the signal.
class filter_coefficients {
 public:
    filter_coefficients(fixed_array values)  // NOLINT(google-explicit-constructor)
        : mArray(std::move(values)) {}
    template <class Number>
    requires std::floating_point<Number> || std::integral<Number> filter_coefficients(
        std::initializer_list<Number> values)
        : mDoubles(values.begin(), values.end()) {}
    /// A mixture such as {1, -0.5}.
    filter_coefficients(std::initializer_list<double> values) : mDoubles(values) {}
    template <std::ranges::input_range Range>
    requires std::floating_point<std::ranges::range_value_t<Range>> || std::integral<std::ranges::range_value_t<Range>>
    filter_coefficients(const Range& values)  // NOLINT(google-explicit-constructor)
        : mDoubles(std::ranges::begin(values), std::ranges::end(values)) {}

    /// Null for doubles.
    const fixed_array* array() const { return mArray ? &*mArray : nullptr; }
    const std::vector<double>& doubles() const { return mDoubles; }

 private:
    std::optional<fixed_array> mArray;
    std::vector<double> mDoubles;
};

/// Second-order sections, each as b0, b1, b2, a0, a1, a2: an array of n by 6, or doubles as in `filter_coefficients`.
class filter_sections {
 public:
    filter_sections(const fixed_array& values)  // NOLINT(google-explicit-constructor)
        : mCoefficients(values) {}
    filter_sections(const std::vector<std::array<double, 6>>& sections)  // NOLINT(google-explicit-constructor)
        : mCoefficients(flat(sections)) {}
    filter_sections(std::initializer_list<std::array<double, 6>> sections)
        : filter_sections(std::vector<std::array<double, 6>>(sections)) {}

    const filter_coefficients& coefficients() const { return mCoefficients; }

 private:
    static std::vector<double> flat(const std::vector<std::array<double, 6>>& sections) {
        std::vector<double> values;
        for (const auto& section : sections) {
            values.insert(values.end(), section.begin(), section.end());
        }
        return values;
    }

    filter_coefficients mCoefficients;
};

/// Filters a real signal, or each along the last axis, by one section of real coefficients. The result has the type of
/// section_output or else one that holds every exact result, and x's shape.
///
/// Coefficients are known numbers, so the types of exact results go by their values, unlike those of operators.
///
/// Raises, before anything has changed but the logs of quantized coefficients, "tolvane:filter:a0" where a0 isn't 1,
/// "tolvane:filter:coefficients" for those that are missing, no vector, or doubles in need of a format,
/// "tolvane:filter:growth" for a feedback that would grow without bound, since no format is in its loop,
/// "tolvane:filter:gains" and "tolvane:filter:state" for as many as don't fit, and "tolvane:array:growth".
TOLVANE_API fixed_array lfilter(const filter_coefficients& b, const filter_coefficients& a, const fixed_array& x,
                                const filter_options& options = {},
                                const code_location& where = code_location::current());
/// The same from a state, which then holds what the samples after these need; it is as before if that raises.
TOLVANE_API fixed_array lfilter(const filter_coefficients& b, const filter_coefficients& a, const fixed_array& x,
                                filter_state& state, const filter_options& options = {},
                                const code_location& where = code_location::current());
/// As `lfilter`, by sections one after the other.
TOLVANE_API fixed_array sosfilt(const filter_sections& sos, const fixed_array& x, const filter_options& options = {},
                                const code_location& where = code_location::current());
TOLVANE_API fixed_array sosfilt(const filter_sections& sos, const fixed_array& x, filter_state& state,
                                const filter_options& options = {},
                                const code_location& where = code_location::current());

}  // namespace tolvane
