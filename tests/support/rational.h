// Exact rationals (GMP's mpq) and seeded random cases, the basis of oracles.
//
// Nothing here uses a numeric class of this project, so an expected value never passes through the code under test. A
// Random is made from a fixed seed; print seed() and the case in a failure so that it can be repeated.
#pragma once

#include <gmpxx.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

using Integer = mpz_class;
/// In lowest terms, as its operations require; use `scaled` for fractions, since Rational(k, 16) doesn't cancel.
using Rational = mpq_class;

/// The six rounding rules in their stored order.
enum class Rounding : unsigned char { ceil, convergent, fix, floor, nearest, round };
inline constexpr Rounding kRoundings[] = {Rounding::ceil,  Rounding::convergent, Rounding::fix,
                                          Rounding::floor, Rounding::nearest,    Rounding::round};

inline const char* nameOf(Rounding rule) {
    static constexpr const char* kNames[] = {"ceil", "convergent", "fix", "floor", "nearest", "round"};
    return kNames[static_cast<std::size_t>(rule)];
}

/// Value times 2^exponent.
inline Rational scaled(const Rational& value, int exponent) {
    Rational result;
    if (exponent >= 0) {
        mpq_mul_2exp(result.get_mpq_t(), value.get_mpq_t(), static_cast<mp_bitcnt_t>(exponent));
    } else {
        mpq_div_2exp(result.get_mpq_t(), value.get_mpq_t(), static_cast<mp_bitcnt_t>(-static_cast<long>(exponent)));
    }
    return result;
}
inline Rational twoTo(int exponent) {
    return scaled(Rational(1), exponent);
}

inline Integer floorOf(const Rational& value) {
    Integer result;
    mpz_fdiv_q(result.get_mpz_t(), value.get_num_mpz_t(), value.get_den_mpz_t());
    return result;
}

/// The whole number that the rule gives.
inline Integer rounded(const Rational& value, Rounding rule) {
    const Integer low = floorOf(value);
    const Rational rest = value - low;
    if (rest == 0) {
        return low;
    }
    const int half = cmp(rest, Rational(1, 2));
    bool up = half > 0;
    switch (rule) {
        case Rounding::ceil:
            up = true;
            break;
        case Rounding::floor:
            up = false;
            break;
        case Rounding::fix:
            up = sgn(value) < 0;
            break;
        case Rounding::nearest:
            up = half >= 0;
            break;
        case Rounding::round:
            up = half > 0 || (half == 0 && sgn(value) > 0);
            break;
        case Rounding::convergent:
            up = half > 0 || (half == 0 && mpz_odd_p(low.get_mpz_t()) != 0);
            break;
    }
    return up ? Integer(low + 1) : low;
}

/// Exponent of the leading bit of a value that is not zero: 2^result <= |value| < 2^(result + 1).
inline int leadingExponent(const Rational& value) {
    const auto bits = [](mpz_srcptr z) { return static_cast<int>(mpz_sizeinbase(z, 2)); };
    const int guess = bits(value.get_num_mpz_t()) - bits(value.get_den_mpz_t());
    return cmp(abs(value), twoTo(guess)) < 0 ? guess - 1 : guess;
}

/// The double nearest to the value, ties to even; the value is zero or in the range of normal doubles.
inline double nearestDouble(const Rational& value) {
    if (value == 0) {
        return 0.0;
    }
    const int shift = leadingExponent(value) - (std::numeric_limits<double>::digits - 1);
    return std::ldexp(rounded(scaled(value, -shift), Rounding::convergent).get_d(), shift);
}

inline std::string text(const Rational& value) {
    return value.get_str() + " (about " + std::to_string(value.get_d()) + ")";
}

/// Seeded source of cases; the same seed gives the same cases everywhere.
class Random {
 public:
    explicit Random(std::uint64_t seed) : mSeed(seed), mEngine(seed) {}

    std::uint64_t seed() const { return mSeed; }
    std::uint64_t word() { return mEngine(); }
    /// A whole number of [low, high].
    int between(int low, int high) {
        const auto span = static_cast<std::uint64_t>(static_cast<std::int64_t>(high) - low) + 1;
        return static_cast<int>(low + static_cast<std::int64_t>(mEngine() % span));
    }
    bool oneIn(int count) { return between(1, count) == 1; }
    template <class Range>
    auto pick(const Range& range) {
        return std::data(range)[mEngine() % std::size(range)];
    }
    /// A number of at most `bits` bits; long runs of equal bits, and so carries, are as likely as mixed bits.
    Integer integer(int bits) {
        Integer result = 0;
        for (int done = 0; done < bits;) {
            const int run = between(1, oneIn(2) ? bits - done : 8);
            const bool ones = oneIn(2);
            for (int i = done; ones && i < done + run && i < bits; ++i) {
                mpz_setbit(result.get_mpz_t(), static_cast<mp_bitcnt_t>(i));
            }
            done += run;
        }
        return result;
    }
    /// A double with a random sign, `mantissaBits` random leading bits and an exponent of [low, high].
    double real(int low, int high, int mantissaBits = 53) {
        const auto mantissa = (mEngine() >> 12 | std::uint64_t{1} << 52) >> (53 - mantissaBits);
        const double magnitude = std::ldexp(static_cast<double>(mantissa), between(low, high) - mantissaBits + 1);
        return oneIn(2) ? -magnitude : magnitude;
    }
    /// Any double by its bits; one in four is from a short list of difficult values.
    double anyDouble() {
        using Limits = std::numeric_limits<double>;
        static constexpr double kSpecial[] = {0.0,
                                              -0.0,
                                              Limits::infinity(),
                                              -Limits::infinity(),
                                              Limits::quiet_NaN(),
                                              -Limits::quiet_NaN(),
                                              Limits::denorm_min(),
                                              -Limits::denorm_min(),
                                              Limits::min(),
                                              -Limits::min(),
                                              Limits::max(),
                                              -Limits::max(),
                                              0.5,
                                              -0.5,
                                              0.49999999999999994,
                                              -0.49999999999999994,
                                              4503599627370497.0,
                                              -4503599627370497.0};
        if (oneIn(4)) {
            return pick(kSpecial);
        }
        const double value = std::bit_cast<double>(mEngine());
        // A signalling NaN may or may not become quiet when it passes through a register.
        return std::isnan(value) ? Limits::quiet_NaN() : value;
    }

 private:
    std::uint64_t mSeed;
    std::mt19937_64 mEngine;
};
