// What logs tell besides ranges and counts, which arrays_test.cpp compares with rationals.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "program/log_access.h"
#include "program/tolvane.h"
#include "tests/program/places.h"

namespace {

using namespace tolvane;
using oracle::idOf;

TEST(Logs, TellOfOverflowsOncePerPlaceAndCall) {
    const fixed_array x({0.5, -0.5, 0.75}, "s16,15");
    const fixed_array h({0.75, 1.5}, "s8,6");
    const fixed_format s8("s8,7", "y");
    const fixed_format s2("s2,1 wrap", "y");
    const fixed_format p("s4,4", "p");
    using C = std::complex<double>;
    const std::vector<C> complex = {{1, -2}, {0, 1}, {-1, 0}};
    const struct {
        std::uint32_t line;
        std::vector<std::pair<std::string, std::uint64_t>> events;
        std::function<void()> run;
    } rows[] = {
        // clang-format off
        {__LINE__, {}, [&] { cast(x, s8); }},
        {__LINE__, {{"y", 3}}, [&] { cast(x * 4, s8); }},
        {__LINE__, {{"y", 2}}, [&] { fixed_array(std::vector<double>{2, -1, -2}, s8); }},
        {__LINE__, {{"z", 1}}, [&] { fixed_array({2, -1, 0}, s8, "z"); }},
        {__LINE__, {{"s8,7 nearest saturate", 1}}, [&] { fixed_array(1e300, "s8,7"); }},
        {__LINE__, {{"y", 3}}, [&] { const fixed_array c(complex, s8); }},
        {__LINE__, {{"y", 3}}, [&] { divide(x, cast(x, s8), s8); }},
        {__LINE__, {{"y", 1}}, [&] { sum(x, {.sum = s2}); }},
        {__LINE__, {{"y", 1}}, [&] { cumsum(x, s2); }},
        {__LINE__, {{"p", 2}, {"y", 2}}, [&] { dot(h, h + 1, {.product = p, .sum = fixed_format("s3,4", "y")}); }},
        {__LINE__, {{"p", 4}}, [&] { conv(x, h, {p, s2}); }},
        {__LINE__, {{"s16,15 nearest saturate", 2}}, [&] { fixed_array a = x; a += 0.5; }},
        {__LINE__, {{"s16,15 nearest saturate", 2}}, [&] { fixed_array a = x; a -= x * 2 + 1; }},
        {__LINE__, {{"s16,15 nearest saturate", 3}}, [&] { fixed_array a = x; a *= 8; }},
        // clang-format on
    };
    for (const auto& row : rows) {
        std::vector<overflow_event> heard;
        std::vector<std::pair<std::string, std::uint64_t>> events;
        fixed_log log({.on_overflow = [&](const overflow_event& event) {
            heard.push_back(event);
            events.emplace_back(event.place, event.count);
        }});
        fixed_log plain;
        row.run();
        EXPECT_EQ(events, row.events) << "line " << row.line;
        for (const overflow_event& event : heard) {
            EXPECT_EQ(event.where.line(), row.line);
            EXPECT_STREQ(event.where.file_name(), __FILE__);
            for (const fixed_log* const each : {&log, &plain}) {
                EXPECT_EQ(each->place(event.place).overflow_line, row.line);
                EXPECT_EQ(each->place(event.place).overflow_file, __FILE__);
                EXPECT_EQ(each->place(event.place).overflows, event.count);
            }
        }
    }
}

TEST(Logs, LetListenersThrowAndCompute) {
    int calls = 0;
    fixed_log outer({.on_overflow = [&](const overflow_event& event) {
        ++calls;
        // Recorded, and not told again.
        cast(fixed_array({200, 2}, "s16,0"), fixed_format("s8,0", "within"));
        if (event.place == "y") {
            throw error("program:overflow", event.place);
        }
    }});
    std::unique_ptr<fixed_log> inner;
    inner = std::make_unique<fixed_log>(log_options{.on_overflow = [&](const overflow_event&) {
        ++calls;
        inner.reset();
    }});
    fixed_array y({0.5, 0.75}, "s8,7", "y");
    const fixed_array same = y;
    EXPECT_EQ(idOf([&] { y += fixed_array({0.75}, "s8,7"); }), "");  // into an unnamed place of y's type
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(inner, nullptr);
    y = same;
    EXPECT_EQ(idOf([&] { y = cast(y * 2, fixed_format("s8,7", "y")); }), "program:overflow");
    EXPECT_EQ(y, same);
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(outer.place("y").overflows, 2U);
    EXPECT_EQ(outer.place("within").overflows, 2U);
}

TEST(Logs, HearOfOperationsThatBeganWhileTheyLived) {
    int calls = 0;
    const std::uint64_t before = LogAccess::moment();
    fixed_log log({.on_overflow = [&](const overflow_event&) { ++calls; }});
    const std::uint64_t within = LogAccess::moment();
    fixed_log late;
    const place_record record{"x", "s8,7", {-1, 1}, {-1, 0}, 3, 1};
    const overflow_event event{"x", "s8,7", 1, {}};
    for (const std::uint64_t moment : {before, within, LogAccess::kAnyMoment}) {
        LogAccess::add(record, moment);
        LogAccess::announce({&event, 1}, moment);
    }
    EXPECT_EQ(log.place("x").values, 6U);
    EXPECT_EQ(late.place("x").values, 3U);
    EXPECT_EQ(calls, 2);
}

TEST(Logs, KeepWhatEachAskedForFromAllThreads) {
    const auto work = [](std::uint64_t seed) {
        Random random(seed);
        for (int i = 0; i < 200; ++i) {
            std::vector<double> values;
            for (int k = random.between(1, 70); k > 0; --k) {
                values.push_back(random.oneIn(9) ? 0.0 : random.real(-60, 3));
            }
            const fixed_array x(values, "s16,12", "x");
            cast(x * x, fixed_format("s70,24 floor wrap", "square"));
        }
    };
    const auto sorted = [](const fixed_log& log) {
        EXPECT_EQ(log.places().size(), 2U);
        return std::vector<place_record>{log.place("x"), log.place("square")};
    };
    fixed_log counts({.histogram = true});
    fixed_log plain;
    std::vector<place_record> apart;
    {
        fixed_log all({.histogram = true, .errors = true});
        for (std::uint64_t seed = 0; seed < 4; ++seed) {
            work(seed);
        }
        apart = sorted(all);
    }
    {
        fixed_log all({.histogram = true, .errors = true});
        std::vector<std::jthread> threads;
        for (std::uint64_t seed = 0; seed < 4; ++seed) {
            threads.emplace_back(work, seed);
        }
        threads.clear();
        const std::vector<place_record> together = sorted(all);
        for (std::size_t i = 0; i < apart.size(); ++i) {
            EXPECT_EQ(together[i].before, apart[i].before);
            EXPECT_EQ(together[i].after, apart[i].after);
            EXPECT_EQ(together[i].values, apart[i].values);
            EXPECT_EQ(together[i].overflows, apart[i].overflows);
            EXPECT_EQ(together[i].underflows, apart[i].underflows);
            EXPECT_EQ(together[i].bits_needed, apart[i].bits_needed);
            EXPECT_EQ(together[i].histogram, apart[i].histogram);
            EXPECT_EQ(together[i].errors, apart[i].errors);
            std::uint64_t total = apart[i].histogram->zeros;
            for (const auto& [exponent, count] : apart[i].histogram->powers) {
                total += count.positive + count.negative;
            }
            EXPECT_EQ(total, apart[i].values);
        }
    }
    for (const place_record& record : sorted(counts)) {
        EXPECT_TRUE(record.histogram);
        EXPECT_FALSE(record.errors);
    }
    for (const place_record& record : sorted(plain)) {
        EXPECT_FALSE(record.histogram || record.errors);
        EXPECT_EQ(record.values, 2 * apart.front().values);
    }
}

TEST(Logs, PutDoublesInPlaceOfFormatsOnTheirThread) {
    const auto bits = [] { return fixed_array(0.3, "s16,15").type().bits; };
    const fixed_array outside({0.5, 0.25}, "s16,15", "x");
    auto log = std::make_unique<fixed_log>(override::doubles);
    EXPECT_EQ(bits(), 144);
    {
        fixed_log says_nothing({.histogram = true});
        EXPECT_EQ(bits(), 144);
        auto formats = std::make_unique<fixed_log>(override::none);
        EXPECT_EQ(bits(), 16);
        fixed_log again(override::doubles);
        EXPECT_EQ(bits(), 144);
        formats.reset();
        EXPECT_EQ(bits(), 144);
    }
    int elsewhere = 0;
    std::jthread([&] { elsewhere = bits(); }).join();
    EXPECT_EQ(elsewhere, 16);

    // The types don't grow from place to place, and what the formats would have met is recorded against them.
    fixed_array y = outside;
    for (int i = 0; i < 5; ++i) {
        y += 0.5;
        y = cast(y, y.type());
    }
    EXPECT_EQ(y.type(), sfix(144, 79));
    EXPECT_EQ(y, fixed_array({3.0, 2.75}, "s16,8"));
    const place_record met = log->place("s16,15 nearest saturate");
    EXPECT_EQ(met.format.type(), sfix(16, 15));
    EXPECT_EQ(met.bits_needed, 18);
    // Sums and casts of 1 and more.
    EXPECT_EQ(met.overflows, 18U);
    EXPECT_EQ(cast(fixed_array({-3}, "s4,0"), "u8,4").at(0), exact_value(-3));
    // Growth has no limit, and doubles keep all of their bits.
    fixed_array square = fixed_array({1.1}, "s8,4");
    EXPECT_EQ(square.to_doubles().front(), 1.1);
    for (int i = 0; i < 5; ++i) {
        square = square * square;
    }
    // It may end on another thread.
    std::jthread([&] { log.reset(); }).join();
    EXPECT_EQ(bits(), 16);
    EXPECT_EQ(idOf([&] { square* square; }), "tolvane:array:growth");
}

TEST(Logs, ProposeTheFinestFormatsInWhichNothingOverflows) {
    constexpr rounding kRoundings[] = {rounding::nearest, rounding::convergent,     rounding::floor,
                                       rounding::ceil,    rounding::away_from_zero, rounding::jam};
    constexpr overflow kOverflows[] = {overflow::saturate, overflow::wrap, overflow::symmetric};
    Random random(1705);
    for (int round = 0; round < 500; ++round) {
        std::vector<double> values;
        for (int k = random.between(1, 5); k > 0; --k) {
            const int size = random.between(-20, 20);
            values.push_back(random.oneIn(4)   ? std::ldexp(random.oneIn(2) ? -1 : 1, size)
                             : random.oneIn(3) ? std::ldexp(1 - 0x1p-40, size)
                                               : random.real(-20, 20, random.between(1, 53)));
        }
        const fixed_format format({random.oneIn(2), random.between(5, 40), random.between(-10, 30)},
                                  random.pick(kRoundings), random.pick(kOverflows), "x");
        const int margin = random.between(0, 2);
        const auto recordWith = [&](const fixed_format& other) {
            fixed_log log;
            fixed_array(values, other);
            return log.place("x");
        };
        fixed_log log;
        fixed_array(values, format);
        const fixed_format moved = propose(log, {.margin_bits = margin}).front().proposed;
        const fixed_format resized = propose(log, {proposal_rule::keep_fraction, margin}).front().proposed;
        const std::string what = "round " + std::to_string(round) + ": " + format.text() + " to " + moved.text() +
                                 " and " + resized.text() + ", margin " + std::to_string(margin);
        EXPECT_EQ(moved.type().bits, format.type().bits) << what;
        EXPECT_EQ(resized.type().fraction, format.type().fraction) << what;
        const bool isSigned = format.type().is_signed || *std::ranges::min_element(values) < 0;
        for (const fixed_format& each : {moved, resized}) {
            EXPECT_EQ(recordWith(each).overflows, 0U) << what;
            EXPECT_LE(recordWith(each).bits_needed + margin, each.type().bits) << what;
            EXPECT_EQ(fixed_format(format.type(), each.rounding(), each.overflow(), each.name()), format) << what;
            EXPECT_EQ(each.type().is_signed, isSigned) << what;
        }
        EXPECT_EQ(recordWith(resized).bits_needed + margin, resized.type().bits) << what;
        const fixed_type finer{isSigned, moved.type().bits, moved.type().fraction + 1};
        EXPECT_GT(recordWith(fixed_format(finer, format.rounding(), format.overflow(), "x")).bits_needed + margin,
                  finer.bits)
            << what;
    }
    fixed_log log;
    fixed_array({0, 0}, "s8,7", "zeros");
    fixed_array(100.0, "s8,7 wrap", "x");
    std::ostringstream out;
    out << propose(log, {.margin_bits = 1});
    EXPECT_EQ(out.str(),
              "place  format                 proposed\n"
              "zeros  s8,7 nearest saturate  s8,7 nearest saturate\n"
              "x      s8,7 nearest wrap      s8,-1 nearest wrap\n");
    EXPECT_EQ(idOf([&] { propose(log, {.margin_bits = 8}); }), "tolvane:log:margin");
    EXPECT_EQ(idOf([&] { propose(log, {.margin_bits = -1}); }), "tolvane:log:margin");
}

TEST(Logs, CompareWithAReference) {
    const auto program = [] {
        const fixed_array x({0.5, -0.25, 0.75, 0.1}, "s16,15", "x");
        const fixed_array coarse = cast(x, fixed_format("s3,2 floor", "coarse"));
        const fixed_array loud = cast(coarse * 4, fixed_format("s8,7", "loud"));
        cast(loud, fixed_format("s16,15", "exact"));
    };
    fixed_log reference({.errors = true, .formats = override::doubles});
    program();
    reference.stop();
    fixed_log log({.errors = true});
    program();
    log.stop();
    program();
    fixed_log plain;
    EXPECT_EQ(idOf([&] { compare(log, plain); }), "tolvane:log:options");
    EXPECT_EQ(idOf([&] { compare(plain, log); }), "tolvane:log:options");

    const std::vector<place_comparison> all = compare(log, reference);
    ASSERT_EQ(all.size(), 4U);
    const double kLow = 0x1.99ap-4;  // 0.1 in s16,15
    const auto ratio = [](double signal, double noise) { return 10 * std::log10(signal / noise); };
    // Values are those of doubles; 3 and 2 became the greatest word.
    const double signal = (0.25 + 0.0625 + 0.5625 + 0.01) / 4;
    const double loudNoise = (1.0078125 * 1.0078125 + 2.0078125 * 2.0078125) / 4;
    const struct {
        const char* place;
        double ratio;
        std::uint64_t overflows;
    } rows[] = {
        {"loud", ratio(16 * signal, loudNoise), 2},
        {"coarse", ratio(signal, kLow * kLow / 4), 0},
        {"x", ratio(signal, (kLow - 0.1) * (kLow - 0.1) / 4), 0},
        {"exact", std::numeric_limits<double>::infinity(), 0},
    };
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i].place, rows[i].place);
        EXPECT_EQ(all[i].overflows, rows[i].overflows);
        if (std::isfinite(rows[i].ratio)) {
            EXPECT_NEAR(all[i].ratio_db, rows[i].ratio, 1e-6) << all[i].place;
        } else {
            EXPECT_EQ(all[i].ratio_db, rows[i].ratio);
        }
    }
    EXPECT_EQ(all[3].before.greatest, exact_value(0.9921875));
    EXPECT_EQ(all[3].reference_before.greatest, exact_value(3));
    std::ostringstream out;
    out << all;
    EXPECT_NE(out.str().find("\nexact   s16,15 nearest saturate"), std::string::npos) << out.str();
}

