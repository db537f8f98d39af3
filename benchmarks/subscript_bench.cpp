// Subscripts of a fi array through a session, against the same subscripts of the host's own array of doubles.
//
// Cases that touch few elements are given in ns a call, at growing sizes of the array: their cost should not grow.
// Cases of 10^6 indices are given in ns an element, against a loop that copies doubles by the same indices:
//     copy     a loop by hand, which knows its indices to be good
//     host     the host's own array
//     fi       a fi array of s16,15, with logging off
//     fi+log   the same while logging is on
// Repetitions of all variants are interleaved, and the fastest of each counts. Before a variant is timed its result is
// compared with the host's.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/ratio_report.h"
#include "fi/fi.h"
#include "host/reference/Session.h"

namespace {

using hostref::colon;
using hostref::paren;
using hostref::Session;
using hostref::Subscript;
using hostref::Value;
using Numbers = std::vector<double>;

enum class Variant { copy, host, fi, logging };

Numbers numbersOf(std::size_t count) {
    Numbers numbers(count);
    for (std::size_t i = 0; i < count; ++i) {
        numbers[i] = static_cast<double>(i % 32768) / 32768.0;
    }
    return numbers;
}

Value range(std::size_t first, std::size_t last, std::size_t step = 1) {
    Numbers places;
    for (std::size_t i = first; i <= last; i += step) {
        places.push_back(static_cast<double>(i));
    }
    return Value::matrix(1, places.size(), places);
}

Value maskOf(std::size_t count, const std::function<bool(std::size_t)>& isIn) {
    hvArrayOwner mask(hvCreateLogicalMatrix(count, 1));
    const auto bits = hvGetTypedData<hvLogical>(mask.get());
    for (std::size_t i = 0; i < count; ++i) {
        bits[i] = hvLogical{isIn(i)};
    }
    return Value(std::move(mask));
}

/// What a case does with an array of `rows` by `columns`.
struct Work {
    std::size_t rows;
    std::size_t columns;
    Subscript step;
    bool assigns = false;
    Value right = {};       // of an assignment; a fi array where a fi array is assigned to
    std::size_t items = 1;  // elements, or 1 for times of a call
    bool rightIsFi = false;
};

Value elements(const Value& value) {
    return value.isObject() ? value.get("double") : value;
}

void run(benchmark::State& state, const Work& work, Variant variant) {
    Session session;
    const Value plain = Value::matrix(work.rows, work.columns, numbersOf(work.rows * work.columns));
    Value subject = variant == Variant::host ? plain : session.construct("embedded.fi", {plain});
    const Value right =
        work.rightIsFi && variant != Variant::host ? session.construct("embedded.fi", {work.right}) : work.right;
    fi::setLogging(variant == Variant::logging);
    const auto apply = [&](const Value& array) {
        return work.assigns ? session.assign(array, {work.step}, array.isObject() ? right : work.right)
                            : session.index(array, {work.step});
    };
    if (!(elements(apply(subject)) == apply(plain))) {
        state.SkipWithError("wrong elements");
    }
    for (auto iteration : state) {
        (void)iteration;
        benchmark::DoNotOptimize(apply(subject));
    }
    fi::setLogging(false);
    finish(state, work.items);
}

std::size_t offset(double place) {
    return static_cast<std::size_t>(static_cast<std::int64_t>(place)) - 1;
}

/// Copies by hand, from and into memory that stays the same.
void copy(benchmark::State& state, const Numbers& from, const Numbers& to, std::size_t size) {
    const Numbers source = numbersOf(size);
    Numbers target(size);
    for (auto iteration : state) {
        (void)iteration;
        for (std::size_t i = 0; i < from.size(); ++i) {
            target[offset(to[i])] = source[offset(from[i])];
        }
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    finish(state, from.size());
}

template <class Run>
void add(const std::string& name, const char* variant, Run run) {
    benchmark::RegisterBenchmark((name + "/" + variant).c_str(), run)->MinTime(0.02)->Repetitions(5);
}

void addWork(const std::string& name, const std::function<Work()>& work, bool logs) {
    const auto one = [&](const char* variantName, Variant variant) {
        add(name, variantName, [=](benchmark::State& state) { run(state, work(), variant); });
    };
    one("host", Variant::host);
    one("fi", Variant::fi);
    if (logs) {
        one("fi+log", Variant::logging);
    }
}

std::string sized(const char* name, std::size_t count) {
    return std::string(name) + " of 10^" + std::to_string(std::to_string(count).size() - 1);
}

void registerCalls() {
    for (const std::size_t n : {1000UL, 1000000UL, 10000000UL}) {
        const Value ten = Numbers(10, 0.25);
        addWork(
            sized("a(1:10)", n),
            [=] {
                return Work{n, 1, paren(range(1, 10))};
            },
            false);
        addWork(
            sized("a(1:10) = x", n),
            [=] {
                return Work{n, 1, paren(range(1, 10)), true, 0.25};
            },
            true);
        addWork(
            sized("a(1:10) = b", n), [=] { return Work{n, 1, paren(range(1, 10)), true, ten, 1, true}; }, true);
    }
    for (const std::size_t n : {1000UL, 1000000UL, 10000000UL}) {
        const std::size_t middle = n / 2;
        const auto half = static_cast<double>(middle);
        addWork(
            sized("a(end+1) = x", n),
            [=] {
                return Work{n, 1, paren(static_cast<double>(n + 1)), true, 0.25};
            },
            true);
        addWork(
            sized("a(k) = []", n),
            [=] {
                return Work{n, 1, paren(half), true, Value()};
            },
            false);
    }
    for (const std::size_t n : {100UL, 1000UL, 4000UL}) {
        const std::string size = " of " + std::to_string(n) + "^2";
        const Value column = Value::matrix(n, 1, numbersOf(n));
        const Value row = Value::matrix(1, n, numbersOf(n));
        const std::size_t middle = n / 2;
        const auto k = static_cast<double>(middle);
        addWork(
            "a(:,k)" + size,
            [=] {
                return Work{n, n, paren(colon(), k)};
            },
            false);
        addWork(
            "a(k,:)" + size,
            [=] {
                return Work{n, n, paren(k, colon())};
            },
            false);
        addWork(
            "a(:,k) = b" + size, [=] { return Work{n, n, paren(colon(), k), true, column, 1, true}; }, true);
        addWork(
            "a(k,:) = b" + size, [=] { return Work{n, n, paren(k, colon()), true, row, 1, true}; }, true);
    }
    for (const std::size_t n : {100UL, 1000UL}) {
        const std::string size = " of " + std::to_string(n) + "^2";
        const Value column = Value::matrix(n, 1, numbersOf(n));
        const Value row = Value::matrix(1, n, numbersOf(n));
        const auto next = static_cast<double>(n + 1);
        const std::size_t middle = n / 2;
        const auto k = static_cast<double>(middle);
        addWork(
            "a(:,end+1) = b" + size, [=] { return Work{n, n, paren(colon(), next), true, column, 1, true}; }, true);
        addWork(
            "a(end+1,:) = b" + size, [=] { return Work{n, n, paren(next, colon()), true, row, 1, true}; }, true);
        addWork(
            "a(:,k) = []" + size,
            [=] {
                return Work{n, n, paren(colon(), k), true, Value()};
            },
            false);
        addWork(
            "a(k,:) = []" + size,
            [=] {
                return Work{n, n, paren(k, colon()), true, Value()};
            },
            false);
    }
}

/// Many short runs.
void registerShortColumns() {
    constexpr std::size_t kRows = 3;
    constexpr std::size_t kColumns = 300000;
    const std::string size = " of 3 x 300000";
    const Value two = Value::matrix(2, kColumns, numbersOf(2 * kColumns));
    const Value row = Value::matrix(1, kColumns, numbersOf(kColumns));
    const Value outer = Numbers{1, 3};
    const auto next = static_cast<double>(kRows + 1);
    addWork(
        "a([1 3],:)" + size,
        [=] {
            return Work{kRows, kColumns, paren(outer, colon())};
        },
        false);
    addWork(
        "a([1 3],:) = b" + size, [=] { return Work{kRows, kColumns, paren(outer, colon()), true, two, 1, true}; },
        true);
    addWork(
        "a(end+1,:) = b" + size, [=] { return Work{kRows, kColumns, paren(next, colon()), true, row, 1, true}; }, true);
    addWork(
        "a(2,:) = []" + size,
        [=] {
            return Work{kRows, kColumns, paren(2, colon()), true, Value()};
        },
        false);
}

constexpr std::size_t kSlice = 1000000;

/// A slice of 10^6 elements by the places of an index, out of the first elements and into them.
void addSlice(const std::string& name, std::size_t size, const Value& index, const Numbers& places, bool isAscending) {
    Numbers counting(places.size());
    for (std::size_t i = 0; i < counting.size(); ++i) {
        counting[i] = static_cast<double>(i + 1);
    }
    const std::string read = "b = a(" + name + ")";
    add(read, "copy", [=](benchmark::State& state) { copy(state, places, counting, size); });
    addWork(
        read, [=] { return Work{size, 1, paren(index), false, Value(), places.size()}; }, false);
    if (isAscending) {
        const std::string write = "a(" + name + ") = b";
        const Value right(numbersOf(places.size()));
        add(write, "copy", [=](benchmark::State& state) { copy(state, counting, places, size); });
        addWork(
            write, [=] { return Work{size, 1, paren(index), true, right, places.size(), true}; }, true);
    }
}

Numbers placesIn(const Value& mask) {
    Numbers places;
    const auto bits = hvGetTypedData<hvLogical>(mask.array());
    for (std::size_t i = 0; i < bits.size(); ++i) {
        if (bits[i] != 0) {
            places.push_back(static_cast<double>(i + 1));
        }
    }
    return places;
}

void registerSlices() {
    const auto addRange = [](const char* name, std::size_t step) {
        const Value index = range(1, step * kSlice, step);
        addSlice(name, step * kSlice, index, index.toDoubles(), true);
    };
    addRange("range", 1);
    addRange("every third", 3);
    std::mt19937 random(1);
    // Mostly rising, with occasional jumps.
    Numbers jumping(kSlice);
    std::uniform_int_distribution<std::size_t> any(1, kSlice);
    for (std::size_t i = 0; i < kSlice; ++i) {
        jumping[i] = static_cast<double>(i % 64 == 0 ? any(random) : i + 1);
    }
    addSlice("jumping", kSlice, Value(jumping), jumping, false);
    Numbers rising(kSlice);
    double place = 0;
    for (double& next : rising) {
        place += static_cast<double>(1 + random() % 3);
        next = place;
    }
    addSlice("rising", 3 * kSlice, Value(rising), rising, true);
    Numbers shuffled(kSlice);
    for (std::size_t i = 0; i < kSlice; ++i) {
        shuffled[i] = static_cast<double>(i + 1);
    }
    std::ranges::shuffle(shuffled, random);
    addSlice("shuffled", kSlice, Value(shuffled), shuffled, false);
    const Value half = maskOf(2 * kSlice, [&](std::size_t) { return random() % 2 == 0; });
    addSlice("half of a mask", 2 * kSlice, half, placesIn(half), true);
    const Value runs = maskOf(2 * kSlice, [](std::size_t i) { return i / 1000 % 2 == 0; });
    addSlice("runs of a mask", 2 * kSlice, runs, placesIn(runs), true);
}

}  // namespace

int main(int argc, char** argv) {
    keepFreedMemory();
    registerCalls();
    registerShortColumns();
    registerSlices();
    std::vector<char*> arguments(argv, argv + argc);
    std::string interleaved = "--benchmark_enable_random_interleaving=true";
    arguments.push_back(interleaved.data());
    return runWithRatios(static_cast<int>(arguments.size()), arguments.data());
}
