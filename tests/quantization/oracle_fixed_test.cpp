// Fixed-point quantizing against exact rationals: the oracle knows only the definitions of the rounding and overflow
// modes.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>

#include "tests/support/quantizers.h"
#include "tests/support/rational.h"

namespace {

struct FixedFormat {
    bool isSigned = true;
    int wordBits = 16;
    int fractionBits = 15;

    Rational eps() const { return twoTo(-fractionBits); }
    Rational modulus() const { return twoTo(wordBits - fractionBits); }
    Rational lower() const { return isSigned ? Rational(-modulus() / 2) : Rational(0); }
    Rational upper() const { return lower() + modulus() - eps(); }
};

class FixedOracle {
 public:
    FixedOracle(const FixedFormat& format, Rounding rounding, bool wraps)
        : mFractionBits(format.fractionBits),
          mRounding(rounding),
          mWraps(wraps),
          mModulus(format.modulus()),
          mLower(format.lower()),
          mUpper(format.upper()) {}

    Rational quantize(const Rational& value) {
        Rational result = value;
        if (value != 0) {
            result = scaled(Rational(rounded(scaled(value, mFractionBits), mRounding)), -mFractionBits);
            counts.underflows += result == 0;
            if (result > mUpper || result < mLower) {
                ++counts.overflows;
                if (mWraps) {
                    result -= mModulus * floorOf((result - mLower) / mModulus);
                } else {
                    result = result > mUpper ? mUpper : mLower;
                }
            }
        }
        ++counts.operations;
        max = max ? std::max(*max, result) : result;
        min = min ? std::min(*min, result) : result;
        return result;
    }

    Counts counts;
    std::optional<Rational> max;
    std::optional<Rational> min;

