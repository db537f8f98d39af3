// The types of exact results: they hold every value that the types of the operands allow.
#pragma once

#include <algorithm>

#include "program/format.h"
#include "quantization/integer_blocks.h"

namespace tolvane::detail {

/// The bits of a type with a finer last place, and with a sign even if it has none.
inline int alignedBits(const fixed_type& type, int fraction, bool isSigned) {
    return type.bits + (fraction - type.fraction) + (isSigned && !type.is_signed ? 1 : 0);
}

inline fixed_type sumType(const fixed_type& a, const fixed_type& b, integers::Sign sign) {
    const int fraction = std::max(a.fraction, b.fraction);
    if (sign == integers::Sign::minus && !a.is_signed && !b.is_signed) {
        return {true, std::max(alignedBits(a, fraction, false), alignedBits(b, fraction, false)) + 1, fraction};
    }
    const bool isSigned = a.is_signed || b.is_signed;
    return {isSigned, std::max(alignedBits(a, fraction, isSigned), alignedBits(b, fraction, isSigned)) + 1, fraction};
}

inline fixed_type productType(const fixed_type& a, const fixed_type& b) {
    return {a.is_signed || b.is_signed, a.bits + b.bits, a.fraction + b.fraction};
}

}  // namespace tolvane::detail
