// Rules of arithmetic: setters, texts, the global object, the dictionary, and the way through the host.
#include "descriptors/fimath.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "descriptors/NumericType.h"
#include "host/bs.h"
#include "tests/support/arrays.h"
#include "tests/support/errors.h"
#include "tests/support/objects.h"
#include "tests/support/rules.h"

namespace {

using Round = embedded::RoundModeEnum;
using Overflow = embedded::OverflowModeEnum;
using Precision = fimath::PrecisionModeEnum;
using Rule = fimath::ArithmeticModeEnum;
using Action = std::function<void(fimath&)>;

constexpr double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::nan("");

const Raised kBadSlope{"TolvaneKit:fimathInvalidSetting",
                       "Invalid total slope specified; the total slope must be greater than 0 and finite"};
const HostCapture::Warning kBadFactor{
    "TolvaneKit:fimathInvalidSetting",
    "Invalid SlopeAdjustmentFactor specified; the SlopeAdjustmentFactor must be greater than or equal to 1 and less "
    "than 2"};
Raised tooSmall(const std::string& length) {
    return {"fixedpoint:fimath:NonPositive" + length, length + " must be greater than 0."};
}
Raised tooBig(const std::string& length) {
    return {"fixedpoint:fimath:TooBig" + length, length + " cannot be greater than 65535."};
}
const Raised kSmallProduct = tooSmall("ProductWordLength");
const Raised kBigProduct = tooBig("ProductWordLength");

/// What one call does to the object: the fields it changes, or the error, or the warning. No other field may change.
struct Row {
    const char* what;
    Action act;
    RuleFields changes;
    Raised raised = {};
    bool warns = false;
};

void check(const Row& row) {
    SCOPED_TRACE(row.what);
    fimath rules = unusualRules();
    const HostCapture capture;
    EXPECT_EQ(raisedBy([&] { row.act(rules); }), row.raised);
    EXPECT_EQ(fieldsOf(rules), changed(fieldsOf(unusualRules()), row.changes));
    EXPECT_EQ(capture.warnings,
              row.warns ? std::vector<HostCapture::Warning>{kBadFactor} : std::vector<HostCapture::Warning>{});
}

/// The properties that products and sums have alike.
struct Register {
    std::string name;
    void (fimath::*setMode)(Rule);
    void (fimath::*setBias)(double);
    void (fimath::*setFixedExponent)(int);
    void (fimath::*setFractionLength)(int);
    void (fimath::*setSlope)(double);
    bool (fimath::*setSlopeAdjustmentFactor)(double);
    void (fimath::*setFormat)(RealPoint);
};
const Register kRegisters[] = {
    {"Product", &fimath::setProductMode, &fimath::setProductBias, &fimath::setProductFixedExponent,
     &fimath::setProductFractionLength, &fimath::setProductSlope, &fimath::setProductSlopeAdjustmentFactor,
     &fimath::setProductFormat},
    {"Sum", &fimath::setSumMode, &fimath::setSumBias, &fimath::setSumFixedExponent, &fimath::setSumFractionLength,
     &fimath::setSumSlope, &fimath::setSumSlopeAdjustmentFactor, &fimath::setSumFormat},
};

TEST(FimathSetters, ChangeOneProperty) {
    check({"round", [](fimath& f) { f.setRoundMode(Round::Ceil); }, {{"RoundMode", 0}}});
    check({"overflow", [](fimath& f) { f.setOverflowMode(Overflow::Saturate); }, {{"OverflowMode", 0}}});
    check({"precision", [](fimath& f) { f.setPrecisionMode(Precision::Arbitrary); }, {{"PrecisionMode", 0}}});
    check({"cast", [](fimath& f) { f.setCastBeforeSum(true); }, {{"CastBeforeSum", 1}}});
    for (const Register& r : kRegisters) {
        const std::string exponent = r.name + "FixedExponent";
        check({"mode", [&](fimath& f) { (f.*r.setMode)(Rule::KeepLSB); }, {{r.name + "Mode", 1}}});
        for (const double bias : {1e-300, -kInf}) {
            check({"bias", [&](fimath& f) { (f.*r.setBias)(bias); }, {{r.name + "Bias", bias}}});
        }
        for (const int value : {5, INT_MIN}) {
            check({"exponent", [&](fimath& f) { (f.*r.setFixedExponent)(value); }, {{exponent, value}}});
        }
        for (const auto& [length, value] : {std::pair(5, -5), {-7, 7}, {INT_MIN, INT_MAX}, {INT_MAX, -INT_MAX}}) {
            check(
                {"fraction", [&, given = length](fimath& f) { (f.*r.setFractionLength)(given); }, {{exponent, value}}});
        }
    }
}

TEST(FimathSetters, LimitTheFourWordLengthsAlike) {
    const std::pair<const char*, void (fimath::*)(int)> setters[] = {
        {"ProductWordLength", &fimath::setProductWordLength},
        {"SumWordLength", &fimath::setSumWordLength},
        {"MaxProductWordLength", &fimath::setMaxProductWordLength},
        {"MaxSumWordLength", &fimath::setMaxSumWordLength},
    };
    for (const auto& setter : setters) {
        const char* const field = setter.first;
        const auto set = [&](int length) { return [&, length](fimath& f) { (f.*setter.second)(length); }; };
        for (const int good : {1, 128, 65535}) {
            check({field, set(good), {{field, good}}});
        }
        for (const int small : {INT_MIN, -1, 0}) {
            check({field, set(small), {}, tooSmall(field)});
        }
        for (const int big : {65536, INT_MAX}) {
            check({field, set(big), {}, tooBig(field)});
        }
    }
}

TEST(FimathSetters, SplitSlopesAndRefuseBadFactors) {
    const double belowTwo = std::nextafter(2.0, 1.0);
    for (const Register& r : kRegisters) {
        const std::string factorName = r.name + "SlopeAdjustmentFactor";
        const auto slope = [&](double value) { return [&r, value](fimath& f) { (f.*r.setSlope)(value); }; };
        const auto factor = [&](double value) {
            return [&r, value](fimath& f) { (f.*r.setSlopeAdjustmentFactor)(value); };
        };
        check({"slope", slope(0.75), {{factorName, 1.5}, {r.name + "FixedExponent", -1}}});
        check({"least slope", slope(0x1p-1074), {{factorName, 1}, {r.name + "FixedExponent", -1074}}});
        for (const double good : {1.0, belowTwo}) {
            check({"factor", factor(good), {{factorName, good}}});
        }
        for (const double bad : {0.0, -0.0, -1.0, kInf, -kInf, kNaN}) {
            check({"bad slope", slope(bad), {}, kBadSlope});
        }
        for (const double bad : {2.0, std::nextafter(1.0, 0.0), 0.0, -1.5, kInf, kNaN}) {
            check({"bad factor", factor(bad), {}, {}, true});
        }
    }
}

TEST(FimathSetters, TakeFormatsInDoubles) {
    const struct {
        RealPoint format;
        int word, exponent;
    } good[] = {
        {{12, 9}, 12, -9}, {{12.9, 9.9}, 12, -9},    {{1, -3.5}, 1, 3},         {{65535.5, 0}, 65535, 0},
        {{8, kNaN}, 8, 0}, {{8, 1e300}, 8, INT_MIN}, {{8, -1e300}, 8, INT_MAX}, {{8, kInf}, 8, INT_MIN},
    };
    for (const Register& r : kRegisters) {
        const std::string length = r.name + "WordLength";
        const auto set = [&](RealPoint format) { return [&r, format](fimath& f) { (f.*r.setFormat)(format); }; };
        for (const auto& row : good) {
            check({"good", set(row.format), {{length, row.word}, {r.name + "FixedExponent", row.exponent}}});
        }
        for (const double bad : {0.9, 0.0, -1.0, -1e300, -kInf, kNaN}) {
            check({"small", set({bad, 1}), {}, tooSmall(length)});
        }
        for (const double bad : {65536.0, 4294967304.0, 1e300, kInf}) {
            check({"big", set({bad, 1}), {}, tooBig(length)});
        }
    }
}

RuleFields cStyle(int wordLength) {
    return {{"RoundMode", 3},
            {"OverflowMode", 1},
            {"ProductMode", 1},
            {"ProductWordLength", wordLength},
            {"SumWordLength", wordLength},
            {"SumMode", 1},
            {"CastBeforeSum", 1}};
}

TEST(FimathCStyle, IsSetFromAWordLength) {
    for (const int length : {1, 8, 65535}) {
        check({"good", [=](fimath& f) { f.setCStyle(length); }, cStyle(length)});
    }
    check({"zero", [](fimath& f) { f.setCStyle(0); }, {}, kSmallProduct});
    check({"big", [](fimath& f) { f.setCStyle(65536); }, {}, kBigProduct});
}

TEST(FimathCStyle, IsSetFromAHostValue) {
    const Raised bad{"fixedpoint:fimath:cstyle:badvalue", "Word length must be scalar integer."};
    struct HostRow {
        const char* what;
        hvArray* value;
        RuleFields changes;
        Raised raised = {};
    };
    hvArray* const wide = hvCreateNumericMatrix(1, 1, hvUINT64_CLASS);
    hvGetTypedData<std::uint64_t>(wide)[0] = 0x100000008u;
    const HostRow rows[] = {
        {"true", hvCreateLogicalScalar(true), cStyle(32)},
        {"false", hvCreateLogicalScalar(false), {}},
        {"empty", hvCreateDoubleMatrix(0, 0), cStyle(32)},
        {"empty row", hvCreateDoubleMatrix(0, 3), cStyle(32)},
        {"empty logical", hvCreateLogicalMatrix(0, 0), cStyle(32)},
        {"eight", hvCreateDoubleScalar(8), cStyle(8)},
        {"eight and more", hvCreateDoubleScalar(8.99), cStyle(8)},
        {"one and more", hvCreateDoubleScalar(1.5), cStyle(32)},
        {"next to nothing", hvCreateDoubleScalar(-0.5), {}},
        {"complex", hvCreateComplexScalar(16, 2), cStyle(16)},
        {"negative", hvCreateDoubleScalar(-3), {}, kSmallProduct},
        {"big", hvCreateDoubleScalar(65536), {}, kBigProduct},
        {"2^32 + 8", wide, {}, kBigProduct},
        {"infinite", hvCreateDoubleScalar(kInf), {}, kBigProduct},
        {"NaN", hvCreateDoubleScalar(kNaN), {}, bad},
        {"row", doubles(1, 2, {8, 16}).release(), {}, bad},
        {"text", hvCreateString("8"), {}, bad},
        {"empty text", hvCreateString(""), {}, bad},
        {"cell", hvCreateCellMatrix(1, 1), {}, bad},
        {"nothing", nullptr, {}, bad},
    };
    for (const HostRow& row : rows) {
        const hvArrayOwner owner(row.value);
        check({row.what, [&](fimath& f) { f.setCStyle(row.value); }, row.changes, row.raised});
    }
}

TEST(FimathCStyle, IsRecognisedByAllItsProperties) {
    const std::vector<std::pair<Action, bool>> rows = {
        {[](fimath&) {}, true},
        {[](fimath& f) { f.setRoundMode(Round::Nearest); }, false},
        {[](fimath& f) { f.setOverflowMode(Overflow::Saturate); }, false},
        {[](fimath& f) { f.setProductMode(Rule::KeepMSB); }, false},
        {[](fimath& f) { f.setSumMode(Rule::FullPrecision); }, false},
        {[](fimath& f) { f.setProductWordLength(9); }, false},
        {[](fimath& f) { f.setSumWordLength(9); }, false},
        {[](fimath& f) { f.setCastBeforeSum(false); }, false},
        {[](fimath& f) { f.setMaxSumWordLength(9); }, true},
        {[](fimath& f) { f.setSumFractionLength(3); }, true},
        {[](fimath& f) { f.setProductBias(2); }, true},
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        fimath rules = unusualRules();
        EXPECT_FALSE(rules.isCStyle());
        rules.setCStyle(8);
        rows[i].first(rules);
        EXPECT_EQ(rules.isCStyle(), rows[i].second) << "row " << i;
        const hvArrayOwner asArray(rules.getCStyle());
        EXPECT_TRUE(hvIsDouble(asArray.get()) && hvIsScalar(asArray.get()));
        EXPECT_EQ(hvGetScalar(asArray.get()), rows[i].second ? 1.0 : 0.0);
    }
}

TEST(FimathConstruction, StoresAllTwelveValuesUnchecked) {
    const RuleFields expected = changed(factoryFields(), {{"RoundMode", 17},
                                                          {"OverflowMode", 1},
                                                          {"PrecisionMode", 1},
                                                          {"ProductMode", 2},
                                                          {"ProductWordLength", -4},
                                                          {"MaxProductWordLength", 0},
                                                          {"ProductFixedExponent", INT_MAX},
                                                          {"SumMode", 3},
                                                          {"SumWordLength", 70000},
                                                          {"MaxSumWordLength", 6},
                                                          {"SumFixedExponent", 9},
                                                          {"CastBeforeSum", 0}});
    const fimath made(static_cast<Round>(17), Overflow::Wrap, Precision::Stepped, Rule::KeepMSB, -4, 0, INT_MIN,
                      Rule::SpecifyPrecision, 70000, 6, -9, false);
    EXPECT_EQ(fieldsOf(made), expected);
    fimath later = unusualRules();
    later.set(static_cast<Round>(17), Overflow::Wrap, Precision::Stepped, Rule::KeepMSB, -4, 0, INT_MIN,
              Rule::SpecifyPrecision, 70000, 6, -9, false);
    EXPECT_EQ(fieldsOf(later), expected);
    later.set(unusualRules());
    EXPECT_EQ(fieldsOf(later), fieldsOf(unusualRules()));
    later = made;
    EXPECT_EQ(fieldsOf(later), expected);
    // Modes beyond the enumerations have no text and no lines of their own.
    EXPECT_EQ(taken(made.getRoundModeString()), "");
    later.setProductMode(static_cast<Rule>(9));
    later.setSumMode(static_cast<Rule>(-1));
    EXPECT_EQ(later.toString(), "fimath('RoundMode', '',...\n'OverflowMode', 'wrap',...\n'CastBeforeSum', false)");
    EXPECT_TRUE(later.isequal(fimath(later)));
}

/// The scaling of a register.
struct Scaling {
    double factor, bias;
};
fimath rulesOf(std::size_t product, std::size_t sum, const Scaling& productScaling, const Scaling& sumScaling,
               bool casts) {
    fimath rules(Round::Convergent, Overflow::Saturate, Precision::Stepped, static_cast<Rule>(product), 11, 22, 33,
                 static_cast<Rule>(sum), 44, 55, -6, casts);
    rules.setProductSlopeAdjustmentFactor(productScaling.factor);
    rules.setProductBias(productScaling.bias);
    rules.setSumSlopeAdjustmentFactor(sumScaling.factor);
    rules.setSumBias(sumScaling.bias);
    return rules;
}

TEST(FimathQueries, DeriveSlopesAndFormats) {
    const fimath rules = unusualRules();
    EXPECT_EQ(rules.getProductFractionLength(), 33);
    EXPECT_EQ(rules.getSumFractionLength(), -6);
    EXPECT_EQ(rules.getProductSlope(), 1.25 / 8589934592.0);
    EXPECT_EQ(rules.getSumSlope(), 96.0);
    EXPECT_EQ(rules.getProductFormat(), (RealPoint{11, 33}));
    EXPECT_EQ(rules.getSumFormat(), (RealPoint{44, -6}));
    const std::array<std::pair<Scaling, bool>, 5> rows = {
        {{{1, 0}, false}, {{1, -0.0}, false}, {{1.5, 0}, true}, {{1, 1e-300}, true}, {{1, kNaN}, true}}};
    for (const auto& [product, isProductScaled] : rows) {
        for (const auto& [sum, isSumScaled] : rows) {
            const fimath scaled = rulesOf(3, 3, product, sum, false);
            EXPECT_EQ(scaled.isProductSlopeBiasScaled(), isProductScaled);
            EXPECT_EQ(scaled.isSumSlopeBiasScaled(), isSumScaled);
        }
    }
    fimath extreme = rules;
    extreme.setProductFixedExponent(INT_MAX);
    extreme.setSumFixedExponent(INT_MIN);
    EXPECT_EQ(extreme.getProductSlope(), kInf);
    EXPECT_EQ(extreme.getSumSlope(), 0.0);
}

TEST(FimathComparison, LooksAtWhatIsInForceOrAtAllButScaling) {
    enum class Part { always, product, sum, never };
    constexpr std::array<bool, 4> none = {};
    // Change, the register in which it counts, the sum or product modes in which it is in force, and whether it counts
    // as a property.
    const struct {
        const char* what;
        Action change;
        Part part;
        std::array<bool, 4> isInForce;  // FullPrecision, KeepLSB, KeepMSB, SpecifyPrecision
        bool isProperty;
    } rows[] = {
        {"round", [](fimath& f) { f.setRoundMode(Round::Ceil); }, Part::always, none, true},
        {"overflow", [](fimath& f) { f.setOverflowMode(Overflow::Saturate); }, Part::always, none, true},
        {"cast", [](fimath& f) { f.setCastBeforeSum(true); }, Part::always, none, true},
        {"product mode",
         [](fimath& f) { f.setProductMode(f.getProductMode() == Rule::KeepLSB ? Rule::KeepMSB : Rule::KeepLSB); },
         Part::always, none, true},
        {"sum mode", [](fimath& f) { f.setSumMode(f.getSumMode() == Rule::KeepLSB ? Rule::KeepMSB : Rule::KeepLSB); },
         Part::always, none, true},
        {"PW", [](fimath& f) { f.setProductWordLength(2); }, Part::product, {false, true, true, false}, true},
        {"MPW", [](fimath& f) { f.setMaxProductWordLength(2); }, Part::product, {false, true, true, false}, true},
        {"PF", [](fimath& f) { f.setProductFractionLength(2); }, Part::product, {false, true, true, true}, true},
        {"SW", [](fimath& f) { f.setSumWordLength(2); }, Part::sum, {false, true, true, false}, true},
        {"MSW", [](fimath& f) { f.setMaxSumWordLength(2); }, Part::sum, {false, true, true, false}, true},
        {"SF", [](fimath& f) { f.setSumFractionLength(2); }, Part::sum, {false, true, true, true}, true},
        {"precision", [](fimath& f) { f.setPrecisionMode(Precision::Arbitrary); }, Part::never, none, false},
        {"product factor", [](fimath& f) { f.setProductSlopeAdjustmentFactor(1); }, Part::never, none, false},
        {"product bias", [](fimath& f) { f.setProductBias(kNaN); }, Part::never, none, false},
        {"sum factor", [](fimath& f) { f.setSumSlopeAdjustmentFactor(1); }, Part::never, none, false},
        {"sum bias", [](fimath& f) { f.setSumBias(kNaN); }, Part::never, none, false},
        {"nothing", [](fimath&) {}, Part::never, none, false},
    };
    for (std::size_t product = 0; product < 4; ++product) {
        for (std::size_t sum = 0; sum < 4; ++sum) {
            fimath a = unusualRules();
            a.setProductMode(static_cast<Rule>(product));
            a.setSumMode(static_cast<Rule>(sum));
            for (const auto& row : rows) {
                SCOPED_TRACE(std::string(row.what) + ", modes " + std::to_string(product) + std::to_string(sum));
                fimath b = a;
                row.change(b);
                const bool differs = row.part == Part::always ||
                                     (row.part == Part::product && row.isInForce[product]) ||
                                     (row.part == Part::sum && row.isInForce[sum]);
                EXPECT_EQ(a.isequal(b), !differs);
                EXPECT_EQ(b.isequal(a), !differs);
                EXPECT_EQ(a.ispropequal(b), !row.isProperty);
                EXPECT_EQ(b.ispropequal(a), !row.isProperty);
            }
        }
    }
}

// Those of numbers are read through the host (binding/fimath).
TEST(FimathTexts, NameTheModes) {
    const fimath rules = unusualRules();
    EXPECT_EQ(taken(rules.getRoundModeString()) + taken(rules.getOverflowModeString()), "fixwrap");
    EXPECT_EQ(taken(rules.getProductModeString()) + taken(rules.getSumModeString()), "KeepMSBSpecifyPrecision");
    EXPECT_EQ(taken(rules.getCastBeforeSumString()), "0");
}

TEST(FimathTexts, GoThereAndBackExceptForScaling) {
    EXPECT_EQ(taken(unusualRules().convertToString()),
              "fix\nwrap\nKeepMSB\n11\n22\n33\nSpecifyPrecision\n44\n55\n-6\n0\n");
    constexpr unsigned seed = 23;
    std::mt19937 random(seed);
    const auto anyInt = [&random] {
        const int edges[] = {0, 1, -1, 65535, INT_MAX, INT_MIN, INT_MIN + 1};
        const auto value = static_cast<int>(random());
        return value % 4 == 0 ? edges[random() % 7] : value;
    };
    for (int i = 0; i < 2000; ++i) {
        fimath rules(static_cast<Round>(random() % 6), static_cast<Overflow>(random() % 2),
                     static_cast<Precision>(random() % 2), static_cast<Rule>(random() % 4), anyInt(), anyInt(),
                     anyInt(), static_cast<Rule>(random() % 4), anyInt(), anyInt(), anyInt(), random() % 2 == 0);
        RuleFields expected = fieldsOf(rules);
        expected["PrecisionMode"] = 0;
        rules.setProductSlopeAdjustmentFactor(1.5);
        rules.setSumBias(-1);
        EXPECT_EQ(fieldsOf(*fimath::string2Fimath(taken(rules.convertToString()).c_str())), expected)
            << "case " << i << " of seed " << seed;
    }
}

TEST(FimathTexts, AreRefusedWhenAModeOrALineIsMissing) {
    const auto message = [](const std::string& text) {
        return Raised{"fixedpoint:fimath:string2Fimath", "\nThe '" + text + "' enumerated value is invalid.\n"};
    };
    const std::string good = "ceil\nwrap\nKeepLSB\n1\n2\n3\nKeepMSB\n4\n5\n6\n1\n";
    const std::string endless(100000, 'x');
    const struct {
        std::string text;
        Raised raised;
    } rows[] = {
        {good, {}},
        {good + "more\n", {}},
        {good.substr(0, good.size() - 1), {}},
        {"Ceil\nwrap\nKeepLSB\n1\n2\n3\nKeepMSB\n4\n5\n6\n1\n", message("Ceil")},
        {"ceil\nwrap \nKeepLSB\n1\n2\n3\nKeepMSB\n4\n5\n6\n1\n", message("wrap ")},
        {"ceil\nwrap\n1\n1\n2\n3\nKeepMSB\n4\n5\n6\n1\n", message("1")},
        {"ceil\nwrap\nKeepLSB\n1\n2\n3\nKeep\n4\n5\n6\n1\n", message("Keep")},
        {"ceil\nwrap\nKeepLSB\n1\n2\n3\n\n4\n5\n6\n1\n", message("")},
        {endless, message(endless)},
        {"%s%n%s%n\n" + good, message("%s%n%s%n")},
        {std::string("\n\n\n\n\n\n\n\n\n\n\n\n"), message("")},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text.substr(0, 60));
        std::unique_ptr<fimath> made;
        EXPECT_EQ(raisedBy([&] { made = fimath::string2Fimath(row.text.c_str()); }), row.raised);
        EXPECT_EQ(made == nullptr, row.raised != Raised{});
        if (made != nullptr) {
            EXPECT_EQ(taken(made->convertToString()), good);
        }
    }
    EXPECT_EQ(raisedBy([] { fimath::string2Fimath(nullptr); }), message(""));
    // Whole lines from the end, and the text as it stands cut anywhere: without its eleventh line it is refused.
    for (std::size_t length = 0; length < good.size() - 2; ++length) {
        const std::string cut = good.substr(0, length);
        EXPECT_EQ(raisedBy([&] { fimath::string2Fimath(cut.c_str()); }).id, "fixedpoint:fimath:string2Fimath") << cut;
    }
    const std::string odd = "ceil\nwrap\nKeepLSB\n12 bits\nnone\n" + std::string(5000, '9') + "\nKeepMSB\n-" +
                            std::string(5000, '9') + "\n\n 7\n-1\n";
    EXPECT_EQ(taken(fimath::string2Fimath(odd.c_str())->convertToString()),
              "ceil\nwrap\nKeepLSB\n12\n0\n2147483647\nKeepMSB\n-2147483648\n0\n7\n1\n");
}

