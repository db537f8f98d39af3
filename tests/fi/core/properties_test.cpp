// Type and rules of an array by property: what a setter does beyond the one it forwards to, and what it leaves alone.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <functional>
#include <limits>

#include "tests/support/arrays.h"
#include "tests/support/arrays_of_fi.h"
#include "tests/support/errors.h"
#include "tests/support/rules.h"

namespace {

using Signedness = NumericType::Signedness;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// The description in the quantizer of writes, as it stands.
struct Described {
    Mode mode;
    int wordBits;
    int fractionBits;
    int round;
    int overflow;
    bool operator==(const Described&) const = default;
};

Described quantizerOf(const fi& array) {
    const quantizer& q = array.getAssignmentQuantizer();
    return {q.getMode(), q.getWordlength(), q.getFractionlength(), static_cast<int>(q.getRoundMode()),
            static_cast<int>(q.getOverflowMode())};
}

std::ostream& operator<<(std::ostream& out, const Described& d) {
    return out << "mode " << static_cast<int>(d.mode) << ' ' << d.wordBits << ',' << d.fractionBits << " round "
               << d.round << " overflow " << d.overflow;
}

fi fixedColumn() {
    return column({0.75, -0.5, 3.0}, fixedType(true, 12, 4), rulesOf(Rounding::floor, true));
}

/// Runs the action with warnings kept from the console; returns how many there were.
std::size_t warningsOf(const std::function<void()>& action) {
    HostCapture capture;
    action();
    return capture.warnings.size();
}

}  // namespace

// The type

