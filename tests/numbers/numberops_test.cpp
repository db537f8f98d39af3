// Operations on every pair of kinds of bodies.
#include "numbers/numberops.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "numbers/mpnumber.h"
#include "numbers/numberfactory.h"
#include "tests/support/rational.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

using Body = std::unique_ptr<numberrepbody>;

/// The stored precisions that the cases run over: a double body, and narrow and wide multi-precision bodies.
constexpr std::uint32_t precisions[] = {40, 60, 150};

Body bodyOf(double value, std::uint32_t precision) {
    return Body(numberfactory::createnumberScalar(value, precision, false));
}

Rational valueOf(const numberrepbody& body) {
    Rational result(0);
    if (const mpnumber* wide = body.asMp()) {
        mpfr_get_q(result.get_mpq_t(), wide->getelement());
    } else {
        result = body.todouble();
    }
    return result;
}

/// The nearest value of that many significant bits, ties to even.
Rational nearestOf(const Rational& value, int bits) {
    if (value == 0) {
        return value;
    }
    const int shift = leadingExponent(value) - (bits - 1);
    return scaled(Rational(rounded(scaled(value, -shift), Rounding::convergent)), shift);
}

/// What the target holds after an operation with an exact result.
Rational expectedFor(const numberrepbody& target, const numberrepbody& other, const Rational& exact) {
    if (const mpnumber* wide = target.asMp()) {
        return nearestOf(exact, static_cast<int>(wide->getprecision()));
    }
    // A double target takes what was computed beside the other operand, one bit wider than that.
    const mpnumber* wide = other.asMp();
    return nearestOf(wide ? nearestOf(exact, static_cast<int>(wide->getprecision()) + 1) : exact, 53);
}

TEST(Numberops, ComputesEveryPairOfKindsAsExactArithmeticRoundsIt) {
    Random random(41);
    for (int i = 0; i < 4000; ++i) {
        const double x = random.real(-20, 20, random.between(1, 53));
        const double y = random.real(-20, 20, random.between(1, 53));
        for (const std::uint32_t p : precisions) {
            for (const std::uint32_t q : precisions) {
                const auto check = [&](const char* name,
                                       numberrepbody& (numberrepbody::*operation)(const numberrepbody&),
                                       const Rational& exact) {
                    const Body a = bodyOf(x, p);
                    const Body b = bodyOf(y, q);
                    ((*a).*operation)(*b);
                    ASSERT_EQ(valueOf(*a), expectedFor(*a, *b, exact))
                        << x << ' ' << name << ' ' << y << " at " << p << ' ' << q << " seed " << random.seed();
                    ASSERT_EQ(a->get_stored_precision(), p < 53 ? 52 : p);
                };
                check("+", &numberrepbody::operator+=, Rational(x) + Rational(y));
                check("-", &numberrepbody::operator-=, Rational(x) - Rational(y));
                check("*", &numberrepbody::operator*=, Rational(x) * Rational(y));
                check("/", &numberrepbody::operator/=, Rational(x) / Rational(y));
            }
        }
    }
}

TEST(Numberops, ComparesEveryPairOfKindsAsTheirValues) {
    const double values[] = {-inf, -1.5, -0.0, 0.0, 0x1p-1074, 1.5, inf, nan};
    for (const double x : values) {
        for (const double y : values) {
            for (const std::uint32_t p : precisions) {
                for (const std::uint32_t q : precisions) {
                    const Body a = bodyOf(x, p);
                    const Body b = bodyOf(y, q);
                    const std::string where =
                        std::to_string(x) + ' ' + std::to_string(y) + ' ' + std::to_string(p) + ' ' + std::to_string(q);
                    EXPECT_EQ(*a < *b, x < y) << where;
                    EXPECT_EQ(*a <= *b, x <= y) << where;
                    EXPECT_EQ(*a > *b, x > y) << where;
                    EXPECT_EQ(*a >= *b, x >= y) << where;
                    EXPECT_EQ(*a == *b, x == y) << where;
                    EXPECT_EQ(*a != *b, x != y) << where;
                }
            }
        }
    }
}

TEST(Numberops, TakesTheModulusOfEveryPairOfKinds) {
    const struct {
        double x, y, expected;
    } rows[] = {{-1.0, 3.0, 2.0}, {1.0, -3.0, -2.0}, {-1.0, 2.5, 1.5}, {5.5, 2.0, 1.5},  {5.0, 0.0, 5.0},
                {inf, 0.0, inf},  {inf, 3.0, nan},   {5.0, nan, nan},  {5.0, -0.0, 5.0}, {nan, 2.0, nan},
                {inf, 0.5, nan},  {5.0, inf, nan},   {7.0, 3.0, 1.0},  {-7.5, 2.0, 0.5}};
    for (const auto& row : rows) {
        for (const std::uint32_t p : precisions) {
            for (const std::uint32_t q : precisions) {
                const Body a = bodyOf(row.x, p);
                a->mod(*bodyOf(row.y, q));
                const double result = a->todouble();
                EXPECT_TRUE(std::isnan(row.expected) ? std::isnan(result) : result == row.expected)
                    << row.x << " mod " << row.y << " at " << p << ' ' << q << " gives " << result;
            }
        }
    }
}

TEST(Numberops, TakesTheHypotenuseOfEveryTripleOfKinds) {
    for (const std::uint32_t t : precisions) {
        for (const std::uint32_t p : precisions) {
            for (const std::uint32_t q : precisions) {
                const Body target = bodyOf(7.0, t);
                target->hypot(*bodyOf(-3.0, p), *bodyOf(4.0, q));
                EXPECT_EQ(target->todouble(), 5.0) << t << ' ' << p << ' ' << q;
            }
        }
    }
    // A double target reduces its operands first, a wide one does not.
    const Body a = bodyOf(0x1p-60, 80);
    *a += *bodyOf(1.0, 80);
    const Body b = bodyOf(0.0, 80);
    const Body narrow = bodyOf(0.0, 40);
    const Body wide = bodyOf(0.0, 80);
    narrow->hypot(*a, *b);
    wide->hypot(*a, *b);
    EXPECT_EQ(valueOf(*narrow), 1);
    EXPECT_EQ(valueOf(*wide), Rational(1 + twoTo(-60)));
}

TEST(Numberops, CastsEveryKindThroughADouble) {
    for (const std::uint32_t p : precisions) {
        const Body x = bodyOf(-1.5, p);
        EXPECT_EQ(x->fixed2int8(99, 1), -3);
        EXPECT_EQ(x->fixed2int16(99, 8), -384);
        EXPECT_EQ(x->fixed2int32(99, 0), -1);
        EXPECT_EQ(x->fixed2int64(99, 40), -(std::int64_t{3} << 39));
        EXPECT_EQ(x->fixed2uint8(99, 1), 253);
        EXPECT_EQ(bodyOf(300.0, p)->fixed2uint8(99, 0), 44);
        EXPECT_EQ(bodyOf(-0.99, p)->fixed2int8(99, 1), -1);
        EXPECT_EQ(x->fixed2uint16(99, 1), 65533);
        EXPECT_EQ(x->fixed2uint32(99, 1), 4294967293U);
        EXPECT_EQ(bodyOf(1.5, p)->fixed2uint64(99, 63), std::uint64_t{3} << 62);
    }
}

}  // namespace