/// The scalings that show in texts.
constexpr std::array<Scaling, 3> kScalings = {{{1, 0}, {1.25, 0}, {1, -0.5}}};

/// Rows by mode; the last mode has a text for each scaling.
struct RegisterTexts {
    std::array<const char*, 3> byMode;
    std::array<const char*, 3> specified;
    std::string of(std::size_t mode, std::size_t scaling) const { return mode < 3 ? byMode[mode] : specified[scaling]; }
};

constexpr RegisterTexts kProductExpressions = {
    {",...\n'ProductMode','FullPrecision',...\n'MaxProductWordLength', 22",
     ",...\n'ProductMode', 'KeepLSB',...\n'ProductWordLength', 11",
     ",...\n'ProductMode', 'KeepMSB',...\n'ProductWordLength', 11"},
    {", 'ProductMode', 'SpecifyPrecision',...\n'ProductWordLength', 11,...\n'ProductFractionLength', 33",
     ", 'ProductMode', 'SpecifyPrecision',...\n'ProductWordLength', 11,...\n'ProductSlopeAdjustmentFactor', 1.25,...\n"
     "'ProductFixedExponent', -33,...\n'ProductBias', 0",
     ", 'ProductMode', 'SpecifyPrecision',...\n'ProductWordLength', 11,...\n'ProductSlopeAdjustmentFactor', 1,...\n"
     "'ProductFixedExponent', -33,...\n'ProductBias', -0.5"}};
