// The property rules: what each setter does in each mode, and that a refused change leaves the object as it was.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/errors.h"
#include "tests/support/types.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

using Set = std::function<void(NumericType&)>;

// What a row expects: fields that change, or a warning text, or an error text, both under the setting's id.
struct Outcome {
    enum class Kind { stores, warns, raises } kind;
    std::string text;
    std::function<void(TypeFields&)> change;
    std::string id = "TolvaneKit:numerictype:InvalidSetting";
};
const auto stores = [](std::function<void(TypeFields&)> change) -> Outcome {
    return {Outcome::Kind::stores, {}, std::move(change)};
};
const auto nothing = []() -> Outcome { return stores([](TypeFields&) {}); };
const auto warns = [](std::string text) -> Outcome { return {Outcome::Kind::warns, std::move(text), {}}; };
Outcome raises(std::string text) {
    return {Outcome::Kind::raises, std::move(text), {}};
}
Outcome raises(std::string id, std::string text) {
    return {Outcome::Kind::raises, std::move(text), {}, std::move(id)};
}
std::string change(const std::string& property, const std::string& modes) {
    return "Cannot change the " + property + " property when the data type mode is " + modes +
           ". That property has not been changed.";
}

const std::string kUnscaled = "Double, Single or Boolean";
const std::string kNoExponent = "Double, Single, Boolean, Scaled double or Fixed-point: unspecified scaling";
const std::string kNoFactor = "Scaled double or Fixed-point: unspecified scaling or binary point scaling";

const std::vector<int> kFloats = {0, 1, 2};
const std::vector<int> kScaled = {3, 4, 5, 7, 8, 9};
const std::vector<int> kBinaryPoint = {4};
const std::vector<int> kSlopeBias = {5, 9};
const std::vector<int> kWithoutExponent = {0, 1, 2, 3, 7};
const std::vector<int> kWithExponent = {4, 5, 8, 9};
const std::vector<int> kAll = {0, 1, 2, 3, 4, 5, 7, 8, 9};

struct Row {
    std::string setter;
    std::vector<int> modes;
    Set set;
    Outcome outcome;
};

const auto word = [](int bits) -> Set { return [bits](NumericType& t) { t.setWordLength(bits); }; };
const auto sign = [](TypeSign value) -> Set { return [value](NumericType& t) { t.setSignedness(value); }; };
const auto fraction = [](int value) -> Set { return [value](NumericType& t) { t.setFractionLength(value); }; };
const auto exponent = [](int value) -> Set { return [value](NumericType& t) { t.setFixedExponent(value); }; };
const auto slope = [](double value) -> Set { return [value](NumericType& t) { t.setSlope(value); }; };
const auto factor = [](double value) -> Set { return [value](NumericType& t) { t.setSlopeAdjustmentFactor(value); }; };
const auto bias = [](double value) -> Set { return [value](NumericType& t) { t.setBias(value); }; };
const auto scaling = [](TypeScaling value) -> Set { return [value](NumericType& t) { t.setScaling(value); }; };
auto toMode(int mode) {
    return [mode](TypeFields& f) {
        // Only the fields that a mode fixes; the expectation of the reset from a float type is a test of its own.
        f = fieldsOf(NumericType(static_cast<TypeMode>(mode), f.sign == TypeSign::Signed, f.wordBits, f.factor,
                                 f.exponent, f.bias));
    };
}

auto toScale(double newFactor, int newExponent) {
    return [=](TypeFields& f) { std::tie(f.factor, f.exponent) = std::tie(newFactor, newExponent); };
}

