// This file is compiled once for each instruction set, by including itself (see quantization/array_kernels.cpp). The
// compiler makes vectors of these loops.
#include "quantization/integer_loops.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "quantization/double_rules.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "quantization/integer_loops.cpp"
#include "quantization/each_target.inl.h"

HWY_BEFORE_NAMESPACE();
namespace tolvane::detail::integers {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using rounding::RoundingRules;

constexpr int kLimbBits = WordGrid::kLimbBits;

/// Integers of one and two limbs as the processor's own.
template <int limbs>
struct Native;
template <>
struct Native<1> {
    using Int [[gnu::may_alias]] = std::int64_t;
    using Unsigned = std::uint64_t;
};
template <>
struct Native<2> {
    __extension__ typedef __int128 Int [[gnu::may_alias]];
    __extension__ typedef unsigned __int128 Unsigned;
};
template <int limbs>
using IntOf = typename Native<limbs>::Int;
template <int limbs>
using UnsignedOf = typename Native<limbs>::Unsigned;

template <int limbs>
auto* integersOf(mp_limb_t* x) {
    return reinterpret_cast<IntOf<limbs>*>(x);
}
template <int limbs>
const auto* integersOf(const mp_limb_t* x) {
    return reinterpret_cast<const IntOf<limbs>*>(x);
}

void widenWords(const mp_limb_t* from, std::size_t count, bool isSigned, mp_limb_t* to) {
    const mp_limb_t mask = isSigned ? ~mp_limb_t{0} : 0;
    for (std::size_t i = 0; i < count; ++i) {
        to[2 * i] = from[i];
        to[2 * i + 1] = static_cast<mp_limb_t>(static_cast<std::int64_t>(from[i]) >> (kLimbBits - 1)) & mask;
    }
}

void narrowWords(const mp_limb_t* from, std::size_t count, mp_limb_t* to) {
    for (std::size_t i = 0; i < count; ++i) {
        to[i] = from[2 * i];
    }
}

bool areAllWithin(const double* values, std::size_t count, const DoubleRange& range) {
    const hn::ScalableTag<double> tag;
    const std::size_t lanes = hn::Lanes(tag);
    const auto factor = hn::Set(tag, range.toInteger);
    const auto least = hn::Set(tag, range.least);
    const auto bound = hn::Set(tag, range.bound);
    std::size_t i = 0;
    auto areAll = hn::Eq(factor, factor);
    for (; i + lanes <= count; i += lanes) {
        const auto scaled = hn::Mul(hn::LoadU(tag, values + i), factor);
        const auto fits = hn::And(hn::Ge(scaled, least), hn::Lt(scaled, bound));
        areAll = hn::And(areAll, hn::And(fits, hn::Eq(hn::Trunc(scaled), scaled)));
    }
    bool isWithin = hn::AllTrue(tag, areAll);
    for (; i < count; ++i) {
        const double scaled = values[i] * range.toInteger;
        isWithin = isWithin && scaled >= range.least && scaled < range.bound && std::trunc(scaled) == scaled;
    }
    return isWithin;
}

/// Of doubles that are integers times the factor's inverse.
bool integersOfDoubles(const double* values, std::size_t count, double toInteger, mp_limb_t* out) {
    const hn::ScalableTag<double> tag;
    const hn::ScalableTag<std::int64_t> wordTag;
    const std::size_t lanes = hn::Lanes(tag);
    const auto factor = hn::Set(tag, toInteger);
    const auto zero = hn::Zero(tag);
    auto* const x = reinterpret_cast<std::int64_t*>(out);
    bool hasZero = false;
    std::size_t i = 0;
    auto areZero = hn::Ne(factor, factor);
    for (; i + lanes <= count; i += lanes) {
        const auto scaled = hn::Mul(hn::LoadU(tag, values + i), factor);
        areZero = hn::Or(areZero, hn::Eq(scaled, zero));
        hn::StoreU(hn::ConvertTo(wordTag, scaled), wordTag, x + i);
    }
    hasZero = !hn::AllFalse(tag, areZero);
    for (; i < count; ++i) {
        x[i] = static_cast<std::int64_t>(values[i] * toInteger);
        hasZero |= x[i] == 0;
    }
    return hasZero;
}

void doublesOfIntegers(const mp_limb_t* from, std::size_t count, double toValue, double* out) {
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = static_cast<double>(static_cast<std::int64_t>(from[i])) * toValue;
    }
}