constexpr RegisterTexts kSumExpressions = {
    {",...\n'SumMode','FullPrecision',...\n'MaxSumWordLength', 55",
     ",...\n'SumMode', 'KeepLSB',...\n'SumWordLength', 44", ",...\n'SumMode', 'KeepMSB',...\n'SumWordLength', 44"},
    {",...\n'SumMode', 'SpecifyPrecision',...\n'SumWordLength', 44,...\n'SumFractionLength', -6",
     ",...\n'SumMode', 'SpecifyPrecision',...\n'SumWordLength', 44,...\n'SumSlopeAdjustmentFactor', 1.25,...\n"
     "'SumFixedExponent', 6,...\n'SumBias', 0",
     ",...\n'SumMode', 'SpecifyPrecision',...\n'SumWordLength', 44,...\n'SumSlopeAdjustmentFactor', 1,...\n"
     "'SumFixedExponent', 6,...\n'SumBias', -0.5"}};
constexpr RegisterTexts kProductDisplays = {
    {"\n           ProductMode: FullPrecision\n  MaxProductWordLength: 22",
     "\n           ProductMode: KeepLSB\n     ProductWordLength: 11",
     "\n           ProductMode: KeepMSB\n     ProductWordLength: 11"},
    {"\n           ProductMode: SpecifyPrecision\n     ProductWordLength: 11\n ProductFractionLength: 33",
     "\n           ProductMode: SpecifyPrecision\n     ProductWordLength: 11\n          ProductSlope: 1.4552e-10"
     "\n           ProductBias: 0",
     "\n           ProductMode: SpecifyPrecision\n     ProductWordLength: 11\n          ProductSlope: 1.1642e-10"
     "\n           ProductBias: -0.5"}};
