// The tours print what the objects answer; their key facts are worked out by hand.
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/wait.h>

#include <array>
#include <cstdlib>
#include <span>
#include <string>

#include "examples/filter_study/coefficient_files.h"
#include "tests/support/files.h"

namespace {

struct Fact {
    const char* line;
    const char* why;
};

void expectFacts(const char* program, std::span<const Fact> facts) {
    FILE* const pipe = popen(program, "r");
    ASSERT_NE(pipe, nullptr);
    std::string text;
    std::array<char, 4096> block;
    while (const std::size_t count = fread(block.data(), 1, block.size(), pipe)) {
        text.append(block.data(), count);
    }
    EXPECT_EQ(pclose(pipe), 0);
    for (const Fact& fact : facts) {
        EXPECT_NE(text.find(fact.line), std::string::npos) << fact.why << "\n" << text;
    }
}

TEST(FirstSteps, ToldFactsAreTrue) {
    // In steps of 1/64: 1.5 is 96, -0.7 is -44.8, 0.12 is 7.68; the greatest 8-bit word is 127.
    const Fact facts[] = {
        {"\n  kept                   [1.5  -0.703125  0.125] ", "96, -45, 8"},
        {"\n  type                   signed, 8 bits, fraction length 6\n", "as asked for"},
        {"\n  a + a                  [3  -1.40625  0.25]\n", "twice that"},
        {"\n  type                   signed, 9 bits, fraction length 6\n", "one bit for the carry"},
        {"\n  a - 0.25               [1.25  -0.953125  -0.125]\n", ""},
        {"\n  b                      [1.5  -0.703125  0.109375] ", "96, -45, 7"},
        {"\n  b + b                  [1.984375  -1.40625  0.21875]\n", "192 becomes 127"},
        {"\n  warning fi:overflow    1 overflow occurred in the fi + operation.\n", "the 192"},
        {"\n  smallest, greatest     -1.40625, 1.984375\n", "-90 and 127"},
        {"\n  a + b                  fixedpoint:fi:fimathmismatch\n", "a rounds, b cuts"},
    };
    expectFacts(FIRST_STEPS, facts);
}

TEST(IndexingTour, ToldFactsAreTrue) {
    const Fact facts[] = {
        {"  a                      [1  2  3 ; 4  5  6]\n", "column by column"},
        {"\n  a([6 1])               [6  1]\n", ""},
        {"\n  a(a > 3)               [4 ; 5 ; 6]\n", ""},
        {"\n  a(1,1) = 1.2           [1.1875  2  3 ; 4  5  6] ", "19/16"},
        {"\n  a(:,3) = 100           [1.1875  2  7.9375 ; 4  5  7.9375] ", "127/16"},
        {"\n  a(3,1) = -1            [1.1875  2  7.9375 ; 4  5  7.9375 ; -1  0  0]\n", "zeros beside it"},
        {"\n  from nothing           [0  0  0  1.1875]\n", ""},
        {"\n  a(:,2) = []            [1.1875  7.9375 ; 4  7.9375]\n", ""},
        {"\n  a(9)                   fixedpoint:fi:badindex\n", "6 elements"},
    };
    expectFacts(INDEXING_TOUR, facts);
}

TEST(FrontTour, ToldFactsAreTrue) {
    const Fact facts[] = {
        {"\n  fi(pi,1,8,4,floor)     [3.125]   signed, 8 bits, fraction length 4\n", "50.27 / 16, cut down"},
        {"\n  from hex words         [0.9921875  -1]\n", "127 / 128, -128 / 128"},
        {"\n  [1.3 a 100]            [1.25  3.125  7.9375] ", "20.8 / 16 cut down; 127 / 16"},
        {"\n  sum along rows         [12.3125 ; -12.3125]\n", ""},
        {"\n  max along rows         [7.9375 ; -1.25] at places [3  1]\n", ""},
        {"\n  b / 3                  [0.40625  1.03125  2.625]   signed, 8 bits, fraction length 5\n",
         "13.3, 33.3 and 84.67 of 1/32, cut down"},
        {"\n  abs(3 - 4i)            [5]\n", ""},
        {"\n  isequal                yes\n  ispropequal            no\n", "other words, equal values"},
        {"\n  fi(1,'WordLenth',8)    fixedpoint:fi:constructor:unknownProperty\n", "misspelt"},
    };
    expectFacts(FRONT_TOUR, facts);
}

TEST(TypeReport, DescribesTheStateOfTheFilterInItsHeader) {
    const TemporaryFolder folder;
    const std::int64_t integers[] = {1, -2, 1};
    const std::string program = TYPE_REPORT " " + folder.file("coefficients.h");
    writeText(folder.file("coefficients.h"),
              filterstudy::cHeaderText({integers, {12, 13}, "a filter"}, {{12, 13}, {40, 11}, {}, {}}));
    // Sums of the parts' own streams by another MD5; a product has 12 + 40 bits, a sum of three of them 2 more.
    const Fact facts[] = {
        {"  structure filter_state, checksum 607cee54f32efdabc6db3847f490b046\n", "names, sizes, parts"},
        {"\n    coefficients   195cb3dd  const 1-by-3 of s12,13\n", "qualifiers, 1, 3, number"},
        {"\n    product        f663c793  s52,24\n", ""},
        {"\n    overflow       f86ce36c  one of saturate, wrap\n", "names do not count"},
        {"\n    int64_t history[3];  /* s40,11 */\n    int64_t product;  /* s52,24 */\n", ""},
        {"\n    struct filter_state *next;\n    void *user;\n};\n", ""},
        {"\n   1 coefficients     =  +  .  .  .  .  .  .  .\n", "matrices of as many numbers"},
        {"\n   6 overflow         .  .  .  .  =  =  .  .  .\n", "enumerations of as many bits"},
        {"\n   9 user             +  +  .  .  .  .  +  +  =\n", "what points at anything"},
    };
    expectFacts(program.c_str(), facts);

    writeText(folder.file("user.c"),
              "#include \"coefficients.h\"\n"
              "#include \"state.h\"\n"
              "_Static_assert(FILTER_TAPS == 3 && FILTER_SUM_BITS == 54, \"\");\n"
              "int first(void) { return filter_coefficients[0]; }\n"
              "_Static_assert(sizeof(struct filter_state) == 6 + 2 + 24 + 8 + 8 + 8 + 24, \"\");\n"
              "int sum(struct filter_state *s) { return s->next->round == RoundMode_nearest; }\n");
    const std::string compile = program + " --declaration > " + folder.file("state.h") +
                                " && " CXX_COMPILER " -x c -Wall -Werror -fsyntax-only " + folder.file("user.c");
    expectFacts(compile.c_str(), {});
}

TEST(TypeReport, HelpsAndRefuses) {
    const TemporaryFolder folder;
    writeText(folder.file("few.h"), "#define FILTER_TAPS 3\n");
    const struct {
        std::string arguments;
        int code;
        std::string out, err;
    } rows[] = {
        {"--help", 0, "\nUsage: type_report [OPTIONS] HEADER\n", ""},
        {"few.h -h", 0, "  --declaration  ", ""},
        {"", 2, "", "type_report: give one header\n"},
        {"few.h few.h", 2, "", "type_report: give one header\n"},
        {"--declare few.h", 2, "", "type_report: there is no option --declare\n"},
        {"nosuch", 1, "", "type_report: nosuch: there is no such file; filter_study --out writes such a file"},
        {".", 1, "", "type_report: . is a directory; "},
        {"--declaration few.h", 1, "", "type_report: few.h has no FILTER_COEFFICIENT_BITS; "},
    };
    for (const auto& row : rows) {
        // The shell leads the way into the folder, so that messages show names as they were given.
        const std::string command =
            "cd '" + folder.file("") + "' && '" TYPE_REPORT "' " + row.arguments + " >out 2>err";
        EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), row.code) << row.arguments;
        EXPECT_NE(readText(folder.file("out")).find(row.out), std::string::npos) << row.arguments;
        const std::string err = readText(folder.file("err"));
        EXPECT_TRUE(row.err.empty() ? err.empty() : err.starts_with(row.err)) << err;
    }
}

}  // namespace
