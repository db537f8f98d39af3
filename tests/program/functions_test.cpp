// Functions over arrays: shapes against index arithmetic, bits against texts of bits, numbers against rationals.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "program/tolvane.h"
#include "tests/support/rational.h"

namespace {

using namespace tolvane;

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

template <class Run>
std::string idOf(const Run& run) {
    try {
        run();
    } catch (const error& met) {
        return met.id();
    }
    return "";
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
    put(changed, {0}, fixed_array({1.0}, "s8,1"));
    EXPECT_EQ(changed.imag().at(0), exact_value(0));
    EXPECT_EQ(z.imag().at(0), exact_value(2)) << "copies are separate";
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
