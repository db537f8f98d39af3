#include "operations.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace hardware {

using tolvane::fixed_array;
using tolvane::fixed_format;
using tolvane::fixed_type;
using tolvane::overflow;
using tolvane::rounding;

namespace {

constexpr rounding kRoundings[] = {rounding::ceil,           rounding::convergent,   rounding::toward_zero,
                                   rounding::floor,          rounding::nearest,      rounding::nearest_away,
                                   rounding::nearest_zero,   rounding::nearest_down, rounding::nearest_odd,
                                   rounding::away_from_zero, rounding::jam,          rounding::add_sign};
constexpr overflow kOverflows[] = {overflow::saturate, overflow::wrap, overflow::symmetric, overflow::zero,
                                   overflow::keep_sign};

/// What the library finds without rounding, in the type that hardware has for it.
fixed_array inType(const fixed_array& exact, const fixed_type& type) {
    fixed_array held = cast(exact, {type, rounding::floor, overflow::wrap});
    if (held != exact) {
        throw std::runtime_error("exact results of " + exact.type().text() + " don't fit " + type.text() +
                                 ", the type of the hardware");
    }
    return held;
}

/// The range of a sum: one bit above the operands, in which an unsigned one has a sign.
fixed_type sumType(const fixed_type& a, const fixed_type& b, bool isSigned) {
    const auto high = [&](const fixed_type& type) { return highOf(type) + (isSigned && !type.is_signed ? 1 : 0); };
    return typeOfRange(isSigned, std::max(high(a), high(b)) + 1, std::min(lowOf(a), lowOf(b)));
}

fixed_type productType(const fixed_type& a, const fixed_type& b) {
    return typeOfRange(a.is_signed || b.is_signed, highOf(a) + highOf(b) + 1, lowOf(a) + lowOf(b));
}

}  // namespace

std::string_view nameOf(Kind kind) {
    constexpr std::string_view kNames[] = {"casts", "sums", "differences", "products", "quotients"};
    return kNames[static_cast<int>(kind)];
}

PackageOperation PackageOperation::drawn(Draw& draw, Kind kind) {
    const bool isSigned = draw.oneIn(2);
    PackageOperation drawn{kind, draw.type(isSigned), {}, draw.oneIn(2), draw.oneIn(2), draw.between(0, 5), false};
    drawn.right = kind == Kind::cast ? draw.typeNear(drawn.left, isSigned) : draw.type(isSigned);
    if (kind == Kind::cast && draw.oneIn(5)) {
        drawn.keepsSign = true;
        drawn.right = {isSigned, draw.bits(), drawn.left.fraction};
    }
    return drawn;
}

fixed_type PackageOperation::resultType() const {
    switch (kind) {
        case Kind::cast:
            return right;
        case Kind::sum:
        case Kind::difference:
            return sumType(left, right, left.is_signed);
        case Kind::product:
            return productType(left, right);
        case Kind::quotient:
            break;
    }
    return left.is_signed ? typeOfRange(true, highOf(left) - lowOf(right) + 1, lowOf(left) - highOf(right))
                          : typeOfRange(false, highOf(left) - lowOf(right), lowOf(left) - highOf(right) - 1);
}

fixed_array PackageOperation::result(const fixed_array& a, const fixed_array& b) const {
    const fixed_type type = resultType();
    // Signed words whose last place moves more than one above their first aren't rounded: they become zeros and ones of
    // the sign, as if cut off.
    const bool extendsSign = kind == Kind::cast && type.is_signed && lowOf(type) > highOf(left) + 1;
    const rounding rule = rounds && !extendsSign ? rounding::convergent : rounding::floor;
    switch (kind) {
        case Kind::cast:
            if (keepsSign) {
                return cast(a, {type, rounding::floor, overflow::keep_sign});
            }
            return cast(a, {type, rule, saturates ? overflow::saturate : overflow::wrap});
        case Kind::sum:
            return inType(a + b, type);
        case Kind::difference:
            // Of unsigned words it has no sign and wraps.
            return type.is_signed ? inType(a - b, type) : cast(a - b, {type, rounding::floor, overflow::wrap});
        case Kind::product:
            return inType(a * b, type);
        case Kind::quotient:
            break;
    }
    // First the division of integers, toward zero with some guard bits, which are then rounded away.
    const fixed_type guarded{type.is_signed, type.bits + guardBits, type.fraction + guardBits};
    return cast(divide(a, b, {guarded, rounding::toward_zero, overflow::wrap}), {type, rule, overflow::wrap});
}

std::string PackageOperation::text() const {
    std::ostringstream out;
    out << (keepsSign ? 'n' : "c+-*/"[static_cast<int>(kind)]) << (left.is_signed ? " s" : " u")
        << (rounds ? " r" : " t") << (saturates ? " s " : " w ") << highOf(left) << ' ' << lowOf(left) << ' '
        << highOf(right) << ' ' << lowOf(right) << ' ' << guardBits;
    return out.str();
}

