// Quantizing doubles and multi-precision values, against hand-written code of the same operation.
//
// Each case is a format, a rounding and an overflow mode and an array length. Its baseline "hand" is a plain loop over
// that one format, compiled for the processor's widest vectors and free of any count; "hand+log" is that loop with
// minimum, maximum and both counts in it. Variants: the array entrance with logging off and on, and the element path
// with logging off and on. Before a case is timed its results are compared with the baseline's, value by value.
#include <mpfr.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/ratio_report.h"
#include "benchmarks/vector_targets.h"
#include "benchmarks/wide_words.h"
#include "numbers/mpnumber.h"
#include "numbers/number.h"
#include "quantization/quantizer.h"

namespace {

using Round = embedded::RoundModeEnum;
using Overflow = embedded::OverflowModeEnum;

constexpr const char* kRoundNames[] = {"ceil", "convergent", "fix", "floor", "nearest", "round"};
constexpr const char* kOverflowNames[] = {"saturate", "wrap"};

struct Format {
    const char* name;
    bool isSigned;
    int wordBits;
    int fractionBits;
};
constexpr Format kFormats[] = {{"s16,15", true, 16, 15}, {"u24,20", false, 24, 20}};

// The baseline. The arithmetic is typical hand-written code for one format: scale, round, clamp or wrap.
struct HandFormat {
    double scale, inverse, greatest, least, modulus, inverseModulus;
};
struct HandLog {
    double greatest, least;
    std::uint64_t overflows, underflows;
};

template <Round round>
__attribute__((always_inline)) inline double handRound(double v) {
    if constexpr (round == Round::Ceil) {
        return std::ceil(v);
    }
    if constexpr (round == Round::Convergent) {
        return std::nearbyint(v);
    }
    if constexpr (round == Round::Fix) {
        return std::trunc(v);
    }
    if constexpr (round == Round::Floor) {
        return std::floor(v);
    }
    if constexpr (round == Round::Nearest) {
        return std::floor(v + 0.5);
    }
    if constexpr (round == Round::Round) {
        return std::trunc(v + std::copysign(0.5, v));
    }
}

template <Overflow overflow>
__attribute__((always_inline)) inline double handBound(double v, HandFormat f) {
    if constexpr (overflow == Overflow::Saturate) {
        v = v < f.greatest ? v : f.greatest;
        return v > f.least ? v : f.least;
    } else {
        return v - f.modulus * std::floor((v - f.least) * f.inverseModulus);
    }
}

template <Round round, Overflow overflow>
struct HandLoop {
    __attribute__((always_inline)) static void run(const double* in, double* out, std::size_t count, HandFormat f,
                                                   HandLog* log) {
        if (!log) {
            for (std::size_t i = 0; i < count; ++i) {
                out[i] = handBound<overflow>(handRound<round>(in[i] * f.scale), f) * f.inverse;
            }
            return;
        }
        // Sixteen of everything, so that the compiler can keep them in vectors.
        constexpr std::size_t kLanes = 16;
        double greatest[kLanes], least[kLanes];
        std::uint64_t overflows[kLanes] = {}, underflows[kLanes] = {};
        std::fill_n(greatest, kLanes, -std::numeric_limits<double>::infinity());
        std::fill_n(least, kLanes, std::numeric_limits<double>::infinity());
        auto step = [&](std::size_t i, std::size_t lane) __attribute__((always_inline)) {
            const double v = handRound<round>(in[i] * f.scale);
            const double y = handBound<overflow>(v, f);
            greatest[lane] = y > greatest[lane] ? y : greatest[lane];
            least[lane] = y < least[lane] ? y : least[lane];
            overflows[lane] += y != v;
            underflows[lane] += (v == 0.0) & (in[i] != 0.0);
            out[i] = y * f.inverse;
        };
        std::size_t i = 0;
        for (; i + kLanes <= count; i += kLanes) {
            for (std::size_t lane = 0; lane < kLanes; ++lane) {
                step(i + lane, lane);
            }
        }
        for (; i < count; ++i) {
            step(i, 0);
        }
        log->greatest = *std::max_element(greatest, greatest + kLanes) * f.inverse;
        log->least = *std::min_element(least, least + kLanes) * f.inverse;
        log->overflows = std::accumulate(overflows, overflows + kLanes, std::uint64_t{0});
        log->underflows = std::accumulate(underflows, underflows + kLanes, std::uint64_t{0});
    }
};

using HandFunction = void (*)(const double*, double*, std::size_t, HandFormat, HandLog*);

template <Round round, Overflow overflow>
HandFunction handFor() {
    return VectorTargets<HandLoop<round, overflow>, const double*, double*, std::size_t, HandFormat, HandLog*>::best();
}

template <Round round>
HandFunction handFor(Overflow overflow) {
    return overflow == Overflow::Saturate ? handFor<round, Overflow::Saturate>() : handFor<round, Overflow::Wrap>();
}

HandFunction handFor(Round round, Overflow overflow) {
    switch (round) {
        case Round::Ceil:
            return handFor<Round::Ceil>(overflow);
        case Round::Convergent:
            return handFor<Round::Convergent>(overflow);
        case Round::Fix:
            return handFor<Round::Fix>(overflow);
        case Round::Floor:
            return handFor<Round::Floor>(overflow);
        case Round::Nearest:
            return handFor<Round::Nearest>(overflow);
        case Round::Round:
            return handFor<Round::Round>(overflow);
    }
    return nullptr;
}

HandFormat handFormat(const Format& format) {
    const int top = format.wordBits - (format.isSigned ? 1 : 0);
    return {std::ldexp(1.0, format.fractionBits), std::ldexp(1.0, -format.fractionBits),
            std::ldexp(1.0, top) - 1.0,           format.isSigned ? -std::ldexp(1.0, top) : 0.0,
            std::ldexp(1.0, format.wordBits),     std::ldexp(1.0, -format.wordBits)};
}

// One value in twenty overflows and some underflow, as in a slightly overdriven signal.
std::vector<double> signal(std::size_t count, const Format& format) {
    std::mt19937_64 random(20250101);
    std::normal_distribution<double> normal(0.0, 0.5);
    const double range = std::ldexp(1.0, format.wordBits - format.fractionBits - (format.isSigned ? 1 : 0));
    std::vector<double> values(count);
    for (double& value : values) {
        const double x = normal(random);
        value = range * (format.isSigned ? x : std::abs(x));
    }
    return values;
}

struct Case {
    Format format;
    Round round;
    Overflow overflow;
    std::size_t count;

