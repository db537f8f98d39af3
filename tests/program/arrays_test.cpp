// Arrays of programs against exact rationals: random types of up to 200 bits, every rounding and overflow.
#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <limits>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "program/tolvane.h"
#include "tests/program/places.h"

namespace {

using namespace tolvane;
using namespace tolvane::oracle;

TEST(Arrays, CastLikeRationalsAndLogWhatTheyMet) {
    Random random(1701);
    for (int round = 0; round < 3000; ++round) {
        const fixed_array x = randomArray(random, randomType(random), static_cast<std::size_t>(random.between(1, 70)));
        const fixed_format format = randomFormat(random, "place");
        // Logs that ask for nothing, for more, and with doubles in place of formats.
        const bool wantsMore = round % 3 != 0;
        const bool overrides = round % 3 == 2;
        fixed_log log({.histogram = wantsMore,
                       .errors = wantsMore,
                       .formats = overrides ? override::doubles : override::inherit});
        const unsigned times = random.oneIn(4) ? 2 : 1;
        fixed_array y = cast(x, format);
        for (unsigned i = 1; i < times; ++i) {
            y = cast(x, format);
        }
        const fixed_type wide{true, format.type().bits + (format.type().is_signed ? 128 : 160),
                              format.type().fraction + 64};
        const fixed_format inForce = overrides ? fixed_format(wide) : format;
        ASSERT_EQ(y.type(), inForce.type()) << format.text();
        const std::string what = "round " + std::to_string(round) + ": " + x.type().text() + " to " + format.text();
        const std::vector<Rational> before = rationalsOf(x);
        const std::vector<Rational> after = rationalsOf(y);
        const bool cutsBits = x.type().fraction > format.type().fraction;
        std::uint64_t overflows = 0;
        std::uint64_t underflows = 0;
        Integer least;
        Integer greatest;
        magnitude_histogram histogram;
        Rational errors[4];  // the greatest, the sum, squares, squares of values
        for (std::size_t i = 0; i < before.size(); ++i) {
            const Quantized wanted = quantized(before[i], format, cutsBits);
            const Rational made = overrides ? quantized(before[i], inForce, true).value : wanted.value;
            const Rational error = made - before[i];
            errors[0] = std::max(errors[0], Rational(abs(error)));
            errors[1] += error * times;
            errors[2] += error * error * times;
            errors[3] += before[i] * before[i] * times;
            if (before[i] == 0) {
                histogram.zeros += times;
            } else {
                magnitude_histogram::counts& counts = histogram.powers[leadingExponent(before[i])];
                (sgn(before[i]) < 0 ? counts.negative : counts.positive) += times;
            }
            ASSERT_EQ(after[i], made) << what << ", element " << i << ": " << text(before[i]);
            overflows += wanted.overflows ? times : 0U;
            underflows += wanted.rounded == 0 && before[i] != 0 ? times : 0U;
            least = i == 0 ? wanted.rounded : std::min(least, wanted.rounded);
            greatest = i == 0 ? wanted.rounded : std::max(greatest, wanted.rounded);
        }
        const place_record record = log.place("place");
        ASSERT_EQ(record.values, before.size() * times) << what;
        ASSERT_EQ(record.overflows, overflows) << what;
        ASSERT_EQ(record.underflows, underflows) << what;
        ASSERT_EQ(rationalOf(record.before.least), *std::ranges::min_element(before)) << what;
        ASSERT_EQ(rationalOf(record.before.greatest), *std::ranges::max_element(before)) << what;
        ASSERT_EQ(rationalOf(record.after.least), *std::ranges::min_element(after)) << what;
        ASSERT_EQ(rationalOf(record.after.greatest), *std::ranges::max_element(after)) << what;
        ASSERT_EQ(record.histogram, wantsMore ? std::optional(histogram) : std::nullopt) << what;
        ASSERT_EQ(record.errors.has_value(), wantsMore);
        if (wantsMore) {
            ASSERT_EQ(rationalOf(record.errors->greatest), errors[0]) << what;
            ASSERT_EQ(rationalOf(record.errors->sum), errors[1]) << what;
            ASSERT_EQ(rationalOf(record.errors->squares), errors[2]) << what;
            ASSERT_EQ(rationalOf(record.errors->signal_squares), errors[3]) << what;
        }
        // The least length in which nothing overflows.
        const bool needsSign = format.type().is_signed || *std::ranges::min_element(before) < 0;
        int bits = 1;
        const auto fits = [&](int length) {
            const fixed_type type{needsSign, length, 0};
            const bool isSymmetric = format.overflow() == overflow::symmetric && needsSign;
            return least >= (isSymmetric ? Integer(leastWord(type) + 1) : leastWord(type)) &&
                   greatest <= greatestWord(type);
        };
        while (!fits(bits)) {
            ++bits;
        }
        ASSERT_EQ(record.bits_needed, bits) << what;
    }
}

TEST(Arrays, QuantizeDoublesLikeRationals) {
    Random random(1702);
    constexpr rounding kRoundings[] = {rounding::ceil,  rounding::convergent, rounding::toward_zero,
                                       rounding::floor, rounding::nearest,    rounding::nearest_away};
    for (int round = 0; round < 1500; ++round) {
        const fixed_type type{random.oneIn(2), random.between(1, 64), random.between(-4, 40)};
        const fixed_format format(type, random.pick(kRoundings), random.oneIn(2) ? overflow::saturate : overflow::wrap,
                                  "place");
        std::vector<double> values(static_cast<std::size_t>(random.between(1, 70)));
        for (double& value : values) {
            // Ties and their neighbours, values of the format's range and beyond, and extremes of both signs.
            const double tie = std::ldexp(random.between(-9, 9), -type.fraction - 1);
            constexpr double kExtremes[] = {0.0, 5e-324, 1e-310, 0x1p52, 0x1p63, 1e300};
            value = random.oneIn(4)   ? tie
                    : random.oneIn(3) ? std::nextafter(tie, random.real(9, 9))
                    : random.oneIn(3) ? std::copysign(random.pick(kExtremes), random.real(0, 0))
                                      : random.real(-type.fraction - 2, type.bits - type.fraction);
        }
        std::optional<fixed_log> log;
        if (random.oneIn(2)) {
            log.emplace();
        }
        const fixed_array x(values, format);
        std::uint64_t overflows = 0;
        std::uint64_t underflows = 0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            const Quantized wanted = quantized(Rational(values[i]), format, true);
            ASSERT_EQ(rationalOf(x.at(i)), wanted.value) << format.text() << ": " << text(Rational(values[i]));
            overflows += wanted.overflows ? 1U : 0U;
            underflows += wanted.rounded == 0 && values[i] != 0 ? 1U : 0U;
        }
        if (log) {
            const place_record record = log->place("place");
            const std::vector<Rational> after = rationalsOf(x);
            ASSERT_EQ(record.overflows, overflows) << format.text();
            ASSERT_EQ(record.underflows, underflows) << format.text();
            ASSERT_EQ(rationalOf(record.before.least), Rational(*std::ranges::min_element(values)));
            ASSERT_EQ(rationalOf(record.before.greatest), Rational(*std::ranges::max_element(values)));
            ASSERT_EQ(rationalOf(record.after.least), *std::ranges::min_element(after)) << format.text();
            ASSERT_EQ(rationalOf(record.after.greatest), *std::ranges::max_element(after)) << format.text();
        }
    }
}

