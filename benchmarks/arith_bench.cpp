// Products and the other operations on arrays against loops written by hand.
//
// Words are s16,15 unless specified otherwise. Each case has its baseline first:
//     plain    the double loop that allocates its result, for operations that quantize nothing, and for roots
//     hand     the fused loop with its quantizing or its bits written out for the format
//     std      the sorting functions of the standard library
//     dgemm    the library for matrices of doubles
// and then `fi`, the operation of the array. Before `fi` is timed its result is compared with the baseline's. Items are
// elements, and products for matrices and convolutions.
#include <benchmark/benchmark.h>
#include <cblas.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "benchmarks/known_arrays.h"
#include "benchmarks/pairs.h"
#include "benchmarks/ratio_report.h"
#include "benchmarks/vector_targets.h"
#include "fi/fi.h"
#include "host/hv.h"

namespace {

using Buffer = std::unique_ptr<double[]>;
using NumericType = EmbeddedTypeSystem::NumericType;

FiOwner arrayOf(const Values& values, bool isComplex, std::uint64_t rows, std::uint64_t columns, bool isSpecified) {
    return arrayOf(values, isComplex, rows, columns, rulesFor(isSpecified));
}

// The expected results of sorting: values and their positions.

struct Sorted {
    FiOwner values;
    Buffer places;
};

bool holds(const Sorted& sorted, const double* values, const double* places) {
    return holds(*sorted.values, values, nullptr) &&
           std::equal(places, places + sorted.values->numel(), sorted.places.get());
}

// Element by element.

__attribute__((always_inline)) inline double quantized(double x, double least, double greatest) {
    double v = std::floor(x * 16384.0 + 0.5);
    v = v < greatest ? v : greatest;
    return (v > least ? v : least) * (1.0 / 16384.0);
}
__attribute__((always_inline)) inline double toProduct(double x) {
    return quantized(x, -32768.0, 32767.0);
}
__attribute__((always_inline)) inline double toSum(double x) {
    return quantized(x, -131072.0, 131071.0);
}

AVX512_LOOP void plainTimes(const double* a, const double* b, std::size_t n, double* re) {
    for (std::size_t i = 0; i < n; ++i) {
        re[i] = a[i] * b[i];
    }
}
AVX512_LOOP void handTimes(const double* a, const double* b, std::size_t n, double* re) {
    for (std::size_t i = 0; i < n; ++i) {
        re[i] = toProduct(a[i] * b[i]);
    }
}
AVX512_LOOP void plainComplexTimes(const double* a, const double* b, std::size_t n, double* re, double* im) {
    for (std::size_t i = 0; i < n; ++i) {
        re[i] = a[i] * b[i] - a[n + i] * b[n + i];
        im[i] = a[n + i] * b[i] + a[i] * b[n + i];
    }
}
// The sum type holds all products, so that casting them changes nothing.
AVX512_LOOP void handComplexTimes(const double* a, const double* b, std::size_t n, double* re, double* im) {
    for (std::size_t i = 0; i < n; ++i) {
        re[i] = toSum(toProduct(a[i] * b[i]) - toProduct(a[n + i] * b[n + i]));
        im[i] = toSum(toProduct(a[n + i] * b[i]) + toProduct(a[i] * b[n + i]));
    }
}

void addTimes(bool isSpecified, bool isComplex, std::size_t n) {
    const std::size_t parts = isComplex ? 2 : 1;
    addPair(
        std::string("times ") + (isComplex ? "complex " : "real ") +
            (isSpecified ? "SpecifyPrecision " : "FullPrecision ") + std::to_string(n),
        isSpecified ? "hand" : "plain", n, parts, n,
        [=] {
            return [=, a = signal(n * parts, 1), b = signal(n * parts, 2)](double* re, double* im) {
                if (isComplex) {
                    (isSpecified ? handComplexTimes : plainComplexTimes)(a.data(), b.data(), n, re, im);
                } else {
                    (isSpecified ? handTimes : plainTimes)(a.data(), b.data(), n, re);
                }
            };
        },
        [=] {
            const std::shared_ptr<fi> a = arrayOf(signal(n * parts, 1), isComplex, n, 1, isSpecified);
            const std::shared_ptr<fi> b = arrayOf(signal(n * parts, 2), isComplex, n, 1, isSpecified);
            return [=] { return FiOwner(&a->times(*b)); };
        });
}

AVX512_LOOP void handOver(const double* a, const double* b, std::size_t n, double* re) {
    for (std::size_t i = 0; i < n; ++i) {
        re[i] = toProduct(a[i] / b[i]);
    }
}

/// Values of s16,15 without a zero, or with one in a hundred.
Values divisors(std::size_t count, bool haveZeros) {
    Values values = signal(count, 2);
    std::replace(values.begin(), values.end(), 0.0, 0.25);
    for (std::size_t i = 0; haveZeros && i < count; i += 100) {
        values[i] = 0.0;
    }
    return values;
}

// Quotients are of the type of products. The last one, which would warn, isn't by zero.
void addOver(bool haveZeros, std::size_t n) {
    addPair((haveZeros ? "over with zeros " : "over ") + std::to_string(n), "hand", n, 1, n,
            [=] {
                return [=, a = signal(n, 1), b = divisors(n, haveZeros)](double* re, double*) {
                    handOver(a.data(), b.data(), n, re);
                };
            },
            [=] {
                const std::shared_ptr<fi> a = arrayOf(signal(n, 1), false, n, 1, false);
                const std::shared_ptr<fi> b = arrayOf(divisors(n, haveZeros), false, n, 1, false);
                return [=, type = NumericType(true, 16, 14)] { return FiOwner(&a->over(*b, type)); };
            });
}

// Roots of s16,15 are s8,7.

/// A root is raised where the element exceeds the square of the root rounded down by more than this.
struct Raise {
    double perStep;
    double fixed;
};
Raise raiseFor(embedded::RoundModeEnum mode) {
    switch (mode) {
        case embedded::RoundModeEnum::Floor:
            return {0.0, std::numeric_limits<double>::infinity()};
        case embedded::RoundModeEnum::Ceil:
            return {0.0, 0.0};
        default:
            // More than halfway to the next square, or just halfway: the element is first cast to the type of squares.
            return {1.0, 0.25};
    }
}

AVX512_LOOP void plainRoots(const double* x, std::size_t n, Raise raise, double* re) {
    for (std::size_t i = 0; i < n; ++i) {
        const double squared = x[i] * 16384.0;
        const double root = std::floor(std::sqrt(squared));
        const double raised = squared - root * root > root * raise.perStep + raise.fixed ? root + 1.0 : root;
        re[i] = (raised < 127.0 ? raised : 127.0) * (1.0 / 128.0);
    }
}

void addRoots(embedded::RoundModeEnum mode, bool logs, std::size_t n) {
    const std::string name = mode == embedded::RoundModeEnum::Floor  ? "floor "
                             : mode == embedded::RoundModeEnum::Ceil ? "ceil "
                                                                     : "nearest ";
    addPair(
        "sqrtBisection " + name + (logs ? "logging " : "") + std::to_string(n), "plain", n, 1, n,
        [=] { return [=, x = magnitudes(n)](double* re, double*) { plainRoots(x.data(), n, raiseFor(mode), re); }; },
        [=] {
            const std::shared_ptr<fi> x = arrayOf(magnitudes(n), false, n, 1, false);
            fimath rules = rulesFor(false);
            rules.setRoundMode(mode);
            return [=] {
                fi::setLogging(logs);
                FiOwner roots(x->sqrtBisection(rules));
                fi::setLogging(false);
                return roots;
            };
        });
}

/// To the right, or to the left with saturation.
AVX512_LOOP void handShift(const double* a, int k, std::size_t n, double* re) {
    const double scale = std::ldexp(32768.0, k);
    for (std::size_t i = 0; i < n; ++i) {
        double v = std::floor(a[i] * scale);
        v = v < 32767.0 ? v : 32767.0;
        re[i] = (v > -32768.0 ? v : -32768.0) * (1.0 / 32768.0);
    }
}

void addShift(int k, std::size_t n) {
    addPair(
        "bitshift by " + std::to_string(k) + " " + std::to_string(n), "hand", n, 1, n,
        [=] { return [=, a = signal(n, 1)](double* re, double*) { handShift(a.data(), k, n, re); }; },
        [=] {
            const std::shared_ptr<fi> a = arrayOf(signal(n, 1), false, n, 1, false);
            return [=] { return FiOwner(&a->pow2(k, true)); };
        });
}

// Sorted copies, alone and with the original positions. With 10^6 elements of 16 bits, each value occurs many times.

void addSort(std::size_t n) {
    const auto makeArray = [=] { return std::shared_ptr<fi>(arrayOf(signal(n, 1), false, n, 1, false)); };
    addPair(
        "sort " + std::to_string(n), "std", n, 1, n,
        [=] {
            return [=, values = signal(n, 1)](double* re, double*) {
                std::copy(values.begin(), values.end(), re);
                std::sort(re, re + n);
            };
        },
        [=] { return [=, a = makeArray()] { return FiOwner(&a->stridesort(true, 1, n)); }; });
    addPair(
        "sort with places " + std::to_string(n), "std", n, 2, n,
        [=] {
            return [=, values = signal(n, 1)](double* re, double* places) {
                std::vector<std::pair<double, double>> entries(n);
                for (std::size_t i = 0; i < n; ++i) {
                    entries[i] = {values[i], static_cast<double>(i + 1)};
                }
                std::stable_sort(entries.begin(), entries.end(),
                                 [](const auto& x, const auto& y) { return x.first < y.first; });
                for (std::size_t i = 0; i < n; ++i) {
                    std::tie(re[i], places[i]) = entries[i];
                }
            };
        },
        [=] {
            return [=, a = makeArray()] {
                Buffer places = std::make_unique_for_overwrite<double[]>(n);
                double* indices = places.get();
                FiOwner values(&a->stridesort2(indices, true, 1, n));
                return std::make_unique<Sorted>(Sorted{std::move(values), std::move(places)});
            };
        });
}

// Matrices and convolutions.

AVX512_LOOP void handMatrix(const double* a, const double* b, std::size_t n, double* c) {
    constexpr std::size_t kRows = 32;
    for (std::size_t j = 0; j < n; ++j) {
        for (std::size_t i = 0; i < n; i += kRows) {
            double total[kRows] = {};
            for (std::size_t k = 0; k < n; ++k) {
                for (std::size_t r = 0; r < kRows; ++r) {
                    total[r] = toSum(total[r] + toProduct(a[k * n + i + r] * b[j * n + k]));
                }
            }
            std::copy(total, total + kRows, c + j * n + i);
        }
    }
}

void addMatrix(bool isSpecified, std::size_t n) {
    addPair(
        std::string("mtimes ") + (isSpecified ? "SpecifyPrecision " : "FullPrecision ") + std::to_string(n),
        isSpecified ? "hand" : "dgemm", n * n * n, 1, n * n,
        [=] {
            return [=, a = signal(n * n, 1), b = signal(n * n, 2)](double* c, double*) {
                if (isSpecified) {
                    handMatrix(a.data(), b.data(), n, c);
                } else {
                    const auto size = static_cast<int>(n);
                    cblas_dgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, size, size, size, 1.0, a.data(), size,
                                b.data(), size, 0.0, c, size);
                }
            };
        },
        [=] {
            const std::shared_ptr<fi> a = arrayOf(signal(n * n, 1), false, n, n, isSpecified);
            const std::shared_ptr<fi> b = arrayOf(signal(n * n, 2), false, n, n, isSpecified);
            return [=] { return FiOwner(&a->mtimes(*b)); };
        });
}

