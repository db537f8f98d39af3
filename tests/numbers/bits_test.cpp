// Bit operations of elements, against integer arithmetic.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <utility>

#include "numbers/bit_tables.h"
#include "numbers/doublenumber.h"
#include "numbers/mpnumber.h"
#include "tests/support/bit_texts.h"
#include "tests/support/errors.h"
#include "tests/support/rational.h"

namespace {

constexpr Body bothBodies[] = {Body::doubles, Body::multiPrecision};

/// A word type, and the calls of the operations in the form that fits the body.
struct Word {
    bool isSigned;
    int bits, exponent;
    Modulus modulus{bits};

    Word(bool sign, int wordBits, int scale) : isSigned(sign), bits(wordBits), exponent(scale) {}

    void complement(number& x) const {
        if (x.asDouble()) {
            x.bitcmp(isSigned, bits, 1.0, exponent, 0.0, doublenumber::bitcmpXorMask(bits), modulus.word);
        } else {
            mpz_t mask;
            mpnumber::bitcmpXorMask(mask, bits);
            x.bitcmp(isSigned, bits, 1.0, exponent, 0.0, mask, modulus.wide);
            mpz_clear(mask);
        }
    }
    void combine(char operation, number& x, const number& y) const {
        if (x.asDouble()) {
            const auto call = operation == '&'   ? &number::doublebitand
                              : operation == '|' ? &number::doublebitor
                                                 : &number::doublebitxor;
            (x.*call)(y, isSigned, bits, 1.0, exponent, 0.0, modulus.word);
        } else {
            const auto call = operation == '&'   ? &number::mpbitand
                              : operation == '|' ? &number::mpbitor
                                                 : &number::mpbitxor;
            (x.*call)(y, isSigned, bits, 1.0, exponent, 0.0, modulus.wide);
        }
    }
    int get(const number& x, int bit) const {
        return x.body().isDouble() ? x.bitget(bit, isSigned, bits, 1.0, exponent, 0.0, modulus.word)
                                   : x.bitget(bit, isSigned, bits, 1.0, exponent, 0.0, modulus.wide);
    }
    void set(number& x, int bit, bool value) const {
        if (x.asDouble()) {
            x.bitset(bit, value, isSigned, bits, 1.0, exponent, 0.0, modulus.word);
        } else {
            x.bitset(bit, value, isSigned, bits, 1.0, exponent, 0.0, modulus.wide);
        }
    }
};

/// Integers of two's complement, as GMP's bit operations take them, and the elements that stand for them.
class Integers {
 public:
    Integers(const Word& word, Body body)
        : mWord(word), mBody(body), mLow(word.isSigned ? Integer(-twoTo(word.bits - 1)) : Integer(0)) {}

    /// Takes an integer into the range of the word.
    Integer wrapped(const Integer& integer) const {
        Integer rest;
        mpz_fdiv_r_2exp(rest.get_mpz_t(), Integer(integer - mLow).get_mpz_t(), static_cast<mp_bitcnt_t>(mWord.bits));
        return rest + mLow;
    }
    Element element(const Integer& integer) const {
        const ExactValue exact(wrapped(integer), mWord.exponent);
        return Element(mBody, std::max(mWord.bits, mBody == Body::doubles ? 50 : 0), exact.get());
    }
    bool isHeld(const number& x, const Integer& integer) const {
        return holds(x, ExactValue(wrapped(integer), mWord.exponent).get());
    }
    /// Checks the operations of two words.
    void checkPair(const Integer& a, const Integer& b) const {
        const Element right = element(b);
        const std::pair<char, Integer> rows[] = {{'&', a & b}, {'|', a | b}, {'^', a ^ b}};
        for (const auto& [operation, expected] : rows) {
            Element same = element(a);
            mWord.combine(operation, same, same);
            ASSERT_TRUE(isHeld(same, operation == '^' ? Integer(0) : a)) << a << ' ' << operation << " itself";
            Element x = element(a);
            mWord.combine(operation, x, right);
            ASSERT_TRUE(isHeld(x, expected)) << a << ' ' << operation << ' ' << b << " gives " << x.todouble();
        }
        ASSERT_TRUE(isHeld(right, b)) << b;
    }
    /// Checks the operations of one word, at one of its bits.
    void checkBit(const Integer& a, int bit) const {
        Element complement = element(a);
        mWord.complement(complement);
        ASSERT_TRUE(isHeld(complement, ~a)) << a;
        const Element x = element(a);
        const Integer mask(twoTo(bit - 1));
        ASSERT_EQ(mWord.get(x, bit), (a & mask) != 0) << a << " bit " << bit;
        ASSERT_TRUE(isHeld(x, a));
        for (const bool value : {false, true}) {
            Element changed = element(a);
            mWord.set(changed, bit, value);
            ASSERT_TRUE(isHeld(changed, value ? Integer(a | mask) : Integer(a & ~mask)))
                << a << " bit " << bit << ' ' << value;
        }
    }
    Integer lowest() const { return mLow; }