TEST(Arrays, MultiplyMatricesExactlyHoweverLong) {
    // From some work on, products of short words are sums of doubles, of parts of the words if need be.
    const struct {
        fixed_type left;
        fixed_type right;
        array_shape rows;  // of the left matrices
        std::size_t columns;
        std::optional<fixed_format> sum = std::nullopt;
        bool isComplex = false;
    } kRows[] = {
        {sfix(16, 15), sfix(16, 15), {340, 340}, 340},  // as much as it takes to begin
        {sfix(16, 15), sfix(16, 15), {20, 21}, 22},
        {ufix(16, 4), sfix(9, -3), {2, 20, 31}, 30},
        {sfix(24, 0), sfix(24, 0), {20, 40}, 20},  // 53 bits and more
        {sfix(24, 0), sfix(23, 0), {20, 32}, 20},
        {sfix(25, 0), sfix(25, 0), {20, 63}, 20},  // odd sums beyond 2^53
        {sfix(32, 30), sfix(32, 30), {20, 40}, 20},
        {ufix(32, 30), ufix(31, 30), {20, 40}, 20},
        {sfix(60, 3), sfix(20, 1), {20, 40}, 20},
        {sfix(62, 0), sfix(62, 0), {20, 40}, 20},  // too many parts
        {sfix(30, 0), sfix(16, 0), {40, 40}, 20},
        {sfix(16, 15), sfix(16, 15), {20, 20}, 20, fixed_format("s44,34", "sum")},
        {sfix(16, 15), sfix(16, 15), {20, 20}, 20, fixed_format("s40,34 wrap", "sum")},
        {sfix(16, 15), sfix(16, 15), {20, 20}, 20, fixed_format("s38,28", "sum")},
        {sfix(22, 0), sfix(22, 0), {20, 256}, 20, std::nullopt, true},
    };
    Random random(1703);
    for (const auto& row : kRows) {
        const std::size_t axes = row.rows.size();
        const std::size_t rows = row.rows[axes - 2];
        const std::size_t terms = row.rows[axes - 1];
        const std::size_t matrices = axes == 3 ? row.rows[0] : 1;
        array_shape shape = row.rows;
        shape[axes - 2] = terms;
        shape[axes - 1] = row.columns;
        // The first row and column have bounds alone, whose sums are the greatest in size, and odd if there is an odd
        // number of terms.
        const auto matrix = [&](const fixed_type& type, const array_shape& of, bool isLeft) {
            std::vector<std::int64_t> words(matrices * of[axes - 2] * of[axes - 1]);
            const int unused = 64 - type.bits;
            for (std::size_t i = 0; i < words.size(); ++i) {
                const bool isBound = isLeft ? i % (rows * terms) < terms : i % row.columns == 0;
                const std::uint64_t bound = (std::uint64_t{1} << (type.bits - 1)) - terms % 2;
                const std::uint64_t word = isBound ? bound : random.word();
                words[i] = type.is_signed ? static_cast<std::int64_t>(word << unused) >> unused
                                          : static_cast<std::int64_t>(word << unused >> unused);
            }
            return fixed_array::from_words(words, type).reshaped(of);
        };
        const fixed_array parts[] = {matrix(row.left, row.rows, true), matrix(row.left, row.rows, true),
                                     matrix(row.right, shape, false), matrix(row.right, shape, false)};
        const auto joined = [&](const fixed_array& real, const fixed_array& imag) {
            return row.isComplex ? complex_of(real, imag) : real;
        };
        const fixed_array made =
            matmul(joined(parts[0], parts[1]), joined(parts[2], parts[3]), {.product = std::nullopt, .sum = row.sum});
        if (row.sum) {
            fixed_log log;
            ASSERT_EQ(matmul(parts[0], parts[2], {.product = std::nullopt, .sum = row.sum}), made);
            ASSERT_EQ(log.place("sum").values, rows * terms * row.columns);
        }
        for (int sample = 0; sample < 12; ++sample) {
            const auto any = [&](std::size_t count) {
                return sample == 0 ? 0 : static_cast<std::size_t>(random.between(0, static_cast<int>(count) - 1));
            };
            const std::size_t i = any(matrices * rows);
            const std::size_t column = any(row.columns);
            Rational real;
            Rational imag;
            for (std::size_t k = 0; k < terms; ++k) {
                const std::size_t left = i * terms + k;
                const std::size_t right = (i / rows * terms + k) * row.columns + column;
                Rational factors[4];
                for (std::size_t part = 0; part < 4; ++part) {
                    factors[part] = rationalOf(parts[part].at(part < 2 ? left : right));
                }
                real += factors[0] * factors[2] - (row.isComplex ? Rational(factors[1] * factors[3]) : Rational(0));
                imag += factors[0] * factors[3] + factors[1] * factors[2];
                if (row.sum) {
                    real = quantized(real, *row.sum, true).value;
                }
            }
            const std::string what = row.left.text() + " by " + row.right.text() + ", element " + std::to_string(i);
            ASSERT_EQ(rationalOf(made.at(i * row.columns + column)), real) << what;
            if (row.isComplex) {
                ASSERT_EQ(rationalOf(made.imag_at(i * row.columns + column)), imag) << what;
            }
        }
    }
}

