// Whole arrays of the interface for programs, against loops on plain 64-bit integers into fresh memory.
//
// 10^4 elements. Cases are an operation and the bits of its operands: plus, times, scaled by a variable (one element
// times all), cast to half the fraction (nearest, saturating), from doubles. Variants: hand; array;
// array+log, while a log lives. Results are compared before a case is timed.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "benchmarks/ratio_report.h"
#include "program/tolvane.h"

namespace {

using namespace tolvane;
using Words = std::vector<std::int64_t>;

constexpr std::size_t kCount = 10000;

struct Case {
    std::string name;
    std::function<Words()> hand;
    std::function<fixed_array()> array;
};

void add(const Case& c) {
    const auto add = [&](const char* variant, const auto& body) {
        benchmark::RegisterBenchmark((c.name + "/" + variant).c_str(), body)->MinTime(0.05)->Repetitions(5);
    };
    add("hand", [=](benchmark::State& state) {
        for (auto _ : state) {
            benchmark::DoNotOptimize(c.hand());
        }
        finish(state, kCount);
    });
    for (const bool isLogged : {false, true}) {
        add(isLogged ? "array+log" : "array", [=](benchmark::State& state) {
            std::optional<fixed_log> log;
            if (isLogged) {
                log.emplace();
            }
            if (!std::ranges::equal(c.array().words(), c.hand())) {
                state.SkipWithError("words differ from the loop's");
                return;
            }
            for (auto _ : state) {
                benchmark::DoNotOptimize(c.array());
            }
            finish(state, kCount);
        });
    }
}

void addCases(int bits) {
    const fixed_type type = sfix(bits, bits - 1);
    std::vector<double> samples(kCount);
    for (std::size_t i = 0; i < kCount; ++i) {
        samples[i] = 0.9 * std::sin(0.37 * static_cast<double>(i));
    }
    const fixed_array a(samples, type);
    const fixed_array b(samples, type);
    const fixed_array one({0.5}, type);
    const Words x(a.words().begin(), a.words().end());
    const std::string suffix = " " + std::to_string(bits);
    const auto mapped = [](const Words& from, const auto& step) {
        Words made(from.size());
        std::ranges::transform(from, made.begin(), step);
        return made;
    };
    add({"plus" + suffix, [=] { return mapped(x, [](std::int64_t v) { return v + v; }); }, [=] { return a + b; }});
    if (2 * bits <= 64) {
        add({"times" + suffix, [=] { return mapped(x, [](std::int64_t v) { return v * v; }); }, [=] { return a * b; }});
        const std::int64_t factor = one.words()[0];
        add({"scaled" + suffix, [=] { return mapped(x, [=](std::int64_t v) { return v * factor; }); },
             [=] { return a * one; }});
    }
    const fixed_format half(sfix(bits, bits / 2));
    const int shift = bits - 1 - bits / 2;
    add({"cast" + suffix,
         [=] {
             const std::int64_t greatest = (std::int64_t{1} << (bits - 1)) - 1;
             return mapped(x, [=](std::int64_t v) {
                 return std::clamp((v + (std::int64_t{1} << (shift - 1))) >> shift, -greatest - 1, greatest);
             });
         },
         [=] { return cast(a, half); }});
    add({"from doubles" + suffix,
         [=] {
             Words made(kCount);
             const double scale = std::ldexp(1.0, bits - 1);
             std::ranges::transform(samples, made.begin(), [=](double v) {
                 return static_cast<std::int64_t>(std::clamp(std::floor(v * scale + 0.5), -scale, scale - 1));
             });
             return made;
         },
         [=] { return fixed_array(samples, type); }});
}

}  // namespace

int main(int argc, char** argv) {
    keepFreedMemory();
    for (const int bits : {16, 32, 48}) {
        addCases(bits);
    }
    return runWithRatios(argc, argv);
}
