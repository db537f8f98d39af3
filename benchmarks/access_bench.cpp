// Access to elements of an array through a session, and slices, against loops written by hand.
//
// Cases and variants:
//     scalar read       session: a(i) by one subscript; baseline: the same on a plain array of the host
//     scalar write      session: a(i) = x in place
//     slice 1000000     copy: doubles copied by an index vector of doubles into a fresh array; session: the same of a
//     fi
//                       array, and host: of a plain array
// Before a variant is timed its result is compared with the baseline's.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <memory>
#include <random>
#include <vector>

#include "benchmarks/ratio_report.h"
#include "host/reference/Session.h"

namespace {

using hostref::paren;
using hostref::Session;
using hostref::Value;

constexpr std::size_t kCount = 1000000;

/// A session with an array of a given length and the numbers 0, 1/2^15, ... in it.
struct Setting {
    explicit Setting(std::size_t count) : numbers(count) {
        for (std::size_t i = 0; i < count; ++i) numbers[i] = static_cast<double>(i % 32768) / 32768.0;
        plain = Value(numbers);
        array = session.construct("embedded.fi", {plain});
    }

    Session session;
    std::vector<double> numbers;
    Value plain;
    Value array;
};

std::vector<double> shuffledPlaces() {
    std::vector<double> places(kCount);
    std::mt19937 random(1);
    std::uniform_int_distribution<std::size_t> any(1, kCount);
    // Mostly rising, as masks and ranges are, with a jump here and there.
    for (std::size_t i = 0; i < kCount; ++i) places[i] = static_cast<double>(i % 64 == 0 ? any(random) : i + 1);
    return places;
}

void finish(benchmark::State& state, std::size_t count) {
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

void readScalar(benchmark::State& state, bool isFi) {
    Setting setting(1000);
    const Value subject = isFi ? setting.array : setting.plain;
    const hostref::Subscript step = paren(500);
    const Value got = setting.session.index(subject, {step});
    if ((isFi ? got.get("double") : got).toDouble() != setting.numbers[499]) state.SkipWithError("wrong element");
    for (auto iteration : state) {
        (void)iteration;
        benchmark::DoNotOptimize(setting.session.index(subject, {step}));
    }
    finish(state, 1);
}

void writeScalar(benchmark::State& state, bool isFi) {
    Setting setting(1000);
    Value subject = isFi ? setting.array : setting.plain;
    const hostref::Subscript step = paren(500);
    const Value right = 0.25;
    for (auto iteration : state) {
        (void)iteration;
        subject = setting.session.assign(subject, {step}, right);
    }
    if ((isFi ? subject.get("double") : subject).toDoubles()[499] != 0.25) state.SkipWithError("nothing written");
    finish(state, 1);
}

void slice(benchmark::State& state, bool isFi) {
    Setting setting(kCount);
    const std::vector<double> places = shuffledPlaces();
    const Value subject = isFi ? setting.array : setting.plain;
    const hostref::Subscript step = paren(places);
    const Value got = setting.session.index(subject, {step});
    const std::vector<double> elements = (isFi ? got.get("double") : got).toDoubles();
    for (std::size_t i = 0; i < kCount; ++i) {
        if (elements[i] != setting.numbers[static_cast<std::size_t>(places[i]) - 1]) {
            state.SkipWithError("wrong elements");
            break;
        }
    }
    for (auto iteration : state) {
        (void)iteration;
        benchmark::DoNotOptimize(setting.session.index(subject, {step}));
    }
    finish(state, kCount);
}

void copyByPlaces(benchmark::State& state) {
    const Setting setting(kCount);
    const std::vector<double> places = shuffledPlaces();
    const double* const source = setting.numbers.data();
    for (auto iteration : state) {
        (void)iteration;
        const std::unique_ptr<double[]> out(new double[kCount]);
        for (std::size_t i = 0; i < kCount; ++i) out[i] = source[static_cast<std::size_t>(places[i]) - 1];
        benchmark::DoNotOptimize(out.get());
        benchmark::ClobberMemory();
    }
    finish(state, kCount);
}

void registerAll() {
    const auto add = [](const char* name, auto run) {
        benchmark::RegisterBenchmark(name, run)->MinTime(0.1)->Repetitions(3);
    };
    add("scalar read/host", [](benchmark::State& s) { readScalar(s, false); });
    add("scalar read/session", [](benchmark::State& s) { readScalar(s, true); });
    add("scalar write/host", [](benchmark::State& s) { writeScalar(s, false); });
    add("scalar write/session", [](benchmark::State& s) { writeScalar(s, true); });
    add("slice 1000000/copy", copyByPlaces);
    add("slice 1000000/session", [](benchmark::State& s) { slice(s, true); });
    add("slice 1000000/host", [](benchmark::State& s) { slice(s, false); });
}

}  // namespace

int main(int argc, char** argv) {
    registerAll();
    return runWithRatios(argc, argv);
}
