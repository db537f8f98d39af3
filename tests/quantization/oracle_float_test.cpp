// Floating formats against three models that share no code with the library: bit patterns enumerated one by one,
// rounding of the bits of a double in integers, and exact rationals. Single is also checked against hardware.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

#include "tests/support/quantizers.h"
#include "tests/support/rational.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct FloatFormat {
    int wordBits = 16;
    int exponentBits = 5;

    int fractionBits() const { return wordBits - exponentBits - 1; }
    int highest() const {
        return exponentBits == 0 ? -1 : static_cast<int>((std::int64_t{1} << (exponentBits - 1)) - 1);
    }
    int lowest() const { return 1 - highest(); }
    Description described(Rounding rounding) const { return {Mode::Float, wordBits, exponentBits, rounding}; }
};

struct Outcome {
    double value = 0.0;
    bool overflowed = false;
    bool underflowed = false;
    Counts counts() const { return {overflowed, underflowed, 1}; }
};

// Whether the rule rounds a fraction above `low`, possibly a tie, away from zero; magnitudes are counted from zero.
bool goesAway(Rounding rounding, bool negative, std::strong_ordering toHalf, bool lowIsOdd) {
    switch (rounding) {
        case Rounding::ceil:
            return !negative;
        case Rounding::floor:
            return negative;
        case Rounding::fix:
            return false;
        case Rounding::nearest:
            return toHalf > 0 || (toHalf == 0 && !negative);
        case Rounding::round:
            return toHalf >= 0;
        case Rounding::convergent:
            return toHalf > 0 || (toHalf == 0 && lowIsOdd);
    }
    return false;
}

// The sums with one half give +0 where the other rules keep the sign.
double zeroOf(Rounding rounding, bool negative) {
    return negative && rounding != Rounding::nearest && rounding != Rounding::convergent ? -0.0 : 0.0;
}

// Rounds the bits of a double; every step is an integer operation.
Outcome quantizeBits(const FloatFormat& format, Rounding rounding, double input) {
    const auto bits = std::bit_cast<std::uint64_t>(input);
    const bool negative = bits >> 63 != 0;
    const int field = static_cast<int>(bits >> 52 & 0x7ff);
    std::uint64_t mantissa = bits & ((std::uint64_t{1} << 52) - 1);
    if (field == 0x7ff) {
        return {input, mantissa == 0, false};
    }
    if (field == 0 && mantissa == 0) {
        return {input, false, false};
    }
    const int unit = (field == 0 ? 1 : field) - 1075;  // weight of bit 0 of the mantissa
    if (field != 0) {
        mantissa |= std::uint64_t{1} << 52;
    }
    const int leading = unit + 63 - std::countl_zero(mantissa);
    const int step = std::max(leading, format.lowest()) - format.fractionBits();
    const int shift = step - unit;
    // Above the greatest value: a greater exponent, or all bits of the format set and more bits below them.
    const int below = leading - format.fractionBits() - unit;
    const std::uint64_t allOnes = (std::uint64_t{2} << format.fractionBits()) - 1;
    if (leading > format.highest() || (leading == format.highest() && below > 0 && mantissa > allOnes << below)) {
        return {negative ? -kInf : kInf, true, false};
    }
    const std::uint64_t lost = shift <= 0 || shift > 63 ? mantissa : mantissa & ((std::uint64_t{1} << shift) - 1);
    const std::uint64_t kept = shift <= 0 ? mantissa : shift > 63 ? 0 : mantissa >> shift;
    if (shift <= 0 || lost == 0) {
        return {input, false, false};
    }
    std::strong_ordering toHalf = std::strong_ordering::less;
    if (shift <= 63) {
        toHalf = lost <=> std::uint64_t{1} << (shift - 1);
    }
    // The greatest double below one half gives 1 when a half is added to it, since the sum is rounded.
    const bool addsHalf = rounding == Rounding::round ||
                          (!negative && (rounding == Rounding::nearest || rounding == Rounding::convergent));
    const bool sumRounds = addsHalf && mantissa == (std::uint64_t{1} << 53) - 1 && shift == 54;
    const std::uint64_t result = kept + (goesAway(rounding, negative, toHalf, (kept & 1) != 0) || sumRounds ? 1 : 0);
    if (result == 0) {
        return {zeroOf(rounding, negative), false, true};
    }
    const double magnitude = std::ldexp(static_cast<double>(result), step);
    return {negative ? -magnitude : magnitude, false, false};
}