constexpr RegisterTexts kSumDisplays = {
    {"\n               SumMode: FullPrecision\n      MaxSumWordLength: 55",
     "\n               SumMode: KeepLSB\n         SumWordLength: 44",
     "\n               SumMode: KeepMSB\n         SumWordLength: 44"},
    {"\n               SumMode: SpecifyPrecision\n         SumWordLength: 44\n     SumFractionLength: -6",
     "\n               SumMode: SpecifyPrecision\n         SumWordLength: 44\n              SumSlope: 80"
     "\n               SumBias: 0",
     "\n               SumMode: SpecifyPrecision\n         SumWordLength: 44\n              SumSlope: 64"
     "\n               SumBias: -0.5"}};

TEST(FimathTexts, ShowWhatIsInForce) {
    for (std::size_t product = 0; product < 4; ++product) {
        for (std::size_t sum = 0; sum < 4; ++sum) {
            for (std::size_t ps = 0; ps < kScalings.size(); ++ps) {
                for (std::size_t ss = 0; ss < kScalings.size(); ++ss) {
                    for (const bool casts : {false, true}) {
                        const fimath rules = rulesOf(product, sum, kScalings[ps], kScalings[ss], casts);
                        const std::string cast = casts ? "true" : "false";
                        EXPECT_EQ(rules.toString(), "fimath('RoundMode', 'convergent',...\n'OverflowMode', 'saturate'" +
                                                        kProductExpressions.of(product, ps) +
                                                        kSumExpressions.of(sum, ss) +
                                                        (sum == 0 ? ")" : ",...\n'CastBeforeSum', " + cast + ")"));
                        const HostCapture capture;
                        rules.disp();
                        EXPECT_EQ(capture.printed,
                                  "\n             RoundMode: convergent\n          OverflowMode: saturate" +
                                      kProductDisplays.of(product, ps) + kSumDisplays.of(sum, ss) +
                                      (sum == 0 ? "\n" : "\n         CastBeforeSum: " + cast + "\n"));
                    }
                }
            }
        }
    }
}

