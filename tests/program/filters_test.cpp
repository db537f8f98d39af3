// Filters against rationals that follow the difference equations: all forms, a format or none at each node, sums that
// need 64 bits, 128 and more.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <complex>
#include <map>
#include <optional>
#include <string>
#include <utility>
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
    Rational least, greatest, leastWord, greatestWord;
};
using Heard = std::map<std::string, Expected>;

/// One section on one signal.
struct Reference {
    const filter_options& options;
    std::string prefix;
    Heard& heard;
    std::vector<Rational> b = {}, a = {};  // a from a1 on
    Rational gain = 1;
    std::vector<Rational> p = {}, q = {};  // the delays: as section_state has them in a and b

    Rational at(const std::optional<fixed_format>& format, const char* node, const Rational& x) const {
        if (!format) {
            return x;
        }
        const Quantized made = quantized(x, *format, true);
        Expected& place = heard[prefix + (format->name().empty() ? node : format->name())];
        const bool isFirst = place.values++ == 0;
        place.overflows += made.overflows ? 1U : 0U;
        place.underflows += made.rounded == 0 && x != 0 ? 1U : 0U;
        place.least = isFirst ? x : std::min(place.least, x);
        place.greatest = isFirst ? x : std::max(place.greatest, x);
        place.leastWord = isFirst ? made.value : std::min(place.leastWord, made.value);
        place.greatestWord = isFirst ? made.value : std::max(place.greatestWord, made.value);
        return made.value;
    }
    // A product with coefficient k, added to a sum.
    Rational withB(const Rational& sum, std::size_t k, const Rational& x) const {
        return at(options.sum_b, "sum_b", sum + at(options.product_b, "product_b", b[k] * x));
    }
    Rational withA(const Rational& sum, std::size_t k, const Rational& x) const {
        const Rational product = at(options.product_a, "product_a", a[k - 1] * x);
        const bool subtracts = options.a_sign == feedback_sign::subtract;
        return at(options.sum_a, "sum_a", subtracts ? Rational(sum - product) : Rational(sum + product));
    }
    Rational state(const Rational& x) const { return at(options.state, "state", x); }
    static void push(std::vector<Rational>& delays, const Rational& x) {
        delays.insert(delays.begin(), x);
        delays.pop_back();
    }
    static Rational held(const std::vector<Rational>& delays, std::size_t k) {
        return k <= delays.size() ? delays[k - 1] : Rational(0);
    }

    Rational step(const Rational& x) {
        const Rational u = at(options.section_input, "section_input", gain * x);
        const bool isFirst = options.form == filter_form::direct1 || options.form == filter_form::transposed1;
        Rational w = u;
        Rational y;
        if (options.form == filter_form::direct1 || options.form == filter_form::direct2) {
            for (std::size_t k = 1; !isFirst && k <= a.size(); ++k) {
                w = withA(w, k, q[k - 1]);
            }
            w = isFirst ? w : state(w);
            y = withB(0, 0, w);
            for (std::size_t k = 1; k < b.size(); ++k) {
                y = withB(y, k, q[k - 1]);
            }
            for (std::size_t k = 1; isFirst && k <= a.size(); ++k) {
                y = withA(y, k, p[k - 1]);
            }
            y = at(options.section_output, "section_output", y);
            if (!q.empty()) {
                push(q, isFirst ? state(w) : w);
            }
            if (!p.empty()) {
                push(p, state(y));
            }
            return y;
        }
        if (isFirst && !a.empty()) {
            w = at(options.sum_a, "sum_a", u + p[0]);
        }
        y = at(options.section_output, "section_output", withB(held(q, 1), 0, w));
        for (std::size_t k = 1; k <= p.size(); ++k) {
            p[k - 1] = state(withA(held(p, k + 1), k, w));
        }
        for (std::size_t k = 1; k <= q.size(); ++k) {
            Rational sum = held(q, k + 1);
            sum = k < b.size() ? withB(sum, k, w) : sum;
            q[k - 1] = state(!isFirst && k <= a.size() ? withA(sum, k, y) : sum);
        }
        return y;
    }
};

fixed_array arrayOf(const std::vector<exact_value>& values, const fixed_type& type, array_shape shape) {
    return fixed_array(values, type).reshaped(std::move(shape));
}

/// A random filter and signal, by `lfilter` or `sosfilt`.
struct Case {
    bool isSos = false;
    int mostBits = 24;
    bool addsSign = false;
    filter_options options;
    std::vector<std::vector<exact_value>> b, a;  // for each section, a with a0
    std::vector<filter_coefficients> sides;      // for lfilter
    std::optional<filter_sections> sections;
    fixed_array x;
    std::size_t rows = 1;
    std::size_t length = 0;
    filter_state start;

