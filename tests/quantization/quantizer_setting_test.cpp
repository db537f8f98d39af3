#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <tuple>
#include <vector>

#include "logging/filog.h"
#include "quantization/quantizer.h"
#include "tests/support/errors.h"
#include "tests/support/quantizers.h"

using EmbeddedTypeSystem::NumericType;
using RoundMode = embedded::RoundModeEnum;
using OverflowMode = embedded::OverflowModeEnum;

namespace {

const Raised kNothing;
const Raised kTooBig{"fixedpoint:quantizer:wordlengthtoobig", "Word length cannot be greater than 65535."};
const Raised kTooSmall{"fixedpoint:quantizer:wordlengthtoosmall", "Wordlength cannot be negative or zero."};
const Raised kExponentTooBig{"fixedpoint:quantizer:exponenttoobig", "Exponent length cannot be greater than 31."};
const Raised kExponentTooSmall{"fixedpoint:quantizer:exponenttoosmall", "Exponent length cannot be negative."};
const Raised kExponentLarger{"fixedpoint:quantizer:exponentlargerthanwordlength",
                             "Exponentlength must be less than wordlength."};
const Raised kWordNotLarger{"fixedpoint:quantizer:wordlengthlargerthanexponent",
                            "Wordlength must be larger than exponentlength."};
const Raised kUnspecified{"fixedpoint:quantizer:unspecifiedscaling",
                          "Unspecified scaling is not allowed in quantizers."};

/// Everything that a setter can change, for comparison.
auto stateOf(const quantizer& q) {
    return std::tuple(q.getMode(), q.getRoundMode(), q.getOverflowMode(), q.getFormat(), q.getWordlength(),
                      q.getFractionlength(), q.getExponentlength(), q.getRealmax().todouble(),
                      q.getLowerBound().todouble(), q.getQuantizeFunction());
}

NumericType typeOf(NumericType::DataTypeModeEnum mode, NumericType::Signedness sign = NumericType::Signedness::Signed) {
    NumericType type(mode, true, 12, 1.5, -4, 3.0);
    if (sign != NumericType::Signedness::Signed) {
        type.setSignedness(sign);
    }
    return type;
}

}  // namespace

TEST(Setters, RefuseUnfitFormatsAndChangeNothing) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    using Action = std::function<void(quantizer&)>;
    const auto format = [](double a, double b) { return [=](quantizer& q) { q.setFormat({a, b}); }; };
    const auto word = [](int w) { return [=](quantizer& q) { q.setWordlength(w); }; };
    const auto exponent = [](int e) { return [=](quantizer& q) { q.setExponentlength(e); }; };
    struct Row {
        Action action;
        Raised inFixed;
        Raised inFloat;
    };
    // The format is [16 5] in either mode.
    const Row rows[] = {
        {format(65536, 5), kTooBig, kTooBig},
        {format(inf, 5), kTooBig, kTooBig},
        {format(0, 5), kTooSmall, kTooSmall},
        {format(0.5, 5), kTooSmall, kTooSmall},
        {format(-inf, 5), kTooSmall, kTooSmall},
        {format(nan, 5), kTooSmall, kTooSmall},
        {format(64, 32), kNothing, kExponentTooBig},
        {format(64, inf), kNothing, kExponentTooBig},
        {format(64, -1), kNothing, kExponentTooSmall},
        {format(64, nan), kNothing, kNothing},
        {format(8, 8), kNothing, kExponentLarger},
        {format(8.9, 8.1), kNothing, kExponentLarger},
        {format(9, 8), kNothing, kNothing},
        {format(65535, 31), kNothing, kNothing},
        {word(65536), kTooBig, kTooBig},
        {word(0), kTooSmall, kTooSmall},
        {word(-7), kTooSmall, kTooSmall},
        {word(5), kNothing, kWordNotLarger},
        {word(6), kNothing, kNothing},
        {exponent(32), kExponentTooBig, kExponentTooBig},
        {exponent(-1), kExponentTooSmall, kExponentTooSmall},
        {exponent(16), kExponentLarger, kExponentLarger},
        {exponent(15), kNothing, kNothing},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(&row - rows);
        for (const Mode mode : {Mode::Fixed, Mode::Float}) {
            quantizer q = Description{mode, 16, 5}.make();
            const auto before = stateOf(q);
            const Raised expected = mode == Mode::Fixed ? row.inFixed : row.inFloat;
            EXPECT_EQ(raisedBy([&] { row.action(q); }), expected);
            EXPECT_EQ(stateOf(q) == before, expected != kNothing);
        }
    }
}