 private:
    int mFractionBits;
    Rounding mRounding;
    bool mWraps;
    Rational mModulus;
    Rational mLower;
    Rational mUpper;
};

// Four steps per eps, over the range and twice its width on both sides.
void checkGrid(const Description& described, bool multiPrecision) {
    const FixedFormat format{described.mode == Mode::Fixed, described.wordBits, described.second};
    FixedOracle oracle(format, described.rounding, described.wraps);
    const quantizer q = described.make();
    number x(0.0, multiPrecision ? 64 : 52, false);
    const int range = 4 << described.wordBits;
    const int lowest = format.isSigned ? -range / 2 : 0;
    for (int i = lowest - 2 * range; i <= lowest + 3 * range; ++i) {
        const double input = std::ldexp(i, -described.second - 2);
        const double expected = oracle.quantize(Rational(input)).get_d();
        x.setvalue(input);
        q.quantize(x);
        if (x.todouble() != expected || countsOf(q) != oracle.counts) {
            ADD_FAILURE() << described << (multiPrecision ? ", multi-precision: " : ", double: ") << text(input)
                          << " gives " << text(x.todouble()) << " and " << countsOf(q) << ", expected "
                          << text(expected) << " and " << oracle.counts;
            return;
        }
    }
    EXPECT_EQ(q.getMax().todouble(), oracle.max->get_d()) << described;
    EXPECT_EQ(q.getMin().todouble(), oracle.min->get_d()) << described;
}

TEST(FixedOracle, ShortWordsAgreeAtEveryQuarterStepInEveryMode) {
    for (const Mode mode : {Mode::Fixed, Mode::Ufixed}) {
        for (int wordBits = 1; wordBits <= 6; ++wordBits) {
            for (int fractionBits = -2; fractionBits <= wordBits + 2; ++fractionBits) {
                for (const Rounding rounding : kRoundings) {
                    for (const bool wraps : {false, true}) {
                        // The multi-precision body doesn't depend on the fraction length, so every third is enough.
                        const Description described{mode, wordBits, fractionBits, rounding, wraps};
                        checkGrid(described, false);
                        if ((fractionBits + wordBits) % 3 == 0) {
                            checkGrid(described, true);
                        }
                        if (HasFailure()) {
                            return;
                        }
                    }
                }
            }
        }
    }
}

// A value that is likely to go wrong: on or beside a bound, on a tie, tiny, far outside, or any other.
Rational edgeCase(Random& random, const FixedFormat& format, int extraBits) {
    const Rational substep = scaled(format.eps(), -extraBits);
    const Rational bounds[] = {format.lower(), format.upper(), Rational(0), format.modulus(), format.lower() / 2};
    switch (random.between(0, 4)) {
        case 0:
            return random.pick(bounds) + substep * random.between(-3, 3);
        case 1: {
            const Rational half = format.eps() / 2;
            const Rational steps(random.integer(format.wordBits) - random.integer(format.wordBits));
            return (steps * 2 + 1) * half + substep * random.between(-1, 1);
        }
        case 2:
            return substep * Rational(random.integer(extraBits) - random.integer(extraBits));
        case 3:
            return substep * Rational(random.integer(format.wordBits + extraBits + 3) -
                                      random.integer(format.wordBits + extraBits + 3));
        default:
            return random.pick(bounds) + format.eps() * random.between(-2, 2) + format.eps() / 2;
    }
}

TEST(FixedOracle, WideWordsAgreeOnSeededEdgesAndTies) {
    Random random(20250117);
    for (int round = 0; round < 3000; ++round) {
        const bool isSigned = random.oneIn(2);
        const int wordBits = random.oneIn(3)   ? random.between(50, 66)
                             : random.oneIn(2) ? random.between(1, 44)
                                               : random.between(1, 300);
        const FixedFormat format{isSigned, wordBits, random.between(-20, wordBits + 20)};
        const Description described{isSigned ? Mode::Fixed : Mode::Ufixed, wordBits, format.fractionBits,
                                    random.pick(kRoundings), random.oneIn(2)};
        FixedOracle oracle(format, described.rounding, described.wraps);
        const quantizer q = described.make();
        const quantizer onDoubles = described.make();
        const int extraBits = random.between(1, 8);
        // Room for the value, for the half that rounding adds and for the half range that wrapping adds.
        const auto precision = static_cast<unsigned>(std::max(wordBits + extraBits + 6, 53));
        for (int i = 0; i < 12; ++i) {
            const Rational input = edgeCase(random, format, extraBits);
            const Rational expected = oracle.quantize(input);
            number x = makeNumber(input, precision);
            ASSERT_EQ(exactValue(x), input) << "seed " << random.seed() << " round " << round;
            q.quantize(x);
            ASSERT_TRUE(exactValue(x) == expected && countsOf(q) == oracle.counts)
                << "seed " << random.seed() << " round " << round << ", " << described << ": " << text(input)
                << " gives " << text(exactValue(x)) << " and " << countsOf(q) << ", expected " << text(expected)
                << " and " << oracle.counts;
            if (wordBits + extraBits + 6 <= 52) {  // then doubles hold every step as well
                number y = makeNumber(input, 52);
                onDoubles.quantize(y);
                ASSERT_TRUE(Rational(y.todouble()) == expected && countsOf(onDoubles) == oracle.counts)
                    << "seed " << random.seed() << " round " << round << ", " << described << ": the double "
                    << text(input) << " gives " << text(y.todouble()) << " and " << countsOf(onDoubles);
            }
        }
    }
}

// A quantizer with wide constants may quantize a double: the value is then widened for each comparison and each step of
// wrapping, and rounded back to the nearest double every time.
TEST(FixedOracle, DoublesInWideFormatsRoundBackAfterEachStep) {
    Random random(77);
    for (int round = 0; round < 3000; ++round) {
        const bool isSigned = random.oneIn(2);
        const int wordBits = random.between(55, 200);
        const int fractionBits = random.between(-5, wordBits + 5);
        const Description described{isSigned ? Mode::Fixed : Mode::Ufixed, wordBits, fractionBits,
                                    random.pick(kRoundings), random.oneIn(2)};
        const FixedFormat format{isSigned, wordBits, fractionBits};
        // Values with a fraction stay below 2^51 steps, above which adding a half to a double would round.
        const double input = random.oneIn(2) ? random.real(-3 - fractionBits, 40 - fractionBits, 8)
                                             : random.real(53 - fractionBits, wordBits + 4 - fractionBits);
        Rational expected =
            scaled(Rational(rounded(scaled(Rational(input), fractionBits), described.rounding)), -fractionBits);
        Counts counts{0, expected == 0, 1};
        if (expected > format.upper() || expected < format.lower()) {
            ++counts.overflows;
            const auto mod = [&](const Rational& v) {
                return Rational(nearestDouble(v - format.modulus() * floorOf(v / format.modulus())));
            };
            if (!described.wraps) {
                expected = nearestDouble(expected > format.upper() ? format.upper() : format.lower());
            } else if (!isSigned) {
                expected = mod(expected);
            } else {
                expected = mod(nearestDouble(mod(expected) - format.lower()));
                expected = nearestDouble(expected + format.lower());
            }
        }
        const quantizer q = described.make();
        number x(input, 52, false);
        q.quantize(x);
        ASSERT_TRUE(Rational(x.todouble()) == expected && countsOf(q) == counts)
            << "seed " << random.seed() << " round " << round << ", " << described << ": " << text(input) << " gives "
            << text(x.todouble()) << " and " << countsOf(q) << ", expected " << text(expected.get_d()) << " and "
            << counts;
    }
}

// Where a sum with one half is rounded in doubles, the rounded sum decides, not the definition of the rule.
TEST(FixedOracle, SumsWithOneHalfRoundAsDoublesDo) {
    const double justBelowHalf = 0.49999999999999994;
    const double odd = 4503599627370497.0;  // 2^52 + 1: one half more is a tie between this and the next double
    struct Row {
        double input;
        Rounding rounding;
        double expected;
    };
    const Row rows[] = {
        {justBelowHalf, Rounding::nearest, 1.0},
        {justBelowHalf, Rounding::round, 1.0},
        {-justBelowHalf, Rounding::round, -1.0},
        {justBelowHalf, Rounding::convergent, 1.0},
        {-justBelowHalf, Rounding::nearest, 0.0},
        {odd, Rounding::nearest, odd + 1.0},
        {odd, Rounding::convergent, odd + 1.0},
        {odd, Rounding::round, odd},
        {odd, Rounding::floor, odd},
    };
    for (const Row& row : rows) {
        const Description described{Mode::Fixed, 60, 0, row.rounding};
        const quantizer q = described.make();
        number x(row.input, 52, false);
        EXPECT_EQ(q.quantize(x).todouble(), row.expected) << described << ": " << text(row.input);
    }
}

// Doubles keep the sign of zero, and logs and texts show it.
TEST(FixedOracle, ResultsOfZeroKeepTheSignThatTheirRuleGives) {
    struct Row {
        Rounding rounding;
        bool negativeZero;
    };
    const Row rows[] = {{Rounding::ceil, true},
                        {Rounding::fix, true},
                        {Rounding::round, true},
                        {Rounding::nearest, false},
                        {Rounding::convergent, false}};
    for (const Row& row : rows) {
        const Description described{Mode::Fixed, 8, 4, row.rounding};
        const quantizer q = described.make();
        number x(-0.02, 52, false);
        q.quantize(x);
        EXPECT_TRUE(x.iszero()) << described;
        EXPECT_EQ(std::signbit(x.todouble()), row.negativeZero) << described;
        x.setvalue(-0.0);
        EXPECT_TRUE(std::signbit(q.quantize(x).todouble())) << described << ": a zero is left alone";
    }
}

TEST(FixedOracle, InfinitiesAndNaNTakeTheWaysOfTheComparisons) {
    constexpr double kInf = std::numeric_limits<double>::infinity();
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    struct Row {
        bool wraps;
        double input;
        double expected;
        std::uint64_t overflows;
    };
    const Row rows[] = {
        {false, kInf, 127.0 / 128, 1}, {false, -kInf, -1.0, 1}, {false, kNaN, kNaN, 0},
        {true, kInf, kNaN, 1},         {true, -kInf, kNaN, 1},  {true, kNaN, kNaN, 0},
    };
    for (const Rounding rounding : kRoundings) {
        for (const unsigned precision : {52u, 80u}) {
            for (const Row& row : rows) {
                const Description described{Mode::Fixed, 8, 7, rounding, row.wraps};
                const quantizer q = described.make();
                number x(row.input, precision, false);
                q.quantize(x);
                const bool same = std::isnan(row.expected) ? x.myisnan() : x.todouble() == row.expected;
                EXPECT_TRUE(same && countsOf(q) == (Counts{row.overflows, 0, 1}))
                    << described << " at precision " << precision << ": " << row.input << " gives " << x.todouble()
                    << " and " << countsOf(q);
            }
        }
    }
}

TEST(FixedOracle, ConstantsOfAnyFormatAreTheirDefinitions) {
    Random random(4711);
    constexpr Mode kModes[] = {Mode::Fixed, Mode::ScaledDouble, Mode::Ufixed, Mode::UnsignedScaledDouble};
    constexpr std::pair<int, int> kEdges[] = {{1, 0}, {1, 5}, {51, 3}, {52, 3}, {53, 9}, {64, 700}, {65535, -7}};
    for (std::size_t round = 0; round < 400; ++round) {
        const Mode mode = kModes[round % 4];
        const bool isSigned = mode == Mode::Fixed || mode == Mode::ScaledDouble;
        const int kindOfWord = random.between(0, 9);
        auto [wordBits, fractionBits] =
            std::pair(kindOfWord == 0 ? random.between(60000, 65535) : random.between(1, kindOfWord * 60),
                      random.between(-300, 300));
        if (round / 4 < std::size(kEdges)) {
            std::tie(wordBits, fractionBits) = kEdges[round / 4];
        }
        const FixedFormat format{isSigned, wordBits, fractionBits};
        const Description described{mode, wordBits, fractionBits};
        const quantizer q = described.make();
        const bool stepsDown = mode == Mode::Fixed && wordBits == 1;
        struct Constant {
            const char* name;
            const number& actual;
            Rational expected;
        };
        const Rational eps = format.eps();
        const Constant constants[] = {
            {"realmax", q.getRealmax(), format.upper()},
            {"upper bound", q.getUpperBound(), format.upper()},
            {"lower bound", q.getLowerBound(), format.lower()},
            {"realmin", q.getRealmin(), stepsDown ? Rational(-eps) : eps},
            {"eps", q.getEps(), stepsDown ? Rational(-eps) : eps},
            {"denormalmin", q.getDenormalmin(), stepsDown ? Rational(-eps) : eps},
            {"denormalmax", q.getDenormalmax(), stepsDown ? Rational(-eps) : eps},
            {"positive eps", q.getPositiveEps(), eps},
            {"negative eps", q.getNegativeEps(), -eps},
            {"wraparound", q.getWrapAround(), format.modulus()},
        };
        const unsigned precision = static_cast<unsigned>(isSigned ? wordBits : wordBits + 1);
        ASSERT_EQ(q.getPrecision(), precision) << described;
        ASSERT_EQ(q.getExponentlength() + q.getExponentmax() + q.getExponentmin(), 0) << described;
        for (const Constant& constant : constants) {
            const bool same = constant.actual == makeNumber(constant.expected, precision + 2, true);
            const auto kind = static_cast<int>(constant.actual.gettype());
            ASSERT_TRUE(same && kind == (precision > 52 ? 1 : 0))
                << "seed " << random.seed() << " round " << round << ", " << described << ": " << constant.name
                << " is " << text(constant.actual.todouble()) << " of kind " << kind;
        }
    }
}

TEST(FixedOracle, MeetsBoundsThatDoublesHoldOnlyInPart) {
    constexpr double kInf = std::numeric_limits<double>::infinity();
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    struct Row {
        Mode mode;
        int wordBits;
        int fractionBits;
        bool wraps;
        double input;
        double expected;
        Rounding rounding = Rounding::floor;
    };
    const Row rows[] = {
        {Mode::Fixed, 8, 7, true, 0x1p1000, 0.0},
        {Mode::Fixed, 8, 12, true, 0.03125, -0.03125},  // a wraparound below 1
        {Mode::Fixed, 52, 0, true, 0x1p51, -0x1p51},
        {Mode::Fixed, 64, 0, false, 0x1p80, 0x1p63},  // the bound in a double element
        {Mode::Ufixed, 52, 0, true, -1.0, 0x1p52 - 1},
        {Mode::Ufixed, 52, 0, false, 0x1p60, 0x1p52 - 1},
        {Mode::Ufixed, 52, 60, true, 0x1p960, 0.0},
        {Mode::Ufixed, 52, 60, true, 0x1p1000, kNaN},  // scaled for rounding, it exceeds the range of doubles
        {Mode::Float, 10, 0, false, 1.0, kInf},        // exponentmax is -1
        // An odd whole number from 2^52 on: its sum with 0.5 is a tie between doubles, and goes to the even one.
        {Mode::Ufixed, 52, 0, true, 0x1p52 + 1, 1.0},
        {Mode::Ufixed, 52, 0, true, 0x1p52 + 1, 1.0, Rounding::round},
        {Mode::Ufixed, 52, 0, true, 0x1p52 + 1, 2.0, Rounding::nearest},
        {Mode::Ufixed, 52, 0, true, 0x1p52 + 1, 2.0, Rounding::convergent},
    };
    for (const Row& row : rows) {
        const Description described{row.mode, row.wordBits, row.fractionBits, row.rounding, row.wraps};
        const quantizer q = described.make();
        number x(row.input, 52, false);
        EXPECT_EQ(&q.quantize(x), &x);
        EXPECT_TRUE(sameElement(x, number(row.expected, 52, false))) << described << text(x.todouble());
        EXPECT_EQ(countsOf(q), (Counts{1, 0, 1})) << described;
    }
}

TEST(FixedOracle, ScalesWithTheFormatWherePowersLeaveTheDoubles) {
    Random random(99);
    for (int round = 0; round < 600; ++round) {
        Description near;
        near.mode = random.oneIn(2) ? Mode::Fixed : Mode::Ufixed;
        near.wordBits = random.between(1, 52);
        near.second = 0;
        near.rounding = random.pick(kRoundings);
        near.wraps = random.oneIn(2);
        Description far = near;
        far.second = random.oneIn(2) ? 930 : -905;
        const quantizer a = near.make();
        const quantizer b = far.make();
        ASSERT_TRUE(a.getDoubleLimits().valid);
        ASSERT_FALSE(b.getDoubleLimits().valid);
        for (int i = 0; i < 20; ++i) {
            const int bits = random.between(0, 54);
            const double value =
                std::ldexp(static_cast<double>(static_cast<std::int64_t>(random.word()) >> (63 - bits)), -3);
            number x(value, 52, false);
            number y(std::ldexp(value, -far.second), 52, false);
            a.quantize(x);
            b.quantize(y);
            y = std::ldexp(y.todouble(), far.second);
            ASSERT_TRUE(sameElement(x, y)) << "seed " << random.seed() << ' ' << far << " of " << text(value) << ": "
                                           << text(x.todouble()) << " and " << text(y.todouble());
        }
        ASSERT_EQ(countsOf(a), countsOf(b)) << "seed " << random.seed() << ' ' << far;
    }
}

}  // namespace
