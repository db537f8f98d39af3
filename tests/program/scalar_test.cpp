// Variables of a format against rationals: every rounding and overflow, expressions that need 64 bits, 128 and more.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "program/tolvane.h"
#include "tests/program/places.h"

namespace {

using namespace tolvane;
using namespace tolvane::oracle;

/// What a place should have told a log.
struct Expected {
    std::uint64_t values = 0;
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;
    std::optional<Rational> least;
    std::optional<Rational> greatest;

    void add(const Rational& before, const Quantized& made) {
        ++values;
        overflows += made.overflows ? 1U : 0U;
        underflows += made.rounded == 0 && before != 0 ? 1U : 0U;
        least = least ? std::min(*least, before) : before;
        greatest = greatest ? std::max(*greatest, before) : before;
    }
};

TEST(Scalars, AssignExpressionsLikeRationals) {
    Random random(1741);
    for (int round = 0; round < 3000; ++round) {
        const int mostBits = random.oneIn(2) ? 30 : random.oneIn(2) ? 60 : 200;
        const fixed_format format(randomType(random, mostBits), random.pick(kAllRoundings), random.pick(kAllOverflows),
                                  "acc");
        const int fraction = format.type().fraction;
        const fixed_array a = randomArray(random, randomType(random, mostBits), 12);
        const fixed_array b = randomArray(random, randomType(random, mostBits), 12);
        const std::string what = "round " + std::to_string(round) + ": " + format.text() + ", operands " +
                                 a.type().text() + ", " + b.type().text();
        const bool isLogged = random.oneIn(2);
        std::optional<fixed_log> log;
        if (isLogged) {
            log.emplace();
        }
        fixed_scalar x(a.type());
        fixed_scalar y(b.type());
        fixed_scalar acc(format);
        Rational held;
        Expected expected;
        const auto check = [&](const Rational& exact, int exactFraction) {
            // A variable may meet values in finer units than they need, except where that shows.
            const bool cutsBits = exactFraction > fraction;
            const Quantized wanted = quantized(exact, format, cutsBits);
            ASSERT_EQ(rationalOf(acc.value()), wanted.value) << what << ": " << text(exact);
            expected.add(exact, wanted);
            held = wanted.value;
        };
        for (std::size_t i = 0; i < a.size(); ++i) {
            x = a[i];
            y = b.at(i);
            const Rational p = rationalOf(a.at(i));
            const Rational q = rationalOf(b.at(i));
            const int productFraction = a.type().fraction + b.type().fraction;
            switch (random.between(0, 4)) {
                case 0:
                    acc = acc + x * y;
                    check(held + p * q, std::max(fraction, productFraction));
                    break;
                case 1: {
                    auto difference = x - y * 3;
                    x = 0;
                    acc.set(difference);
                    check(p - q * 3, std::max(a.type().fraction, b.type().fraction));
                    break;
                }
                case 2:
                    acc = -scaled(x, 3);
                    check(-p * 8, std::max(0, a.type().fraction - 3));
                    break;
                case 3:
                    acc *= y;
                    check(held * q, fraction + b.type().fraction);
                    break;
                default:
                    acc = x;
                    check(p, a.type().fraction);
            }
            if (HasFatalFailure()) {
                return;
            }
            ASSERT_EQ(acc < x, held < rationalOf(x.value())) << what;
            ASSERT_EQ(acc == y, held == q) << what;
            ASSERT_EQ(acc > 1, held > 1) << what;
            if (format.type().bits <= 64) {
                Integer word(std::to_string(acc.word()));
                word += !format.type().is_signed && word < 0 ? Integer(1) << 64U : Integer(0);
                ASSERT_EQ(::scaled(Rational(word), -fraction), held) << what;
            }
        }
        if (isLogged) {
            const place_record record = log->place("acc");
            ASSERT_EQ(record.values, expected.values) << what;
            ASSERT_EQ(record.overflows, expected.overflows) << what;
            ASSERT_EQ(record.underflows, expected.underflows) << what;
            ASSERT_EQ(rationalOf(record.before.least), *expected.least) << what;
            ASSERT_EQ(rationalOf(record.before.greatest), *expected.greatest) << what;
        }
        if (rationalOf(y.value()) != 0) {
            acc.set_quotient(x, y);
            ASSERT_EQ(rationalOf(acc.value()),
                      quantized(rationalOf(x.value()) / rationalOf(y.value()), format, true).value)
                << what;
        }
    }
}

TEST(Scalars, TellTheLogsOfTheirTime) {
    fixed_scalar x("s8,0 wrap", "x");
    x = 100;  // nobody hears
    {
        fixed_log first;
        x = 200;
        fixed_log second;
        x = 300;
        fixed_scalar copy = x;
        copy = 5;
        EXPECT_EQ(first.place("x").values, 3U);
        EXPECT_EQ(first.place("x").overflows, 2U);
        EXPECT_EQ(second.place("x").values, 2U);
        EXPECT_EQ(second.place("x").before.greatest, exact_value(300));
        second.clear();
        EXPECT_TRUE(second.places().empty());
    }
    x = 400;
    fixed_log third;
    EXPECT_TRUE(third.places().empty());
    std::thread([] {
        fixed_scalar other("s8,0", "other");
        for (int i = 0; i < 1000; ++i) {
            other += 1;
        }
    }).join();
    EXPECT_EQ(third.place("other").overflows, 1000U - 127U);
}

TEST(Scalars, RoundStochasticallyAsASeedSays) {
    const auto run = [](std::uint64_t seed) {
        const random_seed scope(seed);
        fixed_scalar x("s40,0 stochastic");
        std::vector<Rational> values = rationalsOf(fixed_array(std::vector<double>(20, 0.5), "s8,0 stochastic"));
        for (int i = 0; i < 1000; ++i) {
            x += 0.25;
            values.push_back(rationalOf(x.value()));
        }
        return values;
    };
    const random_seed outer(1);
    const std::vector<Rational> seven = run(7);
    EXPECT_EQ(run(7), seven);
    EXPECT_NE(run(8), seven);
    // 250 expected; the deviation is sqrt(1000 * 3 / 16) = 13.7.
    EXPECT_NEAR(seven.back().get_d(), 250, 5 * 13.7);
}

TEST(Scalars, RefuseWhatIsntMeant) {
    fixed_scalar x("s16,15", "x");
    x = 0.1;  // any double may be quantized
    const exact_value before = x.value();
    EXPECT_EQ(idOf([&] { x = x + 0.1; }), "tolvane:array:constant");
    EXPECT_EQ(idOf([&] { x = std::nan(""); }), "tolvane:value:finite");
    EXPECT_EQ(idOf([&] { x = x * (1 / 0.0); }), "tolvane:value:finite");
    EXPECT_EQ(idOf([&] { x.set_word(40000); }), "tolvane:array:word");
    EXPECT_EQ(idOf([&] { x.set_quotient(x, 0); }), "tolvane:array:division");
    EXPECT_EQ(idOf([&] { (void)fixed_scalar("s65,0").word(); }), "tolvane:array:word");
    const fixed_array a({1.0, 2.0}, "s8,4");
    EXPECT_EQ(idOf([&] { x = a[2]; }), "tolvane:array:index");
    EXPECT_EQ(idOf([&] {
                  x = fixed_array(std::vector<std::complex<double>>{{1, 2}}, "s8,4")[0];
              }),
              "tolvane:array:complex");
    EXPECT_EQ(a * x, a * fixed_array(std::vector{before}, "s16,15"));  // variables are operands of arrays, too
    EXPECT_EQ(x.value(), before);
    x = x + 0.5;
    EXPECT_EQ(x.value(), before + exact_value(0.5));
}

TEST(Scalars, AreTheirOnlyPlaces) {
    const fixed_log log;
    fixed_scalar x("s16,15", "x"), y("u8,4", "y");
    x = 0.5;
    y.set_quotient(100, x);
    const auto line = static_cast<std::uint32_t>(__LINE__) - 1;
    EXPECT_EQ(static_cast<fixed_array>(x), fixed_array(0.5, fixed_format("s16,15", "array")));
    ASSERT_EQ(log.places().size(), 3U);  // those and the array
    EXPECT_EQ(log.place("y").overflow_line, line);
    y.set_word(255);
    EXPECT_EQ(fixed_array(y).at(0), exact_value(15.9375));
}

TEST(Scalars, HaveMagnitudes) {
    fixed_scalar x("s16,0"), y("s17,0");
    for (const int value : {-32768, -3, 0, 5}) {
        x = value;
        y = abs(x);
        EXPECT_EQ(y.word(), std::abs(value));
        EXPECT_EQ(value_of(abs(2 * x - 7)), exact_value(std::abs(2 * value - 7)));
    }
    const exact_value most("1e30");
    fixed_scalar wide("s200,0");
    wide = -most;
    EXPECT_EQ(value_of(abs(wide * wide * wide)), most * most * most);
}

TEST(Arrays, AreMadeOfMixedNumbers) {
    EXPECT_EQ(fixed_array({1, -0.5}, "s8,4", "x"), fixed_array({1.0, -0.5}, "s8,4"));
    EXPECT_EQ(fixed_array({1, 2}, "s8,4"), fixed_array({1.0, 2.0}, "s8,4"));
    const fixed_array x({1, 0}, "s8,4");
    EXPECT_EQ(lfilter({1, 0.5}, {1, 0.5}, x, {.section_output = "s8,4"}), x);
}

}  // namespace
