// Products and the other operations on arrays against loops written by hand.
//
// Words are s16,15 unless told. Each case has its baseline first:
//     plain    the double loop that allocates its result, for operations that quantize nothing
//     hand     the fused loop with its quantizing written out for the format (s16,14, nearest, saturate)
//     dgemm    the library for matrices of doubles
//     mpfr     the steps of an element written directly on MPFR, for wide words
// and then `fi`, the operation of the array. Before `fi` is timed its result is compared with the baseline's. Items are
// elements, and products for matrices and convolutions.
#include <benchmark/benchmark.h>
#include <cblas.h>
#if defined(__GLIBC__)
#include <malloc.h>
#endif
#include <mpfr.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/ratio_report.h"
#include "fi/fi.h"
#include "numbers/mpnumber.h"

namespace {

using Buffer = std::unique_ptr<double[]>;
using FiOwner = std::unique_ptr<fi>;
using NumericType = EmbeddedTypeSystem::NumericType;
using Values = std::vector<double>;
constexpr auto kAssignment = embedded::OperationTypeEnum::Assignment;

#if defined(__x86_64__)
#define HAND_LOOP __attribute__((target("avx512f,avx512dq,avx512vl,prefer-vector-width=512"), optimize("O3")))
#else
#define HAND_LOOP
#endif

/// Values of s16,15, real parts first.
Values signal(std::size_t count, unsigned seed) {
    std::mt19937_64 random(seed);
    std::normal_distribution<double> normal(0.0, 0.3);
    Values values(count);
    for (double& value : values) {
        value = std::clamp(std::nearbyint(normal(random) * 32768.0), -32768.0, 32767.0) / 32768.0;
    }
    return values;
}

/// The specified types are s16,14 for products and s18,14 for their sums.
fimath rulesFor(bool isSpecified) {
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
    return rules;
}

FiOwner arrayOf(const Values& values, bool isComplex, std::uint64_t rows, std::uint64_t columns, bool isSpecified) {
    const std::uint64_t sizes[] = {rows, columns};
    const NumericType type(true, 16, 15);
    const fimath rules = rulesFor(isSpecified);
    return isComplex ? std::make_unique<fi>(values.data(), values.data() + rows * columns, sizes, 2, type, rules, "",
                                            true, kAssignment)
                     : std::make_unique<fi>(values.data(), sizes, 2, type, rules, "", true, kAssignment);
}

bool holds(const fi& array, const double* re, const double* im) {
    for (std::uint64_t i = 0; i < array.numel(); ++i) {
        if (array.realdouble(i) != re[i] || (im && array.imagdouble(i) != im[i])) return false;
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
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(items));
}

/// Registers a baseline, which writes its result, and the operation of the array.
void addPair(const std::string& name, const std::string& baseline, std::size_t items, std::size_t parts,
             std::size_t resultCount, const std::function<std::function<void(double* re, double* im)>()>& makeBaseline,
             const std::function<std::function<FiOwner()>()>& makeOperation) {
    const auto add = [&](const std::string& variant, auto run) {
        benchmark::RegisterBenchmark((name + "/" + variant).c_str(), run)->MinTime(0.1)->Repetitions(3);
    };
    add(baseline, [=](benchmark::State& state) {
        const auto run = makeBaseline();
        timed(state, items, [&] {
            const Buffer re = std::make_unique_for_overwrite<double[]>(resultCount);
            const Buffer im = parts == 2 ? std::make_unique_for_overwrite<double[]>(resultCount) : nullptr;
            run(re.get(), im.get());
            benchmark::DoNotOptimize(re.get());
        });
    });
    add("fi", [=](benchmark::State& state) {
        const auto run = makeBaseline();
        const auto operate = makeOperation();
        Values re(resultCount), im(resultCount);
        run(re.data(), im.data());
        if (!holds(*operate(), re.data(), parts == 2 ? im.data() : nullptr)) {
            state.SkipWithError("fi and the baseline differ");
            return;
        }
        timed(state, items, [&] { benchmark::DoNotOptimize(operate().get()); });
    });
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

HAND_LOOP void plainTimes(const double* a, const double* b, std::size_t n, double* re) {
    for (std::size_t i = 0; i < n; ++i) re[i] = a[i] * b[i];
}
HAND_LOOP void handTimes(const double* a, const double* b, std::size_t n, double* re) {
    for (std::size_t i = 0; i < n; ++i) re[i] = toProduct(a[i] * b[i]);
}
HAND_LOOP void plainComplexTimes(const double* a, const double* b, std::size_t n, double* re, double* im) {
    for (std::size_t i = 0; i < n; ++i) {
        re[i] = a[i] * b[i] - a[n + i] * b[n + i];
        im[i] = a[n + i] * b[i] + a[i] * b[n + i];
    }
}
// The sum type holds all products, so that casting them changes nothing.
HAND_LOOP void handComplexTimes(const double* a, const double* b, std::size_t n, double* re, double* im) {
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

// Matrices and convolutions.

HAND_LOOP void handMatrix(const double* a, const double* b, std::size_t n, double* c) {
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
HAND_LOOP void handConvolution(const double* padded, const double* filter, std::size_t count, std::size_t taps,
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

// Wide words: full products on entries of the precisions that the library takes.

class WideArray {
 public:
    WideArray(std::size_t count, mpfr_prec_t precision) : mValues(count) {
        for (auto& value : mValues) mpfr_init2(&value, precision);
    }
    ~WideArray() {
        for (auto& value : mValues) mpfr_clear(&value);
    }
    WideArray(const WideArray&) = delete;
    WideArray& operator=(const WideArray&) = delete;
    mpfr_ptr operator[](std::size_t i) { return &mValues[i]; }

 private:
    std::vector<__mpfr_struct> mValues;
};

mpnumber& wide(const number& x) {
    return static_cast<mpnumber&>(const_cast<numberrepbody&>(x.body()));
}

FiOwner wideArrayOf(int wordBits, std::size_t count, unsigned long seed) {
    const NumericType type(true, wordBits, wordBits - 1);
    const std::uint64_t sizes[] = {count, 1};
    auto made = std::make_unique<fi>(sizes, 2, type, rulesFor(false), false, "", true, kAssignment, 0U);
    gmp_randstate_t random;
    gmp_randinit_default(random);
    gmp_randseed_ui(random, seed);
    for (std::size_t i = 0; i < count; ++i) {
        mpfr_ptr entry = wide(made->real(i)).getmodifiableelement();
        mpfr_urandomb(entry, random);
        mpfr_sub_d(entry, entry, 0.5, MPFR_RNDN);
        mpfr_mul_2si(entry, entry, 1, MPFR_RNDN);
    }
    gmp_randclear(random);
    made->quantizeAll(false);
    return made;
}

/// A product with the steps of its quantizer: nearest at the last bit, then the bounds.
void wideProduct(mpfr_srcptr a, mpfr_srcptr b, int bits, mpfr_srcptr half, mpfr_srcptr greatest, mpfr_srcptr least,
                 mpfr_ptr cell, mpfr_ptr out) {
    const int fraction = bits - 2;
    mpfr_set(cell, a, MPFR_RNDN);
    mpfr_mul(cell, cell, b, MPFR_RNDN);
    if (!mpfr_zero_p(cell)) {
        mpfr_mul_2si(cell, cell, fraction, MPFR_RNDN);
        mpfr_add(cell, cell, half, MPFR_RNDN);
        mpfr_rint(cell, cell, MPFR_RNDD);
        mpfr_mul_2si(cell, cell, -fraction, MPFR_RNDN);
        if (mpfr_greater_p(cell, greatest)) {
            mpfr_set(cell, greatest, MPFR_RNDZ);
        } else if (mpfr_less_p(cell, least)) {
            mpfr_set(cell, least, MPFR_RNDZ);
        }
    }
    mpfr_set(out, cell, MPFR_RNDZ);
}

void addWide(int wordBits, std::size_t count) {
    const std::string name = "times " + std::to_string(wordBits) + " bits FullPrecision " + std::to_string(count) + "/";
    const auto add = [&](const std::string& variant, auto run) {
        benchmark::RegisterBenchmark((name + variant).c_str(), run)->MinTime(0.1)->Repetitions(3);
    };
    const auto compute = [=](const fi& a, const fi& b, WideArray& out) {
        const int bits = 2 * wordBits;
        WideArray cells(4, bits);
        mpfr_set_d(cells[0], 0.5, MPFR_RNDN);
        mpfr_set_si_2exp(cells[1], 1, bits - 1, MPFR_RNDN);
        mpfr_sub_ui(cells[1], cells[1], 1, MPFR_RNDN);
        mpfr_mul_2si(cells[1], cells[1], 2 - bits, MPFR_RNDN);
        mpfr_set_si(cells[2], -2, MPFR_RNDN);
        for (std::size_t i = 0; i < count; ++i) {
            wideProduct(wide(a.real(i)).getelement(), wide(b.real(i)).getelement(), bits, cells[0], cells[1], cells[2],
                        cells[3], out[i]);
        }
    };
    add("mpfr", [=](benchmark::State& state) {
        const FiOwner a = wideArrayOf(wordBits, count, 1);
        const FiOwner b = wideArrayOf(wordBits, count, 2);
        timed(state, count, [&] {
            WideArray out(count, 2 * wordBits);
            compute(*a, *b, out);
        });
    });
    add("fi", [=](benchmark::State& state) {
        const FiOwner a = wideArrayOf(wordBits, count, 1);
        const FiOwner b = wideArrayOf(wordBits, count, 2);
        WideArray expected(count, 2 * wordBits);
        compute(*a, *b, expected);
        const FiOwner seen(&a->times(*b));
        for (std::size_t i = 0; i < count; ++i) {
            if (!mpfr_equal_p(expected[i], wide(seen->real(i)).getelement())) {
                state.SkipWithError("fi and direct MPFR differ");
                return;
            }
        }
        timed(state, count, [&] { benchmark::DoNotOptimize(FiOwner(&a->times(*b)).get()); });
    });
}

void registerAll() {
    for (const std::size_t n : {std::size_t{1000}, std::size_t{1000000}}) {
        for (const bool isComplex : {false, true}) {
            for (const bool isSpecified : {false, true}) addTimes(isSpecified, isComplex, n);
        }
    }
    for (const std::size_t n : {std::size_t{128}, std::size_t{512}}) addMatrix(false, n);
    addMatrix(true, 128);
    for (const bool isSpecified : {false, true}) addConvolution(isSpecified, 100000, 64);
    for (const int wordBits : {60, 128, 1024}) addWide(wordBits, 1000);
}

}  // namespace

// Memory that is freed stays with the allocator, for all variants alike: else page faults would count.
int main(int argc, char** argv) {
#if defined(__GLIBC__)
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
#endif
    registerAll();
    return runWithRatios(argc, argv);
}
