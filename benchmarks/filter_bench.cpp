// Cascades of biquads, direct form 1, against loops on plain integers that an engineer would write for the same words.
//
// Four sections, signals of s16,15, coefficients of s18,16, 10^4 samples. Cases: "one cast", the output of each section
// to s16,15, nearest and saturating; "all nodes", products cut to s32,28, sums of s32,28 that wrap, input, states and
// output of s16,15; "long words", one cast with a signal of s32,31 and coefficients of s34,32. Variants: hand;
// hand+log, which notes ranges before and after, overflows and underflows of every cast; filter, sosfilt; filter+log,
// while a log lives. Words and counts are compared before a case is timed. An item is a sample of one section.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "benchmarks/ratio_report.h"
#include "program/tolvane.h"

namespace {

using namespace tolvane;
__extension__ typedef __int128 Int128;

constexpr std::size_t kSamples = 10000;
constexpr std::size_t kSections = 4;
constexpr std::array<double, 6> kSection{0.2, 0.4, 0.2, 1, -0.5, 0.3};

/// A cast of the hand-written loop: ties up or, without a half, cut off; saturating or wrapping.
template <class Int, bool kIsLogged>
struct HandCast {
    HandCast(const fixed_type& type, int fraction, bool rounds, bool wraps)
        : shift(fraction - type.fraction),
          half(rounds && shift > 0 ? Int{1} << (shift - 1) : 0),
          greatest((Int{1} << (type.bits - 1)) - 1),
          unused(static_cast<int>(sizeof(Int)) * 8 - type.bits),
          isWrapping(wraps) {}

    Int operator()(Int x) {
        const Int rounded = (x + half) >> shift;
        Int word;
        if (isWrapping) {
            word = static_cast<Int>(rounded << unused) >> unused;
        } else {
            word = std::clamp(rounded, static_cast<Int>(-greatest - 1), greatest);
        }
        if constexpr (kIsLogged) {
            leastBefore = std::min(leastBefore, x);
            greatestBefore = std::max(greatestBefore, x);
            leastAfter = std::min(leastAfter, word);
            greatestAfter = std::max(greatestAfter, word);
            overflows += word != rounded ? 1U : 0U;
            underflows += rounded == 0 && x != 0 ? 1U : 0U;
        }
        return word;
    }

    int shift;
    Int half;
    Int greatest;
    int unused;
    bool isWrapping;
    Int leastBefore = 0;
    Int greatestBefore = 0;
    Int leastAfter = 0;
    Int greatestAfter = 0;
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;
};

struct Words {
    fixed_type signal;
    fixed_type coefficients;
    bool hasAllNodes;
};
constexpr fixed_type kWide{true, 32, 28};

struct Outcome {
    std::vector<double> values;
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;
    friend bool operator==(const Outcome&, const Outcome&) = default;
};

template <class Int, bool kIsLogged>
struct HandSection {
    using Cast = HandCast<Int, kIsLogged>;
    explicit HandSection(const Words& words)
        : productCast(kWide, words.signal.fraction + words.coefficients.fraction, false, false),
          input(words.signal, words.signal.fraction, true, false),
          productB(productCast),
          productA(productCast),
          sumB(kWide, kWide.fraction, true, true),
          sumA(sumB),
          stateX(input),
          stateY(input),
          output(words.signal, words.hasAllNodes ? kWide.fraction : words.signal.fraction + words.coefficients.fraction,
                 true, false) {
        productB.isWrapping = productA.isWrapping = true;
        for (std::size_t i = 0; i < c.size(); ++i) {
            c[i] = static_cast<Int>(std::llround(std::ldexp(kSection[i], words.coefficients.fraction)));
        }
    }

    Int oneCast(Int x) {
        const Int y = output(c[0] * x + c[1] * x1 + c[2] * x2 - c[4] * y1 - c[5] * y2);
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        return y;
    }
    Int allNodes(Int in) {
        const Int x = input(in);
        Int sum = sumB(productB(c[0] * x));
        sum = sumB(sum + productB(c[1] * x1));
        sum = sumB(sum + productB(c[2] * x2));
        sum = sumA(sum - productA(c[4] * y1));
        sum = sumA(sum - productA(c[5] * y2));
        const Int y = output(sum);
        x2 = x1;
        x1 = stateX(x);
        y2 = y1;
        y1 = stateY(y);
        return y;
    }