 private:
    const Word& mWord;
    Body mBody;
    Integer mLow;
};

TEST(BitOperations, AgreeWithIntegerArithmeticOnAllShortWords) {
    for (const Body body : bothBodies) {
        for (const bool isSigned : {false, true}) {
            for (int bits = 1; bits <= 6; ++bits) {
                for (const int exponent : {0, -4, 3}) {
                    const Word word(isSigned, bits, exponent);
                    const Integers integers(word, body);
                    SCOPED_TRACE(testing::Message() << body << (isSigned ? " signed " : " unsigned ") << bits
                                                    << " bits, exponent " << exponent);
                    for (int a = 0; a < 1 << bits; ++a) {
                        for (int b = 0; b < 1 << bits; ++b) {
                            integers.checkPair(integers.lowest() + a, integers.lowest() + b);
                        }
                        for (int bit = 1; bit <= bits; ++bit) {
                            integers.checkBit(integers.lowest() + a, bit);
                        }
                        if (HasFatalFailure()) {
                            return;
                        }
                    }
                }
            }
        }
    }
}

TEST(BitOperations, AgreeWithIntegerArithmeticOnLongWords) {
    Random random(300);
    for (int bits = 1; bits <= 300; ++bits) {
        for (const Body body : bothBodies) {
            if (body == Body::doubles && bits > 52) {
                continue;
            }
            const Word word(random.oneIn(2), bits, random.between(-100, 100));
            const Integers integers(word, body);
            SCOPED_TRACE(testing::Message() << body << (word.isSigned ? " signed " : " unsigned ") << bits);
            const Integer a = integers.wrapped(random.integer(bits));
            integers.checkPair(a, integers.wrapped(random.integer(bits)));
            integers.checkBit(a, random.between(1, bits));
        }
    }
}

TEST(BitOperations, KeepTheRoundingOfTheStoredIntegerOfEachBody) {
    // A double is rounded to the nearest stored integer, a multi-precision value is cut off.
    const Word word(false, 8, 0);
    for (const auto& [body, expected] : {std::pair(Body::doubles, 3.0), std::pair(Body::multiPrecision, 2.0)}) {
        Element x(body, 40, 2.5);
        word.combine('|', x, Element(body, 40, 0.0));
        EXPECT_EQ(x.todouble(), expected) << body;
    }
    // A multi-precision -0 counts as negative, so its complement gets no correction.
    const Word signedWord(true, 8, 0);
    for (const auto& [body, expected] : {std::pair(Body::doubles, -1.0), std::pair(Body::multiPrecision, 255.0)}) {
        Element x(body, 40, -0.0);
        signedWord.complement(x);
        EXPECT_EQ(x.todouble(), expected) << body;
    }
}

TEST(BitOperations, SurviveEveryValue) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const Body body : bothBodies) {
        for (const double value : {0.0, -0.0, infinity, -infinity, std::nan(""), 0x1p1000, -0x1p1000, 1e-300}) {
            for (const int bits : {1, 8, 52, 64, 300}) {
                for (const int exponent : {INT_MIN, -40, 0, INT_MAX}) {
                    const Word word(true, bits, exponent);
                    Element x(body, 60, value);
                    Element y(body, 60, value);
                    word.complement(x);
                    word.combine('^', x, y);
                    word.combine('&', y, y);
                    word.set(x, bits, true);
                    EXPECT_LE(word.get(y, bits), 1);
                }
            }
        }
        // None of the bits of a far larger value lie in the word.
        const Word word(false, 8, INT_MIN);
        const Element large(body, 60, 1.0);
        for (int bit = 1; bit <= 8; ++bit) {
            EXPECT_EQ(word.get(large, bit), 0);
        }
    }
    EXPECT_EQ(Element(Body::doubles, 20, std::nan("")).asDouble()->convertToUnsignedInteger(1.0, 0, 0.0, 256), 0U);
    EXPECT_EQ(Element(Body::doubles, 20, 0x1p64 + 0x1p20).asDouble()->convertToUnsignedInteger(1.0, 0, 0.0, 256),
              1U << 20);
    EXPECT_EQ(Element(Body::doubles, 20, -300.0).asDouble()->convertToUnsignedInteger(1.0, 0, 0.0, 256),
              ~std::uint64_t{0} - 43);
}