TEST(Arrays, TakeIntegersOfEveryKind) {
    const auto texts = [](const fixed_array& x) {
        std::string all;
        for (std::size_t i = 0; i < x.size(); ++i) {
            all += x.at(i).text() + ' ' + (x.is_complex() ? x.imag_at(i).text() + "i " : "");
        }
        return all;
    };
    constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
    constexpr auto kGreatest = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(texts(fixed_array({kLeast, std::int64_t{3}}, "s64,0")), "-9223372036854775808 3 ");
    EXPECT_EQ(texts(fixed_array({kGreatest}, "u64,0")), "18446744073709551615 ");
    EXPECT_EQ(texts(fixed_array({kGreatest}, "s8,0 wrap")), "-1 ");
    EXPECT_EQ(texts(fixed_array(std::vector<signed char>{-7, 5}, "s8,-1")), "-6 6 ");
    EXPECT_EQ(texts(fixed_array(std::vector<std::complex<int>>{{1, -2}, {300, 4}}, "s8,0")), "1 -2i 127 4i ");
    EXPECT_EQ(texts(fixed_array(std::list<float>{0.5F, 2.25F}, "s8,2")), "0.5 2.25 ");
    EXPECT_EQ(texts(fixed_array(std::vector<bool>{true, false}, "u1,0")), "1 0 ");
    // Values have the places that they need, whatever stands beside them.
    EXPECT_EQ(texts(fixed_array({-2.0, 0.25, -0.25}, "s8,0 add_sign")), "-2 0 0 ");
}