    fixed_type typeFrom(Random& random) const {
        const int bits = random.between(2, random.oneIn(2) ? std::min(mostBits, 12) : mostBits);
        return {!random.oneIn(4), bits, random.between(random.oneIn(4) ? -4 : 0, bits + (random.oneIn(4) ? 6 : 0))};
    }
    std::optional<fixed_format> formatFrom(Random& random, const char* name, int oneIn) const {
        if (!random.oneIn(oneIn)) {
            return std::nullopt;
        }
        rounding rule = random.pick(kAllRoundings);
        if (rule == rounding::add_sign && !addsSign) {
            rule = rounding::floor;
        }
        return fixed_format(typeFrom(random), rule, random.pick(kAllOverflows), random.oneIn(3) ? name : "");
    }
    explicit Case(Random& random) {
        isSos = random.oneIn(2);
        mostBits = random.pick(std::vector{8, 24, 24, 50, 200});
        addsSign = random.oneIn(10);
        options.form = random.pick(std::vector{filter_form::direct1, filter_form::direct2, filter_form::transposed1,
                                               filter_form::transposed2});
        options.a_sign = random.oneIn(2) ? feedback_sign::subtract : feedback_sign::negated;
        options.name = random.oneIn(2) ? "lowpass" : "";
        const int oneIn = random.between(1, 3);
        options.coefficients_b = formatFrom(random, "coefficients", 2);
        options.coefficients_a = formatFrom(random, "coefficients", 2);
        options.section_input = formatFrom(random, "in", oneIn + 1);
        options.product_b = formatFrom(random, "products", oneIn);
        options.product_a = formatFrom(random, "products", oneIn);
        options.sum_b = formatFrom(random, "acc", oneIn);
        options.sum_a = formatFrom(random, "acc", oneIn);
        options.state = formatFrom(random, "delays", oneIn);
        options.section_output = formatFrom(random, "y", oneIn);
        const std::size_t count = isSos ? static_cast<std::size_t>(random.between(1, 3)) : 1;
        const bool isDouble = random.oneIn(2);
        const fixed_type signal = typeFrom(random);
        const int most = isDouble ? std::min(signal.bits, 12) : mostBits;  // no longer than the words
        const int heldBits = random.between(3, std::max(most, 3));
        const fixed_type held{true, heldBits, random.between(0, heldBits - 2)};  // holds 1
        std::vector<exact_value> flat;
        std::size_t mostA = 0;
        for (std::size_t s = 0; s < count; ++s) {
            for (auto* const side : {&b, &a}) {
                const auto order = isSos ? 2U : static_cast<unsigned>(random.between(0, 4));
                const fixed_array drawn = randomArray(random, held, order + 1);
                auto& values = side->emplace_back();
                for (std::size_t k = 0; k <= order; ++k) {
                    values.push_back(k == 0 && side == &a ? exact_value(1) : drawn.at(k));
                }
                flat.insert(flat.end(), values.begin(), values.end());
                const fixed_array array(values, held);
                sides.push_back(isDouble ? filter_coefficients(array.to_doubles()) : filter_coefficients(array));
            }
            mostA = std::max(mostA, a.back().size() - 1);
        }
        if (isSos) {
            std::vector<std::array<double, 6>> doubles(count);
            for (std::size_t i = 0; i < flat.size(); ++i) {
                doubles[i / 6][i % 6] = flat[i].to_double();
            }
            sections = isDouble ? filter_sections(doubles) : filter_sections(arrayOf(flat, held, {count, 6}));
        }
        const bool outputIsInLoop = options.form == filter_form::direct1 || options.form == filter_form::transposed2;
        if (mostA > 0 && !options.product_a && !options.sum_a && !options.state &&
            !(outputIsInLoop && options.section_output)) {
            std::optional<fixed_format>* const inLoop[] = {&options.product_a, &options.sum_a, &options.state};
            *random.pick(inLoop) = formatFrom(random, "loop", 1);
        }
        if (random.oneIn(3)) {
            options.gains = randomArray(random, typeFrom(random), count);
        }
        rows = static_cast<std::size_t>(random.between(0, 9) == 0 ? 0 : random.between(1, 3));
        length = static_cast<std::size_t>(random.between(0, 14));
        const bool isVector = rows == 1 && random.oneIn(2);
        x = randomArray(random, signal, rows * length)
                .reshaped(isVector ? array_shape{length} : array_shape{rows, length});
        if (random.oneIn(4)) {
            for (std::size_t s = 0; s < count; ++s) {
                section_state& made = start.sections.emplace_back();
                const auto [forB, forA] = delayCounts(s);
                for (std::size_t k = 0; k < forB + forA; ++k) {
                    const fixed_array delay = randomArray(random, typeFrom(random), rows);
                    (k < forB ? made.b : made.a).push_back(isVector ? delay.reshaped({}) : delay);
                }
            }
        }
    }
    std::pair<std::size_t, std::size_t> delayCounts(std::size_t section) const {
        const std::size_t forB = b[section].size() - 1;
        const std::size_t forA = a[section].size() - 1;
        const bool isOneChain = options.form == filter_form::direct2 || options.form == filter_form::transposed2;
        return isOneChain ? std::pair(std::max(forB, forA), std::size_t{0}) : std::pair(forB, forA);
    }
    /// Samples from `begin` to before `end` of every signal.
    fixed_array block(std::size_t begin, std::size_t end) const {
        std::vector<exact_value> values;
        for (std::size_t row = 0; row < rows; ++row) {
            for (std::size_t n = begin; n < end; ++n) {
                values.push_back(x.at(row * length + n));
            }
        }
        array_shape shape = x.shape();
        shape.back() = end - begin;
        return arrayOf(values, x.type(), shape);
    }
    fixed_array run(const fixed_array& signal, filter_state& state) const {
        return isSos ? sosfilt(*sections, signal, state, options) : lfilter(sides[0], sides[1], signal, state, options);
    }
    /// The expected results, what logs hear, and the delays at the end.
    std::vector<Rational> expected(Heard& heard, std::vector<Reference>& ends) const {
        const auto numbersOf = [&](const Reference& to, const std::vector<exact_value>& side, const char* node,
                                   const std::optional<fixed_format>& format, std::size_t first, bool isNegative) {
            std::vector<Rational> values;
            for (std::size_t k = first; k < side.size(); ++k) {
                const Rational value = rationalOf(side[k]);
                values.push_back(to.at(format, node, isNegative ? Rational(-value) : value));
            }
            return values;
        };
        std::vector<Rational> made(rows * length);
        Heard again;  // coefficients are quantized once, not for each signal
        for (std::size_t row = 0; row < rows || row == 0; ++row) {
            std::vector<Rational> samples;
            for (std::size_t n = 0; row < rows && n < length; ++n) {
                samples.push_back(rationalOf(x.at(row * length + n)));
            }
            for (std::size_t s = 0; s < b.size(); ++s) {
                const std::string prefix = (options.name.empty() ? "" : options.name + " ") +
                                           (b.size() > 1 ? "section " + std::to_string(s + 1) + " " : "");
                Reference coefficients{options, prefix, row == 0 ? heard : again};
                Reference section{options, prefix, heard};
                section.b = numbersOf(coefficients, b[s], "coefficients_b", options.coefficients_b, 0, false);
                section.a = numbersOf(coefficients, a[s], "coefficients_a", options.coefficients_a, 1,
                                      options.a_sign == feedback_sign::negated);
                section.gain = options.gains.size() != 0 ? rationalOf(options.gains.at(s)) : Rational(1);
                const auto [forB, forA] = delayCounts(s);
                section.q.resize(forB);
                section.p.resize(forA);
                for (std::size_t k = 0; !start.sections.empty() && row < rows && k < forB + forA; ++k) {
                    (k < forB ? section.q[k] : section.p[k - forB]) =
                        rationalOf(k < forB ? start.sections[s].b[k].at(row) : start.sections[s].a[k - forB].at(row));
                }
                for (Rational& sample : samples) {
                    sample = section.step(sample);
                }
                if (row < rows) {
                    ends.push_back(section);
                }
            }
            std::copy(samples.begin(), samples.end(), made.begin() + static_cast<std::ptrdiff_t>(row * length));
        }
        return made;
    }
};