// Through the host

class TypeClass : public OMClass {
 public:
    TypeClass() { setName("numerictype", true); }
    void destroyObject(OMInterface* interface) override { EmbeddedTypeSystem::Type::endWithHandle(interface); }
};

/// The leak checker sees whether the object ends with its value.
template <class Object>
void expectAloneKept(bool isWorkspace) {
    auto object = std::make_unique<Object>();
    const Object* const address = object.get();
    const hvArrayOwner value(isWorkspace ? Object::convertToExternalVelmarArray(std::move(object))
                                         : Object::convertToInternalVelmarArray(std::move(object)));
    EXPECT_STREQ(hvGetClassName(value.get()), Object::getVelmarPackageClassName());
    const auto* const handle = static_cast<OMInterface*>(hvGetHandle(value.get()));
    EXPECT_EQ(handle->getNumberOfReferences(), 1);
    EXPECT_EQ(handle->getNumberOfExternalReferences(), isWorkspace ? 1 : 0);
    EXPECT_EQ(&Object::convertFromVelmarArray(value.get()), address);
}

/// The classes "fimath" and "globalfimath" in the package, for the time of a test.
class FimathHost : public ::testing::Test {
 protected:
    void SetUp() override {
        mClass = add("fimath", nullptr);
        mGlobalClass = add("globalfimath", mClass);
    }
    void TearDown() override { embedded::terminateEmbeddedPackage(); }