std::string PackageOperation::expression() const {
    const auto range = [](const fixed_type& type) {
        return (type.is_signed ? "sfixed(" : "ufixed(") + std::to_string(highOf(type)) + " downto " +
               std::to_string(lowOf(type)) + ")";
    };
    const std::string round = rounds ? "fixed_round" : "fixed_truncate";
    if (keepsSign) {
        return std::string(left.is_signed ? "resize(signed" : "resize(unsigned") + "(a), " +
               std::to_string(right.bits) + ") of numeric_std, a: " + range(left);
    }
    if (kind == Kind::cast) {
        return "resize(a, " + std::to_string(highOf(right)) + ", " + std::to_string(lowOf(right)) +
               (saturates ? ", fixed_saturate, " : ", fixed_wrap, ") + round + "), a: " + range(left);
    }
    const std::string operands = ", a: " + range(left) + ", b: " + range(right);
    if (kind == Kind::quotient) {
        return "divide(a, b, " + round + ", " + std::to_string(guardBits) + ")" + operands;
    }
    return std::string("a ") + " +-*"[static_cast<int>(kind)] + " b" + operands;
}

ModuleOperation ModuleOperation::drawn(Draw& draw, Kind kind) {
    const fixed_type left = draw.type(draw.oneIn(2));
    const fixed_type right = draw.type(draw.oneIn(2));
    switch (kind) {
        case Kind::cast:
            return {kind, false, left, fixed_type{true, 2, 0}, formatDrawn(draw, draw.typeNear(left, draw.oneIn(2)))};
        case Kind::sum:
            return {kind, false, left, right, sumType(left, right, left.is_signed || right.is_signed)};
        case Kind::difference:
            return {kind, false, left, right, sumType(left, right, true)};
        case Kind::product:
            return {kind, false, left, right, productType(left, right)};
        case Kind::quotient:
            break;
    }
    if (draw.oneIn(4)) {
        const fixed_type dividend{left.is_signed, left.bits, 0};
        const fixed_type divisor{right.is_signed, right.bits, 0};
        const fixed_type type{left.is_signed || right.is_signed, left.bits + 1, 0};
        return {kind, true, dividend, divisor, {type, rounding::toward_zero, overflow::wrap}};
    }
    // Quotients are most often near 2^size.
    const int size = highOf(left) - highOf(right);
    const int high = size + draw.between(-3, 6);
    const fixed_type type = typeOfRange(draw.oneIn(2), high, high - draw.bits() + 1);
    return {kind, false, left, right, formatDrawn(draw, type)};
}

fixed_array ModuleOperation::result(const fixed_array& a, const fixed_array& b) const {
    switch (kind) {
        case Kind::cast:
            return cast(a, format);
        case Kind::sum:
            return inType(a + b, format.type());
        case Kind::difference:
            return inType(a - b, format.type());
        case Kind::product:
            return inType(a * b, format.type());
        case Kind::quotient:
            break;
    }
    return divide(a, b, format);
}

std::string_view ModuleOperation::name() const {
    constexpr std::string_view kNames[] = {"cast", "sum", "difference", "product", "quotient"};
    return isInteger ? "integer quotient" : kNames[static_cast<int>(kind)];
}

std::string ModuleOperation::parameters() const {
    return ".OPERATION(\"" + std::string(name()) + "\"), " + parametersOf("A", left, true) + ", " +
           (kind == Kind::cast ? "" : parametersOf("B", right, true) + ", ") + parametersOf("R", format, true);
}

std::string parametersOf(const std::string& prefix, const fixed_type& type, bool withSign) {
    std::ostringstream out;
    out << '.' << prefix << "_BITS(" << type.bits << "), ." << prefix << "_FRACTION(" << type.fraction << ')';
    if (withSign) {
        out << ", ." << prefix << "_SIGNED(" << type.is_signed << ')';
    }
    return out.str();
}

std::string parametersOf(const std::string& prefix, const fixed_format& format, bool withSign) {
    std::ostringstream out;
    out << parametersOf(prefix, format.type(), withSign) << ", ." << prefix << "_ROUNDING(\""
        << name_of(format.rounding()) << "\"), ." << prefix << "_OVERFLOW(\"" << name_of(format.overflow()) << "\")";
    return out.str();
}

fixed_format formatDrawn(Draw& draw, const fixed_type& type, bool accumulates) {
    rounding rule = draw.of(kRoundings);
    while (accumulates && rule == rounding::add_sign) {
        rule = draw.of(kRoundings);
    }
    return {type, rule, draw.of(kOverflows)};
}

}  // namespace hardware