const std::vector<Row>& rows() {
    static const std::string kBadSlope =
        "Invalid total slope specified; the total slope must be greater than 0 and finite";
    static const std::string kBadFactor =
        "Invalid SlopeAdjustmentFactor specified; the SlopeAdjustmentFactor must be greater than or equal to 1 and "
        "less than 2";
    static const std::string kSignId = "fixedpoint:NUMERICTYPE:signed:InvalidValue";
    static const std::string kSignText = "The SIGNED property of the NUMERICTYPE object must be 1 (true) or 0 (false).";
    static const std::vector<Row> table = {
        {"WordLength 0", kScaled, word(0),
         warns("Invalid WordLength specified; the WordLength must be greater than 0")},
        {"WordLength lowest", kScaled, word(INT_MIN),
         warns("Invalid WordLength specified; the WordLength must be greater than 0")},
        {"WordLength 65536", kScaled, word(65536),
         warns("Invalid WordLength specified; the WordLength must be less than 65536")},
        {"WordLength 65535", kScaled, word(65535), stores([](TypeFields& f) { f.wordBits = 65535; })},
        {"WordLength 1", kScaled, word(1), stores([](TypeFields& f) { f.wordBits = 1; })},
        {"WordLength 1", {0}, word(1), nothing()},
        {"WordLength 32", {1}, word(32), nothing()},
        {"WordLength 64", {2}, word(64), nothing()},
        {"WordLength 16", kFloats, word(16), warns(change("WordLength", kUnscaled))},

        {"Signed", kScaled, sign(TypeSign::Signed), stores([](TypeFields& f) { f.sign = TypeSign::Signed; })},
        {"Unsigned", kScaled, sign(TypeSign::Unsigned), stores([](TypeFields& f) { f.sign = TypeSign::Unsigned; })},
        {"Auto", kScaled, sign(TypeSign::Auto), stores([](TypeFields& f) { f.sign = TypeSign::Auto; })},
        {"Auto", kFloats, sign(TypeSign::Auto), nothing()},
        {"Signed", {0}, sign(TypeSign::Signed), warns(change("Signed", kUnscaled))},
        {"Unsigned", {0}, sign(TypeSign::Unsigned), nothing()},
        {"Unsigned", {1, 2}, sign(TypeSign::Unsigned), warns(change("Signed", kUnscaled))},
        {"Signed", {1, 2}, sign(TypeSign::Signed), nothing()},
        {"setSigned(false)", kScaled, [](NumericType& t) { t.setSigned(false); },
         stores([](TypeFields& f) { f.sign = TypeSign::Unsigned; })},
        {"setSpecifiedSign(Auto)", kAll, [](NumericType& t) { t.setSpecifiedSign(TypeSign::Auto); },
         raises(kSignId, kSignText)},
        {"setIsSigned(false)", kAll, [](NumericType& t) { t.setIsSigned(false); },
         stores([](TypeFields& f) { f.sign = TypeSign::Unsigned; })},

        {"FractionLength 7", kWithExponent, fraction(7), stores([](TypeFields& f) { f.exponent = -7; })},
        {"FractionLength lowest", kWithExponent, fraction(INT_MIN),
         stores([](TypeFields& f) { f.exponent = INT_MAX; })},
        {"FractionLength 0", kWithoutExponent, fraction(0), nothing()},
        {"FractionLength 7", kWithoutExponent, fraction(7), warns(change("FractionLength", kNoExponent))},
        {"FixedExponent 7", kWithExponent, exponent(7), stores([](TypeFields& f) { f.exponent = 7; })},
        {"FixedExponent 0", kWithoutExponent, exponent(0), nothing()},
        {"FixedExponent 7", kWithoutExponent, exponent(7), warns(change("FixedExponent", kNoExponent))},

        {"Slope 1", kWithoutExponent, slope(1), nothing()},
        {"Slope 1.5", kWithoutExponent, slope(1.5), warns(change("Slope", kNoExponent))},
        {"Slope 0", kWithExponent, slope(0), raises(kBadSlope)},
        {"Slope -1", kWithExponent, slope(-1), raises(kBadSlope)},
        {"Slope Inf", kWithExponent, slope(kInf), raises(kBadSlope)},
        {"Slope NaN", kWithExponent, slope(kNaN), raises(kBadSlope)},
        {"Slope 1.5", kBinaryPoint, slope(1.5),
         raises("Invalid total slope specified; for binary point scaling, the total slope must be an exact power of "
                "two")},
        {"Slope 1.5", {8}, slope(1.5), raises(change("SlopeAdjustmentFactor", kNoFactor))},
        {"Slope 2^-20", {4, 8}, slope(std::ldexp(1, -20)), stores([](TypeFields& f) { f.exponent = -20; })},
        {"Slope 3", kSlopeBias, slope(3), stores(toScale(1.5, 1))},
        {"Slope least", kSlopeBias, slope(5e-324), stores(toScale(1, -1074))},

        {"SlopeAdjustmentFactor 1", {0, 1, 2, 3, 4, 7, 8}, factor(1), nothing()},
        {"SlopeAdjustmentFactor 1.5", {0, 1, 2, 3}, factor(1.5), warns(change("SlopeAdjustmentFactor", kUnscaled))},
        {"SlopeAdjustmentFactor 1.5", {4, 7, 8}, factor(1.5), raises(change("SlopeAdjustmentFactor", kNoFactor))},
        {"SlopeAdjustmentFactor 1.5", kSlopeBias, factor(1.5), stores([](TypeFields& f) { f.factor = 1.5; })},
        {"SlopeAdjustmentFactor 2", kSlopeBias, factor(2), raises(kBadFactor)},
        {"SlopeAdjustmentFactor below 1", kSlopeBias, factor(std::nextafter(1, 0)), raises(kBadFactor)},
        {"SlopeAdjustmentFactor NaN", kSlopeBias, factor(kNaN), raises(kBadFactor)},

        {"Bias 0", {0, 1, 2, 3, 4, 7, 8}, bias(0), nothing()},
        {"Bias 1", kFloats, bias(1), warns(change("SlopeAdjustmentFactor", "Double, Single, or Boolean"))},
        {"Bias 1", {3, 4, 7, 8}, bias(1), raises(change("Bias", kNoFactor))},
        {"Bias -2.5", kSlopeBias, bias(-2.5), stores([](TypeFields& f) { f.bias = -2.5; })},
        {"Bias Inf", kSlopeBias, bias(kInf), stores([](TypeFields& f) { f.bias = kInf; })},

        {"Scaling Unused", kFloats, scaling(TypeScaling::Unused), nothing()},
        {"Scaling BinaryPoint", kFloats, scaling(TypeScaling::BinaryPoint), warns(change("Scaling", kUnscaled))},
        {"Scaling Unused", {3, 4, 5}, scaling(TypeScaling::Unused), warns(change("Scaling", "Fixed point"))},
        {"Scaling Unused", {7, 8, 9}, scaling(TypeScaling::Unused), warns(change("Scaling", "Scaled double"))},
        {"Scaling BinaryPoint", {3, 4, 5}, scaling(TypeScaling::BinaryPoint), stores(toMode(4))},
        {"Scaling SlopeBias", {3, 4, 5}, scaling(TypeScaling::SlopeBias), stores(toMode(5))},
        {"Scaling Unspecified", {3, 4, 5}, scaling(TypeScaling::Unspecified), stores(toMode(3))},
        {"Scaling BinaryPoint", {7, 8, 9}, scaling(TypeScaling::BinaryPoint), stores(toMode(8))},
        {"Scaling SlopeBias", {7, 8, 9}, scaling(TypeScaling::SlopeBias), stores(toMode(9))},
        {"Scaling Unspecified", {7, 8, 9}, scaling(TypeScaling::Unspecified), stores(toMode(7))},

        {"DataType Fixed", {3, 7}, [](NumericType& t) { t.setDataType(TypeData::Fixed); }, stores(toMode(3))},
        {"DataType Fixed", {4, 8}, [](NumericType& t) { t.setDataType(TypeData::Fixed); }, stores(toMode(4))},
        {"DataType ScaledDouble", kSlopeBias, [](NumericType& t) { t.setDataType(TypeData::ScaledDouble); },
         stores(toMode(9))},
        {"DataType Double", kAll, [](NumericType& t) { t.setDataType(TypeData::Double); }, stores(toMode(2))},
        {"DataType Single", kAll, [](NumericType& t) { t.setDataType(TypeData::Single); }, stores(toMode(1))},
        {"DataType Boolean", kAll, [](NumericType& t) { t.setDataType(TypeData::Boolean); }, stores(toMode(0))},
        {"DataType 5", kAll, [](NumericType& t) { t.setDataType(static_cast<TypeData>(5)); },
         raises("fixedpoint:numerictype:setDataType:invalid", "Unrecognized DataType.")},
        {"DataTypeMode 6", kAll, [](NumericType& t) { t.setDataTypeMode(static_cast<TypeMode>(6), true); },
         raises("fixedpoint:numerictype:setDataTypeMode:invalid", "Unrecognized DataTypeMode.")},
        {"DataTypeOverride Off", kAll, [](NumericType& t) { t.setDataTypeOverride(fxpDataTypeDTOMode::Off); },
         stores([](TypeFields& f) { f.typeOverride = fxpDataTypeDTOMode::Off; })},
    };
    return table;
}