// The stored integer to the nearest, ties away from zero, with the modulus added as doubles add.
TEST(ConvertToUnsignedInteger, IsThatOfExactRationalsForEveryDouble) {
    Random random(10501);
    int beyondWord = 0;
    for (int round = 0; round < 20000; ++round) {
        const int bits = random.between(1, 52);
        const int exponent = random.between(-60, 60);
        double x = random.real(exponent - 3, exponent + (random.oneIn(4) ? 90 : bits + 1), random.between(1, 53));
        if (random.oneIn(4)) {
            x = std::ldexp(random.between(-8, 8) / 2.0, exponent);
        }
        const Rational stored = scaled(Rational(x), -exponent);
        Integer word = rounded(abs(stored), Rounding::nearest);
        if (x < 0.0) {
            Integer modulus;
            mpz_setbit(modulus.get_mpz_t(), static_cast<mp_bitcnt_t>(bits));
            word = nearestDouble(Rational(modulus - word));
        }
        mpz_fdiv_r_2exp(word.get_mpz_t(), word.get_mpz_t(), 64);
        const Integer seen = Integer(
            static_cast<unsigned long>(Element(Body::doubles, bits, x)
                                           .asDouble()
                                           ->convertToUnsignedInteger(1.0, exponent, 0.0, std::uint64_t{1} << bits)));
        ASSERT_EQ(seen, word) << "seed " << random.seed() << " round " << round << ": " << x << " in " << bits
                              << " bits of 2^" << exponent;
        beyondWord += mpz_sizeinbase(word.get_mpz_t(), 2) > static_cast<std::size_t>(bits);
    }
    EXPECT_GT(beyondWord, 100);
}

TEST(BitPositions, OutsideTheWordRaiseBeforeAnyChange) {
    const std::string message = "A bit position is not an integer in the appropriate range.";
    for (const Body body : bothBodies) {
        const Word word(true, 8, 0);
        Element x(body, 40, -128.0);
        EXPECT_EQ(word.get(x, 8), 1);
        for (const int bit : {INT_MIN, -1, 0, 9, INT_MAX}) {
            EXPECT_EQ(raisedBy([&] { word.get(x, bit); }), (Raised{"fixedpoint:fi:bitget:BITOutOfRange", message}));
            EXPECT_EQ(raisedBy([&] { word.set(x, bit, true); }),
                      (Raised{"fixedpoint:fi:bitset:BITOutOfRange", message}));
        }
        EXPECT_EQ(x.todouble(), -128.0);
    }
}

