// A place for one value after another, as loops and filters need it: the rules of rounding and overflow on plain
// integers of 64 or 128 bits. They come to the same as those on blocks (quantization/integer_blocks.h), which serve
// whatever is longer.
#pragma once

#include <cstdint>
#include <type_traits>

#include "host/export.h"
#include "program/code_location.h"
#include "program/exact_value.h"
#include "program/fixed_log.h"
#include "program/format.h"

namespace tolvane::detail {

/// The unsigned integer of the same length.
template <class Int>
struct UnsignedOf {
    using Type = std::conditional_t<sizeof(Int) == sizeof(std::uint64_t), std::uint64_t, Unsigned128>;
};

// std::numeric_limits need not know 128 bits.
template <class Int>
constexpr Int kGreatestOf = static_cast<Int>(static_cast<typename UnsignedOf<Int>::Type>(-1) >> 1U);
template <class Int>
constexpr Int kLeastOf = -kGreatestOf<Int> - 1;

/// The next number of the generator SplitMix64.
inline std::uint64_t nextRandom(std::uint64_t& state) {
    state += 0x9E3779B97F4A7C15U;
    std::uint64_t z = state;
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31U);
}

/// What a place keeps of its values: integers of the unit that came, and words.
template <class Int>
struct NarrowNotes {
    Int leastBefore = kGreatestOf<Int>;
    Int greatestBefore = kLeastOf<Int>;
    Int leastAfter = kGreatestOf<Int>;
    Int greatestAfter = kLeastOf<Int>;
    std::uint64_t values = 0;
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;
};

/// The rules of one format for integers of one unit, std::int64_t or Int128: make it by `makeNarrowPlace`.
template <class Int>
struct NarrowPlace {
    using Unsigned = typename UnsignedOf<Int>::Type;
    enum class Force : std::uint8_t { saturate, wrap, zero, keepSign };

    // Every rounding is a floor after an addition, which depends on the sign and on whether the floor is odd.
    int right = 0;
    int left = 0;
    bool isStochastic = false;
    Force force = Force::saturate;
    Int add = 0;
    Int addIfNegative = 0;
    Int addIfOdd = 0;
    Int least = 0;
    Int greatest = 0;
    Unsigned wordMask = 0;  // the bits of a word
    Unsigned lowMask = 0;   // those without the sign bit of signed words
    int unused = 0;         // bits above the words
    /// Values from -limit to limit are served: none before the place is made.
    Int limit = -1;
    std::uint64_t random = 0;
    NarrowNotes<Int> notes;

    /// Forces a value within the limits into the words.
    template <bool kIsLogged>
    Int apply(Int x) {
        const Int negative = x >> (sizeof(Int) * 8 - 1);
        Int rounded;
        if (isStochastic) [[unlikely]] {
            const auto fraction = static_cast<std::uint64_t>(static_cast<Unsigned128>(x) << (128 - right) >> 64);
            rounded = (x >> right) + (nextRandom(random) < fraction ? 1 : 0);
        } else {
            rounded = (x + add + (negative & addIfNegative) + (-((x >> right) & 1) & addIfOdd)) >> right;
        }
        const Int word = forced(static_cast<Int>(static_cast<Unsigned>(rounded) << left), negative);
        if constexpr (kIsLogged) {
            notes.leastBefore = x < notes.leastBefore ? x : notes.leastBefore;
            notes.greatestBefore = x > notes.greatestBefore ? x : notes.greatestBefore;
            notes.leastAfter = word < notes.leastAfter ? word : notes.leastAfter;
            notes.greatestAfter = word > notes.greatestAfter ? word : notes.greatestAfter;
            ++notes.values;
            notes.overflows += mIsOver ? 1U : 0U;
            notes.underflows += rounded == 0 && x != 0 ? 1U : 0U;
        }
        return word;
    }
    /// Whether `applySimply` does the same: one addition for all values, and then bounds or the low bits of signed
    /// words.
    bool isSimple() const {
        return !isStochastic && addIfNegative == 0 && addIfOdd == 0 && left == 0 &&
               (force == Force::saturate || (force == Force::wrap && least < 0));
    }
    /// For a force that is known. The number of values isn't noted.
    template <bool kIsLogged, Force kForce>
    [[gnu::always_inline]] Int applySimply(Int x) {
        const Int rounded = (x + add) >> right;
        Int word;
        if constexpr (kForce == Force::wrap) {
            word = static_cast<Int>(static_cast<Unsigned>(rounded) << unused) >> unused;
        } else {
            const Int high = rounded > greatest ? greatest : rounded;
            word = high < least ? least : high;
        }
        if constexpr (kIsLogged) {
            notes.leastBefore = x < notes.leastBefore ? x : notes.leastBefore;
            notes.greatestBefore = x > notes.greatestBefore ? x : notes.greatestBefore;
            notes.leastAfter = word < notes.leastAfter ? word : notes.leastAfter;
            notes.greatestAfter = word > notes.greatestAfter ? word : notes.greatestAfter;
            notes.overflows += word != rounded ? 1U : 0U;
            notes.underflows += static_cast<unsigned>(rounded == 0) & static_cast<unsigned>(x != 0);
        }
        return word;
    }

 private:
    Int forced(Int x, Int negative) {
        mIsOver = x < least || x > greatest;
        switch (force) {
            case Force::saturate: {
                const Int high = x > greatest ? greatest : x;
                return high < least ? least : high;
            }
            case Force::wrap:
                // Words of two's complement from `least` on.
                return static_cast<Int>(((static_cast<Unsigned>(x) - static_cast<Unsigned>(least)) & wordMask) +
                                        static_cast<Unsigned>(least));
            case Force::zero:
                return mIsOver ? 0 : x;
            default:
                return mIsOver ? static_cast<Int>((static_cast<Unsigned>(x) & lowMask) |
                                                  (static_cast<Unsigned>(negative) & signMask()))
                               : x;
        }
    }
    Unsigned signMask() const { return least < 0 ? ~lowMask : 0; }

    bool mIsOver = false;
};

/// Sets the rules of a format for integers times 2^exponent; false if such integers are too short for its words or for
/// the distance of the points. The seed is for stochastic rounding.
TOLVANE_API bool makeNarrowPlace(const fixed_format& format, int exponent, std::uint64_t seed,
                                 NarrowPlace<std::int64_t>& place);
TOLVANE_API bool makeNarrowPlace(const fixed_format& format, int exponent, std::uint64_t seed,
                                 NarrowPlace<Int128>& place);
/// Hands what was noted of values times 2^exponent over to the logs that live, if they lived in an epoch
/// (program/log_level.h), and forgets it. `where` is the program's call, if known.
TOLVANE_API void handOver(const fixed_format& format, int exponent, NarrowNotes<std::int64_t>& notes,
                          std::uint64_t epoch = ~std::uint64_t{0}, const code_location& where = {});
TOLVANE_API void handOver(const fixed_format& format, int exponent, NarrowNotes<Int128>& notes,
                          std::uint64_t epoch = ~std::uint64_t{0}, const code_location& where = {});

}  // namespace tolvane::detail
