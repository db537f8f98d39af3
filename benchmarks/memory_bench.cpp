// What whole arrays of short words take into memory that exists, against the sum of two arrays of doubles.
//
// 10^4 and 10^6 elements. The baseline of every case is the plain loop that adds doubles; "product" has the library for
// matrices of doubles instead. Variants: array; log, while a log lives. Signs and values are random.
#include <benchmark/benchmark.h>
#include <cblas.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/ratio_report.h"
#include "benchmarks/vector_targets.h"
#include "program/kernels.h"
#include "program/tolvane.h"

namespace {

using namespace tolvane;
using detail::ArrayAccess;
using detail::Place;
using detail::wordarray;
using detail::integers::Sign;

std::vector<double> randomValues(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> any(-1.0, 1.0);
    std::vector<double> values(count);
    for (double& value : values) {
        value = any(random);
    }
    return values;
}

/// The sum that everything is compared with, in the widest vectors.
struct AddLoop {
    [[gnu::always_inline]] static void run(const double* __restrict a, const double* __restrict b,
                                           double* __restrict sum, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            sum[i] = a[i] + b[i];
        }
    }
};

void add(const std::string& name, const char* variant, std::size_t count, bool isLogged,
         const std::function<void()>& run) {
    benchmark::RegisterBenchmark((name + "/" + variant).c_str(),
                                 [=](benchmark::State& state) {
                                     std::optional<fixed_log> log;
                                     if (isLogged) {
                                         log.emplace();
                                     }
                                     for (auto _ : state) {
                                         run();
                                         benchmark::ClobberMemory();
                                     }
                                     finish(state, count);
                                 })
        ->MinTime(0.01)
        ->Repetitions(15);
}

const auto kAddDoubles = VectorTargets<AddLoop, const double*, const double*, double*, std::size_t>::best();

class Cases {
 public:
    explicit Cases(std::size_t count)
        : mCount(count), mDoubles(randomValues(count, 1)), mOthers(randomValues(count, 2)), mSums(count) {}
    /// `run(out)` sets words of a type.
    template <class Run>
    void words(const std::string& what, const fixed_type& type, bool hasPlace, const Run& run) {
        const auto out = std::make_shared<wordarray>(mCount, detail::gridOf(type));
        any(what, hasPlace, [=] { run(*out); });
    }
    /// `run()` sets anything.
    void any(const std::string& what, bool hasPlace, const std::function<void()>& run) {
        const std::string name = what + ", " + std::to_string(mCount);
        add(name, "sum", mCount, false, [this] { kAddDoubles(mDoubles.data(), mOthers.data(), mSums.data(), mCount); });
        add(name, "array", mCount, false, run);
        if (hasPlace) {
            add(name, "log", mCount, true, run);
        }
    }
    void quantize(const char* format) {
        const fixed_format to(format);
        words(std::string("doubles to ") + format, to.type(), true, [=, this](wordarray& out) {
            Place place(to);
            detail::castDoubles(mDoubles, place, out);
            place.close();
        });
    }
    void cast(const char* from, const char* format) {
        const fixed_format to(format);
        const fixed_array x(mDoubles, from);
        words(std::string(from) + " to " + format, to.type(), true, [=](wordarray& out) {
            Place place(to);
            detail::castWords(ArrayAccess::real(x)->span(), place, out);
            place.close();
        });
    }
    void addAll() {
        for (const char* const format : {"s16,15", "s16,15 convergent", "s16,15 floor", "s16,13 wrap",
                                         "u16,15 nearest_away", "s32,30", "s32,31 convergent wrap"}) {
            quantize(format);
        }
        cast("s16,15", "s12,11");
        cast("s16,15", "s12,11 convergent wrap");
        cast("s32,30", "s16,15");
        cast("s16,13", "s32,30");
        for (const char* const type : {"s16,15", "s32,30"}) {
            const fixed_array a(mDoubles, type);
            const fixed_array b(mOthers, type);
            const std::string name(type);
            words("plus " + name, (a + b).type(), false, [=](wordarray& out) {
                detail::integers::combine(Sign::plus, ArrayAccess::real(a)->span(), ArrayAccess::real(b)->span(), out);
            });
            words("times " + name, (a * b).type(), false, [=](wordarray& out) {
                detail::integers::multiply(ArrayAccess::real(a)->span(), ArrayAccess::real(b)->span(), out);
            });
            const auto flags = std::make_shared<std::vector<std::uint8_t>>(mCount);
            any("less " + name, false, [=] { detail::compare(detail::integers::Order::less, a, b, *flags); });
        }
        const fixed_array a(mDoubles, "s16,15");
        any("doubles of s16,15", false,
            [=, this] { detail::integers::toDoubles(ArrayAccess::real(a)->span(), mSums.data()); });
        integers<std::int16_t>("16");
        integers<std::int32_t>("32");
        integers<std::int64_t>("64");
    }

 private:
    template <class Int>
    void integers(const char* bits) {
        std::vector<Int> values(mCount);
        for (std::size_t i = 0; i < mCount; ++i) {
            values[i] = static_cast<Int>(mDoubles[i] * 32767);
        }
        const fixed_format to("s16,0");
        words(std::string("integers of ") + bits + " bits to s16,0", to.type(), true, [=](wordarray& out) {
            Place place(to);
            detail::castIntegers(std::span<const Int>(values), place, out);
            place.close();
        });
    }

    std::size_t mCount;
    std::vector<double> mDoubles;
    std::vector<double> mOthers;
    std::vector<double> mSums;
};

void addProduct(std::size_t n, const char* type) {
    const auto left = randomValues(n * n, 3);
    const auto right = randomValues(n * n, 4);
    const auto result = std::make_shared<std::vector<double>>(n * n);
    const fixed_array a = fixed_array(left, type).reshaped({n, n});
    const fixed_array b = fixed_array(right, type).reshaped({n, n});
    const std::string name = std::string("product ") + type + ", " + std::to_string(n);
    add(name, "dgemm", n * n * n, false, [=] {
        const int size = static_cast<int>(n);
        cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, size, size, size, 1.0, left.data(), size, right.data(),
                    size, 0.0, result->data(), size);
    });
    add(name, "array", n * n * n, false, [=] { benchmark::DoNotOptimize(matmul(a, b)); });
    add(name, "log", n * n * n, true, [=] { benchmark::DoNotOptimize(matmul(a, b)); });
}

}  // namespace

int main(int argc, char** argv) {
    keepFreedMemory();
    static Cases few(10000);
    static Cases many(1000000);
    few.addAll();
    many.addAll();
    for (const char* const type : {"s16,15", "s32,30"}) {
        addProduct(512, type);
    }
    return runWithRatios(argc, argv);
}
