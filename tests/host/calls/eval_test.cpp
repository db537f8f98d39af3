#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "host/hi.h"
#include "host/hsc.h"
#include "tests/support/arrays.h"
#include "tests/support/errors.h"

namespace {

hvArrayOwner evalText(const std::string& expression) {
    return callHost("eval", {text(expression).get()});
}

TEST(Eval, GivesTheValueOfAnExpression) {
    const struct {
        const char* expression;
        double value;
    } rows[] = {
        {"3", 3},         {" -16 ", -16},      {"2^-3", 0.125},     {"-2^2", -4},      {"2+3*4", 14},
        {"(2+3)*4", 20},  {"1e-3", 1e-3},      {"0.1", 0.1},        {"sqrt(16)", 4},   {"fix(-2.7)", -2},
        {"ceil(2.1)", 3}, {"floor(-2.1)", -3}, {"round(-2.5)", -3}, {"log2(8)", 3},    {"pi", M_PI},
        {"7;", 7},        {"abs(-3)", 3},      {"max(1,5)", 5},     {"Inf", HUGE_VAL}, {"-inf", -HUGE_VAL},
        {"eps", 0x1p-52}, {"1/0", HUGE_VAL},   {"\t1 +\n 1", 2},    {"double(8)", 8},
    };
    for (const auto& row : rows) {
        const hvArrayOwner result = evalText(row.expression);
        EXPECT_TRUE(hvIsDouble(result.get()));
        EXPECT_TRUE(hvIsScalar(result.get()));
        EXPECT_EQ(hvGetScalar(result.get()), row.value) << row.expression;
    }
    EXPECT_TRUE(std::isnan(hvGetScalar(evalText("NaN").get())));
}

TEST(Eval, GivesMatricesOfBracketedLists) {
    const struct {
        const char* expression;
        std::vector<std::size_t> dimensions;
        std::vector<double> values;
    } rows[] = {
        {"[]", {0, 0}, {}},
        {"[ ]", {0, 0}, {}},
        {"[5]", {1, 1}, {5}},
        {"[1 2 3]", {1, 3}, {1, 2, 3}},
        {"[1,2;3,4]", {2, 2}, {1, 3, 2, 4}},
        {"[1 2\n3 4]", {2, 2}, {1, 3, 2, 4}},
        {"[1 -2]", {1, 2}, {1, -2}},
        {"[1 - 2]", {1, 1}, {-1}},
        {"[1 -2 * 3, (4 + 1)]", {1, 3}, {1, -6, 5}},
        {"[ max(1, 2) 2^ 3 ]", {1, 2}, {2, 8}},
        {"[-1 +1];", {1, 2}, {-1, 1}},
    };
    for (const auto& row : rows) {
        const hvArrayOwner result = evalText(row.expression);
        EXPECT_EQ(dimensionsOf(result), row.dimensions) << row.expression;
        EXPECT_EQ(valuesOf(result), row.values) << row.expression;
    }
    EXPECT_EQ(raisedBy([] { evalText("[1 2; 3]"); }).id, "VELMAR:eval:rowLengths");
}

TEST(Eval, RefusesBadTexts) {
    std::vector<std::string> texts = {"",      " ",        ";",      "abc",    "1+",        "(1",    "1)",     "*2",
                                      "1 2",   "1,2",      "sqrt(",  "sqrt()", "sqrt(1,2)", "max()", "a=1",    "pi=3",
                                      "1?2:3", "\"text\"", "'text'", "[1",     "1]",        "[[1]]", "[1,,2]", "[1,]",
                                      "[,]",   "[a]",      "{1}",    "x'",     "\xFF",      "1..2",  "1e",     "@f",
                                      "#",     "%1",       "1\\2",   "$x",     "rm(1)",     "_",     "()"};
    texts.emplace_back("1\0z", 3);
    const auto many = [](std::size_t count, char c) { return std::string(count, c); };
    for (const std::string& text : {many(100000, '1'), many(100000, '('), many(1000, '(') + "1" + many(1000, ')'),
                                    many(4000, '-'), "[" + many(100000, ',') + "]", "[" + many(100000, '[') + "]"}) {
        texts.push_back(text);
    }
    for (const std::string& bad : texts) {
        EXPECT_EQ(raisedBy([&] { evalText(bad); }).id, "VELMAR:eval:badExpression") << bad.substr(0, 40);
    }
    EXPECT_EQ(raisedBy([] { callHost("eval", {doubles(1, 1, {1}).get()}); }).id, "VELMAR:array:notChar");
}

TEST(Eval, TakesLongAndDeepTextsWithinItsBounds) {
    const std::string deep = std::string(200, '(') + "1" + std::string(200, ')');
    EXPECT_EQ(hvGetScalar(evalText(deep).get()), 1.0);
    std::string sum = "1";
    for (int i = 0; i < 1000; ++i) {
        sum += "+1";
    }
    EXPECT_EQ(hvGetScalar(evalText(sum).get()), 1001.0);
    std::string list = "[0";
    for (int i = 1; i < 2000; ++i) {
        list += " " + std::to_string(i);
    }
    EXPECT_EQ(hvGetNumberOfElements(evalText(list + "]").get()), 2000u);
}

TEST(Eval, SurvivesRandomTexts) {
    const std::string pieces[] = {"1",  "2.5", "+", "-", "*",  "/",    "^",  "(",  ")", ",",  " ", "[", "]", ";",
                                  "pi", "max", "e", "&", "&&", "sqrt", "<=", "!=", "=", "==", "|", ".", "_", "x"};
    std::mt19937 random(99);
    std::uniform_int_distribution<std::size_t> pick(0, std::size(pieces) - 1);
    int goodCount = 0;
    for (int i = 0; i < 5000; ++i) {
        std::string expression;
        for (std::size_t n = pick(random) / 2 + 1; n > 0; --n) {
            expression += pieces[pick(random)];
        }
        const std::string id = raisedBy([&] {
                                   const hvArrayOwner result = evalText(expression);
                                   EXPECT_TRUE(hvIsDouble(result.get()));
                                   ++goodCount;
                               }).id;
        EXPECT_TRUE(id.empty() || id == "VELMAR:eval:badExpression" || id == "VELMAR:eval:rowLengths")
            << expression << ' ' << id;
    }
    EXPECT_GT(goodCount, 50);
}

TEST(Eval, UnderTrapSaysNothingInQuietMode) {
    HostCapture host;
    const int oldMode = hvSetErrorMode(-1);
    const hvArrayOwner bad = text("3+");
    hvArray* arguments[] = {bad.get()};
    hvArray* result = nullptr;
    EXPECT_NE(hiCallFcnWithTrap(1, &result, 1, arguments, "eval"), 0);
    EXPECT_EQ(hvSetErrorMode(oldMode), -1);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(host.printed, "");
    EXPECT_TRUE(host.warnings.empty());
    EXPECT_EQ(hostref::lastError().id, "VELMAR:eval:badExpression");
}

}  // namespace