    static RulesClass* add(const char* name, OMClass* superClass) {
        auto made = std::make_unique<RulesClass>(name);
        made->setSuperClass(superClass);
        embedded::getEmbeddedPackage()->addLocalClass(made.get());
        return made.release();
    }
    /// A host value around a new handle, which it alone keeps.
    static hvArrayOwner valueOf(OMClass* itsClass, const fimath* rules) {
        const Reference handle(new OMInterface(const_cast<fimath*>(rules), itsClass, nullptr));
        return hvArrayOwner(omdtConvertToVelmar(OMTypeRepository::getType("handle", true), handle.get()));
    }

    RulesClass* mClass = nullptr;
    RulesClass* mGlobalClass = nullptr;
};

TEST_F(FimathHost, TakesObjectsOutOfValuesOfItsClass) {
    EXPECT_STREQ(fimath::getVelmarClassName(), "fimath");
    EXPECT_STREQ(fimath::getVelmarPackageClassName(), "embedded.fimath");
    for (OMClass* itsClass : {mClass, mGlobalClass}) {
        const hvArrayOwner value = valueOf(itsClass, new fimath(unusualRules()));
        auto* const handle = static_cast<OMInterface*>(hvGetHandle(value.get()));
        const int references = handle->getNumberOfReferences();
        const fimath copy(value.get());
        EXPECT_EQ(fieldsOf(copy), fieldsOf(unusualRules()));
        EXPECT_EQ(&fimath::convertFromVelmarArray(value.get()), fimath::getObjFromPrhs(handle));
        EXPECT_EQ(handle->getNumberOfReferences(), references);
    }
    const Raised bad{"fixedpoint:fimath:mustBeFimath", "This parameter must be a fimath."};
    auto stranger = std::make_unique<OMClass>();
    stranger->setName("stranger", true);
    embedded::getEmbeddedPackage()->addLocalClass(stranger.get());
    const hvArrayOwner values[] = {nullptr,
                                   hvArrayOwner(hvCreateDoubleMatrix(0, 0)),
                                   hvArrayOwner(hvCreateDoubleScalar(1)),
                                   text("embedded.fimath"),
                                   hvArrayOwner(hvCreateStructMatrix(1, 1, 0, nullptr)),
                                   valueOf(stranger.release(), nullptr),
                                   valueOf(mClass, nullptr)};
    for (const hvArrayOwner& value : values) {
        EXPECT_EQ(raisedBy([&] { fimath rules(value.get()); }), bad) << hvGetClassName(value.get());
        EXPECT_EQ(raisedBy([&] { fimath::convertFromVelmarArray(value.get()); }), bad);
    }
}

