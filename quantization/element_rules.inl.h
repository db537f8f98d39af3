// How one value is quantized when the format's constants are doubles: each mode written once, generic over the value
// type V, included inside a namespace after numbers/rounding_rules.inl.h.
//
// No include guard: the scalar path includes this for double, and the array kernels once for each instruction set, for
// a vector of doubles. Beyond the vocabulary of numbers/rounding.h it uses, for V and its comparison masks:
//     either(m, m), both(m, m), butNot(m, m)   the masks' or, and, and-not (first without second)
//     sameValue(V, V)                          mask of ==
//     lesserOf(limit, V), greaterOf(limit, V)  limit < v ? limit : v, and limit > v ? limit : v, so that NaN passes
//     exponentPart(V)                          2^exponent of a normal value, by its bits; 0 below the least normal
//     powerReciprocal(V)                       1 / v for a power of two between 2^-1022 and 2^1022, by its bits
// Every step gives what the operations of `number` on a double give, in every bit; where that isn't plain, it is
// proven.

/// A quantized value, and whether it overflowed or underflowed on the way.
template <class V, class Mask>
struct Quantized {
    V value;
    Mask overflowed;
    Mask underflowed;
};
template <class V, class Mask>
Quantized(V, Mask, Mask) -> Quantized<V, Mask>;

/// An ElementLimits as values of type V.
template <class V>
struct LimitsOf {
    V realmax, lowerbound, scale, inverseScale, wraparound, inverseWraparound, positiveEps, negativeEps, leastNormal,
        mantissaScale, inverseMantissaScale;

    LimitsOf(const ElementLimits& limits, V any)
        : realmax(like(any, limits.realmax)),
          lowerbound(like(any, limits.lowerbound)),
          scale(like(any, limits.scale)),
          inverseScale(like(any, limits.inverseScale)),
          wraparound(like(any, limits.wraparound)),
          inverseWraparound(like(any, limits.inverseWraparound)),
          positiveEps(like(any, limits.positiveEps)),
          negativeEps(like(any, limits.negativeEps)),
          leastNormal(like(any, limits.leastNormal)),
          mantissaScale(like(any, limits.mantissaScale)),
          inverseMantissaScale(like(any, limits.inverseMantissaScale)) {}
};

/// Takes the nearer bound; NaN passes.
struct SaturateRule {
    template <class V, class Mask>
    static V apply(V x, Mask, const LimitsOf<V>& limits) {
        return greaterOf(limits.lowerbound, lesserOf(limits.realmax, x));
    }
};

// mod of a finite x by the wraparound W, a power of two. The told order of steps differs for whole and fractional W
// (modWhole, modFractional), yet gives one result here: x / W = x * (1 / W) is exact, as 1 / W is normal and x is a
// multiple of the lowest bit outside the bounds, so |x / W| >= 2^-wordlength; floor is exact; and the one subtraction
// rounds alike before and after scaling by W. A fractional W may take the quotient of a huge x to infinity: both give
// NaN. A whole W cannot. Infinity and NaN give the host's NaN.
template <class V>
V modWraparound(V x, const LimitsOf<V>& limits) {
    const V remainder = modFromQuotient(x * limits.inverseWraparound, limits.wraparound);
    return choose(magnitude(x) < like(x, std::numeric_limits<double>::infinity()), remainder,
                  like(x, std::numeric_limits<double>::quiet_NaN()));
}

/// Wraps in two's complement: into [lowerbound, lowerbound + wraparound).
struct WrapSignedRule {
    template <class V, class Mask>
    static V apply(V x, Mask outside, const LimitsOf<V>& limits) {
        const V above = modWraparound(modWraparound(x, limits) - limits.lowerbound, limits);
        return choose(outside, above + limits.lowerbound, x);
    }
};

/// Wraps an unsigned word: into [0, wraparound).
struct WrapUnsignedRule {
    template <class V, class Mask>
    static V apply(V x, Mask outside, const LimitsOf<V>& limits) {
        return choose(outside, modWraparound(x, limits), x);
    }
};

/// Fixed modes: rounding first, overflow second. A zero is neither rounded nor counted.
template <class Rule, class Overflow, class V>
auto quantizeFixedElement(V x, const LimitsOf<V>& limits) {
    const auto isZero = sameValue(x, like(x, 0.0));
    const V rounded = choose(isZero, x, Rule::apply(x * limits.scale) * limits.inverseScale);
    const auto outside = either(rounded > limits.realmax, rounded < limits.lowerbound);
    const auto vanished = butNot(sameValue(rounded, like(x, 0.0)), isZero);
    return Quantized{Overflow::apply(rounded, outside, limits), outside, vanished};
}

/// Float modes: overflow first, to infinity, then rounding at the last mantissa bit of the value's own exponent, or of
/// the least normal exponent below that.
template <class Rule, class V>
auto quantizeFloatElement(V x, const LimitsOf<V>& limits) {
    const V infinity = like(x, std::numeric_limits<double>::infinity());
    const auto isZero = sameValue(x, like(x, 0.0));
    const auto above = x > limits.realmax;
    const auto outside = either(above, x < limits.lowerbound);
    // 2^max(u, exponentmin), u the exponent of x; both factors and their product are normal in a valid format.
    const V power = greaterOf(limits.leastNormal, exponentPart(x));
    const V rounded =
        Rule::apply(x * (powerReciprocal(power) * limits.mantissaScale)) * (power * limits.inverseMantissaScale);
    const V overflowed = choose(above, infinity, like(x, 0.0) - infinity);
    const auto isOrdinary = butNot(sameValue(x, x), isZero);  // neither NaN nor zero
    const V value = choose(isOrdinary, choose(outside, overflowed, rounded), x);
    return Quantized{value, outside, butNot(sameValue(value, like(x, 0.0)), isZero)};
}

/// Scaled-double modes: the value stays; what the fixed format would have done to it is reported.
template <class V>
auto quantizeScaledDoubleElement(V x, const LimitsOf<V>& limits) {
    const auto small = both(x > limits.negativeEps, x < limits.positiveEps);
    return Quantized{x, either(x > limits.realmax, x < limits.lowerbound), butNot(small, sameValue(x, like(x, 0.0)))};
}

/// Modes double and none: the value stays; an infinity overflows.
template <class V>
auto quantizeDoubleElement(V x, const LimitsOf<V>& limits) {
    const auto never = x < x;
    return Quantized{x, either(x > limits.realmax, x < limits.lowerbound), never};
}

/// Mode boolean: what isn't zero is 1, NaN too.
template <class V>
auto quantizeBooleanElement(V x, const LimitsOf<V>&) {
    const auto never = x < x;
    return Quantized{choose(sameValue(x, like(x, 0.0)), x, like(x, 1.0)), never, never};
}