/// Exact sums of long words may need more bits than usual.
struct ManyBits {
    int before = set_most_bits(60000);
    ~ManyBits() { set_most_bits(before); }
};

TEST(Filters, FollowTheirEquationsWordForWord) {
    const ManyBits allowed;
    for (int round = 0; round < 5000; ++round) {
        Random random(static_cast<std::uint64_t>(round) + 17000);
        const Case made(random);
        SCOPED_TRACE("seed " + std::to_string(random.seed()) + ", form " +
                     std::to_string(static_cast<int>(made.options.form)) + ", signal " + made.x.type().text());
        Heard heard;
        std::vector<Reference> ends;
        const std::vector<Rational> wanted = made.expected(heard, ends);
        filter_state state = made.start;
        const fixed_array y = made.run(made.x, state);
        ASSERT_EQ(y.shape(), made.x.shape());
        if (made.options.section_output) {
            ASSERT_EQ(y.type(), made.options.section_output->type());
        }
        filter_state inBlocks = made.start;
        const auto cut = static_cast<std::size_t>(random.between(0, static_cast<int>(made.length)));
        const fixed_array blocks[] = {made.block(0, cut), made.block(cut, made.length)};
        fixed_log fast;
        const fixed_array first = made.run(blocks[0], inBlocks);
        const fixed_array second = made.run(blocks[1], inBlocks);
        fast.stop();
        fixed_log slow({.errors = true});
        filter_state slowState = made.start;
        ASSERT_EQ(made.run(made.x, slowState), y);
        slow.stop();
        for (std::size_t i = 0; i < y.size(); ++i) {
            const std::size_t n = i % made.length;
            const std::size_t row = i / made.length;
            ASSERT_EQ(n < cut ? first.at(row * cut + n) : second.at(row * (made.length - cut) + n - cut), y.at(i));
            if (!made.addsSign) {  // which depends on the places that are cut off, more than the values tell
                ASSERT_EQ(rationalOf(y.at(i)), wanted[i]) << "sample " << i;
            }
        }
        for (std::size_t i = 0; i < ends.size(); ++i) {
            const std::size_t row = i / made.b.size();
            const std::size_t s = i % made.b.size();
            for (std::size_t k = 0; k < ends[i].q.size() + ends[i].p.size(); ++k) {
                const auto delayOf = [&](const filter_state& from) {
                    const bool isB = k < ends[i].q.size();
                    return (isB ? from.sections[s].b[k] : from.sections[s].a[k - ends[i].q.size()]).at(row);
                };
                ASSERT_EQ(delayOf(slowState), delayOf(state));
                ASSERT_EQ(delayOf(inBlocks), delayOf(state));
                if (!made.addsSign) {
                    ASSERT_EQ(rationalOf(delayOf(state)),
                              k < ends[i].q.size() ? ends[i].q[k] : ends[i].p[k - ends[i].q.size()]);
                }
            }
        }
        ASSERT_EQ(slow.places().size(), heard.size()) << slow.report();
        ASSERT_EQ(fast.places().size(), heard.size()) << fast.report();
        for (const auto& [name, place] : heard) {
            const place_record record = fast.place(name);
            const place_record other = slow.place(name);
            // Both blocks quantize the coefficients.
            const std::uint64_t times = name.find("coefficients") != std::string::npos ? 2 : 1;
            ASSERT_EQ(record.values, times * other.values) << name;
            ASSERT_EQ(record.overflows, times * other.overflows) << name;
            ASSERT_EQ(record.underflows, times * other.underflows) << name;
            ASSERT_EQ(record.before, other.before) << name;
            ASSERT_EQ(record.after, other.after) << name;
            ASSERT_EQ(record.overflow_line != 0, record.overflows != 0) << name;
            ASSERT_EQ(other.overflow_line, record.overflow_line) << name;
            if (made.addsSign) {
                continue;
            }
            ASSERT_EQ(other.values, place.values) << name;
            ASSERT_EQ(other.overflows, place.overflows) << name;
            ASSERT_EQ(other.underflows, place.underflows) << name;
            ASSERT_EQ(rationalOf(other.before.least), place.least) << name;
            ASSERT_EQ(rationalOf(other.before.greatest), place.greatest) << name;
            ASSERT_EQ(rationalOf(other.after.least), place.leastWord) << name;
            ASSERT_EQ(rationalOf(other.after.greatest), place.greatestWord) << name;
        }
    }
}

