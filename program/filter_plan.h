// Plans of filters: the ranges of all values are followed through the equations until they stay as they are. That tells
// the types of delays and results, and whether plain integers are long enough.
#pragma once

#include <array>
#include <limits>
#include <optional>
#include <vector>

#include "program/filter_forms.h"
#include "program/filters.h"

namespace tolvane::detail::filter {

/// What is known of values: their bounds, and that they are multiples of 2^-fraction. Zeros are multiples of anything.
struct Range {
    static constexpr int kNoFraction = std::numeric_limits<int>::min() / 4;
    exact_value low = {};
    exact_value high = {};
    int fraction = kNoFraction;

    friend bool operator==(const Range&, const Range&) = default;
    static Range of(const fixed_type& type);
    bool isZero() const { return low.is_zero() && high.is_zero(); }
    /// The last place of integers that stand for the values.
    int unit() const { return fraction == kNoFraction ? 0 : fraction; }
    /// The bits of a signed integer times 2^-unit that holds all values.
    int bitsAt(int unit) const;
    /// The shortest type that holds all values.
    fixed_type type() const;
};

Range joined(const Range& a, const Range& b);

/// Exact numbers with a common last place.
struct Coefficients {
    std::vector<exact_value> values;
    int fraction = 0;
};

/// A section as the equations take it.
struct Section {
    Coefficients b;
    Coefficients a;  // from a1 on, with the sign that the products need
    bool subtracts = true;
    std::optional<exact_value> gain;
    int gainFraction = 0;
    /// Their formats, named for the logs.
    std::array<std::optional<fixed_format>, kNodes> formats;
};

/// How a section holds its delays, as ranges or values.
template <class Value>
using Delays = std::array<std::vector<Value>, 2>;

/// What a section's values come to.
struct Plan {
    Range input;   // what its gain makes of the input
    Range factor;  // what the input node makes of that
    Range output;
    Delays<Range> delays;
    std::array<Range, kNodes> arriving;  // at the nodes
    Range sums;
    Range feedbackFactor;  // direct2's and transposed1's w
};

/// The types that places make of what arrives at the nodes.
using NodeTypes = std::array<std::optional<fixed_type>, kNodes>;

/// Follows values of a range through a section, from delays in some ranges on. A feedback without a place raises
/// "tolvane:filter:growth".
Plan planOf(const Section& section, filter_form form, const NodeTypes& types, const Range& x,
            const Delays<Range>& start);
/// The unit of a node's values in a form, as a number of places after the point: all sums have one, which products
/// without a place have, too; the states of direct1 take inputs.
int unitOf(const Plan& plan, filter_form form, Node node);

template <class Machine>
auto stepBy(filter_form form, Machine& machine, const typename Machine::Factor& u) {
    switch (form) {
        case filter_form::direct2:
            return filterStep<filter_form::direct2>(machine, u);
        case filter_form::transposed1:
            return filterStep<filter_form::transposed1>(machine, u);
        case filter_form::transposed2:
            return filterStep<filter_form::transposed2>(machine, u);
        default:
            return filterStep<filter_form::direct1>(machine, u);
    }
}

}  // namespace tolvane::detail::filter
