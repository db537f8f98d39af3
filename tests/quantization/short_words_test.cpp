// The loops over whole arrays of short words give the words, counts and extremes of the block path, whatever the
// instruction set, and of plain integers.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "quantization/integer_blocks.h"
#include "quantization/short_words.h"
#include "tests/support/only_target.h"
#include "tests/support/rational.h"

namespace {

using namespace tolvane::detail;
using namespace tolvane::detail::integers;
using OverflowModeEnum = embedded::OverflowModeEnum;
using RoundModeEnum = embedded::RoundModeEnum;
using Limbs = std::vector<mp_limb_t>;

constexpr RoundModeEnum kRounds[] = {RoundModeEnum::Ceil,  RoundModeEnum::Convergent, RoundModeEnum::Fix,
                                     RoundModeEnum::Floor, RoundModeEnum::Nearest,    RoundModeEnum::Round};

/// What the block path makes of up to 64 values, which `load` puts into a block and quantizes.
struct Judged {
    Limbs words;
    std::int64_t least;
    std::int64_t greatest;
    std::uint64_t overflows;
    std::uint64_t underflows;
};
template <class QuantizeBlock>
Judged judge(std::size_t count, std::size_t width, const QuantizeBlock& quantizeBlock) {
    Arena arena(width, 1);
    Block block = arena.next();
    std::array<mp_limb_t, 8> extremes{};
    Notes notes{extremes.data(), extremes.data() + 4};
    quantizeBlock(block, notes);
    Judged judged{Limbs(count), static_cast<std::int64_t>(notes.least[0]), static_cast<std::int64_t>(notes.greatest[0]),
                  notes.overflows, notes.underflows};
    for (std::size_t i = 0; i < count; ++i) {
        judged.words[i] = block.limbs[i * width];
    }
    return judged;
}

template <class Value>
void expectJudged(const Judged& judged, const Limbs& words, const ShortNotes<Value>& notes,
                  const std::vector<Value>& values, const std::string& what) {
    ASSERT_EQ(words, judged.words) << what;
    ASSERT_EQ(notes.overflows, judged.overflows) << what;
    ASSERT_EQ(notes.underflows, judged.underflows) << what;
    ASSERT_EQ(notes.leastWord, judged.least) << what;
    ASSERT_EQ(notes.greatestWord, judged.greatest) << what;
    ASSERT_EQ(notes.least, *std::ranges::min_element(values)) << what;
    ASSERT_EQ(notes.greatest, *std::ranges::max_element(values)) << what;
}

std::string textOf(const Format& format) {
    return std::to_string(format.grid.bits) + (format.grid.isSigned ? " signed" : " unsigned") + " bits times 2^" +
           std::to_string(format.grid.exponent) + ", rounding " + std::to_string(static_cast<int>(format.round)) +
           (format.overflow == OverflowModeEnum::Saturate ? ", saturating" : ", wrapping");
}

Format randomFormat(Random& random, int mostBits, int leastExponent, int greatestExponent) {
    const bool isSigned = random.oneIn(2);
    return {
        {random.between(leastExponent, greatestExponent), random.between(1, mostBits + (isSigned ? 1 : 0)), isSigned},
        random.pick(kRounds),
        random.oneIn(2) ? OverflowModeEnum::Saturate : OverflowModeEnum::Wrap};
}

/// A word of a grid: a bound, a small one, a tie of some shift, or any.
std::int64_t randomWord(Random& random, const WordGrid& grid) {
    const int unused = 64 - grid.bits;
    const std::uint64_t top = std::uint64_t{1} << (grid.bits - 1);
    std::uint64_t word = random.word();
    switch (random.between(0, 4)) {
        case 0:
            word = top - 1 + static_cast<std::uint64_t>(random.between(-1, 2));
            break;
        case 1:
            word = static_cast<std::uint64_t>(random.between(-3, 3));
            break;
        case 2:
            word = word << random.between(0, 63);
            break;
        default:
            break;
    }
    return grid.isSigned ? static_cast<std::int64_t>(word << unused) >> unused
                         : static_cast<std::int64_t>(word << unused >> unused);
}

TEST(ShortWords, AreQuantizedAsByBlocksOnEveryInstructionSet) {
    const int targets = forEachTarget([] {
        Random random(1850);
        for (int round = 0; round < 6000; ++round) {
            const bool isSigned = random.oneIn(2);
            const WordGrid grid{random.between(-20, 20), random.between(1, isSigned ? 64 : 63), isSigned};
            const Format format = randomFormat(random, 63, grid.exponent - 63, grid.exponent + 63);
            std::vector<std::int64_t> values(static_cast<std::size_t>(random.between(1, 64)));
            std::ranges::generate(values, [&] { return randomWord(random, grid); });
            const Limbs limbs(values.begin(), values.end());
            const WordSpan span{limbs.data(), nullptr, limbs.size(), grid};
            const std::size_t width =
                widthFor(std::max(neededBits(format, extentOf(grid)), neededBits(extentOf(grid))));
            const Judged judged = judge(limbs.size(), width, [&](Block& block, Notes& notes) {
                load(span, 0, limbs.size(), width, block);
                quantize(format, limbs.size(), width, block, &notes);
            });
            Limbs words(limbs.size());
            ShortNotes<std::int64_t> notes{};
            ASSERT_TRUE(quantize(format, span, words.data(), &notes));
            const std::string what = std::to_string(round) + ": " + std::to_string(grid.bits) + " bits times 2^" +
                                     std::to_string(grid.exponent) + " to " + textOf(format);
            expectJudged(judged, words, notes, values, what);
            // Without notes, and in place.
            words = limbs;
            ASSERT_TRUE(quantize(format, {words.data(), nullptr, words.size(), grid}, words.data(), nullptr));
            ASSERT_EQ(words, judged.words) << what;
        }
    });
    EXPECT_GE(targets, 1);
}

TEST(ShortWords, AreMadeOfDoublesAsByBlocksOnEveryInstructionSet) {
    forEachTarget([] {
        Random random(1851);
        for (int round = 0; round < 6000; ++round) {
            const Format format = randomFormat(random, 51, random.oneIn(8) ? -900 : -40, 0);
            std::vector<double> values(static_cast<std::size_t>(random.between(1, 64)));
            const double greatestSteps = std::ldexp(1.0, format.grid.bits);
            for (double& value : values) {
                double steps = random.real(-3, format.grid.bits);
                switch (random.between(0, 6)) {
                    case 0:  // ties and whole numbers
                        steps = random.between(-9, 9) / 2.0;
                        break;
                    case 1:
                        steps = std::nextafter(random.between(-9, 9) / 2.0, random.real(5, 5));
                        break;
                    case 2:
                        steps = std::copysign(greatestSteps / 2 + random.between(-4, 4) / 2.0, random.real(0, 0));
                        break;
                    case 3: {
                        constexpr double kSizes[] = {0.0, 5e-324, 0x1p-1022, 0x1p52 - 0.5, 0x1p60 + 0x1p8, 1e308};
                        steps = std::copysign(random.pick(kSizes), random.real(0, 0));
                        break;
                    }
                    default:
                        break;
                }
                // The greatest doubles become infinite when they are brought to steps.
                value = random.oneIn(20) ? random.real(1000, 1023) : std::ldexp(steps, format.grid.exponent);
                value = std::isfinite(value) ? value : 0.0;
            }
            const std::size_t width = widthFor(format.grid.bits + 1);
            const Judged judged = judge(values.size(), width, [&](Block& block, Notes& notes) {
                quantize(format, values.data(), values.size(), width, block, &notes);
            });
            Limbs words(values.size());
            ShortNotes<double> notes{};
            ASSERT_TRUE(quantize(format, values, words.data(), &notes));
            expectJudged(judged, words, notes, values, std::to_string(round) + ": " + textOf(format));
            ASSERT_TRUE(quantize(format, values, words.data(), nullptr));
            ASSERT_EQ(words, judged.words);
        }
    });
}

TEST(ShortWords, LeaveOtherFormatsToBlocks) {
    const Limbs limbs{1};
    const double value = 0.5;
    Limbs out{7};
    const auto takesWords = [&](const WordGrid& from, Format to) {
        return quantize(to, {limbs.data(), nullptr, 1, from}, out.data(), nullptr);
    };
    const auto takesDoubles = [&](const Format& to) { return quantize(to, {&value, 1}, out.data(), nullptr); };
    const auto format = [](int exponent, int bits, bool isSigned) {
        return Format{{exponent, bits, isSigned}, RoundModeEnum::Floor, OverflowModeEnum::Wrap};
    };
    EXPECT_FALSE(takesWords({0, 64, false}, format(0, 8, true)));
    EXPECT_FALSE(takesWords({0, 65, true}, format(0, 8, true)));
    EXPECT_FALSE(takesWords({0, 8, true}, format(0, 64, false)));
    EXPECT_FALSE(takesWords({0, 8, true}, format(64, 8, true)));
    EXPECT_FALSE(takesWords({0, 8, true}, format(-64, 8, true)));
    EXPECT_FALSE(takesDoubles(format(0, 53, true)));
    EXPECT_FALSE(takesDoubles(format(0, 52, false)));
    EXPECT_FALSE(takesDoubles(format(1, 8, true)));
    EXPECT_FALSE(takesDoubles(format(-901, 8, true)));
    Format more = format(0, 8, true);
    more.moreOverflow = MoreOverflow::symmetric;
    EXPECT_FALSE(takesWords({0, 8, true}, more));
    EXPECT_FALSE(takesDoubles(more));
    EXPECT_EQ(out[0], 7U) << "nothing is done";
}

TEST(ShortWords, AreMovedAndComparedLikeIntegers) {
    forEachTarget([] {
        Random random(1852);
        for (int round = 0; round < 2000; ++round) {
            const bool isSigned = random.oneIn(2);
            const WordGrid grid{random.between(-9, 9), random.between(1, isSigned ? 64 : 63), isSigned};
            const auto count = static_cast<std::size_t>(random.between(1, 40));
            const auto wordsOf = [&](const WordGrid& of, std::size_t size) {
                Limbs limbs(size);
                std::ranges::generate(limbs, [&] { return static_cast<mp_limb_t>(randomWord(random, of)); });
                return limbs;
            };
            const Limbs x = wordsOf(grid, count);
            const WordSpan span{x.data(), nullptr, count, grid};
            const auto integerOf = [](mp_limb_t limb) { return static_cast<std::int64_t>(limb); };

            std::vector<double> doubles(count);
            ASSERT_TRUE(toDoubles(span, doubles.data()));
            const BitRange bits{random.between(0, 40), random.between(0, 22)};
            std::vector<double> parts(count);
            toDoubles(span, bits, parts.data());
            const int shift = random.between(0, 60);
            const std::size_t limbs = random.oneIn(2) ? 1 : 2;
            const Limbs before = wordsOf({0, 64, true}, limbs * count);
            Limbs sums = before;
            addDoubles(parts, shift, limbs, sums.data());
            for (std::size_t i = 0; i < count; ++i) {
                ASSERT_EQ(doubles[i], std::ldexp(static_cast<double>(integerOf(x[i])), grid.exponent));
                Integer part = Integer(std::to_string(integerOf(x[i]))) >> static_cast<unsigned>(bits.first);
                if (bits.count != 0) {
                    mpz_fdiv_r_2exp(part.get_mpz_t(), part.get_mpz_t(), static_cast<mp_bitcnt_t>(bits.count));
                }
                ASSERT_EQ(parts[i], static_cast<double>(std::stoll(part.get_str())));
                Integer sum = Integer(parts[i]) << static_cast<unsigned>(shift);
                for (std::size_t k = 0; k < limbs; ++k) {
                    sum += Integer(std::to_string(before[i * limbs + k])) << static_cast<unsigned>(64 * k);
                }
                for (std::size_t k = 0; std::fabs(parts[i]) < 0x1p62 && k < limbs; ++k, sum >>= 64U) {
                    Integer low;
                    mpz_fdiv_r_2exp(low.get_mpz_t(), sum.get_mpz_t(), 64);
                    ASSERT_EQ(std::to_string(sums[i * limbs + k]), low.get_str()) << limbs << ", " << shift;
                }
            }

            const WordGrid other{grid.exponent + random.between(-3, 3), random.between(1, 60), random.oneIn(2)};
            const Limbs y = wordsOf(other, random.oneIn(3) ? 1 : count);
            const std::size_t left = random.oneIn(3) ? 1 : count;
            std::vector<std::uint8_t> flags(count, 9);
            const Order order = std::array{Order::less, Order::lessOrEqual,
                                           Order::equal}[static_cast<std::size_t>(random.between(0, 2))];
            if (compare(order, {x.data(), nullptr, left, grid}, {y.data(), nullptr, y.size(), other}, count,
                        flags.data())) {
                for (std::size_t i = 0; i < count; ++i) {
                    const Rational a = scaled(Rational(std::to_string(integerOf(x[left == 1 ? 0 : i]))), grid.exponent);
                    const Rational b =
                        scaled(Rational(std::to_string(integerOf(y[y.size() == 1 ? 0 : i]))), other.exponent);
                    const bool holds = order == Order::less ? a < b : order == Order::equal ? a == b : a <= b;
                    ASSERT_EQ(flags[i], holds ? 1 : 0) << a << " and " << b;
                }
            } else {
                const int exponent = std::min(grid.exponent, other.exponent);
                const auto bitsOf = [&](const WordGrid& g) {
                    return g.bits + g.exponent - exponent + (g.isSigned ? 0 : 1);
                };
                ASSERT_GT(std::max(bitsOf(grid), bitsOf(other)), 64);
            }
        }
    });
    const auto widened = []<class Int>(const std::vector<Int>& values) {
        Limbs out(values.size());
        widen(std::span<const Int>(values), out.data());
        return std::vector<std::int64_t>(out.begin(), out.end());
    };
    EXPECT_EQ(widened(std::vector<std::int8_t>{-128, 127}), (std::vector<std::int64_t>{-128, 127}));
    EXPECT_EQ(widened(std::vector<std::uint8_t>{255}), (std::vector<std::int64_t>{255}));
    EXPECT_EQ(widened(std::vector<std::int16_t>{-32768}), (std::vector<std::int64_t>{-32768}));
    EXPECT_EQ(widened(std::vector<std::uint16_t>{65535}), (std::vector<std::int64_t>{65535}));
    EXPECT_EQ(widened(std::vector<std::int32_t>{INT32_MIN, 5}), (std::vector<std::int64_t>{INT32_MIN, 5}));
    EXPECT_EQ(widened(std::vector<std::uint32_t>{UINT32_MAX}), (std::vector<std::int64_t>{UINT32_MAX}));
}

}  // namespace