TEST(Logs, KeepSamplesInTheOrderInWhichTheyCame) {
    const fixed_log plain;
    fixed_log log({.samples = true});
    const std::vector<double> values = {0.3, -1.75, 0, 0.5};
    fixed_array(values, "s3,1", "x");
    fixed_scalar y("s4,1 floor", "x");
    y.set(0.8125);
    cast(fixed_array(std::vector<std::complex<double>>{{0.25, -0.25}}, "s3,2"), fixed_format("s3,1 floor", "x"));
    log.stop();
    y.set(1);
    const place_samples kept = samples_of(log, "x");
    const std::vector<exact_value> before = {0.3, -1.75, 0, 0.5, 0.8125, 0.25, -0.25};
    const std::vector<exact_value> after = {0.5, -1.5, 0, 0.5, 0.5, 0, -0.5};
    EXPECT_EQ(kept.before, before);
    EXPECT_EQ(kept.after, after);
    EXPECT_NE(log.place("x").line, 0U);
    EXPECT_EQ(idOf([&] { samples_of(log, "y"); }), "tolvane:log:name");
    EXPECT_EQ(idOf([&] { samples_of(plain, "x"); }), "tolvane:log:options");
    EXPECT_EQ(idOf([&] { differences(log, plain); }), "tolvane:log:options");
    EXPECT_EQ(idOf([&] { explain(plain, log); }), "tolvane:log:options");
}