TEST(Filters, RefuseWhatTheyCannotKeep) {
    const fixed_array x({0.5, 0.25, -0.5}, "s8,7");
    const fixed_array imaginary(std::vector<std::complex<double>>{{1, 0}, {0, 1}}, "s8,4");
    const filter_options quantized{.section_output = "s8,7"};
    const auto withGains = [&](const fixed_array& gains) {
        filter_options options = quantized;
        options.gains = gains;
        return options;
    };
    filter_state state;
    (void)lfilter({1, 1}, {1}, x, state);
    const auto stateIs = [&](const fixed_array& delay) {
        return state.sections.size() == 1 && state.sections[0].b.size() == 1 && state.sections[0].a.empty() &&
               state.sections[0].b[0] == delay;
    };
    const fixed_array last = fixed_array(-0.5, "s8,7");
    EXPECT_TRUE(stateIs(last));
    EXPECT_EQ(idOf([&] { (void)lfilter({1}, {2}, x); }), "tolvane:filter:a0");
    EXPECT_EQ(idOf([&] { (void)sosfilt({{1, 0, 0, 0, 0, 0}}, x, quantized); }), "tolvane:filter:a0");
    EXPECT_EQ(idOf([&] { (void)lfilter({1}, {1, 0.5}, x); }), "tolvane:filter:growth");
    EXPECT_EQ(idOf([&] {
                  (void)lfilter({1}, {1, 0.5}, x, {.form = filter_form::direct2, .section_output = "s8,7"});
              }),
              "tolvane:filter:growth");
    EXPECT_EQ(idOf([&] { (void)lfilter({1}, {1, 0}, x); }), "");  // nothing is fed back
    EXPECT_EQ(idOf([&] { (void)lfilter({0.1}, {1}, x); }), "tolvane:filter:coefficients");
    EXPECT_EQ(idOf([&] { (void)lfilter(std::vector<double>{}, {1}, x); }), "tolvane:filter:coefficients");
    EXPECT_EQ(idOf([&] { (void)lfilter({1}, std::vector<double>{}, x); }), "tolvane:filter:coefficients");
    EXPECT_EQ(idOf([&] { (void)lfilter(x.reshaped({1, 3}), {1}, x); }), "tolvane:filter:coefficients");
    EXPECT_EQ(idOf([&] { (void)sosfilt(x.reshaped({1, 3}), x); }), "tolvane:filter:coefficients");
    EXPECT_EQ(idOf([&] { (void)lfilter(imaginary, {1}, x); }), "tolvane:array:complex");
    EXPECT_EQ(idOf([&] { (void)lfilter({1}, imaginary, x, quantized); }), "tolvane:array:complex");
    EXPECT_EQ(idOf([&] { (void)lfilter({1}, {1}, imaginary); }), "tolvane:array:complex");
    EXPECT_EQ(idOf([&] { (void)sosfilt({{1, 0, 0, 1, 0, 0}}, x, withGains(x)); }), "tolvane:filter:gains");
    EXPECT_EQ(
        idOf([&] { (void)lfilter({1}, {1}, x, withGains(fixed_array(std::vector{std::complex(1.0, 1.0)}, "s8,4"))); }),
        "tolvane:array:complex");
    EXPECT_EQ(idOf([&] { (void)lfilter({1}, {1}, fixed_array(0.5, "s8,7")); }), "tolvane:array:shape");
    EXPECT_EQ(idOf([&] { (void)lfilter({1, 1}, {1}, x.reshaped({3, 1}), state); }), "tolvane:filter:state");
    EXPECT_EQ(idOf([&] { (void)lfilter({1, 1, 1}, {1}, x, state); }), "tolvane:filter:state");
    EXPECT_EQ(idOf([&] { (void)sosfilt({{1, 0, 0, 1, 0, 0}, {1, 0, 0, 1, 0, 0}}, x, state); }), "tolvane:filter:state");
    EXPECT_EQ(idOf([&] {
                  (void)lfilter({1, 1e-300}, {1}, x, {.coefficients_b = "s1200,1190"});
              }),
              "tolvane:array:growth");
    // What a listener raises comes out, and there is no result.
    const fixed_array louder({0.75, 0.75}, "s8,7");
    const fixed_log log({.on_overflow = [](const overflow_event& event) {
        EXPECT_EQ(event.place, "acc");
        throw error("test:heard", event.place);
    }});
    EXPECT_EQ(idOf([&] {
                  (void)lfilter({1, 1}, {1}, louder, state, {.sum_b = fixed_format("s2,2", "acc")});
              }),
              "test:heard");
    EXPECT_TRUE(stateIs(last));
}

TEST(Filters, CutNoBitsWhereOnlyOtherValuesHaveMorePlaces) {
    const fixed_array x(std::vector{-3, -3}, "s8,0");
    for (const char* const product : {"s12,0", "s12,4"}) {
        filter_options options{.coefficients_b = "s8,4",
                               .coefficients_a = "s8,4",
                               .product_b = "s8,0",
                               .product_a = product,
                               .sum_b = "s8,0 add_sign",
                               .section_output = "s8,0 floor"};
        const fixed_array fast = sosfilt({{1, 0, 0, 1, 0, 0}}, x, options);
        const fixed_log log({.errors = true});
        EXPECT_EQ(fast, x) << product;
        EXPECT_EQ(sosfilt({{1, 0, 0, 1, 0, 0}}, x, options), x) << product;
    }
}

}  // namespace
