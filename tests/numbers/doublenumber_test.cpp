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
    for (double& x : array.elements()) x = 1.5;
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

TEST(Doublenumber, RoundsThroughBothNames) {
    const struct {
        doublenumber& (doublenumber::*whole)();
        void (doublenumber::*named)();
        double ofMinusTwoAndHalf;
    } rows[] = {{&doublenumber::ceil, &doublenumber::numberceil, -2.0},
                {&doublenumber::convergent, &doublenumber::numberconvergent, -2.0},
                {&doublenumber::fix, &doublenumber::numberfix, -2.0},
                {&doublenumber::floor, &doublenumber::numberfloor, -3.0},
                {&doublenumber::nearest, &doublenumber::numbernearest, -2.0},
                {&doublenumber::round, &doublenumber::numberround, -3.0}};
    for (const auto& row : rows) {
        doublenumber a(-2.5);
        doublenumber b(-2.5);
        (a.*row.whole)();
        (b.*row.named)();
        EXPECT_EQ(a.todouble(), row.ofMinusTwoAndHalf);
        EXPECT_EQ(b.todouble(), row.ofMinusTwoAndHalf);
    }
    doublenumber x(-0.3);
    x.round();
    EXPECT_EQ(bitsOf(x.todouble()), bitsOf(-0.0));
    EXPECT_TRUE(x.iszero());
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

TEST(Doublenumber, CastsTheScaledValue) {
    EXPECT_EQ(doublenumber(1.5).fixed2int32(99, 8), 384);
    EXPECT_EQ(doublenumber(-1.5).fixed2int32(99, 8), -384);
    EXPECT_EQ(doublenumber(-0.99).fixed2int8(0, 1), -1);
    EXPECT_EQ(doublenumber(300.0).fixed2uint8(0, 0), 44);
    EXPECT_EQ(doublenumber(0x1.8p0).fixed2uint64(0, 63), std::uint64_t{3} << 62);
}

TEST(Doublenumber, TakesTheHypotenuseWithoutOverflow) {
    doublenumber x(0.0);
    EXPECT_EQ(x.hypot(3.0, -4.0).todouble(), 5.0);
    EXPECT_EQ(x.hypot(0x1.8p1020, 0x1p1021).todouble(), 0x1.4p1021);
    EXPECT_EQ(x.hypot(doublenumber(5.0), doublenumber(12.0)).todouble(), 13.0);
}

TEST(Doublenumber, PrintsEveryElement) {
    doublenumber array(2, 52);
    array.getmodifiableelement(1) = -0.5;
    const HostCapture capture;
    array.disp();
    EXPECT_EQ(capture.printed, "\ndoublenumber[0] = 0\ndoublenumber[1] = -0.5");
}

}  // namespace
