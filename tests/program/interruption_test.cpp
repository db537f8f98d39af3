// Operations are ended by a function that they ask, and leave everything as it was.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "program/tolvane.h"
#include "tests/program/places.h"

namespace {

using namespace tolvane;

constexpr std::size_t kSide = 64;
constexpr std::size_t kCount = kSide * kSide;

struct Case {
    const char* name;
    std::function<void()> run;
};

/// Repeats an operation until its function ends it; gives the id, or what became of it.
std::string endOf(const std::function<void()>& run) {
    // Far more than a few milliseconds of any of them.
    constexpr int kMost = 200000;
    try {
        const interruption always([] { return true; });
        for (int i = 0; i < kMost; ++i) {
            run();
        }
    } catch (const error& e) {
        return e.id();
    }
    return "went on";
}

std::vector<double> ramp(std::size_t count) {
    std::vector<double> values;
    for (std::size_t i = 0; i < count; ++i) {
        values.push_back(static_cast<double>(i % 97) / 97.0 - 0.5);
    }
    return values;
}

class Interruption : public testing::Test {
 protected:
    fixed_array flat{ramp(kCount), "s16,15"};
    fixed_array square = flat.reshaped({kSide, kSide});
    fixed_array wide = cast(flat, "s300,280");
    fixed_array complex = complex_of(flat, flat);
    fixed_array taps{ramp(kSide), "s12,11"};
    std::vector<std::string> hex = to_hex(flat);
    std::vector<std::string> decimals = to_decimal(flat);
    std::vector<double> doubles = ramp(kCount);
    std::vector<bool> mask = is_less(flat, square.reshaped({kCount}));
    std::vector<std::int64_t> words{flat.words().begin(), flat.words().end()};
    index_list places = argsort(flat, 0);

    /// Writes words in a style, or reads them.
    Case writing(const char* name, word_style style) {
        return {name, [this, style] { words_text(wide, {.style = style}); }};
    }
    Case reading(const char* name, word_style style) {
        const std::string text = words_text(flat, {.style = style});
        return {name, [text, style] { words_from_text(text, {{"s16,15", false}}, {.style = style}); }};
    }
};

TEST_F(Interruption, EndsEveryOperation) {
    const sum_formats formats{fixed_format("s24,20 floor", "product"), fixed_format("s30,20 wrap", "sum")};
    const filter_options byIntegers{.section_output = fixed_format("s16,15", "y")};
    const filter_options byExact{.state = fixed_format("s300,290", "w"),
                                 .section_output = fixed_format("s200,190", "y")};
    const Case cases[] = {
        {"add", [&] { flat + flat; }},
        {"add wide", [&] { wide + flat; }},
        {"add repeated",
         [&] {
             square + square.reshaped({kCount}).reshaped({kSide, kSide}) + taps;
         }},
        {"multiply", [&] { flat* flat; }},
        {"multiply complex", [&] { complex* complex; }},
        {"multiply wide", [&] { wide* wide; }},
        {"cast", [&] { cast(wide, "s16,15"); }},
        {"quantize", [&] { fixed_array(doubles, "s16,15"); }},
        {"divide", [&] { divide(flat, full({kCount}, 0.75, "s8,7"), "s16,10"); }},
        {"divide wide", [&] { divide(wide, full({kCount}, 0.75, "s300,299"), "s300,200"); }},
        {"sqrt", [&] { sqrt(abs(wide), "u40,39"); }},
        {"convolve", [&] { conv(flat, taps); }},
        {"convolve by places", [&] { conv(complex, taps, formats); }},
        {"multiply matrices", [&] { matmul(square, square); }},
        {"multiply by terms", [&] { dot(flat, flat, formats); }},
        {"sum", [&] { sum(square, 0, formats); }},
        {"cumsum", [&] { cumsum(flat, "s30,15"); }},
        {"sort", [&] { sort(flat, 0); }},
        {"argmax", [&] { argmax(flat); }},
        {"max", [&] { max(wide); }},
        {"compare", [&] { is_less(wide, flat); }},
        {"where", [&] { where(mask, flat, wide); }},
        {"abs", [&] { abs(flat); }},
        {"round", [&] { round(wide, rounding::convergent); }},
        {"sign", [&] { sign(flat); }},
        {"any", [&] { any_of(flat); }},
        {"bits", [&] { slice_bits(wide, 20, 10); }},
        {"count bits", [&] { count_ones(wide); }},
        {"permute",
         [&] {
             permute(square, {1, 0});
         }},
        {"take", [&] { take(flat, places); }},
        {"to doubles", [&] { flat.to_doubles(); }},
        {"wide to doubles", [&] { wide.to_doubles(); }},
        {"from words", [&] { fixed_array::from_words(words, sfix(16, 15)); }},
        {"to hex", [&] { to_hex(wide); }},
        {"to decimal", [&] { to_decimal(wide); }},
        {"from hex", [&] { from_hex(hex, "s16,15"); }},
        {"from decimal", [&] { from_decimal(decimals, "s16,15"); }},
        writing("write memory", word_style::memory_hex),
        writing("write header", word_style::c_header),
        writing("write table", word_style::csv),
        reading("read memory", word_style::memory_bin),
        reading("read header", word_style::c_header),
        reading("read table", word_style::csv),
        {"filter",
         [&] {
             lfilter({{0.5, 0.25, 0.125}}, {{1.0, -0.5}}, flat, byIntegers);
         }},
        {"filter exactly",
         [&] {
             lfilter({{0.5, 0.25, 0.125}}, {{1.0, -0.5}}, flat, byExact);
         }},
        {"floats",
         [&] { add(cast(flat, float_format("fp16")), cast(flat, float_format("fp16")), float_format("fp16")); }},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(endOf(each.run), "tolvane:interrupted") << each.name;
    }
}

TEST_F(Interruption, LeavesArraysAndLogsAsTheyWere) {
    fixed_log log;
    const fixed_format place("s8,7", "place");
    EXPECT_EQ(endOf([&] { cast(flat, place); }), "tolvane:interrupted");
    if (!log.places().empty()) {
        EXPECT_EQ(log.place("place").values % kCount, 0U);  // of calls that came to their end
    }
    fixed_array target = flat;
    const fixed_array shared = target;
    const fixed_array high = full({kCount}, 0.25, "s40,30");
    EXPECT_EQ(endOf([&] {
                  put_slice(target, {index_range()}, high);
                  target = flat;
              }),
              "tolvane:interrupted");
    EXPECT_TRUE(target == flat || target == high);
    EXPECT_EQ(shared, flat);
}

TEST_F(Interruption, AsksAllFunctionsOfItsThreadAndNoOther) {
    int inner = 0;
    const auto run = [&] {
        const interruption never([&] {
            ++inner;
            matmul(square, square);  // doesn't ask in turn
            return false;
        });
        EXPECT_EQ(endOf([&] { matmul(square, square); }), "tolvane:interrupted");
        EXPECT_EQ(inner, 0);  // the last one ended it
    };
    run();
    const interruption outer([&] { return inner > 2; });
    const interruption counting([&] { return ++inner < 0; });
    std::thread([&] {
        for (int i = 0; i < 100; ++i) {
            matmul(square, square);
        }
    }).join();
    EXPECT_EQ(inner, 0);
    EXPECT_THROW(
        for (;;) { matmul(square, square); }, error);
    EXPECT_EQ(inner, 3);
}

TEST_F(Interruption, PassesWhatItsFunctionThrows) {
    const interruption throws([]() -> bool { throw std::logic_error("no time"); });
    EXPECT_THROW(
        for (;;) { conv(flat, taps); }, std::logic_error);
}

}  // namespace
