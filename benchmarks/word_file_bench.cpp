// Words as text, against loops written by hand for words of 16 bits.
//
// Cases "write" and "read" of each style; a million words of s16,15, to a text in memory and from it. Variants:
//     hand       the digits of one word after the other into a text that has room, and back without any check
//     words      words_text and words_from_text
// Texts and words are compared before anything is timed.
#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/ratio_report.h"
#include "program/tolvane.h"

namespace {

using namespace tolvane;

constexpr std::size_t kCount = 1000000;
constexpr std::size_t kMostCharacters = 24;

struct Style {
    const char* name;
    word_style style;
};
constexpr Style kStyles[] = {{"hex 1000000", word_style::memory_hex},
                             {"binary 1000000", word_style::memory_bin},
                             {"csv 1000000", word_style::csv},
                             {"c 1000000", word_style::c_header}};

std::vector<std::int64_t> someWords() {
    std::mt19937 random(1);
    std::vector<std::int64_t> words(kCount);
    for (std::int64_t& word : words) {
        word = static_cast<std::int16_t>(random());
    }
    return words;
}

word_options optionsFor(word_style style) {
    word_options options{.style = style};
    options.describe = false;
    return options;
}

/// The words of the style alone, without what a file has around them.
char* writeByHand(const std::vector<std::int64_t>& words, word_style style, char* out) {
    const auto digitBits = style == word_style::memory_hex ? 4U : 1U;
    for (const std::int64_t word : words) {
        if (style == word_style::memory_hex || style == word_style::memory_bin) {
            for (unsigned bit = 16; bit > 0;) {
                bit -= digitBits;
                *out++ = "0123456789abcdef"[static_cast<std::uint64_t>(word) >> bit & ((1U << digitBits) - 1)];
            }
        } else {
            out = std::to_chars(out, out + kMostCharacters, word).ptr;
            if (style == word_style::c_header) {
                *out++ = ',';
            }
        }
        *out++ = '\n';
    }
    return out;
}

void readByHand(const std::string& text, word_style style, std::vector<std::int64_t>& words) {
    const int base = style == word_style::memory_hex ? 16 : style == word_style::memory_bin ? 2 : 10;
    const char* at = text.data();
    for (std::int64_t& word : words) {
        std::int32_t value = 0;
        at = std::from_chars(at, text.data() + text.size(), value, base).ptr;
        at += style == word_style::c_header ? 2 : 1;
        word = static_cast<std::int16_t>(value);
    }
}

std::string textByHand(const std::vector<std::int64_t>& words, word_style style) {
    std::string text(words.size() * kMostCharacters, '\0');
    text.resize(static_cast<std::size_t>(writeByHand(words, style, text.data()) - text.data()));
    return text;
}

void finish(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kCount));
}

void writeWords(benchmark::State& state, word_style style, bool byHand) {
    const std::vector<std::int64_t> words = someWords();
    const fixed_array x = fixed_array::from_words(words, sfix(16, 15));
    const std::string text = textByHand(words, style);
    const bool isMemory = style == word_style::memory_hex || style == word_style::memory_bin;
    if (isMemory && words_text(x, optionsFor(style)) != text) {
        state.SkipWithError("another text");
    }
    for (auto iteration : state) {
        (void)iteration;
        benchmark::DoNotOptimize(byHand ? textByHand(words, style) : words_text(x, optionsFor(style)));
    }
    finish(state);
}

void readWords(benchmark::State& state, word_style style, bool byHand) {
    const std::vector<std::int64_t> words = someWords();
    const fixed_array x = fixed_array::from_words(words, sfix(16, 15));
    const std::string text = textByHand(words, style);
    const std::string whole = words_text(x, optionsFor(style));
    std::vector<std::int64_t> out(kCount);
    readByHand(text, style, out);
    if (out != words || !(words_from_text(whole, sfix(16, 15), optionsFor(style)) == x)) {
        state.SkipWithError("other words");
    }
    for (auto iteration : state) {
        (void)iteration;
        if (byHand) {
            readByHand(text, style, out);
            benchmark::DoNotOptimize(out.data());
        } else {
            benchmark::DoNotOptimize(words_from_text(whole, sfix(16, 15), optionsFor(style)));
        }
    }
    finish(state);
}

}  // namespace

int main(int argc, char** argv) {
    for (const Style& style : kStyles) {
        for (const bool isWrite : {true, false}) {
            for (const bool byHand : {true, false}) {
                const std::string name = std::string(isWrite ? "write " : "read ") + style.name;
                benchmark::RegisterBenchmark((name + (byHand ? "/hand" : "/words")).c_str(),
                                             isWrite ? writeWords : readWords, style.style, byHand)
                    ->UseRealTime();
            }
        }
    }
    return runWithRatios(argc, argv);
}
