// The handle: choice of body, cursor, copying, sharing, resizing; and one body of checks over both kinds.
#include "numbers/number.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <numeric>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "numbers/mpnumber.h"
#include "numbers/numberfactory.h"
#include "tests/support/errors.h"
#include "tests/support/rational.h"

// Sizes that no machine has must come back as null also under the address sanitizer, which stops at them otherwise.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

using Kind = embeddedNumberTags::numbertype;
constexpr auto vectorTag = embeddedNumberTags::NumberVector::tag;
constexpr auto unsetTag = embeddedNumberTags::UnsetVector::tag;
constexpr auto shareTag = embeddedNumberTags::CopyIndex::tag;
constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
const Raised outOfMemory{"fixedpoint:fi:outofmemory", "Not enough memory to allocate new fi object."};

/// Sets both defaults back when it goes.
class DefaultsKept {
 public:
    ~DefaultsKept() { number::setDefaultPrecision(mPrecision, mForce); }

 private:
    std::uint32_t mPrecision = number::getDefaultPrecision();
    bool mForce = number::getDefaultForceMultiplePrecision();
};

TEST(Number, TakesItsKindFromThePrecisionAndTheForceFlag) {
    EXPECT_EQ(number(1.0, 52, false).gettype(), Kind::doublenumber);
    EXPECT_EQ(number(1.0, 53, false).gettype(), Kind::mpnumber);
    EXPECT_EQ(number(1.0, 8, true).gettype(), Kind::mpnumber);
    EXPECT_EQ(number(1, 52, vectorTag).gettype(), Kind::doublenumber);
    EXPECT_EQ(number(1, 53, vectorTag).gettype(), Kind::mpnumber);

    const DefaultsKept kept;
    EXPECT_EQ(number().gettype(), Kind::doublenumber);
    number::setDefaultPrecision(60, false);
    EXPECT_EQ(number().getprecision(), 60U);
    EXPECT_EQ(number().gettype(), Kind::mpnumber);
    number::setDefaultPrecision(20, false);
    number::setDefaultForceMultiplePrecision(true);
    EXPECT_EQ(number().gettype(), Kind::mpnumber);
    EXPECT_EQ(number(1, 20, vectorTag).gettype(), Kind::doublenumber);  // the vector route ignores force
}

TEST(Number, LosesItsValueWhenTheStoredPrecisionChanges) {
    number scalar(1.5, 40, false);
    EXPECT_EQ(scalar.getprecision(), 52U);
    scalar.resize(1, 40);
    EXPECT_EQ(scalar.todouble(), 0.0);
    scalar = 2.5;
    scalar.resize(3, 40);
    EXPECT_EQ(scalar.todouble(), 2.5);
    scalar.resize(2, 100);
    EXPECT_EQ(scalar.gettype(), Kind::mpnumber);
    EXPECT_EQ(scalar.numel(), 2U);
    EXPECT_EQ(scalar.todouble(), 0.0);
}

TEST(Number, CopiesOfAForcedScalarFollowTheVectorRoute) {
    const number forced(1.5, 20, true);
    const number copy(forced);
    EXPECT_EQ(copy.gettype(), Kind::doublenumber);
    EXPECT_EQ(copy.getprecision(), 20U);
    EXPECT_EQ(copy.todouble(), 1.5);
}

TEST(Number, ScalesWithScalarsOfDefaultPrecision) {
    const DefaultsKept kept;
    number x(0.0, 100, false);
    const number third(number(1.0, 100, false) / number(3.0, 100, false));
    x.setvalue(third, 3.0, 0.25);
    EXPECT_EQ(x.todouble(), 1.25);
    number::setDefaultPrecision(60, false);
    number y(0.0, 52, false);
    y.setvalue(number(1.0, 52, false), 0.1, 0.0);
    EXPECT_EQ(y.todouble(), 0.1);
}