template <int limbs>
void shiftAll(mp_limb_t* values, std::size_t count, unsigned shift) {
    auto* const x = integersOf<limbs>(values);
    for (std::size_t i = 0; i < count; ++i) {
        x[i] = static_cast<IntOf<limbs>>(static_cast<UnsignedOf<limbs>>(x[i]) << shift);
    }
}

template <int factorLimbs, int limbs>
bool multiplyAll(const mp_limb_t* a, const mp_limb_t* b, std::size_t step, std::size_t count, mp_limb_t* out) {
    using Int = IntOf<limbs>;
    using Unsigned = UnsignedOf<limbs>;
    const auto* const x = integersOf<factorLimbs>(a);
    const auto* const y = integersOf<factorLimbs>(b);
    auto* const product = integersOf<limbs>(out);
    bool hasZero = false;
    const auto run = [&](auto right) HWY_ATTR {
        for (std::size_t i = 0; i < count; ++i) {
            const auto made = static_cast<Int>(static_cast<Unsigned>(static_cast<Int>(x[i])) *
                                               static_cast<Unsigned>(static_cast<Int>(right(i))));
            product[i] = made;
            hasZero |= made == 0;
        }
    };
    if (step == 0) {
        const auto factor = *y;
        run([factor](std::size_t) HWY_ATTR { return factor; });
    } else {
        run([y](std::size_t i) HWY_ATTR { return y[i]; });
    }
    return hasZero;
}

template <int limbs>
void accumulateAll(Sign sign, const mp_limb_t* a, const mp_limb_t* b, std::size_t count, mp_limb_t* total) {
    using Int = IntOf<limbs>;
    const auto* const x = integersOf<1>(a);
    const Int right = *integersOf<1>(b);
    const Int factor = sign == Sign::plus ? right : -right;
    auto* const sum = integersOf<limbs>(total);
    for (std::size_t i = 0; i < count; ++i) {
        sum[i] += static_cast<Int>(x[i]) * factor;
    }
}

template <int limbs>
void combineAll(Sign sign, const mp_limb_t* x, unsigned shift, std::size_t count, mp_limb_t* total) {
    const auto* const y = integersOf<limbs>(x);
    auto* const sum = integersOf<limbs>(total);
    if (sign == Sign::plus) {
        for (std::size_t i = 0; i < count; ++i) {
            sum[i] += y[i] << shift;
        }
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            sum[i] -= y[i] << shift;
        }
    }
}

KeyRange rangeOf(const std::int64_t* keys, std::size_t count) {
    const hn::ScalableTag<std::int64_t> tag;
    const std::size_t lanes = hn::Lanes(tag);
    auto greatest = hn::Set(tag, keys[0]);
    auto least = greatest;
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto next = hn::LoadU(tag, keys + i);
        greatest = hn::Max(greatest, next);
        least = hn::Min(least, next);
    }
    KeyRange range{hn::GetLane(hn::MaxOfLanes(tag, greatest)), hn::GetLane(hn::MinOfLanes(tag, least))};
    for (; i < count; ++i) {
        range.greatest = std::max(range.greatest, keys[i]);
        range.least = std::min(range.least, keys[i]);
    }
    return range;
}

std::uint64_t placesOfKey(const std::int64_t* keys, std::size_t count, std::int64_t value) {
    const hn::ScalableTag<std::int64_t> tag;
    const std::size_t lanes = hn::Lanes(tag);
    const auto wanted = hn::Set(tag, value);
    std::uint64_t places = 0;
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        std::uint8_t bytes[sizeof(places)] = {};
        hn::StoreMaskBits(tag, hn::Eq(hn::LoadU(tag, keys + i), wanted), bytes);
        for (std::size_t byte = 0; 8 * byte < lanes; ++byte) {
            places |= static_cast<std::uint64_t>(bytes[byte]) << (i + 8 * byte);
        }
    }
    for (; i < count; ++i) {
        places |= static_cast<std::uint64_t>(keys[i] == value) << i;
    }
    return places;
}