TEST(NumericTypeProperties, ChangeRefuseOrRaiseByMode) {
    for (const Row& row : rows()) {
        for (const int mode : row.modes) {
            SCOPED_TRACE(row.setter + " in mode " + std::to_string(mode));
            NumericType type = typeOfMode(static_cast<TypeMode>(mode));
            TypeFields expected = fieldsOf(type);
            if (row.outcome.change) {
                row.outcome.change(expected);
            }
            const HostCapture capture;
            const Raised raised = raisedBy([&] { row.set(type); });
            EXPECT_EQ(fieldsOf(type), expected);
            const bool isWarned = row.outcome.kind == Outcome::Kind::warns;
            const bool isRaised = row.outcome.kind == Outcome::Kind::raises;
            EXPECT_EQ(raised, isRaised ? (Raised{row.outcome.id, row.outcome.text}) : Raised{});
            ASSERT_EQ(capture.warnings.size(), isWarned ? 1u : 0u);
            if (isWarned) {
                EXPECT_EQ(capture.warnings[0], (HostCapture::Warning{row.outcome.id, row.outcome.text}));
            }
        }
    }
}

struct Start {
    const char* what;
    NumericType type;
    TypeFields fields;
};

TEST(NumericTypeConstruction, AppliesTheModeToWhatWasPassed) {
    using enum NumericType::DataTypeModeEnum;
    const auto s = TypeSign::Signed;
    const auto u = TypeSign::Unsigned;
    const auto binaryPoint = TypeScaling::BinaryPoint;
    const auto slopeBias = TypeScaling::SlopeBias;
    const auto unspecified = TypeScaling::Unspecified;
    const auto unused = TypeScaling::Unused;
    const auto fixed = TypeData::Fixed;
    const auto scaledDouble = TypeData::ScaledDouble;
    const auto fields = [](TypeMode mode, TypeData data, TypeScaling scale, TypeSign aSign, int bits, double f, int e,
                           double b) { return TypeFields{mode, data, scale, aSign, bits, f, e, b}; };
    const Start starts[] = {
        {"default", NumericType(), fields(FixedBinaryPoint, fixed, binaryPoint, s, 16, 1, -15, 0)},
        {"sign, word, fraction", NumericType(false, 70000, -3),
         fields(FixedBinaryPoint, fixed, binaryPoint, u, 70000, 1, 3, 0)},
        {"lowest fraction length", NumericType(true, 8, INT_MIN),
         fields(FixedBinaryPoint, fixed, binaryPoint, s, 8, 1, INT_MAX, 0)},
        {"mode 0", typeOfMode(Boolean), fields(Boolean, TypeData::Boolean, unused, u, 1, 1, 0, 0)},
        {"mode 1", typeOfMode(Single), fields(Single, TypeData::Single, unused, s, 32, 1, 0, 0)},
        {"mode 2", typeOfMode(Double), fields(Double, TypeData::Double, unused, s, 64, 1, 0, 0)},
        {"mode 3", typeOfMode(FixedUnspecified), fields(FixedUnspecified, fixed, unspecified, s, 12, 1, 0, 0)},
        {"mode 4", typeOfMode(FixedBinaryPoint), fields(FixedBinaryPoint, fixed, binaryPoint, s, 12, 1, -3, 0)},
        {"mode 5", typeOfMode(FixedSlopeBias), fields(FixedSlopeBias, fixed, slopeBias, s, 12, 1.25, -3, 0.5)},
        {"mode 7", typeOfMode(ScaledDoubleUnspecified),
         fields(ScaledDoubleUnspecified, scaledDouble, unspecified, s, 12, 1, 0, 0)},
        {"mode 8", typeOfMode(ScaledDoubleBinaryPoint),
         fields(ScaledDoubleBinaryPoint, scaledDouble, binaryPoint, s, 12, 1, -3, 0)},
        {"mode 9", typeOfMode(ScaledDoubleSlopeBias),
         fields(ScaledDoubleSlopeBias, scaledDouble, slopeBias, s, 12, 1.25, -3, 0.5)},
        {"data type and scaling", NumericType(scaledDouble, slopeBias, false, 9, 1.5, 2, -1),
         fields(ScaledDoubleSlopeBias, scaledDouble, slopeBias, u, 9, 1.5, 2, -1)},
        {"fixed without scaling", NumericType(fixed, unused, true, 9, 1.5, 2, -1),
         fields(FixedUnspecified, fixed, unspecified, s, 9, 1, 0, 0)},
        {"sign open", NumericType(fixed, binaryPoint, TypeSign::Auto, 9, 1, 2, 0),
         fields(FixedBinaryPoint, fixed, binaryPoint, TypeSign::Auto, 9, 1, 2, 0)},
        {"double with a scaling", NumericType(TypeData::Double, slopeBias, TypeSign::Auto, 9, 1.5, 2, -1),
         fields(Double, TypeData::Double, unused, s, 64, 1, 0, 0)},
    };
    for (const Start& start : starts) {
        EXPECT_EQ(fieldsOf(start.type), start.fields) << start.what;
    }
    EXPECT_EQ(NumericType(true, 8, INT_MAX).getFixedExponent(), -INT_MAX);
    EXPECT_EQ(raisedBy([] { typeOfMode(static_cast<TypeMode>(6)); }).id,
              "fixedpoint:numerictype:setDataTypeMode:invalid");
}