class BothKinds : public testing::TestWithParam<std::uint32_t> {
 protected:
    std::uint32_t precision() const { return GetParam(); }
    number scalar(double value) const { return number(value, precision(), false); }
    number vectorOf(const std::vector<double>& values) const {
        number result(values.size(), precision(), vectorTag);
        for (std::size_t i = 0; i < values.size(); ++i) {
            result[i] = values[i];
        }
        result[0];
        return result;
    }
    static std::vector<double> valuesOf(const number& array) {
        std::vector<double> values;
        for (std::uint64_t i = 0; i < array.numel(); ++i) {
            values.push_back(array[i].todouble());
        }
        return values;
    }
};
INSTANTIATE_TEST_SUITE_P(Precision, BothKinds, testing::Values(40U, 80U),
                         [](const auto& test) { return test.param < 53 ? "OnDoubles" : "OnMpFloats"; });

TEST_P(BothKinds, CopyTheCurrentElementAlone) {
    const number array = vectorOf({1, 2, 3, 4, 5});
    array[3];
    const number one(array);
    EXPECT_EQ(valuesOf(one), std::vector<double>{4});
    EXPECT_EQ(one.getprecision(), precision());
    number moved(std::move(const_cast<number&>(array)));  // moving is copying
    EXPECT_EQ(moved.numel(), 1U);
    const number all(array, vectorTag);
    EXPECT_EQ(valuesOf(all), (std::vector<double>{1, 2, 3, 4, 5}));
    array[1];
    const std::unique_ptr<numberrepbody> clone(array.body().clone());
    EXPECT_EQ(clone->numel(), 1U);
    EXPECT_EQ(clone->todouble(), 2.0);

    const number empty(0, precision(), vectorTag);
    EXPECT_TRUE(empty.isempty());
    EXPECT_EQ(valuesOf(number(empty)), std::vector<double>{0});
    EXPECT_TRUE(number(empty, vectorTag).isempty());
    EXPECT_TRUE(std::unique_ptr<numberrepbody>(empty.body().clone())->isempty());
}

TEST_P(BothKinds, AssignAValueInPlace) {
    number array = vectorOf({1, 2, 3});
    const number wide(7.0, 200, false);
    array[1] = wide;
    EXPECT_EQ(valuesOf(array), (std::vector<double>{1, 7, 3}));
    EXPECT_EQ(array.getprecision(), precision());
    array[2] += array[2];  // one handle: both sides are element 2
    EXPECT_EQ(valuesOf(array), (std::vector<double>{1, 7, 6}));
    EXPECT_EQ(array.getIndex(), 2U);
}

TEST_P(BothKinds, ShareOneArrayInEitherOrderOfDestruction) {
    for (const bool ownerGoesFirst : {true, false}) {
        auto owner = std::make_unique<number>(vectorOf({1, 2, 3}), vectorTag);
        (*owner)[2];
        auto sharing = std::make_unique<number>(*owner, shareTag);
        EXPECT_EQ(sharing->getIndex(), 0U);
        EXPECT_EQ(owner->body().getcount(), 2U);
        *sharing = 9.0;
        sharing->resize(5);
        EXPECT_EQ(owner->numel(), 5U);
        EXPECT_EQ(valuesOf(*owner), (std::vector<double>{9, 2, 3, 0, 0}));
        number later = vectorOf({1, 2});
        later[1];
        EXPECT_FALSE(later.sharesArrayOf(*owner));
        later.share(*owner) = 7.0;
        EXPECT_TRUE(later.sharesArrayOf(*sharing));
        EXPECT_EQ(valuesOf(number(later, 1, 3)), (std::vector<double>{7, 3, 0}));
        later.share(number(1.0, 52, false));
        (*owner)[1] = 2.0;
        auto& last = ownerGoesFirst ? sharing : owner;
        (ownerGoesFirst ? owner : sharing).reset();
        EXPECT_EQ(last->body().getcount(), 1U);
        EXPECT_EQ(valuesOf(*last), (std::vector<double>{9, 2, 3, 0, 0}));
    }
}

