// Bitwise operations and single bits of arrays, against big integers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <tuple>
#include <utility>

#include "tests/support/arrays.h"
#include "tests/support/errors_of_fi.h"
#include "tests/support/random_arrays_of_fi.h"
#include "tests/support/rules.h"

namespace {

struct Bitwise {
    const char* name;
    fi& (fi::*operation)(const fi&) const;
    Integer (*onIntegers)(const Integer&, const Integer&);
};
const Bitwise kBitwise[] = {
    {"bitand", &fi::fibitand, [](const Integer& x, const Integer& y) { return Integer(x & y); }},
    {"bitor", &fi::fibitor, [](const Integer& x, const Integer& y) { return Integer(x | y); }},
    {"bitxor", &fi::bitxor, [](const Integer& x, const Integer& y) { return Integer(x ^ y); }},
};

/// Precisions that sometimes put short words into multi-precision bodies.
unsigned randomPrecision(Random& random) {
    return random.oneIn(4) ? 80 : 0;
}

TEST(FiBits, CombineLikeIntegers) {
    Random random(50901);
    for (int round = 0; round < 3000; ++round) {
        const NumericType type = randomFixedType(random, 200, true);
        const auto count = static_cast<std::uint64_t>(random.between(0, random.oneIn(4) ? 20 : 4));
        const auto make = [&](bool isScalar) {
            const bool isComplex = !type.isSlopeBiasScaled() && random.oneIn(3);
            return randomArray(random, type, isScalar ? Sizes{1, 1} : Sizes{count, 1, 2}, isComplex, rulesOf(), true,
                               randomPrecision(random));
        };
        const KnownArray a = make(random.oneIn(4));
        const KnownArray b = make(random.oneIn(4));
        const Bitwise& bitwise = random.pick(kBitwise);
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " round " << round << ' ' << bitwise.name << ' '
                                        << a.description() << ", " << b.description());
        fi::setLogging(random.oneIn(2));
        const FiOwner result(&(a.array.get()->*bitwise.operation)(*b.array));
        fi::setLogging(false);

        const std::size_t wantedCount = a.re.size() == 1 ? b.re.size() : a.re.size();
        const auto combined = [&](const std::vector<Integer>& x, const std::vector<Integer>& y) {
            const auto at = [](const std::vector<Integer>& words, std::size_t i) {
                return words.empty() ? Integer(0) : words[words.size() == 1 ? 0 : i];
            };
            std::vector<Integer> words;
            for (std::size_t i = 0; i < wantedCount; ++i) {
                words.push_back(bitwise.onIntegers(at(x, i), at(y, i)));
            }
            return words;
        };
        const bool isAnd = bitwise.operation == &fi::fibitand;
        const bool isComplex =
            isAnd ? a.array->iscomplex() && b.array->iscomplex() : a.array->iscomplex() || b.array->iscomplex();
        ASSERT_EQ(result->iscomplex(), isComplex);
        ASSERT_TRUE(holdsWords(*result, combined(a.re, b.re), isComplex ? combined(a.im, b.im) : a.im,
                               type.getFixedExponent()) ||
                    !isComplex);
        ASSERT_TRUE(holdsWords(*result, false, combined(a.re, b.re), type.getFixedExponent()));
        ASSERT_EQ(sizesOf(*result), sizesOf(a.re.size() == 1 ? *b.array : *a.array));
        ASSERT_EQ(fieldsOf(result->getNumericType()), fieldsOf(type));
        ASSERT_EQ(countsOf(*result), Counts{});
        ASSERT_TRUE(isUnchanged(a));
        ASSERT_TRUE(isUnchanged(b));
    }
}

TEST(FiBits, ComplementLikeIntegers) {
    Random random(50902);
    for (int round = 0; round < 1000; ++round) {
        const NumericType type = randomFixedType(random, 200, true);
        const KnownArray known =
            randomArray(random, type, {2, 1, static_cast<std::uint64_t>(random.between(0, random.oneIn(4) ? 20 : 2))},
                        !type.isSlopeBiasScaled() && random.oneIn(2), rulesOf(), true, randomPrecision(random));
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << ' ' << known.description());
        const FiOwner result(&known.array->bitcmp());
        const auto complemented = [&](std::vector<Integer> words) {
            for (Integer& word : words) {
                word = wrapped(~word, type.isSigned(), type.getWordLength());
            }
            return words;
        };
        ASSERT_TRUE(holdsWords(*result, complemented(known.re), complemented(known.im), type.getFixedExponent()));
        ASSERT_EQ(sizesOf(*result), sizesOf(*known.array));
        ASSERT_EQ(fieldsOf(result->getNumericType()), fieldsOf(type));
        ASSERT_TRUE(isUnchanged(known));
    }
}