TEST(NumericTypeMode, ResetsAFloatTypeThatTurnsScaledOnlyWhenAsked) {
    for (const int from : kFloats) {
        for (const int to : kScaled) {
            SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
            NumericType reset = typeOfMode(static_cast<TypeMode>(from));
            NumericType kept(reset);
            reset.setDataTypeMode(static_cast<TypeMode>(to), true);
            EXPECT_EQ(fieldsOf(reset), fieldsOf(NumericType(static_cast<TypeMode>(to), true, 16, 1, 0, 0)));
            kept.setDataTypeMode(static_cast<TypeMode>(to), false);
            EXPECT_EQ(fieldsOf(kept), fieldsOf(NumericType(static_cast<TypeMode>(to), from != 0,
                                                           from == 0   ? 1
                                                           : from == 1 ? 32
                                                                       : 64,
                                                           1, 0, 0)));
        }
    }
    NumericType boolean = typeOfMode(TypeMode::Boolean);
    boolean.setDataType(TypeData::Fixed);
    EXPECT_EQ(fieldsOf(boolean), fieldsOf(NumericType(TypeMode::FixedUnspecified, true, 16, 1, 0, 0)));
}

TEST(NumericTypeMode, IsGivenByDataTypeAndScaling) {
    for (const int mode : kAll) {
        EXPECT_EQ(NumericType::convertDataTypeModeToDataType(static_cast<TypeMode>(mode)),
                  fieldsOf(typeOfMode(static_cast<TypeMode>(mode))).data);
    }
    for (const int mode : {-1, 6, 10}) {
        EXPECT_EQ(raisedBy([=] { NumericType::convertDataTypeModeToDataType(static_cast<TypeMode>(mode)); }),
                  (Raised{"fixedpoint:numericytpe:convertDataTypeModeToDataType:unknowndatatypemode",
                          "Unknown DataTypeMode."}));
    }
    EXPECT_EQ(NumericType::convertToDataTypeMode(static_cast<TypeData>(5), TypeScaling::SlopeBias), TypeMode::Double);
    EXPECT_EQ(NumericType::convertToDataTypeMode(TypeData::ScaledDouble, TypeScaling::Unused),
              TypeMode::ScaledDoubleUnspecified);
}

