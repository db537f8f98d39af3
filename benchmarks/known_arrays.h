// Arrays of s16,15 with known values, and the rules by which benchmarks combine them.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "benchmarks/ratio_report.h"
#include "fi/fi.h"

using FiOwner = std::unique_ptr<fi>;
using Values = std::vector<double>;

/// Values of s16,15, real parts first.
inline Values signal(std::size_t count, unsigned seed) {
    std::mt19937_64 random(seed);
    std::normal_distribution<double> normal(0.0, 0.3);
    Values values(count);
    for (double& value : values) {
        value = std::clamp(std::nearbyint(normal(random) * 32768.0), -32768.0, 32767.0) / 32768.0;
    }
    return values;
}

inline Values magnitudes(std::size_t count) {
    Values values = signal(count, 1);
    for (double& value : values) {
        value = std::min(std::abs(value), 32767.0 / 32768.0);
    }
    return values;
}

/// Nearest and saturate. The specified types are s16,14 for products and s18,14 for their sums.
inline fimath rulesFor(bool isSpecified, bool castsBeforeSum = true) {
    fimath rules(embedded::RoundModeEnum::Nearest, embedded::OverflowModeEnum::Saturate);
    rules.setMaxProductWordLength(4096);
    if (isSpecified) {
        rules.setProductMode(fimath::ArithmeticModeEnum::SpecifyPrecision);
        rules.setProductWordLength(16);
        rules.setProductFractionLength(14);
        rules.setSumMode(fimath::ArithmeticModeEnum::SpecifyPrecision);
        rules.setSumWordLength(18);
        rules.setSumFractionLength(14);
    }
    rules.setCastBeforeSum(castsBeforeSum);
    return rules;
}

inline FiOwner arrayOf(const Values& values, bool isComplex, std::uint64_t rows, std::uint64_t columns,
                       const fimath& rules) {
    const std::uint64_t sizes[] = {rows, columns};
    const EmbeddedTypeSystem::NumericType type(true, 16, 15);
    constexpr auto kAssignment = embedded::OperationTypeEnum::Assignment;
    if (isComplex) {
        return std::make_unique<fi>(values.data(), values.data() + rows * columns, sizes, 2, type, rules, "", true,
                                    kAssignment);
    }
    return std::make_unique<fi>(values.data(), sizes, 2, type, rules, "", true, kAssignment);
}

/// `im` is null for real values.
inline bool holds(const fi& array, const double* re, const double* im) {
    for (std::uint64_t i = 0; i < array.numel(); ++i) {
        if (array.realdouble(i) != re[i] || (im && array.imagdouble(i) != im[i])) {
            return false;
        }
    }
    return true;
}

template <class Work>
void timed(benchmark::State& state, std::size_t items, Work&& work) {
    for (auto iteration : state) {
        (void)iteration;
        work();
        benchmark::ClobberMemory();
    }
    finish(state, items);
}
