// The rules of the floating-point formats, and of the modes that only count, for a vector of doubles.
//
// No include guard: included after quantization/fixed_rules.inl.h, inside the same namespace, once for each instruction
// set. Every step gives the same results as the operations of `number` on a double, in every bit. Vocabulary beyond
// that of the other rules:
//     both(m, m)           where both masks hold
//     exponentPart(x)      2^exponent of a normal value, by its bits; 0 below the least normal double
//     powerReciprocal(p)   1 / p for a power of two p from 2^-1022 to 2^1022, by its bits

/// Overflow first, to infinity; then rounding at the last mantissa bit of the value's own exponent, or of the least
/// normal exponent for smaller values. NaN and zero pass.
template <class Rule, class V>
auto quantizeFloatValue(V x, const FloatDoubleLimits& limits) {
    const V zero = like(x, 0.0);
    const V infinity = like(x, std::numeric_limits<double>::infinity());
    const auto isZero = x == zero;
    const auto above = like(x, limits.realmax) < x;
    const auto outside = either(above, x < like(x, limits.lowerbound));
    // 2^max(exponent of x, least exponent); it and its product with 2^mantissa bits are normal in every supported
    // format.
    const V power = greaterOf(like(x, limits.leastNormal), exponentPart(x));
    const V rounded = Rule::template apply<V>(x * (powerReciprocal(power) * like(x, limits.mantissaScale))) *
                      (power * like(x, limits.inverseMantissaScale));
    const V ranged = choose(outside, choose(above, infinity, zero - infinity), rounded);
    const auto ordinary = either(x < zero, zero < x);  // neither zero nor NaN
    const V value = choose(ordinary, ranged, x);
    return FixedResult<V, decltype(x == zero)>{value, outside, butNot(value == zero, isZero)};
}

/// A mask that holds nowhere: no value is on both sides of zero.
template <class V>
auto nowhere(V x) {
    return both(x < like(x, 0.0), like(x, 0.0) < x);
}

/// Scaled double: the value is unchanged; overflows and underflows of the fixed-point format are counted.
template <class V>
auto watchScaledDouble(V x, const FixedDoubleLimits& limits) {
    const V zero = like(x, 0.0);
    const auto small = both(like(x, limits.negativeEps) < x, x < like(x, limits.positiveEps));
    const auto outside = either(like(x, limits.realmax) < x, x < like(x, limits.lowerbound));
    return FixedResult<V, decltype(x == zero)>{x, outside, butNot(small, x == zero)};
}

/// Double and none: the value is unchanged; a value beyond the bounds counts as an overflow.
template <class V>
auto watchDouble(V x, const FixedDoubleLimits& limits) {
    const V zero = like(x, 0.0);
    const auto outside = either(like(x, limits.realmax) < x, x < like(x, limits.lowerbound));
    return FixedResult<V, decltype(x == zero)>{x, outside, nowhere(x)};
}

/// Boolean: any nonzero value, even NaN, becomes 1.
template <class V>
auto quantizeBooleanValue(V x, const FixedDoubleLimits&) {
    const V zero = like(x, 0.0);
    return FixedResult<V, decltype(x == zero)>{choose(x == zero, x, like(x, 1.0)), nowhere(x), nowhere(x)};
}