// Values that were not written through the quantizer keep their bits above the word, as single elements do, beside
// others that were.
TEST(FiBits, OfValuesOutsideTheTypeAreThoseOfElements) {
    Random random(50903);
    for (int round = 0; round < 2000; ++round) {
        const NumericType type = randomFixedType(random, 52, false);
        const int bits = type.getWordLength();
        constexpr std::uint64_t kCount = 18;
        const int sound = random.between(1, 20);
        const auto array = [&] {
            KnownArray made = randomArray(random, type, {kCount, 1}, false, rulesOf(), true, 0);
            for (std::uint64_t i = 0; i < kCount; ++i) {
                if (random.between(1, 20) > sound) {
                    const_cast<number&>(made.array->real(i))
                        .setvalue(random.oneIn(2)
                                      ? random.anyDouble()
                                      : random.real(type.getFixedExponent() - 3, type.getFixedExponent() + bits + 4));
                }
            }
            made.array->setIndex(0);
            return std::move(made.array);
        };
        const auto left = array();
        const auto right = array();
        const fi& a = *left;
        const fi& b = *right;
        const FiOwner both(&a.fibitand(b));
        const FiOwner either(&a.fibitor(b));
        const FiOwner one(&a.bitxor(b));
        const FiOwner complements(&a.bitcmp());
        const int position = random.between(1, bits);
        const hvArrayOwner bit(hvCreateDoubleScalar(position));
        const bool isSet = random.oneIn(2);
        const hvArrayOwner value(hvCreateDoubleScalar(isSet ? 1.0 : 0.0));
        const FiOwner changed(&a.bitset(bit.get(), value.get()));
        const auto call = [&](auto operation, number x, const number& y) {
            (x.*operation)(y, type.isSigned(), bits, 1.0, type.getFixedExponent(), 0.0, std::uint64_t{1} << bits);
            return x.todouble();
        };
        for (std::uint64_t i = 0; i < kCount; ++i) {
            SCOPED_TRACE(testing::Message() << "round " << round << " element " << i << " of " << type.qpointstr());
            const auto expectSame = [&](const FiOwner& result, double wanted) {
                const double made = result->realdouble(i);
                EXPECT_TRUE(sameBits(made, wanted) || (std::isnan(made) && std::isnan(wanted)));
            };
            expectSame(both, call(&number::doublebitand, a.real(i), b.real(i)));
            expectSame(either, call(&number::doublebitor, a.real(i), b.real(i)));
            expectSame(one, call(&number::doublebitxor, a.real(i), b.real(i)));
            number element(a.real(i));
            element.bitcmp(type.isSigned(), bits, 1.0, type.getFixedExponent(), 0.0, (std::uint64_t{1} << bits) - 1,
                           std::uint64_t{1} << bits);
            expectSame(complements, element.todouble());
            element = a.real(i);
            element.bitset(position, isSet, type.isSigned(), bits, 1.0, type.getFixedExponent(), 0.0,
                           std::uint64_t{1} << bits);
            expectSame(changed, element.todouble());
        }
    }
}

// Single bits.

constexpr hvClassID kClasses[] = {hvLOGICAL_CLASS, hvDOUBLE_CLASS, hvSINGLE_CLASS, hvINT8_CLASS,
                                  hvUINT8_CLASS,   hvINT16_CLASS,  hvUINT16_CLASS, hvINT32_CLASS,
                                  hvUINT32_CLASS,  hvINT64_CLASS,  hvUINT64_CLASS};

/// A host array of the class with these whole numbers.
hvArrayOwner hostArray(hvClassID classId, const Sizes& sizes, const std::vector<double>& values) {
    hvArrayOwner array(classId == hvLOGICAL_CLASS ? hvCreateLogicalArray(sizes.size(), sizes.data())
                                                  : hvCreateNumericArray(sizes.size(), sizes.data(), classId));
    hvDispatchClass(classId, [&]<class T>(std::type_identity<T>) {
        std::ranges::transform(values, hvGetTypedData<T>(array.get()).begin(),
                               [](double value) { return static_cast<T>(value); });
    });
    return array;
}

