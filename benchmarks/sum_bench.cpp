// Sums of arrays against loops written by hand.
//
// Cases: s16,15 + s16,15, real and complex, 10^3 and 10^6 elements, in FullPrecision and in SpecifyPrecision with
// nearest and saturate. Variants:
//     plain    the double loop that allocates its result: the baseline of FullPrecision
//     hand     the same with both casts and the last quantization written out for the format: the baseline of
//              SpecifyPrecision; hand+log also counts and keeps the extremes
//     fi       fi::plus, which makes an array with type, rules and log; fi+log with logging on
//     session  the same as a call of "plus" through a session of the host
// Before a variant is timed its results are compared with the baseline's. A result is freed before the next is made,
// and the allocator keeps what is freed: otherwise it depends on the variants that ran before whether each result of
// some megabytes costs its page faults again, which take several times as long as any of the loops.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/ratio_report.h"
#include "benchmarks/vector_targets.h"
#include "fi/fi.h"
#include "host/reference/Session.h"

namespace {

using Buffer = std::unique_ptr<double[]>;
using NumericType = EmbeddedTypeSystem::NumericType;

// The specified sum type drops two bits and overflows for about one sum in six.
constexpr int kSumBits = 14;
constexpr int kSumFraction = 13;

struct HandLog {
    double greatest, least;
    std::uint64_t overflows, underflows;
};

// Typical hand-written code for s14,13 with nearest and saturate.
struct HandStep {
    static constexpr double kScale = 8192.0, kInverse = 1.0 / 8192.0, kGreatest = 8191.0, kLeast = -8192.0;
    __attribute__((always_inline)) static double rounded(double x) { return std::floor(x * kScale + 0.5); }
    __attribute__((always_inline)) static double bounded(double v) {
        v = v < kGreatest ? v : kGreatest;
        return v > kLeast ? v : kLeast;
    }
    __attribute__((always_inline)) static double quantize(double x) { return bounded(rounded(x)) * kInverse; }
};

template <bool counting>
struct HandLoop {
    __attribute__((always_inline)) static void run(const double* a, const double* b, double* out, std::size_t count,
                                                   HandLog* log) {
        if constexpr (!counting) {
            for (std::size_t i = 0; i < count; ++i) {
                out[i] = HandStep::quantize(HandStep::quantize(a[i]) + HandStep::quantize(b[i]));
            }
            return;
        }
        constexpr std::size_t kLanes = 16;
        double greatest[kLanes], least[kLanes];
        std::uint64_t overflows[kLanes] = {}, underflows[kLanes] = {};
        std::fill_n(greatest, kLanes, -std::numeric_limits<double>::infinity());
        std::fill_n(least, kLanes, std::numeric_limits<double>::infinity());
        auto quantize = [&](double x, std::size_t lane) __attribute__((always_inline)) {
            const double v = HandStep::rounded(x);
            const double y = HandStep::bounded(v);
            greatest[lane] = y > greatest[lane] ? y : greatest[lane];
            least[lane] = y < least[lane] ? y : least[lane];
            overflows[lane] += y != v;
            underflows[lane] += (v == 0.0) & (x != 0.0);
            return y * HandStep::kInverse;
        };
        auto step = [&](std::size_t i, std::size_t lane) __attribute__((always_inline)) {
            const double x = quantize(a[i], lane);
            const double y = quantize(b[i], lane);
            out[i] = quantize(x + y, lane);
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
        log->greatest = std::max(log->greatest, *std::max_element(greatest, greatest + kLanes) * HandStep::kInverse);
        log->least = std::min(log->least, *std::min_element(least, least + kLanes) * HandStep::kInverse);
        log->overflows = std::accumulate(overflows, overflows + kLanes, log->overflows);
        log->underflows = std::accumulate(underflows, underflows + kLanes, log->underflows);
    }
};

using HandFunction = void (*)(const double*, const double*, double*, std::size_t, HandLog*);

template <bool counting>
HandFunction handFor() {
    return VectorTargets<HandLoop<counting>, const double*, const double*, double*, std::size_t, HandLog*>::best();
}

void plainLoop(const double* a, const double* b, double* out, std::size_t count, HandLog* /*log*/) {
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = a[i] + b[i];
    }
}

struct Case {
    bool isSpecified;
    bool isComplex;
    std::size_t count;