/// `limbs` is the width if the compiler is to know it, or 0. Integers of one limb are their own keys.
template <std::size_t limbs>
KeyRange watchAll(const mp_limb_t* x, std::size_t count, std::size_t anyWidth, std::size_t limb, unsigned shift,
                  std::int64_t* keys) {
    if constexpr (limbs == 1) {
        return rangeOf(reinterpret_cast<const std::int64_t*>(x), count);
    }
    const std::size_t width = limbs != 0 ? limbs : anyWidth;
    const mp_limb_t* const low = x + limb;
    if (shift == 0) {
        for (std::size_t i = 0; i < count; ++i) {
            keys[i] = static_cast<std::int64_t>(low[i * width]);
        }
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            keys[i] = static_cast<std::int64_t>(low[i * width] >> shift | low[i * width + 1] << (kLimbBits - shift));
        }
    }
    return rangeOf(keys, count);
}

template <class Predicate>
std::uint64_t maskOf(std::size_t count, const Predicate& holds) {
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i < count; ++i) {
        mask |= static_cast<std::uint64_t>(holds(i)) << i;
    }
    return mask;
}

/// Shifts to the left within a word.
template <int limbs>
void shiftWithinWord(const Task& task, mp_limb_t* values, std::size_t count, Met& met) {
    using Int = IntOf<limbs>;
    using Unsigned = UnsignedOf<limbs>;
    const WordGrid& grid = task.format.grid;
    const int shift = -task.shift;
    const int unused = limbs * kLimbBits - grid.bits;
    auto* const x = integersOf<limbs>(values);
    std::uint64_t overflowing = 0;
    const auto run = [&](auto fits, auto wordOf, Int least, Int greatest) HWY_ATTR {
        for (std::size_t i = 0; i < count; ++i) {
            const Int v = x[i];
            const bool isWithin = fits(v);
            const Int word = wordOf(static_cast<Unsigned>(v) << shift);
            const Int bound = v < 0 ? least : greatest;
            overflowing |= static_cast<std::uint64_t>(!isWithin) << i;
            x[i] = isWithin || !task.saturates ? word : bound;
        }
    };
    if (grid.isSigned) {
        const Int greatest = static_cast<Int>(~Unsigned{0} >> 1 >> unused);
        const auto extend = [](Unsigned v, int above) HWY_ATTR { return static_cast<Int>(v << above) >> above; };
        run([=](Int v) HWY_ATTR { return extend(static_cast<Unsigned>(v), unused + shift) == v; },
            [=](Unsigned v) HWY_ATTR { return extend(v, unused); }, -greatest - 1, greatest);
    } else {
        const Unsigned mask = ~Unsigned{0} >> unused;
        run([=](Int v) HWY_ATTR { return static_cast<Unsigned>(v) <= mask >> shift; },
            [=](Unsigned v) HWY_ATTR { return static_cast<Int>(v & mask); }, 0, static_cast<Int>(mask));
    }
    met.overflows = static_cast<std::uint64_t>(std::popcount(overflowing));
    met.overflowing = overflowing;
}

/// Forces rounded integers into the words of a format.
template <int limbs>
void forceAll(const Task& task, const IntOf<limbs>* rounded, std::size_t count, IntOf<limbs>* x, Met& met) {
    using Int = IntOf<limbs>;
    using Unsigned = UnsignedOf<limbs>;
    const WordGrid& grid = task.format.grid;
    const int unused = limbs * kLimbBits - grid.bits;
    if (unused <= 0) {
        // Wider than the integers: unsigned words have no negative ones.
        std::memcpy(x, rounded, count * sizeof(Int));
        if (grid.isSigned) {
            return;
        }
    }
    std::uint64_t overflows = 0;
    const auto force = [&](auto wordOf, Int least, Int greatest) HWY_ATTR {
        if (task.saturates) {
            for (std::size_t i = 0; i < count; ++i) {
                const Int r = rounded[i];
                const Int limited = r < least ? least : r > greatest ? greatest : r;
                overflows += limited != r ? 1 : 0;
                x[i] = limited;
            }
        } else {
            for (std::size_t i = 0; i < count; ++i) {
                const Int r = rounded[i];
                const Int word = wordOf(r);
                overflows += word != r ? 1 : 0;
                x[i] = word;
            }
        }
    };
    const auto all = ~Unsigned{0};
    if (grid.isSigned) {
        const Int greatest = static_cast<Int>(all >> 1 >> unused);
        force([unused](Int r) HWY_ATTR { return static_cast<Int>(static_cast<Unsigned>(r) << unused) >> unused; },
              -greatest - 1, greatest);
    } else {
        const Unsigned mask = all >> std::max(unused, 1);
        force([mask](Int r) HWY_ATTR { return static_cast<Int>(static_cast<Unsigned>(r) & mask); }, 0,
              static_cast<Int>(mask));
    }
    met.overflows = overflows;
    if (overflows != 0) {
        met.overflowing = maskOf(count, [&](std::size_t i) HWY_ATTR { return x[i] != rounded[i]; });
    }
}

