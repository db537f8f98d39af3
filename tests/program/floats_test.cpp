// Floats against doubles that hold every number of a small format: the two neighbours of an exact result are found in a
// sorted list of all of them. Long formats are compared with the processor's floats.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include "program/tolvane.h"
#include "tests/support/rational.h"

namespace {

using namespace tolvane;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// The magnitudes of a format by their codes, as its definition has them, with an unreachable one at the end.
struct Table {
    float_type type;
    std::vector<double> numbers;

    explicit Table(const float_type& t) : type(t) {
        const int bias = (1 << (t.exponent_bits - 1)) - 1;
        const int codes = 1 << (t.exponent_bits + t.fraction_bits);
        const int special = t.is_finite ? 1 : 1 << t.fraction_bits;
        for (int code = 0; code <= codes - special; ++code) {
            const int exponent = code >> t.fraction_bits;
            const int fraction = code - (exponent << t.fraction_bits);
            const double mantissa = std::ldexp(fraction, -t.fraction_bits);
            numbers.push_back(exponent == 0 ? std::ldexp(mantissa, 1 - bias)
                                            : std::ldexp(1 + mantissa, exponent - bias));
        }
    }
    double greatest() const { return numbers[numbers.size() - 2]; }
    std::uint64_t sign() const { return std::uint64_t{1} << (type.bits() - 1); }
    std::uint64_t infinity() const { return numbers.size() - 1; }
    std::uint64_t nan() const {
        return type.is_finite ? numbers.size() - 1 : infinity() + (std::uint64_t{1} << (type.fraction_bits - 1));
    }
    double valueOf(std::uint64_t word) const {
        const std::uint64_t code = word & (sign() - 1);
        const double size = code < infinity()                       ? numbers[code]
                            : code == infinity() && !type.is_finite ? kInfinity
                                                                    : kNan;
        return (word & sign()) != 0 ? -size : size;
    }