TEST(TypeSetter, ChangesTypeAndQuantizerAndNoEntry) {
    const NumericType start = fixedType(true, 12, 4);
    const NumericType unsignedType = fixedType(false, 12, 4);
    NumericType overridden(start);
    overridden.setDataTypeOverride(fxpDataTypeDTOMode::Off);
    const auto slopeBias = [](fi& a) { a.setScaling(TypeScaling::SlopeBias); };
    const struct {
        const char* name;
        std::function<void(fi&)> set;
        NumericType wanted;
        Mode mode = Mode::Fixed;
    } rows[] = {
        {"WordLength", [](fi& a) { a.setWordLength(7); }, fixedType(true, 7, 4)},
        {"FractionLength", [](fi& a) { a.setFractionLength(2); }, fixedType(true, 12, 2)},
        {"FixedExponent", [](fi& a) { a.setFixedExponent(3); }, fixedType(true, 12, -3)},
        {"lowest FractionLength", [](fi& a) { a.setFractionLength(INT_MIN); }, fixedType(true, 12, -INT_MAX)},
        {"Slope", [](fi& a) { a.setSlope(0.125); }, fixedType(true, 12, 3)},
        {"Scaling", slopeBias, slopeBiasType(true, 12, 1.0, -4, 0.0)},
        {"Bias", [=](fi& a) { slopeBias(a), a.setBias(1.5); }, slopeBiasType(true, 12, 1.0, -4, 1.5)},
        {"SlopeAdjustmentFactor", [=](fi& a) { slopeBias(a), a.setSlopeAdjustmentFactor(1.25); },
         slopeBiasType(true, 12, 1.25, -4, 0.0)},
        {"Scaling of three", [=](fi& a) { slopeBias(a), a.setScaling(1.75, -9, 2.0); },
         slopeBiasType(true, 12, 1.75, -9, 2.0)},
        {"Signed", [](fi& a) { a.setSigned(false); }, unsignedType, Mode::Ufixed},
        {"Signedness", [](fi& a) { a.setSignedness(Signedness::Unsigned); }, unsignedType, Mode::Ufixed},
        {"Signedness Auto", [](fi& a) { a.setSigned(false), a.setSignedness(Signedness::Auto); }, start},
        {"SignednessBool", [](fi& a) { a.setSignednessBool(hvArrayOwner(hvCreateLogicalScalar(false)).get()); },
         unsignedType, Mode::Ufixed},
        {"empty SignednessBool", [](fi& a) { a.setSigned(false), a.setSignednessBool(doubles(0, 0, {}).get()); },
         start},
        {"DataTypeOverride", [](fi& a) { a.setDataTypeOverride(fxpDataTypeDTOMode::Off); }, overridden},
        {"DataType", [](fi& a) { a.setDataType(TypeData::ScaledDouble); },
         NumericType(TypeMode::ScaledDoubleBinaryPoint, true, 12, 1.0, -4, 0.0), Mode::ScaledDouble},
        {"DataTypeMode", [](fi& a) { a.setDataTypeMode(TypeMode::FixedSlopeBias); },
         slopeBiasType(true, 12, 1.0, -4, 0.0)},
        {"DataTypeMode without scaling", [=](fi& a) { slopeBias(a), a.setDataTypeMode(TypeMode::FixedUnspecified); },
         start},
        {"DataTypeMode by way of double",
         [](fi& a) { a.setDataTypeMode(TypeMode::Double), a.setDataTypeMode(TypeMode::FixedBinaryPoint); },
         fixedType(true, 16, 0)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        fi array = fixedColumn();
        row.set(array);
        const TypeFields wanted = fieldsOf(row.wanted);
        const bool losesEntries = wanted.wordBits == 7;
        EXPECT_EQ(fieldsOf(array.getNumericType()), wanted);
        EXPECT_EQ(quantizerOf(array).mode, row.mode);
        EXPECT_EQ(quantizerOf(array).wordBits, wanted.wordBits);
        EXPECT_EQ(quantizerOf(array).fractionBits, array.getFractionLength());
        EXPECT_EQ(realParts(array), losesEntries ? std::vector<double>(3) : (std::vector<double>{0.75, -0.5, 3.0}));
        EXPECT_EQ(countsOf(array), (Counts{0, 0, 0}));
        // Getters read the same type.
        EXPECT_EQ((TypeFields{array.getDataTypeMode(), array.getDataType(), array.getScaling(), array.getSignedness(),
                              array.getWordlength(), array.getSlopeAdjustmentFactor(), array.getFixedExponent(),
                              array.getBias(), array.getDataTypeOverride()}),
                  wanted);
        EXPECT_EQ(array.getSigned(), wanted.sign == TypeSign::Signed);
        EXPECT_EQ(array.getSlope(), std::ldexp(wanted.factor, wanted.exponent));
        EXPECT_EQ(array.isBinaryPointScaled(), wanted.factor == 1.0 && wanted.bias == 0.0);
    }
}

TEST(TypeSetter, RaisesAndLeavesTheArrayAsItWas) {
    struct Row {
        const char* id;
        std::function<void(fi&)> set;
    };
    const hvArrayOwner two = doubles(1, 1, {2.0});
    const hvArrayOwner word = text("x");
    const Row rows[] = {
        {"fixedpoint:quantizer:unspecifiedscaling", [](fi& a) { a.setScaling(TypeScaling::Unspecified); }},
        {"fixedpoint:FI:signed:InvalidValue", [&](fi& a) { a.setSignednessBool(two.get()); }},
        {"fixedpoint:FI:SignednessBool:InvalidValue", [&](fi& a) { a.setSignednessBool(word.get()); }},
        {"TolvaneKit:numerictype:InvalidSetting", [](fi& a) { a.setSlope(0.3); }},
        {"TolvaneKit:numerictype:InvalidSetting", [](fi& a) { a.setSlope(-1.0); }},
        {"TolvaneKit:numerictype:InvalidSetting", [](fi& a) { a.setBias(1.0); }},
        {"TolvaneKit:numerictype:InvalidSetting", [](fi& a) { a.setSlopeAdjustmentFactor(1.5); }},
        // The exponent is good and comes before the bias.
        {"TolvaneKit:numerictype:InvalidSetting", [](fi& a) { a.setScaling(1.0, -7, 1.0); }},
        {"fixedpoint:numerictype:setDataType:invalid", [](fi& a) { a.setDataType(static_cast<TypeData>(17)); }},
        {"fixedpoint:numericytpe:convertDataTypeModeToDataType:unknowndatatypemode",
         [](fi& a) { a.setDataTypeMode(static_cast<TypeMode>(6)); }},
    };
    for (const Row& row : rows) {
        fi array = fixedColumn();
        const Snapshot before = snapshotOf(array);
        const Described quantizerBefore = quantizerOf(array);
        EXPECT_EQ(raisedBy([&] { row.set(array); }).id, row.id);
        EXPECT_EQ(snapshotOf(array), before) << row.id;
        EXPECT_EQ(quantizerOf(array), quantizerBefore) << row.id;
    }
}

TEST(TypeSetter, RefusesWithAWarningAndLeavesTheArrayAsItWas) {
    // Entries of more bits than the word must survive a word length that is refused.
    fi array(0.5, fixedType(true, 12, 4), rulesOf(), 80, "", true, Operation::Assignment);
    const Snapshot before = snapshotOf(array);
    for (const int wordLength : {0, -3, 65536}) {
        EXPECT_EQ(warningsOf([&] { array.setWordLength(wordLength); }), 1u) << wordLength;
        EXPECT_EQ(snapshotOf(array), before) << wordLength;
        EXPECT_EQ(array.real().getprecision(), 80u);
    }
    fi boolean = scalar(1.0, plainType(TypeMode::Boolean));
    EXPECT_EQ(warningsOf([&] { boolean.setSigned(true); }), 1u);
    EXPECT_EQ(warningsOf([&] { boolean.setFixedExponent(4); }), 1u);
    EXPECT_FALSE(boolean.isSigned());
    EXPECT_EQ(boolean.getFixedExponent(), 0);
}

TEST(WordLength, BringsBothPartsToItsPrecision) {
    for (const int wordLength : {1, 52, 53, 200, 65535}) {
        fi array = column({0.5, 1.0}, {0.25, 2.0}, fixedType(true, 16, 4));
        array.setWordLength(wordLength);
        EXPECT_EQ(array.getWordLength(), wordLength);
        EXPECT_EQ(array.real().getprecision(), static_cast<unsigned>(wordLength));
        EXPECT_EQ(array.imag(1).getprecision(), static_cast<unsigned>(wordLength));
        EXPECT_EQ(array.imag().numel(), 2u);
    }
}

TEST(DataType, ChecksTheEntriesOnlyWhenItChanges) {
    const auto withNaN = [](const NumericType& type) {
        fi array = scalar(0.0, type);
        array.setvalue(kNaN);
        return array;
    };
    const auto complexColumn = [] { return column({1.0}, {0.0}, fixedType(true, 12, 4)); };
    struct Row {
        const char* name;
        fi array;
        TypeMode mode;
        const char* id;
    };
    const Row rows[] = {
        {"NaN of double to fixed", withNaN(plainType(TypeMode::Double)), TypeMode::FixedBinaryPoint,
         "fixedpoint:nofixednan"},
        {"NaN of double to boolean", withNaN(plainType(TypeMode::Double)), TypeMode::Boolean,
         "fixedpoint:nologicalnan"},
        {"NaN of double to single", withNaN(plainType(TypeMode::Double)), TypeMode::Single, ""},
        {"NaN of fixed stays", withNaN(fixedType(true, 12, 4)), TypeMode::FixedBinaryPoint, ""},
        {"complex to boolean", complexColumn(), TypeMode::Boolean, "fixedpoint:nologicalcomplex"},
        {"complex to double", complexColumn(), TypeMode::Double, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        for (const bool byMode : {false, true}) {
            fi array(row.array);
            const TypeFields before = fieldsOf(array.getNumericType());
            const bool isLocal = array.getFimathIsLocal();
            const auto raised = raisedBy([&] {
                if (byMode) {
                    array.setDataTypeMode(row.mode);
                } else {
                    array.setDataType(NumericType::convertDataTypeModeToDataType(row.mode));
                }
            });
            EXPECT_EQ(raised.id, row.id);
            if (!raised.id.empty()) {
                EXPECT_EQ(fieldsOf(array.getNumericType()), before);
                EXPECT_EQ(array.getFimathIsLocal(), isLocal);
            } else {
                EXPECT_EQ(array.getDataTypeMode(), row.mode);
            }
        }
    }
    // A change of the mode alone looks at the entries too.
    fi array = withNaN(fixedType(true, 12, 4));
    EXPECT_EQ(raisedBy([&] { array.setDataTypeMode(TypeMode::FixedSlopeBias); }).id, "fixedpoint:nofixednan");
    EXPECT_EQ(array.getDataTypeMode(), TypeMode::FixedBinaryPoint);
}

TEST(DataType, DropsLocalRulesForDoubleAndSingleOnly) {
    const GlobalRules global(rulesOf(Rounding::ceil, false));
    for (const TypeMode mode : {TypeMode::Double, TypeMode::Single, TypeMode::Boolean, TypeMode::ScaledDoubleSlopeBias,
                                TypeMode::FixedSlopeBias}) {
        for (const bool byMode : {false, true}) {
            SCOPED_TRACE(static_cast<int>(mode));
            fi array = fixedColumn();
            if (byMode) {
                array.setDataTypeMode(mode);
            } else {
                array.setDataType(NumericType::convertDataTypeModeToDataType(mode));
            }
            const bool keeps = mode != TypeMode::Double && mode != TypeMode::Single;
            EXPECT_EQ(array.getFimathIsLocal(), keeps);
            EXPECT_EQ(&array.getFimath() == &fimath::getGlobalFimath(), !keeps);
            EXPECT_EQ(quantizerOf(array).round, static_cast<int>(keeps ? Rounding::floor : Rounding::ceil));
            EXPECT_EQ(quantizerOf(array).overflow, keeps ? 1 : 0);
        }
    }
}

// The rules

namespace {

struct RuleRow {
    const char* field;
    double value;
    std::function<void(fi&)> set;
};

const RuleRow kRuleRows[] = {
    {"RoundMode", 2, [](fi& a) { a.setRoundMode(embedded::RoundModeEnum::Fix); }},
    {"OverflowMode", 1, [](fi& a) { a.setOverflowMode(embedded::OverflowModeEnum::Wrap); }},
    {"PrecisionMode", 1, [](fi& a) { a.setPrecisionMode(fimath::PrecisionModeEnum::Stepped); }},
    {"ProductMode", 1, [](fi& a) { a.setProductMode(fimath::ArithmeticModeEnum::KeepLSB); }},
    {"SumMode", 2, [](fi& a) { a.setSumMode(fimath::ArithmeticModeEnum::KeepMSB); }},
    {"CastBeforeSum", 0, [](fi& a) { a.setCastBeforeSum(false); }},
    {"ProductWordLength", 65535, [](fi& a) { a.setProductWordLength(65535); }},
    {"MaxProductWordLength", 1, [](fi& a) { a.setMaxProductWordLength(1); }},
    {"SumWordLength", 17, [](fi& a) { a.setSumWordLength(17); }},
    {"MaxSumWordLength", 18, [](fi& a) { a.setMaxSumWordLength(18); }},
    {"ProductFixedExponent", -5, [](fi& a) { a.setProductFractionLength(5); }},
    {"ProductFixedExponent", INT_MAX, [](fi& a) { a.setProductFractionLength(INT_MIN); }},
    {"SumFixedExponent", 6, [](fi& a) { a.setSumFractionLength(-6); }},
    {"ProductFixedExponent", 7, [](fi& a) { a.setProductFixedExponent(7); }},
    {"SumFixedExponent", -8, [](fi& a) { a.setSumFixedExponent(-8); }},
    {"ProductSlopeAdjustmentFactor", 1.5, [](fi& a) { a.setProductSlopeAdjustmentFactor(1.5); }},
    {"SumSlopeAdjustmentFactor", 1.75, [](fi& a) { a.setSumSlopeAdjustmentFactor(1.75); }},
    {"ProductBias", -2.5, [](fi& a) { a.setProductBias(-2.5); }},
    {"SumBias", 9, [](fi& a) { a.setSumBias(9.0); }},
};

}  // namespace

TEST(RuleSetter, WritesTheRulesOfOneArrayOrTheGlobalOnesForAllThatFollowThem) {
    for (const RuleRow& row : kRuleRows) {
        for (const bool isLocal : {false, true}) {
            SCOPED_TRACE(row.field);
            const GlobalRules global{fimath()};
            fi array = scalar(0.5, fixedType(true, 12, 4), fimath(), isLocal);
            const fi other(array);
            const fi local = scalar(0.5, fixedType(true, 12, 4), fimath());
            row.set(array);
            const RuleFields wanted = changed(factoryFields(), {{row.field, row.value}});
            EXPECT_EQ(array.getFimathIsLocal(), isLocal);
            EXPECT_EQ(fieldsOf(array.getFimath()), wanted);
            EXPECT_EQ(fieldsOf(fimath::getGlobalFimath()), isLocal ? factoryFields() : wanted);
            EXPECT_EQ(fieldsOf(other.getFimath()), isLocal ? factoryFields() : wanted);
            EXPECT_EQ(fieldsOf(local.getFimath()), factoryFields());
            EXPECT_EQ(quantizerOf(other).round, static_cast<int>(other.getRoundMode()));
        }
    }
}

TEST(RuleSetter, SplitsASlope) {
    fi array = scalar(0.5, fixedType(true, 12, 4));
    array.setProductSlope(6.0);
    array.setSumSlope(0.15625);
    EXPECT_EQ(array.getProductSlopeAdjustmentFactor(), 1.5);
    EXPECT_EQ(array.getProductFixedExponent(), 2);
    EXPECT_EQ(array.getProductSlope(), 6.0);
    EXPECT_EQ(array.getSumSlopeAdjustmentFactor(), 1.25);
    EXPECT_EQ(array.getSumFractionLength(), 3);
    EXPECT_EQ(array.getSumSlope(), 0.15625);
}

TEST(RuleSetter, RaisesAndLeavesTheRulesAsTheyWere) {
    // The first is an error, where the same property of rules on their own would give a warning.
    const std::string setting = "TolvaneKit:fimathInvalidSetting";
    const std::pair<std::string, std::function<void(fi&)>> rows[] = {
        {setting, [](fi& a) { a.setProductSlopeAdjustmentFactor(2.0); }},
        {setting, [](fi& a) { a.setSumSlopeAdjustmentFactor(kNaN); }},
        {setting, [](fi& a) { a.setProductSlope(kNaN); }},
        {setting, [](fi& a) { a.setSumSlope(0.0); }},
        {"fixedpoint:fimath:NonPositiveProductWordLength", [](fi& a) { a.setProductWordLength(0); }},
        {"fixedpoint:fimath:NonPositiveMaxProductWordLength", [](fi& a) { a.setMaxProductWordLength(0); }},
        {"fixedpoint:fimath:NonPositiveSumWordLength", [](fi& a) { a.setSumWordLength(0); }},
        {"fixedpoint:fimath:TooBigMaxSumWordLength", [](fi& a) { a.setMaxSumWordLength(65536); }},
        {"fixedpoint:fimath:cstyle:badvalue", [](fi& a) { a.setCStyle(text("8").get()); }},
    };
    for (const auto& [id, set] : rows) {
        fi array = scalar(0.5, fixedType(true, 12, 4), unusualRules());
        const HostCapture capture;
        EXPECT_EQ(raisedBy([&, &change = set] { change(array); }).id, id);
        EXPECT_EQ(fieldsOf(array.getFimath()), fieldsOf(unusualRules())) << id;
        EXPECT_TRUE(capture.warnings.empty()) << id;
    }
}

TEST(CStyle, TakesAWordLengthAndAnswersWhetherItHolds) {
    fi array = scalar(0.5, fixedType(true, 12, 4), fimath());
    array.setCStyle(doubles(1, 1, {0}).get());
    EXPECT_EQ(fieldsOf(array.getFimath()), factoryFields());
    array.setCStyle(doubles(1, 1, {8.75}).get());
    fimath wanted;
    wanted.setCStyle(8);
    EXPECT_EQ(fieldsOf(array.getFimath()), fieldsOf(wanted));
    EXPECT_EQ(valuesOf(hvArrayOwner(array.getCStyle())), std::vector<double>{1.0});
    // The quantizer of local rules learns of the modes only from their own setters.
    EXPECT_EQ(quantizerOf(array).round, static_cast<int>(Rounding::nearest));
    array.setCastBeforeSum(false);
    EXPECT_EQ(valuesOf(hvArrayOwner(array.getCStyle())), std::vector<double>{0.0});
}

TEST(Rules, OfTwoOperandsAreThoseOfALocalLeftOneAndElseOfTheRight) {
    const GlobalRules global(rulesOf(Rounding::ceil, false));
    const NumericType type = fixedType(true, 12, 4);
    const fi left = scalar(0.5, type, unusualRules());
    const fi right = scalar(0.5, type, rulesOf(Rounding::round, true));
    const fi follower = scalar(0.5, type, fimath(), false);
    fi marked(follower);
    marked.setFimathIsLocal(true);
    struct Row {
        const char* name;
        const fi& a;
        const fi& b;
        const fimath& expected;
    };
    const auto read = [](const fi& a, const auto&... b) {
        return RuleFields{
            {"RoundMode", static_cast<double>(a.getRoundMode(b...))},
            {"OverflowMode", static_cast<double>(a.getOverflowMode(b...))},
            {"PrecisionMode", static_cast<double>(a.getPrecisionMode(b...))},
            {"ProductMode", static_cast<double>(a.getProductMode(b...))},
            {"ProductWordLength", static_cast<double>(a.getProductWordLength(b...))},
            {"MaxProductWordLength", static_cast<double>(a.getMaxProductWordLength(b...))},
            {"ProductFixedExponent", static_cast<double>(a.getProductFixedExponent(b...))},
            {"ProductSlopeAdjustmentFactor", static_cast<double>(a.getProductSlopeAdjustmentFactor(b...))},
            {"ProductBias", static_cast<double>(a.getProductBias(b...))},
            {"SumMode", static_cast<double>(a.getSumMode(b...))},
            {"SumWordLength", static_cast<double>(a.getSumWordLength(b...))},
            {"MaxSumWordLength", static_cast<double>(a.getMaxSumWordLength(b...))},
            {"SumFixedExponent", static_cast<double>(a.getSumFixedExponent(b...))},
            {"SumSlopeAdjustmentFactor", static_cast<double>(a.getSumSlopeAdjustmentFactor(b...))},
            {"SumBias", static_cast<double>(a.getSumBias(b...))},
            {"CastBeforeSum", static_cast<double>(a.getCastBeforeSum(b...))}};
    };
    const fimath& globalRules = fimath::getGlobalFimath();
    for (const Row& row :
         {Row{"both local", left, right, left.getFimath()}, Row{"left local", left, follower, left.getFimath()},
          Row{"right local", follower, right, right.getFimath()}, Row{"none", follower, follower, globalRules},
          Row{"left marked without rules of its own", marked, right, globalRules}}) {
        SCOPED_TRACE(row.name);
        const fi& a = row.a;
        const fi& b = row.b;
        EXPECT_EQ(&a.getFimath(b), &row.expected);
        EXPECT_EQ(read(a, b), fieldsOf(row.expected));
        EXPECT_EQ(a.getProductFractionLength(b), row.expected.getProductFractionLength());
        EXPECT_EQ(a.getSumFractionLength(b), row.expected.getSumFractionLength());
        EXPECT_EQ(a.getProductSlope(b), row.expected.getProductSlope());
        EXPECT_EQ(a.getSumSlope(b), row.expected.getSumSlope());
    }
    EXPECT_EQ(read(left), fieldsOf(unusualRules()));
}

TEST(Rules, BecomeThePrivateCopyOfAnArray) {
    const GlobalRules global(rulesOf(Rounding::ceil, false));
    fi array = scalar(0.5, fixedType(true, 12, 4), fimath(), false);
    // The global rules are not its own, and setting them makes a copy.
    array.setFimath(fimath::getGlobalFimath());
    EXPECT_TRUE(array.getFimathIsLocal());
    EXPECT_NE(&array.getFimath(), &fimath::getGlobalFimath());
    array.setRoundMode(embedded::RoundModeEnum::Floor);
    EXPECT_EQ(fimath::getGlobalFimath().getRoundMode(), embedded::RoundModeEnum::Ceil);
    const fimath* const own = &array.getFimath();
    array.setFimath(array.getFimath());
    EXPECT_EQ(&array.getFimath(), own);
    EXPECT_EQ(quantizerOf(array).round, static_cast<int>(Rounding::floor));
    array.setFimath(rulesOf(Rounding::fix, true));
    EXPECT_EQ(quantizerOf(array).round, static_cast<int>(Rounding::fix));
    EXPECT_EQ(quantizerOf(array).overflow, 1);
    EXPECT_EQ(realParts(array), std::vector<double>{0.5});
    array.setFimathIsLocal(false);
    EXPECT_EQ(&array.getFimath(), &fimath::getGlobalFimath());
    EXPECT_EQ(quantizerOf(array).round, static_cast<int>(Rounding::ceil));
}

TEST(Rules, OfAnArrayThatIsOnlyMarkedLocalAreTheGlobalOnes) {
    const GlobalRules global(rulesOf(Rounding::ceil, false));
    fi array = scalar(0.5, fixedType(true, 12, 4), fimath(), false);
    array.setFimathIsLocal(true);
    EXPECT_TRUE(array.getFimathIsLocal());
    EXPECT_EQ(&array.getFimath(), &fimath::getGlobalFimath());
    array.setSumMode(fimath::ArithmeticModeEnum::KeepLSB);
    EXPECT_EQ(fimath::getGlobalFimath().getSumMode(), fimath::ArithmeticModeEnum::KeepLSB);
}

// Marks

TEST(Marks, KeepWhatTheyAreGiven) {
    fi array;
    EXPECT_EQ(array.getLastPropertySet(), fi::PropertyEnum::None);
    for (const int value : {-1, 0, 15, 26, 50}) {
        array.setLastPropertySet(static_cast<fi::PropertyEnum>(value));
        EXPECT_EQ(static_cast<int>(array.getLastPropertySet()), value);
    }
    for (const int value : {-2, 51, INT_MIN, INT_MAX}) {
        EXPECT_EQ(raisedBy([&] { array.setLastPropertySet(static_cast<fi::PropertyEnum>(value)); }),
                  (Raised{"fixedpoint:fi:setLastPropertySet:BadEnum",
                          "PropertyEnum out of range.  Valid values are -1 through 50, and " + std::to_string(value) +
                              " was entered."}));
    }
    EXPECT_EQ(static_cast<int>(array.getLastPropertySet()), 50);
    array.setTag("speed");
    EXPECT_EQ(array.getQlogger().getTag(), "speed");
}