TEST(BitOperations, OfTheOtherBodyAreInternalErrors) {
    Element d(Body::doubles, 20, 5.0);
    Element m(Body::multiPrecision, 20, 5.0);
    const Modulus modulus(8);
    mpz_t mask;
    mpz_init_set_ui(mask, 255);
    const struct {
        const Element& body;
        const char* operation;
        std::function<void()> action;
    } rows[] = {
        {d, "bitcmp", [&] { d.bitcmp(true, 8, 1.0, 0, 0.0, mask, modulus.wide); }},
        {d, "fibitand", [&] { d.mpbitand(d, true, 8, 1.0, 0, 0.0, modulus.wide); }},
        {d, "fibitor", [&] { d.mpbitor(d, true, 8, 1.0, 0, 0.0, modulus.wide); }},
        {d, "bitxor", [&] { d.mpbitxor(d, true, 8, 1.0, 0, 0.0, modulus.wide); }},
        {d, "bitget", [&] { d.bitget(1, true, 8, 1.0, 0, 0.0, modulus.wide); }},
        {d, "bitset", [&] { d.bitset(1, true, true, 8, 1.0, 0, 0.0, modulus.wide); }},
        {m, "bitcmp", [&] { m.bitcmp(true, 8, 1.0, 0, 0.0, 255U, modulus.word); }},
        {m, "fibitand", [&] { m.doublebitand(m, true, 8, 1.0, 0, 0.0, modulus.word); }},
        {m, "fibitor", [&] { m.doublebitor(m, true, 8, 1.0, 0, 0.0, modulus.word); }},
        {m, "bitxor", [&] { m.doublebitxor(m, true, 8, 1.0, 0, 0.0, modulus.word); }},
        {m, "bitget", [&] { m.bitget(1, true, 8, 1.0, 0, 0.0, modulus.word); }},
        {m, "bitset", [&] { m.bitset(1, true, true, 8, 1.0, 0, 0.0, modulus.word); }},
    };
    for (const auto& row : rows) {
        const Raised raised = raisedBy(row.action);
        const bool isDouble = &row.body == &d;
        const std::string operation = row.operation;
        EXPECT_EQ(raised.id, (isDouble ? "fixedpoint:fi:doublenumber:" + operation + ":mpnumberparameters"
                                       : "fixedpoint:fi:mpnumber:" + operation + ":doublenumberparameter"));
        // One text names the other body.
        const std::string message = (isDouble && operation != "fibitand" ? "doublenumber::" : "mpnumber::") +
                                    operation + " has been called with " + (isDouble ? "mpnumber" : "doublenumber") +
                                    " parameters";
        EXPECT_TRUE(raised.message.starts_with(message + " ")) << raised.message;
    }
    EXPECT_EQ(d.todouble(), 5.0);
    EXPECT_EQ(m.todouble(), 5.0);
    mpz_clear(mask);
}

TEST(BitMasks, HoldThatManyOnes) {
    const struct {
        int bits;
        std::uint64_t expected;
    } rows[] = {{INT_MIN, 0}, {-1, 0}, {0, 0}, {1, 1}, {8, 255}, {63, INT64_MAX}, {64, UINT64_MAX}, {65, UINT64_MAX}};
    for (const auto& row : rows) {
        EXPECT_EQ(doublenumber::bitcmpXorMask(row.bits), row.expected) << row.bits;
        mpz_t mask;
        mpnumber::bitcmpXorMask(mask, row.bits);
        EXPECT_EQ(mpz_popcount(mask), static_cast<mp_bitcnt_t>(std::max(row.bits, 0)));
        EXPECT_EQ(mpz_get_ui(mask), row.expected) << row.bits;
        mpz_clear(mask);
    }
}

TEST(ConvertToUnsignedInteger, LeavesTheMultiPrecisionElementScaledAndWrapped) {
    Element x(Body::multiPrecision, 40, -0.5);
    const Modulus modulus(8);
    mpz_t out;
    x.body().asMp()->convertToUnsignedInteger(out, 1.0, -4, 0.0, modulus.wide);
    EXPECT_EQ(mpz_get_ui(out), 248U);
    EXPECT_EQ(x.todouble(), 248.0);
    mpz_clear(out);
}

TEST(BitTables, TellWordAndPlaceOfEachBit) {
    for (std::uint32_t bit = 0; bit < 128; ++bit) {
        EXPECT_EQ(idxOfUint32ChunkForOverallBit[bit] * 32 + idxBitInUint32ChunkForOverallBit[bit], bit);
        EXPECT_LT(idxBitInUint32ChunkForOverallBit[bit], 32U);
    }
    EXPECT_EQ(idxHostChunkForOverallBit[127], 3U);
    EXPECT_EQ(idxBitInHostChunkForOverallBit[127], 31U);
}

}  // namespace