template <class Rule, int limbs>
void quantizeBy(const Task& task, mp_limb_t* values, std::size_t count, Met& met) {
    using Int = IntOf<limbs>;
    using Unsigned = UnsignedOf<limbs>;
    constexpr int kBits = limbs * kLimbBits;
    if (task.shift < 0 && -task.shift < task.format.grid.bits) {
        shiftWithinWord<limbs>(task, values, count, met);
        return;
    }
    auto* const x = integersOf<limbs>(values);
    Int rounded[kBlock];
    if (task.shift > 0) {
        const int shift = task.shift;
        const Unsigned belowHalf = (Unsigned{1} << (shift - 1)) - 1;
        const auto partsOf = [shift, belowHalf](Int v, Int& half, Int& rest) HWY_ATTR {
            half = v >> (shift - 1) & 1;
            rest = (static_cast<Unsigned>(v) & belowHalf) != 0 ? 1 : 0;
        };
        Int hasMinusZero = 0;
        Int underflows = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const Int v = x[i];
            const Int floor = v >> shift;
            Int half;
            Int rest;
            partsOf(v, half, rest);
            const auto negative = static_cast<Int>(static_cast<Unsigned>(v) >> (kBits - 1));
            const Int r = floor + Rule::increment(half, rest, negative, static_cast<Int>(floor & 1));
            const Int becomesZero = (r == 0) & (v != 0) ? 1 : 0;
            underflows += becomesZero;
            hasMinusZero |= becomesZero & negative;
            rounded[i] = r;
        }
        met.underflows = static_cast<std::uint64_t>(underflows);
        if (hasMinusZero != 0) {
            met.minusZeros = maskOf(count, [&](std::size_t i) HWY_ATTR {
                Int half;
                Int rest;
                partsOf(x[i], half, rest);
                return x[i] < 0 && rounded[i] == 0 && Rule::keepsMinus(half, rest) != 0;
            });
        }
    } else {
        const int shift = -task.shift;
        for (std::size_t i = 0; i < count; ++i) {
            rounded[i] = x[i] << shift;
        }
    }
    forceAll<limbs>(task, rounded, count, x, met);
}

/// The size of what rounding to integers drops of a double, in units of these, and the next integer below.
struct Parts {
    std::int64_t half;
    std::int64_t rest;
    std::int64_t floor;
    std::int64_t negative;
};
HWY_INLINE Parts partsOf(double scaled) {
    // The fraction is exact, and one more than a negative fraction wouldn't be.
    const auto whole = static_cast<std::int64_t>(scaled);
    const double fraction = scaled - static_cast<double>(whole);
    const double size = std::fabs(fraction);
    const bool isBelow = fraction < 0.0;
    return {isBelow ? (size <= 0.5 ? 1 : 0) : (size >= 0.5 ? 1 : 0), (size != 0.0) & (size != 0.5) ? 1 : 0,
            whole - (isBelow ? 1 : 0), scaled < 0.0 ? 1 : 0};
}