::testing::AssertionResult agrees(const Description& described, double input, const Outcome& expected,
                                  const quantizer& q, number& x) {
    const Counts before = countsOf(q);
    x.setvalue(input);
    q.quantize(x);
    const double actual = x.todouble();
    const Counts after = countsOf(q);
    const Counts counts{after.overflows - before.overflows, after.underflows - before.underflows,
                        after.operations - before.operations};
    const bool same = std::isnan(expected.value) ? std::isnan(actual) : sameBits(actual, expected.value);
    if (same && counts == expected.counts()) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << described << ": " << text(input) << " gives " << text(actual) << " and "
                                         << counts << ", expected " << text(expected.value) << " and "
                                         << expected.counts();
}

// The values of a short format in ascending order are its patterns in ascending order. So neighbours, parity and the
// position between them follow from counting, through the denormals and every change of exponent.
void checkEveryPattern(const FloatFormat& format) {
    const int fractionBits = format.fractionBits();
    const auto decode = [&](std::uint32_t pattern) {
        const auto field = static_cast<int>(pattern >> fractionBits);
        const std::uint32_t fraction = pattern & ((1U << fractionBits) - 1);
        const std::uint32_t mantissa = field == 0 ? fraction : fraction + (1U << fractionBits);
        return std::ldexp(mantissa, std::max(field, 1) - format.highest() - fractionBits);
    };
    // Without fraction bits only the hidden bit is kept, and it is always one.
    const auto isOdd = [&](std::uint32_t pattern) { return fractionBits == 0 ? pattern != 0 : (pattern & 1) != 0; };
    // One more would be the first pattern of the exponent field for infinity.
    const auto last = static_cast<std::uint32_t>(((format.highest() * 2 + 1) << fractionBits) - 1);
    for (const Rounding rounding : kRoundings) {
        const Description described = format.described(rounding);
        const quantizer q = described.make();
        ASSERT_EQ(q.getRealmax().todouble(), decode(last)) << described;
        ASSERT_EQ(q.getDenormalmin().todouble(), decode(1)) << described;
        number x(0.0, 52, false);
        for (std::uint32_t pattern = 0; pattern <= last; ++pattern) {
            const double low = decode(pattern);
            const double gap = decode(pattern + 1) - low;
            for (int quarter = 0; quarter < 4; ++quarter) {
                for (const bool negative : {false, true}) {
                    const double magnitude = low + quarter * gap / 4;
                    Outcome expected;
                    if (quarter == 0) {
                        expected.value = negative ? -low : low;
                    } else if (pattern == last) {
                        expected = {negative ? -kInf : kInf, true, false};
                    } else {
                        const bool away = goesAway(rounding, negative, quarter <=> 2, isOdd(pattern));
                        const double result = decode(pattern + (away ? 1 : 0));
                        expected.underflowed = result == 0.0;
                        expected.value = expected.underflowed ? zeroOf(rounding, negative)
                                         : negative           ? -result
                                                              : result;
                    }
                    ASSERT_TRUE(agrees(described, negative ? -magnitude : magnitude, expected, q, x));
                }
            }
        }
    }
}

