// Comparison: elements and arrays against exact rationals and against doubles, across scales, shapes, errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <sstream>

#include "logging/filog.h"
#include "tests/support/blocks.h"
#include "tests/support/errors_of_fi.h"
#include "tests/support/product_oracle.h"

namespace {

using Owner = std::unique_ptr<fi>;
using Flags = std::vector<int>;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

struct Operator {
    const char* name;
    hvArray* (fi::*ofArrays)(const fi&) const;
    bool (*ofElements)(const fi&, const fi&);
    bool (*ofSigns)(int);  // of the exact difference
};
constexpr Operator kOperators[] = {
    {"eq", &fi::eq, [](const fi& a, const fi& b) { return a == b; }, [](int sign) { return sign == 0; }},
    {"ne", &fi::ne, [](const fi& a, const fi& b) { return a != b; }, [](int sign) { return sign != 0; }},
    {"gt", &fi::gt, [](const fi& a, const fi& b) { return a > b; }, [](int sign) { return sign > 0; }},
    {"ge", &fi::ge, [](const fi& a, const fi& b) { return a >= b; }, [](int sign) { return sign >= 0; }},
    {"lt", &fi::lt, [](const fi& a, const fi& b) { return a < b; }, [](int sign) { return sign < 0; }},
    {"le", &fi::le, [](const fi& a, const fi& b) { return a <= b; }, [](int sign) { return sign <= 0; }},
};
constexpr std::size_t kEquality = 2;  // the first two compare imaginary parts

Flags flagsOf(hvArray* result) {
    const hvArrayOwner owner(result);
    const auto elements = hvGetTypedData<hvLogical>(static_cast<const hvArray*>(result));
    EXPECT_TRUE(hvIsLogical(result));
    return {elements.begin(), elements.end()};
}
bool areEqual(const fi& a, const fi& b) {
    const Flags flags = flagsOf(a.isequal(b));
    EXPECT_EQ(flags.size(), 1u);
    return flags.front() != 0;
}
/// The results of the element operators, one element at a time.
Flags byElements(const Operator& comparison, const fi& a, const fi& b) {
    Flags result;
    for (std::uint64_t i = 0; i < (a.numel() == 1 ? b : a).numel(); ++i) {
        a.setIndex(a.numel() == 1 ? 0 : i);
        b.setIndex(b.numel() == 1 ? 0 : i);
        result.push_back(comparison.ofElements(a, b));
    }
    return result;
}

const Rational& at(const std::vector<Rational>& values, std::size_t i) {
    return values[values.size() == 1 ? 0 : i];
}

// Values.

TEST(Comparison, IsThatOfExactRationalsWhateverTheTypes) {
    Random random(5801);
    int equals = 0;
    for (int round = 0; round < 3000; ++round) {
        const NumericType types[] = {randomFixedType(random, 200, false), randomFixedType(random, 200, false)};
        const int count = random.between(1, 5);
        Part parts[2];
        for (int side = 0; side < 2; ++side) {
            const bool isComplex = random.oneIn(3);
            const int size = random.oneIn(4) ? 1 : count;
            for (int i = 0; i < size; ++i) {
                // Often the value of the other side, as nearly as the type can hold it.
                const auto value = [&](const std::vector<Rational>& other) {
                    if (side == 0 || other.empty() || random.oneIn(3)) {
                        return random.oneIn(4) && !types[side].isSigned() ? Rational(0)
                                                                          : randomValue(random, types[side]);
                    }
                    return quantized(at(other, static_cast<std::size_t>(i)), types[side], Rounding::floor, false);
                };
                parts[side].re.push_back(value(parts[0].re));
                if (isComplex) {
                    parts[side].im.push_back(random.oneIn(2) ? Rational(0) : value(parts[0].im));
                }
            }
        }
        const Owner a = arrayOf(parts[0], types[0], rulesOf());
        const Owner b = arrayOf(parts[1], types[1], rulesOf());
        std::ostringstream what;
        what << "seed " << random.seed() << " round " << round << ": " << types[0].tostring("") << ", "
             << types[1].tostring("");
        const std::size_t elements = std::max(parts[0].re.size(), parts[1].re.size());
        Flags wanted[std::size(kOperators)];
        for (std::size_t i = 0; i < elements; ++i) {
            const auto imag = [i](const Part& part) { return part.im.empty() ? Rational(0) : at(part.im, i); };
            const int sign = cmp(at(parts[0].re, i), at(parts[1].re, i));
            const bool differsInImag = imag(parts[0]) != imag(parts[1]);
            for (std::size_t k = 0; k < std::size(kOperators); ++k) {
                const bool isSplit = k < kEquality && differsInImag;
                wanted[k].push_back(kOperators[k].ofSigns(isSplit ? 1 : sign));
            }
            equals += sign == 0 && !differsInImag;
        }
        for (std::size_t k = 0; k < std::size(kOperators); ++k) {
            SCOPED_TRACE(what.str() + " " + kOperators[k].name);
            ASSERT_EQ(flagsOf(((*a).*kOperators[k].ofArrays)(*b)), wanted[k]);
            ASSERT_EQ(byElements(kOperators[k], *a, *b), wanted[k]);
        }
        ASSERT_EQ(areEqual(*a, *b), parts[0].re.size() == parts[1].re.size() && a->isreal() == b->isreal() &&
                                        std::ranges::count(wanted[0], 1) == static_cast<long>(elements))
            << what.str();
    }
    EXPECT_GT(equals, 1000);
}

/// Arrays of doubles have their own loops; these and the element operators agree with the hardware.
TEST(Comparison, OfDoublesIsThatOfTheHardware) {
    Random random(5802);
    for (int round = 0; round < 600; ++round) {
        // Only words of at most 52 bits are held in doubles.
        const bool isSingle = round % 2 == 0;
        const NumericType type = plainType(isSingle ? TypeMode::Single : TypeMode::Double);
        const auto count = static_cast<std::size_t>(random.between(1, 40));
        std::vector<double> re[2];
        std::vector<double> im[2];
        for (int side = 0; side < 2; ++side) {
            const bool isComplex = random.oneIn(2);
            const std::size_t size = random.oneIn(3) ? 1 : count;
            for (std::size_t i = 0; i < size; ++i) {
                const auto value = [&](const std::vector<double>& other) {
                    const double any = random.anyDouble();
                    return i < other.size() && random.oneIn(2) ? other[i] : isSingle ? static_cast<float>(any) : any;
                };
                re[side].push_back(value(re[0]));
                if (isComplex) {
                    im[side].push_back(random.oneIn(3) ? -0.0 : value(im[0]));
                }
            }
        }
        const auto make = [&](int side) {
            return im[side].empty() ? column(re[side], type) : column(re[side], im[side], type);
        };
        const fi a = make(0);
        const fi b = make(1);
        const auto pick = [](const std::vector<double>& values, std::size_t i) {
            return values.empty() ? 0.0 : values[values.size() == 1 ? 0 : i];
        };
        Flags wanted[std::size(kOperators)];
        for (std::size_t i = 0; i < std::max(re[0].size(), re[1].size()); ++i) {
            const double x = pick(re[0], i);
            const double y = pick(re[1], i);
            const bool isEqual = x == y && pick(im[0], i) == pick(im[1], i);
            const bool answers[] = {isEqual, !isEqual, x > y, x >= y, x < y, x <= y};
            for (std::size_t k = 0; k < std::size(kOperators); ++k) {
                wanted[k].push_back(answers[k]);
            }
        }
        for (std::size_t k = 0; k < std::size(kOperators); ++k) {
            SCOPED_TRACE(testing::Message()
                         << "seed " << random.seed() << " round " << round << " " << kOperators[k].name);
            ASSERT_EQ(flagsOf((a.*kOperators[k].ofArrays)(b)), wanted[k]);
            ASSERT_EQ(byElements(kOperators[k], a, b), wanted[k]);
        }
        const bool hasNaN = std::ranges::any_of(re[0], [](double x) { return std::isnan(x); }) ||
                            std::ranges::any_of(im[0], [](double x) { return std::isnan(x); });
        ASSERT_EQ(areEqual(a, a), !hasNaN);
    }
}

// Scales.

/// An entry on the scale of another type: each step rounds to the bits of the entry's cell.
Rational adjusted(const Rational& stored, const NumericType& from, const NumericType& to) {
    const int bits = cellBits(from.getWordLength());
    Rational result = stored;
    if (from.getSlopeAdjustmentFactor() != to.getSlopeAdjustmentFactor()) {
        const double ratio = from.getSlopeAdjustmentFactor() / to.getSlopeAdjustmentFactor();
        result = atPrecision(result * Rational(ratio), bits);
    }
    if (from.getBias() != to.getBias()) {
        const double shift = (from.getBias() - to.getBias()) / to.getSlopeAdjustmentFactor();
        result = atPrecision(result + Rational(shift), bits);
    }
    return result;
}

NumericType typeWithSlope(Random& random) {
    static constexpr double kFactors[] = {1.0, 1.25, 1.5, 1.75};
    const NumericType plain = randomFixedType(random, random.oneIn(3) ? 120 : 40, false);
    return random.oneIn(4) ? plain
                           : slopeBiasType(plain.isSigned(), plain.getWordLength(), random.pick(kFactors),
                                           plain.getFixedExponent(), random.between(-4, 4) / 4.0);
}

TEST(Comparison, AdjustsTheRightSideToTheScaleOfTheLeft) {
    const ComplexSlopeBias feature;
    Random random(5803);
    int equals[4] = {};
    for (int round = 0; round < 6000; ++round) {
        NumericType types[] = {typeWithSlope(random), typeWithSlope(random)};
        if (random.oneIn(4)) {
            types[1] = types[0];
        }
        if (!types[0].isSlopeBiasScaled() && !types[1].isSlopeBiasScaled()) {
            continue;
        }
        const bool isComplex[] = {random.oneIn(2), random.oneIn(2)};
        const fimath rules = rulesOf(random.pick(kRoundings), random.oneIn(2));
        const auto zeroOf = [&](const NumericType& type) {
            const double stored = (1.0 / type.getSlopeAdjustmentFactor()) * (0.0 - type.getBias());
            return quantized(Rational(stored), type, static_cast<Rounding>(rules.getRoundMode()),
                             rules.getOverflowMode() == embedded::OverflowModeEnum::Wrap);
        };
        Part parts[2];
        for (int side = 0; side < 2; ++side) {
            parts[side].re.push_back(randomValue(random, types[side]));
            if (isComplex[side]) {
                parts[side].im.push_back(random.oneIn(2) ? zeroOf(types[random.between(0, 1)])
                                                         : randomValue(random, types[side]));
            }
        }
        // Sometimes make them equal: both real parts from one value, adjusted to one side's type or the other's.
        if (random.oneIn(2)) {
            parts[0].re[0] = adjusted(parts[1].re[0], types[1], types[0]);
            if (isComplex[0] && isComplex[1]) {
                parts[0].im[0] = adjusted(parts[1].im[0], types[1], types[0]);
            }
        } else if (random.oneIn(2)) {
            parts[1].re[0] = adjusted(parts[0].re[0], types[0], types[1]);
        }
        const auto fits = [&](int side) {
            const int bits = cellBits(types[side].getWordLength());
            return atPrecision(parts[side].re[0], bits) == parts[side].re[0] &&
                   (parts[side].im.empty() || atPrecision(parts[side].im[0], bits) == parts[side].im[0]);
        };
        if (!fits(0) || !fits(1)) {
            continue;
        }
        const Owner a = arrayOf(parts[0], types[0], rules);
        const Owner b = arrayOf(parts[1], types[1], rules);
        const auto ofB = [&](const Rational& value) { return adjusted(value, types[1], types[0]); };
        const Rational& x = parts[0].re[0];
        const int sign = cmp(x, ofB(parts[1].re[0]));
        bool isEqual = sign == 0;
        if (isComplex[0] && isComplex[1]) {
            isEqual = isEqual && parts[0].im[0] == ofB(parts[1].im[0]);
        } else if (isComplex[1]) {
            // The imaginary part is not adjusted, although the zero is that of the other type.
            isEqual = isEqual && parts[1].im[0] == zeroOf(types[0]);
        } else if (isComplex[0]) {
            isEqual = adjusted(x, types[0], types[1]) == parts[1].re[0] && parts[0].im[0] == zeroOf(types[1]);
        }
        equals[isComplex[0] * 2 + isComplex[1]] += isEqual;
        for (std::size_t k = 0; k < std::size(kOperators); ++k) {
            const bool wanted = k < kEquality ? isEqual == (k == 0) : kOperators[k].ofSigns(sign);
            SCOPED_TRACE(testing::Message()
                         << "seed " << random.seed() << " round " << round << " " << kOperators[k].name << ": "
                         << types[0].tostring("") << ", " << types[1].tostring("") << (isComplex[0] ? " complex" : "")
                         << (isComplex[1] ? ", complex" : ""));
            ASSERT_EQ(kOperators[k].ofElements(*a, *b), wanted);
            ASSERT_EQ(flagsOf(((*a).*kOperators[k].ofArrays)(*b)), Flags{wanted});
        }
        ASSERT_EQ(areEqual(*a, *b), isEqual && isComplex[0] == isComplex[1]);
    }
    EXPECT_GT(*std::ranges::min_element(equals), 20) << testing::PrintToString(equals);
}

TEST(Comparison, LeavesNoTraceInTheLogsOfTheOperands) {
    const ComplexSlopeBias feature;
    const LoggingOn logging;
    const NumericType type = slopeBiasType(true, 8, 1.5, -2, 1.0);
    const fi a = scalar(0.5, type);
    const fi b = column({2.0}, {3.0}, slopeBiasType(true, 8, 1.25, -2, 0.0));
    const std::uint64_t operations[] = {a.getNoperations(), b.getNoperations()};
    qlogger::setLogType(embedded::LogTypeEnum::WriteLogMap);
    for (const Operator& comparison : kOperators) {
        flagsOf((a.*comparison.ofArrays)(b));
        flagsOf((b.*comparison.ofArrays)(a));
    }
    qlogger::setLogType({});
    EXPECT_EQ(a.getNoperations(), operations[0]);
    EXPECT_EQ(b.getNoperations(), operations[1]);
    EXPECT_TRUE(filog::getLogMap().empty());
}

// Shapes.

TEST(Comparison, MeetsEveryElementWithAScalarAndKeepsTheOtherShape) {
    const Sizes sizes{2, 1, 3};
    const std::vector<double> values = {1.0, 2.0, 3.0, 4.0, 5.0, 6.0};
    for (const NumericType& type : {fixedType(true, 8, 2), fixedType(true, 80, 2), slopeBiasType(true, 8, 1.5, 0, 1)}) {
        const fi thick(values.data(), sizes.data(), 3, type, rulesOf(), "", true, Operation::Assignment);
        const fi three = scalar(4.0, type);
        for (const bool isLeft : {false, true}) {
            const hvArrayOwner result(isLeft ? three.lt(thick) : thick.gt(three));
            EXPECT_TRUE(std::ranges::equal(hvGetDims(result.get()), sizes));
            EXPECT_EQ(flagsOf(hvDuplicateArray(result.get())), flagsOf(thick.gt(three)));
            EXPECT_EQ(thick.getIndex(), 5u);
            EXPECT_EQ(three.getIndex(), 0u);
        }
        EXPECT_EQ(flagsOf(thick.gt(three)), (Flags{0, 0, 0, 0, 1, 1}));
    }
    const Sizes none{0, 4};
    const fi empty(none.data(), 2, fixedType(true, 8, 2), rulesOf(), false, "", true, Operation::Assignment, 0);
    const fi one = scalar(1.0, fixedType(true, 8, 2));
    for (const Operator& comparison : kOperators) {
        for (hvArray* result : {(empty.*comparison.ofArrays)(one), (one.*comparison.ofArrays)(empty),
                                (empty.*comparison.ofArrays)(empty)}) {
            const hvArrayOwner owner(result);
            EXPECT_TRUE(std::ranges::equal(hvGetDims(result), none)) << comparison.name;
        }
    }
}

TEST(Comparison, RefusesArraysOfOtherSizes) {
    const NumericType type = fixedType(true, 8, 2);
    const fi three = column({1, 2, 3}, type);
    const fi two = column({1, 2}, type);
    const Sizes none{0, 4};
    const fi empty(none.data(), 2, type, rulesOf(), false, "", true, Operation::Assignment, 0);
    for (const Operator& comparison : kOperators) {
        for (const fi* other : {&empty, &two}) {
            EXPECT_EQ(raisedBy([&] { hvArrayOwner((three.*comparison.ofArrays)(*other)); }), kSizesDiffer);
        }
    }
}

TEST(Comparison, OfWholeArraysIsOfShapeComplexityAndValuesButNotOfTypes) {
    const NumericType narrow = fixedType(true, 8, 2);
    const NumericType wide = fixedType(false, 90, 30);
    const Sizes across{1, 3};
    const std::vector<double> values = {1.0, 2.5, 3.0};
    const fi a = column(values, narrow);
    const fi asRow(values.data(), across.data(), 2, narrow, rulesOf(), "", true, Operation::Assignment);
    const fi complexA = column(values, {0.0, 0.0, 0.0}, narrow);
    const Sizes none[] = {{0, 3}, {3, 0}};
    const auto emptyOf = [&](int i, const NumericType& type) {
        return fi(none[i].data(), 2, type, rulesOf(), false, "", true, Operation::Assignment, 0);
    };
    struct Row {
        const char* why;
        bool isEqual;
        fi a, b;
    };
    const Row rows[] = {
        {"types play no part", true, a, column(values, wide)},
        {"nor does the bias", true, column({1.0, 2.5}, slopeBiasType(true, 16, 1.0, -4, 1.0)),
         column({1.0, 2.5}, narrow)},
        {"a value", false, a, column({1.0, 2.5, 3.25}, wide)},
        {"an imaginary value", false, complexA, column(values, {0.0, 0.0, 0.25}, narrow)},
        {"the shape", false, a, asRow},
        {"the size", false, a, column({1.0, 2.5}, narrow)},
        {"the complexity, even with zeros", false, a, complexA},
        {"empties of one shape", true, emptyOf(0, narrow), emptyOf(0, wide)},
        {"empties of two shapes", false, emptyOf(0, narrow), emptyOf(1, narrow)},
        {"NaN", false, column({kNaN}, plainType(TypeMode::Double)), column({kNaN}, plainType(TypeMode::Double))},
        {"infinity", true, column({kInf}, plainType(TypeMode::Double)), column({kInf}, plainType(TypeMode::Single))},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(areEqual(row.a, row.b), row.isEqual) << row.why;
        EXPECT_EQ(areEqual(row.b, row.a), row.isEqual) << row.why;
    }
    // A real and a complex array with equal values are equal element by element.
    EXPECT_EQ(flagsOf(a.eq(complexA)), (Flags{1, 1, 1}));
}

/// For doubles and wide words alike, the first different element remains the current one.
TEST(Comparison, OfWholeArraysStopsAtTheFirstDifference) {
    for (const NumericType& type : {fixedType(true, 8, 0), fixedType(true, 80, 0)}) {
        const fi a = column({1, 2, 3, 4}, {5, 6, 7, 8}, type);
        const fi b = column({1, 2, 3, 9}, {5, 6, 9, 8}, type);
        EXPECT_FALSE(areEqual(a, b));
        EXPECT_EQ(a.getIndex(), 2u);
        EXPECT_EQ(b.getIndex(), 2u);
        EXPECT_TRUE(areEqual(a, a));
        EXPECT_EQ(a.getIndex(), 3u);
    }
}

TEST(Comparison, TakesAFixedNumberOfBlocksHoweverManyElements) {
    for (const int bits : {16, 120}) {
        const NumericType type = fixedType(true, bits, 0);
        const NumericType other = fixedType(true, bits == 16 ? 90 : 70, 2);
        for (const Operator& comparison : kOperators) {
            const auto blocksFor = [&](std::size_t count) {
                const fi a = column(std::vector<double>(count, 1.0), std::vector<double>(count, 2.0), type);
                const fi b = column(std::vector<double>(count, 1.0), other);
                return blocksOf([&] {
                    hvArrayOwner((a.*comparison.ofArrays)(b));
                    hvArrayOwner((a.*comparison.ofArrays)(a));
                    hvArrayOwner(a.isequal(a));
                });
            };
            EXPECT_EQ(blocksFor(10), blocksFor(1000)) << comparison.name << " " << bits;
        }
    }
}

}  // namespace