TEST_F(FimathHost, PutsObjectsIntoValuesThatAloneKeepThem) {
    embedded::getEmbeddedPackage()->addLocalClass(new TypeClass);
    for (const bool isWorkspace : {false, true}) {
        expectAloneKept<fimath>(isWorkspace);
        expectAloneKept<EmbeddedTypeSystem::NumericType>(isWorkspace);
    }

    embedded::terminateEmbeddedPackage();
    EXPECT_EQ(raisedBy([] {
                  hvDestroyArray(fimath::convertToInternalVelmarArray(std::make_unique<fimath>(unusualRules())));
              }).id,
              "fixedpoint:fimath:notRegistered");
}

TEST_F(FimathHost, TellsListenersOfNewValuesByName) {
    for (const auto& [name, type] : {std::pair{"SumWordLength", "int32"}, {"SumBias", "double"}, {"Text", "string"}}) {
        mClass->addProperty(std::make_unique<ValuelessProperty>(name, OMTypeRepository::getType(type, true)));
    }
    const Reference handle(new OMInterface(new fimath(unusualRules()), mClass, nullptr));
    const EventTexts seen(handle.get());
    fimath::fimathNotifyFixedPropEvent(handle.get(), -12, "SumWordLength");
    fimath::fimathNotifyFixedPropEvent(handle.get(), 0.25, "SumBias");
    fimath::fimathNotifyFixedPropsStringPropEvent(handle.get(), "2^-3", "Text");
    fimath::fimathNotifyFixedPropEvent(handle.get(), 1, "NoSuchProperty");
    EXPECT_EQ(seen.get(),
              (std::vector<std::string>{"SumWordLengthPostSet -12", "SumBiasPostSet 0.250000", "TextPostSet 2^-3"}));
}

/// Every test starts without a global object and without handles, and puts back what it found.
class GlobalFimath : public ::testing::Test {
 protected:
    void SetUp() override {
        ASSERT_EQ(fimath::getGlobalFimathRefCount(), 0u) << "another test left a handle counted";
        fimath::resetGlobalFimath();
    }
    void TearDown() override {
        while (fimath::getGlobalFimathRefCount() != 0) {
            fimath::decGlobalFimathRefCount();
        }
        fimath::setGlobalFimath(mBefore);
    }

    const fimath mBefore = fimath::getGlobalFimath();
};

TEST_F(GlobalFimath, IsMadeFromFactoryValuesByItsFirstUser) {
    EXPECT_EQ(fieldsOf(fimath::getGlobalFimath()), factoryFields());
    fimath::resetGlobalFimath();
    // Not from the object of two modes.
    EXPECT_EQ(fieldsOf(fimath(Round::Ceil, Overflow::Wrap)),
              changed(factoryFields(), {{"RoundMode", 0}, {"OverflowMode", 1}}));
    fimath first;
    EXPECT_EQ(fieldsOf(first), factoryFields());
    // It is a copy of the first object, with its own life.
    first.setRoundMode(Round::Ceil);
    EXPECT_NE(&fimath::getGlobalFimath(), &first);
    EXPECT_EQ(fieldsOf(fimath::getGlobalFimath()), factoryFields());
}

