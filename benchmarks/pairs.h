// Benchmarks in pairs: a loop written by hand as the baseline, and the operation of the array, whose result is compared
// with the baseline's before it is timed.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <type_traits>

#include "benchmarks/known_arrays.h"
#include "benchmarks/ratio_report.h"
#include "host/hv.h"

inline bool holds(const hvArray& flags, const hvLogical* expected, const hvLogical*) {
    const std::span<const hvLogical> seen = hvGetTypedData<hvLogical>(&flags);
    return !seen.empty() && std::equal(seen.begin(), seen.end(), expected);
}

/// Makes a loop on its own inputs; declared so that callers can pass a lambda.
template <class Element>
using BaselineMaker = std::type_identity_t<std::function<std::function<void(Element* re, Element* im)>()>>;

/// Registers a baseline, which writes its result, and the operation of the array.
template <class Element = double, class MakeOperation>
void addPair(const std::string& name, const std::string& baseline, std::size_t items, std::size_t parts,
             std::size_t resultCount, const BaselineMaker<Element>& makeBaseline, const MakeOperation& makeOperation) {
    using Result = std::unique_ptr<Element[]>;
    const auto add = [&](const std::string& variant, auto run) {
        benchmark::RegisterBenchmark((name + "/" + variant).c_str(), run)->MinTime(0.1)->Repetitions(3);
    };
    const auto room = [=](bool isNeeded) {
        return isNeeded ? std::make_unique_for_overwrite<Element[]>(resultCount) : nullptr;
    };
    add(baseline, [=](benchmark::State& state) {
        const auto run = makeBaseline();
        timed(state, items, [&] {
            const Result re = room(true);
            const Result im = room(parts == 2);
            run(re.get(), im.get());
            benchmark::DoNotOptimize(re.get());
        });
    });
    add("fi", [=](benchmark::State& state) {
        const auto operate = makeOperation();
        {
            const Result re = room(true);
            const Result im = room(parts == 2);
            makeBaseline()(re.get(), im.get());
            if (!holds(*operate(), re.get(), im.get())) {
                state.SkipWithError("fi and the baseline differ");
                return;
            }
        }
        timed(state, items, [&] { benchmark::DoNotOptimize(operate().get()); });
    });
}