std::vector<int> bitsOf(hvArray* bits) {
    const hvArrayOwner owner(bits);
    const auto data = hvGetTypedData<std::uint8_t>(static_cast<const hvArray*>(bits));
    return {data.begin(), data.end()};
}

bool hasBit(const Integer& word, double position) {
    return mpz_tstbit(word.get_mpz_t(), static_cast<mp_bitcnt_t>(position) - 1) != 0;
}

TEST(FiBits, AreReadAndSetByPositionsOfEveryClass) {
    Random random(50904);
    for (int round = 0; round < 2000; ++round) {
        const hvClassID classes[] = {random.pick(kClasses), random.pick(kClasses)};
        const NumericType type = randomFixedType(random, 200, true);
        const int bits = type.getWordLength();
        const int exponent = type.getFixedExponent();
        const Sizes many{static_cast<std::uint64_t>(random.between(2, random.oneIn(4) ? 20 : 3)), 1, 2};
        const Sizes one{1, 1};
        const KnownArray known =
            randomArray(random, type, random.oneIn(3) ? one : many, false, rulesOf(), true, randomPrecision(random));
        const auto numel = known.re.size();
        const Sizes positionSizes = random.oneIn(3) ? one : many;
        const std::size_t count = positionSizes == one ? 1 : static_cast<std::size_t>(many[0] * many[2]);
        std::vector<double> positions;
        std::vector<double> values;
        const int last = classes[0] == hvLOGICAL_CLASS ? 1 : classes[0] == hvINT8_CLASS ? std::min(bits, 127) : bits;
        for (std::size_t i = 0; i < count; ++i) {
            positions.push_back(random.between(1, last));
            values.push_back(random.between(0, 1));
        }
        const hvArrayOwner bit = hostArray(classes[0], positionSizes, positions);
        const hvArrayOwner value = hostArray(classes[1], positionSizes, values);
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " round " << round << " classes " << classes[0]
                                        << ' ' << classes[1] << ' ' << known.description() << " at "
                                        << testing::PrintToString(positions));
        const auto wordAt = [&](std::size_t i) { return known.re[numel == 1 ? 0 : i]; };
        const auto positionAt = [&](std::size_t i) { return positions[count == 1 ? 0 : i]; };
        if (count == 1 || numel > 1) {
            std::vector<int> wanted;
            for (std::size_t i = 0; i < numel; ++i) {
                wanted.push_back(hasBit(wordAt(i), positionAt(i)) ? 1 : 0);
            }
            ASSERT_EQ(bitsOf(known.array->bitget(bit.get())), wanted);
            ASSERT_EQ(bitsOf(known.array->bitget(
                          fi(bit.get(), fixedType(false, 16, 0), rulesOf(), "", true, Operation::Assignment))),
                      wanted);
        }
        std::vector<Integer> wanted;
        for (std::size_t i = 0; i < std::max(numel, count); ++i) {
            Integer word = wordAt(i);
            const auto place = static_cast<mp_bitcnt_t>(positionAt(i)) - 1;
            (values[count == 1 ? 0 : i] != 0.0 ? mpz_setbit : mpz_clrbit)(word.get_mpz_t(), place);
            wanted.push_back(wrapped(word, type.isSigned(), bits));
        }
        const FiOwner result(&known.array->bitset(bit.get(), value.get()));
        ASSERT_TRUE(holdsWords(*result, wanted, {}, exponent));
        ASSERT_EQ(sizesOf(*result), numel == 1 && count > 1 ? positionSizes : sizesOf(*known.array));
        ASSERT_EQ(fieldsOf(result->getNumericType()), fieldsOf(type));
        ASSERT_EQ(result->getFimathIsLocal(), true);
        ASSERT_TRUE(isUnchanged(known));
    }
}

TEST(FiBits, SetInPlaceTheCurrentElement) {
    for (const unsigned precision : {0U, 80U}) {
        fi array(2, 1, fixedType(true, 8, 0), rulesOf(), false, "", true, Operation::Assignment, precision);
        array.setIndex(1);
        array.bitset(8, true);
        EXPECT_EQ(realParts(array), (std::vector<double>{0.0, -128.0}));
        array.setIndex(1);
        EXPECT_EQ(raisedBy([&] { array.bitset(9, true); }),
                  (Raised{"fixedpoint:fi:bitset:BITOutOfRange",
                          "A bit position is not an integer in the appropriate range."}));
        array.bitset(8, false);
        EXPECT_EQ(realParts(array), (std::vector<double>{0.0, 0.0}));
    }
}