TEST(Arrays, ComputeExactlyInTypesThatHoldEveryResult) {
    Random random(1702);
    for (int round = 0; round < 2000; ++round) {
        const std::size_t count = static_cast<std::size_t>(random.between(1, 70));
        const fixed_array a = randomArray(random, randomType(random), random.oneIn(4) ? 1 : count);
        const fixed_array b = randomArray(random, randomType(random), random.oneIn(4) ? 1 : count);
        const std::vector<Rational> x = rationalsOf(a);
        const std::vector<Rational> y = rationalsOf(b);
        const struct {
            const char* name;
            fixed_array seen;
            Rational (*wanted)(const Rational&, const Rational&);
        } rows[] = {
            {"+", a + b, [](const Rational& p, const Rational& q) { return Rational(p + q); }},
            {"-", a - b, [](const Rational& p, const Rational& q) { return Rational(p - q); }},
            {"*", a * b, [](const Rational& p, const Rational& q) { return Rational(p * q); }},
            {"neg", -a + b * 0, [](const Rational& p, const Rational&) { return Rational(-p); }},
            {"abs", abs(a) + b * 0, [](const Rational& p, const Rational&) { return Rational(abs(p)); }},
        };
        for (const auto& row : rows) {
            const std::string what = "round " + std::to_string(round) + ": " + a.type().text() + " " + row.name + " " +
                                     b.type().text() + " in " + row.seen.type().text();
            for (std::size_t i = 0; i < row.seen.size(); ++i) {
                const Rational wanted = row.wanted(x[x.size() == 1 ? 0 : i], y[y.size() == 1 ? 0 : i]);
                ASSERT_EQ(rationalOf(row.seen.at(i)), wanted) << what << ", element " << i;
            }
        }
        const std::vector<bool> isLess = is_less(a, b);
        const std::vector<bool> isEqual = is_equal(a, b);
        for (std::size_t i = 0; i < isLess.size(); ++i) {
            const int order = cmp(x[x.size() == 1 ? 0 : i], y[y.size() == 1 ? 0 : i]);
            ASSERT_EQ(isLess[i], order < 0);
            ASSERT_EQ(isEqual[i], order == 0);
        }
        ASSERT_EQ(rationalOf(max(a)), *std::ranges::max_element(x));
        ASSERT_EQ(rationalOf(min(a)), *std::ranges::min_element(x));
        if (std::ranges::find(y, Rational(0)) == y.end()) {
            const fixed_format format = randomFormat(random);
            const fixed_array q = divide(a, b, format);
            for (std::size_t i = 0; i < q.size(); ++i) {
                const Rational exact = x[x.size() == 1 ? 0 : i] / y[y.size() == 1 ? 0 : i];
                ASSERT_EQ(rationalOf(q.at(i)), quantized(exact, format, true).value)
                    << a.type().text() << " / " << b.type().text() << " to " << format.text() << ": " << text(exact);
            }
        }
    }
}

