// Stored integers as host arrays: the view of whole words, the view of chunks, and what lies between both.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "fi/core/squeezed_dimensions.h"
#include "host/om.h"
#include "tests/support/errors_of_fi.h"
#include "tests/support/stored_integers.h"

using namespace tolvane::detail;

namespace {

using Chunks = fi::IntArrayChunkMode;
using Dimension = fi::IntArrayDimensionMode;

const HostCapture::Warning kOver64Bits = {
    "fixedpoint:fi:intover64bits",
    "Integers greater than 64 bits not supported in the INT method.  Returning DOUBLE instead.\n"
    "Roundoff error may be introduced in the return value from the INT method for word lengths greater than 64 bits.\n"
    "To get exact integer representation for any word length, use BIN, OCT, DEC, or HEX."};

hvArrayOwner doubles(const std::vector<double>& re, const std::vector<double>& im = {}) {
    hvArrayOwner values(hvCreateDoubleMatrix(re.size(), 1, im.empty() ? hvREAL : hvCOMPLEX));
    std::ranges::copy(re, hvGetPr(values.get()));
    std::ranges::copy(im, hvGetPi(values.get()));
    return values;
}

hvClassID classOfWord(bool isSigned, int wordBits) {
    if (wordBits > 64) {
        return hvDOUBLE_CLASS;
    }
    const int size = wordBits <= 8 ? 0 : wordBits <= 16 ? 1 : wordBits <= 32 ? 2 : 3;
    return static_cast<hvClassID>(hvINT8_CLASS + 2 * size + (isSigned ? 0 : 1));
}

/// A type of 1 to 300 bits, often at a border of chunks or of host classes.
NumericType anyFixedType(Random& random) {
    const int wordBits = random.oneIn(3)   ? 32 * random.between(1, 5) + random.between(-1, 1)
                         : random.oneIn(3) ? random.between(1, 34)
                                           : random.between(1, 300);
    const bool isSigned = random.oneIn(2);
    const int exponent = random.between(-wordBits - 40, 40);
    return random.oneIn(5) ? slopeBiasType(isSigned, wordBits, 1.25, exponent, -3.5)
                           : fixedType(isSigned, wordBits, -exponent);
}

struct Case {
    NumericType type;
    Sizes shape;
    StoredIntegers words;
};
std::ostream& operator<<(std::ostream& out, const Case& c) {
    return out << fieldsOf(c.type) << " of size " << testing::PrintToString(c.shape)
               << (c.words.im.empty() ? "" : ", complex");
}
Case anyCase(Random& random) {
    const NumericType type = anyFixedType(random);
    const Sizes shape = randomShape(random);
    const bool isComplex = !type.isSlopeBiasScaled() && random.oneIn(2);
    return {type, shape, randomWords(random, type, elementCount(shape), isComplex)};
}

// Whole words.

TEST(FiInt, HoldsEveryWordInTheSmallestClassAndTakesItBack) {
    Random random(6401);
    int slopeBias = 0;
    for (int round = 0; round < 1500; ++round) {
        const Case c = anyCase(random);
        SCOPED_TRACE(testing::Message() << "seed 6401, round " << round << ": " << c);
        slopeBias += c.type.isSlopeBiasScaled();
        const fi array = arrayOf(c.type, c.shape, c.words);
        const HostCapture capture;
        const hvArrayOwner view(array.getIntHvArray());
        const int wordBits = c.type.getWordLength();
        ASSERT_EQ(hvGetClassID(view.get()), classOfWord(c.type.isSigned(), wordBits));
        ASSERT_EQ(sizesOf(view.get()), c.shape);
        ASSERT_EQ(hvIsComplex(view.get()), array.iscomplex());
        StoredIntegers wanted = c.words;
        if (wordBits > 64) {
            ASSERT_EQ(capture.warnings, std::vector{kOver64Bits});
            for (Integers* part : {&wanted.re, &wanted.im}) {
                for (Integer& word : *part) {
                    word = nearestDouble(Rational(word));
                }
            }
        } else {
            ASSERT_TRUE(capture.warnings.empty());
        }
        ASSERT_EQ(integersIn(view.get()), wanted);

        fi target = arrayOf(c.type, {1, 2}, randomWords(random, c.type, 2, false));
        target.setIntHvArray(view.get());
        if (wordBits <= 64) {
            ASSERT_EQ(storedIn(target), c.words);
            ASSERT_EQ(target.iscomplex(), array.iscomplex());
            ASSERT_EQ(sizesOf(target), c.shape);
        }
    }
    EXPECT_GT(slopeBias, 200);
}

TEST(FiInt, RoundsEntriesBetweenIntegersAndCutsThoseBeyondTheClass) {
    struct Row {
        bool isSigned;
        int wordBits;
        int exponent;
        double entry;
        double wanted;
    };
    const double inf = std::numeric_limits<double>::infinity();
    const Row rows[] = {
        {true, 8, -2, 0.125, 1},
        {true, 8, -2, -0.125, -1},
        {true, 8, -2, 0.1249, 0},
        // |x| + 0.5 rounds to 1.
        {true, 8, 0, 0.49999999999999994, 1},
        {true, 8, 0, -0.49999999999999994, -1},
        {true, 6, 0, 100, 100},
        {true, 8, 0, 200, -56},
        {false, 8, 0, -1, 255},
        {false, 16, 0, 65536.0 + 7, 7},
        {true, 32, 0, 0x1p31, -0x1p31},
        {true, 32, 0, -0x1p40, -0x1p31},
        {false, 32, 0, -1, 4294967295.0},
        {true, 16, 0, NAN, 0},
        {true, 32, 0, inf, -0x1p31},
        // From 2^52 on a sum with 0.5 would move odd ones.
        {false, 32, -20, 0x1.0000000000001p32, 1},
        {false, 32, -20, -0x1.0000000000001p32, 4294967295.0},
        {false, 32, -21, 0x1.0000000000001p32, 2},
        // 2^1030 is no double, and the words are there all the same.
        {true, 32, -1030, 0x1p-1030 * 5, 5},
        // Long words are cut toward zero.
        {true, 33, -3, 0.24, 1},
    };
    for (const Row& row : rows) {
        // Alone, and among words that vectors hold.
        for (const std::size_t count : {1U, 19U}) {
            const std::size_t place = count / 2;
            fi array = column(std::vector<double>(count), fixedType(row.isSigned, row.wordBits, -row.exponent));
            array.setIndex(place);
            array.setvalue(row.entry);
            const hvArrayOwner view(array.getIntHvArray());
            Integers wanted(count);
            wanted[place] = Integer(row.wanted);
            EXPECT_EQ(integersIn(view.get()).re, wanted) << row.wordBits << ' ' << row.entry;
        }
    }
}

TEST(FiInt, GivesValuesOfOtherTypesInTheClassOfTheirName) {
    const NumericType scaledDouble(TypeMode::ScaledDoubleBinaryPoint, true, 8, 1.0, -2, 0.0);
    const std::pair<NumericType, hvClassID> rows[] = {{plainType(TypeMode::Double), hvDOUBLE_CLASS},
                                                      {plainType(TypeMode::Single), hvSINGLE_CLASS},
                                                      {plainType(TypeMode::Boolean), hvLOGICAL_CLASS},
                                                      {scaledDouble, hvDOUBLE_CLASS}};
    for (const auto& [type, classId] : rows) {
        const bool isBoolean = type.isBoolean();
        const fi array = isBoolean ? column({0, 1, 1}, type) : column({0.5, -7.25, 300}, type);
        const std::vector<double> values = realParts(array);
        for (const bool asChunks : {false, true}) {
            const hvArrayOwner view(asChunks ? array.getIntArray(Chunks::Natural, Dimension::First)
                                             : array.getIntHvArray());
            EXPECT_EQ(hvGetClassID(view.get()), classId);
            fi target = column({0, 0}, type);
            target.setIntArray(view.get(), Chunks::Natural, Dimension::First);
            EXPECT_EQ(realParts(target), values) << fieldsOf(type);
        }
    }
}

TEST(FiInt, RealWorldValuesComeAsSingleAndLogicalToo) {
    const fi array = column({0.0, 1.0 + 0x1p-40, -3.0}, {0.5, 0.0, 2.0}, fixedType(true, 60, 45));
    const hvArrayOwner single(array.getSingleHvArray());
    EXPECT_EQ(hvGetClassID(single.get()), hvSINGLE_CLASS);
    EXPECT_TRUE(std::ranges::equal(hvGetTypedData<float>(single.get()), std::vector<float>{0, 1, -3}));
    EXPECT_TRUE(std::ranges::equal(hvGetTypedImagData<float>(single.get()), std::vector<float>{0.5, 0, 2}));
    const hvArrayOwner logical(array.getBooleanHvArray());
    EXPECT_FALSE(hvIsComplex(logical.get()));
    EXPECT_TRUE(std::ranges::equal(hvGetTypedData<hvLogical>(logical.get()), std::vector<hvLogical>{0, 1, 1}));
    const fi biased = column({2.75}, slopeBiasType(true, 16, 1.25, 0, 0.25));
    const hvArrayOwner realWorld(biased.getSingleHvArray());
    EXPECT_EQ(hvGetScalar(realWorld.get()), 2.75);
}

TEST(FiInt, StoresThroughTheQuantizer) {
    struct Row {
        hvClassID classId;
        bool isSigned;
        bool wraps;
        double value;
        double wanted;
        Counts counts;
    };
    const Row rows[] = {
        {hvINT16_CLASS, true, false, 300, 127, {1, 0, 1}},      {hvINT16_CLASS, true, true, 300, 44, {1, 0, 1}},
        {hvUINT8_CLASS, true, false, 255, 127, {1, 0, 1}},      {hvINT8_CLASS, false, false, -3, 0, {1, 0, 1}},
        {hvINT8_CLASS, false, true, -3, 253, {1, 0, 1}},        {hvUINT32_CLASS, true, true, 0x1p31, 0, {1, 0, 1}},
        {hvINT32_CLASS, true, false, -5, -5, {0, 0, 1}},        {hvUINT16_CLASS, false, false, 9, 9, {0, 0, 1}},
        {hvLOGICAL_CLASS, true, false, 1, 1, {0, 0, 1}},        {hvDOUBLE_CLASS, true, false, 2.5, 3, {0, 0, 1}},
        {hvSINGLE_CLASS, true, false, -0.25, 0, {0, 1, 1}},     {hvINT64_CLASS, true, false, -1e15, -128, {1, 0, 1}},
        {hvUINT64_CLASS, true, true, 0x1p40 + 6, 6, {1, 0, 1}},
    };
    const LoggingOn logging;
    for (const Row& row : rows) {
        const hvArrayOwner value(row.classId == hvLOGICAL_CLASS ? hvCreateLogicalScalar(true)
                                                                : hvCreateNumericMatrix(1, 1, row.classId));
        hvDispatchClass(row.classId, [&]<class T>(std::type_identity<T>) {
            hvGetTypedData<T>(value.get())[0] = static_cast<T>(row.value);
        });
        const NumericType type = fixedType(row.isSigned, 8, 3);
        fi array = column({0, 0}, type, rulesOf(Rounding::nearest, row.wraps));
        array.resetLogging();
        array.setIntHvArray(value.get());
        EXPECT_EQ(array.realdouble(0), std::ldexp(row.wanted, -3)) << row.classId << ' ' << row.value;
        EXPECT_EQ(sizesOf(array), (Sizes{1, 1}));
        EXPECT_EQ(countsOf(array), row.counts) << row.classId << ' ' << row.value;
        // Words of more than 64 bits take what a double can hold.
        fi wide = column({0, 0}, fixedType(true, 90, 3));
        if (row.classId != hvINT64_CLASS && row.classId != hvUINT64_CLASS) {
            wide.setIntHvArray(value.get());
            EXPECT_EQ(wide.realdouble(0), std::ldexp(std::floor(row.value + 0.5), -3));
        }
    }
}

TEST(FiInt, FollowsTheGlobalRulesWithoutRulesOfItsOwn) {
    fi array = column({0.5}, fixedType(true, 8, 4), rulesOf(), false);
    const GlobalRules rules(rulesOf(Rounding::floor, true));
    array.setIntHvArray(doubles({2.9, 129}).get());
    EXPECT_EQ(realParts(array), (std::vector<double>{2 / 16.0, -127 / 16.0}));
}

TEST(FiInt, TakesComplexityWithTheArray) {
    fi array = column({1}, fixedType(true, 8, 1));
    array.setIntHvArray(doubles({1, 2}, {3, -4}).get());
    EXPECT_EQ(imaginaryParts(array), (std::vector<double>{1.5, -2}));
    array.setIntHvArray(doubles({6}).get());
    EXPECT_TRUE(array.isreal());
    EXPECT_EQ(realParts(array), (std::vector<double>{3}));
}

// An array without elements has no imaginary data to point at, and still is complex.
TEST(FiInt, TakesComplexityWithAnEmptyArrayToo) {
    const std::pair<const char*, void (*)(fi & target, const hvArray* x, const fi& source)> stores[] = {
        {"values", [](fi& a, const hvArray* x, const fi&) { a.setDoubleHvArray(x); }},
        {"integers", [](fi& a, const hvArray* x, const fi&) { a.setIntHvArray(x); }},
        {"its own integers",
         [](fi& a, const hvArray*, const fi& source) { a.setIntHvArray(hvArrayOwner(source.getIntHvArray()).get()); }},
        {"its own chunks",
         [](fi& a, const hvArray*, const fi& source) {
             const hvArrayOwner words(source.getIntArray(Chunks::Natural, Dimension::First));
             a.setIntArray(words.get(), Chunks::Natural, Dimension::First);
         }},
        {"its own simulation words",
         [](fi& a, const hvArray*, const fi& source) {
             a.setDravelinIntArray(hvArrayOwner(source.getDravelinIntArray()).get());
         }},
    };
    const NumericType types[] = {fixedType(true, 8, 2), fixedType(false, 40, 2), fixedType(true, 64, 2),
                                 fixedType(true, 100, 2), plainType(TypeMode::Double)};
    for (const hvClassID id : {hvDOUBLE_CLASS, hvSINGLE_CLASS, hvINT8_CLASS, hvUINT32_CLASS, hvLOGICAL_CLASS}) {
        for (const hvComplexity complexity : {hvREAL, hvCOMPLEX}) {
            const bool isLogical = id == hvLOGICAL_CLASS;
            const std::size_t none[] = {0, 3};
            const hvArrayOwner host(isLogical ? hvCreateLogicalArray(2, none)
                                              : hvCreateNumericArray(2, none, id, complexity));
            const auto check = [&](const fi& array, const char* name) {
                EXPECT_EQ(array.iscomplex(), !isLogical && complexity == hvCOMPLEX)
                    << name << ", class " << id << ", " << fieldsOf(array.getNumericType());
                EXPECT_EQ(sizesOf(array), (Sizes{0, 3})) << name;
            };
            for (const NumericType& type : types) {
                HostCapture capture;
                const fi source(host.get(), type, rulesOf(), "", true, Operation::Assignment);
                check(source, "with rules");
                check(fi(host.get(), type, false, 0, "", Operation::Assignment), "without rules");
                for (const auto& [name, store] : stores) {
                    fi target = column({1, 2}, type);
                    store(target, host.get(), source);
                    check(target, name);
                }
            }
        }
    }
}

// Chunks.

TEST(FiIntArray, HoldsWordsInChunksAndTakesThemBack) {
    Random random(6402);
    for (int round = 0; round < 1500; ++round) {
        const Case c = anyCase(random);
        const auto mode = static_cast<Chunks>(random.between(0, 1));
        const auto dimension = static_cast<Dimension>(random.between(0, 1));
        SCOPED_TRACE(testing::Message() << "seed 6402, round " << round << ": " << c << " modes "
                                        << static_cast<int>(mode) << static_cast<int>(dimension));
        const int wordBits = c.type.getWordLength();
        const int count = mode == Chunks::AlwaysFour ? 4 : wordBits / 32 + (wordBits % 32 != 0);
        fi array = arrayOf(c.type, c.shape, c.words);
        if (array.numel() > 1) {
            array.setIndex(1);
        }
        const hvArrayOwner view(array.getIntArrayHvArray(mode, dimension));
        ASSERT_EQ(array.getIndex(), array.numel() > 1 ? 1U : 0U);
        StoredIntegers wanted;
        for (const Integer& word : c.words.re) {
            append(wanted.re, groupsOf(residue(word, wordBits), 32, count));
        }
        for (const Integer& word : c.words.im) {
            append(wanted.im, groupsOf(residue(word, wordBits), 32, count));
        }
        ASSERT_EQ(integersIn(view.get()), wanted);
        ASSERT_EQ(array.numChunks(), (wordBits + 31) / 32);
        Sizes sizes = c.shape;
        if (dimension == Dimension::Leading && sizes[0] != 1) {
            sizes.insert(sizes.begin(), static_cast<std::uint64_t>(count));
        } else {
            sizes[0] *= static_cast<std::uint64_t>(count);
        }
        while (sizes.size() > 2 && sizes.back() == 1) {
            sizes.pop_back();
        }
        ASSERT_EQ(hvGetClassID(view.get()), hvUINT32_CLASS);
        ASSERT_EQ(sizesOf(view.get()), sizes);
        ASSERT_EQ(hvIsComplex(view.get()), array.iscomplex());

        if (32 * count < wordBits) {
            continue;
        }
        fi target = arrayOf(c.type, {1, 2}, randomWords(random, c.type, 2, !c.type.isSlopeBiasScaled()));
        if (wordBits > 32) {
            target.setIntArray(view.get(), mode, dimension);
        } else {
            target.setIntArrayHvArray(view.get(), mode, dimension);
        }
        ASSERT_EQ(storedIn(target), c.words);
        ASSERT_EQ(target.iscomplex(), array.iscomplex());
        if (dimension == Dimension::First) {
            ASSERT_EQ(sizesOf(target), c.shape);
        }
    }
}

TEST(FiIntArray, KeepsWordsThatTheEntriesHoldBeyondTheType) {
    // 2^40 and more has bits above the word; the chunks are those of the sum with 2^40 for what is below zero.
    fi array = column({0}, fixedType(true, 40, 0));
    const std::pair<double, Integer> rows[] = {{0x1p40, twoToThe(40)},
                                               {0x1p40 + 0x1p20, twoToThe(40) + twoToThe(20)},
                                               {-0x1p40, 0},
                                               {-0x1p41, twoToThe(64) - twoToThe(40)},
                                               {2.75, 2},
                                               {-2.75, twoToThe(40) - 3},
                                               {NAN, 0}};
    for (const auto& [entry, wanted] : rows) {
        array.setvalue(entry);
        const hvArrayOwner view(array.getIntArray(Chunks::Natural, Dimension::First));
        EXPECT_EQ(integersIn(view.get()).re, groupsOf(wanted, 32, 2)) << entry;
    }
}

TEST(FiIntArray, DropsSingletonsOnlyWhenChunksStandInFront) {
    const std::pair<Sizes, Sizes> rows[] = {
        {{3, 3}, {3, 3}},    {{3, 1}, {1, 3}}, {{1, 3}, {1, 3}},       {{1, 1}, {1, 1}},    {{1, 1, 5}, {5, 1}},
        {{2, 1, 4}, {2, 4}}, {{0, 3}, {0, 3}}, {{2, 1, 1, 3}, {2, 3}}, {{1, 2, 3}, {2, 3}}, {{2, 3, 1, 4}, {2, 3, 4}},
    };
    for (const auto& [shape, wanted] : rows) {
        Random random(6403);
        const NumericType type = fixedType(true, 40, 7);
        const StoredIntegers words = randomWords(random, type, elementCount(shape), false);
        fi array = arrayOf(type, shape, words);
        const hvArrayOwner view(array.getIntArray(Chunks::Natural, Dimension::Leading));
        array.setIntArray(view.get(), Chunks::Natural, Dimension::Leading);
        EXPECT_EQ(sizesOf(array), wanted) << testing::PrintToString(shape);
        EXPECT_EQ(storedIn(array), words);
    }
    EXPECT_EQ(squeezedDimensions(Sizes{}), Sizes{});
}

// Refusals.

TEST(FiIntegers, ARefusedArrayLeavesTheObjectAsItWas) {
    const NumericType s40 = fixedType(true, 40, 7);
    const NumericType s8 = fixedType(true, 8, 1);
    const NumericType biased = slopeBiasType(true, 40, 1.5, -3, 1.0);
    const NumericType biased16 = slopeBiasType(true, 16, 1.5, -3, 1.0);
    const Raised notNumeric = {"fixedpoint:fi:int:notnumeric", "INT is only valid for numeric data"};
    const auto chunksOf = [](std::uint64_t rows) {
        return hostIntegers(hvUINT32_CLASS, {rows, 1}, {Integers(rows, Integer(1)), {}});
    };
    const hvArrayOwner complexChunks(hostIntegers(hvUINT32_CLASS, {2, 1}, {{1, 0}, {1, 0}}));
    struct Row {
        NumericType type;
        hvArrayOwner value;
        int chunkMode;  // 0 and 1 for the chunks, -1 for the whole words
        Raised wanted;
    };
    Row rows[] = {
        {s8, hvArrayOwner(hvCreateString("7")), -1, notNumeric},
        {s8, hvArrayOwner(hvCreateCellMatrix(1, 1)), -1, notNumeric},
        {s8, nullptr, -1, notNumeric},
        {s8, doubles({1, NAN}), -1, {"fixedpoint:nofixednan", "NaN cannot be converted to fixed-point."}},
        {s40, doubles({1}, {INFINITY}), -1, {"fixedpoint:nofixedinf", "Inf cannot be converted to fixed-point."}},
        {plainType(TypeMode::Boolean),
         doubles({1}, {1}),
         -1,
         {"fixedpoint:nologicalcomplex", "Complex values cannot be converted to boolean."}},
        {biased, doubles({1}, {1}), -1, kNoComplexSlopeBias},
        {biased16, hostIntegers(hvINT8_CLASS, {1, 1}, {{1}, {1}}), -1, kNoComplexSlopeBias},
        {biased, hostIntegers(hvUINT32_CLASS, {2, 1}, {{1, 0}, {1, 0}}), 0, kNoComplexSlopeBias},
        {s8, hvArrayOwner(hvCreateString("7")), 0, notNumeric},
        {s40, doubles({1, 0}), 0, kNotUint32},
        {s40, hostIntegers(hvINT32_CLASS, {2, 1}, {{1, 0}, {}}), 0, kNotUint32},
        {s40, hostIntegers(hvUINT64_CLASS, {1, 1}, {{1}, {}}), 0, kNotUint32},
        {s40, chunksOf(3), 0, notDivisibleBy(2)},
        {s40, chunksOf(6), 1, notDivisibleBy(4)},
        {fixedType(true, 96, 0), chunksOf(4), 0, notDivisibleBy(3)},
    };
    for (Row& row : rows) {
        const bool isBoolean = row.type.isBoolean();
        fi array = column({0, 1, isBoolean ? 1.0 : -2.0}, row.type);
        array.setIndex(2);
        const Snapshot before = snapshotOf(array);
        EXPECT_EQ(raisedBy([&] {
                      if (row.chunkMode < 0) {
                          array.setIntHvArray(row.value.get());
                      } else {
                          array.setIntArray(row.value.get(), static_cast<Chunks>(row.chunkMode), Dimension::First);
                      }
                  }),
                  row.wanted);
        EXPECT_EQ(snapshotOf(array), before) << row.wanted;
    }
    fi array = column({1, 2}, s40);
    array.setIntArrayHvArray(nullptr, Chunks::Natural, Dimension::First);
    EXPECT_EQ(realParts(array), (std::vector<double>{1, 2}));

    // Where complex values may have slope and bias, both ways take them.
    const ComplexSlopeBias allowed;
    fi biasedArray = column({0}, biased);
    biasedArray.setIntArray(complexChunks.get(), Chunks::Natural, Dimension::First);
    EXPECT_EQ(storedIn(biasedArray), (StoredIntegers{{1}, {1}}));
    biasedArray.setIntHvArray(doubles({5}, {-6}).get());
    EXPECT_EQ(storedIn(biasedArray), (StoredIntegers{{5}, {-6}}));
}

// Between chunks and words of 64 bits.

TEST(FiIntArray, RepacksChunksToLongWordsAndBack) {
    Random random(6404);
    int filled = 0;
    for (int round = 0; round < 1000; ++round) {
        const Case c = anyCase(random);
        SCOPED_TRACE(testing::Message() << "seed 6404, round " << round << ": " << c);
        const int wordBits = c.type.getWordLength();
        const int chunkCount = (wordBits + 31) / 32;
        const int longCount = (wordBits + 63) / 64;
        const fi array = arrayOf(c.type, c.shape, c.words);
        hvArray* const chunks = array.getIntArrayHvArray(Chunks::Natural, Dimension::First);
        const StoredIntegers chunksBefore = integersIn(chunks);
        ASSERT_EQ(array.convert32BitIntArrayTo64BitIntArray(chunks, false), chunks);
        ASSERT_EQ(array.convert64BitIntArrayTo32BitIntArray(chunks), chunks);

        hvArrayOwner longWords(array.convert32BitIntArrayTo64BitIntArray(chunks, true));
        ASSERT_EQ(hvGetClassID(longWords.get()), c.type.isSigned() && longCount == 1 ? hvINT64_CLASS : hvUINT64_CLASS);
        Sizes sizes = c.shape;
        sizes[0] *= static_cast<std::uint64_t>(longCount);
        ASSERT_EQ(sizesOf(longWords.get()), sizes);
        StoredIntegers wanted;
        const auto addLong = [&](const Integer& word, Integers& into) {
            Integer bits = residue(word, wordBits);
            if (chunkCount % 2 != 0 && word < 0) {
                bits += (twoToThe(32) - 1) * twoToThe(32 * chunkCount);
                ++filled;
            }
            append(into, groupsOf(bits, 64, longCount));
        };
        for (const Integer& word : c.words.re) {
            addLong(word, wanted.re);
        }
        for (const Integer& word : c.words.im) {
            addLong(word, wanted.im);
        }
        StoredIntegers got = integersIn(longWords.get());
        for (Integers* part : {&got.re, &got.im}) {
            for (Integer& word : *part) {
                word = residue(word, 64);
            }
        }
        ASSERT_EQ(got, wanted);

        hvArrayOwner back(array.convert64BitIntArrayTo32BitIntArray(longWords.release()));
        ASSERT_EQ(hvGetClassID(back.get()), c.type.isSigned() && chunkCount == 1 ? hvINT32_CLASS : hvUINT32_CLASS);
        for (const Integer& chunk : chunksBefore.re) {
            ASSERT_GE(chunk, 0);
        }
        StoredIntegers chunksAfter = integersIn(back.get());
        for (Integers* part : {&chunksAfter.re, &chunksAfter.im}) {
            for (Integer& chunk : *part) {
                chunk = residue(chunk, 32);
            }
        }
        ASSERT_EQ(chunksAfter, chunksBefore);
    }
    EXPECT_GT(filled, 100);
}

TEST(FiIntArray, RepackingTakesArraysOfOtherSizesAndLeavesOtherClasses) {
    const fi array = column({-1, -1}, fixedType(true, 70, 0));
    hvArray* const numbers = hvCreateDoubleScalar(3);
    EXPECT_EQ(array.convert32BitIntArrayTo64BitIntArray(numbers, true), numbers);
    EXPECT_EQ(array.convert64BitIntArrayTo32BitIntArray(numbers), numbers);
    hvDestroyArray(numbers);
    // More words than elements have no sign to be filled with, and what is left of a word is dropped.
    const hvArrayOwner longWords(array.convert32BitIntArrayTo64BitIntArray(
        hostIntegers(hvUINT32_CLASS, {10, 1}, {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, {}}).release(), true));
    const Integer ones = (twoToThe(32) - 1) << 32;
    const auto pair = [](unsigned low, unsigned high) { return Integer(low + (Integer(high) << 32)); };
    EXPECT_EQ(integersIn(longWords.get()).re,
              (Integers{pair(1, 2), 3 + ones, pair(4, 5), 6 + ones, pair(7, 8), Integer(9)}));
    // A complex object asks for imaginary words, which are zero.
    const fi complexArray = column({1}, {1}, fixedType(true, 70, 0));
    const hvArrayOwner chunks(complexArray.convert64BitIntArrayTo32BitIntArray(
        hostIntegers(hvUINT64_CLASS, {3, 1}, {{pair(1, 2), 3, 4}, {}}).release()));
    EXPECT_EQ(integersIn(chunks.get()), (StoredIntegers{{1, 2, 3}, {0, 0, 0}}));
}

TEST(FiIntArray, SignExtensionReachesTheEndOfTheTopChunk) {
    Random random(6405);
    for (int round = 0; round < 600; ++round) {
        const Case c = anyCase(random);
        SCOPED_TRACE(testing::Message() << "seed 6405, round " << round << ": " << c);
        const int wordBits = c.type.getWordLength();
        const int count = (wordBits + 31) / 32;
        const fi array = arrayOf(c.type, c.shape, c.words);
        const hvArrayOwner chunks(array.getIntArrayHvArray(Chunks::Natural, Dimension::First));
        const StoredIntegers plain = integersIn(chunks.get());
        array.addSignExtension32BitIntArray(chunks.get());
        StoredIntegers wanted;
        const int bits = wordBits > 32 ? 32 * count : wordBits;
        for (const Integer& word : c.words.re) {
            append(wanted.re, groupsOf(residue(word, bits), 32, count));
        }
        for (const Integer& word : c.words.im) {
            append(wanted.im, groupsOf(residue(word, bits), 32, count));
        }
        ASSERT_EQ(integersIn(chunks.get()), wanted);
        array.removeSignExtension32BitIntHvArray(chunks.get());
        ASSERT_EQ(integersIn(chunks.get()), plain);
    }
    // Words without sign keep what stands above them.
    const hvArrayOwner chunks(hostIntegers(hvUINT32_CLASS, {2, 1}, {{1, 0xFFFFFFFFU}, {}}));
    column({1}, fixedType(false, 40, 0)).removeSignExtension32BitIntHvArray(chunks.get());
    EXPECT_EQ(integersIn(chunks.get()).re, (Integers{1, 0xFFFFFFFFU}));
}

// Arrays made from chunks.

class FiClass : public OMClass {
 public:
    FiClass() { setName(fi::getVelmarClassName(), true); }
    void destroyObject(OMInterface* interface) override { delete fi::getObjFromPrhs(interface); }
};

TEST(FiIntArray, MakesAnArrayWithFloorAndSaturateOfItsOwn) {
    const hvArrayOwner chunks(hostIntegers(hvUINT32_CLASS, {4, 1}, {{5, 0xFF, 0, 0}, {}}));
    const auto make = [&](const hvArray* values, int wordBits, Chunks mode) {
        return fi::convertIntArrayToFiArray(values, true, wordBits, 3, mode, Dimension::First);
    };
    EXPECT_EQ(raisedBy([&] { hvDestroyArray(make(chunks.get(), 40, Chunks::Natural)); }).id,
              "fixedpoint:fi:notRegistered");
    OMApplication* const package =
        OMApplicationManager::addApplication(std::make_unique<OMApplication>(embedded::getEmbeddedPackageName(), true));
    auto record = std::make_unique<FiClass>();
    package->addLocalClass(record.get());
    record.release();
    {
        const hvArrayOwner natural(make(chunks.get(), 40, Chunks::Natural));
        const fi& array = fi::getFiFromHvArray(natural.get());
        EXPECT_EQ(storedIn(array).re, (Integers{5 - (Integer(1) << 32), 0}));
        EXPECT_EQ(fieldsOf(array.getNumericType()), fieldsOf(fixedType(true, 40, 3)));
        EXPECT_TRUE(array.getFimathIsLocal());
        EXPECT_EQ(array.getRoundMode(), embedded::RoundModeEnum::Floor);
        EXPECT_EQ(array.getOverflowMode(), embedded::OverflowModeEnum::Saturate);
        // The same through the simulation forms, which count four chunks; one of them ends its array.
        const hvArrayOwner four(fi::convertDravelinIntArrayToFiArray(chunks.get(), true, 40, 3));
        EXPECT_EQ(storedIn(fi::getFiFromHvArray(four.get())).re, (Integers{5 - (Integer(1) << 32)}));
        const hvArrayOwner stolen(
            fi::convertDravelinIntArrayToFiArraySteal(hvDuplicateArray(chunks.get()), true, 40, 3));
        EXPECT_EQ(storedIn(fi::getFiFromHvArray(stolen.get())).re, (Integers{5 - (Integer(1) << 32)}));
        // Short words come as integers; a fraction is rounded down and a long integer saturates.
        const hvArrayOwner words(make(doubles({2.9, -2.1, 1e6}).get(), 8, Chunks::Natural));
        EXPECT_EQ(storedIn(fi::getFiFromHvArray(words.get())).re, (Integers{2, -3, 127}));
    }
    EXPECT_EQ(raisedBy([&] { make(chunks.get(), 65, Chunks::Natural); }).id, "fixedpoint:fi:intarray:leadingdim");
    OMApplicationManager::removeApplication(package);
    EXPECT_EQ(raisedBy([] { fi::convertDravelinIntArrayToFiArray(); }),
              (Raised{"fixedpoint:fi:convertDravelinIntArrayToFiArray:NotDone", "This function is not done yet."}));
}

}  // namespace
