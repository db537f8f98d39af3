// Square roots against a bit search in exact rationals with the specified roundings, and absolute values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <sstream>

#include "host/EnumStringType.h"
#include "logging/filog.h"
#include "tests/support/arrays_of_fi.h"
#include "tests/support/errors.h"
#include "tests/support/exact_arrays.h"
#include "tests/support/logs_of_fi.h"

namespace {

using Owner = std::unique_ptr<fi>;
using Warnings = std::vector<HostCapture::Warning>;
using ProductMode = fimath::ArithmeticModeEnum;

const NumericType kDouble = plainType(TypeMode::Double);
const NumericType kSingle = plainType(TypeMode::Single);
const NumericType kBoolean = plainType(TypeMode::Boolean);

NumericType scaledDoubleType(bool isSigned, int wordBits, int fractionBits) {
    return NumericType(TypeMode::ScaledDoubleBinaryPoint, isSigned, wordBits, 1.0, -fractionBits, 0.0);
}

Rational highOf(const NumericType& type) {
    return quantized(scaled(Rational(1), 9000), type, Rounding::floor, false);
}
Rational lowOf(const NumericType& type) {
    return quantized(scaled(Rational(-1), 9000), type, Rounding::floor, false);
}

// Square roots.

/// A root by its definition, with the counts of the intermediate squares.
class RootOracle {
 public:
    RootOracle(const NumericType& source, const NumericType& type, const fimath& rules, Rounding rounding, bool wraps)
        : mSource(source),
          mType(type),
          mProduct(productType(type, rules)),
          mRounding(rounding),
          mWraps(wraps),
          mCasts(rules.getCastBeforeSum()) {}

    Rational root(const Rational& x) {
        const Rational step = twoTo(mType.getFixedExponent());
        Rational found = 0;
        for (int bit = x == 0 ? 0 : mType.getWordLength() - (mType.isSigned() ? 1 : 0); bit > 0; --bit) {
            const Rational trial = found + scaled(step, bit - 1);
            if (square(trial, 2 * mType.getWordLength()) <= x) {
                found = trial;
            }
        }
        if (mRounding == Rounding::fix || mRounding == Rounding::floor || found >= highOf(mType)) {
            return found;
        }
        const Rational low = square(found, 2 * mType.getWordLength());
        const Rational next = found + step;
        if (mRounding == Rounding::ceil) {
            return x != 0 && low < x ? next : found;
        }
        const Rational high = square(next, mType.getWordLength());
        const Rational lowDistance = difference(x, low, mSource.getWordLength());
        const Rational highDistance = difference(high, x, 0);
        return highDistance < lowDistance ? next : found;
    }

    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;

 private:
    static NumericType productType(const NumericType& type, const fimath& rules) {
        const int full = 2 * type.getWordLength();
        const int exponent = 2 * type.getFixedExponent();
        const int wordBits = rules.getProductWordLength();
        switch (rules.getProductMode()) {
            case ProductMode::FullPrecision:
                return fixedType(type.isSigned(), full, -exponent);
            case ProductMode::KeepLSB:
                return fixedType(type.isSigned(), wordBits, -exponent);
            case ProductMode::KeepMSB:
                return fixedType(type.isSigned(), wordBits, -(full - wordBits + exponent));
            default:
                return fixedType(type.isSigned(), wordBits, rules.getProductFractionLength());
        }
    }
    /// A result in a cell that holds the product type and at least this many bits.
    Rational inCell(const Rational& exact, int bits) const {
        const int cellBits = std::max(bits, mProduct.getWordLength());
        return atPrecision(exact, cellBits <= 52 ? 53 : cellBits + 1);
    }
    Rational inProduct(const Rational& value) const { return quantized(value, mProduct, mRounding, mWraps); }

    Rational square(const Rational& root, int cellBits) {
        const Rational exact = inCell(root * root, cellBits);
        const Rational unbounded =
            quantized(exact, fixedType(true, 2000, mProduct.getFractionLength()), mRounding, false);
        overflows += unbounded > highOf(mProduct) || unbounded < lowOf(mProduct) ? 1U : 0U;
        underflows += exact != 0 && unbounded == 0 ? 1U : 0U;
        return inProduct(exact);
    }
    Rational difference(const Rational& a, const Rational& b, int cellBits) const {
        const Rational left = mCasts ? inProduct(a) : a;
        const Rational right = mCasts ? inProduct(b) : b;
        return inProduct(inCell(left - right, cellBits));
    }

