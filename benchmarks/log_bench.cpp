// What logging costs: operations on arrays against loops written by hand that log the same.
//
// Operands are s16,15, rounding is nearest and overflow saturates; the specified types are s16,14 for products and
// s18,14 for sums. Each row has three variants:
//     hand    a fused loop written for the types that keeps, for each place where values are quantized, the extremes
//             and the counts of overflows and underflows; it's the baseline
//     fi      the operation of the array with logging off
//     fi+log  the same with logging on
// Before the last two are timed, the values and (with logging) the figures of each place are compared with the hand
// loop's. Roots and assignments have no hand loop: they are compared with themselves without logging. Items are
// elements, for matrices and convolutions products, for roots the bits of a root.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/hand_place.h"
#include "benchmarks/known_arrays.h"
#include "benchmarks/ratio_report.h"
#include "benchmarks/vector_targets.h"
#include "fi/fi.h"
#include "host/hv.h"

namespace {

template <bool isSpecified>
using ProductPlace = Place<isSpecified ? 16 : 0, 14>;
template <bool isSpecified>
using SumPlace = Place<isSpecified ? 18 : 0, 14>;

struct Shape {
    std::size_t rows;
    std::size_t columns;
    std::size_t count() const { return rows * columns; }
};

using Input = const double*;
/// Sets `out` and `logs`; complex arrays have their imaginary parts behind the real ones.
using Hand = void (*)(Input a, Input b, Shape left, Shape right, double* out, Logs* logs);

template <class Loop>
Hand best() {
    return VectorTargets<Loop, Input, Input, Shape, Shape, double*, Logs*>::best();
}

// Element by element.

/// The lengths of columns, and the rows of matrices, are multiples of the lanes.
template <class Step>
struct ElementLoop {
    [[gnu::always_inline]] static void run(Input a, Input b, Shape left, Shape, double* out, Logs* logs) {
        const std::size_t n = left.rows;
        Step step;
        for (std::size_t i = 0; i < n; i += kLanes) {
            double re[kLanes];
            double im[kLanes] = {};
#pragma GCC unroll 1  // unrolled, it would no longer be a vector loop
            for (std::size_t lane = 0; lane < kLanes; ++lane) {
                step(a + i + lane, b + i + lane, n, re[lane], im[lane], lane);
            }
            std::copy_n(re, kLanes, out + i);
            if (Step::kIsComplex) {
                std::copy_n(im, kLanes, out + n + i);
            }
        }
        *logs = step.logs();
    }
};

/// Sums, whose operands are converted first, products and quotients.
template <char operation, class Place>
struct Step {
    static constexpr bool kIsComplex = false;
    [[gnu::always_inline]] void operator()(Input a, Input b, std::size_t, double& re, double&, std::size_t lane) {
        if constexpr (operation == '*' || operation == '/') {
            re = place.quantize(operation == '*' ? *a * *b : *a / *b, lane);
        } else {
            const double x = place.quantize(*a, lane);
            const double y = place.quantize(*b, lane);
            re = place.quantize(operation == '+' ? x + y : x - y, lane);
        }
    }
    Logs logs() const { return {{}, place.figures()}; }
    Place place;
};

template <bool isSpecified>
struct ComplexTimesStep {
    static constexpr bool kIsComplex = true;
    [[gnu::always_inline]] void operator()(Input a, Input b, std::size_t n, double& re, double& im, std::size_t lane) {
        re = sum.quantize(product.quantize(a[0] * b[0], lane) - product.quantize(a[n] * b[n], lane), lane);
        im = sum.quantize(product.quantize(a[0] * b[n], lane) + product.quantize(a[n] * b[0], lane), lane);
    }
    Logs logs() const { return logsOf(product, sum); }
    ProductPlace<isSpecified> product;
    SumPlace<isSpecified> sum;
};

// Sums of products, a tile of results at a time.

template <bool isSpecified>
struct Accumulation {
    /// Adds products of a vector that moves with the terms and a number to each of the tile's results.
    [[gnu::always_inline]] void add(Input moving, std::size_t movingStep, Input fixed, std::ptrdiff_t fixedStep,
                                    std::size_t terms, double (&total)[kLanes]) {
        for (std::size_t t = 0; t < terms; ++t) {
            for (std::size_t lane = 0; lane < kLanes; ++lane) {
                const double x = product.quantize(moving[lane] * *fixed, lane);
                total[lane] = sum.quantize(total[lane] + x, lane);
            }
            moving += movingStep;
            fixed += fixedStep;
        }
    }
    ProductPlace<isSpecified> product;
    SumPlace<isSpecified> sum;
};

template <bool isSpecified>
struct MatrixLoop {
    [[gnu::always_inline]] static void run(Input a, Input b, Shape left, Shape right, double* out, Logs* logs) {
        Accumulation<isSpecified> places;
        for (std::size_t column = 0; column < right.columns; ++column) {
            for (std::size_t i = 0; i < left.rows; i += kLanes) {
                double total[kLanes] = {};
                places.add(a + i, left.rows, b + column * right.rows, 1, right.rows, total);
                std::copy_n(total, kLanes, out + column * left.rows + i);
            }
        }
        *logs = logsOf(places.product, places.sum);
    }
};

// The signal is padded, so that tiles have no edges: products of its zeros lie between the extremes and count nothing.
template <bool isSpecified>
struct ConvolutionLoop {
    [[gnu::always_inline]] static void run(Input a, Input b, Shape left, Shape right, double* out, Logs* logs) {
        const std::size_t taps = right.rows;
        const std::size_t count = left.rows + taps - 1;
        std::vector<double> padded(count + taps + kLanes);
        std::copy_n(a, left.rows, padded.data() + taps - 1);
        Accumulation<isSpecified> places;
        for (std::size_t i = 0; i < count; i += kLanes) {
            double total[kLanes] = {};
            places.add(padded.data() + i, 1, b + taps - 1, -1, taps, total);
            std::copy_n(total, std::min(kLanes, count - i), out + i);
        }
        *logs = logsOf(places.product, places.sum);
    }
};

template <bool isSpecified, bool casts>
struct ColumnLoop {
    [[gnu::always_inline]] static void run(Input a, Input, Shape left, Shape, double* out, Logs* logs) {
        SumPlace<isSpecified> place;
        std::size_t column = 0;
        for (; column + kLanes <= left.columns; column += kLanes) {
            double total[kLanes] = {};
            for (std::size_t i = 0; i < left.rows; ++i) {
                for (std::size_t lane = 0; lane < kLanes; ++lane) {
                    const double x = a[(column + lane) * left.rows + i];
                    total[lane] = place.quantize(total[lane] + (casts ? place.quantize(x, lane) : x), lane);
                }
            }
            std::copy_n(total, kLanes, out + column);
        }
        for (; column < left.columns; ++column) {
            out[column] = sumOf(place, a + column * left.rows, left.rows);
        }
        logs->last = place.figures();
    }
    // Only the sums form a chain; the statistics are gathered from a block of them.
    [[gnu::always_inline]] static double sumOf(SumPlace<isSpecified>& place, Input a, std::size_t rows) {
        double total = 0.0;
        for (std::size_t i = 0; i < rows; i += kLanes) {
            const std::size_t count = std::min(kLanes, rows - i);
            double terms[kLanes] = {};
            double sums[kLanes] = {};
            std::copy_n(a + i, count, terms);
#pragma GCC unroll 1
            for (std::size_t lane = 0; casts && lane < kLanes; ++lane) {
                terms[lane] = place.quantize(terms[lane], lane);
            }
            for (std::size_t lane = 0; lane < kLanes; ++lane) {
                sums[lane] = total + terms[lane];
                total = SumPlace<isSpecified>::quantized(sums[lane]);
            }
#pragma GCC unroll 1
            for (std::size_t lane = 0; lane < kLanes; ++lane) {
                place.quantize(sums[lane], lane);
            }
        }
        return total;
    }
};

// Rows.

using Operation = std::function<fi&(const fi& left, const fi& right)>;
using Reader = const qlogger& (*)(const fi& left, const fi& result);

constexpr Reader kProductLog = [](const fi& a, const fi&) -> const qlogger& { return a.getproductQlogger(); };
constexpr Reader kPairLog = [](const fi& a, const fi&) -> const qlogger& { return a.getproductregsumQlogger(); };
constexpr Reader kSumLog = [](const fi&, const fi& result) -> const qlogger& { return result.getsumQlogger(); };
constexpr Reader kResultLog = [](const fi&, const fi& result) -> const qlogger& { return result.getQlogger(); };

struct Row {
    std::string name;
    fimath rules;
    bool isComplex;
    Shape left;
    Shape right;
    std::size_t items;
    std::size_t results;
    Hand hand;
    Operation operate;
    Reader product;  // null where only sums, or only products, are noted: these are in the last place
    Reader last;