TEST(NumericTypeUncheckedWriters, DeriveScalingFromFactorAndBias) {
    NumericType type = typeOfMode(TypeMode::ScaledDoubleSlopeBias);
    type.setFixedPointProps(TypeSign::Auto, 70000, 1.0, 4, 0.0);
    EXPECT_EQ(fieldsOf(type), fieldsOf(NumericType(TypeMode::ScaledDoubleBinaryPoint, true, 70000, 1, 4, 0)));
    type = typeOfMode(TypeMode::Double);
    type.setFixedPointProps(false, 8, 1.0, 0, 0.25);
    EXPECT_EQ(fieldsOf(type), fieldsOf(NumericType(TypeMode::FixedSlopeBias, false, 8, 1, 0, 0.25)));
    EXPECT_TRUE(type.isSlopeBiasScaled());
    type.setDataTypeProps(TypeData::Fixed, TypeScaling::Unused, TypeSign::Auto, 3, 7.0, 1, 2.0);
    EXPECT_EQ(fieldsOf(type), (TypeFields{TypeMode::FixedUnspecified, TypeData::Fixed, TypeScaling::Unused,
                                          TypeSign::Auto, 3, 7.0, 1, 2.0}));
}

TEST(NumericTypeComparison, IsEquivalentByValuesAndOneSidedAboutUnspecifiedScaling) {
    const NumericType unspecified(TypeMode::FixedUnspecified, true, 16, 1, 0, 0);
    const NumericType integer(true, 16, 0);
    EXPECT_TRUE(integer.isequivalent(unspecified));
    EXPECT_FALSE(unspecified.isequivalent(integer));
    EXPECT_TRUE(unspecified.isequivalent(NumericType(unspecified)));
    EXPECT_FALSE(unspecified.isequivalent(NumericType(TypeMode::ScaledDoubleUnspecified, true, 16, 1, 0, 0)));
    EXPECT_FALSE(integer.isequal(unspecified));

    // A slope-bias mode that holds a binary point is equivalent to one, but not equal.
    const NumericType neutralSlopeBias(TypeMode::FixedSlopeBias, true, 16, 1, 0, 0);
    EXPECT_TRUE(neutralSlopeBias.isequivalent(integer) && integer.isequivalent(neutralSlopeBias));
    EXPECT_TRUE(neutralSlopeBias == integer);
    EXPECT_FALSE(neutralSlopeBias.isequal(integer));
    EXPECT_TRUE(neutralSlopeBias.isSlopeBiasScalingSet());
    EXPECT_FALSE(neutralSlopeBias.isSlopeBiasScaled());

    NumericType other(integer);
    other.setDataTypeOverride(fxpDataTypeDTOMode::Off);
    EXPECT_TRUE(integer.isequivalent(other));
    EXPECT_FALSE(integer.isequal(other));
    other = integer;
    other.setVolatile(true);
    EXPECT_TRUE(integer.isequal(other));
    EXPECT_FALSE(integer == other);
    EXPECT_TRUE(other == other);

    NumericType notANumber(TypeMode::FixedSlopeBias, true, 16, 1, 0, kNaN);
    EXPECT_FALSE(notANumber.isequivalent(NumericType(notANumber)));
    EXPECT_TRUE(notANumber == notANumber);  // the same object

    const NumericType base(TypeMode::FixedSlopeBias, true, 16, 1.5, 2, 3);
    for (const Set& set : {word(17), sign(TypeSign::Unsigned), exponent(1), factor(1.25), bias(4),
                           Set([](NumericType& t) { t.setDataType(TypeData::ScaledDouble); })}) {
        NumericType changed(base);
        set(changed);
        EXPECT_FALSE(base.isequivalent(changed) || base.isequal(changed) || base == changed) << fieldsOf(changed);
    }
}

