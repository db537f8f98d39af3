// The array functions of a quantizer against its element function: the same bits, counts and extremes in every mode.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <vector>

#include "logging/qlogger.h"
#include "tests/support/quantizers.h"
#include "tests/support/rational.h"

namespace {

/// Sets the process-wide logging switch during its lifetime.
class LoggingSwitch {
 public:
    explicit LoggingSwitch(bool on) : mOld(qlogger::getLogging()) { qlogger::setLogging(on); }
    ~LoggingSwitch() { qlogger::setLogging(mOld); }
    LoggingSwitch(const LoggingSwitch&) = delete;
    LoggingSwitch& operator=(const LoggingSwitch&) = delete;

 private:
    bool mOld;
};

number makeVector(const std::vector<double>& values, unsigned precision) {
    number result(values.size(), precision, embedded::NumberVector::tag);
    for (std::size_t i = 0; i < values.size(); ++i) {
        result[i].setvalue(values[i]);
    }
    return result;
}

::testing::AssertionResult sameLog(const quantizer& actual, const quantizer& expected) {
    if (countsOf(actual) == countsOf(expected) && sameElement(actual.getMax(), expected.getMax()) &&
        sameElement(actual.getMin(), expected.getMin())) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << countsOf(actual) << ", max " << text(actual.getMax().todouble()) << ", min "
                                         << text(actual.getMin().todouble()) << "; by elements " << countsOf(expected)
                                         << ", max " << text(expected.getMax().todouble()) << ", min "
                                         << text(expected.getMin().todouble());
}

::testing::AssertionResult sameValue(std::size_t index, double input, const number& actual, const number& expected) {
    if (sameElement(actual, expected)) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "element " << index << ", " << text(input) << ", gives "
                                         << text(actual.todouble()) << ", by element " << text(expected.todouble());
}

// One quantizer per function is used for all blocks, so extremes and counts continue from the previous block.
void compareEntrances(const Description& described, unsigned precision,
                      const std::vector<std::vector<double>>& blocks) {
    const quantizer byElement = described.make();
    const quantizer byArray = described.make();
    const quantizer bySpan = described.make();
    const quantizer inPlace = described.make();
    for (const std::vector<double>& values : blocks) {
        const std::size_t count = values.size();
        number elements = makeVector(values, precision);
        for (std::size_t i = 0; i < count; ++i) {
            byElement.quantize(elements[i]);
        }
        number array = makeVector(values, precision);
        const std::uint64_t cursor = count / 2;
        byArray.quantizeArray(array[cursor]);
        ASSERT_EQ(array.numel(), count);
        ASSERT_EQ(array.getIndex(), cursor);
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_TRUE(sameValue(i, values[i], array[i], elements[i])) << "by quantizeArray";
        }
        ASSERT_TRUE(sameLog(byArray, byElement)) << "by quantizeArray";
        if (precision > 52) {
            continue;
        }
        std::vector<double> results(count, 12345.0);
        bySpan.quantize(std::span<const double>(values), std::span<double>(results));
        std::vector<double> own = values;
        inPlace.quantize(std::span<const double>(own), std::span<double>(own));
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_TRUE(sameValue(i, values[i], number(results[i], 52, false), elements[i])) << "by span";
            ASSERT_TRUE(sameValue(i, values[i], number(own[i], 52, false), elements[i])) << "by span, in place";
        }
        ASSERT_TRUE(sameLog(bySpan, byElement)) << "by span";
        ASSERT_TRUE(sameLog(inPlace, byElement)) << "by span, in place";
    }
}

// The values of an array; each kind is one where a vectorised rule could differ from the scalar one.
enum class Filling { anything, aroundTheFormat, ties, zeros, inRange, huge, count };

double fill(Random& random, Filling filling, const Description& described) {
    const bool isFloat = described.mode == Mode::Float || described.mode == Mode::Single;
    const int fractionBits = isFloat ? 0 : described.second;
    const int rangeBits = isFloat ? 4 : std::min(described.wordBits, 52);
    switch (filling) {
        case Filling::aroundTheFormat:
            return random.real(-fractionBits - 3, rangeBits - fractionBits + 2, random.between(1, 53));
        case Filling::ties:
            return std::ldexp(random.between(-4001, 4001), -fractionBits - 1);
        case Filling::zeros:
            return random.oneIn(2) ? 0.0 : -0.0;
        case Filling::inRange:
            return random.real(-fractionBits - 1, rangeBits - fractionBits - 2, random.between(1, rangeBits));
        case Filling::huge:
            return random.real(40, 1023);
        default:
            return random.anyDouble();
    }
}

