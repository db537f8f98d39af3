// "quantizenumeric" of both classes against loops written by hand, and serial against parallel.
//
// Cases: doubles into s16,15, nearest, saturate, of which one in twenty or so is out of range; 10^3, 10^6, 10^7.
//     in place     an array that is there already: the hand-written loop, the same by words (vectors, in fact) in one
//                  thread and in parallel, and a quantizer, which keeps the sign of zeros
//     call         a fresh result for each call: the hand-written loop, then session calls of the method of class "fi"
//                  with its switch off and on, and of class "quantizer" without and with logging (the baseline of that
//                  does not count)
//     chunks       s1200,600, where the words themselves are used: serial and parallel, no baseline but serial
// Cases of saving and loading are in saved_cases.cpp. Results are compared with the baseline's before anything is
// timed. Time is real time, since threads share the work.
#include <benchmark/benchmark.h>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/ratio_report.h"
#include "benchmarks/saved_cases.h"
#include "benchmarks/vector_targets.h"
#include "host/reference/Session.h"
#include "quantization/quantize_numeric.h"
#include "quantization/quantizer.h"

namespace {

using EmbeddedTypeSystem::NumericType;
using hostref::Session;
using hostref::Value;

constexpr auto kNearest = embedded::RoundModeEnum::Nearest;
constexpr auto kSaturate = embedded::OverflowModeEnum::Saturate;

// What an engineer would write for s16,15 with nearest and saturate.
struct HandLoop {
    __attribute__((always_inline)) static void run(const double* in, double* out, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            double v = std::floor(in[i] * 32768.0 + 0.5);
            v = v < 32767.0 ? v : 32767.0;
            v = v > -32768.0 ? v : -32768.0;
            out[i] = v * (1.0 / 32768.0);
        }
    }
};

void hand(const double* in, double* out, std::size_t count) {
    static const auto kRun = VectorTargets<HandLoop, const double*, double*, std::size_t>::best();
    kRun(in, out, count);
}

const std::vector<double>& signal(std::size_t count) {
    static std::vector<double> values;
    if (values.size() != count) {
        std::mt19937_64 random(1);
        std::normal_distribution<double> normal(0.0, 0.5);
        values.resize(count);
        std::ranges::generate(values, [&] { return normal(random); });
    }
    return values;
}

std::vector<double> handResults(const std::vector<double>& values) {
    std::vector<double> results(values.size());
    hand(values.data(), results.data(), values.size());
    return results;
}

/// Times an action that fills an array, after its results were verified.
void timeInPlace(benchmark::State& state, const std::vector<double>& wanted,
                 const std::function<void(std::vector<double>& out)>& action) {
    std::vector<double> out(wanted.size());
    action(out);
    if (out != wanted) {
        return state.SkipWithError("the results differ from the baseline's");
    }
    for (auto iteration : state) {
        (void)iteration;
        action(out);
        benchmark::ClobberMemory();
    }
    finish(state, wanted.size());
}

/// As above, for an action that returns a new array.
template <class Action>
void timeCalls(benchmark::State& state, const std::vector<double>& wanted, const Action& action) {
    if (action().toDoubles() != wanted) {
        return state.SkipWithError("the results differ from the baseline's");
    }
    for (auto iteration : state) {
        (void)iteration;
        benchmark::DoNotOptimize(action());
        benchmark::ClobberMemory();
    }
    finish(state, wanted.size());
}

quantizer makeQuantizer(bool logs) {
    return quantizer(NumericType(true, 16, 15), kNearest, kSaturate, "", embedded::OperationTypeEnum::Unspecified,
                     logs);
}

void runInPlace(benchmark::State& state, std::size_t count, const std::string& variant) {
    const std::vector<double>& values = signal(count);
    const NumericType type(true, 16, 15);
    const quantizer q = makeQuantizer(false);
    timeInPlace(state, handResults(values), [&](std::vector<double>& out) {
        if (variant == "hand") {
            hand(values.data(), out.data(), count);
        } else if (variant == "quantizer") {
            q.quantize(values, out);
        } else {
            quantizeThroughWords(values, out, type, kNearest, kSaturate, variant == "parallel");
        }
    });
}

void runHandCalls(benchmark::State& state, std::size_t count) {
    const std::vector<double>& values = signal(count);
    for (auto iteration : state) {
        (void)iteration;
        const auto out = std::make_unique_for_overwrite<double[]>(count);
        hand(values.data(), out.get(), count);
        benchmark::DoNotOptimize(out.get());
        benchmark::ClobberMemory();
    }
    finish(state, count);
}

void runFiCalls(benchmark::State& state, std::size_t count, bool isParallel) {
    static Session session;
    const std::vector<double>& values = signal(count);
    const std::vector<Value> arguments = {Value(values), true, 16, 15, "nearest", "saturate", isParallel ? 1 : 0};
    timeCalls(state, handResults(values),
              [&] { return session.callStatic("embedded.fi", "quantizenumeric", arguments); });
}

void runQuantizerCalls(benchmark::State& state, std::size_t count, bool logs) {
    const std::vector<double>& values = signal(count);
    const quantizer q = makeQuantizer(logs);
    const Value array(values);
    timeCalls(state, handResults(values), [&] { return Value(hvArrayOwner(quantizeNumeric(q, array.array()))); });
}

void runChunks(benchmark::State& state, std::size_t count, bool isParallel) {
    const std::vector<double>& values = signal(count);
    const NumericType type(true, 1200, 600);
    std::vector<double> serial(count);
    quantizeThroughWords(values, serial, type, kNearest, kSaturate, false);
    timeInPlace(state, serial, [&](std::vector<double>& out) {
        quantizeThroughWords(values, out, type, kNearest, kSaturate, isParallel);
    });
}

void registerAll() {
    // Short runs, many times: the fastest then finds a quiet moment of a shared machine.
    const auto add = [](const std::string& name, auto run) {
        benchmark::RegisterBenchmark(name.c_str(), run)->MinTime(0.005)->Repetitions(40)->UseRealTime();
    };
    for (const std::size_t count : {std::size_t{1000}, std::size_t{1000000}, std::size_t{10000000}}) {
        const std::string size = " " + std::to_string(count) + "/";
        for (const std::string variant : {"hand", "serial", "parallel", "quantizer"}) {
            add(std::string("in place").append(size).append(variant),
                [=](benchmark::State& s) { runInPlace(s, count, variant); });
        }
        add("call" + size + "hand", [=](benchmark::State& s) { runHandCalls(s, count); });
        add("call" + size + "fi serial", [=](benchmark::State& s) { runFiCalls(s, count, false); });
        add("call" + size + "fi parallel", [=](benchmark::State& s) { runFiCalls(s, count, true); });
        add("call" + size + "quantizer", [=](benchmark::State& s) { runQuantizerCalls(s, count, false); });
        add("call" + size + "quantizer+log", [=](benchmark::State& s) { runQuantizerCalls(s, count, true); });
    }
    add("chunks 100000/serial", [](benchmark::State& s) { runChunks(s, 100000, false); });
    add("chunks 100000/parallel", [](benchmark::State& s) { runChunks(s, 100000, true); });
}

}  // namespace

int main(int argc, char** argv) {
#if defined(__GLIBC__)
    // New arrays of a megabyte or more are in new memory for every variant alike.
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
#endif
    registerAll();
    registerSaving();
    return runWithRatios(argc, argv);
}
