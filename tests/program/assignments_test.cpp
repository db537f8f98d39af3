// Operations into arrays that exist, against exact rationals.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "program/tolvane.h"
#include "tests/program/places.h"

namespace {

using namespace tolvane;
using namespace tolvane::oracle;

using Assignment = void (*)(fixed_array&, const fixed_array&, const fixed_array&, rounding, overflow,
                            const code_location&);

struct Operation {
    Assignment assign;
    std::function<Rational(const Rational&, const Rational&)> exact;
};
const Operation kOperations[] = {
    {&assign_sum, [](const Rational& a, const Rational& b) { return Rational(a + b); }},
    {&assign_difference, [](const Rational& a, const Rational& b) { return Rational(a - b); }},
    {&assign_product, [](const Rational& a, const Rational& b) { return Rational(a * b); }},
    {[](fixed_array& out, const fixed_array& a, const fixed_array&, rounding round, overflow over,
        const code_location& where) { assign(out, a, round, over, where); },
     [](const Rational& a, const Rational&) { return a; }}};

TEST(Assignments, AreThoseOfRationals) {
    Random random(1811);
    for (int round = 0; round < 2000; ++round) {
        // Short words, which have a loop of their own, and all others; chunks of a thousand now and then.
        const int mostBits = random.oneIn(2) ? 24 : 200;
        const auto count =
            static_cast<std::size_t>(random.oneIn(40) ? random.between(1000, 2100) : random.between(1, 70));
        fixed_array a = randomArray(random, randomType(random, mostBits), random.oneIn(5) ? 1 : count);
        fixed_array b = randomArray(random, randomType(random, mostBits), random.oneIn(5) ? 1 : count);
        const auto which = static_cast<std::size_t>(random.between(0, 3));
        const Operation& operation = kOperations[which];
        const bool isIntoOperand = random.oneIn(3) && a.size() == count;
        const fixed_type type = isIntoOperand     ? a.type()
                                : random.oneIn(4) ? (which == 0 ? (a + b).type() : (a * b).type())
                                                  : randomType(random, mostBits);
        const fixed_format format(type, random.pick(kAllRoundings), random.pick(kAllOverflows), "out");
        fixed_array out = (isIntoOperand ? a : fixed_array::zeros({count}, type)).named("out");
        const std::vector<Rational> left = rationalsOf(a);
        const std::vector<Rational> right = rationalsOf(b);
        if (isIntoOperand) {
            a = fixed_array();  // nobody else has the words
        }
        // Bits are cut off if the exact type has more places than the target.
        const int fraction = which == 2
                                 ? left.empty() ? 0 : (isIntoOperand ? type : a.type()).fraction + b.type().fraction
                             : which == 3 ? (isIntoOperand ? type : a.type()).fraction
                                          : std::max((isIntoOperand ? type : a.type()).fraction, b.type().fraction);
        std::optional<fixed_log> log;
        if (random.oneIn(3)) {
            log.emplace(log_options{.histogram = random.oneIn(2)});
        }
        const std::optional<fixed_array> copy = random.oneIn(3) ? std::optional(out) : std::nullopt;
        const std::vector<Rational> before = rationalsOf(out);
        operation.assign(out, isIntoOperand ? out : a, b, format.rounding(), format.overflow(), {});
        ASSERT_EQ(out.type(), type);
        ASSERT_EQ(out.name(), "out");
        std::uint64_t overflows = 0;
        const std::vector<Rational> made = rationalsOf(out);
        ASSERT_EQ(made.size(), count);
        for (std::size_t i = 0; i < count; ++i) {
            const Rational exact = operation.exact(left[left.size() == 1 ? 0 : i], right[right.size() == 1 ? 0 : i]);
            const Quantized wanted = quantized(exact, format, fraction > type.fraction);
            overflows += wanted.overflows ? 1U : 0U;
            ASSERT_EQ(made[i], wanted.value)
                << "round " << round << " element " << i << ": operation " << which << " into " << format.text();
        }
        if (copy) {
            ASSERT_EQ(rationalsOf(*copy), before) << "a copy changed in round " << round;
        }
        if (log) {
            ASSERT_EQ(log->places().size(), 1U);
            EXPECT_EQ(log->places()[0].values, count);
            EXPECT_EQ(log->places()[0].overflows, overflows);
        }
    }
}

TEST(Assignments, UseTheMemoryThatIsThere) {
    const fixed_array a(std::vector<double>(5000, 0.25), "s16,15");
    fixed_array out = fixed_array::zeros({5000}, sfix(17, 15));
    const std::int64_t* const words = out.words().data();
    assign_sum(out, a, a);
    assign_product(out, a, out, rounding::floor);
    assign(out, a);
    out += a;
    out *= 0.5;
    EXPECT_EQ(out.words().data(), words);
    EXPECT_EQ(out.at(4999), exact_value(0.25));
    const fixed_array copy = out;
    out -= a;
    EXPECT_EQ(copy.words().data(), words);
    EXPECT_EQ(out.at(0), exact_value(0));
}

TEST(Assignments, ChangeNothingIfTheyRaise) {
    const fixed_array x({0.5, -0.5, 0.75}, "s16,15");
    const fixed_array complex(std::vector<std::complex<double>>{{1, 2}, {3, 4}, {0, 0}}, "s8,4");
    const fixed_array pair({1, 2}, "s8");
    const double infinite[] = {0, 1, HUGE_VAL};
    const exact_value greatest(0x1p0 - 0x1p-15);
    const struct {
        const char* id;
        std::function<void(fixed_array&)> run;
    } rows[] = {
        {"tolvane:array:shape", [&](fixed_array& out) { assign(out, pair); }},
        {"tolvane:array:shape", [&](fixed_array& out) { assign_sum(out, out, pair); }},
        {"tolvane:array:shape",
         [&](fixed_array& out) {
             assign_sum(out, x.reshaped({3, 1}), pair);
         }},
        {"tolvane:array:shape",
         [&](fixed_array& out) {
             assign(out, std::vector<double>{1, 2});
         }},
        {"tolvane:array:complex", [&](fixed_array& out) { assign(out, complex); }},
        {"tolvane:array:complex", [&](fixed_array& out) { assign_product(out, x, complex); }},
        {"tolvane:array:growth",
         [&](fixed_array& out) { assign_product(out, fixed_array({1}, "s1000"), fixed_array({1}, "s1000")); }},
        {"tolvane:value:finite", [&](fixed_array& out) { assign(out, infinite); }},
        {"test:listener",
         [&](fixed_array& out) {
             const fixed_log log({.on_overflow = [](const overflow_event&) { throw error("test:listener", ""); }});
             assign_product(out, out, fixed_array({8}, "s8"));
         }},
    };
    for (const auto& row : rows) {
        fixed_array out = cast(x, "s12,11");
        const fixed_array before = cast(x, "s12,11");
        EXPECT_EQ(idOf([&] { row.run(out); }), row.id);
        EXPECT_EQ(out, before) << row.id;
    }
    fixed_array differences = complex_of(x, x);
    assign_difference(differences, complex, x);
    EXPECT_EQ(differences.at(0), exact_value(0.5));
    EXPECT_EQ(differences.imag_at(1), greatest) << "saturated";
}

}  // namespace