TEST(FiBits, TakeFractionsOfPositionsAndAnyValueButZero) {
    const fi array = column({0.0, 0.0}, fixedType(false, 8, 0));
    const Sizes two{2, 1};
    EXPECT_EQ(realParts(*FiOwner(&array.bitset(hostArray(hvDOUBLE_CLASS, two, {2.9, 1.0}).get(),
                                               hostArray(hvDOUBLE_CLASS, two, {0.5, -3.0}).get()))),
              (std::vector<double>{2.0, 1.0}));
    EXPECT_EQ(
        bitsOf(column({2.0, 5.0}, fixedType(false, 8, 0)).bitget(hostArray(hvDOUBLE_CLASS, two, {2.9, 3.1}).get())),
        (std::vector<int>{1, 1}));
    // One position and value for all elements; two of each for one element, whose result takes their dimensions.
    const Sizes one{1, 1};
    EXPECT_EQ(realParts(*FiOwner(
                  &array.bitset(hostArray(hvINT8_CLASS, one, {4}).get(), hostArray(hvLOGICAL_CLASS, one, {1}).get()))),
              (std::vector<double>{8.0, 8.0}));
}

TEST(FiBits, OfNothingAreNothing) {
    const Sizes sizes{0, 3};
    const fi empty(sizes.data(), 2, fixedType(true, 8, 0), rulesOf(), false, "", false, Operation::Assignment, 0);
    const hvArrayOwner one = doubles(1, 1, {1.0});
    for (const hvArrayOwner& positions : {doubles(1, 1, {100.0}), doubles(0, 0, {}), doubles(5, 1, {1, 2, 3, 4, 5})}) {
        const hvArrayOwner bits(empty.bitget(positions.get()));
        EXPECT_EQ(dimensionsOf(bits), sizes);
        EXPECT_EQ(hvGetClassID(bits.get()), hvUINT8_CLASS);
    }
    const FiOwner set(&empty.bitset(one.get(), one.get()));
    EXPECT_EQ(sizesOf(*set), sizes);
    EXPECT_FALSE(set->getFimathIsLocal());
    EXPECT_EQ(raisedBy([&] {
                  hvDestroyArray(empty.bitget(doubles(2, 1, {std::numeric_limits<double>::infinity(), 1.0}).get()));
              }),
              (Raised{"fixedpoint:fi:bitGet:BITOutOfRange", "BIT must be integer."}));
}

// Errors.

TEST(FiBits, RefuseOperandsThatDoNotFit) {
    const fi a = column({1.0, 2.0}, fixedType(true, 8, 0));
    const NumericType scaledDouble(TypeMode::ScaledDoubleBinaryPoint, true, 8, 1.0, 0, 0.0);
    const fi withoutBits = scalar(1.0, scaledDouble);
    for (const Bitwise& bitwise : kBitwise) {
        const auto combine = [&](const fi& x, const fi& y) {
            return raisedBy([&] { delete &(x.*bitwise.operation)(y); });
        };
        EXPECT_EQ(combine(withoutBits, a), scaledDoubleOn(bitwise.name));
        // The data type is checked only on the left side; on the right it makes the types differ.
        for (const fi& other : {withoutBits, column({1.0, 2.0}, fixedType(true, 8, 1)),
                                column({1.0, 2.0}, fixedType(false, 8, 0)), scalar(1.0, fixedType(true, 9, 0))}) {
            EXPECT_EQ(combine(a, other), (Raised{"fixedpoint:fi:bitAndXorOr:mixedNumericTypes",
                                                 "Bit AND/OR/XOR must have matching operand types."}));
        }
        EXPECT_EQ(combine(a, column({1.0, 2.0, 3.0}, fixedType(true, 8, 0))), kSizesDiffer);
    }
    EXPECT_EQ(raisedBy([&] { delete &withoutBits.bitandorxor(a, &number::mpbitor); }), scaledDoubleOn("bitand/or/xor"));
    EXPECT_EQ(raisedBy([&] { delete &withoutBits.bitcmp(); }), scaledDoubleOn("bitcmp"));
    EXPECT_EQ(raisedBy([&] { hvDestroyArray(withoutBits.bitget(doubles(0, 0, {}).get())); }), scaledDoubleOn("bitget"));
    EXPECT_EQ(raisedBy([&] { delete &withoutBits.bitset(doubles(0, 0, {}).get(), doubles(0, 0, {}).get()); }),
              scaledDoubleOn("bitset"));
}