TEST(NumericTypeSet, CopiesTheNumbersAndLeavesNamesAndQualifiers) {
    NumericType source = typeOfMode(TypeMode::ScaledDoubleSlopeBias);
    source.setName("source");
    source.setReadOnly(true);
    source.setDataTypeOverride(fxpDataTypeDTOMode::Off);
    NumericType target;
    target.setName("target");
    target.set(source);
    EXPECT_EQ(fieldsOf(target), fieldsOf(source));
    EXPECT_STREQ(target.getName(), "target");
    EXPECT_FALSE(target.getReadOnly());
    target = source;
    EXPECT_STREQ(target.getName(), "source");
    EXPECT_TRUE(target.getReadOnly());

    // The record handed out is the one the type lives by.
    fxpDataTypeProp& record = target;
    record.WordLength = 5;
    EXPECT_EQ(target.getWordLength(), 5);
    EXPECT_EQ(static_cast<const NumericType&>(target).getFxpDataTypeProp().FixedExponent, -3);
}

TEST(NumericTypeQueries, ReadScaleInItsForms) {
    const NumericType type(TypeMode::FixedSlopeBias, true, 16, 1.5, 3, -4);
    EXPECT_EQ(type.getSlope(), 12.0);
    EXPECT_EQ(type.getFractionLength(), -3);
    EXPECT_EQ(type.addSlopeAdjustmentFactorBias(8), 8.0);
    EXPECT_STREQ(type.getIsAliasString(), "false");
    EXPECT_FALSE(type.isAlias());
    NumericType extreme(true, 16, 0);
    extreme.setFixedExponent(INT_MIN);
    EXPECT_EQ(extreme.getFractionLength(), INT_MAX);
    EXPECT_EQ(extreme.getSlope(), 0.0);
    extreme.setFixedExponent(INT_MAX);
    EXPECT_EQ(extreme.getSlope(), kInf);
}

