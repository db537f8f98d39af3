// The filter study's coefficients in files and as an array of the host, each against bits made without it.
#include <gtest/gtest.h>

#include <bitset>
#include <cmath>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "examples/filter_study/CoefficientArray.h"
#include "examples/filter_study/coefficient_files.h"
#include "examples/filter_study/integer_model.h"
#include "examples/studies/StudyError.h"

namespace {

using filterstudy::Arithmetic;
using filterstudy::CoefficientArray;
using filterstudy::Keep;

constexpr Arithmetic kRules = {{8, 9},
                               {12, 13},
                               {Keep::Msb, {14, 0}},
                               {Keep::Specified, {20, 17}},
                               filterstudy::Round::Floor,
                               filterstudy::Overflow::Wrap};

std::vector<double> valuesOf(const std::vector<std::int64_t>& integers, int fraction) {
    std::vector<double> values;
    for (const std::int64_t integer : integers) {
        values.push_back(std::ldexp(static_cast<double>(integer), -fraction));
    }
    return values;
}

TEST(Coefficients, AreTheSameIntegersInEachFileAndInTheArray) {
    for (const int bits : {2, 3, 5, 8, 9, 12, 16, 17, 24}) {
        for (const int fraction : {-3, bits + 6}) {
            SCOPED_TRACE(testing::Message() << bits << "," << fraction);
            const std::int64_t half = std::int64_t{1} << (bits - 1);
            const std::vector<std::int64_t> integers = {0, 1, -1, half - 1, -half, half / 2, -half / 2};
            Arithmetic arithmetic = kRules;
            arithmetic.coefficient = {bits, fraction};
            const filterstudy::Coefficients coefficients{integers, arithmetic.coefficient, "a filter"};

            const std::string hexadecimal = hexadecimalText(coefficients);
            const std::string binary = binaryText(coefficients);
            std::istringstream lines(binary);
            std::string line;
            while (std::getline(lines, line) && line.starts_with("//")) {
            }
            for (const std::int64_t integer : integers) {
                const std::string bitsOf64 = std::bitset<64>(static_cast<unsigned long long>(integer)).to_string();
                EXPECT_EQ(line, bitsOf64.substr(64 - static_cast<std::size_t>(bits)));
                std::getline(lines, line);
            }
            CoefficientArray array(valuesOf(integers, fraction), arithmetic);
            EXPECT_NO_THROW(array.requireEqual(hexadecimal, 16));
            EXPECT_NO_THROW(array.requireEqual(binary, 2));
            EXPECT_EQ(filterstudy::integersOfWords(hexadecimal, 16, bits), integers);
            EXPECT_EQ(filterstudy::integersOfWords(binary, 2, bits), integers);

            const std::string header = cHeaderText(coefficients, arithmetic);
            EXPECT_EQ(filterstudy::integersOfCHeader(header), integers);
            for (const std::string part : {bits <= 8    ? "int8_t filter_coefficients"
                                           : bits <= 16 ? "int16_t filter_coefficients"
                                                        : "int32_t filter_coefficients",
                                           "#define FILTER_TAPS 7\n", "#define FILTER_DATA_FRACTION 13\n",
                                           "#define FILTER_PRODUCT_BITS 14\n", "#define FILTER_SUM_FRACTION 17\n"}) {
                EXPECT_NE(header.find(part), std::string::npos) << part;
            }
        }
    }
}

TEST(Coefficients, AreRefusedWhereAFileHasNoInteger) {
    for (const char* const text : {"no array", "x[] = {1, 2};", "x[] = {1, b,};"}) {
        EXPECT_THROW(filterstudy::integersOfCHeader(text), std::runtime_error) << text;
    }
    EXPECT_THROW(filterstudy::integersOfWords("01\n02\n", 2, 2), std::runtime_error);
    EXPECT_THROW(filterstudy::integersOfWords("\n", 16, 8), std::runtime_error);
}

TEST(CoefficientArray, RoundsToNearestAndSaturatesWhateverItsRulesAre) {
    CoefficientArray array(std::vector<double>{0.5 / 512, -0.5 / 512, 1.49 / 512, 1.0, -1.0}, kRules);
    EXPECT_EQ(array.words(16), (std::vector<std::string>{"01", "00", "01", "7f", "80"}));
    EXPECT_EQ(filterstudy::storedIntegers(std::vector<double>{0.5, -0.5, 1.49, 128.0, -129.0}, {8, 0}),
              (std::vector<std::int64_t>{1, 0, 1, 127, -128}));
}

TEST(CoefficientArray, TellsTheFirstDifferenceFromAFile) {
    CoefficientArray array(valuesOf({1, -2, 3}, 9), kRules);
    const struct {
        const char* text;
        int base;
        const char* message;
    } rows[] = {
        {"// two lines\n// above\n01\nfe\n03\n", 16, ""},
        {"01\nfd\n03\n", 16, "the file of \"hex\" has fd for coefficient 1 (counted from 0), not fe"},
        {"01\nfe\n3\n", 16, "the file of \"hex\" has 3 for coefficient 2 (counted from 0), not 03"},
        {"01\nfe\n", 16, "the file of \"hex\" has 2 coefficients, not 3"},
        {"00000001\n11111110\n00000011\n00000000\n", 2, "the file of \"bin\" has 4 coefficients, not 3"},
        {"// nothing\n", 2, "the file of \"bin\" has 0 coefficients, not 3"},
    };
    for (const auto& row : rows) {
        std::string message;
        try {
            array.requireEqual(row.text, row.base);
        } catch (const study::StudyError& error) {
            EXPECT_EQ(error.code(), study::ExitCode::WordsDiffer);
            message = error.what();
        }
        EXPECT_EQ(message, row.message);
    }
}

TEST(CoefficientArray, ShowsValuesWordsTypeRulesAndTag) {
    std::vector<std::int64_t> integers;
    for (int i = 0; i < 100; ++i) {
        integers.push_back(i - 50);
    }
    CoefficientArray array(valuesOf(integers, 9), kRules);
    const std::string shown = array.shown();
    for (const char* line : {" WordLength: 8\n", " FractionLength: 9\n", " Signedness: Signed\n", " RoundMode: floor\n",
                             " OverflowMode: wrap\n", " ProductMode: KeepMSB\n", " ProductWordLength: 14\n",
                             " SumMode: SpecifyPrecision\n", " SumWordLength: 20\n", " SumFractionLength: 17\n",
                             "    Tag: coefficients\n"}) {
        EXPECT_NE(shown.find(line), std::string::npos) << line << shown;
    }

    // Each of the first three blocks has all elements, in lines of one width, the last one aside.
    const std::size_t values = shown.find("\n\n", 1) + 2;
    const std::size_t hex = shown.find("\n  \"hex\":\n");
    const std::size_t bin = shown.find("\n  \"bin\":\n");
    ASSERT_NE(bin, std::string::npos);
    const struct {
        std::string text;
        int base;
    } blocks[] = {{shown.substr(values, hex - values), 0},
                  {shown.substr(hex + 10, bin - hex - 10), 16},
                  {shown.substr(bin + 10, shown.find("\n\n", bin) - bin - 10), 2}};
    for (const auto& block : blocks) {
        SCOPED_TRACE(block.text);
        std::istringstream lines(block.text);
        std::vector<std::size_t> widths;
        std::vector<std::int64_t> found;
        for (std::string line; std::getline(lines, line);) {
            widths.push_back(line.size());
            std::istringstream fields(line);
            for (std::string field; fields >> field;) {
                found.push_back(block.base == 0 ? std::lround(std::stod(field) * 512.0)
                                                : static_cast<std::int8_t>(std::stoi(field, nullptr, block.base)));
            }
        }
        EXPECT_EQ(found, integers);
        ASSERT_GT(widths.size(), 2U);
        EXPECT_LE(widths[0], 110U);
        EXPECT_EQ(std::vector<std::size_t>(widths.size() - 1, widths[0]),
                  std::vector<std::size_t>(widths.begin(), widths.end() - 1));
    }
}

}  // namespace
