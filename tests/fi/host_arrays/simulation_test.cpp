// Data of the block diagram companion: host arrays of words and plain buffers, in both layouts of long words.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "host/bs.h"
#include "tests/support/errors_of_fi.h"
#include "tests/support/stored_integers.h"

namespace {

using Bytes = std::vector<unsigned char>;

const char* const kTooLong = "Dravelin fixed-point data types must have word lengths less than or equal to 128 bits";

NumericType anyWord(Random& random) {
    const int wordBits = random.oneIn(3)   ? 32 * random.between(1, 4) + random.between(-1, 0)
                         : random.oneIn(2) ? random.between(1, 33)
                                           : random.between(33, 128);
    return fixedType(random.oneIn(2), wordBits, random.between(-10, 140));
}

/// What a buffer holds, made byte by byte: words of the smallest size, or groups of chunks.
Bytes bufferOf(const NumericType& type, const StoredIntegers& words, bool isCompact) {
    const int wordBits = type.getWordLength();
    int bytes = wordBits <= 8 ? 1 : wordBits <= 16 ? 2 : 4;
    bool isExtended = true;
    if (wordBits > 32) {
        bytes = isCompact ? (wordBits + 31) / 32 * 4 : 16;
        isExtended = isCompact;
    }
    Bytes buffer;
    const auto add = [&](const Integer& word) {
        for (const Integer& byte : groupsOf(residue(word, isExtended ? 8 * bytes : wordBits), 8, bytes)) {
            buffer.push_back(static_cast<unsigned char>(byte.get_ui()));
        }
    };
    for (std::size_t i = 0; i < words.re.size(); ++i) {
        add(words.re[i]);
        if (!words.im.empty()) {
            add(words.im[i]);
        }
    }
    return buffer;
}

TEST(FiSimulation, BuffersHoldTheWordsAndGiveThemBack) {
    Random random(6501);
    for (int round = 0; round < 2000; ++round) {
        const NumericType type = anyWord(random);
        const Sizes shape = randomShape(random);
        const bool isComplex = random.oneIn(2);
        const bool isCompact = random.oneIn(2);
        const StoredIntegers words = randomWords(random, type, elementCount(shape), isComplex);
        SCOPED_TRACE(testing::Message() << "seed 6501, round " << round << ": " << fieldsOf(type) << " of size "
                                        << testing::PrintToString(shape) << (isComplex ? " complex" : "")
                                        << (isCompact ? " compact" : ""));
        const CompactWords layout(isCompact);
        const fi array = arrayOf(type, shape, words);
        const Bytes wanted = bufferOf(type, words, isCompact);

        Bytes given(wanted.size() + 1, 0xA5);
        ASSERT_EQ(array.createDVArray(given.data()), given.data());
        ASSERT_EQ(given.back(), 0xA5);
        ASSERT_TRUE(std::equal(wanted.begin(), wanted.end(), given.begin()));
        void* const made = array.createDVArray(nullptr);
        ASSERT_TRUE(wanted.empty() || std::memcmp(made, wanted.data(), wanted.size()) == 0);
        bsFree(made);

        const fi rebuilt(wanted.data(), shape.data(), shape.size(), type, rulesOf(), isComplex, "", true,
                         Operation::Assignment);
        ASSERT_EQ(storedIn(rebuilt), words);
        ASSERT_EQ(sizesOf(rebuilt), shape);
        if (words.re.empty()) {
            continue;
        }
        // One element alone, at the current index.
        const StoredIntegers one = randomWords(random, type, 1, isComplex);
        StoredIntegers changed = words;
        const auto index = static_cast<std::size_t>(random.between(0, static_cast<int>(words.re.size()) - 1));
        changed.re[index] = one.re[0];
        if (isComplex) {
            changed.im[index] = one.im[0];
        }
        fi target(rebuilt);
        target.setIndex(index);
        target.setFromDVArray(bufferOf(type, one, isCompact).data(), false);
        ASSERT_EQ(target.getIndex(), index);
        ASSERT_EQ(storedIn(target), changed);
        target.setIndex(index);
        target.setFromDVArray(wanted.data(), true);
        ASSERT_EQ(target.getIndex(), index);
        ASSERT_EQ(storedIn(target), words);
    }
}

TEST(FiSimulation, ShortWordsOfABufferAreTakenAsTheyAre) {
    // The byte holds more than five bits, and nothing is quantized or counted.
    const LoggingOn logging;
    fi array = column({0, 0}, fixedType(true, 5, 1));
    array.resetLogging();
    const std::int8_t bytes[] = {100, -1};
    array.setFromDVArray(bytes, true);
    EXPECT_EQ(realParts(array), (std::vector<double>{50, -0.5}));
    EXPECT_EQ(countsOf(array), Counts{});
}

TEST(FiSimulation, HostArraysHoldTheWordsAndGiveThemBack) {
    Random random(6502);
    for (int round = 0; round < 1000; ++round) {
        const NumericType type = anyWord(random);
        const Sizes shape = randomShape(random);
        const bool isComplex = random.oneIn(2);
        const bool isCompact = random.oneIn(2);
        const StoredIntegers words = randomWords(random, type, elementCount(shape), isComplex);
        SCOPED_TRACE(testing::Message() << "seed 6502, round " << round << ": " << fieldsOf(type)
                                        << (isCompact ? " compact" : ""));
        const CompactWords layout(isCompact);
        const fi array = arrayOf(type, shape, words);
        const hvArrayOwner values(array.getDravelinIntArray());
        const int wordBits = type.getWordLength();
        StoredIntegers wanted = words;
        if (wordBits > 32) {
            const int count = isCompact ? (wordBits + 31) / 32 : 4;
            wanted = {};
            for (const Integer& word : words.re) {
                append(wanted.re, groupsOf(residue(word, isCompact ? 32 * count : wordBits), 32, count));
            }
            for (const Integer& word : words.im) {
                append(wanted.im, groupsOf(residue(word, isCompact ? 32 * count : wordBits), 32, count));
            }
            ASSERT_EQ(hvGetClassID(values.get()), hvUINT32_CLASS);
        }
        ASSERT_EQ(integersIn(values.get()), wanted);
        const hvArrayOwner same(array.getDravelinArray());
        ASSERT_EQ(integersIn(same.get()), wanted);
        fi target = arrayOf(type, {2, 2}, randomWords(random, type, 4, false));
        target.setDravelinIntArray(values.get());
        ASSERT_EQ(storedIn(target), words);
        ASSERT_EQ(sizesOf(target), shape);
        if (wordBits > 32 && isCompact) {
            // The same in words of 64 bits, of either sign.
            const int longCount = (wordBits + 63) / 64;
            StoredIntegers longWords;
            for (const Integer& word : words.re) {
                append(longWords.re, groupsOf(residue(word, 128), 64, longCount));
            }
            for (const Integer& word : words.im) {
                append(longWords.im, groupsOf(residue(word, 128), 64, longCount));
            }
            Sizes sizes = shape;
            sizes[0] *= static_cast<std::uint64_t>(longCount);
            fi other = column({0}, type);
            other.setDravelinIntArray(
                hostIntegers(random.oneIn(2) ? hvINT64_CLASS : hvUINT64_CLASS, sizes, longWords).get());
            ASSERT_EQ(storedIn(other), words);
        }
        // Four chunks without extension whatever the feature says.
        const hvArrayOwner four(array.getDravelinArray32MemoryFootPrint());
        const CompactWords off(false);
        const hvArrayOwner fourChunks(array.getDravelinIntArray());
        ASSERT_EQ(integersIn(four.get()), integersIn(fourChunks.get()));
    }
}

TEST(FiSimulation, WholeWordsGoWithTheFeature) {
    const fi array = column({-1}, fixedType(true, 40, 0));
    const CompactWords off(false);
    // Whole words of 33 to 64 bits are made from the same chunks, so each has a zero word beside it then.
    const hvArrayOwner words(array.getIntHvArray());
    EXPECT_EQ(sizesOf(words.get()), (Sizes{2, 1}));
    EXPECT_EQ(integersIn(words.get()).re, (Integers{twoToThe(40) - 1, 0}));
}

TEST(FiSimulation, ARealArrayOf64BitWordsLeavesAComplexObjectComplex) {
    fi array = column({1}, {5}, fixedType(true, 40, 0));
    array.setDravelinIntArray(hostIntegers(hvINT64_CLASS, {2, 1}, {{7, -8}, {}}).get());
    EXPECT_TRUE(array.iscomplex());
    EXPECT_EQ(storedIn(array), (StoredIntegers{{7, -8}, {0, 0}}));
    array.setDravelinIntArray(hostIntegers(hvUINT32_CLASS, {2, 1}, {{7, 0}, {}}).get());
    EXPECT_TRUE(array.isreal());
}

TEST(FiSimulation, OtherTypesGiveAndTakeTheirValues) {
    const NumericType scaledDouble(TypeMode::ScaledDoubleBinaryPoint, true, 40, 1.0, -2, 0.0);
    for (const NumericType& type : {plainType(TypeMode::Double), plainType(TypeMode::Single), scaledDouble}) {
        const fi array = column({0.25, -3, 1024}, {1, 2, 3}, type);
        const hvArrayOwner values(array.getDravelinIntArray());
        EXPECT_EQ(hvGetClassID(values.get()), type.isSingle() ? hvSINGLE_CLASS : hvDOUBLE_CLASS);
        fi target = column({0}, type);
        target.setDravelinIntArray(values.get());
        EXPECT_EQ(snapshotOf(target), snapshotOf(array));
        const hvArrayOwner four(array.getDravelinArray32MemoryFootPrint());
        EXPECT_EQ(hvGetClassID(four.get()), hvGetClassID(values.get()));
        if (type.isDouble()) {
            double buffer[6];
            array.createDVArray(buffer);
            EXPECT_EQ(std::vector<double>(buffer, buffer + 6), (std::vector<double>{0.25, 1, -3, 2, 1024, 3}));
        }
    }
    // Logical data is not copied.
    const fi flags = column({1, 0}, plainType(TypeMode::Boolean));
    unsigned char bytes[] = {9, 9};
    EXPECT_EQ(flags.createDVArray(bytes), bytes);
    EXPECT_EQ(bytes[0] + bytes[1], 18);
    EXPECT_EQ(flags.createDVArray(nullptr), nullptr);
}

TEST(FiSimulation, WordsBeyond128BitsWarnOnTheWayOut) {
    const fi array = column({-1}, fixedType(true, 130, 0));
    const auto outcome = [](bool isCompact, auto action) {
        const HostCapture capture;
        const CompactWords layout(isCompact);
        action();
        return capture.warnings;
    };
    const std::vector<HostCapture::Warning> wanted = {{"", kTooLong}};
    EXPECT_EQ(outcome(true,
                      [&] {
                          const hvArrayOwner values(array.getDravelinIntArray());
                          EXPECT_EQ(integersIn(values.get()).re, Integers(5, Integer(0xFFFFFFFFU)));
                      }),
              wanted);
    EXPECT_EQ(outcome(false,
                      [&] {
                          const hvArrayOwner values(array.getDravelinIntArray());
                          EXPECT_EQ(integersIn(values.get()).re, Integers(4, Integer(0xFFFFFFFFU)));
                      }),
              wanted);
    EXPECT_EQ(outcome(true, [&] { EXPECT_EQ(array.getDravelinArray32MemoryFootPrint(), nullptr); }), wanted);
    const fi limit = column({-1}, fixedType(true, 128, 0));
    EXPECT_TRUE(outcome(true, [&] { hvDestroyArray(limit.getDravelinIntArray()); }).empty());
}

TEST(FiSimulation, ARefusedArrayLeavesTheObjectAsItWas) {
    const NumericType s40 = fixedType(true, 40, 0);
    const NumericType scaledDouble(TypeMode::ScaledDoubleBinaryPoint, true, 40, 1.0, -2, 0.0);
    const Raised noValues = {
        "fixedpoint:fi:intarray:invaliddatatype",
        "The integer array must be of class double or single when the fi is double, single or scaled-double."};
    const Raised noWords = {
        "fixedpoint:fi:intarray:not_32or64BitInt",
        "Integer array must be (u)int32 or (u)int64 when wordLength is greater than 32 or 64 bits."};
    struct Row {
        NumericType type;
        bool isCompact;
        hvClassID classId;
        std::uint64_t rows;
        Raised wanted;
    };
    const Row rows[] = {
        {plainType(TypeMode::Double), true, hvINT32_CLASS, 1, noValues},
        {plainType(TypeMode::Single), true, hvINT64_CLASS, 1, noValues},
        {plainType(TypeMode::Boolean), true, hvUINT8_CLASS, 1, noValues},
        {scaledDouble, false, hvUINT32_CLASS, 2, noValues},
        {fixedType(true, 129, 0), true, hvUINT32_CLASS, 5, {"fixedpoint:fi:dravelinarray:TooBigWordLength", kTooLong}},
        {s40, true, hvDOUBLE_CLASS, 2, noWords},
        {s40, true, hvINT16_CLASS, 2, noWords},
        {s40, false, hvDOUBLE_CLASS, 4, kNotUint32},
        // Words of 64 bits come under the feature alone, and signed chunks are let in and then refused.
        {s40, false, hvINT64_CLASS, 4, kNotUint32},
        {s40, true, hvINT32_CLASS, 2, kNotUint32},
        {s40, true, hvUINT32_CLASS, 3, notDivisibleBy(2)},
        {s40, false, hvUINT32_CLASS, 2, notDivisibleBy(4)},
    };
    for (const Row& row : rows) {
        const CompactWords layout(row.isCompact);
        const hvArrayOwner values(hvCreateNumericMatrix(row.rows, 1, row.classId));
        fi array = column({0, 1, 1}, row.type);
        array.setIndex(2);
        const Snapshot before = snapshotOf(array);
        EXPECT_EQ(raisedBy([&] { array.setDravelinIntArray(values.get()); }), row.wanted) << row.classId;
        EXPECT_EQ(snapshotOf(array), before);
        if (row.classId == hvINT64_CLASS) {
            EXPECT_EQ(raisedBy([&] { array.setIntHvArray(values.get()); }), row.wanted);
        }
    }
    EXPECT_EQ(raisedBy([&] { column({0}, s40).setDravelinIntArray(nullptr); }), noWords);
    const Raised noBuffer = {"fixedpoint:fi:setDVArray:DataTypeNotSupported", "Data type not supported"};
    const Sizes sizes = {1, 1};
    const double buffer[] = {1};
    for (const NumericType& type : {plainType(TypeMode::Double), plainType(TypeMode::Boolean), scaledDouble}) {
        EXPECT_EQ(raisedBy([&] { column({0}, type).setFromDVArray(buffer, true); }), noBuffer);
        EXPECT_EQ(
            raisedBy([&] { fi(buffer, sizes.data(), 2, type, rulesOf(), false, "", true, Operation::Assignment); }),
            noBuffer);
    }
    EXPECT_EQ(raisedBy([&] {
                  fi(buffer, sizes.data(), 2, slopeBiasType(true, 8, 1.5, 0, 0), rulesOf(), true, "", true,
                     Operation::Assignment);
              }).id,
              "fixedpoint:fi:nocomplexslopebias");
}

}  // namespace