TEST(Logs, ExplainWhatCameAndWhatWasAdded) {
    const auto program = [](bool isLonger) {
        const fixed_array x({0.5, -0.375, 0.75, 0.125}, "s3,2 floor", "x");  // 0, -0.125, 0, -0.125 is added
        const fixed_array y = cast(x * 3, fixed_format("s3,1", "y"));  // 1.5, -1.5, 2.25, 0 become 1.5, -1.5, 1.5, 0
        cast(y, fixed_format("s16,8", "z"));
        if (isLonger) {
            cast(y, fixed_format("s16,8", "z"));
        }
    };
    fixed_log reference({.samples = true, .formats = override::doubles});
    program(false);
    reference.stop();
    fixed_log log({.samples = true});
    program(true);
    log.stop();
    const std::vector<place_explanation> all = explain(log, reference);
    ASSERT_EQ(all.size(), 3U);
    // Of four values: the exact ones are 0.5, -0.375, 0.75, 0.125 and three times those.
    const double signal = (0.25 + 0.140625 + 0.5625 + 0.015625) / 4;
    const struct {
        const char* place;
        bool is_matched;
        double signal, arrived, added, total;
        std::uint64_t overflows;
    } rows[] = {
        {"y", true, 9 * signal, 9 * 0.03125 / 4, 0.5625 / 4, (0.140625 + 0.5625 + 0.140625) / 4, 1},
        {"x", true, signal, 0, 0.03125 / 4, 0.03125 / 4, 0},
        {"z", false, (2.25 + 2.25 + 2.25) / 4, 0, 0, 0, 0},
    };
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i].place, rows[i].place);
        EXPECT_EQ(all[i].is_matched, rows[i].is_matched) << rows[i].place;
        EXPECT_DOUBLE_EQ(all[i].signal, rows[i].signal) << rows[i].place;
        EXPECT_DOUBLE_EQ(all[i].arrived, rows[i].arrived) << rows[i].place;
        EXPECT_DOUBLE_EQ(all[i].added, rows[i].added) << rows[i].place;
        EXPECT_DOUBLE_EQ(all[i].total, rows[i].total) << rows[i].place;
        EXPECT_EQ(all[i].overflows, rows[i].overflows) << rows[i].place;
    }
    EXPECT_DOUBLE_EQ(all[0].total_db, 10 * std::log10(9 * signal / all[0].total));
    EXPECT_DOUBLE_EQ(all[0].new_part(), 2.0 / 3);
    std::ostringstream out;
    out << all;
    EXPECT_NE(out.str().find("67%"), std::string::npos) << out.str();
    EXPECT_NE(out.str().find("logs_test.cpp:"), std::string::npos) << out.str();
}