TEST(FiBits, RefusePositionsThatAreNone) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const auto get = [](const std::string& problem, const std::string& message) {
        return fiError("bitget:" + problem, message);
    };
    const auto set = [](const std::string& problem, const std::string& message) {
        return fiError("bitset:" + problem, message);
    };
    const std::string badPosition = "A bit position is not an integer in the appropriate range.";
    const Raised getOutside = get("BITOutOfRange", badPosition);
    const Raised setOutside = set("BITOutOfRange", badPosition);
    const Raised getSize = get("sizeMismatch", "Inputs must have the same size.");
    const Raised setEmpty = set("BITOutOfRange", "BIT must be integer and V must be 0 or 1.");
    const Raised getComplex = get("inputsMustBeReal", "The arguments to BITGET must be real.");
    const Raised setComplex = set("inputsMustBeReal", "The arguments to BITSET must be real.");
    const Raised notFinite = set("indexMustBePositiveInteger", "BITSET index only valid for positive integers.");
    const Raised setSize = fiError("bitSet:sizeMismatch", "Inputs must have the same size.");
    const Raised pairSize =
        fiError("bitSet:ArgSizeMismatch", "Second and third argument to BITSET must be the same size.");
    const auto one = [](double value) { return doubles(1, 1, {value}); };
    const auto complexOne = [] { return hvArrayOwner(hvCreateComplexScalar(1.0, 1.0)); };
    std::vector<std::tuple<hvArrayOwner, hvArrayOwner, bool, Raised>> rows;  // position, value or none, complex array
    const auto row = [&](hvArrayOwner bit, hvArrayOwner value, Raised wanted, bool ofComplex = false) {
        rows.emplace_back(std::move(bit), std::move(value), ofComplex, std::move(wanted));
    };
    // Positions outside the word, even outside int, and NaN where it has no check of its own.
    for (const double position : {0.0, 9.0, -1.0, 0.9, 1e10, -1e300, 4294967297.0}) {
        row(one(position), nullptr, getOutside);
        row(one(position), one(1), setOutside);
    }
    row(one(nan), nullptr, getOutside);
    row(hostArray(hvUINT64_CLASS, {1, 1}, {4294967297.0}), nullptr, getOutside);
    row(doubles(2, 1, {1.0, 9.0}), nullptr, getOutside);
    row(one(nan), one(1), notFinite);
    row(one(1), one(nan), notFinite);
    row(doubles(2, 1, {1.0, 1.0}), doubles(2, 1, {1.0, nan}), notFinite);
    row(doubles(0, 0, {}), nullptr, getSize);
    row(hvArrayOwner(hvCreateLogicalMatrix(0, 0)), nullptr, getSize);
    row(doubles(1, 2, {1.0, 1.0}), nullptr, getSize);
    row(doubles(3, 1, {1.0, 1.0, 1.0}), nullptr, getSize);
    row(doubles(0, 0, {}), one(1), setEmpty);
    row(one(1), doubles(0, 1, {}), setEmpty);
    row(doubles(3, 1, {1, 1, 1}), doubles(3, 1, {1, 1, 1}), setSize);
    row(doubles(2, 1, {1, 1}), one(1), pairSize);
    row(one(1), doubles(2, 1, {1, 1}), pairSize);
    row(one(1), nullptr, getComplex, true);
    row(complexOne(), nullptr, getComplex);
    row(one(1), one(1), setComplex, true);
    row(complexOne(), one(1), setComplex);
    row(one(1), complexOne(), setComplex);
    row(text("1"), nullptr, get("indexMustBeNumeric", "BITGET index only valid for built-in numeric types"));
    row(text("1"), one(1), set("indexMustBeNumeric", "BITSET index only valid for built-in numeric types"));
    row(one(1), text("1"), set("valuesMustBeNumeric", "BITSET values only valid for built-in numeric types"));
    for (const unsigned precision : {0U, 80U}) {
        for (const auto& [bit, value, ofComplex, wanted] : rows) {
            const fi pair(2, 1, fixedType(true, 8, 0), rulesOf(), ofComplex, "", true, Operation::Assignment,
                          precision);
            // The compiler of the sanitizers captures no bindings by reference.
            const hvArray* const at = bit.get();
            const hvArray* const to = value.get();
            EXPECT_EQ(raisedBy([&] { to ? delete &pair.bitset(at, to) : hvDestroyArray(pair.bitget(at)); }), wanted);
            EXPECT_EQ(realParts(pair), (std::vector<double>{0.0, 0.0}));
        }
    }
}

}  // namespace