TEST(Construction, RefusesUnfitFormats) {
    struct Row {
        Mode mode;
        int first;
        int second;
        Raised raised;
    };
    const Row rows[] = {{Mode::Fixed, 65536, 0, kTooBig},         {Mode::Fixed, 0, 0, kTooSmall},
                        {Mode::Double, 0, 0, kTooSmall},          {Mode::Float, 16, 32, kExponentTooBig},
                        {Mode::Float, 16, -1, kExponentTooSmall}, {Mode::Float, 16, 16, kExponentLarger},
                        {Mode::Float, 17, 16, kNothing},          {Mode::Ufixed, 65535, 0, kNothing}};
    for (const Row& row : rows) {
        EXPECT_EQ(raisedBy([&] { Description{row.mode, row.first, row.second}.make(); }), row.raised);
    }
}

TEST(SetMode, KeepsTheNewModeAndTheOldConstantsWhenTheFormatDoesNotFit) {
    struct Row {
        int word;
        int fraction;
        Raised raised;
        bool keepsMode;
    };
    const Row rows[] = {{16, 40, kExponentTooBig, false},
                        {16, -1, kExponentTooSmall, false},
                        {16, 16, kExponentLarger, true},
                        {8, 12, kExponentLarger, true}};
    for (const Row& row : rows) {
        quantizer q = Description{Mode::Fixed, row.word, row.fraction}.make();
        auto expected = stateOf(q);
        EXPECT_EQ(raisedBy([&] { q.setMode(Mode::Float); }), row.raised);
        if (row.keepsMode) {
            std::get<Mode>(expected) = Mode::Float;
        }
        EXPECT_EQ(stateOf(q), expected);
    }
    quantizer q = Description{Mode::Fixed, 16, 5}.make();
    q.setMode(Mode::Float);
    EXPECT_EQ(q.getFractionlength(), 10);
    q.setMode(Mode::Double);
    EXPECT_EQ(q.getFormat(), (RealPoint{64, 11}));
}

TEST(Setters, TruncateTheFormat) {
    quantizer q = Description{Mode::Fixed, 8, 7}.make();
    q.setFormat({16.9, 3.7});
    EXPECT_EQ(q.getFormat(), (RealPoint{16, 3}));
    q.setFormat({16, -3.7});
    EXPECT_EQ(q.getFractionlength(), -3);
    q.setFormat({16, 1e300});
    EXPECT_EQ(q.getFractionlength(), std::numeric_limits<int>::max());
    q.setFormat({16, -1e300});
    EXPECT_EQ(q.getFractionlength(), std::numeric_limits<int>::min());
}