TEST_F(GlobalFimath, IsCopiedByNewObjects) {
    fimath::setGlobalFimath(unusualRules());
    EXPECT_EQ(fieldsOf(fimath()), fieldsOf(unusualRules()));
    EXPECT_EQ(fieldsOf(fimath(Round::Convergent, Overflow::Saturate)),
              changed(fieldsOf(unusualRules()), {{"RoundMode", 1}, {"OverflowMode", 0}}));
    // A change of the object shows in what is made from then on.
    fimath::getGlobalFimath().setSumBias(7);
    EXPECT_EQ(fimath().getSumBias(), 7);
    fimath::resetGlobalFimath();
    EXPECT_EQ(fieldsOf(fimath()), factoryFields());
}

TEST_F(GlobalFimath, ChangesInPlaceWhileHandlesAreCounted) {
    fimath::incGlobalFimathRefCount();
    fimath::incGlobalFimathRefCount();
    EXPECT_EQ(fimath::getGlobalFimathRefCount(), 2u);
    const fimath& seen = fimath::getGlobalFimath();
    fimath::setGlobalFimath(unusualRules());
    EXPECT_EQ(fieldsOf(seen), fieldsOf(unusualRules()));
    fimath::resetGlobalFimath();
    EXPECT_EQ(fieldsOf(seen), factoryFields());
    fimath::decGlobalFimathRefCount();
    fimath::setGlobalFimath(unusualRules());
    EXPECT_EQ(fieldsOf(seen), fieldsOf(unusualRules()));
    fimath::resetGlobalFimathToFactory();
    EXPECT_EQ(fieldsOf(seen), factoryFields());
    EXPECT_EQ(&seen, &fimath::getGlobalFimath());
    for (const bool isCounted : {true, false}) {
        fimath::setGlobalFimath(unusualRules());
        fimath::setGlobalFimath(fimath::getGlobalFimath());
        EXPECT_EQ(fieldsOf(fimath::getGlobalFimath()), fieldsOf(unusualRules())) << isCounted;
        while (fimath::getGlobalFimathRefCount() != 0) {
            fimath::decGlobalFimathRefCount();
        }
    }
}

TEST_F(GlobalFimath, NeedNotExistToBeResetOrSet) {
    fimath::resetGlobalFimath();
    fimath::resetGlobalFimathToFactory();
    // A handle counted before there is an object.
    fimath::incGlobalFimathRefCount();
    fimath::resetGlobalFimath();
    fimath::resetGlobalFimathToFactory();
    fimath::setGlobalFimath(unusualRules());
    EXPECT_EQ(fieldsOf(fimath::getGlobalFimath()), fieldsOf(unusualRules()));
}

TEST(FimathDictionary, KeepsCopiesByTag) {
    const Raised unknown{"fixedpoint:fimath:InvalidFimathKey",
                         "The fimath dictionary does not contain a fimath with that tag."};
    const Raised unknownToGet{"VELMAR:class:MustBeHandle", "Parameter must be a handle."};
    const std::string tag = "dictionary test";
    ASSERT_FALSE(fimath::fimathMapKeyExists(tag));
    const std::size_t others = fimath::getFimathMap()->size();
    const fimath other(Round::Ceil, Overflow::Wrap);

    EXPECT_EQ(raisedBy([&] { fimath::getFromFimathMap(tag); }), unknownToGet);
    EXPECT_EQ(raisedBy([&] { fimath::replaceInFimathMap(tag, other); }), unknown);
    EXPECT_EQ(raisedBy([&] { fimath::eraseFromFimathMap(tag); }), unknown);
    EXPECT_EQ(fimath::getFimathMap()->size(), others);

    {
        const fimath source = unusualRules();
        fimath::addToFimathMap(tag, source);
    }
    EXPECT_TRUE(fimath::fimathMapKeyExists(tag));
    EXPECT_EQ(raisedBy([&] { fimath::addToFimathMap(tag, other); }),
              (Raised{"fixedpoint:fimath:FimathKeyExists",
                      "The fimath dictionary already contains a fimath with the tag: dictionary test"}));
    EXPECT_EQ(fieldsOf(fimath::getFromFimathMap(tag)), fieldsOf(unusualRules()));
    EXPECT_EQ(&fimath::getFimathMap()->at(tag), &fimath::getFromFimathMap(tag));

    fimath::replaceInFimathMap(tag, other);
    fimath::replaceInFimathMap(tag, fimath::getFromFimathMap(tag));
    EXPECT_EQ(fieldsOf(fimath::getFromFimathMap(tag)), fieldsOf(other));

    // Tags are any texts, in the order of their bytes; the empty one and one with a zero inside are tags too.
    const std::string tags[] = {"", std::string("a\0b", 3), "a"};
    for (const std::string& each : tags) {
        fimath::addToFimathMap(each, other);
    }
    std::vector<std::string> order;
    for (const auto& entry : *fimath::getFimathMap()) {
        order.push_back(entry.first);
    }
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_EQ(order.size(), others + 4);
    for (const std::string& each : tags) {
        fimath::eraseFromFimathMap(each);
    }
    fimath::eraseFromFimathMap(tag);
    EXPECT_EQ(raisedBy([&] { fimath::getFromFimathMap(tag); }), unknownToGet);
    EXPECT_EQ(fimath::getFimathMap()->size(), others);
}

}  // namespace
