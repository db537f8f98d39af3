// What the fixed-point formats do to one value, written once for a double and for a vector of doubles.
//
// No include guard, like numbers/rounding_rules.inl.h: included after it, inside the same namespace. Beyond the
// vocabulary of the rounding rules and `FixedDoubleLimits` (quantization/fixed_limits.h) this needs, for the
// masks that comparisons give:
//     either(a, b)    where one of them holds
//     butNot(a, b)    where the first holds and the second doesn't
//     anyOf(a)        a bool: whether it holds for any lane
// A zero passes as it is, sign included, and is never counted. Rounding comes first, overflow second: a value that only
// rounds out of range overflows. A NaN fails both bound comparisons and passes uncounted.

/// What became of a value: overflow and underflow say which lanes count as one.
template <class V, class Mask>
struct FixedResult {
    V value;
    Mask overflow;
    Mask underflow;
};

/// The word of two's complement: values from the lower bound -W/2 to W/2 less one step.
struct SignedWord {
    /// Brings a value on the grid into the word. Taking the fraction of x / W times W is exact, since the quotient is a
    /// scaling by a power of two and the remainder has no more bits than the word; infinity becomes NaN.
    template <class V>
    static V wrapped(V x, const FixedDoubleLimits& limits) {
        const V modulus = like(x, limits.wraparound);
        const V remainder = modFromQuotient(x * like(x, limits.inverseWraparound), modulus);
        return choose(remainder >= like(x, -limits.lowerbound), remainder - modulus, remainder);
    }
};

/// The word without sign: values from 0 to W less one step.
struct UnsignedWord {
    template <class V>
    static V wrapped(V x, const FixedDoubleLimits& limits) {
        return modFromQuotient(x * like(x, limits.inverseWraparound), like(x, limits.wraparound));
    }
};

/// Takes the bound that the value has passed.
struct SaturateOverflow {
    template <class Word, class V>
    static V apply(V x, const FixedDoubleLimits& limits) {
        const V realmax = like(x, limits.realmax);
        return choose(realmax < x, realmax, like(x, limits.lowerbound));
    }
};

/// Takes the value modulo the wraparound.
struct WrapOverflow {
    template <class Word, class V>
    static V apply(V x, const FixedDoubleLimits& limits) {
        return Word::template wrapped<V>(x, limits);
    }
};

/// Quantizes a value to the fixed-point format of the limits, which must be `valid`.
template <class Rule, class Overflow, class Word, class V>
auto quantizeFixedValue(V x, const FixedDoubleLimits& limits) {
    const V zero = like(x, 0.0);
    const auto isZero = x == zero;
    const V rounded = Rule::template apply<V>(x * like(x, limits.scale)) * like(x, limits.inverseScale);
    V value = choose(isZero, x, rounded);
    const auto underflow = butNot(value == zero, isZero);
    const auto overflow = either(like(x, limits.realmax) < value, value < like(x, limits.lowerbound));
    if (anyOf(overflow)) {
        value = choose(overflow, Overflow::template apply<Word>(value, limits), value);
    }
    return FixedResult<V, decltype(x == zero)>{value, overflow, underflow};
}