TEST(SetFromType, TakesModeAndFormatWithoutSlopeAndBias) {
    using M = NumericType::DataTypeModeEnum;
    using S = NumericType::Signedness;
    struct Row {
        M typeMode;
        S sign;
        Mode mode;
        RealPoint format;
    };
    const Row rows[] = {{M::FixedBinaryPoint, S::Signed, Mode::Fixed, {12, 4}},
                        {M::FixedBinaryPoint, S::Unsigned, Mode::Ufixed, {12, 4}},
                        {M::FixedBinaryPoint, S::Auto, Mode::Fixed, {12, 4}},
                        {M::FixedSlopeBias, S::Signed, Mode::Fixed, {12, 4}},
                        {M::ScaledDoubleSlopeBias, S::Signed, Mode::ScaledDouble, {12, 4}},
                        {M::ScaledDoubleBinaryPoint, S::Unsigned, Mode::UnsignedScaledDouble, {12, 4}},
                        {M::Double, S::Signed, Mode::Double, {64, 11}},
                        {M::Single, S::Signed, Mode::Single, {32, 8}},
                        {M::Boolean, S::Signed, Mode::Boolean, {1, 0}}};
    for (const Row& row : rows) {
        SCOPED_TRACE(static_cast<int>(row.typeMode));
        const NumericType type = typeOf(row.typeMode, row.sign);
        quantizer byType(type, RoundMode::Nearest, OverflowMode::Wrap, "tag", embedded::OperationTypeEnum::Sum, true);
        quantizer byCopy(Description{Mode::Fixed, 16, 15, Rounding::nearest, true}.make(), type);
        quantizer bySetting = Description{Mode::Fixed, 16, 15, Rounding::nearest, true}.make();
        bySetting.setNumericType(type);
        EXPECT_TRUE(bySetting.getNumericType().isequal(type));
        EXPECT_TRUE(byType.getNumericType().isequal(type));
        EXPECT_EQ(byType.getTag(), "tag");
        EXPECT_EQ(byType.getQlogger().getOperationType(), embedded::OperationTypeEnum::Sum);
        for (const quantizer* q : {&byType, &byCopy, &bySetting}) {
            EXPECT_EQ(q->getMode(), row.mode);
            EXPECT_EQ(q->getFormat(), row.format);
            EXPECT_EQ(q->getRoundMode(), RoundMode::Nearest);
            EXPECT_EQ(q->getOverflowMode(), OverflowMode::Wrap);
        }
    }
}

TEST(SetFromType, TakesAFractionLengthOfZeroWithoutASign) {
    const quantizer q(NumericType(true, 16, 0), RoundMode::Floor, OverflowMode::Saturate, "",
                      embedded::OperationTypeEnum::Sum, true);
    EXPECT_EQ(q.getFormat(), (RealPoint{16, 0}));
    EXPECT_FALSE(std::signbit(q.getFormat().second));
}

TEST(SetFromType, RefusesUnspecifiedScalingAndChangesNothing) {
    using M = NumericType::DataTypeModeEnum;
    for (const M mode : {M::FixedUnspecified, M::ScaledDoubleUnspecified}) {
        const NumericType type = typeOf(mode);
        quantizer q = Description{Mode::Ufixed, 16, 15}.make();
        const NumericType oldType = q.getNumericType();
        const auto before = stateOf(q);
        EXPECT_EQ(raisedBy([&] { q.set(type, RoundMode::Round, OverflowMode::Wrap, true); }), kUnspecified);
        EXPECT_EQ(raisedBy([&] { q.setNumericType(type); }), kUnspecified);
        EXPECT_EQ(raisedBy([&] { quantizer copy(q, type); }), kUnspecified);
        EXPECT_EQ(stateOf(q), before);
        EXPECT_TRUE(q.getNumericType().isequal(oldType));
    }
}

