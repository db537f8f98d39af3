#include "program/scalar_place.h"

#include <algorithm>

#include "program/kernels.h"
#include "program/log_access.h"

namespace tolvane::detail {

namespace {

template <class Int>
bool make(const fixed_format& format, int exponent, std::uint64_t seed, NarrowPlace<Int>& place) {
    using Unsigned = typename UnsignedOf<Int>::Type;
    using Force = typename NarrowPlace<Int>::Force;
    // One bit for the sign, and one for what rounding adds.
    constexpr int kMostBits = static_cast<int>(sizeof(Int)) * 8 - 2;
    const fixed_type& type = format.type();
    const int shift = -type.fraction - exponent;
    const int valueBits = type.bits - (type.is_signed ? 1 : 0);
    if (valueBits > kMostBits + 1 || shift > kMostBits - 1 || shift < -kMostBits) {
        return false;
    }
    place = {};
    place.right = std::max(shift, 0);
    place.left = std::max(-shift, 0);
    place.greatest = static_cast<Int>((Unsigned{1} << valueBits) - 1);
    place.lowMask = static_cast<Unsigned>(place.greatest);
    place.wordMask = type.is_signed ? 2 * place.lowMask + 1 : place.lowMask;
    place.least = type.is_signed ? -place.greatest - 1 : 0;
    place.limit = static_cast<Int>((Unsigned{1} << (kMostBits - place.left)) - 1);
    place.random = seed;
    switch (format.overflow()) {
        case tolvane::overflow::saturate:
            break;
        case tolvane::overflow::symmetric:
            place.least = type.is_signed ? -place.greatest : 0;
            break;
        case tolvane::overflow::wrap:
            place.force = Force::wrap;
            break;
        case tolvane::overflow::zero:
            place.force = Force::zero;
            break;
        case tolvane::overflow::keep_sign:
            place.force = Force::keepSign;
            break;
    }
    place.unused = static_cast<int>(sizeof(Int)) * 8 - type.bits;
    if (place.right == 0) {
        return true;
    }
    const Int half = Int{1} << (place.right - 1);
    const Int below = 2 * half - 1;
    switch (format.rounding()) {
        case tolvane::rounding::floor:
            break;
        case tolvane::rounding::ceil:
            place.add = below;
            break;
        case tolvane::rounding::toward_zero:
            place.addIfNegative = below;
            break;
        case tolvane::rounding::nearest:
            place.add = half;
            break;
        case tolvane::rounding::nearest_away:
            place.add = half;
            place.addIfNegative = -1;
            break;
        case tolvane::rounding::nearest_zero:
            place.add = half - 1;
            place.addIfNegative = 1;
            break;
        case tolvane::rounding::nearest_down:
            place.add = half - 1;
            break;
        case tolvane::rounding::convergent:
            place.add = half - 1;
            place.addIfOdd = 1;
            break;
        case tolvane::rounding::nearest_odd:
            place.add = half;
            place.addIfOdd = -1;
            break;
        case tolvane::rounding::away_from_zero:
            place.add = below;
            place.addIfNegative = -below;
            break;
        case tolvane::rounding::jam:
            place.add = below;
            place.addIfOdd = -below;
            break;
        case tolvane::rounding::add_sign:
            place.addIfNegative = 2 * half;
            break;
        case tolvane::rounding::stochastic:
            place.isStochastic = true;
            break;
    }
    return true;
}

template <class Int>
exact_value valueOf(Int value, int exponent) {
    std::uint64_t limbs[2] = {static_cast<std::uint64_t>(value),
                              static_cast<std::uint64_t>(static_cast<Int128>(value) >> 64)};
    return exact_value::from_words(limbs, 2, true, exponent);
}

template <class Int>
void give(const fixed_format& format, int exponent, NarrowNotes<Int>& notes, std::uint64_t epoch,
          const code_location& where) {
    if (notes.values == 0) {
        return;
    }
    const int unit = -format.type().fraction;
    addRecord(format, exponent, {valueOf(notes.leastBefore, exponent), valueOf(notes.greatestBefore, exponent)},
              {valueOf(notes.leastAfter, unit), valueOf(notes.greatestAfter, unit)}, notes.values, notes.overflows,
              notes.underflows, epoch, where);
    notes = {};
}

}  // namespace

bool makeNarrowPlace(const fixed_format& format, int exponent, std::uint64_t seed, NarrowPlace<std::int64_t>& place) {
    return make(format, exponent, seed, place);
}
bool makeNarrowPlace(const fixed_format& format, int exponent, std::uint64_t seed, NarrowPlace<Int128>& place) {
    return make(format, exponent, seed, place);
}
void handOver(const fixed_format& format, int exponent, NarrowNotes<std::int64_t>& notes, std::uint64_t epoch,
              const code_location& where) {
    give(format, exponent, notes, epoch, where);
}
void handOver(const fixed_format& format, int exponent, NarrowNotes<Int128>& notes, std::uint64_t epoch,
              const code_location& where) {
    give(format, exponent, notes, epoch, where);
}

}  // namespace tolvane::detail
