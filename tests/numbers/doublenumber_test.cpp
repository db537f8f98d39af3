// What only a body of doubles does, or does in its own way.
#include "numbers/doublenumber.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "tests/support/errors.h"
#include "tests/support/rational.h"

namespace {

constexpr auto vectorTag = embeddedNumberTags::NumberVector::tag;
constexpr auto shareTag = embeddedNumberTags::CopyIndex::tag;

std::uint64_t bitsOf(double value) {
    return std::bit_cast<std::uint64_t>(value);
}

TEST(Doublenumber, StoresTheAskedPrecisionOnlyForVectors) {
    const doublenumber vector(3, 20);
    EXPECT_EQ(vector.get_stored_precision(), 20U);
    EXPECT_EQ(vector.getprecision(), 52U);
    EXPECT_EQ(doublenumber(1.0).get_stored_precision(), 52U);
    EXPECT_EQ(doublenumber(vector).get_stored_precision(), 52U);
    EXPECT_EQ(doublenumber(&vector, vectorTag).get_stored_precision(), 20U);
    EXPECT_EQ(doublenumber(&vector, shareTag).get_stored_precision(), 20U);
}

TEST(Doublenumber, GivesItsWholeArrayToKernels) {
    doublenumber array(4, 16);
    doublenumber sharing(&array, shareTag);
    for (double& x : array.elements()) {
        x = 1.5;
    }
    array[2];
    array.setelement(4.0);
    EXPECT_EQ(sharing.getelement(2), 4.0);
    EXPECT_EQ(sharing.todouble(), 1.5);
    sharing.getmodifiableelement(1) = 0.1;
    EXPECT_EQ(array.tosingle(1), 0.1F);
    EXPECT_TRUE(sharing < (array[2], array));
    EXPECT_TRUE(doublenumber(0, 16).elements().empty());
}

TEST(Doublenumber, StartsArraysOfAnyOriginAtACacheLine) {
    const auto offsetInLine = [](doublenumber& array) {
        return reinterpret_cast<std::uintptr_t>(array.elements().data()) % 64;
    };
    for (const std::uint64_t count : {2U, 3U, 100U, 5000U, 300000U}) {
        doublenumber zeros(count, 16);
        doublenumber unset(count, 16, embeddedNumberTags::UnsetVector::tag);
        doublenumber copy(&zeros, vectorTag);
        for (doublenumber* array : {&zeros, &unset, &copy}) {
            EXPECT_EQ(offsetInLine(*array), 0U) << count;
            array->resize(count + 1);
            EXPECT_EQ(offsetInLine(*array), 0U) << count;
        }
    }
}

TEST(Doublenumber, RoundsThroughItsOtherNamesToo) {
    void (doublenumber::*const named[])() = {&doublenumber::numberceil,    &doublenumber::numberconvergent,
                                             &doublenumber::numberfix,     &doublenumber::numberfloor,
                                             &doublenumber::numbernearest, &doublenumber::numberround};
    for (const double value : {-2.5, -2.25, 1.5, 0.75}) {
        for (std::size_t rule = 0; rule < std::size(named); ++rule) {
            doublenumber x(value);
            (x.*named[rule])();
            EXPECT_EQ(x.todouble(), rounded(Rational(value), kRoundings[rule]).get_d()) << nameOf(kRoundings[rule]);
        }
    }
    doublenumber x(-0.3);
    EXPECT_EQ(bitsOf(x.round().todouble()), bitsOf(-0.0));
    EXPECT_FALSE(x.isnegative());
}

TEST(Doublenumber, KeepsSignsOfZeroAndTheExtremeExponents) {
    EXPECT_EQ(bitsOf(doublenumber(0.0).negate().todouble()), bitsOf(-0.0));
    EXPECT_EQ(bitsOf(doublenumber(-0.0).negate().todouble()), bitsOf(0.0));
    EXPECT_EQ(bitsOf(doublenumber(-0.0).abs().todouble()), bitsOf(0.0));
    EXPECT_EQ(doublenumber(0x1p-1074).unbiasedexponent(), -1074);
    EXPECT_EQ(doublenumber(-0x1.8p-1023).unbiasedexponent(), -1023);
    EXPECT_EQ(doublenumber(0x1p1023).unbiasedexponent(), 1023);
    EXPECT_EQ(doublenumber(1.0).pow2(std::numeric_limits<int>::max()).todouble(),
              std::numeric_limits<double>::infinity());
    EXPECT_EQ(doublenumber(1.0).pow2(std::numeric_limits<int>::min()).todouble(), 0.0);
}

TEST(Doublenumber, StripsScalingToTheStoredInteger) {
    EXPECT_EQ(doublenumber(-1.5).stripscaling(9.0, -4, 9.0).todouble(), -24.0);
    EXPECT_EQ(doublenumber(0.625).stripscaling(1.0, -2, 0.0).todouble(), 3.0);  // 2.5 rounds away from zero
    EXPECT_EQ(doublenumber(1.0).stripscaling(1.0, std::numeric_limits<int>::min(), 0.0).todouble(),
              std::numeric_limits<double>::infinity());
}

TEST(Doublenumber, TakesTheHypotenuseWithoutOverflow) {
    doublenumber x(0.0);
    EXPECT_EQ(x.hypot(3.0, -4.0).todouble(), 5.0);
    EXPECT_EQ(x.hypot(0x1.8p1020, 0x1p1021).todouble(), 0x1.4p1021);
}

TEST(Doublenumber, PrintsEveryElement) {
    doublenumber array(2, 52);
    array.getmodifiableelement(1) = -0.5;
    const HostCapture capture;
    array.disp();
    EXPECT_EQ(capture.printed, "\ndoublenumber[0] = 0\ndoublenumber[1] = -0.5");
}

}  // namespace