    quantizer makeQuantizer(bool logging) const {
        using Mode = embedded::QuantizerModeEnum;
        return quantizer(format.isSigned ? Mode::Fixed : Mode::Ufixed, round, overflow, format.wordBits,
                         format.fractionBits, "", embedded::OperationTypeEnum::Unspecified, logging);
    }
};

void runHand(benchmark::State& state, const Case& c, bool logging) {
    const std::vector<double> in = signal(c.count, c.format);
    std::vector<double> out(c.count);
    const HandFunction hand = handFor(c.round, c.overflow);
    const HandFormat format = handFormat(c.format);
    HandLog log{};
    for (auto iteration : state) {
        (void)iteration;
        hand(in.data(), out.data(), c.count, format, logging ? &log : nullptr);
        benchmark::DoNotOptimize(log);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    finish(state, c.count);
}

// Compares values and, when the quantizer logs, its extremes and counts of one pass.
bool sameAsHand(const Case& c, const std::vector<double>& in, const std::vector<double>& out, const quantizer& q) {
    std::vector<double> expected(c.count);
    HandLog log{};
    handFor(c.round, c.overflow)(in.data(), expected.data(), c.count, handFormat(c.format), &log);
    return expected == out && (!q.getQlogger().isLogging() ||
                               (q.getMax().todouble() == log.greatest && q.getMin().todouble() == log.least &&
                                q.getNoverflows() == log.overflows && q.getNunderflows() == log.underflows));
}

void runArray(benchmark::State& state, const Case& c, bool logging) {
    const std::vector<double> in = signal(c.count, c.format);
    std::vector<double> out(c.count);
    const quantizer q = c.makeQuantizer(logging);
    q.quantize(in, out);
    if (!sameAsHand(c, in, out, q)) {
        return state.SkipWithError("the array entrance and the hand-written loop differ");
    }
    for (auto iteration : state) {
        (void)iteration;
        q.quantize(in, out);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    finish(state, c.count);
}

void runElements(benchmark::State& state, const Case& c, bool logging) {
    const std::vector<double> in = signal(c.count, c.format);
    std::vector<double> out(c.count);
    const quantizer q = c.makeQuantizer(logging);
    number element(0.0, q.getPrecision(), false);
    auto pass = [&] {
        for (std::size_t i = 0; i < c.count; ++i) {
            element.setvalue(in[i]);
            out[i] = q.quantize(element).todouble();
        }
    };
    pass();
    if (!sameAsHand(c, in, out, q)) {
        return state.SkipWithError("the element path and the hand-written loop differ");
    }
    for (auto iteration : state) {
        (void)iteration;
        pass();
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    finish(state, c.count);
}

// 128-bit words: the same operations written directly on MPFR, on values that are copied in before each pass.
constexpr int kWideBits = 128;
constexpr int kWideFraction = 120;
constexpr std::size_t kWideCount = 1000;

WideArray wideValues() {
    WideArray values(kWideCount, kWideBits + 1);
    WideRandom random(7);
    for (std::size_t i = 0; i < kWideCount; ++i) {
        random.next(values[i]);
        mpfr_mul_2si(values[i], values[i], kWideBits - kWideFraction, MPFR_RNDN);
        mpfr_mul_d(values[i], values[i], 1.05, MPFR_RNDN);
    }
    return values;
}

void runWideHand(benchmark::State& state) {
    const WideArray in = wideValues();
    const DirectQuantizer direct(kWideBits, kWideFraction);
    WideArray x(1, kWideBits + 1);
    for (auto iteration : state) {
        (void)iteration;
        for (std::size_t i = 0; i < in.size(); ++i) {
            mpfr_set(x[0], in[i], MPFR_RNDN);
            direct.quantize(x[0]);
        }
        benchmark::ClobberMemory();
    }
    finish(state, kWideCount);
}

void runWideElements(benchmark::State& state) {
    const WideArray in = wideValues();
    const DirectQuantizer direct(kWideBits, kWideFraction);
    const quantizer q(embedded::QuantizerModeEnum::Fixed, Round::Nearest, Overflow::Saturate, kWideBits, kWideFraction,
                      "", embedded::OperationTypeEnum::Unspecified, false);
    mpnumber source(0.0, kWideBits);
    number element(0.0, kWideBits, true);
    mpfr_ptr target = static_cast<mpnumber&>(element.body()).getmodifiableelement();
    WideArray expected(1, kWideBits + 1);
    for (std::size_t i = 0; i < in.size(); ++i) {
        mpfr_set(expected[0], in[i], MPFR_RNDN);
        direct.quantize(expected[0]);
        mpfr_set(target, in[i], MPFR_RNDN);
        q.quantize(element);
        if (!mpfr_equal_p(target, expected[0])) {
            return state.SkipWithError("the wide element path and MPFR differ");
        }
    }
    for (auto iteration : state) {
        (void)iteration;
        for (std::size_t i = 0; i < in.size(); ++i) {
            mpfr_set(target, in[i], MPFR_RNDN);
            q.quantize(element);
        }
        benchmark::ClobberMemory();
    }
    finish(state, kWideCount);
}

void registerAll() {
    for (const Format& format : kFormats) {
        for (int overflow = 0; overflow < 2; ++overflow) {
            for (int round = 0; round < 6; ++round) {
                for (const std::size_t count : {std::size_t{1000}, std::size_t{1000000}}) {
                    const Case c{format, static_cast<Round>(round), static_cast<Overflow>(overflow), count};
                    const std::string name = std::string(format.name) + " " + kRoundNames[round] + " " +
                                             kOverflowNames[overflow] + " " + std::to_string(count) + "/";
                    auto add = [&](const char* variant, auto run) {
                        benchmark::RegisterBenchmark((name + variant).c_str(), run)->MinTime(0.05)->Repetitions(3);
                    };
                    add("hand", [c](benchmark::State& s) { runHand(s, c, false); });
                    add("hand+log", [c](benchmark::State& s) { runHand(s, c, true); });
                    add("array", [c](benchmark::State& s) { runArray(s, c, false); });
                    add("array+log", [c](benchmark::State& s) { runArray(s, c, true); });
                    if (count == 1000) {
                        add("element", [c](benchmark::State& s) { runElements(s, c, false); });
                        add("element+log", [c](benchmark::State& s) { runElements(s, c, true); });
                    }
                }
            }
        }
    }
    benchmark::RegisterBenchmark("s128,120 nearest saturate 1000/mpfr", runWideHand)->MinTime(0.1)->Repetitions(3);
    benchmark::RegisterBenchmark("s128,120 nearest saturate 1000/element", runWideElements)
        ->MinTime(0.1)
        ->Repetitions(3);
}

}  // namespace

int main(int argc, char** argv) {
    registerAll();
    return runWithRatios(argc, argv);
}