    std::size_t parts() const { return isComplex ? 2 : 1; }
    /// Without zeros, as they may be divisors.
    Values valuesOf(const Shape& shape, unsigned seed) const {
        Values values = signal(shape.count() * parts(), seed);
        std::replace(values.begin(), values.end(), 0.0, 0.25);
        return values;
    }
};

void runHand(benchmark::State& state, const Row& row) {
    const Values a = row.valuesOf(row.left, 1);
    const Values b = row.valuesOf(row.right, 2);
    timed(state, row.items, [&] {
        const auto out = std::make_unique_for_overwrite<double[]>(row.results * row.parts());
        Logs logs;
        row.hand(a.data(), b.data(), row.left, row.right, out.get(), &logs);
        benchmark::DoNotOptimize(out.get());
        benchmark::DoNotOptimize(logs);
    });
}

void runFi(benchmark::State& state, const Row& row, bool logs) {
    fi::setLogging(false);
    const Values a = row.valuesOf(row.left, 1);
    const Values b = row.valuesOf(row.right, 2);
    const FiOwner left = arrayOf(a, row.isComplex, row.left.rows, row.left.columns, row.rules);
    const FiOwner right = arrayOf(b, row.isComplex, row.right.rows, row.right.columns, row.rules);
    fi::setLogging(logs);
    {
        Values out(row.results * row.parts());
        Logs expected;
        row.hand(a.data(), b.data(), row.left, row.right, out.data(), &expected);
        const FiOwner result(&row.operate(*left, *right));
        const double* const im = row.isComplex ? out.data() + row.results : nullptr;
        if (result->numel() != row.results || !holds(*result, out.data(), im)) {
            return state.SkipWithError("wrong values");
        }
        if (logs && !(expected.last.match(row.last(*left, *result)) &&
                      (!row.product || expected.product.match(row.product(*left, *result))))) {
            return state.SkipWithError("wrong logs");
        }
    }
    timed(state, row.items, [&] { benchmark::DoNotOptimize(FiOwner(&row.operate(*left, *right)).get()); });
}

// Roots are s8,7. That of two neighbours is taken whose square is nearer, in the type s16,14 of squares.
void runRoots(benchmark::State& state, bool logs) {
    constexpr std::size_t kCount = 10000;
    fi::setLogging(false);
    const Values values = magnitudes(kCount);
    const FiOwner x = arrayOf(values, false, kCount, 1, rulesFor(false));
    Values roots(kCount);
    for (std::size_t i = 0; i < kCount; ++i) {
        const double low = std::floor(std::sqrt(values[i] * 16384.0));
        const double squared = std::floor(values[i] * 16384.0 + 0.5);
        const bool goesUp = low < 127.0 && (low + 1.0) * (low + 1.0) - squared < squared - low * low;
        roots[i] = (goesUp ? low + 1.0 : low) / 128.0;
    }
    fi::setLogging(logs);
    if (!holds(*FiOwner(x->sqrtBisection()), roots.data(), nullptr)) {
        return state.SkipWithError("wrong roots");
    }
    timed(state, kCount * 7, [&] { benchmark::DoNotOptimize(FiOwner(x->sqrtBisection()).get()); });
}

// All elements, by positions. The doubles overflow now and then, and lie between the values of the type.
void runAssignment(benchmark::State& state, bool isFromDoubles, bool logs) {
    constexpr std::size_t kCount = 100000;
    fi::setLogging(false);
    const FiOwner target = arrayOf(signal(kCount, 1), false, kCount, 1, rulesFor(false));
    const FiOwner source = arrayOf(signal(kCount, 2), false, kCount, 1, rulesFor(false));
    const hvArrayOwner plan(hvCreateDoubleMatrix(kCount, 1));
    const hvArrayOwner doubles(hvCreateDoubleMatrix(kCount, 1));
    Values expected(kCount);
    Place<16, 15> place;
    for (std::size_t i = 0; i < kCount; ++i) {
        hvGetTypedData<double>(plan.get())[i] = -1.0 - static_cast<double>(i);
        hvGetTypedData<double>(doubles.get())[i] = source->realdouble(i) * 1.25;
        expected[i] = place.quantize(source->realdouble(i) * (isFromDoubles ? 1.25 : 1.0), i % kLanes);
    }
    fi::setLogging(logs);
    const auto assign = [&] {
        isFromDoubles ? target->subscriptedOverwriteAssignment(plan.get(), doubles.get())
                      : target->subscriptedOverwriteAssignment(plan.get(), *source);
    };
    assign();
    if (!holds(*target, expected.data(), nullptr) || (logs && !place.figures().match(target->getQlogger()))) {
        return state.SkipWithError("wrong elements or a wrong log");
    }
    timed(state, kCount, assign);
}

void add(const std::string& name, const std::function<void(benchmark::State&)>& run) {
    benchmark::RegisterBenchmark(name.c_str(), run)->MinTime(0.1)->Repetitions(3);
}

void add(const Row& row) {
    add(row.name + "/hand", [row](benchmark::State& s) { runHand(s, row); });
    add(row.name + "/fi", [row](benchmark::State& s) { runFi(s, row, false); });
    add(row.name + "/fi+log", [row](benchmark::State& s) { runFi(s, row, true); });
}

template <bool isSpecified>
void addRows() {
    const std::string mode = isSpecified ? " SpecifyPrecision " : " FullPrecision ";
    const fimath rules = rulesFor(isSpecified);
    const auto addElements = [&](const char* name, std::size_t n, bool isComplex, Hand hand, const Operation& operate,
                                 Reader product, Reader last) {
        const Shape column{n, 1};
        add({name + mode + std::to_string(n), rules, isComplex, column, column, n, n, hand, operate, product, last});
    };
    for (const std::size_t n : {std::size_t{100000}, std::size_t{1000000}}) {
        using Product = ProductPlace<isSpecified>;
        using Sum = SumPlace<isSpecified>;
        addElements("plus", n, false, best<ElementLoop<Step<'+', Sum>>>(), &fi::plus, nullptr, kResultLog);
        addElements("minus", n, false, best<ElementLoop<Step<'-', Sum>>>(), &fi::minus, nullptr, kResultLog);
        addElements("times", n, false, best<ElementLoop<Step<'*', Product>>>(), &fi::times, nullptr, kProductLog);
        addElements("times complex", n, true, best<ElementLoop<ComplexTimesStep<isSpecified>>>(), &fi::times,
                    kProductLog, kPairLog);
    }
    if (!isSpecified) {
        const auto over = [](const fi& a, const fi& b) -> fi& { return a.over(b, fi::NumericType(true, 16, 10)); };
        addElements("over", 100000, false, best<ElementLoop<Step<'/', Place<16, 10>>>>(), over, nullptr, kResultLog);
    }
    for (const std::size_t n : {std::size_t{128}, std::size_t{512}}) {
        const Shape square{n, n};
        add({"mtimes" + mode + std::to_string(n), rules, false, square, square, n * n * n, n * n,
             best<MatrixLoop<isSpecified>>(), &fi::mtimes, kProductLog, kSumLog});
    }
    const Shape wave{100000, 1};
    const Shape filter{64, 1};
    add({"convF" + mode + "100000 by 64", rules, false, wave, filter, 6400000, 100063,
         best<ConvolutionLoop<isSpecified>>(), &fi::convF, kProductLog, kSumLog});
    for (const Shape shape : {Shape{1000, 1000}, Shape{1000000, 1}}) {
        const std::string size = std::to_string(shape.rows) + "x" + std::to_string(shape.columns);
        const Shape none{1, 1};
        const auto addSums = [&](const std::string& name, bool casts, Hand hand) {
            const auto sums = [](const fi& a, const fi&) -> fi& { return a.leadingdimension_sum(); };
            add({name + size, rulesFor(isSpecified, casts), false, shape, none, shape.count(), shape.columns, hand,
                 sums, nullptr, kResultLog});
        };
        addSums("column sums" + mode, true, best<ColumnLoop<isSpecified, true>>());
        if (isSpecified) {
            addSums("column sums, no cast" + mode, false, best<ColumnLoop<isSpecified, false>>());
        }
    }
}

void addUnlooped() {
    for (const bool logs : {false, true}) {
        const std::string variant = logs ? "/fi+log" : "/fi";
        add("roots of 16 bits 10000" + variant, [logs](benchmark::State& s) { runRoots(s, logs); });
        for (const bool isFromDoubles : {false, true}) {
            add((isFromDoubles ? "assignment of doubles 100000" : "assignment 100000") + variant,
                [=](benchmark::State& s) { runAssignment(s, isFromDoubles, logs); });
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    keepFreedMemory();
    addRows<false>();
    addRows<true>();
    addUnlooped();
    return runWithRatios(argc, argv);
}