TEST(Set, DerivesOnlyWhenSomethingDiffersOrIsForced) {
    quantizer q = Description{Mode::Fixed, 12, 4}.make();
    const NumericType type = typeOf(NumericType::DataTypeModeEnum::FixedBinaryPoint);
    const number* constant = &q.getRealmax();
    q.set(type, RoundMode::Floor, OverflowMode::Saturate, false);
    q.set(quantizer(q), false);
    EXPECT_EQ(&q.getRealmax(), constant);
    const Description differing[] = {{Mode::Ufixed, 12, 4},
                                     {Mode::Fixed, 13, 4},
                                     {Mode::Fixed, 12, 5},
                                     {Mode::Fixed, 12, 4, Rounding::ceil},
                                     {Mode::Fixed, 12, 4, Rounding::floor, true}};
    for (const Description& other : differing) {
        SCOPED_TRACE(testing::Message() << other);
        quantizer target = Description{Mode::Fixed, 12, 4}.make();
        target.setNoverflows(3);
        target.setTag("kept");
        EXPECT_FALSE(target.isequal(other.make()));
        target.set(other.make(), false);
        EXPECT_TRUE(target.isequal(other.make()));
        EXPECT_EQ(stateOf(target), stateOf(other.make()));
        EXPECT_EQ(target.getNoverflows(), 3u);
        EXPECT_EQ(target.getTag(), "kept");
    }
    // A change of either mode alone makes `set` derive everything again.
    for (const auto& [round, overflow] :
         {std::pair(RoundMode::Ceil, OverflowMode::Saturate), std::pair(RoundMode::Floor, OverflowMode::Wrap)}) {
        const NumericType binary(true, 12, 4);
        quantizer target = Description{Mode::Fixed, 12, 4}.make();
        target.set(binary, round, overflow, false);
        EXPECT_EQ(stateOf(target),
                  stateOf(quantizer(binary, round, overflow, "", embedded::OperationTypeEnum::Unspecified, false)));
    }
    // The comparison ignores the exponent length, but not the word and fraction lengths.
    EXPECT_TRUE(Description({Mode::Fixed, 8, 2}).make().isequal(Description({Mode::Fixed, 8, 2}).make()));
}

TEST(Copy, HasConstantsAndLogOfItsOwn) {
    for (const int wordBits : {16, 100}) {
        quantizer source = Description{Mode::Fixed, wordBits, 15, Rounding::round, true}.make();
        source.setTag("source");
        source.setMax(number(4.0, 52, false));
        source.setNoverflows(2);
        const auto expected = stateOf(source);
        const quantizer copy(source);
        quantizer assigned = Description{Mode::Float, 16, 5}.make();
        assigned = source;
        quantizer& alias = assigned;
        assigned = alias;
        source.setFormat({4, 1});
        source.initializestates();
        for (const quantizer* q : {&copy, static_cast<const quantizer*>(&assigned)}) {
            EXPECT_EQ(stateOf(*q), expected);
            EXPECT_EQ(q->getTag(), "source");
            EXPECT_EQ(q->getMax().todouble(), 4.0);
            EXPECT_EQ(q->getNoverflows(), 2u);
            EXPECT_EQ(q->getDoubleLimits().valid, wordBits == 16);
            number x(1e9, 52, false);
            number y(1e9, 52, false);
            q->quantize(x);
            Description{Mode::Fixed, wordBits, 15, Rounding::round, true}.make().quantize(y);
            EXPECT_EQ(x.todouble(), y.todouble());
        }
    }
}

TEST(Copy, RoundsToTheFormatOfItsSource) {
    const quantizer half = Description{Mode::Float, 16, 5}.make();
    quantizer assigned = Description{Mode::Float, 32, 8}.make();
    assigned = half;
    for (const quantizer* q : {&half, static_cast<const quantizer*>(&assigned)}) {
        number x(0.1, 52, false);
        EXPECT_EQ(q->quantize(x).todouble(), 0.0999755859375);
    }
}

TEST(UnknownModes, KeepTheFunctionAndQuantizeWithoutHarm) {
    quantizer q = Description{Mode::Fixed, 8, 7, Rounding::ceil}.make();
    const auto function = q.getQuantizeFunction();
    q.setRoundMode(static_cast<RoundMode>(9));
    EXPECT_EQ(q.getQuantizeFunction(), function);
    q.setRoundMode(static_cast<RoundMode>(-1));
    q.setOverflowMode(static_cast<OverflowMode>(2));
    EXPECT_EQ(q.getQuantizeFunction(), function);
    number x(0.001, 52, false);
    EXPECT_EQ(q.quantize(x).todouble(), 1.0 / 128);
    // A type can't describe an unknown mode, so a quantizer can't be made of one.
    EXPECT_EQ(raisedBy([] {
                  Description{static_cast<Mode>(9), 8, 7}.make();
              }).id,
              "numerictype:constructor:unhandledcase");
}