TEST(Logs, FindWhereTwoRunsPart) {
    // In a loop the place that comes first in the order of the log isn't the cause.
    const auto program = [](const char* format, int count) {
        fixed_scalar sum("s16,8", "sum");
        fixed_scalar step(fixed_format(format, "step"));
        for (int i = 0; i < count; ++i) {
            sum.set(sum + step);
            step.set(step + exact_value(0.25) * (i == 2 ? exact_value(1.5) : exact_value(1)));
        }
    };
    fixed_log a({.samples = true});
    program("s16,8", 6);
    a.stop();
    fixed_log b({.samples = true});
    program("s16,2 floor", 6);
    fixed_array(1, "s4", "more");
    b.stop();
    const std::vector<place_difference> found = differences(a, b);
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].place, "step");
    EXPECT_EQ(found[0].first, 2U);
    EXPECT_EQ(found[0].differences, 4U);
    EXPECT_EQ(found[0].one, exact_value(0.875));
    EXPECT_EQ(found[0].other, exact_value(0.75));
    EXPECT_EQ(found[0].greatest, exact_value(0.125));
    EXPECT_EQ(found[1].place, "sum");
    EXPECT_EQ(found[1].first, 3U);
    EXPECT_EQ(found[1].greatest, exact_value(0.375));
    EXPECT_EQ(found[2].place, "more");
    EXPECT_EQ(found[2].values, 0U);
    EXPECT_EQ(found[2].other_values, 1U);
    EXPECT_TRUE(differences(a, a).empty());
}