    NumericType mSource;
    NumericType mType;
    NumericType mProduct;
    Rounding mRounding;
    bool mWraps;
    bool mCasts;
};

NumericType defaultRootType(const NumericType& type) {
    const int half = (type.getWordLength() + 1) / 2;
    const int integerBits = type.getWordLength() + type.getFixedExponent();
    const int halfIntegerBits = integerBits >= 0 ? (integerBits + 1) / 2 : integerBits / 2;
    return fixedType(type.isSigned(), half, half - halfIntegerBits);
}

std::string plural(std::uint64_t count, const std::string& what) {
    return std::to_string(count) + " product " + what + (count > 1 ? "s" : "") + " occurred in the fi sqrt operation.";
}

/// A value about as far from the squares of two roots.
Rational nearTie(Random& random, const NumericType& source, const NumericType& type) {
    const Rational step = twoTo(type.getFixedExponent());
    const Rational root = abs(randomValue(random, type));
    const Rational tie = root * (root + step) + scaled(step * step, -1);
    const Rational value = quantized(tie, source, Rounding::floor, false) +
                           scaled(Rational(random.oneIn(3) ? random.between(-1, 1) : 0), source.getFixedExponent());
    return value < 0 ? Rational(0) : value;
}

TEST(SquareRoot, IsTheOneOfTheBitSearchUnderEveryProductMode) {
    Random random(5601);
    for (int round = 0; round < 6000; ++round) {
        const NumericType source = randomFixedType(random, random.oneIn(2) ? 150 : 30, false);
        const bool hasDefaultType = random.oneIn(2);
        const NumericType type =
            hasDefaultType ? defaultRootType(source) : randomFixedType(random, random.oneIn(4) ? 100 : 20, false);
        const Rounding rounding = random.pick(kRoundings);
        const bool wraps = random.oneIn(2);
        fimath rules = rulesOf(rounding, wraps);
        rules.setProductMode(random.oneIn(3) ? ProductMode::FullPrecision
                                             : static_cast<ProductMode>(random.between(0, 3)));
        rules.setProductWordLength(random.oneIn(2) ? random.between(1, 30) : random.between(20, 80));
        rules.setProductFractionLength(2 * type.getFractionLength() + random.between(-6, 3));
        rules.setMaxProductWordLength(1000);
        rules.setCastBeforeSum(random.oneIn(2));
        Part values;
        for (int i = random.between(0, 4); i > 0; --i) {
            Rational value = random.oneIn(2) ? nearTie(random, source, type) : abs(randomValue(random, source));
            if (value > highOf(source)) {
                value = 0;
            }
            values.re.push_back(random.oneIn(6) ? Rational(0) : value);
        }
        const Owner x = arrayOf(values, source, rules);
        const Snapshot before = snapshotOf(*x);
        const bool logs = random.oneIn(2);
        std::ostringstream what;
        what << "seed " << random.seed() << " round " << round << ": " << source.tostring("") << " into "
             << type.tostring("") << (logs ? ", logging, " : ", ") << rules.toString();

        fi::setLogging(logs);
        Warnings seen;
        Owner result;
        {
            HostCapture host;
            result.reset(hasDefaultType ? x->sqrtBisection() : x->sqrtBisection(type));
            seen = host.warnings;
        }
        fi::setLogging(false);
        RootOracle oracle(source, type, rules, rounding, wraps);
        ASSERT_EQ(fieldsOf(result->getNumericType()), fieldsOf(type)) << what.str();
        ASSERT_EQ(result->numel(), values.re.size()) << what.str();
        for (std::size_t i = 0; i < values.re.size(); ++i) {
            ASSERT_EQ(exactValue(result->real(i)), oracle.root(values.re[i]))
                << what.str() << ", of " << text(values.re[i]);
        }
        Warnings wanted;
        const NumericType natural = defaultRootType(source);
        if (logs && (lowOf(natural) < lowOf(type) || highOf(natural) > highOf(type))) {
            wanted.push_back({"fi:sqrt:outputrangetoosmall",
                              "The range of the output type cannot represent the square root of the range of the input "
                              "type."});
        }
        if (logs && oracle.overflows > 0) {
            wanted.push_back({"fi:overflow", plural(oracle.overflows, "overflow")});
        }
        if (logs && oracle.underflows > 0) {
            wanted.push_back({"fi:underflow", plural(oracle.underflows, "underflow")});
        }
        ASSERT_EQ(seen.size(), wanted.size()) << what.str();
        ASSERT_EQ(seen, wanted) << what.str();
        ASSERT_EQ(snapshotOf(*x), before) << what.str();
    }
}

/// What the destroyed work objects of a root leave in the log map; nothing else does while it lives.
class LogMap {
 public:
    LogMap() {
        filog::clearglobalfilogs();
        embedded::setFeatureFiTagLogging(true);
        qlogger::setLogType(embedded::LogTypeEnum::WriteLogMap);
    }
    ~LogMap() {
        qlogger::setLogType({});
        embedded::setFeatureFiTagLogging(false);
        filog::clearglobalfilogs();
    }
    LogMap(const LogMap&) = delete;
    LogMap& operator=(const LogMap&) = delete;

