// Words as text and in files, against integers of GMP: what is written, what simulators write, and what is refused.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <complex>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "program/tolvane.h"
#include "tests/support/rational.h"

namespace {

using namespace tolvane;
using Texts = std::vector<std::string>;

/// An array and its words, as unsigned patterns; those of complex elements are imag * 2^bits + real.
struct Case {
    fixed_array array;
    std::vector<Integer> words;
    int bits = 0;
};

Case randomCase(Random& random, std::size_t count, int mostBits = 200) {
    const int bits = random.oneIn(2) ? random.between(1, 70) : random.between(1, mostBits);
    const fixed_type type{random.oneIn(2), bits, random.between(-5, 210)};
    const bool isComplex = random.oneIn(3);
    Case made;
    made.bits = bits * (isComplex ? 2 : 1);
    std::vector<exact_value> parts[2];
    for (std::size_t i = 0; i < count; ++i) {
        Integer word;
        for (int part = 0; part < (isComplex ? 2 : 1); ++part) {
            Integer value = random.integer(bits);
            word += value << static_cast<unsigned>(part * bits);
            if (type.is_signed && mpz_tstbit(value.get_mpz_t(), static_cast<mp_bitcnt_t>(bits - 1)) != 0) {
                value -= Integer(1) << static_cast<unsigned>(bits);
            }
            parts[part].push_back(exact_value(value.get_str()));
        }
        made.words.push_back(word);
    }
    const fixed_type whole{type.is_signed, bits, 0};
    made.array = fixed_array(parts[0], whole);
    if (isComplex) {
        const fixed_array unit(std::vector<std::complex<int>>{{0, 1}}, "s2,0");
        const fixed_array sum = made.array + fixed_array(parts[1], whole) * unit;
        made.array = cast(sum, whole);
    }
    made.array = scaled(made.array, -type.fraction);
    return made;
}

std::string digits(const Integer& word, int bits, int base, int digitBits) {
    const std::string text = word.get_str(base);
    return std::string(static_cast<std::size_t>((bits + digitBits - 1) / digitBits) - text.size(), '0') + text;
}

Rational rationalOf(const exact_value& value) {
    const std::string text = value.text();
    const std::size_t point = text.find('.');
    if (point == std::string::npos) {
        return Rational(text);
    }
    Rational parsed(text.substr(0, point) + text.substr(point + 1) + "/1" + std::string(text.size() - point - 1, '0'),
                    10);
    parsed.canonicalize();
    return parsed;
}

TEST(WordTexts, AreDigitsOfTheWordsAndReadBack) {
    Random random(1711);
    for (int round = 0; round < 400; ++round) {
        const Case c = randomCase(random, static_cast<std::size_t>(random.between(0, 5)));
        const fixed_type& type = c.array.type();
        Texts hex;
        Texts bin;
        Texts oct;
        for (const Integer& word : c.words) {
            hex.push_back(digits(word, c.bits, 16, 4));
            bin.push_back(digits(word, c.bits, 2, 1));
            oct.push_back(digits(word, c.bits, 8, 3));
        }
        ASSERT_EQ(to_hex(c.array), hex) << c.array;
        ASSERT_EQ(to_bin(c.array), bin) << c.array;
        ASSERT_EQ(to_oct(c.array), oct) << c.array;
        const bool isComplex = c.array.is_complex();
        ASSERT_EQ(from_hex(hex, type, isComplex), c.array);
        ASSERT_EQ(from_bin(bin, type, isComplex), c.array);
        ASSERT_EQ(from_oct(oct, type, isComplex), c.array);
        if (!isComplex) {
            ASSERT_EQ(from_decimal(to_decimal(c.array), type), c.array);
        }
    }
    EXPECT_THROW(from_oct(Texts{"2000000000000000000000"}, "u64"), error);  // 2^64
    EXPECT_THROW(from_hex(Texts{""}, "u8"), error);
    EXPECT_THROW(from_hex(Texts{"1 2"}, "u8"), error);
}

TEST(WordTexts, OfDecimalsAreRoundedOnce) {
    const struct {
        rounding mode;
        Rounding rule;
    } kModes[] = {{rounding::ceil, Rounding::ceil},          {rounding::floor, Rounding::floor},
                  {rounding::toward_zero, Rounding::fix},    {rounding::nearest, Rounding::nearest},
                  {rounding::nearest_away, Rounding::round}, {rounding::convergent, Rounding::convergent}};
    Random random(1712);
    for (int round = 0; round < 1000; ++round) {
        // Ties, and numbers that differ from ties in a late digit.
        const int fraction = random.between(0, 12);
        const int places = fraction + random.between(1, 3);
        Integer ten;
        mpz_ui_pow_ui(ten.get_mpz_t(), 10, static_cast<unsigned>(places + 20));
        Rational value = scaled(Rational(2 * random.between(-50, 50) + 1), -fraction - 1);
        value += Rational(random.between(-1, 1)) / Rational(ten);
        const Integer number = Rational(value * Rational(ten)).get_num();
        const std::string text = number.get_str() + "e-" + std::to_string(places + 20);
        const auto [mode, rule] = kModes[random.between(0, 5)];
        const fixed_array seen = from_decimal(Texts{text}, fixed_format(sfix(20, fraction), mode));
        const Integer wanted = rounded(scaled(value, fraction), rule);
        ASSERT_EQ(rationalOf(seen.at(0)), scaled(Rational(wanted), -fraction)) << text << " in s20," << fraction;
    }
    EXPECT_EQ(from_decimal(Texts{"0.1", "-1e-90", "7"}, "s8,6 floor").words()[1], -1);
}

TEST(WordFiles, HoldSeveralSignalsAndReadBackInAnyDress) {
    Random random(1713);
    for (int round = 0; round < 300; ++round) {
        const auto count = static_cast<std::size_t>(random.between(1, 600 / (1 + round % 40)));
        std::vector<fixed_array> arrays;
        std::vector<word_signal> signals;
        std::vector<Integer> words(count);
        int bits = 0;
        for (int k = random.between(1, 3); k > 0; --k) {
            const Case c = randomCase(random, count, 120);
            arrays.push_back(c.array.named("x" + std::to_string(k)));
            signals.push_back({fixed_format(c.array.type()).named(arrays.back().name()), c.array.is_complex()});
            for (std::size_t i = 0; i < count; ++i) {
                words[i] = (words[i] << static_cast<unsigned>(c.bits)) + c.words[i];
            }
            bits += c.bits;
        }
        const bool isHex = random.oneIn(2);
        word_options options{.style = isHex ? word_style::memory_hex : word_style::memory_bin};
        options.describe = false;
        std::string plain;
        Texts dressed;
        for (std::size_t i = 0; i < count; ++i) {
            std::string word = digits(words[i], bits, isHex ? 16 : 2, isHex ? 4 : 1);
            plain += word + "\n";
            if (random.oneIn(3)) {
                std::ranges::transform(word, word.begin(), [](char c) { return static_cast<char>(std::toupper(c)); });
                word.insert(static_cast<std::size_t>(random.between(1, static_cast<int>(word.size()))), "__");
            }
            static constexpr const char* kBetween[] = {"\n",         "\r\n",    " // 0x12 xz\n",
                                                       "/* @3 \n*/", "\t \v\f", "//\r\n"};
            std::ostringstream line;
            line << '@' << std::hex << i + 32 << '\n' << word << random.pick(kBetween);
            dressed.push_back(line.str());
        }
        ASSERT_EQ(words_text(arrays, options), plain);
        ASSERT_EQ(words_from_text(plain, signals, options), arrays);
        std::string text = "\xEF\xBB\xBF";
        while (!dressed.empty()) {
            const auto at = static_cast<std::size_t>(random.between(0, static_cast<int>(dressed.size()) - 1));
            text += dressed[at];
            dressed.erase(dressed.begin() + static_cast<std::ptrdiff_t>(at));
        }
        options.first_address = 32;
        ASSERT_EQ(words_from_text(text, signals, options), arrays) << text;
        options = {.style = options.style, .first_address = 7, .address_every = 3, .values = true, .comment = "a\nb\\"};
        ASSERT_EQ(words_from_text(words_text(arrays, options), signals, options), arrays);
        for (const word_style style : {word_style::c_header, word_style::csv}) {
            options.style = style;
            ASSERT_EQ(words_from_text(words_text(arrays, options), signals, options), arrays)
                << words_text(arrays, options);
        }
        std::stringstream stream;
        write_words(stream, arrays);
        ASSERT_EQ(read_words(stream, signals), arrays);
    }
}

TEST(WordFiles, LookAsCAndSpreadsheetsExpect) {
    const fixed_array wide(std::vector<exact_value>{exact_value(-2), exact_value(1)}, "s65,0", "wide");
    const fixed_array z(std::vector<std::complex<double>>{{0.5, -1}, {-0.25, 0}}, "s8,7", "z");
    const std::vector<std::int64_t> ends{std::numeric_limits<std::int64_t>::min(), -1};
    const fixed_array least = fixed_array::from_words(ends, sfix(64, 0));
    EXPECT_EQ(words_text({wide, z}, {.style = word_style::c_header, .comment = "by hand", .name = "both"}),
              "// by hand\n#ifndef BOTH_H\n#define BOTH_H\n\n#include <stdint.h>\n\n"
              "/* s65,0: value = word * 2^0; the lowest 32 bits of a word come first */\n"
              "static const uint32_t wide[2][3] = {\n    {0xfffffffe, 0xffffffff, 0xffffffff}, {0x1, 0x0, 0x0},\n};\n\n"
              "/* s8,7 complex, {real, imag}: value = word * 2^-7 */\n"
              "static const int8_t z[2][2] = {\n    {64, -128}, {-32, 0},\n};\n\n#endif\n");
    EXPECT_EQ(words_text({wide, z, least}, {.style = word_style::csv}),
              "wide,z.re,z.im,words_2\n-2,64,-128,-9223372036854775808\n1,-32,0,-1\n");
}

/// The error of reading a text, "id: text".
std::string errorOf(std::string_view text, const word_signal& signal, const word_options& options) {
    try {
        words_from_text(text, {signal}, options);
    } catch (const error& e) {
        return e.id() + ": " + e.what();
    }
    return "none";
}

TEST(WordFiles, SayWhatIsWrongAndWhere) {
    const word_signal s12{fixed_format("s12,0")};
    const word_signal wide{fixed_format("u77,0")};
    const word_signal named{fixed_format("s12,0", "x")};
    constexpr auto kHex = word_style::memory_hex;
    constexpr auto kBin = word_style::memory_bin;
    constexpr auto kCsv = word_style::csv;
    constexpr auto kC = word_style::c_header;
    const struct {
        std::string text;
        word_signal signal;
        word_style style;
        std::string wanted;
    } rows[] = {
        {"001\n00x // y", s12, kHex, "tolvane:words:text: Line 2, column 3: \"00x\" has unknown bits"},
        {"001 /*\r\n*/ Z", s12, kHex, "tolvane:words:text: Line 2, column 4: \"Z\" has unknown bits"},
        {"  0g1", s12, kHex, "tolvane:words:text: Line 1, column 4: \"0g1\" is no hexadecimal word: 'g'"},
        {"0001", s12, kHex, "tolvane:words:text: Line 1, column 4: \"0001\" has more than the 3 hexadecimal digits"},
        {"_1", s12, kHex, "column 1: \"_1\" is no"},
        {"-1", s12, kHex, "column 1: \"-1\" is no"},
        {"1\xFF", s12, kHex, "column 2: \"1\xFF\" is no hexadecimal word: the byte 255"},
        {"012", s12, kBin, "column 3: \"012\" is no binary word: '2'"},
        {"1000000000000", s12, kBin, "column 13: \"1000000000000\" has more than the 12 binary"},
        {"20000000000000000000", wide, kHex, "column 1: \"20000000000000000000\" is beyond a word of 77 bits"},
        {"012345678901234567890", wide, kHex, "column 21: \"012345678901234567890\" has more than the 20"},
        {"1 /* 2", s12, kHex, "column 3: This comment has no end"},
        {"1 / 2", s12, kHex, "column 3: A single \"/\""},
        {"@ 1", s12, kHex, "column 1: \"@\" stands before"},
        {"@10000000000000000", s12, kHex, "column 18: The address"},
        {"@0 1 2 @1 3", s12, kHex, "column 8: There are words for the address 0x1 twice"},
        {"1\n@3 2", s12, kHex, "tolvane:words:gap: Line 2, column 1: There are no words for the addresses 0x1 to 0x2"},
        {"@ffffffffffffffff 1 2", s12, kHex, "tolvane:words:gap: "},
        {"x\n1\n1.5", s12, kCsv, "Line 3, column 2: \"1.5\" is no decimal word"},
        {"2048", s12, kCsv, "Line 1, column 1: \"2048\" is no word of s12,0"},
        {"-2049", s12, kCsv, "\"-2049\" is no word"},
        {"151115727451828646838272", wide, kCsv, "is no word of u77,0"},
        {"1,2", s12, kCsv, "Line 1, column 1: This line has 2 fields, and not 1"},
        {"a,b\n1,2", named, kCsv, "tolvane:words:name: Line 1, column 1: There is no column \"x\" among \"a\", \"b\""},
        {"int x[] = {1, 4096};", s12, kC, "column 15: \"4096\" is no word"},
        {"int x[] = {010};", s12, kC, "column 12: \"010\" is no decimal"},
        {"int x[] = {1", s12, kC, "column 11: This brace isn't closed"},
        {"int y[] = {1};", named, kC, "There is no array \"x\""},
        {"uint32_t x[] = {1, 2};", wide, kC, "no whole elements; each takes 3"},
    };
    for (const auto& row : rows) {
        const std::string seen = errorOf(row.text, row.signal, {.style = row.style});
        EXPECT_NE(seen.find(row.wanted), std::string::npos) << row.text << "\n" << seen;
    }
    const word_options filled{.fill_gaps = true};
    EXPECT_EQ(words_from_text("@2 1\n@5 fff", "s12,0", filled), fixed_array({0, 0, 1, 0, 0, -1}, "s12,0"));
    EXPECT_NE(errorOf("@ffffffffff 1", s12, filled).find("tolvane:words:gap"), std::string::npos);
    EXPECT_EQ(words_from_text("a;\"x\"\r\n7; -1 \r\n\r\n8;\"2\"", std::vector{named}, {.style = kCsv}).front(),
              fixed_array({-1, 2}, "s12,0"));
    EXPECT_EQ(words_from_text("", "s12,0").size(), 0U);
    const std::vector<fixed_array> twice{fixed_array({1}, "s8,0", "a"), fixed_array({1}, "s8,0", "a")};
    EXPECT_THROW(words_text(twice, {.style = kCsv}), error);
    EXPECT_THROW(words_text(twice[0].named("a b"), {.style = kC}), error);
    EXPECT_THROW(words_text({twice[0], fixed_array({1, 2}, "s8,0")}), error);
    EXPECT_THROW(words_text(std::vector<fixed_array>()), error);
}

TEST(WordFiles, TakeBytesOfAnyKind) {
    Random random(1714);
    static constexpr std::string_view kBytes[] = {"0", "1", "f", "x", "_", "@", "/",  "*",  "\n", "\r", " ", "\"",  ",",
                                                  "-", "{", "}", "=", "[", "#", "//", "/*", "*/", "u",  "a", "\xFF"};
    const std::vector<word_signal> signals{{"s5,0"}, {fixed_format("u70,3", "a"), true}};
    const std::vector<word_signal> one{{"s5,0"}};
    int accepted = 0;
    for (int round = 0; round < 15000; ++round) {
        std::string text = random.oneIn(4) ? "a[]={" : "";
        for (int n = random.between(0, 12); n > 0; --n) {
            text += random.oneIn(2) ? random.pick(std::string_view("0101 \n")) + std::string()
                                    : std::string(random.pick(kBytes));
        }
        text += text.starts_with("a[") && random.oneIn(2) ? "};" : "";
        for (int style = 0; style < 4; ++style) {
            const word_options options{.style = static_cast<word_style>(style), .fill_gaps = random.oneIn(2)};
            try {
                words_from_text(text, random.oneIn(2) ? one : signals, options);
                ++accepted;
            } catch (const error& e) {
                ASSERT_TRUE(e.id().starts_with("tolvane:words:")) << e.id() << "\n" << text;
            }
        }
    }
    EXPECT_GT(accepted, 5000);
}

std::string contentsOf(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

TEST(WordFiles, ThatCantBeWrittenStayAsTheyWere) {
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("words_" + std::to_string(::getpid()));
    std::filesystem::create_directory(folder);
    const fixed_array x({0.5, -0.25}, "s8,7", "x");
    for (const char* const name : {"x.hex", "x.bin", "x.csv", "x.h"}) {
        write_words(folder / name, x);
        EXPECT_EQ(read_words(folder / name, "s8,7"), x) << name;
    }
    EXPECT_EQ(contentsOf(folder / "x.hex"), "// x: s8,7\n40\ne0\n");
    EXPECT_EQ(contentsOf(folder / "x.bin"), "// x: s8,7\n01000000\n11100000\n");
    // Headers of several arrays can be included side by side.
    for (const auto& [name, guard] : {std::pair("bench.h", "BENCH_H"), std::pair("2 runs.tb.h", "WORDS_2_RUNS_TB_H")}) {
        write_words(folder / name, {x, x.named("y")});
        EXPECT_TRUE(contentsOf(folder / name).starts_with(std::string("#ifndef ") + guard + '\n')) << name;
    }

    ::chmod((folder / "x.hex").c_str(), 0640);
    std::filesystem::create_symlink("x.hex", folder / "link.hex");
    write_words(folder / "link.hex", -x);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.hex"));
    EXPECT_EQ(read_words(folder / "x.hex", "s9,7"), -x);
    struct stat state {};
    ::stat((folder / "x.hex").c_str(), &state);
    EXPECT_EQ(state.st_mode & 0777U, 0640U);

    // A limit on the length of files stops the write in its middle.
    const std::string old = contentsOf(folder / "x.hex");
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit usual{};
    ::getrlimit(RLIMIT_FSIZE, &usual);
    const rlimit small{100000, usual.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    std::string seen;
    try {
        write_words(folder / "x.hex", fixed_array::zeros({100000}, sfix(16, 15)));
    } catch (const error& e) {
        seen = e.id() + ": " + e.what();
    }
    ::setrlimit(RLIMIT_FSIZE, &usual);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(seen, "tolvane:words:file: \"" + (folder / "x.hex").string() + "\" can't be written: File too large.");
    EXPECT_EQ(contentsOf(folder / "x.hex"), old);
    EXPECT_THROW(write_words(folder / "none" / "x.hex", x), error);
    EXPECT_THROW(write_words(folder.string(), x), error);
    EXPECT_THROW(read_words(folder / "none.hex", "s8,7"), error);
    EXPECT_THROW(read_words(folder, "s8,7"), error);
    std::ofstream(folder / "bad.hex") << "00\n0q";
    try {
        read_words(folder / "bad.hex", "s8,7");
        FAIL();
    } catch (const error& e) {
        EXPECT_TRUE(std::string(e.what()).starts_with((folder / "bad.hex").string() + ":2:2: ")) << e.what();
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 8);  // nothing is left beside them
    std::filesystem::remove_all(folder);
}

}  // namespace
