// The constants of a type as arrays.
#include <gtest/gtest.h>

#include "tests/support/random_arrays_of_fi.h"
#include "tests/support/rules.h"

namespace {

TEST(FiConstants, AreTheBoundsAndTheStepOfTheStoredIntegers) {
    const LoggingOn logging;
    Random random(51001);
    for (int round = 0; round < 600; ++round) {
        const NumericType type = randomFixedType(random, 200, true);
        const int bits = type.getWordLength();
        const int exponent = type.getFixedExponent();
        const bool isComplex = !type.isSlopeBiasScaled() && random.oneIn(3);
        const bool isLocal = random.oneIn(2);
        const KnownArray known =
            randomArray(random, type, {2, 2}, isComplex, rulesOf(random.pick(kRoundings), random.oneIn(2)), isLocal);
        known.array->setTag("origin");
        const Integer low = type.isSigned() ? Integer(-twoToThe(bits - 1)) : Integer(0);
        const Integer high = low + twoToThe(bits) - 1;
        // The one-bit signed word has the values 0 and -1, so that its step is below zero.
        const Integer step = type.isSigned() && bits == 1 ? -1 : 1;
        struct Row {
            const char* name;
            fi* (fi::*constant)() const;
            std::vector<Integer> words;
            bool isInteger;
        };
        const Row rows[] = {
            {"realmax", &fi::realmax, {high}, false},
            {"upperbound", &fi::upperbound, {high}, false},
            {"lowerbound", &fi::lowerbound, {low}, false},
            {"realmin", &fi::realmin, {step}, false},
            {"eps", &fi::eps, {step}, false},
            {"lsb", &fi::lsb, {step}, false},
            {"range", &fi::range, {low, high}, false},
            {"intmax", &fi::intmax, {high}, true},
            {"intmin", &fi::intmin, {low}, true},
        };
        for (const Row& row : rows) {
            SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " round " << round << ' ' << row.name << ' '
                                            << known.description());
            const FiOwner result((known.array.get()->*row.constant)());
            ASSERT_TRUE(holdsWords(*result, row.words, {}, row.isInteger ? 0 : exponent));
            ASSERT_EQ(sizesOf(*result), (Sizes{1, row.words.size()}));
            ASSERT_EQ(fieldsOf(result->getNumericType()),
                      fieldsOf(row.isInteger ? fixedType(type.isSigned(), bits, 0) : type));
            ASSERT_EQ(result->getTag(), "origin");
            ASSERT_EQ(result->getFimathIsLocal(), isLocal);
            ASSERT_TRUE(result->getQlogger().isreset() || type.isSlopeBiasScaled());
            ASSERT_EQ(fieldsOf(result->getFimath()), fieldsOf(known.array->getFimath()));
        }
        ASSERT_TRUE(isUnchanged(known));
    }
}

TEST(FiConstants, OfOtherDataTypes) {
    struct Row {
        TypeMode mode;
        double realmax, lowerbound, realmin, eps, intmax;
    };
    constexpr double kSingleMax = 0x1.fffffep127;
    constexpr double kDoubleMax = 0x1.fffffffffffffp1023;
    const Row rows[] = {
        {TypeMode::Double, kDoubleMax, -kDoubleMax, 0x1p-1022, 0x1p-52, kDoubleMax},
        {TypeMode::Single, kSingleMax, -kSingleMax, 0x1p-126, 0x1p-23, kSingleMax},
        // A scaled double has the range of its word, and loses only the scale of its type to become an integer.
        {TypeMode::ScaledDoubleBinaryPoint, 255.875, -256.0, 0.125, 0.125, 255.875},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(static_cast<int>(row.mode));
        const fi array = scalar(1.0, typeOfMode(row.mode));
        const auto valueOf = [&](fi* (fi::*constant)() const) { return FiOwner((array.*constant)())->realdouble(0); };
        EXPECT_EQ(valueOf(&fi::realmax), row.realmax);
        EXPECT_EQ(valueOf(&fi::lowerbound), row.lowerbound);
        EXPECT_EQ(valueOf(&fi::realmin), row.realmin);
        EXPECT_EQ(valueOf(&fi::eps), row.eps);
        EXPECT_EQ(valueOf(&fi::intmax), row.intmax);
        EXPECT_EQ(FiOwner(array.realmax())->getDataTypeMode(), row.mode);
    }
}

}  // namespace