template <class Rule>
bool quantizeDoublesBy(const Task& task, const double* values, std::size_t count, double toInteger, mp_limb_t* out,
                       Met& met) {
    // Doubles of greater size overflow when they are forced into the words; by how much matters to those that wrap
    // alone, and where words have all bits there is no room to see it. Those that become too small for a double are
    // rounded like this one.
    constexpr double kGreatest = 0x1.fffffffffffffp62;
    constexpr double kTiny = 0x1p-1000;
    const WordGrid& grid = task.format.grid;
    const bool isLong = grid.bits - (grid.isSigned ? 1 : 0) > 62;
    double scaled[kBlock];
    bool areGreat = false;
    for (std::size_t i = 0; i < count; ++i) {
        const double value = values[i];
        const double product = value * toInteger;
        const double size = std::fabs(product);
        areGreat |= size > kGreatest;
        const double limited = size > kGreatest ? kGreatest : size < kTiny ? kTiny : size;
        // A choice by the sign would be a jump, which signals make unpredictable.
        scaled[i] = value == 0.0 ? 0.0 : std::copysign(limited, value);
    }
    if (areGreat && (isLong || !task.saturates)) {
        return false;
    }
    std::int64_t rounded[kBlock];
    std::int64_t underflows = 0;
    std::int64_t hasMinusZero = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const Parts parts = partsOf(scaled[i]);
        const std::int64_t r =
            parts.floor + Rule::increment(parts.half, parts.rest, parts.negative, std::int64_t{parts.floor & 1});
        rounded[i] = r;
        const std::int64_t becomesZero = (r == 0) & (scaled[i] != 0.0) ? 1 : 0;
        underflows += becomesZero;
        const auto sign = static_cast<std::int64_t>(std::bit_cast<std::uint64_t>(values[i]) >> (kLimbBits - 1));
        hasMinusZero |= sign & (r == 0 ? 1 : 0);
    }
    met.underflows = static_cast<std::uint64_t>(underflows);
    if (hasMinusZero != 0) {
        met.minusZeros = maskOf(count, [&](std::size_t i) HWY_ATTR {
            const Parts parts = partsOf(scaled[i]);
            const bool keeps = scaled[i] == 0.0 || Rule::keepsMinus(parts.half, parts.rest) != 0;
            return std::signbit(values[i]) && rounded[i] == 0 && keeps;
        });
    }
    forceAll<1>(task, rounded, count, integersOf<1>(out), met);
    return true;
}

bool multiplyForWidths(const mp_limb_t* a, const mp_limb_t* b, std::size_t step, std::size_t count,
                       std::size_t factorWidth, std::size_t width, mp_limb_t* out) {
    if (factorWidth == 2) {
        return multiplyAll<2, 2>(a, b, step, count, out);
    }
    return width == 1 ? multiplyAll<1, 1>(a, b, step, count, out) : multiplyAll<1, 2>(a, b, step, count, out);
}

void quantizeByMode(const Task& task, mp_limb_t* x, std::size_t count, std::size_t width, Met& met) {
    using Loop = void (*)(const Task&, mp_limb_t*, std::size_t, Met&);
    static constexpr auto kShort = RoundingRules::table([]<class Rule>() -> Loop { return &quantizeBy<Rule, 1>; });
    static constexpr auto kLong = RoundingRules::table([]<class Rule>() -> Loop { return &quantizeBy<Rule, 2>; });
    (width == 1 ? kShort : kLong)[RoundingRules::indexOf(task.format.round)](task, x, count, met);
}

bool quantizeDoublesByMode(const Task& task, const double* values, std::size_t count, double toInteger, mp_limb_t* out,
                           Met& met) {
    using Loop = bool (*)(const Task&, const double*, std::size_t, double, mp_limb_t*, Met&);
    static constexpr auto kLoops = RoundingRules::table([]<class Rule>() -> Loop { return &quantizeDoublesBy<Rule>; });
    return kLoops[RoundingRules::indexOf(task.format.round)](task, values, count, toInteger, out, met);
}

