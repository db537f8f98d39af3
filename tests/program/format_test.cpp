#include "program/format.h"

#include <gtest/gtest.h>

#include <string>
#include <unordered_set>

#include "program/error.h"

namespace {

using tolvane::fixed_format;
using tolvane::fixed_type;
using tolvane::overflow;
using tolvane::rounding;

std::string idOf(const char* text) {
    try {
        const fixed_format read(text);
        return "";
    } catch (const tolvane::error& error) {
        return error.id() + ": " + error.what();
    }
}

TEST(Format, ReadsEveryFormOfTheSameType) {
    const struct {
        const char* text;
        const char* same;  // as text() writes it
    } rows[] = {
        {"s16,15", "s16,15 nearest saturate"},
        {" u8 , -2 wrap", "u8,-2 nearest wrap"},
        {"s12", "s12,0 nearest saturate"},
        {"fxp-s16/15", "s16,15 nearest saturate"},
        {"fxp-u8/0 floor", "u8,0 floor saturate"},
        {"ac_fixed<16,1,true>", "s16,15 nearest saturate"},
        {"ac_fixed<16, 20, false> symmetric", "u16,-4 nearest symmetric"},
        {"ac_fixed<8,3>", "s8,5 nearest saturate"},
        {"sfixed(0 downto -15)", "s16,15 nearest saturate"},
        {"ufixed(7 downto 2)", "u6,-2 nearest saturate"},
        {"s16,15 wrap convergent", "s16,15 convergent wrap"},
        {"s65535,0 nearest_odd keep_sign", "s65535,0 nearest_odd keep_sign"},
    };
    for (const auto& row : rows) {
        const fixed_format read(row.text);
        EXPECT_EQ(read.text(), row.same) << row.text;
        EXPECT_EQ(fixed_format(read.text()), read) << row.text;
    }
}

TEST(Format, RefusesWhatCanBeReadInTwoWaysOrNone) {
    const struct {
        const char* text;
        const char* part;
    } rows[] = {
        {"Q1.15", "\"s16,15\", and others don't, \"s17,15\""},
        {"UQ4.4", "write \"u8,4\""},
        {"", "begins with a type"},
        {"16,15", "begins with a type"},
        {"s16,15 nearst", "\"nearst\" is no rounding"},
        {"s16,15 truncate", "\"truncate\" is no rounding or overflow, or there are two. Roundings: ceil, convergent, "},
        {"s16,15 wrap wrap", "Overflows: saturate, wrap, symmetric, zero, keep_sign."},
        {"s16,15 wrap;", "doesn't belong"},
        {"s0,0", "tolvane:format:type"},
        {"u65536,0", "tolvane:format:type"},
        {"s8,99999999999", "begins with a type"},
        {"ac_fixed<16,1,maybe>", "begins with a type"},
    };
    for (const auto& row : rows) {
        EXPECT_NE(idOf(row.text).find(row.part), std::string::npos) << row.text << ": " << idOf(row.text);
    }
}

TEST(Format, IsAValueThatSetsHold) {
    const fixed_format a(tolvane::sfix(16, 15));
    std::unordered_set<fixed_format> set{a, "s16,15", a.named("x"), "u16,15", "s16,15 floor", "s16,15 wrap", "s16,14"};
    EXPECT_EQ(set.size(), 6U);
    EXPECT_EQ(a.named("x").name(), "x");
    EXPECT_EQ(std::unordered_set<fixed_type>({a.type(), tolvane::sfix(16, 15), tolvane::ufix(16, 15)}).size(), 2U);
}

}  // namespace
