// The examples of docs/host.md where the host's contract departs from hardware, and the answers of programs beside
// them.
#include <cmath>
#include <memory>

#include "fi/fi.h"
#include "program/tolvane.h"
#include "tests/front/front_support.h"

namespace {

using tolvane::fixed_array;
using tolvane::fixed_format;

std::string textOf(const fixed_array& array) {
    std::string text = array.type().text() + ":";
    for (std::size_t i = 0; i < array.size(); ++i) {
        text += " " + array.at(i).text();
    }
    return text;
}

class Departures : public FrontTest {
 protected:
    static std::string textOf(const Value& array) {
        const Value type = array.get("numerictype");
        std::string text = std::string(type.get("SignednessBool").toBool() ? "s" : "u") +
                           std::to_string(static_cast<int>(type.get("WordLength").toDouble())) + "," +
                           std::to_string(static_cast<int>(type.get("FractionLength").toDouble())) + ":";
        for (const double value : array.get("double").toDoubles()) {
            text += " " + tolvane::exact_value(value).text();
        }
        return text;
    }
};

TEST_F(Departures, SumsWithoutCastAreRoundedFirst) {
    const auto made = [this](const Value& values, bool casts) {
        return call("fi", {values, 1, 32, 0, "RoundMode", "floor", "OverflowMode", "wrap", "SumMode",
                           "SpecifyPrecision", "SumWordLength", 32, "SumFractionLength", 0, "CastBeforeSum", casts});
    };
    const std::vector<double> a = {52638307, 165243979};
    const std::vector<double> b = {1822362906, 766586929};
    const auto product = [&](bool casts) {
        return textOf(call("mtimes", {made(Value::matrix(1, 2, a), casts), made(Value::matrix(2, 1, b), casts)}));
    };
    EXPECT_EQ(product(false), "s32,0: -530190480");
    EXPECT_EQ(product(true), "s32,0: -530190487");
    EXPECT_EQ(::textOf(dot(fixed_array(a, "s32,0"), fixed_array(b, "s32,0"), {.sum = "s32,0 floor wrap"})),
              "s32,0: -530190487");
}

TEST_F(Departures, ConvolutionsFollowTheGlobalRules) {
    const std::vector<double> x = {1.25, 1.5, 0.515625};
    const std::vector<double> h = {1, 1};
    const auto made = [this](const Value& values) {
        return call("fi", {values, 1, 8, 6, "RoundMode", "floor", "OverflowMode", "wrap", "SumMode", "SpecifyPrecision",
                           "SumWordLength", 8, "SumFractionLength", 6});
    };
    EXPECT_EQ(textOf(call("convF", {made(x), made(h)})), "s8,6: 1.25 1.984375 1.984375 0.515625");
    const std::vector<double> shifted = {1.25, 1.5, 0.515625, 0, 0, 1.25, 1.5, 0.515625};
    const std::string wrapped = "s8,6: 1.25 -1.25 -1.984375 0.515625";
    EXPECT_EQ(textOf(call("mtimes", {made(Value::matrix(4, 2, shifted)), made(Value::matrix(2, 1, h))})), wrapped);
    EXPECT_EQ(::textOf(conv(fixed_array(x, "s8,6"), fixed_array(h, "s8,6"), {.sum = "s8,6 floor wrap"})), wrapped);
}

TEST_F(Departures, NearestMovesOddNumbersFrom52BitsOn) {
    for (const std::string mode : {"nearest", "convergent", "floor"}) {
        const auto made = [&](double value) {
            return call("fi", {value, 0, 52, 0, "RoundMode", mode, "OverflowMode", "wrap", "SumMode", "KeepLSB",
                               "SumWordLength", 52});
        };
        EXPECT_EQ(textOf(call("plus", {made(std::ldexp(1.0, 52) - 1), made(2)})),
                  mode == "floor" ? "u52,0: 1" : "u52,0: 2");
        const fixed_array sum = fixed_array((std::int64_t{1} << 52) - 1, "u52,0") + fixed_array(2, "u52,0");
        EXPECT_EQ(::textOf(cast(sum, fixed_format("u52,0 wrap " + mode))), "u52,0: 1");
    }
}

TEST_F(Departures, GrowthLacksTheSignOfMixedOperands) {
    const auto made = [this](double value, bool isSigned) { return call("fi", {value, isSigned, 8, 0}); };
    EXPECT_EQ(textOf(call("plus", {made(255, false), made(127, true)})), "s9,0: 255");
    EXPECT_EQ(call("minus", {made(3, false), made(5, false)}).get("double").toDouble(), 0);
    EXPECT_EQ(::textOf(fixed_array(255, "u8,0") + fixed_array(127, "s8,0")), "s10,0: 382");
    EXPECT_EQ(::textOf(fixed_array(3, "u8,0") - fixed_array(5, "u8,0")), "s9,0: -2");
}

TEST_F(Departures, ExtremesAreThoseOfTheWords) {
    for (const auto& [mode, kept] : {std::pair("saturate", 0.9921875), std::pair("wrap", 0.0)}) {
        session.callStatic("embedded.qlogger", "SetLoggingMode", {true});
        const Value array = call("fi", {100, 1, 8, 7, "OverflowMode", mode});
        session.callStatic("embedded.qlogger", "SetLoggingMode", {false});
        EXPECT_EQ(call("maxlog", {array}).toDouble(), kept);
        const tolvane::fixed_log log;
        const fixed_array same(100, fixed_format(std::string("s8,7 ") + mode, "x"));
        EXPECT_EQ(log.place("x").before.greatest, 100);
        EXPECT_EQ(log.place("x").after.greatest, kept);
        EXPECT_EQ(log.place("x").bits_needed, 15);
    }
    session.takeWarnings();
}

TEST_F(Departures, ElementOperatorsReturnOneRegister) {
    const EmbeddedTypeSystem::NumericType type(true, 16, 12);
    const ::fimath rules;
    const auto made = [&](double value) {
        return ::fi(value, type, rules, 0, "", true, embedded::OperationTypeEnum::Unspecified);
    };
    const ::fi a = made(2);
    const ::fi& product = a * made(3);
    EXPECT_EQ(product.real().todouble(), 2 - std::ldexp(1.0, -30));
    EXPECT_EQ(&(a * made(-3)), &product);
    EXPECT_EQ(product.real().todouble(), -2);
    const std::unique_ptr<::fi> whole(&a.times(made(3)));
    EXPECT_EQ(whole->real().todouble(), 6);
    EXPECT_EQ(::textOf(fixed_array(2, "s16,12") * fixed_array(3, "s16,12")), "s32,24: 6");
}

}  // namespace