std::vector<double> makeValues(Random& random, const Description& described, std::size_t count) {
    const auto filling = static_cast<Filling>(random.between(0, static_cast<int>(Filling::count) - 1));
    std::vector<double> values(count);
    for (double& value : values) {
        // Sometimes another kind, so that a single lane differs from its neighbours.
        value = fill(random, random.oneIn(20) ? Filling::anything : filling, described);
    }
    return values;
}

Description makeDescription(Random& random) {
    using enum embedded::QuantizerModeEnum;
    static constexpr Mode kModes[] = {Fixed,
                                      Fixed,
                                      Fixed,
                                      Ufixed,
                                      Ufixed,
                                      Float,
                                      Float,
                                      Single,
                                      Double,
                                      None,
                                      Boolean,
                                      ScaledDouble,
                                      UnsignedScaledDouble};
    Description described;
    described.mode = random.pick(kModes);
    described.rounding = random.pick(kRoundings);
    described.wraps = random.oneIn(2);
    described.alwaysLogs = random.oneIn(2);
    described.wordBits = random.oneIn(4) ? random.between(48, 70) : random.between(1, 40);
    if (described.mode == Mode::Float) {
        described.second = random.between(0, std::min(13, described.wordBits - 1));
    } else if (random.oneIn(10)) {
        described.second = random.between(-1100, 1100);  // scales that leave the range of doubles
    } else {
        described.second = random.between(-4, described.wordBits + 4);
    }
    return described;
}

TEST(ArrayEntrances, AgreeWithElementsInBitsCountsAndExtremes) {
    Random random(20240229);
    for (int round = 0; round < 4000; ++round) {
        const Description described = makeDescription(random);
        const LoggingSwitch logging(random.oneIn(2));
        std::vector<std::vector<double>> blocks;
        for (int i = random.between(1, 3); i > 0; --i) {
            const int count = random.oneIn(60) ? random.between(1000, 5000) : random.between(0, 70);
            blocks.push_back(makeValues(random, described, static_cast<std::size_t>(count)));
        }
        compareEntrances(described, random.oneIn(5) ? 70 : 52, blocks);
        if (HasFailure()) {
            FAIL() << "seed " << random.seed() << " round " << round << ", " << described << ", logging "
                   << qlogger::getLogging();
        }
    }
}

// The first of two zeros that compare equal remains the extreme, so its sign shows which came first.
TEST(ArrayEntrances, KeepTheSignOfTheFirstZeroAsExtreme) {
    for (const bool negativeFirst : {false, true}) {
        for (std::size_t count : {2U, 3U, 7U, 8U, 16U, 33U}) {
            for (std::size_t place = 0; place < count; ++place) {
                std::vector<double> values(count, negativeFirst ? 0.0 : -0.0);
                std::fill_n(values.begin(), place + 1, negativeFirst ? -0.0 : 0.0);
                const Description described{Mode::Fixed, 8, 4, Rounding::nearest};
                const quantizer q = described.make();
                q.quantize(std::span<const double>(values), std::span<double>(values));
                EXPECT_EQ(std::signbit(q.getMax().todouble()), negativeFirst) << count << " zeros";
                EXPECT_EQ(std::signbit(q.getMin().todouble()), negativeFirst) << count << " zeros";
                EXPECT_EQ(countsOf(q), (Counts{0, 0, count}));
            }
        }
    }
}

TEST(ArrayEntrances, LogOnlyThroughTheGate) {
    const std::vector<double> values = {1.0, -3.0, 0.0001, 200.0};
    for (const bool always : {false, true}) {
        for (const bool global : {false, true}) {
            const LoggingSwitch logging(global);
            Description described{Mode::Fixed, 8, 4, Rounding::floor};
            described.alwaysLogs = always;
            const quantizer q = described.make();
            std::vector<double> results(values.size());
            q.quantize(std::span<const double>(values), std::span<double>(results));
            EXPECT_EQ(results, (std::vector<double>{1.0, -3.0, 0.0, 127.0 / 16}));
            const bool logs = always || global;
            EXPECT_EQ(countsOf(q), logs ? (Counts{1, 1, 4}) : Counts{});
            EXPECT_EQ(q.getMax().todouble(), logs ? 127.0 / 16 : -std::numeric_limits<double>::max());
            EXPECT_EQ(q.getMin().todouble(), logs ? -3.0 : std::numeric_limits<double>::max());
        }
    }
}

}  // namespace