    /// The word of a double in a rounding.
    std::uint64_t rounded(double value, rounding mode, bool saturates) const {
        if (std::isnan(value)) {
            return nan();
        }
        const bool isNegative = std::signbit(value);
        const double size = std::abs(value);
        const std::uint64_t top = isNegative ? sign() : 0;
        const std::uint64_t beyond = saturates ? top + infinity() - 1 : type.is_finite ? nan() : top + infinity();
        if (std::isinf(size)) {
            return beyond;
        }
        // The first number that isn't less, the last of them being one that a format with more exponents would have.
        const auto above = std::ranges::lower_bound(numbers, size);
        auto code = static_cast<std::uint64_t>(above - numbers.begin());
        if (code == numbers.size() || *above != size) {
            bool isUp = false;
            const bool isFar = code == numbers.size();
            const double low = isFar ? 0 : numbers[code - 1];
            const double middle = isFar ? 0 : low + (*above - low) / 2;
            const bool isLowOdd = !isFar && (code - 1) % 2 != 0;
            switch (mode) {
                case rounding::ceil:
                    isUp = !isNegative;
                    break;
                case rounding::floor:
                    isUp = isNegative;
                    break;
                case rounding::toward_zero:
                    break;
                case rounding::away_from_zero:
                    isUp = true;
                    break;
                case rounding::jam:
                    isUp = !isLowOdd && !isFar && code < infinity();
                    break;
                default:
                    isUp = size > middle ||
                           (size == middle && (mode == rounding::convergent     ? isLowOdd
                                               : mode == rounding::nearest_odd  ? !isLowOdd
                                               : mode == rounding::nearest      ? !isNegative
                                               : mode == rounding::nearest_down ? isNegative
                                                                                : mode == rounding::nearest_away));
            }
            code = isUp ? code : isFar ? infinity() - 1 : code - 1;
        } else if (code == infinity()) {
            // Just the first number that isn't there.
            const bool isInward = mode == rounding::toward_zero || mode == rounding::jam ||
                                  (mode == rounding::ceil && isNegative) || (mode == rounding::floor && !isNegative);
            code = isInward ? code - 1 : code;
        }
        return code >= infinity() ? beyond : top + code;
    }
};

constexpr rounding kModes[] = {rounding::convergent,     rounding::ceil,         rounding::toward_zero,
                               rounding::floor,          rounding::nearest,      rounding::nearest_away,
                               rounding::nearest_zero,   rounding::nearest_down, rounding::nearest_odd,
                               rounding::away_from_zero, rounding::jam};

const float_type kSmallTypes[] = {{4, 3, true}, {4, 3, false}, {5, 2, false}, {2, 1, false}};

std::vector<std::uint64_t> allWords(const float_type& type) {
    std::vector<std::uint64_t> words(std::size_t{1} << type.bits());
    std::iota(words.begin(), words.end(), std::uint64_t{0});
    return words;
}

TEST(Floats, OfEightBitsAddAndMultiplyEveryPairAsIeeeHasIt) {
    for (const float_type& type : kSmallTypes) {
        const Table table(type);
        const std::vector<std::uint64_t> words = allWords(type);
        const float_array all = float_array::from_words(words, type);
        int step = 0;
        for (const std::uint64_t word : words) {
            const float_array one = float_array::from_words(std::vector{word}, type);
            // To nearest for each word, and each other mode for one word in five.
            for (const rounding mode : {rounding::convergent, kModes[1 + step++ % 10], kModes[1 + step++ % 10]}) {
                const float_format format(type, mode,
                                          step % 3 == 0 ? float_overflow::saturate : float_overflow::infinity);
                const float_array sums = add(all, one, format);
                const float_array differences = subtract(one, all, format);
                const float_array products = multiply(all, one, format);
                for (const std::uint64_t other : words) {
                    const double x = table.valueOf(other);
                    const double y = table.valueOf(word);
                    const auto wanted = [&](double exact) { return table.rounded(exact, mode, step % 3 == 0); };
                    const auto sumOf = [&](double p, double q) {
                        const bool isMinusZero =
                            p + q == 0 && mode == rounding::floor && std::signbit(p) != std::signbit(q);
                        return isMinusZero ? -0.0 : p + q;
                    };
                    const std::string what = format.text() + ": " + std::to_string(x) + ", " + std::to_string(y);
                    ASSERT_EQ(sums.words()[other], wanted(sumOf(x, y))) << what;
                    ASSERT_EQ(differences.words()[other], wanted(sumOf(y, -x))) << what;
                    ASSERT_EQ(products.words()[other], wanted(x * y)) << what;
                }
            }
            const std::vector<bool> isLess = less(all, one);
            const std::vector<bool> isEqual = equal(all, one);
            for (const std::uint64_t other : words) {
                ASSERT_EQ(isLess[other], table.valueOf(other) < table.valueOf(word));
                ASSERT_EQ(isEqual[other], table.valueOf(other) == table.valueOf(word));
            }
        }
    }
}

constexpr double kSpecial[] = {0.0, -0.0, kInfinity, -kInfinity, kNan};
constexpr std::uint32_t kExponents[] = {0x3F000000U, 0U, 0x7F000000U, 0x7E000000U, 0x1F000000U, 0x20000000U};

TEST(Floats, TakeDoublesExactNumbersAndOtherFloats) {
    Random random(1721);
    for (const float_type& type : {float_type{5, 10}, float_type{8, 7}, float_type{4, 3, true}, float_type{8, 10}}) {
        const Table table(type);
        const int least = -(1 << (type.exponent_bits - 1)) - type.fraction_bits - 2;
        for (int round = 0; round < 6000; ++round) {
            double value =
                random.real(least, 1 << (type.exponent_bits - 1), random.oneIn(2) ? type.fraction_bits + 2 : 53);
            if (random.oneIn(4)) {  // near the greatest number and the first one beyond
                value = std::copysign(
                    table.greatest() * (1 + random.between(0, 8) * std::ldexp(1, -type.fraction_bits - 3)), value);
            }
            value = random.oneIn(50) ? random.pick(kSpecial) : value;
            const bool saturates = random.oneIn(2);
            const float_format format(type, random.pick(kModes),
                                      saturates ? float_overflow::saturate : float_overflow::infinity);
            const std::uint64_t wanted = table.rounded(value, format.rounding(), saturates);
            const float_array seen(std::vector<double>{value}, format);
            ASSERT_EQ(seen.words()[0], wanted) << format << " " << value;
            ASSERT_EQ(cast(float_array({value}, floating(11, 52)), format).words()[0], wanted)
                << format << " " << value;
            const double back = seen.to_doubles()[0];
            ASSERT_TRUE(std::isnan(back) ? std::isnan(table.valueOf(wanted)) : back == table.valueOf(wanted));
            if (std::isfinite(value)) {
                // Exact numbers have no -0.
                const std::uint64_t plus = value == 0 ? 0 : wanted;
                ASSERT_EQ(float_array(std::vector{exact_value(value)}, format).words()[0], plus);
                const fixed_array fixed({value}, sfix(400, 250));
                if (fixed.at(0) == exact_value(value)) {
                    ASSERT_EQ(cast(fixed, format).words()[0], plus);
                }
            }
            if (std::isfinite(back)) {
                ASSERT_EQ(cast(seen, "s400,200").at(0), exact_value(back));
            }
        }
    }
    // A tie and less than a double could add to it.
    const exact_value tie = exact_value(2049);
    const exact_value little = exact_value(std::ldexp(1.0, -900));
    EXPECT_EQ(float_array(std::vector{tie, tie + little, tie - little}, float_format("fp16")).to_doubles(),
              (std::vector<double>{2048, 2050, 2048}));
    EXPECT_THROW(cast(float_array({kInfinity}, floating(5, 10)), "s8,0"), error);
}

TEST(Floats, OfThirtyTwoBitsAreThoseOfTheProcessor) {
    Random random(1722);
    const float_type single = floating(8, 23);
    const auto wordOf = [](float value) {
        return std::uint64_t{std::isnan(value) ? 0x7FC00000U : std::bit_cast<std::uint32_t>(value)};
    };
    for (int round = 0; round < 20000; ++round) {
        float values[3];
        std::vector<float_array> arrays;
        for (float& value : values) {
            auto bits = static_cast<std::uint32_t>(random.word());
            if (random.oneIn(2)) {  // of like size, or near the ends
                bits = (bits & 0x80FFFFFFU) | random.pick(kExponents);
            }
            value = std::bit_cast<float>(bits);
            arrays.push_back(float_array::from_words(std::vector<std::uint64_t>{bits}, single));
        }
        const auto [x, y, z] = values;
        ASSERT_EQ((arrays[0] + arrays[1]).words()[0], wordOf(x + y)) << x << " " << y;
        ASSERT_EQ((arrays[0] - arrays[1]).words()[0], wordOf(x - y)) << x << " " << y;
        ASSERT_EQ((arrays[0] * arrays[1]).words()[0], wordOf(x * y)) << x << " " << y;
        ASSERT_EQ(multiply_add(arrays[0], arrays[1], arrays[2], single).words()[0], wordOf(std::fma(x, y, z)));
        const double any =
            random.oneIn(2) ? random.anyDouble() : static_cast<double>(x) * (1 + random.between(-2, 2) * 0x1p-25);
        ASSERT_EQ(float_array({any}, single).words()[0], wordOf(static_cast<float>(any))) << any;
        const double far = random.anyDouble();
        const std::uint64_t same = float_array({far}, floating(11, 52)).words()[0];
        ASSERT_TRUE(std::isnan(far) || same == std::bit_cast<std::uint64_t>(far));
    }
}

TEST(Floats, HaveNamesThatReadBack) {
    const struct {
        const char* text;
        float_type type;
        const char* whole;
    } rows[] = {
        {"fp16", {5, 10}, "e5m10 convergent infinity"},
        {"bf16 floor", {8, 7}, "e8m7 floor infinity"},
        {"tf32  saturate", {8, 10}, "e8m10 convergent saturate"},
        {"fp32", {8, 23}, "e8m23 convergent infinity"},
        {"e5m2", {5, 2}, "e5m2 convergent infinity"},
        {"e4m3 saturate toward_zero", {4, 3, true}, "e4m3fn toward_zero saturate"},
        {"e4m3ieee", {4, 3}, "e4m3ieee convergent infinity"},
        {"e2m3fn", {2, 3, true}, "e2m3fn convergent infinity"},
    };
    for (const auto& row : rows) {
        const float_format format(row.text);
        EXPECT_EQ(format.type(), row.type);
        EXPECT_EQ(format.text(), row.whole);
        EXPECT_EQ(float_format(format.text()), format);
    }
    for (const char* const bad :
         {"", "fp17", "e5", "e5m10x", "e1m10", "e5m0", "e16m3", "e11m53", "fp16 floor ceil", "fp16 add_sign"}) {
        EXPECT_THROW(float_format{bad}, error) << bad;
    }
    EXPECT_EQ(float_array({448.0, 465.0, -1e9}, float_format("e4m3")).words()[1], 0x7FU);
    EXPECT_EQ(float_array({448, 465, -1e9}, float_format("e4m3 saturate")).to_doubles(),
              (std::vector<double>{448, 448, -448}));
    const float_array half({0.5, 2.0}, floating(5, 10));
    EXPECT_EQ(to_hex(half.to_words()), (std::vector<std::string>{"3800", "4000"}));
    EXPECT_EQ(float_array::from_words(half.to_words(), half.type()), half);
    const float_array minus({-1.0}, floating(11, 52));
    EXPECT_EQ(float_array::from_words(from_hex(to_hex(minus.to_words()), "s64,0"), minus.type()), minus);
    EXPECT_THROW(float_array::from_words(half.to_words(), floating(8, 23)), error);
    EXPECT_THROW(half + float_array({1.0}, floating(8, 7)), error);
    EXPECT_THROW(half + float_array({1.0, 2.0, 3.0}, floating(5, 10)), error);
    EXPECT_EQ(half * float_array({2.0}, floating(5, 10)), float_array({1, 4}, floating(5, 10)));
    EXPECT_THROW(float_array::from_words(std::vector<std::uint64_t>{0x10000}, floating(5, 10)), error);
}

}  // namespace
