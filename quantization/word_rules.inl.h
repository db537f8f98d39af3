// The word-level conversion of one value, on doubles: for vectors, with the vocabulary of quantization/lanes.inl.h.
//
// No include guard, like numbers/rounding_rules.inl.h: included after it, inside the same namespace. Unlike the rules
// of the quantizer these are exact for every double, a zero loses its sign, and NaN gives 0.
// quantization/word_limits.cpp has the proof.

/// To nearest, ties toward plus infinity.
struct ExactNearestRule {
    template <class V>
    static V apply(V x) {
        const V below = roundFloor(x);
        return choose(x - below >= like(x, 0.5), below + like(x, 1.0), below);
    }
};

/// To nearest, ties away from zero.
struct ExactRoundRule {
    template <class V>
    static V apply(V x) {
        const V whole = ExactNearestRule::apply(magnitude(x));
        return choose(x < like(x, 0.0), like(x, 0.0) - whole, whole);
    }
};

/// To nearest, ties to even.
struct ExactConvergentRule {
    template <class V>
    static V apply(V x) {
        return roundEven(x);
    }
};

/// A value beyond a bound becomes the bound.
struct SaturatedWord {
    template <class V>
    static V apply(V x, const WordLimits& limits) {
        return greaterOf(like(x, limits.least), lesserOf(like(x, limits.greatest), x));
    }
};

/// The low bits. An infinity gives NaN.
struct WrappedSignedWord {
    template <class V>
    static V apply(V x, const WordLimits& limits) {
        return x - ExactNearestRule::apply(x * like(x, limits.inverseModulus)) * like(x, limits.modulus);
    }
};
struct WrappedUnsignedWord {
    template <class V>
    static V apply(V x, const WordLimits& limits) {
        return x - roundFloor(x * like(x, limits.inverseModulus)) * like(x, limits.modulus);
    }
};

/// The value of the word to which x is converted.
template <class Rule, class Word, class V>
V valueThroughWord(V x, const WordLimits& limits) {
    const V word = Word::template apply<V>(Rule::template apply<V>(x * like(x, limits.scale)), limits);
    const V value = word * like(x, limits.inverseScale);
    // False for NaN, and for zeros, which thus lose their sign.
    return choose(like(x, 0.0) < magnitude(value), value, like(x, 0.0));
}