// Arrays have their own loops, which must not follow a description that doesn't match the stored function.
TEST(UnknownModes, QuantizeArraysByTheFunctionThatStays) {
    const auto round = [](int value) { return [=](quantizer& q) { q.setRoundMode(static_cast<RoundMode>(value)); }; };
    const auto overflow = [](quantizer& q) { q.setOverflowMode(static_cast<OverflowMode>(5)); };
    const auto mode = [](Mode value) { return [=](quantizer& q) { raisedBy([&] { q.setMode(value); }); }; };
    struct Row {
        Description start;
        std::vector<std::function<void(quantizer&)>> actions;
    };
    const Row rows[] = {{{Mode::Fixed, 8, 7, Rounding::ceil}, {round(9)}},
                        {{Mode::Ufixed, 8, 7, Rounding::ceil, true}, {round(-1)}},
                        {{Mode::Float, 16, 5, Rounding::ceil}, {round(6)}},
                        {{Mode::Float, 16, 5, Rounding::ceil}, {round(6), mode(Mode::Fixed)}},
                        {{Mode::Fixed, 8, 7, Rounding::floor}, {overflow}},
                        {{Mode::Fixed, 8, 12, Rounding::floor}, {mode(Mode::Float)}},
                        {{Mode::Fixed, 8, 7, Rounding::floor}, {mode(static_cast<Mode>(9))}},
                        {{Mode::Double, 64, 11, Rounding::floor}, {overflow, mode(Mode::Fixed)}},
                        {{Mode::Fixed, 8, 7, Rounding::floor}, {mode(Mode::None), overflow, mode(Mode::Ufixed)}}};
    const std::vector<double> values = {0.3, -0.3, 1.0, -1.5, 1e-9, -0.0, 300.0, 1e30};
    for (const Row& row : rows) {
        for (const bool counts : {false, true}) {
            SCOPED_TRACE(testing::Message() << row.start << ", row " << &row - rows);
            quantizer q = row.start.make();
            for (const auto& action : row.actions) {
                action(q);
            }
            q.getQlogger().setAlwaysLog(counts);
            const quantizer byElement(q);
            const quantizer copy(q);
            std::vector<double> expected;
            for (const double value : values) {
                number x(value, 52, false);
                expected.push_back(byElement.quantize(x).todouble());
            }
            std::vector<double> results(values.size());
            q.quantize(values, results);
            EXPECT_EQ(results, expected);
            copy.quantize(values, results);
            EXPECT_EQ(results, expected) << "by a copy";
            EXPECT_EQ(countsOf(q), countsOf(byElement));
            EXPECT_EQ(q.getMax().todouble(), byElement.getMax().todouble());
        }
    }
    quantizer q = Description{Mode::Float, 16, 5, Rounding::ceil}.make();
    q.setRoundMode(static_cast<RoundMode>(9));
    q.setMode(Mode::Fixed);
    q.setFractionlength(std::numeric_limits<int>::min());
    number x(4.0, 52, false);
    EXPECT_EQ(q.quantize(x).todouble(), 0.0);
}

TEST(Destruction, WritesTheLogOnce) {
    embedded::setFeatureFiTagLogging(true);
    qlogger::setLogType(embedded::LogTypeEnum::WriteLogMap);
    {
        quantizer q = Description{Mode::Fixed, 8, 7}.make();
        q.setTag("once");
        number x(2.0, 52, false);
        q.quantize(x);
    }
    qlogger::setLogType(embedded::LogTypeEnum::Off);
    embedded::setFeatureFiTagLogging(false);
    auto& logs = filog::getLogMap();
    ASSERT_EQ(logs.size(), 1u);
    EXPECT_EQ(logs.begin()->second.getNumberOfOverflows(), 1u);
    EXPECT_EQ(logs.begin()->second.getMaxLog(), 127.0 / 128);
    logs.clear();
}