    Cast productCast;
    Cast input;
    Cast productB;
    Cast productA;
    Cast sumB;
    Cast sumA;
    Cast stateX;
    Cast stateY;
    Cast output;
    std::array<Int, 6> c{};
    Int x1 = 0;
    Int x2 = 0;
    Int y1 = 0;
    Int y2 = 0;
};

template <class Int, bool kIsLogged>
void handLoop(const Words& words, const std::vector<std::int64_t>& x, std::vector<Int>& y, Outcome* outcome) {
    std::copy(x.begin(), x.end(), y.begin());
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;
    for (std::size_t s = 0; s < kSections; ++s) {
        HandSection<Int, kIsLogged> section(words);
        if (words.hasAllNodes) {
            for (Int& sample : y) {
                sample = section.allNodes(sample);
            }
        } else {
            for (Int& sample : y) {
                sample = section.oneCast(sample);
            }
        }
        benchmark::DoNotOptimize(section);
        overflows += section.output.overflows;
        underflows += section.output.underflows;
    }
    if (outcome) {
        outcome->overflows = overflows;
        outcome->underflows = underflows;
        for (const Int word : y) {
            outcome->values.push_back(std::ldexp(static_cast<double>(word), -words.signal.fraction));
        }
    }
}

filter_options optionsOf(const Words& words) {
    filter_options options;
    options.coefficients_b = options.coefficients_a = fixed_format(words.coefficients);
    options.section_output = fixed_format(words.signal, rounding::nearest, overflow::saturate, "output");
    if (words.hasAllNodes) {
        options.product_b = options.product_a = fixed_format(kWide, rounding::floor, overflow::wrap);
        options.sum_b = options.sum_a = fixed_format(kWide, rounding::nearest, overflow::wrap);
        options.section_input = options.state = fixed_format(words.signal);
    }
    return options;
}

template <class Int>
void add(const std::string& name, const Words& words) {
    std::vector<double> samples(kSamples);
    for (std::size_t n = 0; n < kSamples; ++n) {
        const auto t = static_cast<double>(n);
        samples[n] = 0.7 * std::sin(0.05 * t) + 0.29 * std::sin(2.1 * t);
    }
    const fixed_array x(samples, fixed_format(words.signal));
    const std::vector<std::int64_t> integers(x.words().begin(), x.words().end());
    const std::vector<std::array<double, 6>> sos(kSections, kSection);
    Outcome wanted;
    std::vector<Int> room(kSamples);
    handLoop<Int, true>(words, integers, room, &wanted);
    const auto add = [&](const char* variant, const auto& body) {
        benchmark::RegisterBenchmark((name + "/" + variant).c_str(), body)->MinTime(0.05)->Repetitions(7);
    };
    const auto hand = [&](auto run) {
        return [=](benchmark::State& state) {
            std::vector<Int> y(kSamples);
            for (auto _ : state) {
                run(words, integers, y, nullptr);
                benchmark::DoNotOptimize(y.data());
            }
            finish(state, kSamples * kSections);
        };
    };
    const auto filter = [&](bool isLogged) {
        return [=](benchmark::State& state) {
            std::optional<fixed_log> log;
            if (isLogged) {
                log.emplace();
            }
            const filter_options options = optionsOf(words);
            Outcome seen{sosfilt(sos, x, options).to_doubles(), wanted.overflows, wanted.underflows};
            if (log) {
                seen.overflows = seen.underflows = 0;
                for (const place_record& place : log->places()) {
                    const bool isOutput = place.name.ends_with("output");
                    seen.overflows += isOutput ? place.overflows : 0;
                    seen.underflows += isOutput ? place.underflows : 0;
                }
            }
            if (!(seen == wanted)) {
                state.SkipWithError("words or counts differ from the loop's");
                return;
            }
            for (auto _ : state) {
                benchmark::DoNotOptimize(sosfilt(sos, x, options));
            }
            finish(state, kSamples * kSections);
        };
    };
    add("hand", hand(&handLoop<Int, false>));
    add("hand+log", hand(&handLoop<Int, true>));
    add("filter", filter(false));
    add("filter+log", filter(true));
}

}  // namespace

int main(int argc, char** argv) {
    add<std::int64_t>("one cast", {{true, 16, 15}, {true, 18, 16}, false});
    add<std::int64_t>("all nodes", {{true, 16, 15}, {true, 18, 16}, true});
    add<Int128>("long words", {{true, 32, 31}, {true, 34, 32}, false});
    return runWithRatios(argc, argv);
}
