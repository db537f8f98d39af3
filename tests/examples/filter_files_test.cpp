// The files of the filter study, read by other means than it has itself.
#include <gtest/gtest.h>
#include <sndfile.h>
#include <stdio.h>

#include <bitset>
#include <cmath>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "examples/filter_study/coefficient_files.h"
#include "examples/studies/Recording.h"
#include "tests/examples/sounds.h"

namespace {

using filterstudy::Arithmetic;
using filterstudy::Coefficients;
using filterstudy::Keep;

std::vector<std::string> wordLines(const std::string& text) {
    std::istringstream lines(text);
    std::vector<std::string> words;
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("//")) {
            words.push_back(line);
        }
    }
    return words;
}

TEST(CoefficientFiles, HoldTheIntegersInEachForm) {
    for (const int bits : {2, 5, 8, 9, 12, 16, 17, 24}) {
        SCOPED_TRACE(bits);
        const std::int64_t half = std::int64_t{1} << (bits - 1);
        const std::vector<std::int64_t> integers = {0, 1, -1, half - 1, -half, half / 2, -half / 2};
        const Coefficients coefficients{integers, {bits, bits + 2}, "a filter"};
        const Arithmetic arithmetic{coefficients.word, {12, 13}, {Keep::Msb, {14, 0}}, {Keep::Specified, {20, 17}}};

        const auto hexadecimal = wordLines(hexadecimalText(coefficients));
        const auto binary = wordLines(binaryText(coefficients));
        ASSERT_EQ(hexadecimal.size(), integers.size());
        ASSERT_EQ(binary.size(), integers.size());
        for (std::size_t i = 0; i < integers.size(); ++i) {
            const std::string bitsOf64 = std::bitset<64>(static_cast<unsigned long long>(integers[i])).to_string();
            EXPECT_EQ(binary[i], bitsOf64.substr(64 - static_cast<std::size_t>(bits)));
            EXPECT_EQ(hexadecimal[i].size(), static_cast<std::size_t>((bits + 3) / 4));
            EXPECT_EQ(std::stoull(hexadecimal[i], nullptr, 16), std::stoull(binary[i], nullptr, 2));
        }
        EXPECT_EQ(filterstudy::integersOfWords(hexadecimalText(coefficients), 16, bits), integers);
        EXPECT_EQ(filterstudy::integersOfWords(binaryText(coefficients), 2, bits), integers);

        const std::string header = cHeaderText(coefficients, arithmetic);
        EXPECT_EQ(filterstudy::integersOfCHeader(header), integers);
        EXPECT_NE(header.find(bits <= 8    ? "int8_t filter_coefficients"
                              : bits <= 16 ? "int16_t filter_coefficients"
                                           : "int32_t filter_coefficients"),
                  std::string::npos);
        for (const std::string line :
             {"FILTER_TAPS 7", "FILTER_DATA_FRACTION 13", "FILTER_PRODUCT_BITS 14", "FILTER_SUM_FRACTION 17"}) {
            EXPECT_NE(header.find("#define " + line + "\n"), std::string::npos) << line;
        }
    }
}

TEST(CoefficientFiles, RefuseWhatIsNoInteger) {
    EXPECT_THROW(filterstudy::integersOfCHeader("no array"), std::runtime_error);
    EXPECT_THROW(filterstudy::integersOfCHeader("x[] = {1, 2};"), std::runtime_error);
    EXPECT_THROW(filterstudy::integersOfCHeader("x[] = {1, b,};"), std::runtime_error);
    EXPECT_THROW(filterstudy::integersOfWords("01\n02\n", 2, 2), std::runtime_error);
    EXPECT_THROW(filterstudy::integersOfWords("\n", 16, 8), std::runtime_error);
}

TEST(CoefficientFiles, HeaderIsAcceptedByACompiler) {
    const TemporaryFolder folder;
    const std::vector<std::int64_t> integers = {-32768, 32767, 5};
    const Arithmetic arithmetic{{16, 15}, {12, 11}, {}, {}};
    writeText(folder.file("coefficients.h"), cHeaderText({integers, {16, 15}, "a filter"}, arithmetic));
    writeText(folder.file("user.cpp"),
              "#include \"coefficients.h\"\nstatic_assert(FILTER_TAPS == 3 && FILTER_SUM_BITS == 30, \"\");\n"
              "int first() { return filter_coefficients[0]; }\n");
    const std::string command = std::string(CXX_COMPILER) + " -Wall -Werror -fsyntax-only " + folder.file("user.cpp");
    FILE* const pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    EXPECT_EQ(pclose(pipe), 0);
}

TEST(SoundFile, TakesTheShortestEncodingThatLosesNothing) {
    const TemporaryFolder folder;
    const std::string path = folder.file("a.wav");
    const struct {
        std::vector<double> values;
        int subtype;
        const char* why;
    } rows[] = {
        {{0.0, -1.0, 0x7fffp-15}, SF_FORMAT_PCM_16, "both ends of 16 bits"},
        {{0x1p-16}, SF_FORMAT_PCM_24, "one bit below"},
        {{-1.0, 0x7fffffp-23}, SF_FORMAT_PCM_24, "both ends of 24 bits"},
        {{0x1p-24, -0x7fffffffp-31}, SF_FORMAT_PCM_32, "32 bits"},
        {{1.0}, SF_FORMAT_DOUBLE, "full scale itself"},
        {{0x1p-32}, SF_FORMAT_DOUBLE, "finer than 32 bits"},
        {{-1.5, 0x1p-52}, SF_FORMAT_DOUBLE, "beyond full scale"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.why);
        study::writeSound(path, row.values, 44100);
        SF_INFO info{};
        SNDFILE* const file = sf_open(path.c_str(), SFM_READ, &info);
        ASSERT_NE(file, nullptr);
        std::vector<double> read(row.values.size());
        EXPECT_EQ(sf_read_double(file, read.data(), static_cast<sf_count_t>(read.size())), info.frames);
        sf_close(file);
        EXPECT_EQ(read, row.values);
        EXPECT_EQ(info.format, SF_FORMAT_WAV | row.subtype);
        EXPECT_EQ(info.samplerate, 44100);
        EXPECT_EQ(info.channels, 1);
    }
    EXPECT_EQ(folder.entryCount(), 1U);
}

}  // namespace
