// Digits of long integers, against GMP's own functions in GMP's own memory.
#include "numbers/gmpinteger.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/support/rational.h"

namespace {

using tolvane::detail::gmpinteger;

gmpinteger made(const Integer& value) {
    gmpinteger result;
    mpz_set(result.withRoom(mpz_size(value.get_mpz_t())), value.get_mpz_t());
    return result;
}

TEST(Gmpinteger, WritesAndReadsTheDigitsOfGmp) {
    Random random(20);
    for (const int base : {2, 3, 7, 10, 16, 18, 36, 37, 62}) {
        // Around the lengths at which texts are halved, and far beyond.
        for (const int bits : {1, 63, 64, 65, 700, 767, 768, 769, 1500, 1537, 3000, 3100, 6200, 16000, 40000, 65535}) {
            for (int i = 0; i < 3; ++i) {
                Integer value = random.integer(bits);
                if (i == 1) {
                    // Its lower half has leading zeros.
                    mpz_ui_pow_ui(value.get_mpz_t(), static_cast<unsigned long>(base),
                                  static_cast<unsigned long>(bits / 7));
                } else if (i == 2) {
                    value = -value;
                }
                const std::string digits = Integer(abs(value)).get_str(base);
                EXPECT_EQ(tolvane::detail::digitsOf(made(value), base), digits) << base << " " << bits;
                gmpinteger read;
                ASSERT_TRUE(tolvane::detail::readDigits(read, (value < 0 ? "-" : "") + digits, base));
                EXPECT_EQ(mpz_cmp(read, value.get_mpz_t()), 0) << base << " " << bits;
            }
        }
    }
}

TEST(Gmpinteger, ReadsTheTextsThatGmpReads) {
    const std::string longDigits(1000, '8');
    for (const std::string& text : {std::string(),
                                    std::string(" "),
                                    std::string("-"),
                                    std::string("- 1"),
                                    std::string("+1"),
                                    std::string("0"),
                                    std::string("-0"),
                                    std::string("0x"),
                                    std::string("0xfF"),
                                    std::string("0b101"),
                                    std::string("0b102"),
                                    std::string("017"),
                                    std::string("018"),
                                    std::string(" 1 2\t3"),
                                    std::string("12-3"),
                                    std::string("1z"),
                                    std::string("Zz"),
                                    std::string("00 00 7"),
                                    std::string("x1"),
                                    " -" + longDigits,
                                    longDigits + "-" + longDigits,
                                    longDigits + " " + longDigits,
                                    "0x" + longDigits,
                                    longDigits + "a",
                                    longDigits + "?"}) {
        for (const int base : {0, 2, 8, 9, 10, 11, 16, 36, 37, 62}) {
            Integer expected;
            const bool isRead = mpz_set_str(expected.get_mpz_t(), text.c_str(), base) == 0;
            gmpinteger read;
            EXPECT_EQ(tolvane::detail::readDigits(read, text, base), isRead) << '"' << text << "\" " << base;
            EXPECT_TRUE(!isRead || mpz_cmp(read, expected.get_mpz_t()) == 0) << '"' << text << "\" " << base;
        }
    }
}

TEST(Gmpinteger, KeepsItsValueWhenItMovesAndGrows) {
    Random random(21);
    for (const int bits : {10, 2048, 2049, 9000}) {
        const Integer value = -random.integer(bits);
        gmpinteger first = made(value);
        gmpinteger second = std::move(first);
        first = second;
        first.withRoom(1000);
        gmpinteger third(first);
        third = std::move(second);
        EXPECT_EQ(mpz_cmp(third, value.get_mpz_t()), 0) << bits;
        EXPECT_EQ(mpz_cmp(first, value.get_mpz_t()), 0) << bits;
        EXPECT_EQ(second.sign(), 0);  // NOLINT(bugprone-use-after-move): it is a zero then
    }
}

int blocksOfGmp = 0;

/// Counts what GMP allocates by itself.
class GmpWatch {
 public:
    GmpWatch() {
        blocksOfGmp = 0;
        mp_get_memory_functions(&mAllocate, &mReallocate, &mFree);
        mp_set_memory_functions(
            [](std::size_t size) {
                ++blocksOfGmp;
                return std::malloc(size);
            },
            [](void* memory, std::size_t, std::size_t size) {
                ++blocksOfGmp;
                return std::realloc(memory, size);
            },
            [](void* memory, std::size_t) { std::free(memory); });
    }
    ~GmpWatch() { mp_set_memory_functions(mAllocate, mReallocate, mFree); }
    GmpWatch(const GmpWatch&) = delete;
    GmpWatch& operator=(const GmpWatch&) = delete;

 private:
    void* (*mAllocate)(std::size_t) = nullptr;
    void* (*mReallocate)(void*, std::size_t, std::size_t) = nullptr;
    void (*mFree)(void*, std::size_t) = nullptr;
};

TEST(Gmpinteger, LeavesNothingForGmpToAllocate) {
    using namespace tolvane::detail;
    Random random(22);
    for (const int bits : {64, 768, 2048, 16000, 32000, 65535}) {
        const auto size = static_cast<mp_bitcnt_t>(bits);
        const gmpinteger a = made(random.integer(bits) | (Integer(1) << (size - 1)));
        const gmpinteger b = made(random.integer(bits / 2) + 1);
        const GmpWatch watch;
        gmpinteger out;
        add(out, a, b);
        subtract(out, b, a);
        lowBits(out, out, size / 3);
        lowBitsFromZero(out, out, size / 3);
        setBit(out, 2 * size);
        clearBit(out, 2 * size);
        multiply(out, a, b);
        shiftLeft(out, out, size);
        divideDown(out, out, a);
        shiftRight(out, out, size / 2);
        multiply(out, a, b);
        divideExactly(out, out, b);
        EXPECT_EQ(mpz_cmp(out, a), 0);
        power(out, 5, size / 3);
        multiply(out, out, out);
        for (const int base : {2, 10, 62}) {
            EXPECT_TRUE(readDigits(out, digitsOf(a, base), base));
            EXPECT_EQ(mpz_cmp(out, a), 0);
        }
        EXPECT_EQ(blocksOfGmp, 0) << bits;
    }
}

}  // namespace
