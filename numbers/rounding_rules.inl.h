// The rounding rules, each written once; included inside a namespace, for one double or for a vector of doubles.
//
// No include guard: a file that compiles the same code for several instruction sets includes this once for each, so
// that the rules become functions of that instruction set. The namespace offers, found by the rules for their value
// type V, the operators + - * / < >= == and the functions that numbers/rounding.h names; a V that has them gets
// all rules with the results of the scalar form in every bit, signs of zero included. The order of the operations is
// part of each rule: `nearest` of 0.5 - 2^-54 is 1, since the sum with 0.5 rounds.
//
// For integers, which have no such sums, each rule also says what is added to a quotient rounded down: `increment`, 0
// or 1, from flags of the same kind that say whether the remainder is at least a half and whether it is more than 0 or
// a half, whether the dividend is negative, and whether the quotient is odd. `keepsMinus` says whether a negative
// dividend that is rounded to zero gives -0, as floats of many bits have it.
//
// Some rules have a short form, `near`: the same rule in every bit for doubles below 2^52 in size that aren't zeros,
// which it gives back as they are.

/// Toward plus infinity.
struct CeilRule {
    template <class V>
    static V apply(V x) {
        return roundCeil(x);
    }
    template <class Flag>
    static constexpr Flag increment(Flag half, Flag rest, Flag, Flag) {
        return half | rest;
    }
    template <class Flag>
    static constexpr Flag keepsMinus(Flag, Flag) {
        return Flag{1};
    }
};

/// Toward minus infinity.
struct FloorRule {
    template <class V>
    static V apply(V x) {
        return roundFloor(x);
    }
    template <class Flag>
    static constexpr Flag increment(Flag, Flag, Flag, Flag) {
        return Flag{0};
    }
    template <class Flag>
    static constexpr Flag keepsMinus(Flag, Flag) {
        return Flag{0};
    }
};

/// Toward zero; a negative fraction gives -0.0.
struct FixRule {
    template <class V>
    static V apply(V x) {
        return roundTruncated(x);
    }
    template <class Flag>
    static constexpr Flag increment(Flag half, Flag rest, Flag negative, Flag) {
        return negative & (half | rest);
    }
    template <class Flag>
    static constexpr Flag keepsMinus(Flag, Flag) {
        return Flag{1};
    }
};

/// To nearest, ties toward plus infinity.
struct NearestRule {
    template <class V>
    static V apply(V x) {
        return roundFloor(x + like(x, 0.5));
    }
    template <class V>
    static V near(V x) {
        return choose(x == like(x, 0.0), x, apply(x));
    }
    template <class Flag>
    static constexpr Flag increment(Flag half, Flag, Flag, Flag) {
        return half;
    }
    template <class Flag>
    static constexpr Flag keepsMinus(Flag, Flag) {
        return Flag{0};
    }
};

/// To nearest, ties away from zero. From 2^52 up every double is whole and the sum with 0.5 could change it, so such
/// values pass. A value below zero keeps its sign, even as -0.0; -0.0 itself gives 0.0.
struct RoundRule {
    template <class V>
    static V apply(V x) {
        const V size = magnitude(x);
        const V whole = roundFloor(size + like(x, 0.5));
        const V withSign = choose(x < like(x, 0.0), like(x, -0.0) - whole, whole);
        return choose(size >= like(x, 0x1p52), x, withSign);
    }
    /// A sum rounds alike for both signs.
    template <class V>
    static V near(V x) {
        return roundTruncated(x + withSignOf(x, 0.5));
    }
    template <class Flag>
    static constexpr Flag increment(Flag half, Flag rest, Flag negative, Flag) {
        return half & (rest | (negative ^ Flag{1}));
    }
    template <class Flag>
    static constexpr Flag keepsMinus(Flag, Flag) {
        return Flag{1};
    }
};

/// To nearest, ties to even; values other than ties are rounded as by NearestRule, even where its sum rounds.
///
/// `above - 0.5` equals x only for ties, and for even x and infinities from 2^52 up: below 2^52 the difference is
/// exact, and above it rounds to the even neighbour of x. For all of these 2 floor(sum / 2) is the required even value:
/// the sum is exact there, k + 1 for a tie between k and k + 1, and halving and doubling are exact.
struct ConvergentRule {
    template <class V>
    static V apply(V x) {
        const V sum = x + like(x, 0.5);
        const V above = roundFloor(sum);
        const V even = roundFloor(sum * like(x, 0.5)) * like(x, 2.0);
        return choose(above - like(x, 0.5) == x, even, above);
    }
    /// The sum with 0.5 is exact, or inexact and still between the same whole numbers, for all but one double: a sum
    /// has at most the unit of x when it isn't of a greater power of two, and reaches one by rounding only from just
    /// below 0.5. Otherwise the nearest even value is that of the processor, but with a positive zero.
    template <class V>
    static V near(V x) {
        constexpr double kJustBelowHalf = 0x1.fffffffffffffp-2;
        const V whole = choose(x == like(x, kJustBelowHalf), like(x, 1.0), roundEven(x));
        return whole + choose(x == like(x, 0.0), x, like(x, 0.0));
    }
    template <class Flag>
    static constexpr Flag increment(Flag half, Flag rest, Flag, Flag odd) {
        return half & (rest | odd);
    }
    template <class Flag>
    static constexpr Flag keepsMinus(Flag half, Flag rest) {
        return (half ^ Flag{1}) | rest;
    }
};

/// x modulo a divisor that is whole and not zero; the result has the divisor's sign. This order of operations is exact
/// for the power-of-two divisors of wrapping. Both operands finite.
template <class V>
V modWhole(V x, V divisor) {
    return x - roundFloor(x / divisor) * divisor;
}

/// The remainder of a division whose quotient is known: the quotient's fraction, times the divisor.
template <class V>
V modFromQuotient(V quotient, V divisor) {
    return (quotient - roundFloor(quotient)) * divisor;
}

/// As `modWhole`, for a divisor that has a fraction.
template <class V>
V modFractional(V x, V divisor) {
    return modFromQuotient(x / divisor, divisor);
}