// The signal is padded, so that the tiles have no edges.
template <bool isSpecified>
AVX512_LOOP void handConvolution(const double* padded, const double* filter, std::size_t count, std::size_t taps,
                                 double* out) {
    constexpr std::size_t kTile = 32;
    for (std::size_t n = 0; n < count; n += kTile) {
        double total[kTile] = {};
        for (std::size_t k = taps; k-- > 0;) {
            const double* const x = padded + n + (taps - 1) - k;
            for (std::size_t i = 0; i < kTile; ++i) {
                const double product = x[i] * filter[k];
                total[i] = isSpecified ? toSum(total[i] + toProduct(product)) : total[i] + product;
            }
        }
        std::copy_n(total, std::min(kTile, count - n), out + n);
    }
}

void addConvolution(bool isSpecified, std::size_t length, std::size_t taps) {
    const std::size_t count = length + taps - 1;
    addPair(
        std::string("convF ") + (isSpecified ? "SpecifyPrecision " : "FullPrecision ") + std::to_string(length) +
            " by " + std::to_string(taps),
        "hand", length * taps, 1, count,
        [=] {
            Values padded(length + 2 * taps + 64);
            const Values x = signal(length, 1);
            std::copy(x.begin(), x.end(), padded.begin() + static_cast<std::ptrdiff_t>(taps) - 1);
            return [=, filter = signal(taps, 2)](double* out, double*) {
                (isSpecified ? handConvolution<true> : handConvolution<false>)(padded.data(), filter.data(), count,
                                                                               taps, out);
            };
        },
        [=] {
            const std::shared_ptr<fi> a = arrayOf(signal(length, 1), false, length, 1, isSpecified);
            const std::shared_ptr<fi> b = arrayOf(signal(taps, 2), false, taps, 1, isSpecified);
            return [=] { return FiOwner(&a->convF(*b)); };
        });
}

void registerAll() {
    for (const std::size_t n : {std::size_t{1000}, std::size_t{1000000}}) {
        for (const bool isComplex : {false, true}) {
            for (const bool isSpecified : {false, true}) {
                addTimes(isSpecified, isComplex, n);
            }
        }
        for (const bool haveZeros : {false, true}) {
            addOver(haveZeros, n);
        }
        using Round = embedded::RoundModeEnum;
        for (const Round mode : {Round::Floor, Round::Ceil, Round::Nearest}) {
            for (const bool logs : {false, true}) {
                addRoots(mode, logs, n);
            }
        }
        for (const int k : {-3, 3}) {
            addShift(k, n);
        }
        addSort(n);
    }
    for (const std::size_t n : {std::size_t{128}, std::size_t{512}}) {
        addMatrix(false, n);
    }
    addMatrix(true, 128);
    for (const bool isSpecified : {false, true}) {
        addConvolution(isSpecified, 100000, 64);
    }
}

}  // namespace

int main(int argc, char** argv) {
    keepFreedMemory();
    registerAll();
    return runWithRatios(argc, argv);
}