TEST(FloatOracle, ShortFormatsAgreeAtEveryQuarterBetweenNeighbours) {
    for (const FloatFormat format : {FloatFormat{8, 4}, FloatFormat{4, 2}, FloatFormat{9, 3}, FloatFormat{6, 5},
                                     FloatFormat{3, 2}, FloatFormat{12, 6}, FloatFormat{16, 5}}) {
        checkEveryPattern(format);
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST(FloatOracle, AnyDoubleAgreesWithARoundingOfItsBits) {
    Random random(1815);
    const FloatFormat formats[] = {{8, 4},   {16, 5},  {12, 6},  {32, 8},  {20, 12}, {64, 11},
                                   {40, 11}, {24, 15}, {63, 11}, {16, 11}, {5, 1}};
    for (int round = 0; round < 3000; ++round) {
        const FloatFormat format = random.pick(formats);
        const Description described = format.described(random.pick(kRoundings));
        if (format.fractionBits() == 52 &&
            (described.rounding == Rounding::nearest || described.rounding == Rounding::convergent)) {
            continue;  // the sum with one half is rounded; see the test below
        }
        const quantizer q = described.make();
        number x(0.0, 52, false);
        const int lowest = std::max(format.lowest() - format.fractionBits() - 3, -1074);
        const int highest = std::min(format.highest() + 2, 1023);
        for (int i = 0; i < 60; ++i) {
            double input = random.anyDouble();
            if (random.oneIn(2)) {
                // Around the format: a few more bits than it keeps, so that values are on or near ties and bounds.
                input = random.real(lowest, highest, random.between(1, std::min(53, format.fractionBits() + 3)));
            } else if (random.oneIn(3)) {
                const double edges[] = {q.getRealmax().todouble(), q.getRealmin().todouble(),
                                        q.getDenormalmin().todouble(), q.getDenormalmin().todouble() / 2,
                                        q.getRealmin().todouble() * 0.75};
                input = random.pick(edges) * (random.oneIn(2) ? 1.0 : -1.0);
            }
            if (random.oneIn(3)) {
                input = std::nextafter(input, random.oneIn(2) ? kInf : -kInf);
            }
            ASSERT_TRUE(agrees(described, input, quantizeBits(format, described.rounding, input), q, x))
                << "seed " << random.seed() << " round " << round;
        }
    }
}

// In a format as wide as a double, the sum with one half is a tie between two doubles, and is rounded to the even one.
TEST(FloatOracle, SumsWithOneHalfRoundInAFormatAsWideAsADouble) {
    constexpr double kOdd = 1.0 + 0x1p-52;
    constexpr double kNext = 1.0 + 0x1p-51;
    struct Row {
        Rounding rounding;
        double input;
        double expected;
    };
    const Row rows[] = {{Rounding::nearest, kOdd, kNext},  {Rounding::convergent, kOdd, kNext},
                        {Rounding::nearest, -kOdd, -1.0},  {Rounding::convergent, -kOdd, -1.0},
                        {Rounding::nearest, kNext, kNext}, {Rounding::convergent, -kNext, -kNext},
                        {Rounding::round, kOdd, kOdd},     {Rounding::floor, -kOdd, -kOdd}};
    for (const Row& row : rows) {
        const Description described = FloatFormat{64, 11}.described(row.rounding);
        const quantizer q = described.make();
        number x(0.0, 52, false);
        EXPECT_TRUE(agrees(described, row.input, {row.expected, false, false}, q, x));
    }
}

// Exact rationals, for values that no double holds.
struct WideOutcome {
    std::optional<Rational> value;  // none: an infinity of the input's sign
    Counts counts;
};

WideOutcome quantizeExactly(const FloatFormat& format, Rounding rounding, const Rational& input) {
    if (input == 0) {
        return {input, {0, 0, 1}};
    }
    const Rational greatest = (2 - twoTo(-format.fractionBits())) * twoTo(format.highest());
    if (abs(input) > greatest) {
        return {std::nullopt, {1, 0, 1}};
    }
    const int step = std::max(leadingExponent(input), format.lowest()) - format.fractionBits();
    const Integer steps = rounded(scaled(input, -step), rounding);
    return {scaled(Rational(steps), step), {0, steps == 0, 1}};
}

TEST(FloatOracle, WideFormatsAgreeWithExactRationals) {
    Random random(90125);
    const FloatFormat formats[] = {{80, 15}, {40, 12}, {20, 12}, {128, 15}, {300, 14}, {65, 11}, {16, 5}, {54, 0}};
    for (int round = 0; round < 6000; ++round) {
        const FloatFormat format = random.pick(formats);
        const Description described = format.described(random.pick(kRoundings));
        const quantizer q = described.make();
        const int fractionBits = format.fractionBits();
        // A few bits beyond the format, at an exponent near an end of its range or near that of 1.
        const int places[] = {format.lowest() - fractionBits, format.lowest(), 0, format.highest()};
        const int leading = random.pick(places) + random.between(-3, 1);
        const int bits = random.between(1, fractionBits + 4);
        Rational input = scaled(Rational(random.integer(bits) + 1), leading - bits + 1);
        if (random.oneIn(4)) {
            const Rational bounds[] = {(2 - twoTo(-fractionBits)) * twoTo(format.highest()), twoTo(format.lowest()),
                                       twoTo(format.lowest() - fractionBits)};
            const Rational bound = random.pick(bounds);
            input = bound + twoTo(leadingExponent(bound) - fractionBits - 2) * random.between(-3, 3);
        }
        if (random.oneIn(2)) {
            input = -input;
        }
        const WideOutcome expected = quantizeExactly(format, described.rounding, input);
        number x = makeNumber(input, static_cast<unsigned>(fractionBits + 80), true);
        q.quantize(x);
        const bool same =
            !expected.value ? x.myisinf() && x.sign() == sgn(input) : x.isFinite() && exactValue(x) == *expected.value;
        ASSERT_TRUE(same && countsOf(q) == expected.counts)
            << "seed " << random.seed() << " round " << round << ", " << described << ": " << input.get_str()
            << " gives " << text(x.todouble()) << " and " << countsOf(q) << ", expected "
            << (expected.value ? expected.value->get_str() : "infinity") << " and " << expected.counts;
    }
}

TEST(FloatOracle, ConstantsOfAnyFormatAreTheirDefinitions) {
    Random random(3);
    constexpr FloatFormat kEdges[] = {{1, 0}, {64, 11}, {65, 11}, {40, 12}};
    for (std::size_t round = 0; round < 400; ++round) {
        const int anyExponentBits = random.between(0, 16);
        const int anyWordBits = anyExponentBits + random.between(1, random.oneIn(8) ? 4000 : 80);
        const FloatFormat format =
            round < std::size(kEdges) ? kEdges[round] : FloatFormat{anyWordBits, anyExponentBits};
        const auto [wordBits, exponentBits] = format;
        const int fractionBits = format.fractionBits();
        const quantizer q = format.described(Rounding::round).make();
        const bool wide = exponentBits >= 12 || fractionBits > 52;
        const Rational greatest = (2 - twoTo(-fractionBits)) * twoTo(format.highest());
        const Rational least = twoTo(format.lowest());
        const Rational leastDenormal = twoTo(format.lowest() - fractionBits);
        struct Constant {
            const char* name;
            const number& actual;
            Rational expected;
        };
        const Constant constants[] = {
            {"realmax", q.getRealmax(), greatest},
            {"lower bound", q.getLowerBound(), -greatest},
            {"realmin", q.getRealmin(), least},
            {"denormalmin", q.getDenormalmin(), leastDenormal},
            {"eps", q.getEps(), twoTo(-fractionBits)},
            {"negative eps", q.getNegativeEps(), -twoTo(-fractionBits)},
            {"wraparound", q.getWrapAround(), Rational(0)},
        };
        ASSERT_EQ(q.getFractionlength(), fractionBits);
        ASSERT_EQ(q.getPrecision(), static_cast<unsigned>(fractionBits));
        ASSERT_EQ(q.getExponentlength(), exponentBits);
        ASSERT_EQ(q.getExponentbias(), format.highest());
        ASSERT_EQ(q.getExponentmax(), format.highest());
        ASSERT_EQ(q.getExponentmin(), format.lowest());
        for (const Constant& constant : constants) {
            // Doubles have no step below 2^-1074, so narrow formats with long exponents lose their least denormals.
            if (!wide && constant.expected != 0 && leadingExponent(constant.expected) < -1074) {
                continue;
            }
            const bool same =
                constant.actual == makeNumber(constant.expected, static_cast<unsigned>(fractionBits + 60), true);
            ASSERT_TRUE(same && static_cast<int>(constant.actual.gettype()) == (wide ? 1 : 0))
                << "seed " << random.seed() << " round " << round << ", [" << wordBits << ' ' << exponentBits
                << "]: " << constant.name << " is " << text(constant.actual.todouble());
        }
    }
}

TEST(FloatOracle, SingleAgreesWithTheHardwareAwayFromTies) {
    Random random(32);
    for (const Rounding rounding : kRoundings) {
        const Description described{Mode::Single, 16, 15, rounding};  // the round mode is stored but not used
        const quantizer q = described.make();
        number x(0.0, 52, false);
        for (int i = 0; i < 20000; ++i) {
            const double input = random.real(-152, 127, random.between(20, 53));
            const double step = std::ldexp(1.0, std::max(std::ilogb(input), -126) - 23);
            const double greatest = static_cast<double>(std::numeric_limits<float>::max());
            double expected = static_cast<double>(static_cast<float>(input));
            if (std::abs(input) > greatest) {
                expected = std::copysign(kInf, input);
            } else if (std::fmod(std::abs(input), step) == step / 2) {
                expected = input + std::copysign(step / 2, input);
            }
            x.setvalue(input);
            ASSERT_EQ(q.quantize(x).todouble(), expected)
                << "seed " << random.seed() << ", " << described << ": " << text(input);
        }
    }
}

TEST(FloatOracle, OtherModesKeepTheirTables) {
    constexpr double kMax = std::numeric_limits<double>::max();
    constexpr double kTiny = std::numeric_limits<double>::denorm_min();
    struct Row {
        Description described;
        double input;
        Outcome expected;
    };
    const Description asDouble{Mode::Double, 16, 15};
    const Description none{Mode::None, 16, 15};
    const Description boolean{Mode::Boolean, 16, 15};
    const Description single{Mode::Single, 16, 15};
    const Description scaledDouble{Mode::ScaledDouble, 8, 7};
    const Description unsignedScaled{Mode::UnsignedScaledDouble, 8, 7};
    std::vector<Row> rows = {
        {boolean, -3.0, {1.0, false, false}},
        {boolean, 0.0, {0.0, false, false}},
        {boolean, -0.0, {-0.0, false, false}},
        {boolean, kTiny, {1.0, false, false}},
        {boolean, kInf, {1.0, false, false}},
        {boolean, kNaN, {1.0, false, false}},
        {single, 16777217.0, {16777218.0, false, false}},
        {single, -16777217.0, {-16777218.0, false, false}},
        {single, -0.0, {-0.0, false, false}},
        {single, kMax, {kInf, true, false}},
        {single, -0x1.fffffep127, {-0x1.fffffep127, false, false}},
        {single, 0x1.fffffe0000001p127, {kInf, true, false}},
        {single, 0x1p-149, {0x1p-149, false, false}},
        {single, -0x1p-150, {-0x1p-149, false, false}},
        {single, -0x1.fp-151, {-0.0, false, true}},
        {single, kInf, {kInf, true, false}},
        {single, kNaN, {kNaN, false, false}},
        {scaledDouble, 0.001, {0.001, false, true}},
        {scaledDouble, -0.001, {-0.001, false, true}},
        {unsignedScaled, -0.001, {-0.001, true, true}},
        {unsignedScaled, 1.9, {1.9, false, false}},
        {unsignedScaled, 2.0, {2.0, true, false}},
        {unsignedScaled, kNaN, {kNaN, false, false}},
    };
    for (const Description& each : {asDouble, none}) {
        for (const double kept : {0.1, -0.0, kTiny, kMax, -kMax, kNaN}) {
            rows.push_back({each, kept, {kept, false, false}});
        }
        for (const double beyond : {kInf, -kInf}) {
            rows.push_back({each, beyond, {beyond, true, false}});
        }
    }
    for (const double kept : {0.0, -0.0, 1.0 / 128, -1.0 / 128, 127.0 / 128, -1.0, kNaN}) {
        rows.push_back({scaledDouble, kept, {kept, false, false}});
    }
    for (const double beyond : {300.0, 0.995, -1.001, kInf, -kInf}) {
        rows.push_back({scaledDouble, beyond, {beyond, true, false}});
    }
    for (const Row& row : rows) {
        for (const Rounding rounding : kRoundings) {
            for (const bool wraps : {false, true}) {
                Description described = row.described;
                described.rounding = rounding;
                described.wraps = wraps;
                for (const unsigned precision : {52U, 80U}) {
                    const quantizer q = described.make();
                    number x(0.0, precision, false);
                    EXPECT_TRUE(agrees(described, row.input, row.expected, q, x)) << precision;
                }
            }
        }
    }
}

}  // namespace
