// Variables of a format in loops of one sample after another, against the same loop on plain integers.
//
// A case is the format of `acc` and those of its factors: acc = acc + b * x; with "y", y = acc follows into s16,15.
// Variants: hand, integers of 64 bits (128 where products need them) with a rounding and a bound; hand+log, the same
// noting what a log holds; scalar; scalar+log, while a log lives. The words and counts are compared before a case is
// timed. An item is one turn of the loop.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "benchmarks/ratio_report.h"
#include "program/tolvane.h"

namespace {

using namespace tolvane;
__extension__ typedef __int128 Int128;

constexpr std::size_t kTurns = 10000;
constexpr std::size_t kFactors = 64;  // that the loop takes in turn

struct Case {
    const char* name;
    fixed_type acc;
    fixed_type b;
    fixed_type x;
    bool hasY;
};
const Case kCases[] = {
    {"s32,28 + s16 s16", {true, 32, 28}, {true, 16, 15}, {true, 16, 15}, false},
    {"s40,30 + s18 s16", {true, 40, 30}, {true, 18, 17}, {true, 16, 15}, false},
    {"s40,30 + s18 s16, y", {true, 40, 30}, {true, 18, 17}, {true, 16, 15}, true},
    {"s64,50 + s32 s32", {true, 64, 50}, {true, 32, 31}, {true, 32, 31}, false},
    {"s100,80 + s48 s48", {true, 100, 80}, {true, 48, 47}, {true, 48, 47}, false},
    {"s100,80 + s48 s48, y", {true, 100, 80}, {true, 48, 47}, {true, 48, 47}, true},
};
constexpr fixed_type kOutput{true, 16, 15};

/// A place of the hand-written loop: ties up, saturating.
template <class Int, bool kIsLogged>
struct HandPlace {
    HandPlace(const fixed_type& type, int fraction)
        : shift(std::max(fraction - type.fraction, 0)),
          half(shift == 0 ? 0 : Int{1} << (shift - 1)),
          greatest((Int{1} << (type.bits - 1)) - 1) {}

    Int quantize(Int value) {
        const Int rounded = (value + half) >> shift;
        const Int word = std::clamp(rounded, static_cast<Int>(-greatest - 1), greatest);
        if constexpr (kIsLogged) {
            least = std::min(least, value);
            most = std::max(most, value);
            leastWord = std::min(leastWord, word);
            mostWord = std::max(mostWord, word);
            ++values;
            overflows += word != rounded ? 1U : 0U;
            underflows += rounded == 0 && value != 0 ? 1U : 0U;
        }
        return word;
    }

    int shift;
    Int half;
    Int greatest;
    Int least = 0;
    Int most = 0;
    Int leastWord = 0;
    Int mostWord = 0;
    std::uint64_t values = 0;
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;
};

std::vector<std::int64_t> factors(const fixed_type& type) {
    std::vector<std::int64_t> words(kFactors);
    std::uint64_t state = 1;
    for (std::int64_t& word : words) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        word = static_cast<std::int64_t>(state) >> (64 - type.bits);
    }
    return words;
}

struct Outcome {
    double acc = 0;
    double y = 0;
    std::uint64_t overflows = 0;
    friend bool operator==(const Outcome&, const Outcome&) = default;
};

template <class Int, bool kIsLogged>
Outcome handLoop(const Case& c, const std::vector<std::int64_t>& b, const std::vector<std::int64_t>& x) {
    const int product = c.b.fraction + c.x.fraction;
    const int unit = std::max(product, c.acc.fraction);
    const int up = unit - c.acc.fraction;
    const int productUp = unit - product;
    HandPlace<Int, kIsLogged> place(c.acc, unit);
    HandPlace<Int, kIsLogged> output(kOutput, c.acc.fraction);
    Int acc = 0;
    Int y = 0;
    for (std::size_t i = 0; i < kTurns; ++i) {
        acc = place.quantize((acc << up) + ((static_cast<Int>(b[i % kFactors]) * x[i % kFactors]) << productUp));
        if (c.hasY) {
            y = output.quantize(acc);
        }
        benchmark::DoNotOptimize(y);
    }
    benchmark::DoNotOptimize(place);
    benchmark::DoNotOptimize(output);
    return {exact_value(acc).to_double(), exact_value(y).to_double(), place.overflows};
}

struct ScalarLoop {
    explicit ScalarLoop(const Case& c)
        : acc(fixed_format(c.acc, rounding::nearest, overflow::saturate, "acc")), y(kOutput), b(c.b), x(c.x) {}
    fixed_scalar acc;
    fixed_scalar y;
    fixed_scalar b;
    fixed_scalar x;
};
Outcome scalarLoop(const Case& c, const std::vector<fixed_scalar>& b, const std::vector<fixed_scalar>& x) {
    ScalarLoop loop(c);
    for (std::size_t i = 0; i < kTurns; ++i) {
        loop.acc = loop.acc + b[i % kFactors] * x[i % kFactors];
        if (c.hasY) {
            loop.y = loop.acc;
        }
    }
    return {scaled(loop.acc, c.acc.fraction).exact().to_double(), scaled(loop.y, kOutput.fraction).exact().to_double(),
            0};
}

std::vector<fixed_scalar> variables(const std::vector<std::int64_t>& words, const fixed_type& type) {
    std::vector<fixed_scalar> made(words.size(), fixed_scalar(fixed_format(type)));
    for (std::size_t i = 0; i < words.size(); ++i) {
        made[i].set_word(words[i]);
    }
    return made;
}

template <class Int>
void add(const Case& c) {
    const auto b = std::make_shared<const std::vector<std::int64_t>>(factors(c.b));
    const auto x = std::make_shared<const std::vector<std::int64_t>>(factors(c.x));
    const auto vb = std::make_shared<const std::vector<fixed_scalar>>(variables(*b, c.b));
    const auto vx = std::make_shared<const std::vector<fixed_scalar>>(variables(*x, c.x));
    const auto run = [&](const char* variant, bool isLogged, const auto& loop) {
        const auto body = [=](benchmark::State& state) {
            std::optional<fixed_log> log;
            if (isLogged) {
                log.emplace();
            }
            Outcome seen = loop();
            const Outcome wanted = handLoop<Int, true>(c, *b, *x);
            seen.overflows = log ? log->place("acc").overflows : wanted.overflows;
            if (!(seen == wanted)) {
                state.SkipWithError("words or counts differ from the loop's");
                return;
            }
            for (auto _ : state) {
                benchmark::DoNotOptimize(loop());
            }
            finish(state, kTurns);
        };
        benchmark::RegisterBenchmark((std::string(c.name) + "/" + variant).c_str(), body)
            ->MinTime(0.05)
            ->Repetitions(7);
    };
    run("hand", false, [=] { return handLoop<Int, false>(c, *b, *x); });
    run("hand+log", false, [=] { return handLoop<Int, true>(c, *b, *x); });
    run("scalar", false, [=] { return scalarLoop(c, *vb, *vx); });
    run("scalar+log", true, [=] { return scalarLoop(c, *vb, *vx); });
}

}  // namespace

int main(int argc, char** argv) {
    for (const Case& c : kCases) {
        if (c.b.bits + c.x.bits < 62) {
            add<std::int64_t>(c);
        } else {
            add<Int128>(c);
        }
    }
    return runWithRatios(argc, argv);
}