TEST(Logs, PlacesOfOneOperationAdvanceTogether) {
    const fixed_array x({0.5, 0.25, 0.75, 0.5, 0.125, 0}, "s16,8");
    const auto program = [&](const char* output) {
        lfilter({1}, {1, -0.5}, x, {.product_a = fixed_format("s20,12"), .section_output = fixed_format(output)});
    };
    fixed_log a({.samples = true});
    program("s16,8");
    a.stop();
    fixed_log b({.samples = true});
    program("s16,2 floor");
    b.stop();
    const std::vector<place_difference> found = differences(a, b);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].place, "section_output");
    EXPECT_EQ(found[0].first, 4U);  // 0.125 + 1 / 2
    EXPECT_EQ(found[1].place, "product_a");
    EXPECT_EQ(found[1].first, 5U);
}

TEST(Logs, BestTypesLeaveRoomForTheValue) {
    const struct {
        bool is_signed;
        int bits;
        double value;
        int fraction;
    } rows[] = {
        {true, 8, 0.1, 10},  {true, 8, -0.1, 10},   {true, 8, 1, 6},        {true, 8, -1, 7},     {true, 8, 0.998, 6},
        {true, 8, 0.996, 7}, {false, 8, 0.1, 11},   {false, 8, -3, 8},      {false, 8, 255.4, 0}, {false, 8, 255.6, -1},
        {true, 16, 0, 15},   {true, 100, 0.1, 102}, {true, 4, 1e300, -994},
    };
    for (const auto& row : rows) {
        const fixed_type type = best_type(row.is_signed, row.bits, row.value);
        EXPECT_EQ(type, (fixed_type{row.is_signed, row.bits, row.fraction})) << row.value;
    }
    EXPECT_EQ(idOf([] { best_type(true, 8, std::nan("")); }), "tolvane:value:finite");
    EXPECT_EQ(idOf([] { best_type(true, 0, 1); }), idOf([] { sfix(0, 0); }));
}

