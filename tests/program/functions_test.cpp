// Functions over arrays: shapes against index arithmetic, bits against texts of bits, numbers against rationals.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "program/tolvane.h"
#include "tests/program/places.h"

namespace {

using namespace tolvane;
using oracle::idOf;

// Words and values, read from limbs.

Integer wordAt(std::span<const std::uint64_t> limbs, const fixed_type& type, std::size_t index) {
    const std::size_t length = (static_cast<std::size_t>(type.bits) + 63) / 64;
    Integer word;
    mpz_import(word.get_mpz_t(), length, -1, sizeof(std::uint64_t), 0, 0, limbs.data() + index * length);
    const bool isNegative = limbs[(index + 1) * length - 1] >> 63U != 0 && type.is_signed;
    return isNegative ? Integer(word - (Integer(1) << static_cast<unsigned>(64 * length))) : word;
}

std::vector<Rational> valuesOf(const fixed_array& x) {
    std::vector<Rational> values;
    for (std::size_t i = 0; i < x.size(); ++i) {
        values.push_back(scaled(Rational(wordAt(limbs_of(x), x.type(), i)), -x.type().fraction));
    }
    return values;
}

fixed_array arrayOf(const std::vector<Integer>& words, const fixed_type& type) {
    const std::size_t length = (static_cast<std::size_t>(type.bits) + 63) / 64;
    std::vector<std::uint64_t> limbs(words.size() * length);
    for (std::size_t i = 0; i < words.size(); ++i) {
        Integer word = words[i];
        mpz_fdiv_r_2exp(word.get_mpz_t(), word.get_mpz_t(), 64 * length);
        mpz_export(limbs.data() + i * length, nullptr, -1, sizeof(std::uint64_t), 0, 0, word.get_mpz_t());
    }
    return from_limbs(limbs, type);
}

fixed_type randomType(Random& random, int mostBits = 200) {
    const int bits = random.between(1, random.oneIn(2) ? std::min(mostBits, 66) : mostBits);
    return {random.oneIn(2), bits, random.between(-5, bits + 5)};
}

/// Any words; bounds and small ones are likely.
fixed_array randomArray(Random& random, const fixed_type& type, const array_shape& shape) {
    const std::size_t count = std::accumulate(shape.begin(), shape.end(), std::size_t{1}, std::multiplies<>());
    std::vector<Integer> words;
    for (std::size_t i = 0; i < count; ++i) {
        Integer word = random.oneIn(4) ? Integer(random.between(0, 3)) : random.integer(type.bits);
        mpz_fdiv_r_2exp(word.get_mpz_t(), word.get_mpz_t(), static_cast<mp_bitcnt_t>(type.bits));
        if (type.is_signed && mpz_tstbit(word.get_mpz_t(), static_cast<mp_bitcnt_t>(type.bits - 1)) != 0) {
            word -= Integer(1) << static_cast<unsigned>(type.bits);
        }
        words.push_back(word);
    }
    return arrayOf(words, type).reshaped(shape);
}

using Index = std::vector<std::size_t>;

/// All indices of a shape, in order.
std::vector<Index> indicesOf(const array_shape& shape) {
    std::vector<Index> all{{}};
    for (const std::size_t size : shape) {
        std::vector<Index> longer;
        for (const Index& index : all) {
            for (std::size_t i = 0; i < size; ++i) {
                longer.push_back(index);
                longer.back().push_back(i);
            }
        }
        all = std::move(longer);
    }
    return all;
}

TEST(Shapes, MoveElementsToTheirIndices) {
    for (const fixed_type type : {sfix(16, 3), sfix(150, 3)}) {
        std::vector<Integer> words(24);
        std::iota(words.begin(), words.end(), -11);
        const fixed_array x = arrayOf(words, type).reshaped({2, 3, 4});
        const fixed_array row = sliced(x, {0, 0});
        const fixed_array matrix = sliced(x, {1});
        const struct {
            const char* name;
            fixed_array seen;
            array_shape shape;
            std::function<std::size_t(const Index&)> from;  // the place in x, or one past it for 0
        } rows[] = {
            {"slice",
             sliced(x, {{0, 2}, {1, 3}, {0, 4, 2}}),
             {2, 2, 2},
             [](const Index& i) { return i[0] * 12 + (i[1] + 1) * 4 + i[2] * 2; }},
            {"back",
             sliced(x, {{std::nullopt, std::nullopt, -1}, -1, {-1, 0, -2}}),
             {2, 2},
             [](const Index& i) { return (1 - i[0]) * 12 + 8 + (3 - 2 * i[1]); }},
            {"beyond",
             sliced(x, {{}, {}, {2, 99}}),
             {2, 3, 2},
             [](const Index& i) { return i[0] * 12 + i[1] * 4 + i[2] + 2; }},
            {"none", sliced(x, {{}, {2, 1}}), {2, 0, 4}, [](const Index&) { return 0; }},
            {"element", sliced(x, {1, 2, 3}), {}, [](const Index&) { return 23; }},
            {"take", take(x, {5, -1, 5}), {3}, [](const Index& i) { return i[0] == 1 ? 23 : 5; }},
            {"take along",
             take(x, {2, -3}, 1),
             {2, 2, 4},
             [](const Index& i) { return i[0] * 12 + (i[1] == 0 ? 2 : 0) * 4 + i[2]; }},
            {"transpose", transpose(x), {4, 3, 2}, [](const Index& i) { return i[2] * 12 + i[1] * 4 + i[0]; }},
            {"permute", permute(x, {1, -1, 0}), {3, 4, 2}, [](const Index& i) { return i[2] * 12 + i[0] * 4 + i[1]; }},
            {"flip", flip(x, 1), {2, 3, 4}, [](const Index& i) { return i[0] * 12 + (2 - i[1]) * 4 + i[2]; }},
            {"broadcast",
             broadcast_to(sliced(x, {{}, {1, 2}, {}}), {3, 2, 2, 4}),
             {3, 2, 2, 4},
             [](const Index& i) { return i[1] * 12 + 4 + i[3]; }},
            {"repeat", repeat(x, 2, 1), {2, 6, 4}, [](const Index& i) { return i[0] * 12 + i[1] / 2 * 4 + i[2]; }},
            {"diagonal", diag(matrix), {3}, [](const Index& i) { return 12 + i[0] * 5; }},
            {"diagonal matrix", diag(row), {4, 4}, [](const Index& i) { return i[0] == i[1] ? i[0] : 24; }},
            {"concatenate",
             concatenate({x, sliced(x, {{}, {0, 1}})}, 1),
             {2, 4, 4},
             [](const Index& i) { return i[0] * 12 + i[1] % 3 * 4 + i[2]; }},
            {"stack", stacked({row, cast(row, sfix(180, 9))}, -1), {4, 2}, [](const Index& i) { return i[0]; }},
        };
        for (const auto& test : rows) {
            ASSERT_EQ(test.seen.shape(), test.shape) << test.name;
            const std::vector<Rational> seen = valuesOf(test.seen);
            const std::vector<Index> indices = indicesOf(test.shape);
            for (std::size_t i = 0; i < seen.size(); ++i) {
                const std::size_t from = test.from(indices[i]);
                ASSERT_EQ(seen[i], from == 24 ? Rational(0) : scaled(Rational(words[from]), -3))
                    << test.name << ", element " << i;
            }
        }
    }
}

TEST(Shapes, WriteIntoPartsAndMakeArrays) {
    const fixed_type type = sfix(8, 4);
    const auto wordsAfter = [&](const std::function<void(fixed_array&)>& write) {
        fixed_array x = fixed_array::zeros({2, 3}, type);
        write(x);
        return std::vector<std::int64_t>(x.words().begin(), x.words().end());
    };
    const fixed_array column = fixed_array({0.53125, 100.0}, "s32,16").reshaped({2, 1});
    using Words = std::vector<std::int64_t>;
    EXPECT_EQ(wordsAfter([&](fixed_array& x) {
                  put_slice(x, {{}, {0, 3, 2}}, column);
              }),
              (Words{9, 0, 9, 127, 0, 127}));
    EXPECT_EQ(wordsAfter([&](fixed_array& x) {
                  put_slice(x, {1, {std::nullopt, 0, -1}}, column.reshaped({2}), rounding::floor);
              }),
              (Words{0, 0, 0, 0, 127, 8}));
    EXPECT_EQ(wordsAfter([&](fixed_array& x) {
                  put(x, {4, -6, 4}, fixed_array({1.0, -20.0, 3.0}, "s16,8"));
              }),
              (Words{-128, 0, 0, 0, 48, 0}));
    EXPECT_EQ(wordsAfter([&](fixed_array& x) {
                  put_mask(x, {false, true, true, false, false, false}, fixed_array(9.0, "s16,8"), rounding::floor,
                           overflow::wrap);
              }),
              (Words{0, -112, -112, 0, 0, 0}));
    const fixed_array whole = full_range(sfix(3, 1));
    EXPECT_EQ(whole, fixed_array({-2.0, -1.5, -1.0, -0.5, 0.0, 0.5, 1.0, 1.5}, "s3,1"));
    EXPECT_EQ(arange(-0.75, 1, 0.5, "s8,1 floor"), fixed_array({-1.0, -0.5, 0.0, 0.5}, "s8,1"));
    EXPECT_EQ(arange(2, 0, -1, "u8,0"), fixed_array({2, 1}, "u8,0"));
    EXPECT_EQ(ones({2}, "s8,7"), fixed_array({0.9921875, 0.9921875}, "s8,7"));
    const fixed_array z = complex_of(whole, -whole);
    EXPECT_EQ(masked(z, {false, false, true, false, false, false, false, true}).imag(),
              fixed_array({1.0, -1.5}, "s8,1"));
    fixed_array changed = z;
    const fixed_array part = changed.real();
    put(changed, {0}, fixed_array({1.0}, "s8,1"));
    EXPECT_EQ(changed.imag().at(0), exact_value(0));
    EXPECT_EQ(z.imag().at(0), exact_value(2)) << "copies are separate";
    EXPECT_EQ(part.at(0), exact_value(-2)) << "and so are parts";
    fixed_array itself = whole;
    put_slice(itself, {{std::nullopt, std::nullopt, -1}}, itself);
    EXPECT_EQ(itself, flip(whole)) << "read before it is written";
}

TEST(Bits, AreThoseOfTwosComplement) {
    Random random(1705);
    for (int round = 0; round < 1500; ++round) {
        const fixed_type type = randomType(random);
        const fixed_type other = randomType(random);
        const fixed_array x = randomArray(random, type, {5});
        const fixed_array y = randomArray(random, fixed_type{random.oneIn(2), type.bits, 2}, {5});
        const fixed_array z = randomArray(random, other, {5});
        const auto bits = static_cast<std::size_t>(type.bits);
        // The highest bit first.
        const auto textOf = [](const fixed_array& from, std::size_t i) {
            const Integer word = wordAt(limbs_of(from), from.type(), i);
            std::string text;
            for (int bit = from.type().bits; bit-- > 0;) {
                text += mpz_tstbit(word.get_mpz_t(), static_cast<mp_bitcnt_t>(bit)) != 0 ? '1' : '0';
            }
            return text;
        };
        const auto places = static_cast<std::size_t>(random.between(0, type.bits + 3));
        const std::size_t moved = std::min(places, bits);
        const auto low = static_cast<std::size_t>(random.between(0, type.bits - 1));
        const auto high = static_cast<std::size_t>(random.between(static_cast<int>(low), type.bits - 1));
        const int count = static_cast<int>(places);
        const fixed_type turned{!type.is_signed, type.bits, -3};
        const auto logic = [](const std::string& a, const std::string& b, auto operation) {
            std::string result;
            for (std::size_t i = 0; i < a.size(); ++i) {
                result += static_cast<char>('0' + operation(a[i] - '0', b[i] - '0'));
            }
            return result;
        };
        const struct {
            const char* name;
            fixed_array seen;
            fixed_type type;
            std::function<std::string(const std::string&, const std::string&, const std::string&)> wanted;
        } rows[] = {
            {"and", and_bits(x, y), type,
             [&](auto& a, auto& b, auto&) { return logic(a, b, [](int p, int q) { return p & q; }); }},
            {"or", or_bits(x, y), type,
             [&](auto& a, auto& b, auto&) { return logic(a, b, [](int p, int q) { return p | q; }); }},
            {"xor", xor_bits(x, y), type,
             [&](auto& a, auto& b, auto&) { return logic(a, b, [](int p, int q) { return p ^ q; }); }},
            {"not", not_bits(x), type,
             [&](auto& a, auto&, auto&) { return logic(a, a, [](int p, int) { return 1 - p; }); }},
            {"slice", slice_bits(x, static_cast<int>(high), static_cast<int>(low)),
             ufix(static_cast<int>(high - low) + 1, 0),
             [&](auto& a, auto&, auto&) { return a.substr(bits - 1 - high, high - low + 1); }},
            {"concat", concat_bits({x, z, y}), ufix(2 * type.bits + other.bits, 0),
             [&](auto& a, auto& b, auto& c) { return a + c + b; }},
            {"set", set_bit(x, static_cast<int>(low)), type,
             [&](auto a, auto&, auto&) { return a.replace(bits - 1 - low, 1, "1"); }},
            {"clear", set_bit(x, static_cast<int>(low), false), type,
             [&](auto a, auto&, auto&) { return a.replace(bits - 1 - low, 1, "0"); }},
            {"reinterpret", reinterpret(x, turned), turned, [&](auto& a, auto&, auto&) { return a; }},
            {"left", shift_left(x, count), type,
             [&](auto& a, auto&, auto&) { return a.substr(moved) + std::string(moved, '0'); }},
            {"right", shift_right(x, count), type,
             [&](auto& a, auto&, auto&) {
                 return std::string(moved, type.is_signed ? a[0] : '0') + a.substr(0, bits - moved);
             }},
            {"logical right", shift_right_logical(x, count), type,
             [&](auto& a, auto&, auto&) { return std::string(moved, '0') + a.substr(0, bits - moved); }},
            {"rotate", rotate_bits(x, count), type,
             [&](auto& a, auto&, auto&) { return a.substr(places % bits) + a.substr(0, places % bits); }},
            {"rotate down", rotate_bits(x, -count), type,
             [&](auto& a, auto&, auto&) { return a.substr(bits - places % bits) + a.substr(0, bits - places % bits); }},
        };
        const std::string what = "round " + std::to_string(round) + ", " + type.text();
        for (std::size_t i = 0; i < 5; ++i) {
            const std::string a = textOf(x, i);
            for (const auto& row : rows) {
                ASSERT_EQ(row.seen.type(), row.type) << what << ' ' << row.name;
                ASSERT_EQ(textOf(row.seen, i), row.wanted(a, textOf(y, i), textOf(z, i))) << what << ' ' << row.name;
                // Limbs have the sign above the top bit.
                ASSERT_EQ(from_limbs(limbs_of(row.seen), row.type), row.seen) << what << ' ' << row.name;
            }
            const auto lengthTo = [&](std::size_t place) { return static_cast<int>(std::min(place, bits)); };
            ASSERT_EQ(leading_zeros(x)[i], lengthTo(a.find('1'))) << what << ' ' << a;
            ASSERT_EQ(leading_signs(x)[i], lengthTo(a.find(a[0] == '0' ? '1' : '0')) - 1) << what << ' ' << a;
            ASSERT_EQ(trailing_zeros(x)[i], lengthTo(std::string(a.rbegin(), a.rend()).find('1'))) << what << ' ' << a;
            ASSERT_EQ(count_ones(x)[i], std::ranges::count(a, '1')) << what << ' ' << a;
        }
    }
    EXPECT_EQ(shift_left(fixed_array({3, -5}, "s4,0"), 1, "s4,0"), fixed_array({6, -8}, "s4,0"));
}

// Numbers.

/// What becomes of a value at a place, for the roundings and overflows that the tests choose from.
constexpr rounding kRoundingNames[] = {rounding::floor, rounding::nearest, rounding::convergent, rounding::jam};
constexpr overflow kOverflowNames[] = {overflow::saturate, overflow::wrap, overflow::symmetric};

Rational quantized(const Rational& x, const std::optional<fixed_format>& format) {
    if (!format) {
        return x;
    }
    const fixed_type& type = format->type();
    const Rational units = scaled(x, type.fraction);
    Integer word = floorOf(units);
    switch (format->rounding()) {
        case rounding::nearest:
            word = rounded(units, Rounding::nearest);
            break;
        case rounding::convergent:
            word = rounded(units, Rounding::convergent);
            break;
        case rounding::jam:
            word = units == word || mpz_odd_p(word.get_mpz_t()) != 0 ? word : Integer(word + 1);
            break;
        default:
            break;
    }
    const Integer span = Integer(1) << static_cast<unsigned>(type.bits);
    const Integer least = type.is_signed ? Integer(-span / 2) : Integer(0);
    const Integer greatest = least + span - 1;
    const Integer low = least + (type.is_signed && format->overflow() == overflow::symmetric ? 1 : 0);
    if (word < low || word > greatest) {
        if (format->overflow() == overflow::wrap) {
            mpz_fdiv_r(word.get_mpz_t(), Integer(word - least).get_mpz_t(), span.get_mpz_t());
            word += least;
        } else {
            word = word < low ? low : greatest;
        }
    }
    return scaled(Rational(word), -type.fraction);
}

fixed_format randomFormat(Random& random, int mostBits = 200) {
    return {randomType(random, mostBits), random.pick(kRoundingNames), random.pick(kOverflowNames)};
}

struct Complex {
    Rational re;
    Rational im;
    friend bool operator==(const Complex&, const Complex&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Complex& z) {
        return out << text(z.re) << " + i " << text(z.im);
    }
};

std::vector<Complex> complexesOf(const fixed_array& x) {
    const std::vector<Rational> re = valuesOf(x.real());
    const std::vector<Rational> im = valuesOf(x.imag());
    std::vector<Complex> values;
    for (std::size_t i = 0; i < re.size(); ++i) {
        values.push_back({re[i], im[i]});
    }
    return values;
}

/// A sum through its places, and how often it overflowed or was cut.
struct Sum {
    const sum_formats& formats;
    Complex total{};
    void add(const Complex& term) {
        total.re = quantized(total.re + quantized(term.re, formats.product), formats.sum);
        total.im = quantized(total.im + quantized(term.im, formats.product), formats.sum);
    }
    void add(const Complex& a, const Complex& b) {
        add({Rational(a.re * b.re - a.im * b.im), Rational(a.re * b.im + a.im * b.re)});
    }
};

fixed_array randomOperand(Random& random, const array_shape& shape, int mostBits = 100) {
    const fixed_type type = randomType(random, mostBits);
    const fixed_array x = randomArray(random, type, shape);
    return random.oneIn(3) ? complex_of(x, randomArray(random, type, shape)) : x;
}

/// No places; some that act often; sums that hold many terms and rarely overflow.
sum_formats randomFormats(Random& random, int fraction) {
    sum_formats formats;
    if (random.oneIn(3)) {
        formats.product = randomFormat(random, 100);
    }
    if (random.oneIn(3)) {
        formats.sum = randomFormat(random, 100);
    } else if (random.oneIn(2)) {
        const int finest = (formats.product ? formats.product->type().fraction : fraction) + random.between(-1, 2);
        formats.sum.emplace(fixed_type{random.oneIn(2), random.between(8, 130), finest}, random.pick(kRoundingNames),
                            random.pick(kOverflowNames));
    }
    return formats;
}

TEST(Sums, RunAlongAxesThroughTheirPlaces) {
    Random random(1706);
    for (int round = 0; round < 300; ++round) {
        // One axis may be long.
        const int longest = random.between(0, 3);
        const auto size = [&](int axis, int most, int usual) {
            return static_cast<std::size_t>(longest == axis ? random.between(0, most) : random.between(1, usual));
        };
        const array_shape shape{size(0, 70, 4), size(1, 150, 9), size(2, 140, 3)};
        const fixed_array x = randomOperand(random, shape);
        const sum_formats formats = randomFormats(random, x.type().fraction);
        const int axis = random.between(0, 2);
        const std::vector<Complex> values = complexesOf(x);
        const fixed_array sums = sum(x, axis - 3, formats);
        const fixed_array running = cumsum(x, axis, formats.sum);
        const fixed_array whole = sum(x, formats);
        const std::string what = "round " + std::to_string(round) + ": " + x.type().text() + ", axis " +
                                 std::to_string(axis) + (formats.product ? ", " + formats.product->text() : "") +
                                 (formats.sum ? ", sum " + formats.sum->text() : "");
        const sum_formats forRunning{std::nullopt, formats.sum};
        std::vector<Sum> wanted(sums.size(), Sum{formats});
        std::vector<Sum> alongside(sums.size(), Sum{forRunning});
        Sum all{formats};
        const std::vector<Index> indices = indicesOf(shape);
        const std::vector<Complex> seenRunning = complexesOf(running);
        for (std::size_t i = 0; i < values.size(); ++i) {
            const Index& index = indices[i];
            const std::size_t row = axis == 0   ? index[1] * shape[2] + index[2]
                                    : axis == 1 ? index[0] * shape[2] + index[2]
                                                : index[0] * shape[1] + index[1];
            wanted[row].add(values[i]);
            alongside[row].add(values[i]);
            all.add(values[i]);
            ASSERT_EQ(seenRunning[i], alongside[row].total) << what << ", running " << i;
        }
        const std::vector<Complex> seen = complexesOf(sums);
        for (std::size_t row = 0; row < seen.size(); ++row) {
            ASSERT_EQ(seen[row], wanted[row].total) << what << ", row " << row;
        }
        ASSERT_EQ(complexesOf(whole).front(), all.total) << what;
    }
}

TEST(Sums, MultiplyMatrices) {
    Random random(1707);
    for (int round = 0; round < 150; ++round) {
        const auto size = [&](int most) { return static_cast<std::size_t>(random.between(1, most)); };
        const std::size_t rows = size(10);
        const std::size_t terms = size(random.oneIn(4) ? 140 : 6);
        const std::size_t columns = size(terms < 6 && random.oneIn(2) ? 70 : 8);
        // One matrix for all on either side, or a row of them.
        const std::size_t left = size(2);
        const std::size_t right = size(2);
        const fixed_array a = randomOperand(random, {left, 1, rows, terms}, 70);
        const fixed_array b = randomOperand(random, {right, terms, columns}, 70);
        const sum_formats formats = randomFormats(random, a.type().fraction + b.type().fraction);
        const fixed_array c = matmul(a, b, formats);
        ASSERT_EQ(c.shape(), (array_shape{left, right, rows, columns}));
        const std::vector<Complex> x = complexesOf(a);
        const std::vector<Complex> y = complexesOf(b);
        const std::vector<Complex> seen = complexesOf(c);
        std::size_t place = 0;
        for (const Index& index : indicesOf(c.shape())) {
            Sum wanted{formats};
            for (std::size_t k = 0; k < terms; ++k) {
                wanted.add(x[(index[0] * rows + index[2]) * terms + k], y[(index[1] * terms + k) * columns + index[3]]);
            }
            ASSERT_EQ(seen[place], wanted.total) << "round " << round << ": " << a.type() << ' ' << b.type() << ", "
                                                 << rows << ' ' << terms << ' ' << columns << ", element " << place;
            ++place;
        }
        // Vectors are rows and columns; convolutions are such sums, too.
        const fixed_array v = sliced(b, {0, {}, 0});
        const fixed_array m = sliced(a, {0, 0});
        ASSERT_EQ(matmul(m, v, formats), sliced(matmul(m, v.reshaped({terms, 1}), formats), {{}, 0}));
        const fixed_array u = sliced(m, {0});
        ASSERT_EQ(matmul(u, v, formats), dot(u, v, formats));
        const fixed_array wide = conv(u, v, formats);
        const std::vector<Complex> seenWide = complexesOf(wide);
        const std::vector<Complex> p = complexesOf(u);
        const std::vector<Complex> q = complexesOf(v);
        for (std::size_t n = 0; n < seenWide.size(); ++n) {
            Sum wanted{formats};
            for (std::size_t k = 0; k < terms; ++k) {
                if (n >= k && n - k < terms) {
                    wanted.add(p[n - k], q[k]);
                }
            }
            ASSERT_EQ(seenWide[n], wanted.total) << "round " << round << ", convolution " << n;
        }
    }
}

TEST(Sums, LogEachOfThem) {
    // Sums taken at once leave the same notes as one after another.
    std::vector<std::int64_t> words(100, 100);
    words.back() = -128;
    const fixed_array x = fixed_array::from_words(words, sfix(8, 0));
    fixed_log log;
    const fixed_array y = sum(x, {.sum = fixed_format("s12,0 saturate", "s")});
    EXPECT_EQ(y.at(0), exact_value(2047 - 128));
    const place_record record = log.place("s");
    EXPECT_EQ(record.values, 100U);
    EXPECT_EQ(record.overflows, 79U) << "from 2100 on";
    EXPECT_EQ(record.before.greatest, exact_value(2147));
    EXPECT_EQ(record.before.least, exact_value(100));
}

TEST(Functions, ComputeWhatRationalsDo) {
    Random random(1708);
    for (int round = 0; round < 800; ++round) {
        const array_shape shape{3, static_cast<std::size_t>(random.between(1, 30))};
        const fixed_array x = randomArray(random, randomType(random), shape);
        const fixed_array y = randomArray(random, randomType(random), {shape[1]});
        const fixed_format format = randomFormat(random);
        const std::vector<Rational> p = valuesOf(x);
        std::vector<Rational> q = valuesOf(y);
        for (std::size_t i = shape[1]; i < p.size(); ++i) {
            q.push_back(q[i - shape[1]]);
        }
        const std::string what =
            "round " + std::to_string(round) + ": " + x.type().text() + ", " + y.type().text() + " to " + format.text();
        const auto nearest = [](const Rational& v) { return Rational(rounded(v, Rounding::convergent)); };
        const int exponent = random.between(0, 4);
        const struct {
            const char* name;
            fixed_array seen;
            std::function<Rational(const Rational&, const Rational&)> wanted;
        } rows[] = {
            {"floor", floor(x), [](auto& a, auto&) { return Rational(floorOf(a)); }},
            {"ceil", ceil(x), [](auto& a, auto&) { return Rational(rounded(a, Rounding::ceil)); }},
            {"trunc", trunc(x), [](auto& a, auto&) { return Rational(rounded(a, Rounding::fix)); }},
            {"round", tolvane::round(x, rounding::convergent), [&](auto& a, auto&) { return nearest(a); }},
            {"sign", sign(x), [](auto& a, auto&) { return Rational(sgn(a)); }},
            {"maximum", maximum(x, y), [](auto& a, auto& b) { return std::max(a, b); }},
            {"minimum", minimum(x, y), [](auto& a, auto& b) { return std::min(a, b); }},
            {"clip", clip(x, -1, 3), [](auto& a, auto&) { return std::clamp(a, Rational(-1), Rational(3)); }},
            {"where", where(is_greater(x, y), x, 0), [](auto& a, auto& b) { return a > b ? a : Rational(0); }},
            {"power", power(x, exponent),
             [&](auto& a, auto&) {
                 Rational result = 1;
                 for (int i = 0; i < exponent; ++i) {
                     result *= a;
                 }
                 return result;
             }},
        };
        for (const auto& row : rows) {
            const std::vector<Rational> seen = valuesOf(row.seen);
            ASSERT_EQ(row.seen.shape(), shape) << what << ' ' << row.name;
            for (std::size_t i = 0; i < seen.size(); ++i) {
                ASSERT_EQ(seen[i], row.wanted(p[i], q[i])) << what << ' ' << row.name << " of " << text(p[i]);
            }
        }
        const std::vector<bool> truths[] = {is_equal(x, y),      is_not_equal(x, y), is_less(x, y),
                                            is_less_equal(x, y), is_greater(x, y),   is_greater_equal(x, y)};
        for (std::size_t i = 0; i < p.size(); ++i) {
            const bool wanted[] = {p[i] == q[i], p[i] != q[i], p[i]<q[i], p[i] <= q[i], p[i]> q[i], p[i] >= q[i]};
            for (std::size_t k = 0; k < std::size(wanted); ++k) {
                ASSERT_EQ(truths[k][i], wanted[k]) << what << ", comparison " << k;
            }
        }
        // Roots: the greatest unit below, and whether something lies beyond it.
        const fixed_array plain = reinterpret(x, fixed_type{false, x.type().bits, x.type().fraction});
        const std::vector<Rational> roots = valuesOf(sqrt(plain, format));
        const std::vector<Rational> radicands = valuesOf(plain);
        for (std::size_t i = 0; i < p.size(); ++i) {
            // A rational on the same side of all halves of units as the root.
            const Rational units = scaled(radicands[i], 2 * format.type().fraction + 2);
            Integer twice = floorOf(units);
            mpz_sqrt(twice.get_mpz_t(), twice.get_mpz_t());
            const bool isExact = Rational(twice * twice) == units;
            const Rational near = Rational(twice) / 2 + (isExact ? Rational(0) : Rational(1, 4));
            ASSERT_EQ(roots[i], quantized(scaled(near, -format.type().fraction), format))
                << what << ", root of " << text(radicands[i]);
        }
        const std::vector<Rational> means = valuesOf(mean(x, 1, format));
        const std::vector<Rational> greatest = valuesOf(max(x, 1));
        const std::vector<Rational> sorted = valuesOf(sort(x, 1));
        const index_list order = argsort(x, 1);
        for (std::size_t row = 0; row < 3; ++row) {
            std::vector<Rational> each(p.begin() + static_cast<std::ptrdiff_t>(row * shape[1]),
                                       p.begin() + static_cast<std::ptrdiff_t>((row + 1) * shape[1]));
            const Rational total = std::accumulate(each.begin(), each.end(), Rational(0));
            ASSERT_EQ(means[row], quantized(total / static_cast<unsigned long>(each.size()), format)) << what;
            ASSERT_EQ(argmin(x, 1)[row], std::ranges::min_element(each) - each.begin()) << what;
            ASSERT_EQ(argmax(x, 1)[row], std::ranges::max_element(each) - each.begin()) << what;
            for (std::size_t i = 0; i < each.size(); ++i) {
                ASSERT_EQ(each[static_cast<std::size_t>(order[row * shape[1] + i])], sorted[row * shape[1] + i])
                    << what;
            }
            std::ranges::sort(each);
            ASSERT_EQ(greatest[row], each.back()) << what;
            ASSERT_TRUE(std::ranges::equal(each, std::span(sorted).subspan(row * shape[1], shape[1]))) << what;
        }
    }
    const fixed_array x = fixed_array({0, 2, 0, -1, 5, 6}, "s8,1").reshaped({2, 3});
    EXPECT_EQ(find(x), (index_list{1, 3, 4, 5}));
    EXPECT_EQ(argwhere(x).back(), (array_shape{1, 2}));
    EXPECT_EQ(any_of(x, 0), (std::vector<bool>{true, true, true}));
    EXPECT_EQ(all_of(x, 1), (std::vector<bool>{false, true}));
    EXPECT_TRUE(any_of(x) && !all_of(x) && argmax(x) == 5);
    const fixed_array z = complex_of(x, 0 * x);
    EXPECT_EQ(find(conj(complex_of(0 * x, x))), find(x));
    EXPECT_EQ((conj(z) * z).real(), x * x);
    const fixed_array none = zeros({2, 0}, sfix(8, 1));
    EXPECT_EQ(sum(none), fixed_array(0, "s8,1"));
    EXPECT_EQ(matmul(none, zeros({0, 3}, sfix(8, 1))), 0 * x);
    EXPECT_EQ(cumsum(none, 1).shape(), none.shape());
    EXPECT_EQ(concatenate({repeat(x, 0), x}, 1), x);
    EXPECT_EQ(mean(complex_of(x, -x), 0, "s8,4").imag(), fixed_array({0.5, -3.5, -3.0}, "s8,4"));
    EXPECT_EQ(clip(x, 1, 4).type(), x.type()) << "bounds are words of the type";
}

TEST(Functions, RefuseWhatHasNoMeaning) {
    fixed_array x = fixed_array({1, 2, 3, 4, 5, 6}, "s8,0").reshaped({2, 3});
    const fixed_array wide = fixed_array({1, 2}, "s9,0");
    const fixed_array z = complex_of(x, x);
    const struct {
        const char* id;
        std::function<void()> run;
    } rows[] = {
        {"tolvane:array:index",
         [&] {
             sliced(x, {0, 3});
         }},
        {"tolvane:array:index", [&] { take(x, {6}); }},
        {"tolvane:array:axis",
         [&] {
             sliced(x, {0, 0, 0});
         }},
        {"tolvane:array:axis",
         [&] {
             permute(x, {0, 0});
         }},
        {"tolvane:array:axis", [&] { flip(x, 2); }},
        {"tolvane:array:step",
         [&] {
             sliced(x, {{0, 1, 0}});
         }},
        {"tolvane:array:step", [&] { arange(0, 1, 0, "s8,0"); }},
        {"tolvane:array:shape",
         [&] {
             broadcast_to(x, {3, 2});
         }},
        {"tolvane:array:shape",
         [&] {
             concatenate({x, x.reshaped({3, 2})});
         }},
        {"tolvane:array:shape", [&] { put_slice(x, {1}, wide); }},
        {"tolvane:array:shape", [&] { masked(x, {true}); }},
        {"tolvane:array:complex", [&] { put(x, {0}, take(z, {0})); }},
        {"tolvane:array:complex", [&] { not_bits(z); }},
        {"tolvane:array:growth", [&] { full_range(sfix(25, 0)); }},
        {"tolvane:array:word", [&] { from_limbs(std::vector<std::uint64_t>{128}, sfix(8, 0)); }},
        {"tolvane:array:word", [&] { from_limbs(std::vector<std::uint64_t>(3), sfix(80, 0)); }},
        {"tolvane:array:axis", [&] { sum(x, 2); }},
        {"tolvane:array:shape", [&] { matmul(x, x); }},
        {"tolvane:array:shape", [&] { where({true}, x, x); }},
        {"tolvane:array:shape", [&] { mean(zeros({0}, sfix(8, 0)), "s8,0"); }},
        {"tolvane:array:shape",
         [&] {
             max(zeros({2, 0}, sfix(8, 0)), 1);
         }},
        {"tolvane:array:complex", [&] { sort(z); }},
        {"tolvane:array:complex", [&] { sqrt(z, "s8,0"); }},
        {"tolvane:array:root", [&] { sqrt(-x, "s8,0"); }},
        {"tolvane:array:exponent", [&] { power(x, -1); }},
        {"tolvane:array:growth", [&] { power(x, 200); }},
        {"tolvane:array:constant", [&] { clip(x, 0, 0.1); }},
        {"tolvane:bits:length",
         [&] {
             and_bits(take(x, {0, 1}), wide);
         }},
        {"tolvane:bits:range", [&] { get_bit(x, 8); }},
        {"tolvane:bits:range", [&] { slice_bits(x, 1, 2); }},
        {"tolvane:bits:range", [&] { shift_right(x, -1); }},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(idOf(row.run), row.id) << &row - rows;
    }
    EXPECT_EQ(x, fixed_array({1, 2, 3, 4, 5, 6}, "s8,0").reshaped({2, 3})) << "nothing has changed";
}

}  // namespace