    fimath rules() const {
        fimath result(embedded::RoundModeEnum::Nearest, embedded::OverflowModeEnum::Saturate);
        if (isSpecified) {
            result.setSumMode(fimath::ArithmeticModeEnum::SpecifyPrecision);
            result.setSumWordLength(kSumBits);
            result.setSumFractionLength(kSumFraction);
        }
        return result;
    }
    std::size_t parts() const { return isComplex ? 2 : 1; }
};

// Real parts first, then imaginary ones: values of s16,15.
std::vector<double> signal(const Case& c, unsigned seed) {
    std::mt19937_64 random(seed);
    std::normal_distribution<double> normal(0.0, 0.5);
    std::vector<double> values(c.count * c.parts());
    for (double& value : values) {
        value = std::clamp(std::nearbyint(normal(random) * 32768.0), -32768.0, 32767.0) / 32768.0;
    }
    return values;
}

std::unique_ptr<fi> arrayOf(const Case& c, const std::vector<double>& values) {
    const std::uint64_t sizes[] = {c.count, 1};
    const NumericType type(true, 16, 15);
    constexpr auto kAssignment = embedded::OperationTypeEnum::Assignment;
    return c.isComplex ? std::make_unique<fi>(values.data(), values.data() + c.count, sizes, 2, type, c.rules(), "",
                                              true, kAssignment)
                       : std::make_unique<fi>(values.data(), sizes, 2, type, c.rules(), "", true, kAssignment);
}

HandLog emptyLog() {
    return {std::numeric_limits<double>::lowest(), std::numeric_limits<double>::max(), 0, 0};
}

void runLoop(benchmark::State& state, const Case& c, HandFunction loop) {
    const std::vector<double> a = signal(c, 1);
    const std::vector<double> b = signal(c, 2);
    HandLog log = emptyLog();
    for (auto iteration : state) {
        (void)iteration;
        Buffer outs[2];
        for (std::size_t part = 0; part < c.parts(); ++part) {
            Buffer& out = outs[part];
            out = std::make_unique_for_overwrite<double[]>(c.count);
            loop(a.data() + part * c.count, b.data() + part * c.count, out.get(), c.count, &log);
            benchmark::DoNotOptimize(out.get());
            benchmark::ClobberMemory();
        }
    }
    benchmark::DoNotOptimize(log);
    finish(state, c.count);
}

bool sameAsHand(const Case& c, const std::vector<double>& a, const std::vector<double>& b, const fi& sum,
                bool logging) {
    std::vector<double> expected(a.size());
    HandLog log = emptyLog();
    (c.isSpecified ? handFor<true>() : plainLoop)(a.data(), b.data(), expected.data(), a.size(), &log);
    for (std::size_t i = 0; i < c.count; ++i) {
        if (sum.realdouble(i) != expected[i] || (c.isComplex && sum.imagdouble(i) != expected[c.count + i])) {
            return false;
        }
    }
    const qlogger& seen = sum.getQlogger();
    return !logging || !c.isSpecified ||
           (seen.getMax().todouble() == log.greatest && seen.getMin().todouble() == log.least &&
            seen.getNoverflows() == log.overflows && seen.getNunderflows() == log.underflows);
}

void timeSums(benchmark::State& state, const fi& a, const fi& b, std::size_t count) {
    for (auto iteration : state) {
        (void)iteration;
        const std::unique_ptr<fi> sum(&a.plus(b));
        benchmark::DoNotOptimize(sum.get());
        benchmark::ClobberMemory();
    }
    finish(state, count);
}

void runFi(benchmark::State& state, const Case& c, bool logging) {
    const std::vector<double> values[] = {signal(c, 1), signal(c, 2)};
    const std::unique_ptr<fi> a = arrayOf(c, values[0]);
    const std::unique_ptr<fi> b = arrayOf(c, values[1]);
    fi::setLogging(logging);
    if (!sameAsHand(c, values[0], values[1], *std::unique_ptr<fi>(&a->plus(*b)), logging)) {
        state.SkipWithError("fi and the hand-written loop differ");
    } else {
        timeSums(state, *a, *b, c.count);
    }
    fi::setLogging(false);
}

// Through the host: the call finds its method by name, and its result is wrapped in a handle.
void runSession(benchmark::State& state, const Case& c) {
    static hostref::Session session;
    const std::vector<double> values[] = {signal(c, 1), signal(c, 2)};
    const hostref::Value a = session.construct("embedded.fi", {values[0]});
    const hostref::Value b = session.construct("embedded.fi", {values[1]});
    for (const hostref::Value& array : {a, b}) {
        if (c.isSpecified) {
            array.set("SumMode", "SpecifyPrecision");
            array.set("SumWordLength", kSumBits);
            array.set("SumFractionLength", kSumFraction);
        }
    }
    std::vector<double> expected(c.count);
    HandLog log = emptyLog();
    (c.isSpecified ? handFor<true>() : plainLoop)(values[0].data(), values[1].data(), expected.data(), c.count, &log);
    if (session.call("plus", {a, b}).get("double").toDoubles() != expected) {
        return state.SkipWithError("the session and the hand-written loop differ");
    }
    for (auto iteration : state) {
        (void)iteration;
        benchmark::DoNotOptimize(session.call("plus", {a, b}));
        benchmark::ClobberMemory();
    }
    finish(state, c.count);
}

void registerAll() {
    const auto add = [](const std::string& name, auto run) {
        benchmark::RegisterBenchmark(name.c_str(), run)->MinTime(0.1)->Repetitions(3);
    };
    for (const bool isSpecified : {false, true}) {
        for (const bool isComplex : {false, true}) {
            for (const std::size_t count : {std::size_t{1}, std::size_t{1000}, std::size_t{1000000}}) {
                const Case c{isSpecified, isComplex, count};
                const std::string name = std::string(isSpecified ? "SpecifyPrecision" : "FullPrecision") +
                                         (isComplex ? " complex " : " real ") + std::to_string(count) + "/";
                if (isSpecified) {
                    add(name + "hand", [c](benchmark::State& s) { runLoop(s, c, handFor<false>()); });
                    add(name + "hand+log", [c](benchmark::State& s) { runLoop(s, c, handFor<true>()); });
                } else {
                    add(name + "plain", [c](benchmark::State& s) { runLoop(s, c, plainLoop); });
                }
                add(name + "fi", [c](benchmark::State& s) { runFi(s, c, false); });
                add(name + "fi+log", [c](benchmark::State& s) { runFi(s, c, true); });
                if (!isComplex) {
                    add(name + "session", [c](benchmark::State& s) { runSession(s, c); });
                }
            }
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    keepFreedMemory();
    registerAll();
    return runWithRatios(argc, argv);
}