TEST(Arrays, SumProductsThroughTheirPlaces) {
    Random random(1703);
    for (int round = 0; round < 400; ++round) {
        const fixed_array x =
            randomArray(random, randomType(random, 80), static_cast<std::size_t>(random.between(1, 140)));
        const fixed_array h =
            randomArray(random, randomType(random, 80), static_cast<std::size_t>(random.between(1, 9)));
        sum_formats formats;
        if (random.oneIn(2)) {
            formats.product = randomFormat(random, "product");
        }
        if (random.oneIn(2)) {
            formats.sum = randomFormat(random, "sum");
        }
        const std::vector<Rational> p = rationalsOf(x);
        const std::vector<Rational> q = rationalsOf(h);
        const int exactFraction = x.type().fraction + h.type().fraction;
        const int termFraction = formats.product ? formats.product->type().fraction : exactFraction;
        std::uint64_t overflows = 0;
        Rational squares;
        const auto add = [&](Rational& total, const Rational& left, const Rational& right) {
            Rational term = left * right;
            if (formats.product) {
                term = quantized(term, *formats.product, exactFraction > formats.product->type().fraction).value;
            }
            total += term;
            if (formats.sum) {
                const Quantized made = quantized(total, *formats.sum, termFraction > formats.sum->type().fraction);
                overflows += made.overflows ? 1U : 0U;
                squares += (made.value - total) * (made.value - total);
                total = made.value;
            }
        };
        const std::string what = "round " + std::to_string(round) + ": " + x.type().text() + ", " + h.type().text() +
                                 (formats.product ? ", products " + formats.product->text() : "") +
                                 (formats.sum ? ", sums " + formats.sum->text() : "");
        fixed_log log({.errors = random.oneIn(2)});
        const fixed_array y = conv(x, h, formats);
        ASSERT_EQ(y.size(), p.size() + q.size() - 1) << what;
        for (std::size_t n = 0; n < y.size(); ++n) {
            Rational total;
            for (std::size_t k = 0; k < q.size(); ++k) {
                if (n >= k && n - k < p.size()) {
                    add(total, p[n - k], q[k]);
                }
            }
            ASSERT_EQ(rationalOf(y.at(n)), total) << what << ", element " << n;
        }
        if (formats.sum) {
            ASSERT_EQ(log.place("sum").overflows, overflows) << what;
            ASSERT_EQ(rationalOf(log.place("sum").errors.value_or(error_sums()).squares),
                      log.options().errors ? squares : Rational())
                << what;
        }
        Rational running;
        const fixed_array whole = sum(x, {std::nullopt, formats.sum});
        const fixed_array along = formats.sum ? cumsum(x, *formats.sum) : x;
        for (std::size_t i = 0; i < p.size(); ++i) {
            running += p[i];
            if (formats.sum) {
                running = quantized(running, *formats.sum, x.type().fraction > formats.sum->type().fraction).value;
                ASSERT_EQ(rationalOf(along.at(i)), running) << what << ", element " << i;
            }
        }
        ASSERT_EQ(rationalOf(whole.at(0)), running) << what;
        Rational total;
        const std::size_t count = std::min(p.size(), q.size());
        std::vector<exact_value> a;
        std::vector<exact_value> b;
        for (std::size_t i = 0; i < count; ++i) {
            a.push_back(x.at(i));
            b.push_back(h.at(i));
            add(total, p[i], q[i]);
        }
        ASSERT_EQ(rationalOf(dot(fixed_array(a, x.type()), fixed_array(b, h.type()), formats).at(0)), total) << what;
    }
}

TEST(Arrays, TakeAndGiveValuesOfEveryKind) {
    const fixed_array x(std::vector<double>{0.5, -0.25, 0.1}, "s16,15", "x");
    EXPECT_EQ(x.name(), "x");
    EXPECT_EQ(x.to_doubles(), (std::vector<double>{0.5, -0.25, 0x1.99ap-4}));
    EXPECT_EQ(std::vector<std::int64_t>(x.words().begin(), x.words().end()),
              (std::vector<std::int64_t>{16384, -8192, 3277}));
    EXPECT_EQ(fixed_array::from_words(x.words(), x.type()), x);
    EXPECT_EQ(fixed_array({1, -2, 3}, "s4,0") * 2 + 1, fixed_array({3, -3, 7}, "s8,0"));
    EXPECT_EQ((x * 0.5).at(0).text(), "0.25");
    EXPECT_EQ((1 - x).type().text(), "s18,15");  // 1 - (-1) is 2
    EXPECT_EQ(fixed_array({1.0, 2.0}, "u8,4") == fixed_array({1, 2}, "s80,2"), true);

    // Complex, with every result exact.
    using C = std::complex<double>;
    const fixed_array z(std::vector<C>{{0.5, -0.25}, {-1, 0.75}}, "s8,7");
    const fixed_array w = z * z;
    EXPECT_EQ(w.to_complex_doubles(), (std::vector<C>{{0.1875, -0.25}, {0.4375, -1.5}}));
    EXPECT_EQ(z.imag() * 4, fixed_array({-1, 3}, "s8,0"));
    // Without a sign: the imaginary part is the sum of two products, 450, where the real part is at most 225.
    const fixed_array most = complex_of(fixed_array({15}, "u4,0"), fixed_array({15}, "u4,0"));
    EXPECT_EQ((most * most).imag().at(0).text(), "450");
    EXPECT_EQ((most * most).type().text(), "s10,0");
}

