// Passes over whole arrays that do little for each element, against loops written by hand into fresh memory.
//
// Words are s16,15. Baselines:
//     hand     the loop on doubles, with the words of bit operations as integers
//     copy     of the doubles
//     first    the same reduction along the first dimension
// and then `fi`, the operation of the array; "logging" is with logging on. Matrices have 400 rows, or 1000 of 10^6
// elements. Results are compared before anything is timed.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "benchmarks/known_arrays.h"
#include "benchmarks/pairs.h"
#include "benchmarks/ratio_report.h"
#include "benchmarks/vector_targets.h"
#include "fi/fi.h"
#include "host/front/front.h"
#include "host/hv.h"
#include "host/reference/Session.h"

namespace {

using hostref::Session;
using hostref::Value;
using FiPointer = std::shared_ptr<const fi>;

std::string named(const char* what, std::size_t n) {
    return std::string(what) + " " + std::to_string(n);
}

FiPointer column(const Values& values) {
    return arrayOf(values, false, values.size(), 1, rulesFor(false));
}

// Comparisons. Every third element equals the other one.

template <class Compare>
AVX512_LOOP void handCompare(const double* a, const double* b, std::size_t n, hvLogical* out) {
    for (std::size_t i = 0; i < n; ++i) {
        out[i] = Compare()(a[i], b[i]);
    }
}

template <class Compare>
void addComparison(const char* name, hvArray* (fi::*operation)(const fi&) const, std::size_t n) {
    Values other = signal(n, 2);
    const Values same = signal(n, 1);
    for (std::size_t i = 0; i < n; i += 3) {
        other[i] = same[i];
    }
    addPair<hvLogical>(
        named(name, n), "hand", n, 1, n,
        [=] { return [=](hvLogical* out, hvLogical*) { handCompare<Compare>(same.data(), other.data(), n, out); }; },
        [=] { return [=, a = column(same), b = column(other)] { return hvArrayOwner((a.get()->*operation)(*b)); }; });
}

// Bits.

template <class Combine>
AVX512_LOOP void handBits(const double* a, const double* b, std::size_t n, double* out) {
    for (std::size_t i = 0; i < n; ++i) {
        const auto word =
            Combine()(static_cast<std::int64_t>(a[i] * 32768.0), static_cast<std::int64_t>(b[i] * 32768.0));
        out[i] = static_cast<double>(word) * (1.0 / 32768.0);
    }
}

template <class Combine>
void addBits(const char* name, fi& (fi::*operation)(const fi&) const, std::size_t n) {
    addPair(
        named(name, n), "hand", n, 1, n,
        [=] {
            return [=, a = signal(n, 1), b = signal(n, 2)](double* out, double*) {
                handBits<Combine>(a.data(), b.data(), n, out);
            };
        },
        [=] {
            return
                [=, a = column(signal(n, 1)), b = column(signal(n, 2))] { return FiOwner(&(a.get()->*operation)(*b)); };
        });
}

/// The other operand is one word.
template <class Combine>
AVX512_LOOP void handBitsWith(const double* a, std::int64_t word, std::size_t n, double* out) {
    for (std::size_t i = 0; i < n; ++i) {
        out[i] = static_cast<double>(Combine()(static_cast<std::int64_t>(a[i] * 32768.0), word)) * (1.0 / 32768.0);
    }
}

template <class Combine, class Operation>
void addBitsWith(const char* name, std::int64_t word, const Operation& operation, std::size_t n) {
    addPair(
        named(name, n), "hand", n, 1, n,
        [=] { return [=, a = signal(n, 1)](double* out, double*) { handBitsWith<Combine>(a.data(), word, n, out); }; },
        [=] { return [=, a = column(signal(n, 1))] { return FiOwner(&operation(*a)); }; });
}

// Conversions.

AVX512_LOOP void handFromDoubles(const double* a, std::size_t n, double* out) {
    for (std::size_t i = 0; i < n; ++i) {
        double word = std::floor(a[i] * 32768.0 + 0.5);
        word = word < 32767.0 ? word : 32767.0;
        out[i] = (word > -32768.0 ? word : -32768.0) * (1.0 / 32768.0);
    }
}

void addFromDoubles(bool logs, std::size_t n) {
    Values values = signal(n, 1);
    for (std::size_t i = 0; i < n; ++i) {
        values[i] = 1.1 * values[i] + 1e-6 * static_cast<double>(i % 7);
    }
    addPair(
        named(logs ? "from doubles, logging" : "from doubles", n), "hand", n, 1, n,
        [=] { return [=](double* out, double*) { handFromDoubles(values.data(), n, out); }; },
        [=] {
            return [=, rules = rulesFor(false)] {
                fi::setLogging(logs);
                FiOwner made = arrayOf(values, false, n, 1, rules);
                fi::setLogging(false);
                return made;
            };
        });
}

/// A result as doubles.
struct Doubles {
    Value value;
};
bool holds(const Doubles& doubles, const double* re, const double*) {
    const std::span<const double> seen = doubles.value.doubles();
    return !seen.empty() && std::equal(seen.begin(), seen.end(), re);
}

struct Copied {
    Values values;
};
bool holds(const Copied& copied, const double* re, const double*) {
    return std::equal(copied.values.begin(), copied.values.end(), re);
}

void addToDoubles(std::size_t n) {
    addPair(
        named("to doubles", n), "copy", n, 1, n,
        [=] { return [=, a = signal(n, 1)](double* out, double*) { std::copy_n(a.data(), n, out); }; },
        [=] {
            const auto session = std::make_shared<Session>();
            const Value array = front::fi(*session, Value(signal(n, 1)), true, 16, 15);
            return [session, array] { return std::make_unique<Doubles>(Doubles{array.get("double")}); };
        });
    addPair(
        named("toDoubles of a value", n), "copy", n, 1, n,
        [=] { return [=, a = signal(n, 1)](double* out, double*) { std::copy_n(a.data(), n, out); }; },
        [=] {
            const Value value(signal(n, 1));
            return [=] { return std::make_unique<Copied>(Copied{value.toDoubles()}); };
        });
}

// Matrices.

AVX512_LOOP void handTranspose(const double* a, std::size_t rows, std::size_t columns, double* out) {
    constexpr std::size_t kTile = 8;
    for (std::size_t left = 0; left < columns; left += kTile) {
        for (std::size_t top = 0; top < rows; top += kTile) {
            for (std::size_t row = top; row < std::min(top + kTile, rows); ++row) {
                for (std::size_t column = left; column < std::min(left + kTile, columns); ++column) {
                    out[column + row * columns] = a[row + column * rows];
                }
            }
        }
    }
}

std::size_t rowsFor(std::size_t n) {
    return n == 1000000 ? 1000 : 400;
}

void addTranspose(std::size_t n) {
    const std::size_t rows = rowsFor(n);
    addPair(
        named("transpose", n), "hand", n, 1, n,
        [=] { return [=, a = signal(n, 1)](double* out, double*) { handTranspose(a.data(), rows, n / rows, out); }; },
        [=] {
            const FiPointer a = arrayOf(signal(n, 1), false, rows, n / rows, rulesFor(false));
            return [=] { return FiOwner(a->transpose()); };
        });
}

using Reduce = Value (*)(Session& session, const Value& matrix, std::size_t dimension);

void addReduction(const char* name, Reduce reduce, std::size_t n) {
    const auto add = [&](const char* variant, std::size_t dimension) {
        benchmark::RegisterBenchmark(
            (named(name, n) + "/" + variant).c_str(),
            [=](benchmark::State& state) {
                Session session;
                const std::size_t rows = rowsFor(n);
                const auto matrix = [&](std::size_t height, std::size_t width, const Values& values) {
                    return front::fi(session, Value::matrix(height, width, values), true, 16, 15);
                };
                const Values values = signal(n, 1);
                Values turned(n);
                handTranspose(values.data(), rows, n / rows, turned.data());
                const Value upright = matrix(rows, n / rows, values);
                const Value flat = matrix(n / rows, rows, turned);
                if (reduce(session, upright, 0).get("double").toDoubles() !=
                    reduce(session, flat, 1).get("double").toDoubles()) {
                    state.SkipWithError("the dimensions differ");
                    return;
                }
                timed(state, n,
                      [&] { benchmark::DoNotOptimize(reduce(session, dimension == 0 ? upright : flat, dimension)); });
            })
            ->MinTime(0.1)
            ->Repetitions(3);
    };
    add("first", 0);
    add("second", 1);
}

void registerAll() {
    for (const std::size_t n : {std::size_t{100000}, std::size_t{1000000}}) {
        addComparison<std::equal_to<>>("eq", &fi::eq, n);
        addComparison<std::less<>>("lt", &fi::lt, n);
        addBits<std::bit_and<>>("bitand", &fi::fibitand, n);
        addBits<std::bit_or<>>("bitor", &fi::fibitor, n);
        addBits<std::bit_xor<>>("bitxor", &fi::bitxor, n);
        addBitsWith<std::bit_xor<>>(
            "bitcmp", -1, [](const fi& a) -> fi& { return a.bitcmp(); }, n);
        addBitsWith<std::bit_or<>>(
            "bitset", 4,
            [](const fi& a) -> fi& {
                const hvArrayOwner position(hvCreateDoubleScalar(3.0));
                const hvArrayOwner value(hvCreateDoubleScalar(1.0));
                return a.bitset(position.get(), value.get());
            },
            n);
        addFromDoubles(false, n);
        addFromDoubles(true, n);
        addToDoubles(n);
        addTranspose(n);
        addReduction(
            "max",
            [](Session& s, const Value& x, std::size_t dimension) { return front::maxAlong(s, x, dimension).values; },
            n);
        addReduction(
            "sum", [](Session& s, const Value& x, std::size_t dimension) { return front::sum(s, x, dimension); }, n);
    }
}

}  // namespace

int main(int argc, char** argv) {
    keepFreedMemory();
    registerAll();
    return runWithRatios(argc, argv);
}