    static std::string text() {
        std::ostringstream out;
        for (const auto& [key, log] : filog::getLogMap()) {
            out << key << ": max " << ::text(log.getMaxLog()) << ", min " << ::text(log.getMinLog()) << ", "
                << log.getNumberOfOverflows() << " overflows, " << log.getNumberOfUnderflows() << " underflows\n";
        }
        return out.str();
    }
};

/// Entries to be taken roots of: of short words all, of others such that roots and choices are close; sometimes values
/// outside the type; zeros of both signs.
std::vector<double> radicands(Random& random, const NumericType& source, const NumericType& type) {
    constexpr int kCounts[] = {0, 1, 17, 511, 512, 513, 1100};
    const bool isSequence = source.getWordLength() <= 10 && random.oneIn(3);
    const bool isTiny = random.oneIn(4);
    const bool hasZeros = random.oneIn(2);
    const bool isRaw = !isSequence && random.oneIn(6);
    const double step = std::ldexp(1.0, source.getFixedExponent());
    const double rootStep = std::ldexp(1.0, type.getFixedExponent());
    const double high = highOf(source).get_d();
    const int count = isSequence ? 1 << 10 : random.oneIn(6) ? random.pick(kCounts) : random.between(2, 5);
    const int maxBits = random.between(1, 26);
    std::vector<double> values;
    for (int i = 0; i < count; ++i) {
        double value = (isSequence ? i : random.between(0, 5)) * step;
        if (!isSequence && !isTiny) {
            // Next to a square, the floating-point root is that of the square. Halfway to the next square, the
            // distances to both are nearly equal.
            const double root = random.between(0, (1 << maxBits) - 1) * rootStep;
            const double near = root * root + (random.oneIn(2) ? root * rootStep : 0.0);
            value = (std::floor(near / step) + random.between(-1, 1)) * step;
        }
        value = value < 0.0 || value > high ? step : value;
        if (isRaw) {
            const double special = random.oneIn(3) ? std::numeric_limits<double>::quiet_NaN() : random.anyDouble();
            value = random.oneIn(6) ? std::fabs(special) : value * (1.0 + random.between(-9, 9) * 0x1p-52);
        }
        if (hasZeros && random.oneIn(6)) {
            value = random.oneIn(2) ? -0.0 : 0.0;
        }
        values.push_back(value);
    }
    return values;
}

// Entries wider than the word needs are searched bit by bit, which the test above compares with rationals.
TEST(SquareRoot, OfArraysAndAllTheirLogsAreThoseOfTheSearch) {
    Random random(5602);
    for (int round = 0; round < 4000; ++round) {
        const bool isWide = random.oneIn(3);
        const NumericType source = fixedType(random.oneIn(2), isWide ? random.between(11, 52) : random.between(1, 10),
                                             random.between(-4, isWide ? 40 : 12));
        // Also roots of more bits than the array code accepts.
        const int rootBits = isWide ? random.between(2, 28) : random.between(1, 8);
        const int rootFraction = source.getFractionLength() / 2 + random.between(-4, 4);
        const NumericType type = fixedType(random.oneIn(2), rootBits, rootFraction);
        fimath rules = rulesOf(random.pick(kRoundings), random.oneIn(2));
        rules.setCastBeforeSum(random.oneIn(2));
        if (random.oneIn(3)) {
            rules.setProductMode(ProductMode::SpecifyPrecision);
            rules.setProductWordLength(std::max(1, 2 * rootBits + random.between(-3, 4)));
            rules.setProductFractionLength(2 * rootFraction + random.between(-1, 3));
        }
        const std::vector<double> values = radicands(random, source, type);
        const Sizes sizes{values.size(), 1};
        fi x(sizes.data(), 2, source, rules, false, "x", true, Operation::Assignment, 0U);
        for (std::size_t i = 0; i < values.size(); ++i) {
            const_cast<number&>(x.real(i)).setvalue(values[i]);
        }
        x.setIndex(0);
        const Owner wide = withWideEntries(x);
        wide->setTag("x");
        wide->setIndex(0);
        for (const bool logs : {false, true}) {
            fi::setLogging(logs);
            struct Outcome {
                Owner roots;
                Warnings warnings;
                std::string logMap;
            };
            const auto rootsOf = [&](const fi& operand) {
                const LogMap map;
                HostCapture host;
                Outcome made{Owner(operand.sqrtBisection(type)), {}, LogMap::text()};
                made.warnings = host.warnings;
                made.roots->getQlogger().setTag("");
                return made;
            };
            const Outcome fast = rootsOf(x);
            const Outcome steps = rootsOf(*wide);
            fi::setLogging(false);
            std::ostringstream what;
            what << "seed " << random.seed() << " round " << round << ": " << source.tostring("") << " into "
                 << type.tostring("") << ", " << values.size() << " elements" << (logs ? ", logging, " : ", ")
                 << rules.toString();
            if (logs) {
                ASSERT_EQ(fast.roots->getIndex(), steps.roots->getIndex()) << what.str();
                ASSERT_EQ(x.getIndex(), wide->getIndex()) << what.str();
            }
            ASSERT_EQ(logOf(fast.roots->getQlogger()), logOf(steps.roots->getQlogger())) << what.str();
            ASSERT_EQ(fast.logMap, steps.logMap) << what.str();
            ASSERT_EQ(fast.warnings, steps.warnings) << what.str();
            for (std::size_t i = 0; i < values.size(); ++i) {
                ASSERT_TRUE(sameElement(fast.roots->real(i), steps.roots->real(i)))
                    << what.str() << ", of " << text(values[i]) << " at " << i << ": "
                    << text(fast.roots->realdouble(i)) << ", not " << text(steps.roots->realdouble(i));
            }
        }
    }
}

TEST(SquareRoot, FollowsTheDataTypeOfTheOperand) {
    const NumericType fixed = fixedType(true, 16, 8);
    const NumericType scaledDouble = scaledDoubleType(true, 16, 8);
    struct Row {
        const char* why;
        NumericType x, type, wanted;
        double value;
    };
    const Row rows[] = {
        {"a double keeps its type", kDouble, fixed, kDouble, std::sqrt(2.0)},
        {"a single too", kSingle, fixed, kSingle, std::sqrt(2.0f)},
        {"a float type is taken as told", fixed, kDouble, kDouble, std::sqrt(2.0)},
        {"also by another float", kDouble, kSingle, kSingle, std::sqrt(2.0f)},
        {"scaled doubles", scaledDouble, fixed, scaledDouble, std::sqrt(2.0)},
        {"a scaled double type stays one", fixed, scaledDouble, scaledDouble, std::sqrt(2.0)},
        {"fixed", fixed, fixed, fixed, 1.4140625},
    };
    for (const Row& row : rows) {
        const Owner result(scalar(2, row.x).sqrtBisection(row.type));
        EXPECT_EQ(fieldsOf(result->getNumericType()), fieldsOf(row.wanted)) << row.why;
        EXPECT_EQ(result->realdouble(), row.value) << row.why;
    }
    EXPECT_EQ(fieldsOf(scalar(1, kSingle).getNumericTypeForSqrtBisection()), fieldsOf(kSingle));
    EXPECT_EQ(fieldsOf(scalar(1, scaledDouble).getNumericTypeForSqrtBisection()),
              fieldsOf(scaledDoubleType(true, 8, 4)));
    EXPECT_EQ(fieldsOf(scalar(0, fixedType(true, 16, 15)).getNumericTypeForSqrtBisection()),
              fieldsOf(fixedType(true, 8, 7)));
}

TEST(SquareRoot, TakesRulesAndLeavesThoseOfTheOperandInForce) {
    const GlobalRules global(rulesOf(Rounding::ceil, false));
    const NumericType type = fixedType(true, 8, 0);
    for (const bool isLocal : {false, true}) {
        fi x = scalar(7, type, rulesOf(Rounding::floor, false), isLocal);
        x.setTag("x");
        const Owner own(x.sqrtBisection(type));
        EXPECT_EQ(own->realdouble(), isLocal ? 2.0 : 3.0);
        EXPECT_EQ(own->getTag(), "x");
        for (const Owner& result : {Owner(x.sqrtBisection(type, rulesOf(Rounding::nearest, true))),
                                    Owner(x.sqrtBisection(rulesOf(Rounding::nearest, true)))}) {
            EXPECT_EQ(result->realdouble(), 3.0);
            EXPECT_EQ(result->getFimathIsLocal(), isLocal);
            EXPECT_EQ(result->getRoundMode(),
                      isLocal ? embedded::RoundModeEnum::Nearest : embedded::RoundModeEnum::Ceil);
            EXPECT_EQ(result->getAssignmentQuantizer().getRoundMode(), result->getRoundMode());
        }
    }
    // A zero needs no square.
    const LoggingOn logging;
    fimath narrow = rulesOf(Rounding::floor, false);
    narrow.setProductMode(ProductMode::KeepLSB);
    narrow.setProductWordLength(1);
    const HostCapture host;
    EXPECT_EQ(Owner(scalar(0, type, narrow).sqrtBisection(type))->realdouble(), 0.0);
    EXPECT_TRUE(host.warnings.empty());
}

TEST(SquareRoot, RefusesInThisOrder) {
    const NumericType fixed = fixedType(true, 8, 0);
    const NumericType sloped = slopeBiasType(true, 8, 1.5, 0, 0.0);
    const NumericType noScaling(TypeMode::FixedUnspecified, true, 8, 1.0, 0, 0.0);
    NumericType noSign = fixed;
    noSign.setSignedness(TypeSign::Auto);
    NumericType neither = noScaling;
    neither.setSignedness(TypeSign::Auto);
    const Raised slope{"fixedpoint:fi:sqrt:binarypointonly",
                       "sqrt(A), sqrt(A,T) or sqrt(A,T,F) can only be calculated for FI object A  and numerictype T "
                       "when the scaling of A and T has a fractional slope of 1 and 0 bias (binary-point only "
                       "scaling)."};
    const Raised scaling{"fixedpoint:fi:sqrt:unspecifiedscaling",
                         "sqrt(A,T) or sqrt(A,T,F) is not supported when numerictype T has unspecified scaling."};
    const Raised sign{"fixedpoint:fi:sqrt:unspecifiedsign",
                      "sqrt(A,T) or sqrt(A,T,F) is not supported when numerictype T has unspecified sign."};
    const Raised complex{"fixedpoint:fi:sqrt:nocomplex", "The sqrt function is not supported for complex fi."};
    const Raised negative{"fixedpoint:fi:sqrt:nonegative",
                          "The sqrt function is not supported for negative valued fi."};
    const Raised boolean{"fixedpoint:fi:sqrt:nobooleansqrt",
                         "sqrt(A), sqrt(A,T) or sqrt(A,T,F) is not supported when A or T are of datatype boolean."};
    struct Row {
        fi x;
        NumericType type;
        Raised raised;
    };
    const Row rows[] = {
        {column({1}, {1}, fixed), sloped, slope},
        {scalar(3, sloped), neither, slope},
        {scalar(-1, fixed), neither, scaling},
        {column({1}, {1}, fixed), noSign, sign},
        {column({-1}, {1}, fixed), kBoolean, complex},
        {column({1, 2, -1}, fixed), kBoolean, negative},
        {column({1, 2, -1}, fixedType(true, 60, 0)), fixed, negative},
        {scalar(-1, kDouble), fixed, negative},
        {scalar(1, fixed), kBoolean, boolean},
        {scalar(1, kBoolean), fixed, boolean},
        {scalar(0, fixed), fixed, Raised()},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(raisedBy([&] { Owner(row.x.sqrtBisection(row.type)); }), row.raised);
    }
    fimath tight = rulesOf();
    tight.setMaxProductWordLength(15);
    EXPECT_EQ(raisedBy([&] { Owner(scalar(1, fixed).sqrtBisection(fixed, tight)); }).id,
              "fixedpoint:fi:MaxProductWordLengthExceeded");
}

TEST(SquareRoot, MethodsHaveNames) {
    EnumStringType* const methods = fi::getSquareRootMethodEnum();
    EXPECT_STREQ(methods->getName(), "SquareRootMethodEnum");
    EXPECT_STREQ(methods->getText(0), "Bisection");
    EXPECT_STREQ(methods->getText(1), "NewtonRaphson");
    EXPECT_EQ(methods->getEntries().size(), 2u);
    EXPECT_EQ(fi::getSquareRootMethodEnum(), methods);
}

// Absolute values.

TEST(AbsoluteValue, IsTheExactOneQuantizedIntoTheType) {
    Random random(5602);
    const LoggingOn logging;
    for (int round = 0; round < 2000; ++round) {
        const NumericType source = randomFixedType(random, 200, false);
        const NumericType type = random.oneIn(3) ? source : randomFixedType(random, 200, false);
        const Rounding rounding = random.pick(kRoundings);
        const bool wraps = random.oneIn(2);
        Part values;
        for (int i = random.between(0, 5); i > 0; --i) {
            values.re.push_back(random.oneIn(5) ? lowOf(source) : randomValue(random, source));
        }
        const fimath rules = rulesOf(rounding, wraps);
        const Owner x = arrayOf(values, source, rulesOf());
        const Snapshot before = snapshotOf(*x);
        const Owner result(x->realabs(type, rules));
        std::uint64_t overflows = 0;
        for (std::size_t i = 0; i < values.re.size(); ++i) {
            const Rational exact = abs(values.re[i]);
            const Rational unbounded =
                quantized(exact, fixedType(true, 2000, type.getFractionLength()), rounding, false);
            overflows += unbounded > highOf(type) ? 1U : 0U;
            ASSERT_EQ(exactValue(result->real(i)), quantized(exact, type, rounding, wraps))
                << "seed " << random.seed() << " round " << round << ": " << text(values.re[i]) << " of "
                << source.tostring("") << " into " << type.tostring("") << ' ' << nameOf(rounding)
                << (wraps ? " wrap" : " saturate");
        }
        ASSERT_EQ(result->getNoverflows(), overflows) << "seed " << random.seed() << " round " << round;
        ASSERT_EQ(result->getNoperations(), values.re.size());
        ASSERT_EQ(snapshotOf(*x), before);
    }
}

TEST(AbsoluteValue, FollowsTheDataTypeOfTheOperand) {
    const NumericType fixed = fixedType(true, 8, 4);
    NumericType noSign = fixed;
    noSign.setSignedness(TypeSign::Auto);
    NumericType scaledNoSign = scaledDoubleType(true, 8, 4);
    scaledNoSign.setSignedness(TypeSign::Auto);
    struct Row {
        const char* why;
        NumericType x, type, wanted;
        double value;
    };
    const Row rows[] = {
        {"a double stays one", kDouble, fixed, kDouble, 1.3},
        {"a single stays one", kSingle, fixed, kSingle, 1.3f},
        {"unless a float is told", kDouble, kSingle, kSingle, 1.3f},
        {"scaled double", scaledDoubleType(true, 16, 8), fixed, scaledDoubleType(true, 8, 4), 1.3},
        {"no sign means none", fixed, noSign, fixedType(false, 8, 4), 1.3125},
        {"also of a scaled double", fixed, scaledNoSign, scaledDoubleType(false, 8, 4), 1.3125},
        {"a float type", fixed, kDouble, kDouble, 1.3125},
        {"boolean", fixed, kBoolean, kBoolean, 1.0},
    };
    for (const Row& row : rows) {
        const Owner result(scalar(-1.3, row.x).realabs(row.type));
        EXPECT_EQ(fieldsOf(result->getNumericType()), fieldsOf(row.wanted)) << row.why;
        EXPECT_EQ(result->realdouble(), row.value) << row.why;
    }
}

TEST(AbsoluteValue, OfTheMostNegativeValueOverflows) {
    const NumericType byte = fixedType(true, 8, 0);
    const std::vector<double> values{-128, 5, -5};
    EXPECT_EQ(realParts(*Owner(column(values, byte, rulesOf(Rounding::floor, false)).realabs())),
              (std::vector<double>{127, 5, 5}));
    EXPECT_EQ(realParts(*Owner(column(values, byte, rulesOf(Rounding::floor, true)).realabs())),
              (std::vector<double>{-128, 5, 5}));
    const fi global = column(values, byte, rulesOf(), false);
    const Owner wrapped(global.realabs(rulesOf(Rounding::floor, true)));
    EXPECT_EQ(wrapped->realdouble(0), -128);
    EXPECT_FALSE(wrapped->getFimathIsLocal());
    EXPECT_EQ(wrapped->getAssignmentQuantizer().getOverflowMode(), embedded::OverflowModeEnum::Saturate);
}

TEST(AbsoluteValue, RefusesSlopesAndComplexData) {
    const NumericType fixed = fixedType(true, 8, 0);
    const NumericType sloped = slopeBiasType(true, 8, 1.5, 0, 0.0);
    const Raised slope{"fixedpoint:fi:abs:binarypointonly",
                       "realabs(A) and realabs(A,T) can only be calculated for FI object A and numerictype T when the "
                       "scaling of A and T have a fractional slope of 1 and 0 bias (binary-point only scaling)."};
    const Raised complex{"fixedpoint:fi:realabs:nocomplex", "The realabs function is not supported for complex fi."};
    const fi z = column({1}, {1}, fixed);
    EXPECT_EQ(raisedBy([&] { Owner(z.realabs(sloped)); }), slope);
    EXPECT_EQ(raisedBy([&] { Owner(scalar(1, sloped).realabs()); }), slope);
    EXPECT_EQ(raisedBy([&] { Owner(z.realabs()); }), complex);
}

// Wide entries give the same results as array code.
TEST(AbsoluteValue, OfDoublesIsThatOfTheElements) {
    const NumericType type = scaledDoubleType(true, 16, 4);
    const double special[] = {0.0, -0.0, INFINITY, -INFINITY, NAN, -1.5, 3.25, -4000};
    const Sizes sizes{std::size(special), 1};
    fi narrow(sizes.data(), 2, type, rulesOf(), false, "", true, Operation::Assignment, 0U);
    fi wide(sizes.data(), 2, type, rulesOf(), false, "", true, Operation::Assignment, 60U);
    for (std::size_t i = 0; i < std::size(special); ++i) {
        const_cast<number&>(narrow.real(i)).setvalue(special[i]);
        const_cast<number&>(wide.real(i)).setvalue(special[i]);
    }
    const LoggingOn logging;
    const Owner fast(narrow.realabs());
    const Owner steps(wide.realabs());
    EXPECT_EQ(countsOf(*fast), countsOf(*steps));
    for (std::size_t i = 0; i < std::size(special); ++i) {
        const double wanted = std::fabs(special[i]);
        EXPECT_TRUE(fast->realdouble(i) == wanted || std::isnan(wanted)) << special[i];
        EXPECT_TRUE(steps->realdouble(i) == wanted || std::isnan(wanted)) << special[i];
        EXPECT_EQ(std::isnan(fast->realdouble(i)), std::isnan(wanted));
    }
}

}  // namespace
