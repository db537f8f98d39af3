// Casts, sums, differences, products and quotients: what hardware is asked, and what the library answers.
#pragma once

#include <string>
#include <string_view>

#include "draw.h"
#include "program/tolvane.h"

namespace hardware {

enum class Kind { cast, sum, difference, product, quotient };
/// "casts" and so on.
std::string_view nameOf(Kind kind);

/// One operation of the IEEE fixed-point package on words of given types.
struct PackageOperation {
    Kind kind;
    tolvane::fixed_type left;
    tolvane::fixed_type right;  // of a cast: the type of the result
    bool rounds;                // fixed_round, or fixed_truncate
    bool saturates;             // fixed_saturate, or fixed_wrap
    int guardBits;              // of quotients
    bool keepsSign;             // a cast by the resize of numeric_std instead

    static PackageOperation drawn(Draw& draw, Kind kind);
    tolvane::fixed_type resultType() const;
    tolvane::fixed_array result(const tolvane::fixed_array& a, const tolvane::fixed_array& b) const;
    /// The operation as fixed_cases.vhdl reads it, and as a program in VHDL writes it.
    std::string text() const;
    std::string expression() const;
};

/// One operation of a module in cast.v or arithmetic.v.
struct ModuleOperation {
    Kind kind;
    bool isInteger;  // the quotient of integers, by the operator
    tolvane::fixed_type left;
    tolvane::fixed_type right;
    tolvane::fixed_format format;  // of the result

    static ModuleOperation drawn(Draw& draw, Kind kind);
    tolvane::fixed_array result(const tolvane::fixed_array& a, const tolvane::fixed_array& b) const;
    /// What the operation is called in benches.v, and its parameters.
    std::string_view name() const;
    std::string parameters() const;
};

/// The parameters of a place in a module: ".S_BITS(36), .S_FRACTION(30), .S_SIGNED(1)", and those of its modes.
std::string parametersOf(const std::string& prefix, const tolvane::fixed_type& type, bool withSign);
std::string parametersOf(const std::string& prefix, const tolvane::fixed_format& format, bool withSign);
/// A rounding and an overflow that modules have; `accumulates` leaves out the one that moves values already on the
/// grid.
tolvane::fixed_format formatDrawn(Draw& draw, const tolvane::fixed_type& type, bool accumulates = false);

}  // namespace hardware