TEST_P(BothKinds, KeepTheFirstElementsWhenResized) {
    number array = vectorOf({1, 2, 3, 4});
    const std::pair<std::uint64_t, std::vector<double>> steps[] = {
        {2, {1, 2}}, {1, {1}}, {3, {1, 0, 0}}, {1, {1}}, {1, {1}}, {0, {}}, {0, {}}, {1, {0}}, {2, {0, 0}}};
    for (const auto& [count, expected] : steps) {
        array.resize(count);
        EXPECT_EQ(valuesOf(array), expected);
    }
}

TEST_P(BothKinds, TakeTheirValuesInUnsetArrays) {
    for (const std::uint64_t count : {0U, 1U, 2U, 1000U}) {
        number array(count, precision(), unsetTag);
        EXPECT_EQ(array.gettype(), vectorOf({1}).gettype());
        EXPECT_EQ(array.getprecision(), number(count, precision(), vectorTag).getprecision());
        ASSERT_EQ(array.numel(), count);
        std::vector<double> expected;
        for (std::uint64_t i = 0; i < count; ++i) {
            array[i].setvalue(static_cast<double>(i) - 0.5);
            expected.push_back(static_cast<double>(i) - 0.5);
        }
        EXPECT_EQ(valuesOf(array), expected);
        // What a growing array gains is zero as ever.
        expected.push_back(0.0);
        EXPECT_EQ(valuesOf(array.resize(count + 1)), expected);
    }
}

TEST_P(BothKinds, RaiseForAbsurdCountsAndStayAsTheyWere) {
    number array = vectorOf({1, 2, 3});
    for (const std::uint64_t count : {std::uint64_t{1} << 60, std::uint64_t{1} << 61, (std::uint64_t{1} << 61) + 1,
                                      std::uint64_t{1} << 63, UINT64_MAX}) {
        EXPECT_EQ(raisedBy([&] { number(count, precision(), vectorTag); }), outOfMemory) << count;
        EXPECT_EQ(raisedBy([&] { number(count, precision(), unsetTag); }), outOfMemory) << count;
        EXPECT_EQ(raisedBy([&] { array.resize(count); }), outOfMemory) << count;
        EXPECT_EQ(raisedBy([&] { array.resize(count, precision() + 1); }), outOfMemory) << count;
    }
    EXPECT_EQ(valuesOf(array), (std::vector<double>{1, 2, 3}));
}

TEST_P(BothKinds, AnswerTheSamePredicates) {
    const struct {
        double value;
        signed char sign;
        bool zero, infinite, isNan;
    } rows[] = {{0.0, 0, true, false, false}, {2.5, 1, false, false, false},  {-0.1, -1, false, false, false},
                {inf, 1, false, true, false}, {-inf, -1, false, true, false}, {nan, 0, false, false, true}};
    for (const auto& row : rows) {
        const number x = scalar(row.value);
        EXPECT_EQ(x.sign(), row.sign) << row.value;
        EXPECT_EQ(x.iszero(), row.zero) << row.value;
        EXPECT_EQ(x.myisinf(), row.infinite) << row.value;
        EXPECT_EQ(x.myisnan(), row.isNan) << row.value;
        EXPECT_EQ(x.isFinite(), !row.infinite && !row.isNan) << row.value;
        EXPECT_EQ(x.unbiasedexponent(), row.zero || row.infinite || row.isNan ? -1 : std::ilogb(row.value));
    }
    // The kinds differ on the sign of zero.
    EXPECT_EQ(scalar(-0.0).isnegative(), precision() > 52);
    EXPECT_EQ(scalar(-0.0).sign(), 0);
}

TEST_P(BothKinds, AgreeWithTheRuntimeOnExponentsAndScaling) {
    Random random(21);
    for (int i = 0; i < 5000; ++i) {
        const double value = random.real(-1070, 1020);
        number x = scalar(value);
        ASSERT_EQ(x.unbiasedexponent(), std::ilogb(value)) << value;
        const int n = random.between(-40, 3);
        ASSERT_EQ(x.pow2(n).todouble(), std::ldexp(value, n)) << value << ' ' << n;
        ASSERT_EQ(x.abs(scalar(value)).negate().todouble(), -std::fabs(value));
    }
}