TEST(Arrays, SayWhatIsWrong) {
    const fixed_array x({0.5, 0.25}, "s16,15", "x");
    const struct {
        const char* id;
        std::function<void()> run;
    } rows[] = {
        {"tolvane:value:finite", [] { fixed_array({0.0 / 0.0}, "s8,0"); }},
        {"tolvane:value:finite", [] { fixed_array({1e308 * 10}, "s8,0"); }},
        {"tolvane:array:constant", [&] { x * 0.1; }},
        {"tolvane:array:growth",
         [&] {
             fixed_array y = x;
             for (int i = 0; i < 7; ++i) {
                 y = y * y;
             }
         }},
        {"tolvane:array:shape",
         [&] {
             x + fixed_array({1, 2, 3}, "s8,0");
         }},
        {"tolvane:array:index", [&] { x.at(2); }},
        {"tolvane:array:word", [] { fixed_array::from_words(std::vector<std::int64_t>{128}, sfix(8, 0)); }},
        {"tolvane:array:division", [&] { divide(x, x - x, "s8,0"); }},
        {"tolvane:log:name", [] { fixed_log().place("y"); }},
        {"tolvane:value:text", [] { exact_value("0.1"); }},
        {"tolvane:value:text", [] { exact_value("1.2.3"); }},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(idOf(row.run), row.id);
    }
}

TEST(Values, GoThroughTextAndDoubles) {
    const struct {
        const char* text;
        const char* same;
    } rows[] = {{"0", "0"},
                {"-12.375e-1", ""},
                {"-12.375", "-12.375"},
                {"1e3", "1000"},
                {"+0.5", "0.5"},
                {"-0.0", "0"},
                {"128", "128"},
                {"340282366920938463463374607431768211456.25", "340282366920938463463374607431768211456.25"}};
    for (const auto& row : rows) {
        if (*row.same == '\0') {
            EXPECT_EQ(idOf([&] { exact_value value(row.text); }), "tolvane:value:text") << row.text;
        } else {
            EXPECT_EQ(exact_value(row.text).text(), row.same) << row.text;
        }
    }
    Random random(1704);
    for (int round = 0; round < 2000; ++round) {
        const double x = std::ldexp(random.real(-1, 1), random.between(-1074, 900));
        EXPECT_EQ(exact_value(x).to_double(), x);
        EXPECT_EQ(rationalOf(exact_value(x)), Rational(x));
        const exact_value sum = exact_value(x) + exact_value(random.real(-60, 60));
        if (!sum.is_zero() && sum.magnitude_exponent() > -1000) {
            EXPECT_EQ(sum.to_double(), nearestDouble(rationalOf(sum)));
        }
    }
}

TEST(Logs, ReportPlacesOfNestedLogs) {
    fixed_log outer;
    const fixed_array x({100.0, -0.5}, "s8,7 saturate", "x");
    const std::string line = std::string(__FILE__) + ":" + std::to_string(__LINE__ - 1);
    {
        fixed_log inner;
        cast(x, fixed_format("s4,1", "y"));
        EXPECT_EQ(inner.places().size(), 1U);
    }
    EXPECT_EQ(outer.places().size(), 2U);
    const place_record record = outer.place("x");
    EXPECT_EQ(record.before.greatest, exact_value(100));
    EXPECT_EQ(record.bits_needed, 15);
    EXPECT_EQ(record.bits_to_spare(), -7);
    EXPECT_NE(outer.report().find("\nx      s8,7 nearest saturate"), std::string::npos) << outer.report();
    EXPECT_EQ(
        outer.csv(),
        "place,format,least before,greatest before,least after,greatest after,bits needed,to spare,values,overflows,"
        "underflows,first overflow\n"
        "x,\"s8,7 nearest saturate\",-0.5,100,-0.5,0.9921875,15,-7,2,1,0," +
            line +
            "\n"
            "y,\"s4,1 nearest saturate\",-0.5,0.9921875,-0.5,1,3,1,2,0,0,\n");
    outer.clear();
    EXPECT_TRUE(outer.places().empty());
}

}  // namespace
