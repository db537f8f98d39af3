// Arrays as text and back: every character of the layouts, the digits against big integers, and what is refused.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

#include "tests/support/arrays.h"
#include "tests/support/errors_of_fi.h"
#include "tests/support/random_arrays_of_fi.h"

namespace {

using Rows = std::vector<std::string>;

/// Stands for character code 0 in the rows of these tests.
constexpr char kCodeZero = '@';

Rows rowsOf(const hvArrayOwner& text) {
    const auto characters = hvGetTypedData<hvChar>(static_cast<const hvArray*>(text.get()));
    Rows rows(hvGetM(text.get()));
    for (std::size_t i = 0; i < characters.size(); ++i) {
        rows[i % rows.size()] += characters[i] == 0 ? kCodeZero : static_cast<char>(characters[i]);
    }
    return rows;
}

/// A char matrix; short rows get blanks behind.
hvArrayOwner charMatrix(const Rows& rows) {
    std::size_t columns = 0;
    for (const std::string& row : rows) {
        columns = std::max(columns, row.size());
    }
    const std::size_t sizes[] = {rows.size(), columns};
    hvArrayOwner text(hvCreateCharArray(2, sizes));
    for (std::size_t r = 0; r < rows.size(); ++r) {
        for (std::size_t c = 0; c < columns; ++c) {
            const char character = c < rows[r].size() ? rows[r][c] : ' ';
            hvGetTypedData<hvChar>(text.get())[r + c * rows.size()] =
                static_cast<hvChar>(character == kCodeZero ? '\0' : character);
        }
    }
    return text;
}

hvArrayOwner textOf(const fi& array, int base) {
    return hvArrayOwner(base == 0 ? array.num2sdec() : array.num2base(base));
}

fi matrix(const Sizes& sizes, const std::vector<double>& re, const std::vector<double>& im, const NumericType& type) {
    fi made(sizes.data(), sizes.size(), type, rulesOf(), !im.empty(), "", true, Operation::Assignment, 0);
    for (std::size_t i = 0; i < re.size(); ++i) {
        const_cast<number&>(made.real(i)).setvalue(re[i]);
        if (!im.empty()) {
            const_cast<number&>(made.imag(i)).setvalue(im[i]);
        }
    }
    made.setIndex(0);
    return made;
}

const NumericType kS8 = fixedType(true, 8, 0);
const NumericType kU8 = fixedType(false, 8, 0);

// Layouts

TEST(FiText, StandsInBlocksSideBySide) {
    constexpr int decimal = 0;
    const struct {
        const char* why;
        fi array;
        int base;
        Rows rows;
    } rows[] = {
        {"a row of three", matrix({1, 3}, {1, -1, 5}, {}, kS8), 2, {"00000001   11111111   00000101"}},
        {"a plus whatever the sign", matrix({1, 2}, {1, -1}, {-2, 3}, kS8), 16, {"01 + fe i   ff + 03 i"}},
        {"the greatest base", matrix({1, 2}, {35, 36}, {}, kU8), 36, {"0z   10"}},
        {"boolean", matrix({1, 2}, {0, 1}, {}, plainType(TypeMode::Boolean)), 2, {"0   1"}},
        {"signed decimal", matrix({2, 2}, {1, -128, 127, 0}, {}, kS8), decimal, {"   1    127", "-128      0"}},
        {"the sign of the imaginary part stands apart, and each block but for its column of code 0",
         matrix({1, 2}, {1, -2}, {-128, 3}, kS8),
         decimal,
         {"   1 - 128 i   @  -2 +   3 i@"}},
        {"an imaginary part below zero that is none in the word",
         matrix({1, 1}, {-0.25}, {-0.25}, kS8),
         decimal,
         {"   0 -   0 i@"}},
        {"the same in two's complement has the bit above the word",
         matrix({1, 1}, {-0.25}, {}, fixedType(true, 7, 0)),
         16,
         {"80"}},
        {"double is its bits",
         matrix({1, 2}, {1, -2}, {}, plainType(TypeMode::Double)),
         16,
         {"3ff0000000000000   c000000000000000"}},
        {"single too", matrix({1, 1}, {0.15625}, {}, plainType(TypeMode::Single)), 16, {"3e200000"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.why);
        row.array.setIndex(row.array.numel() - 1);
        EXPECT_EQ(rowsOf(textOf(row.array, row.base)), row.rows);
        EXPECT_EQ(row.array.getIndex(), row.array.numel() - 1);
    }
}

TEST(FiText, OfNothingHasNoRowsOrNoColumns) {
    const std::vector<double> none;
    const struct {
        Sizes sizes;
        bool isComplex;
        int base;
        std::vector<std::size_t> textSizes;
    } rows[] = {
        {{0, 3}, false, 2, {0, 30}}, {{3, 0}, false, 2, {3, 0}},     {{0, 0}, true, 16, {0, 0}},
        {{0, 2}, true, 16, {0, 21}}, {{0, 2}, false, 0, {0, 11}},    {{0, 2}, true, 0, {0, 29}},
        {{3, 0}, true, 0, {3, 0}},   {{0, 2, 2}, false, 2, {0, 41}},
    };
    for (const auto& row : rows) {
        const fi array(row.sizes.data(), row.sizes.size(), kS8, rulesOf(), row.isComplex, "", true,
                       Operation::Assignment, 0);
        EXPECT_EQ(dimensionsOf(textOf(array, row.base)), row.textSizes);
    }
    const Sizes immense{0, std::uint64_t{1} << 40};
    const fi array(immense.data(), 2, kS8, rulesOf(), false, "", true, Operation::Assignment, 0);
    EXPECT_EQ(hvGetNumberOfElements(textOf(array, 2).get()), 0U);
    const Sizes tooLong{0, std::uint64_t{1} << 62};
    const fi other(tooLong.data(), 2, kS8, rulesOf(), false, "", true, Operation::Assignment, 0);
    EXPECT_EQ(raisedBy([&] { textOf(other, 2); }).id, "fixedpoint:fi:outofmemory");
}

TEST(FiText, HasTheDigitsOfItsWordLength) {
    // The quotient of two logarithms can land above the whole number that it stands for: 21 bits have 7 octal digits.
    EXPECT_EQ(rowsOf(textOf(scalar(-1, fixedType(true, 21, 0)), 8)), Rows{"07777777"});
    EXPECT_EQ(rowsOf(textOf(scalar(-1, fixedType(true, 24, 0)), 8)), Rows{"77777777"});
    for (int base = 2; base <= 36; ++base) {
        for (int wordBits = 1; wordBits <= 200; ++wordBits) {
            const auto width = hvGetN(textOf(scalar(0, fixedType(false, wordBits, 0)), base).get());
            const double quotient = base == 2 || base == 16 ? wordBits * std::log2(2.0) / std::log2(base)
                                                            : wordBits * std::log(2.0) / std::log(base);
            const std::size_t needed = Integer(twoToThe(wordBits) - 1).get_str(base).size();
            EXPECT_EQ(width, static_cast<std::size_t>(std::ceil(quotient))) << wordBits << " bits, base " << base;
            EXPECT_GE(width, needed);
            EXPECT_LE(width, needed + 1);
        }
    }
}

// Digits

std::string padded(const std::string& digits, std::size_t width, char fill) {
    return std::string(width - std::min(width, digits.size()), fill) + digits;
}

/// The digits of a word in two's complement.
std::string digitsOf(const Integer& word, int bits, int base, std::size_t width) {
    return padded(Integer(word < 0 ? Integer(word + twoToThe(bits)) : word).get_str(base), width, '0');
}

/// The text of an array of big integers, in the base or, for base 0, in signed decimal.
Rows expectedRows(const KnownArray& known, int base, std::size_t width) {
    const std::uint64_t rowCount = known.array->getM();
    const int bits = known.type.getWordLength();
    const bool isComplex = !known.im.empty();
    Rows rows(rowCount);
    for (std::size_t i = 0; i < known.re.size(); ++i) {
        std::string& row = rows[i % rowCount];
        const bool isLast = i + rowCount >= known.re.size();
        if (base != 0) {
            row += digitsOf(known.re[i], bits, base, width);
            row += isComplex ? " + " + digitsOf(known.im[i], bits, base, width) + " i" : "";
            row += isLast ? "" : "   ";
        } else {
            row += padded(known.re[i].get_str(), width, ' ');
            if (isComplex) {
                row += known.im[i] < 0 ? " -" : " +";
                row += padded(Integer(abs(known.im[i])).get_str(), width, ' ') + " i";
            }
            row += isLast ? "" : "   ";
            row += isComplex ? std::string(1, kCodeZero) : "";
        }
    }
    return rows;
}

TEST(FiText, IsThatOfBigIntegersAndReadsBackTheSame) {
    Random random(60601);
    for (int round = 0; round < 3000; ++round) {
        const NumericType type = randomFixedType(random, 300, true);
        const bool isComplex = !type.isSlopeBiasScaled() && random.oneIn(3);
        const Sizes sizes{static_cast<std::uint64_t>(random.between(1, 3)),
                          static_cast<std::uint64_t>(random.between(1, 3)),
                          static_cast<std::uint64_t>(random.between(1, 2))};
        // Precisions that now and then put short words into multi-precision bodies.
        KnownArray known = randomArray(random, type, sizes, isComplex, rulesOf(), true, random.oneIn(4) ? 80 : 0);
        const int base = random.between(2, 36);
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " round " << round << " base " << base << ' '
                                        << known.description());
        const std::uint64_t columns = known.array->getN();
        const hvArrayOwner text = textOf(*known.array, base);
        const std::size_t blockWidth = (hvGetN(text.get()) + 3) / columns;
        ASSERT_EQ(rowsOf(text), expectedRows(known, base, isComplex ? (blockWidth - 8) / 2 : blockWidth - 3));
        const hvArrayOwner decimal = textOf(*known.array, 0);
        const std::size_t decimalWidth = (hvGetN(decimal.get()) + 3) / columns;
        ASSERT_EQ(rowsOf(decimal), expectedRows(known, 0, isComplex ? (decimalWidth - 8) / 2 : decimalWidth - 3));
        ASSERT_TRUE(isUnchanged(known));
        if (base <= 18) {
            fi read(0.0, type, rulesOf(), random.oneIn(4) ? 80 : 0, "", true, Operation::Assignment);
            HostCapture host;
            read.base2num(text.get(), base);
            ASSERT_TRUE(holdsWords(read, known.re, known.im, type.getFixedExponent()));
            EXPECT_EQ(sizesOf(read), (Sizes{sizes[0], sizes[1] * sizes[2]}));
            EXPECT_EQ(fieldsOf(read.getNumericType()), fieldsOf(type));
            EXPECT_EQ(host.warnings, std::vector<HostCapture::Warning>());
        }
    }
}

// Words of up to 52 bits stand in doubles, whose bits weigh 2^-1074 at least and less than 2^1024 together; longer ones
// in floats from 2^-(2^30) to below 2^(2^30 - 1). A scale beyond loses words, and their sums, without a remark.
TEST(FiText, KeepsEveryWordWhileTheEntriesReachItsBits) {
    const auto digits = [](const Integer& word, int wordBits) {
        Integer wrapped;
        mpz_fdiv_r_2exp(wrapped.get_mpz_t(), word.get_mpz_t(), static_cast<mp_bitcnt_t>(wordBits));
        const std::string text = wrapped.get_str(2);
        return std::string(static_cast<std::size_t>(wordBits) - text.size(), '0') + text;
    };
    const auto rowsOfWords = [&](const std::vector<Integer>& words, int wordBits) {
        Rows rows;
        for (const Integer& word : words) {
            rows.push_back(digits(word, wordBits));
        }
        return rows;
    };
    const auto arrayOfWords = [&](const std::vector<Integer>& words, const NumericType& type) {
        fi array = scalar(0, type);
        array.base2num(charMatrix(rowsOfWords(words, type.getWordLength())).get(), 2);
        return array;
    };
    // Which words a double holds, in exact arithmetic.
    const auto isInDoubles = [](const Integer& word, int fraction) {
        const Rational value = scaled(Rational(word), -fraction);
        return abs(value) < scaled(Rational(1), 1024) && scaled(value, 1074).get_den() == 1;
    };
    for (int wordBits = 1; wordBits <= 54; ++wordBits) {
        for (const bool isSigned : {false, true}) {
            const Integer low = isSigned ? Integer(-scaled(Rational(1), wordBits - 1).get_num()) : Integer(0);
            const Integer high = low + scaled(Rational(1), wordBits).get_num() - 1;
            std::vector<Integer> words;
            if (wordBits <= 6) {
                for (Integer word = low; word <= high; ++word) {
                    words.push_back(word);
                }
            } else {
                words = {low, low + 1, low / 2 + 3, 0, 1, 2, 5, high / 2, high - 1, high};
            }
            const std::vector<Integer> reversed(words.rbegin(), words.rend());
            const bool isInFloats = wordBits > 52;
            const int least = isInFloats ? wordBits - (1 << 30) + 1 : wordBits - 1024;
            const int greatest = isInFloats ? 1 << 30 : 1074;
            for (const int fraction : {least - 3, least - 1, least, least + 1, 0, greatest - 1, greatest, greatest + 1,
                                       greatest + 2, greatest + 60}) {
                const NumericType type = fixedType(isSigned, wordBits, fraction);
                SCOPED_TRACE(testing::Message() << fieldsOf(type));
                const fi array = arrayOfWords(words, type);
                const Rows seen = rowsOf(textOf(array, 2));
                const Rows wanted = rowsOfWords(words, wordBits);
                const bool isKept = fraction >= least && fraction <= greatest;
                EXPECT_EQ(seen == wanted, isKept);
                if (isInFloats) {
                    continue;
                }
                for (std::size_t i = 0; i < words.size(); ++i) {
                    EXPECT_EQ(seen[i] == wanted[i], isInDoubles(words[i], fraction)) << words[i];
                }
                if (!isKept) {
                    continue;
                }
                EXPECT_EQ(realParts(column(realParts(array), type)), realParts(array));
                // A sum in full has one bit more, and that word's bounds hold; 53 bits stand in floats.
                for (const std::vector<Integer>& others : {words, reversed}) {
                    const std::unique_ptr<fi> sum(&array.plus(arrayOfWords(others, type)));
                    const Rows sums = rowsOf(textOf(*sum, 2));
                    for (std::size_t i = 0; i < words.size(); ++i) {
                        const Integer exact = words[i] + others[i];
                        EXPECT_EQ(sums[i] == digits(exact, wordBits + 1),
                                  wordBits == 52 || isInDoubles(exact, fraction))
                            << words[i] << " + " << others[i];
                    }
                }
            }
            if (isInFloats) {
                continue;
            }
            // One step outside wraps by 2^(w - f), which has to be a double too.
            for (const int fraction : {least, least + 1}) {
                const NumericType type = fixedType(isSigned, wordBits, fraction);
                const double step = std::ldexp(1.0, -fraction);
                const double outside = isSigned ? std::ldexp(step, wordBits - 1) : -step;
                const double wrapped = scalar(outside, type, rulesOf(Rounding::nearest, true)).realdouble();
                if (fraction == least && wordBits < 52) {
                    EXPECT_TRUE(std::isnan(wrapped)) << fieldsOf(type);
                } else if (fraction > least) {
                    EXPECT_EQ(wrapped, (isSigned ? low : high).get_d() * step) << fieldsOf(type);
                }
            }
        }
    }
    // As it looks.
    for (const auto& [fraction, text] :
         {std::pair{-1019, "05"}, {-1021, "05"}, {-1022, "00"}, {1074, "05"}, {1075, "04"}}) {
        EXPECT_EQ(rowsOf(textOf(arrayOfWords({5}, fixedType(true, 8, fraction)), 16)), Rows{text}) << fraction;
    }
}

TEST(FiText, OfAValueThatIsNoWordIsWhatTheQuantizerWrites) {
    constexpr double kInf = std::numeric_limits<double>::infinity();
    std::vector<double> values = {0.0, -0.0,   0.5,    -0.5,   1e-320,  -1e-320, 128,  -128,  -129,        255,
                                  256, 0x1p61, 0x1p62, 0x1p70, -0x1p70, 1e300,   kInf, -kInf, std::nan("")};
    Random random(60602);
    for (int i = 0; i < 300; ++i) {
        values.push_back(random.anyDouble());
        values.push_back(random.real(-4, 16));
    }
    for (const NumericType& type : {kS8, kU8, fixedType(true, 5, 3), fixedType(false, 13, -2), fixedType(true, 52, 20),
                                    fixedType(true, 8, 1074), fixedType(true, 8, -1020)}) {
        const fi array = matrix({values.size(), 1}, values, values, type);
        ASSERT_NE(array.real().asDouble(), nullptr);
        const quantizer& q = array.getAssignmentQuantizer();
        for (const int base : {0, 2, 7, 8, 10, 16, 36}) {
            const hvArrayOwner text = textOf(array, base);
            const Rows rows = rowsOf(text);
            const auto width = static_cast<int>((hvGetN(text.get()) + 3 - 8) / 2);
            for (std::size_t i = 0; i < values.size(); ++i) {
                std::string re(static_cast<std::size_t>(width), ' ');
                std::string im = re;
                const number x(values[i], 52, false);
                if (base == 0) {
                    q.num2sdec(re.data(), width, x);
                    const number magnitude(std::fabs(values[i]), 52, false);
                    q.num2sdec(im.data(), width, magnitude);
                    re += values[i] < 0 ? " -" : " +";
                    im += std::string(" i") + kCodeZero;
                } else {
                    q.num2base(re.data(), width, x, base);
                    im = re + " i";
                    re += " + ";
                }
                ASSERT_EQ(rows[i], re + im) << ::text(values[i]) << " in base " << base << ", seed " << random.seed();
            }
        }
    }
}

// Reading

struct Read {
    Sizes sizes;
    std::vector<double> re;
    std::vector<double> im;  // empty for a real array
};

void expectRead(const fi& array, const Read& wanted) {
    EXPECT_EQ(sizesOf(array), wanted.sizes);
    EXPECT_EQ(realParts(array), wanted.re);
    EXPECT_EQ(array.iscomplex(), !wanted.im.empty() || wanted.re.empty());
    if (!wanted.im.empty()) {
        EXPECT_EQ(imaginaryParts(array), wanted.im);
    }
}

TEST(FiText, IsReadInEveryShape) {
    const struct {
        const char* why;
        Rows text;
        int base;
        Read read;
        int warningCount = 0;
    } rows[] = {
        {"two words", {"0101 1010"}, 2, {{1, 2}, {5, 10}, {}}},
        {"a complex one", {"01 + 10 i"}, 2, {{1, 1}, {1}, {2}}},
        {"signs and units are only delimiters", {"i1i10+"}, 2, {{1, 1}, {1}, {2}}},
        {"all delimiters", {" ,1\t\t2,3 "}, 10, {{1, 3}, {1, 2, 3}, {}}},
        {"rows of their own spacing", {"1 2", "  3,4"}, 10, {{2, 2}, {1, 3, 2, 4}, {}}},
        {"what a longer row has more", {"1", "2 3"}, 10, {{2, 1}, {1, 2}, {}}},
        {"an i in any row", {"1 2", "3 4 i"}, 10, {{2, 1}, {1, 3}, {2, 4}}},
        {"half an element of the first complex row", {"1 2 3 i", "4 5"}, 10, {{2, 1}, {1, 4}, {2, 5}}},
        {"half an element at the end", {"1 2i 3"}, 10, {{1, 1}, {1}, {2}}},
        {"less than an element", {"7i"}, 10, {{1, 0}, {}, {}}},
        {"digits of either case", {"fF Aa"}, 16, {{1, 2}, {-1, -86}, {}}},
        {"the last base", {"7h"}, 18, {{1, 1}, {-113}, {}}},
        {"few digits and many", {"1 000000000000000000000000007"}, 10, {{1, 2}, {1, 7}, {}}},
        {"a row ends at code 0", {"12@34", "56"}, 16, {{2, 1}, {0x12, 0x56}, {}}},
        {"the number after the last digit makes a zero", {"012 11"}, 2, {{1, 2}, {0, 3}, {}}},
        {"also after nine", {"1a 3 a"}, 10, {{1, 3}, {0, 3, 0}, {}}},
        {"also after letters", {"1g G 12"}, 16, {{1, 3}, {0, 0, 18}, {}}},
        {"bits above the word are dropped", {"1ff 07f 100"}, 16, {{1, 3}, {-1, 127, 0}, {}}, 2},
        {"and far above", {"123456789012345678901234567890"}, 10, {{1, 1}, {-46}, {}}, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.why);
        const hvArrayOwner text = charMatrix(row.text);
        for (const unsigned precision : {0U, 80U}) {
            fi array(0.0, kS8, rulesOf(), precision, "", true, Operation::Assignment);
            const LoggingOn logged;
            HostCapture host;
            array.base2num(text.get(), row.base);
            EXPECT_EQ(array.getIndex(), 0U);
            expectRead(array, row.read);
            EXPECT_EQ(countsOf(array), Counts());
            const HostCapture::Warning warning = {
                "fixedpoint:base2fixed:too_many_bits",
                "The word length of the fi object is shorter than the number of bits you were trying to assign. Only "
                "the 8 least-significant bits were used."};
            EXPECT_EQ(host.warnings,
                      std::vector<HostCapture::Warning>(static_cast<std::size_t>(row.warningCount), warning));
        }
    }
}

TEST(FiText, TakesTheTypeOfTheArrayThatReadsIt) {
    const hvArrayOwner text = charMatrix({"c0 40"});
    const std::pair<NumericType, std::vector<double>> rows[] = {
        {fixedType(true, 8, 7), {-0.5, 0.5}},
        {fixedType(false, 8, 7), {1.5, 0.5}},
        {fixedType(true, 9, 0), {192, 64}},
        {fixedType(true, 60, -2), {768, 256}},
        {fixedType(true, 8, 1080), {-0x1p-1074, 0x1p-1074}},
        {slopeBiasType(true, 8, 1.5, 1, 10), {-128, 128}},
        {plainType(TypeMode::Double), {0xc0 * 0x1p-1074, 0x40 * 0x1p-1074}},
    };
    for (const auto& [type, values] : rows) {
        fi array = column({1, 0, 1}, type);
        array.base2num(text.get(), 16);
        EXPECT_EQ(realParts(array), values) << fieldsOf(type);
        EXPECT_EQ(fieldsOf(array.getNumericType()), fieldsOf(type));
    }
}

TEST(FiText, GivesAComplexArrayThatStaysOneZeroImaginaryParts) {
    fi array = column({1, 2}, {3, 4}, kS8);
    array.base2num(charMatrix({"5 6"}).get(), 10);
    expectRead(array, {{1, 2}, {5, 6}, {0, 0}});
    array.base2num(charMatrix({"7 + 8 i"}).get(), 10);
    expectRead(array, {{1, 1}, {7}, {8}});
    fi real = column({1, 2}, kS8);
    real.base2num(charMatrix({"7 + 8 i", "9 + 1 i"}).get(), 10);
    expectRead(real, {{2, 1}, {7, 9}, {8, 1}});
}

TEST(FiText, OfFloatingArraysIsTheirBits) {
    constexpr double kInf = std::numeric_limits<double>::infinity();
    for (const TypeMode mode : {TypeMode::Double, TypeMode::Single}) {
        // The signs of infinities and zeros are read from a zero each time.
        const fi array =
            matrix({1, 6}, {-kInf, kInf, 0.0, 1.5, -0x1p-126, 0.0}, {1, 0, -2, 0, 0, kInf}, plainType(mode));
        for (const int base : {2, 8, 10, 16}) {
            fi read = column({-1, -2, -3}, plainType(mode));
            read.base2num(textOf(array, base).get(), base);
            EXPECT_EQ(realParts(read), realParts(array)) << base;
            EXPECT_EQ(imaginaryParts(read), imaginaryParts(array)) << base;
        }
    }
    fi nan = scalar(0, plainType(TypeMode::Double));
    nan.base2num(charMatrix({"7ff0000000000001"}).get(), 16);
    EXPECT_TRUE(std::isnan(nan.realdouble()));
    EXPECT_EQ(rowsOf(textOf(nan, 16)), Rows{"fff8000000000000"});
}

TEST(FiText, ChecksDigits) {
    const struct {
        int base;
        std::vector<const char*> accepted;
        std::vector<const char*> refused;
    } rows[] = {
        {2, {"0", "012"}, {"3"}},
        {8, {"8"}, {"9"}},
        {10, {"", "789a"}, {nullptr, "b", ":", "A"}},
        {16, {"10ag", "AG"}, {"h", "H", "@", "-1", " 1", "/", "`", "1\x80"}},
        {18, {"hI"}, {"j"}},
    };
    for (const auto& row : rows) {
        for (const char* const token : row.accepted) {
            EXPECT_TRUE(fi::base2numCheckElement(token, row.base)) << token << " in base " << row.base;
        }
        for (const char* const token : row.refused) {
            EXPECT_FALSE(fi::base2numCheckElement(token, row.base)) << (token == nullptr ? "null" : token);
        }
    }
}

TEST(FiText, IsMeasuredByDelimiters) {
    std::uint64_t rows = 9;
    std::uint64_t perRow = 9;
    bool isComplex = true;
    fi::base2numValidateAndInit(charMatrix({"1;2;3", "4;5;6"}).get(), 10, ";", ";i", rows, perRow, isComplex);
    EXPECT_EQ((std::vector<std::uint64_t>{rows, perRow, isComplex}), (std::vector<std::uint64_t>{2, 3, 0}));
    fi::base2numValidateAndInit(charMatrix({"1;2i3;4i"}).get(), 10, ";", ";i", rows, perRow, isComplex);
    EXPECT_EQ((std::vector<std::uint64_t>{rows, perRow, isComplex}), (std::vector<std::uint64_t>{1, 2, 1}));
}

// Errors

TEST(FiText, RefusesWhatIsNoTextOfWordsAndLeavesTheArrayAsItWas) {
    const Raised badBase = {"fixedpoint:fi:base2num:BadBase", "fi::base2num base must be between 2 and 18 inclusive"};
    const Raised notChar = {"fixedpoint:fi:base2num:NotCharArray", "fi::base2num input array not a character array"};
    const Raised empty = {"fixedpoint:fi:base2num:EmptyInput", "fi::base2num input array contains no elements"};
    const auto invalid = [](const char* place) {
        return Raised{"fixedpoint:fi:base2num:InvalidElement", std::string("Input array invalid at element ") + place};
    };
    hvArrayOwner pages = charMatrix({"1234"});
    const std::size_t threeSizes[] = {1, 2, 2};
    hvSetDimensions(pages.get(), 3, threeSizes);
    hvArrayOwner wide = charMatrix({"1 x"});
    hvGetTypedData<hvChar>(wide.get())[2] = u'\u0131';
    const struct {
        hvArrayOwner text;
        int base;
        Raised raised;
    } rows[] = {
        {charMatrix({"x"}), 1, badBase},
        {doubles(1, 1, {1}), 19, badBase},
        {charMatrix({"x"}), -2147483647 - 1, badBase},
        {doubles(1, 1, {1}), 10, notChar},
        {hvArrayOwner(hvCreateCellMatrix(1, 1)), 10, notChar},
        {charMatrix({}), 10, empty},
        {charMatrix({"", ""}), 10, empty},
        {charMatrix({" ,", "\t@"}), 10, empty},
        {hvArrayOwner(hvDuplicateArray(pages.get())), 10, {"VELMAR:transpose:NDArray", raisedBy([&] {
                                                                                           hvTranspose(pages.get());
                                                                                       }).message}},
        {charMatrix({"+ i"}), 10, invalid("(1,1)")},
        {charMatrix({"1 + 2"}), 10, invalid("(1,2)")},
        {charMatrix({"1 2 -3"}), 10, invalid("(1,3)")},
        {charMatrix({"1 2 3", "1 2"}), 10, invalid("(2,3)")},
        {charMatrix({"", "1"}), 10, invalid("(1,1)")},
        {charMatrix({"1", "1", "@1"}), 10, invalid("(3,1)")},
        {charMatrix({"1 2i", "3"}), 10, invalid("(2,1)")},
        {charMatrix({"1 2i 3 4i", "3 4 5 x"}), 10, invalid("(2,2)")},
        {charMatrix({"1", "1 2 x"}), 10, invalid("(2,3)")},
        {charMatrix({"3"}), 2, invalid("(1,1)")},
        {charMatrix({"1.5"}), 10, invalid("(1,1)")},
        {std::move(wide), 10, invalid("(1,2)")},
    };
    std::vector<fi> arrays;
    arrays.push_back(column({1, 2, 3}, kS8));
    arrays.push_back(column({1, 2, 3}, {4, 5, 6}, kS8));
    arrays.push_back(column({1, 2, 3}, plainType(TypeMode::Double)));
    for (fi& array : arrays) {
        const Snapshot before = snapshotOf(array);
        for (const auto& row : rows) {
            EXPECT_EQ(raisedBy([&] { array.base2num(row.text.get(), row.base); }), row.raised);
            EXPECT_EQ(snapshotOf(array), before);
        }
    }
}

TEST(FiText, RefusesFloatingWordsThatAreTooLargeBeforeItStoresOne) {
    for (const TypeMode mode : {TypeMode::Double, TypeMode::Single}) {
        for (fi array : {column({1, 2, 3}, plainType(mode)), column({1, 2, 3}, {4, 5, 6}, plainType(mode))}) {
            const Snapshot before = snapshotOf(array);
            EXPECT_EQ(
                raisedBy([&] { array.base2num(charMatrix({"1 10000000000000000"}).get(), 16); }),
                (Raised{"fixedpoint:fi:base2float:valuetoolarge", "Value is too large for indicated wordlength."}));
            EXPECT_EQ(snapshotOf(array), before);
        }
    }
}

TEST(FiText, IsNotThereForEveryType) {
    fi scaledDouble = scalar(1, plainType(TypeMode::ScaledDoubleBinaryPoint));
    // Before anything else.
    EXPECT_EQ(raisedBy([&] { scaledDouble.num2base(1); }), scaledDoubleOn("num2base"));
    EXPECT_EQ(raisedBy([&] { scaledDouble.num2sdec(); }), scaledDoubleOn("num2sdec"));
    EXPECT_EQ(raisedBy([&] { scaledDouble.base2num(doubles(1, 1, {1}).get(), 1); }), scaledDoubleOn("base2num"));
    for (const TypeMode mode : {TypeMode::Double, TypeMode::Single}) {
        EXPECT_EQ(raisedBy([&] { scalar(1, plainType(mode)).num2sdec(); }),
                  (Raised{"fixedpoint:quantizer:sdec:fixedonly", "Num2sdec not defined for float, double or single."}));
    }
    for (const int base : {std::numeric_limits<int>::min(), -2, 0, 1, 37, 62}) {
        EXPECT_EQ(raisedBy([&] { scalar(1, kS8).num2base(base); }),
                  (Raised{"fixedpoint:fi:num2base:baseoutofrange", "Base value must be >= 2 and <= 36"}));
    }
    fi slopeBias = scalar(1, slopeBiasType(true, 8, 1.5, 0, 1));
    const Snapshot before = snapshotOf(slopeBias);
    EXPECT_EQ(raisedBy([&] { slopeBias.base2num(charMatrix({"1 + 2 i"}).get(), 10); }).id,
              "fixedpoint:fi:nocomplexslopebias");
    EXPECT_EQ(snapshotOf(slopeBias), before);
    const ComplexSlopeBias allowed;
    slopeBias.base2num(charMatrix({"1 + 2 i"}).get(), 10);
    expectRead(slopeBias, {{1, 1}, {1}, {2}});
}

// Display

TEST(FiDisplay, ShowsValuesTypeRulesAndTag) {
    const auto displayed = [](const fi& array, void (fi::*show)() const) {
        const HostCapture host;
        (array.*show)();
        return host.printed;
    };
    const NumericType type = fixedType(true, 8, 4);
    const auto attributes = [](const NumericType& shown, const fimath& rules, const std::string& tag) {
        const HostCapture host;
        shown.disp();
        const std::string typeText = host.printed;
        const HostCapture rulesHost;
        rules.disp();
        return "\n" + typeText + "\n" + rulesHost.printed + "\n\n                   Tag: " + tag;
    };
    fi row = matrix({1, 2}, {0.5, -1.25}, {}, type);
    row.setTag("50% \xc3\xbc");
    EXPECT_EQ(displayed(row, &fi::disp), "    0.5000   -1.2500\n" + attributes(type, rulesOf(), "50% \xc3\xbc"));
    EXPECT_EQ(displayed(row, &fi::dispArray), "    0.5000   -1.2500\n");
    const fi empty = column({}, type, rulesOf(Rounding::floor, true));
    EXPECT_EQ(displayed(empty, &fi::disp), "     []\n" + attributes(type, rulesOf(Rounding::floor, true), ""));
    const GlobalRules global(rulesOf(Rounding::ceil, true));
    const fi follower = column({3}, type, rulesOf(), false);
    EXPECT_EQ(displayed(follower, &fi::disp), "   3\n" + attributes(type, rulesOf(Rounding::ceil, true), ""));
}

}  // namespace
