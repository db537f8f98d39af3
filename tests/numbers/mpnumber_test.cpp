// What only a body of MPFR floats does: precisions, widening, and rounding and modulo against exact rationals.
#include "numbers/mpnumber.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "tests/support/errors.h"
#include "tests/support/rational.h"

namespace {

constexpr auto vectorTag = embeddedNumberTags::NumberVector::tag;
constexpr auto shareTag = embeddedNumberTags::CopyIndex::tag;
constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

using AtBit = mpnumber& (mpnumber::*)(int);

Rational valueOf(mpfr_srcptr element) {
    Rational result;
    mpfr_get_q(result.get_mpq_t(), element);
    return result;
}
void set(mpnumber& x, const Rational& value) {
    ASSERT_EQ(mpfr_set_q(x.getmodifiableelement(), value.get_mpq_t(), MPFR_RNDN), 0) << "case does not fit";
}
/// An odd integer of `bits` bits times 2^exponent.
Rational wide(int bits, int exponent) {
    return scaled(Rational(twoTo(bits - 1) + 1), exponent);
}

TEST(Mpnumber, DerivesTheElementPrecision) {
    const std::pair<std::uint32_t, std::uint32_t> rows[] = {{0, 32},  {10, 32}, {30, 32},     {31, 32},
                                                            {32, 33}, {53, 54}, {1000, 1001}, {65535, 65536}};
    for (const auto& [stored, element] : rows) {
        const mpnumber x(0.0, stored);
        EXPECT_EQ(x.getprecision(), element);
        EXPECT_EQ(x.get_stored_precision(), stored);
    }
    const mpnumber plain;
    EXPECT_EQ(plain.getprecision(), 65U);
    EXPECT_EQ(mpnumber::elementPrecision(UINT32_MAX), mpfr_prec_t{1} << 32);
}

TEST(Mpnumber, SetsAPrecisionOfItsOwnRule) {
    mpnumber x(0.0, 100);
    set(x, wide(50, 0));
    x.setprecision(10);
    EXPECT_EQ(x.getprecision(), 33U);
    EXPECT_EQ(valueOf(x.getelement()), twoTo(49));
    x.setprecision(40);
    EXPECT_EQ(x.getprecision(), 41U);
    EXPECT_EQ(valueOf(x.getelement()), twoTo(49));
}

TEST(Mpnumber, WidensInAssignmentAndTruncatesInSetvalue) {
    mpnumber source(0.0, 100);
    set(source, Rational(twoTo(100) - 1));
    mpnumber narrow(-1.0, 64);
    narrow.setvalue(source);
    EXPECT_EQ(narrow.getprecision(), 65U);
    EXPECT_EQ(valueOf(narrow.getelement()), Rational(twoTo(100) - twoTo(35)));
    narrow = source;
    EXPECT_EQ(narrow.getprecision(), 101U);
    EXPECT_EQ(valueOf(narrow.getelement()), valueOf(source.getelement()));
    EXPECT_EQ(narrow.get_stored_precision(), 64U);
    narrow = mpnumber(0.5, 10);
    EXPECT_EQ(narrow.getprecision(), 101U);  // and never shrinks
    EXPECT_EQ(narrow.todouble(), 0.5);
    const mpnumber copy(narrow);
    EXPECT_EQ(copy.getprecision(), 65U);  // a copy goes back to the stored precision
}

TEST(Mpnumber, KeepsWidenedElementsThroughSortingSharingAndResizing) {
    for (const bool ownerGoesFirst : {true, false}) {
        auto owner = std::make_unique<mpnumber>(40, 60, vectorTag);
        mpnumber source(0.0, 300);
        for (std::uint64_t i = 0; i < 40; ++i) {
            set(source, Rational(static_cast<unsigned long>(40 - i) + twoTo(-200)));
            (*owner)[i];
            *owner = source;
            *owner = source;
        }
        (*owner)[3];
        owner->setprecision(20);  // replaced a second time
        EXPECT_EQ(owner->getprecision(), 33U);
        owner->stridesort(true, 1, 40);
        auto sharing = std::make_unique<mpnumber>(owner.get(), shareTag);
        auto& last = ownerGoesFirst ? sharing : owner;
        (ownerGoesFirst ? owner : sharing).reset();
        EXPECT_EQ(valueOf(last->getelement(9)), Rational(10 + twoTo(-200)));
        last->resize(30);
        EXPECT_EQ(valueOf(last->getelement(9)), 10);  // made anew at the stored precision
        EXPECT_EQ(mpfr_get_prec(last->getelement(9)), 61);
    }
}

TEST(Mpnumber, RoundsAsExactArithmeticWhileTheSumWithAHalfIsExact) {
    const AtBit operations[] = {&mpnumber::ceil,  &mpnumber::convergent, &mpnumber::fix,
                                &mpnumber::floor, &mpnumber::nearest,    &mpnumber::round};
    Random random(31);
    for (int i = 0; i < 20000; ++i) {
        // At most 100 of the 121 bits, ending at most 20 bits below the place of rounding.
        const int bits = random.between(1, 100);
        const int n = random.between(-150, 150);
        Rational exact = scaled(Rational(random.integer(bits)), -n - random.between(0, 20));
        if (random.oneIn(2)) {
            exact = -exact;
        }
        for (std::size_t rule = 0; rule < std::size(operations); ++rule) {
            mpnumber x(0.0, 120);
            set(x, exact);
            (x.*operations[rule])(n);
            const Rational expected = scaled(Rational(rounded(scaled(exact, n), kRoundings[rule])), -n);
            ASSERT_EQ(valueOf(x.getelement()), expected)
                << nameOf(kRoundings[rule]) << ' ' << text(exact) << " at " << n << " seed " << random.seed();
        }
    }
}

TEST(Mpnumber, LeavesElementsWithoutFractionBitsAlone) {
    const mpfr_exp_t precision = 65;
    for (const mpfr_exp_t e : {precision - 1, precision, precision + 1}) {
        mpnumber x(0.0, 64);
        set(x, wide(65, static_cast<int>(e) - 65));
        const Rational before = valueOf(x.getelement());
        const bool isWhole = before.get_den() == 1;
        EXPECT_EQ(isWhole, e >= precision);
        // n + e decides: scaling by 2^n does not reach the value where there is nothing to round.
        for (const int n : {0, 7, -200}) {
            for (const AtBit operation : {AtBit(&mpnumber::nearest), AtBit(&mpnumber::round)}) {
                mpnumber y(x);
                y.pow2(-n);
                const Rational start = valueOf(y.getelement());
                (y.*operation)(n);
                EXPECT_EQ(valueOf(y.getelement()) == start, isWhole) << e << ' ' << n;
            }
        }
    }
    mpnumber far(1.0, 64);
    far.round(INT_MAX);
    EXPECT_EQ(far.todouble(), 1.0);
    far.nearest(INT_MIN);
    EXPECT_EQ(far.todouble(), 0.0);
    mpnumber small(-0.3, 64);
    small.round();
    EXPECT_TRUE(small.iszero());
    EXPECT_TRUE(small.isnegative());
}

TEST(Mpnumber, GivesAZeroTheSignOfItsRuleAtEveryBit) {
    EXPECT_EQ(mpnumber::getOneHalf().todouble(), 0.5);
    EXPECT_EQ(mpnumber::getOneHalf().getprecision(), 65U);
    // The bits around the element precision, where other values stop being rounded, and the ends.
    for (const int n : {INT_MIN, -1, 0, 63, 64, 65, 66, 1000, INT_MAX}) {
        mpnumber x(-0.0, 64);
        EXPECT_TRUE(x.round(n).isnegative()) << n;
        EXPECT_TRUE(x.convergent(n).isnegative()) << n;
        // The sum of -0 and a half has no minus left.
        EXPECT_FALSE(x.nearest(n).isnegative()) << n;
        EXPECT_TRUE(x.iszero()) << n;
    }
}

TEST(Mpnumber, TakesTheModulusAsExactArithmetic) {
    Random random(32);
    for (int i = 0; i < 20000; ++i) {
        // Powers of two divide exactly, so both orders of operation are exact.
        const int power = random.between(-30, 90);
        const Rational y = random.oneIn(2) ? twoTo(power) : Rational(-twoTo(power));
        Rational exact = scaled(Rational(random.integer(random.between(1, 110))), power - random.between(0, 110));
        if (random.oneIn(2)) {
            exact = -exact;
        }
        mpnumber x(0.0, 120);
        mpnumber divisor(0.0, 120);
        set(x, exact);
        set(divisor, y);
        x.mod(divisor);
        ASSERT_EQ(valueOf(x.getelement()), Rational(exact - Rational(floorOf(exact / y)) * y))
            << text(exact) << " mod " << text(y) << " seed " << random.seed();
    }
    mpnumber self(2.5, 60);
    EXPECT_EQ(self.mod(self).todouble(), 0.0);
    // A whole divisor is taken off exactly, of another one the fraction of the rounded quotient: 2/3 to 20 bits here.
    EXPECT_EQ(mpnumber(0x1p40 + 1, 60).mod(mpnumber(3.0, 60)).todouble(), 2.0);
    EXPECT_EQ(mpnumber(0x1p40 + 1, 60).mod(mpnumber(0.75, 60)).todouble(), 699051 * 0x1p-20 * 0.75);
}

TEST(Mpnumber, ComputesAtItsOwnPrecision) {
    mpnumber x(1.0, 63);
    x /= mpnumber(3.0, 200);
    const Rational error = valueOf(x.getelement()) - Rational(1, 3);
    EXPECT_LE(abs(error), twoTo(-66));
    EXPECT_NE(error, 0);
    x = mpnumber(2.0, 63);
    x += 0.5;
    x *= 4.0;
    x -= 1.0;
    x /= 8.0;
    EXPECT_EQ(x.todouble(), 1.125);
    EXPECT_EQ(mpnumber(2.25, 63).sqrt().todouble(), 1.5);
    EXPECT_EQ(mpnumber(1.5, 63).pow(3).todouble(), 3.375);
    EXPECT_EQ(mpnumber(1.0, 63).log().todouble(), 0.0);
    EXPECT_NEAR(mpnumber(8.0, 63).log2().todouble(), 3.0, 1e-15);
    EXPECT_EQ(mpnumber(1.0, 63).pow2(70U).changesign().todouble(), -0x1p70);
    EXPECT_EQ(mpnumber(0.0, 63).hypot(mpnumber(3.0, 63), mpnumber(4.0, 90)).todouble(), 5.0);
    EXPECT_EQ(mpnumber(3.0, 63).stripscaling(7.0, -3, 7.0).addscaling(7.0, 2, 7.0).todouble(), 96.0);
    EXPECT_TRUE(mpnumber(3.0, 63).stripscaling(1.0, INT_MIN, 0.0).myisinf());
}

TEST(Mpnumber, HasExponentsOfRegularValuesOnly) {
    mpnumber x(5.0, 63);
    EXPECT_EQ(x.getexponent(), 3);
    x.setexponent(-100);
    EXPECT_EQ(valueOf(x.getelement()), scaled(Rational(5), -103));
    x.setexponent(INT_MAX);  // outside MPFR's range, so nothing happens
    EXPECT_EQ(x.unbiasedexponent(), -101);
    x.pow2(1 << 29).pow2(1 << 28);
    EXPECT_EQ(x.unbiasedexponent(), (1 << 29) + (1 << 28) - 101);
    x.pow2(INT_MIN);
    EXPECT_TRUE(x.iszero());
    for (const double value : {0.0, -0.0, inf, -inf, nan}) {
        mpnumber special(value, 63);
        special.setexponent(7);
        EXPECT_EQ(special.getexponent(), 0);
        EXPECT_TRUE(std::isnan(value) ? special.myisnan() : special.todouble() == value);
    }
}

TEST(Mpnumber, AnswersNaNByItsSignFieldAndRaisesTheRangeFlag) {
    mpnumber x(nan, 63);
    mpfr_setsign(x.getmodifiableelement(), x.getelement(), 1, MPFR_RNDN);
    EXPECT_TRUE(x.isnegative());
    mpfr_clear_erangeflag();
    EXPECT_EQ(x.sign(), 0);
    EXPECT_NE(mpfr_erangeflag_p(), 0);
    EXPECT_TRUE(x != x);
    EXPECT_FALSE(x == x);
    EXPECT_TRUE(x.notzero());
}

TEST(Mpnumber, TakesLongIntegersExactly) {
    Random random(33);
    for (int i = 0; i < 3000; ++i) {
        const int wordlength = random.between(1, 200);
        const Integer stored = random.integer(wordlength);
        std::vector<std::uint32_t> words(7, 0);
        mpz_export(words.data(), nullptr, -1, sizeof(std::uint32_t), 0, 0, stored.get_mpz_t());
        const bool isSigned = random.oneIn(2);
        const bool isNegative = isSigned && mpz_tstbit(stored.get_mpz_t(), static_cast<mp_bitcnt_t>(wordlength) - 1);
        const Rational integer = Rational(stored) - (isNegative ? twoTo(wordlength) : Rational(0));
        const int fraction = random.between(-300, 300);
        mpnumber x(0.0, 200);
        x.setvalue(words.data(), 7, isSigned, wordlength, fraction);
        ASSERT_EQ(valueOf(x.getelement()), scaled(integer, -fraction)) << "seed " << random.seed();
        x.setvalue(words.data(), 7, isSigned, wordlength, 5.0, fraction, 6.0);
        ASSERT_EQ(valueOf(x.getelement()), scaled(integer, fraction)) << "seed " << random.seed();
    }
}

TEST(Mpnumber, MakesPowersOfTwoForItsCallers) {
    for (const int n : {0, 1, 53, 128, 65535, -3}) {
        mpfr_t power;
        mpnumber::twoToTheN(power, n);
        EXPECT_EQ(valueOf(power), twoTo(n));
        mpfr_clear(power);
    }
}

TEST(Mpnumber, PrintsItsPrecision) {
    const HostCapture capture;
    mpnumber(1.0, 80).disp();
    EXPECT_EQ(capture.printed, "\nPrecision = 81\n");
}

TEST(Mpnumber, RaisesWhenManyWideElementsCannotFit) {
    const Raised outOfMemory{"fixedpoint:fi:outofmemory", "Not enough memory to allocate new fi object."};
    EXPECT_EQ(raisedBy([] { mpnumber(std::uint64_t{1} << 32, UINT32_MAX, vectorTag); }), outOfMemory);
    EXPECT_EQ(raisedBy([] { mpnumber((UINT64_MAX / 48) + 1, 64, vectorTag); }), outOfMemory);
}

}  // namespace