TEST_P(BothKinds, RoundAtEveryBitAsExactArithmeticDoes) {
    using Operation = number& (number::*)(int);
    const Operation operations[] = {&number::ceil,  &number::convergent, &number::fix,
                                    &number::floor, &number::nearest,    &number::round};
    for (std::size_t rule = 0; rule < std::size(operations); ++rule) {
        for (int n = -4; n <= 4; ++n) {
            for (int k = -400; k <= 400; ++k) {
                number x = scalar(k / 32.0);
                (x.*operations[rule])(n);
                const Rational expected = scaled(Rational(rounded(scaled(Rational(k), n - 5), kRoundings[rule])), -n);
                ASSERT_EQ(x.todouble(), expected.get_d()) << nameOf(kRoundings[rule]) << ' ' << k << "/32 at " << n;
            }
        }
        for (const double value : {inf, -inf, nan}) {
            number x = scalar(value);
            (x.*operations[rule])(3);
            EXPECT_TRUE(std::isnan(value) ? x.myisnan() : x.todouble() == value);
        }
        for (const int n : {std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
            number zero = scalar(0.0);
            (zero.*operations[rule])(n);
            EXPECT_TRUE(zero.iszero());
        }
    }
}

TEST_P(BothKinds, TakeIntegersFromWords) {
    const struct {
        std::vector<std::uint32_t> words;
        bool isSigned;
        int wordlength, exponent;
        double expected;
    } rows[] = {
        {{0xffffffffU}, true, 32, 0, -1.0},
        {{0xffffffffU}, false, 32, -8, 16777215.99609375},
        {{0xffU}, true, 8, 2, -4.0},
        {{0x1ffU}, false, 8, 0, 511.0},  // bits above the word are not cut off
        {{0, 0x80U}, true, 40, 0, -0x1p39},
        {{0, 0, 1}, false, 65, -64, 1.0},
        {{5}, true, 64, 0, 5.0},  // the sign bit lies outside the words
        {{5}, true, 0, 1, 10.0},
        {{5}, true, std::numeric_limits<int>::min(), 0, 5.0},
        {{}, true, 8, 0, 0.0},
        {{1}, false, 8, std::numeric_limits<int>::min(), 0.0},
    };
    for (const auto& row : rows) {
        number x = scalar(77.0);
        const auto count = static_cast<int>(row.words.size());
        x.setvalue(row.words.data(), count, row.isSigned, row.wordlength, 3.0, row.exponent, 4.0);
        EXPECT_EQ(x.todouble(), row.expected);
        if (row.exponent > -100) {
            x.body().setvalue(row.words.data(), count, row.isSigned, row.wordlength, -row.exponent);
            EXPECT_EQ(x.todouble(), row.expected);
        }
    }
}

TEST_P(BothKinds, MakeResultsOfTheLeftPrecision) {
    const number a = vectorOf({1, 6})[1];
    const number b(1.5, 120, false);
    EXPECT_EQ((a + b).todouble(), 7.5);
    EXPECT_EQ((a - b).todouble(), 4.5);
    EXPECT_EQ((a * b).todouble(), 9.0);
    EXPECT_EQ((a / b).todouble(), 4.0);
    EXPECT_EQ((-a).todouble(), -6.0);
    EXPECT_EQ((a + b).getprecision(), precision());
    EXPECT_EQ((b + a).getprecision(), 120U);
    EXPECT_EQ(a.todouble(), 6.0);
}

/// Keys with many duplicates, by the name of their arrangement.
std::vector<double> keysOf(const std::string& arrangement, std::size_t count, Random& random) {
    std::vector<double> keys(count);
    for (std::size_t i = 0; i < count; ++i) {
        const auto place = static_cast<double>(i);
        keys[i] = arrangement == "ascending"    ? place
                  : arrangement == "descending" ? -place
                  : arrangement == "equal"      ? 1.0
                  : arrangement == "pipes"      ? std::min(place, static_cast<double>(count - i))
                  : arrangement == "few"        ? random.between(0, 5)
                                                : random.real(-5, 5);
    }
    return keys;
}

TEST_P(BothKinds, SortColumnsAndKeepTheOrderOfEqualKeys) {
    Random random(22);
    for (const std::string arrangement : {"ascending", "descending", "equal", "pipes", "few", "mixed"}) {
        for (const std::size_t length : {1U, 2U, 3U, 32U, 33U, 500U, 20000U}) {
            const std::size_t stride = length == 20000 ? 1 : 3;
            const std::size_t blocks = length == 20000 ? 1 : 2;
            const std::vector<double> keys = keysOf(arrangement, stride * length * blocks, random);
            for (const bool ascending : {true, false}) {
                std::vector<double> sorted(keys);
                std::vector<double> places(keys.size());
                for (std::size_t column = 0; column < stride * blocks; ++column) {
                    const std::size_t start = column / stride * stride * length + column % stride;
                    const auto keyAt = [&](std::size_t i) { return keys[start + i * stride]; };
                    std::vector<std::size_t> order(length);
                    std::iota(order.begin(), order.end(), 0U);
                    std::ranges::stable_sort(order, [&](std::size_t a, std::size_t b) {
                        return ascending ? keyAt(a) < keyAt(b) : keyAt(a) > keyAt(b);
                    });
                    for (std::size_t i = 0; i < length; ++i) {
                        sorted[start + i * stride] = keyAt(order[i]);
                        places[start + i * stride] = static_cast<double>(order[i] + 1);
                    }
                }
                number plain = number(vectorOf(keys), vectorTag);
                plain.stridesort(ascending, stride, length);
                ASSERT_EQ(valuesOf(plain), sorted) << arrangement << ' ' << length << ' ' << ascending;
                number indexed = number(vectorOf(keys), vectorTag);
                std::vector<double> index(keys.size(), -1.0);
                indexed.stridesort2(index.data(), ascending, stride, length);
                ASSERT_EQ(valuesOf(indexed), sorted) << arrangement << ' ' << length << ' ' << ascending;
                ASSERT_EQ(index, places) << arrangement << ' ' << length << ' ' << ascending;
            }
        }
    }
}

TEST_P(BothKinds, SortNaNsWithoutLosingAnElement) {
    Random random(23);
    for (int round = 0; round < 200; ++round) {
        std::vector<double> keys(static_cast<std::size_t>(random.between(2, 300)));
        for (double& key : keys) {
            key = random.oneIn(3) ? nan : random.between(-20, 20);
        }
        number array = number(vectorOf(keys), vectorTag);
        std::vector<double> index(keys.size());
        array.stridesort2(index.data(), round % 2 == 0, 1, keys.size());
        std::vector<double> after = valuesOf(array);
        const auto byBits = [](double a, double b) { return std::isnan(b) ? !std::isnan(a) : a < b; };
        std::ranges::sort(keys, byBits);
        std::ranges::sort(after, byBits);
        std::ranges::sort(index);
        for (std::size_t i = 0; i < keys.size(); ++i) {
            ASSERT_TRUE(keys[i] == after[i] || (std::isnan(keys[i]) && std::isnan(after[i])));
            ASSERT_EQ(index[i], static_cast<double>(i + 1));
        }
    }
}

TEST_P(BothKinds, LeaveWhatIsNoCompleteBlockUnsorted) {
    number array = vectorOf({3, 2, 1});
    std::vector<double> index(3, -1.0);
    const std::vector<double> untouched(index);
    const std::pair<std::uint64_t, std::uint64_t> shapes[] = {
        {1, 0}, {0, 3}, {1, 4}, {2, 2}, {UINT64_MAX, UINT64_MAX}, {std::uint64_t{1} << 32, std::uint64_t{1} << 32}};
    for (const auto& [stride, length] : shapes) {
        array.stridesort(true, stride, length);
        array.stridesort2(index.data(), true, stride, length);
    }
    EXPECT_EQ(valuesOf(array), (std::vector<double>{3, 2, 1}));
    EXPECT_EQ(index, untouched);
    array.stridesort2(index.data(), true, 3, 1);
    EXPECT_EQ(index, (std::vector<double>{1, 1, 1}));
}

}  // namespace