TEST(Logs, TellTheNoiseOfAResult) {
    const fixed_array x({0.5, -0.25, 1, 0}, "s8,4");
    EXPECT_NEAR(signal_to_noise_db({0.5, -0.25, 1.25, 0}, x), 10 * std::log10(1.875 / 0.0625), 1e-9);
    EXPECT_NEAR(signal_to_noise_db(cast(x, "s3,1"), x), 10 * std::log10(1.25 / 0.0625), 1e-9);
    EXPECT_EQ(signal_to_noise_db(x, x), std::numeric_limits<double>::infinity());
    EXPECT_EQ(signal_to_noise_db(x - x, x), -std::numeric_limits<double>::infinity());
    const fixed_array z(std::vector<std::complex<double>>{{1, 1}, {0, -0.5}}, "s8,4");
    EXPECT_NEAR(signal_to_noise_db(z.real(), z), 10 * std::log10(1 / 1.25), 1e-9);
    EXPECT_EQ(idOf([&] { signal_to_noise_db({1, 2}, x); }), "tolvane:array:shape");
}

TEST(Logs, WriteWhatTheyWereAskedFor) {
    fixed_log log({.histogram = true, .errors = true});
    fixed_array({1.5, -0.25, 0.0, 0.3125}, "s4,3", "x");
    const std::string line = std::to_string(__LINE__ - 1);
    EXPECT_EQ(log.report(),
              "place  format                 least before  greatest before  least after  greatest after  bits needed  "
              "to spare  values  overflows  underflows  greatest error  mean error  rms error  first overflow\n"
              "x      s4,3 nearest saturate         -0.25              1.5        -0.25           0.875            5  "
              "      -1       4          1           0           0.625   -0.140625   0.314059  logs_test.cpp:" +
                  line +
                  "\n"
                  "\n"
                  "x     positive  negative\n"
                  "2^0          1         0  ####################\n"
                  "2^-2         1         1  ########################################\n"
                  "0            1            ####################\n");
    const std::string csv = log.csv();
    EXPECT_NE(csv.find(",0.625,-0.5625,0.39453125,2.41015625,zeros:1 -2:1/1 0:1/0\n"), std::string::npos) << csv;
    EXPECT_EQ(log.json(),
              "[\n  {\"place\": \"x\", \"format\": \"s4,3 nearest saturate\", \"before\": [-0.25, 1.5], \"after\": "
              "[-0.25, 0.875], \"bits_needed\": 5, \"bits_to_spare\": -1, \"values\": 4, \"overflows\": 1, "
              "\"underflows\": 0, \"overflow_file\": \"" +
                  std::string(__FILE__) + "\", \"overflow_line\": " + line +
                  ", \"errors\": {\"greatest\": 0.625, \"sum\": -0.5625, \"squares\": 0.39453125, "
                  "\"signal_squares\": 2.41015625}, \"histogram\": {\"zeros\": 1, \"powers\": [[-2, 1, 1], [0, 1, "
                  "0]]}}\n]\n");
}

}  // namespace
