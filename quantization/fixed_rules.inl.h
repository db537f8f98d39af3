// The fixed-point rules for one value, written once for a double and for a vector of doubles.
//
// No include guard, like numbers/rounding_rules.inl.h: included after it, inside the same namespace. Beyond the
// vocabulary of the rounding rules this needs limits with the fields of `FixedDoubleLimits`, which is in
// quantization/fixed_limits.h, and for the masks that comparisons give:
//     either(a, b)    where one of them holds
//     butNot(a, b)    where the first holds and the second doesn't
//     anyOf(a)        a bool: whether it holds for any lane; may be true where that costs more than the work it saves
//     otherBits(V, V) where any bit differs
//     addToExactProduct(a, b, sum), subtractExactProduct(a, b, from)
//     lesserOf(limit, x), greaterOf(limit, x)   limit < x ? limit : x, and limit > x ? limit : x; so NaN passes
// A zero passes as it is, sign included, and is never counted. Rounding comes first, overflow second: a value that only
// rounds out of range overflows. A NaN fails both bound comparisons and passes uncounted.

/// The result for a value: overflow and underflow are masks of the lanes to count.
template <class V, class Mask>
struct FixedResult {
    V value;
    Mask overflow;
    Mask underflow;
};

/// The value modulo the wraparound W: the fraction of x / W times W is exact, since the quotient is a scaling by a
/// power of two and the remainder has no more bits than the word. It is never negative, so clearing the sign changes
/// only the NaN from an infinity, which the processor makes with a sign and the host without.
template <class V>
V modWraparound(V x, const auto& limits) {
    return magnitude(modFromQuotient(x * like(x, limits.inverseWraparound), like(x, limits.wraparound)));
}

/// The word of two's complement: values from the lower bound -W/2 to W/2 less one step.
struct SignedWord {
    static constexpr double kBelowZero = 0.5;  // of W
    template <class V>
    static V wrapped(V x, const auto& limits) {
        const V remainder = modWraparound(x, limits);
        return choose(remainder >= like(x, -limits.lowerbound), remainder - like(x, limits.wraparound), remainder);
    }
};

/// The word without sign: values from 0 to W less one step.
struct UnsignedWord {
    static constexpr double kBelowZero = 0.0;
    template <class V>
    static V wrapped(V x, const auto& limits) {
        return modWraparound(x, limits);
    }
};

// What becomes of values out of range. The functions change x and return the mask of the lanes that were outside. (A
// struct of both would be stored in memory by gcc, in every turn of a loop.)

/// Replaces a value beyond a bound by the bound. A value inside keeps all its bits, so a changed bit marks the others.
struct SaturateOverflow {
    template <class Word, class V>
    static auto apply(V& x, const auto& limits) {
        const V given = x;
        x = greaterOf(like(x, limits.lowerbound), lesserOf(like(x, limits.realmax), x));
        return otherBits(x, given);
    }
};

/// Takes the value modulo the wraparound.
struct WrapOverflow {
    template <class Word, class V>
    static auto apply(V& x, const auto& limits) {
        const auto outside = either(like(x, limits.realmax) < x, x < like(x, limits.lowerbound));
        if (anyOf(outside)) {
            x = choose(outside, Word::template wrapped<V>(x, limits), x);
        }
        return outside;
    }
};

/// Brings x, which was rounded to `scaled`, into the range of the limits. A zero passes. Without the attribute gcc
/// doesn't inline it in the loops over sums, which then take twice the time.
template <class Overflow, class Word, class V>
[[gnu::always_inline]] inline auto quantizeRoundedValue(V x, V scaled, const auto& limits) {
    const V zero = like(x, 0.0);
    const auto isZero = x == zero;
    V value = choose(isZero, x, scaled);
    const auto underflow = butNot(value == zero, isZero);
    const auto overflow = Overflow::template apply<Word>(value, limits);
    return FixedResult<V, decltype(x == zero)>{value, overflow, underflow};
}

/// Quantizes a value to the fixed-point format of the limits, which must be `valid`.
template <class Rule, class Overflow, class Word, class V>
auto quantizeFixedValue(V x, const auto& limits) {
    const V scaled = Rule::template apply<V>(x * like(x, limits.scale)) * like(x, limits.inverseScale);
    return quantizeRoundedValue<Overflow, Word>(x, scaled, limits);
}

/// As `quantizeFixedValue` with `WrapOverflow`, in the same bits, for values below 2^52 steps of the format in size,
/// where no value but zero is zero in steps.
///
/// Let s, the value in steps, be rounded: whole, and at most 2^52. With w <= 52 bits in the word, s / 2^w and the sums
/// with 1/2 have at most 53 bits, so the quotient of the wraparound is the true one. In range it is +0, also for s =
/// -0, whose difference with +0 keeps the sign; otherwise the difference is a multiple of the step within the word,
/// exact, and +0 where it vanishes.
template <class Rule, class Word, class V>
auto wrapNearValue(V x, const auto& limits) {
    const V steps = x * like(x, limits.scale);
    V rounded;
    if constexpr (requires { Rule::template near<V>(x); }) {
        rounded = Rule::template near<V>(steps) * like(x, limits.inverseScale);
    } else {
        rounded = Rule::template apply<V>(steps) * like(x, limits.inverseScale);
    }
    const V zero = like(x, 0.0);
    const V quotient =
        roundFloor(addToExactProduct(rounded, like(x, limits.inverseWraparound), like(x, Word::kBelowZero)));
    const V value = subtractExactProduct(quotient, like(x, limits.wraparound), rounded);
    return FixedResult<V, decltype(x == zero)>{value, otherBits(value, rounded), butNot(rounded == zero, x == zero)};
}