TEST(NumericTypeQueries, NameTheHostClassThatHoldsExactlyTheType) {
    const struct {
        NumericType type;
        const char* name;
    } rows[] = {
        {NumericType(true, 8, 0), "int8"},
        {NumericType(false, 8, 0), "uint8"},
        {NumericType(true, 16, 0), "int16"},
        {NumericType(false, 16, 0), "uint16"},
        {NumericType(true, 32, 0), "int32"},
        {NumericType(false, 32, 0), "uint32"},
        {NumericType(true, 64, 0), nullptr},
        {NumericType(true, 16, 1), nullptr},
        {NumericType(TypeMode::FixedSlopeBias, false, 16, 1, 0, 0), "uint16"},
        {NumericType(TypeMode::FixedSlopeBias, false, 16, 1, 0, 1), nullptr},
        {NumericType(TypeMode::FixedSlopeBias, false, 16, 1.5, 0, 0), nullptr},
        {NumericType(TypeMode::FixedUnspecified, true, 16, 1, 0, 0), nullptr},
        {NumericType(TypeMode::ScaledDoubleBinaryPoint, true, 16, 1, 0, 0), nullptr},
        {NumericType(TypeData::Fixed, TypeScaling::BinaryPoint, TypeSign::Auto, 16, 1, 0, 0), nullptr},
        {typeOfMode(TypeMode::Double), "double"},
        {typeOfMode(TypeMode::Single), "single"},
        {typeOfMode(TypeMode::Boolean), "logical"},
    };
    for (const auto& row : rows) {
        EXPECT_STREQ(row.type.getEquivalentVelmarClassName(), row.name) << fieldsOf(row.type);
    }
    EXPECT_STREQ(NumericType::getVelmarClassName(), "numerictype");
    EXPECT_STREQ(NumericType::getVelmarPackageClassName(), "embedded.numerictype");
}

TEST(NumericTypeValues, RaiseWhatATypeCannotHold) {
    struct Check {
        TypeData type;
        double value;
        Raised expected;
    };
    const Check checks[] = {
        {TypeData::Fixed, kNaN, {"fixedpoint:nofixednan", "NaN cannot be converted to fixed-point."}},
        {TypeData::Fixed, -kInf, {"fixedpoint:nofixedinf", "Inf cannot be converted to fixed-point."}},
        {TypeData::ScaledDouble, kNaN, {"fixedpoint:nofixednan", "NaN cannot be converted to scaled double."}},
        {TypeData::ScaledDouble, kInf, {"fixedpoint:nofixedinf", "Inf cannot be converted to scaled double."}},
        {TypeData::Boolean, kNaN, {"fixedpoint:nologicalnan", "NaN cannot be converted to boolean."}},
        {TypeData::Boolean, kInf, {}},
        {TypeData::Double, kNaN, {}},
        {TypeData::Single, kInf, {}},
        {TypeData::Fixed, 1e308, {}},
    };
    for (const Check& row : checks) {
        const double doubles[] = {0, 1, row.value};
        const float floats[] = {0, static_cast<float>(row.value > 1e300 && std::isfinite(row.value) ? 1 : row.value)};
        EXPECT_EQ(raisedBy([&] { NumericType::checkNaNInf(row.type, row.value); }), row.expected);
        EXPECT_EQ(raisedBy([&] { NumericType::checkNaNInf(row.type, doubles, 3); }), row.expected);
        EXPECT_EQ(raisedBy([&] { NumericType::checkNaNInf(row.type, doubles, 2); }), Raised{});
        EXPECT_EQ(raisedBy([&] { NumericType::checkNaNInf(row.type, floats, 2); }), row.expected);
        EXPECT_EQ(raisedBy([&] { NumericType::errorIfBadValue(row.type, row.value); }), row.expected);
        if (row.type != TypeData::Boolean) {
            EXPECT_EQ(raisedBy([&] { NumericType::errorIfBadValue(row.type, 0, row.value, true); }), row.expected);
            EXPECT_EQ(raisedBy([&] { NumericType::errorIfBadValue(row.type, 0, row.value, false); }), Raised{});
        }
    }
    EXPECT_EQ(raisedBy([] { NumericType::errorIfBadValue(TypeData::Boolean, kNaN, 0, true); }),
              (Raised{"fixedpoint:nologicalcomplex", "Complex values cannot be converted to boolean."}));
}

}  // namespace