/// Calls the loop with steps that the compiler knows.
template <class Step>
void forEachWord(const WordOperand& a, const WordOperand& b, std::uint64_t count, const Step& step) {
    const mp_limb_t* const x = a.limbs;
    const mp_limb_t* const y = b.limbs;
    if (a.step != 0 && b.step != 0) {
        for (std::uint64_t i = 0; i < count; ++i) {
            step(i, x[i], y[i]);
        }
    } else if (a.step != 0) {
        const mp_limb_t right = *y;
        for (std::uint64_t i = 0; i < count; ++i) {
            step(i, x[i], right);
        }
    } else {
        const mp_limb_t left = *x;
        for (std::uint64_t i = 0; i < count; ++i) {
            step(i, left, y[i]);
        }
    }
}
void combineAllWords(Sign sign, const WordOperand& a, const WordOperand& b, std::uint64_t count, mp_limb_t* out) {
    const unsigned aShift = a.shift;
    const unsigned bShift = b.shift;
    if (sign == Sign::plus) {
        forEachWord(a, b, count, [=](std::uint64_t i, mp_limb_t x, mp_limb_t y) HWY_ATTR {
            out[i] = (x << aShift) + (y << bShift);
        });
    } else {
        forEachWord(a, b, count, [=](std::uint64_t i, mp_limb_t x, mp_limb_t y) HWY_ATTR {
            out[i] = (x << aShift) - (y << bShift);
        });
    }
}
void multiplyAllWords(const WordOperand& a, const WordOperand& b, std::uint64_t count, mp_limb_t* out) {
    forEachWord(a, b, count, [=](std::uint64_t i, mp_limb_t x, mp_limb_t y) HWY_ATTR { out[i] = x * y; });
}
/// Of words that are their lower halves with the sign above: processors multiply these in one step.
void multiplyAllHalves(const WordOperand& a, const WordOperand& b, std::uint64_t count, mp_limb_t* out) {
    const auto* const x = integersOf<1>(a.limbs);
    const auto* const y = integersOf<1>(b.limbs);
    auto* const product = integersOf<1>(out);
    std::uint64_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::int64_t> tag;
    const hn::Repartition<std::int32_t, decltype(tag)> halfTag;
    const std::size_t lanes = hn::Lanes(tag);
    const auto left = hn::Set(tag, *x);
    const auto right = hn::Set(tag, *y);
    for (; i + lanes <= count; i += lanes) {
        const auto p = a.step == 0 ? left : hn::LoadU(tag, x + i);
        const auto q = b.step == 0 ? right : hn::LoadU(tag, y + i);
        hn::StoreU(hn::MulEven(hn::BitCast(halfTag, p), hn::BitCast(halfTag, q)), tag, product + i);
    }
#endif
    for (; i < count; ++i) {
        product[i] = x[i * a.step] * y[i * b.step];
    }
}

constexpr IntegerLoops kLoops{
    &widenWords,
    &narrowWords,
    &areAllWithin,
    [](const double* values, std::size_t count, double toInteger, std::size_t width, mp_limb_t* out) {
        if (width == 1) {
            return integersOfDoubles(values, count, toInteger, out);
        }
        mp_limb_t words[kBlock];
        const bool hasZero = integersOfDoubles(values, count, toInteger, words);
        widenWords(words, count, true, out);
        return hasZero;
    },
    &doublesOfIntegers,
    [](mp_limb_t* x, std::size_t count, std::size_t width, unsigned shift) {
        width == 1 ? shiftAll<1>(x, count, shift) : shiftAll<2>(x, count, shift);
    },
    &multiplyForWidths,
    [](Sign sign, const mp_limb_t* a, const mp_limb_t* b, std::size_t count, std::size_t width, mp_limb_t* total) {
        width == 1 ? accumulateAll<1>(sign, a, b, count, total) : accumulateAll<2>(sign, a, b, count, total);
    },
    [](Sign sign, const mp_limb_t* x, unsigned shift, std::size_t count, std::size_t width, mp_limb_t* total) {
        width == 1 ? combineAll<1>(sign, x, shift, count, total) : combineAll<2>(sign, x, shift, count, total);
    },
    &combineAllWords,
    &multiplyAllWords,
    &multiplyAllHalves,
    [](const mp_limb_t* x, std::size_t count, std::size_t width, std::size_t limb, unsigned shift, std::int64_t* keys) {
        return (width == 1 ? watchAll<1> : width == 2 ? watchAll<2> : watchAll<0>)(x, count, width, limb, shift, keys);
    },
    &placesOfKey,
    &quantizeByMode,
    &quantizeDoublesByMode};

const IntegerLoops& loopsForTarget() {
    return kLoops;
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace tolvane::detail::integers
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tolvane::detail::integers {

namespace {
HWY_EXPORT(loopsForTarget);
}

const IntegerLoops& integerLoops() {
    static const IntegerLoops& kBest = HWY_DYNAMIC_DISPATCH(loopsForTarget)();
    return kBest;
}

}  // namespace tolvane::detail::integers
#endif
