// Arrays of words that doubles don't hold, and narrower ones whose results don't, against the same integers in plain
// memory.
//
// Arrays are signed, with local rules, nearest and saturate, and FullPrecision unless the case says otherwise; 10^4
// elements. Cases are an operation and the bits of its operands:
//     plus, times, complex times, less than, bitand, negate, min
//     quantize          words of twice the bits into words of the bits
//     divide            into words of the bits; "divide 16 into 23": words of 16 bits into 23
//     from doubles      values of 53 bits
//     hex text          num2base of a column
//     column sums       of 100 columns
//     mtimes, conv      100 by 100, and 64 taps; "specified": products of 64 bits, sums of 72; an item is a product
// Variants: loop, the processor's integers for results of up to 128 bits, else GMP's functions for limbs, into fresh
// memory; gmp, GMP's integers, into numbers that exist; fi; fi+log, with logging on. Before a case is timed all results
// are compared. Repetitions of all variants are interleaved, and the fastest of each counts.
//
//     wide_bench --curve
//
// prints a table of some operations for all lengths from 8 to 160 bits instead.
#include <benchmark/benchmark.h>
#include <gmp.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/known_arrays.h"
#include "benchmarks/plain_integers.h"
#include "benchmarks/vector_targets.h"
#include "fi/fi.h"
#include "host/hv.h"

namespace {

using EmbeddedTypeSystem::NumericType;
constexpr std::size_t kCount = 10000;
constexpr std::size_t kSide = 100;  // of matrices with kCount elements
constexpr std::size_t kTaps = 64;
constexpr auto kAssignment = embedded::OperationTypeEnum::Assignment;

fimath rulesOf(bool isSpecified = false) {
    fimath rules = rulesFor(false);
    rules.setMaxSumWordLength(4096);
    if (isSpecified) {
        rules.setProductMode(fimath::ArithmeticModeEnum::SpecifyPrecision);
        rules.setProductWordLength(64);
        rules.setProductFractionLength(62);
        rules.setSumMode(fimath::ArithmeticModeEnum::SpecifyPrecision);
        rules.setSumWordLength(72);
        rules.setSumFractionLength(62);
    }
    return rules;
}

/// What a case times, and whether all results agree.
struct Works {
    std::size_t items;
    std::vector<std::pair<std::string, std::function<void()>>> variants;
    std::function<bool()> agree;
};

/// Works with words as results.
Works wordWorks(std::size_t items, const std::function<Integers()>& loop, std::size_t resultCount,
                const std::function<void(Bigs& out)>& gmp, const std::function<FiOwner()>& operate) {
    const auto out = std::make_shared<Bigs>(resultCount);
    return {items,
            {{"loop", [=] { benchmark::DoNotOptimize(loop().limbs.get()); }},
             {"gmp", [=] { gmp(*out); }},
             {"fi", [=] { benchmark::DoNotOptimize(operate().get()); }}},
            [=] {
                gmp(*out);
                const FiOwner seen = operate();
                const Integers wanted = loop();
                return out->words(wanted.width) == wanted && wordsOf(*seen) == wanted;
            }};
}

/// Two operands in all forms.
struct Operands {
    explicit Operands(int length, bool isComplex = false)
        : bits(length),
          a(randomWords(bits, 1, kCount)),
          b(randomWords(bits, 2, kCount)),
          bigA(a),
          bigB(b),
          aIm(randomWords(bits, isComplex ? 3 : 1, isComplex ? kCount : 1)),
          bIm(randomWords(bits, isComplex ? 4 : 1, isComplex ? kCount : 1)),
          bigAIm(aIm),
          bigBIm(bIm),
          fiA(arrayOf(a, isComplex ? &aIm : nullptr, bits, bits - 1, rulesOf())),
          fiB(arrayOf(b, isComplex ? &bIm : nullptr, bits, bits - 1, rulesOf())) {}
    int bits;
    Integers a;
    Integers b;
    Bigs bigA;
    Bigs bigB;
    Integers aIm;
    Integers bIm;
    Bigs bigAIm;
    Bigs bigBIm;
    FiOwner fiA;
    FiOwner fiB;
};
using Shared = std::shared_ptr<const Operands>;

// Loops over integers of one limb, compiled for the processor's vectors.

template <class Combine>
struct EachWord {
    [[gnu::always_inline]] static void run(const std::int64_t* a, const std::int64_t* b, std::int64_t* out,
                                           std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            out[i] = Combine::of(a[i], b[i]);
        }
    }
};
template <class Combine>
void eachWord(const Integers& a, const Integers& b, const Integers& out) {
    static const auto kRun =
        VectorTargets<EachWord<Combine>, const std::int64_t*, const std::int64_t*, std::int64_t*, std::size_t>::best();
    kRun(a.words(), b.words(), out.words(), out.count);
}
struct Sum {
    [[gnu::always_inline]] static std::int64_t of(std::int64_t a, std::int64_t b) { return a + b; }
};
struct Product {
    [[gnu::always_inline]] static std::int64_t of(std::int64_t a, std::int64_t b) { return a * b; }
};
struct And {
    [[gnu::always_inline]] static std::int64_t of(std::int64_t a, std::int64_t b) { return a & b; }
};
struct Least {
    [[gnu::always_inline]] static std::int64_t of(std::int64_t a, std::int64_t b) { return a < b ? a : b; }
};
/// -a, which saturates at the greatest word b.
struct Negative {
    [[gnu::always_inline]] static std::int64_t of(std::int64_t a, std::int64_t b) { return a < -b ? b : -a; }
};

bool isLess(const Integers& a, const Integers& b, std::size_t i) {
    const auto topA = static_cast<std::int64_t>(a.top(i));
    const auto topB = static_cast<std::int64_t>(b.top(i));
    return topA != topB ? topA < topB : mpn_cmp(a.at(i), b.at(i), sizeOf(a.width)) < 0;
}

/// out = x with as many limbs as there are.
void extend(const mp_limb_t* x, std::size_t from, mp_limb_t* out, std::size_t width) {
    std::fill(std::copy_n(x, from, out), out + width, signOf(x[from - 1]));
}

Works plus(const Shared& x) {
    return wordWorks(
        kCount,
        [x] {
            Integers sums(kCount, limbsFor(x->bits + 1));
            if (sums.width == 1) {
                eachWord<Sum>(x->a, x->b, sums);
                return sums;
            }
            if (sums.width == 2) {
                for (std::size_t i = 0; i < kCount; ++i) {
                    sums.set(i, x->a.wide(i) + x->b.wide(i));
                }
                return sums;
            }
            std::vector<mp_limb_t> other(sums.width);
            for (std::size_t i = 0; i < kCount; ++i) {
                extend(x->a.at(i), x->a.width, sums.at(i), sums.width);
                extend(x->b.at(i), x->b.width, other.data(), sums.width);
                mpn_add_n(sums.at(i), sums.at(i), other.data(), sizeOf(sums.width));
            }
            return sums;
        },
        kCount,
        [x](Bigs& out) {
            for (std::size_t i = 0; i < kCount; ++i) {
                mpz_add(out[i], x->bigA[i], x->bigB[i]);
            }
        },
        [x] { return FiOwner(&x->fiA->plus(*x->fiB)); });
}

void multiply(const Integers& a, const Integers& b, std::size_t i, mp_limb_t* product) {
    const mp_size_t size = sizeOf(a.width);
    mpn_mul_n(product, a.at(i), b.at(i), size);
    // A negative factor stands for 2^(64 limbs) more than its value.
    if (a.isNegative(i)) {
        mpn_sub_n(product + size, product + size, b.at(i), size);
    }
    if (b.isNegative(i)) {
        mpn_sub_n(product + size, product + size, a.at(i), size);
    }
}

Works times(const Shared& x) {
    return wordWorks(
        kCount,
        [x] {
            Integers products(kCount, limbsFor(2 * x->bits));
            if (products.width == 1) {
                eachWord<Product>(x->a, x->b, products);
                return products;
            }
            for (std::size_t i = 0; i < kCount; ++i) {
                if (x->a.width == 1) {
                    products.set(i, static_cast<Wide>(x->a.words()[i]) * x->b.words()[i]);
                } else {
                    multiply(x->a, x->b, i, products.at(i));
                }
            }
            return products;
        },
        kCount,
        [x](Bigs& out) {
            for (std::size_t i = 0; i < kCount; ++i) {
                mpz_mul(out[i], x->bigA[i], x->bigB[i]);
            }
        },
        [x] { return FiOwner(&x->fiA->times(*x->fiB)); });
}

/// For products of up to 128 bits.
Works complexTimes(const Shared& x) {
    return wordWorks(
        kCount,
        [x] {
            Integers products(2 * kCount, limbsFor(2 * x->bits + 1));
            for (std::size_t i = 0; i < kCount; ++i) {
                const std::int64_t a = x->a.words()[i];
                const std::int64_t b = x->b.words()[i];
                const std::int64_t aIm = x->aIm.words()[i];
                const std::int64_t bIm = x->bIm.words()[i];
                if (products.width == 1) {
                    products.words()[i] = a * b - aIm * bIm;
                    products.words()[kCount + i] = a * bIm + aIm * b;
                } else {
                    products.set(i, static_cast<Wide>(a) * b - static_cast<Wide>(aIm) * bIm);
                    products.set(kCount + i, static_cast<Wide>(a) * bIm + static_cast<Wide>(aIm) * b);
                }
            }
            return products;
        },
        2 * kCount,
        [x](Bigs& out) {
            for (std::size_t i = 0; i < kCount; ++i) {
                mpz_mul(out[i], x->bigA[i], x->bigB[i]);
                mpz_submul(out[i], x->bigAIm[i], x->bigBIm[i]);
                mpz_mul(out[kCount + i], x->bigA[i], x->bigBIm[i]);
                mpz_addmul(out[kCount + i], x->bigAIm[i], x->bigB[i]);
            }
        },
        [x] { return FiOwner(&x->fiA->times(*x->fiB)); });
}

/// The greatest word.
mpz_srcptr greatest(int bits) {
    static std::map<int, std::unique_ptr<Bigs>> made;
    auto& word = made[bits];
    if (!word) {
        word = std::make_unique<Bigs>(1);
        mpz_setbit((*word)[0], static_cast<mp_bitcnt_t>(bits) - 1);
        mpz_sub_ui((*word)[0], (*word)[0], 1);
    }
    return (*word)[0];
}
void saturate(mpz_ptr x, int bits) {
    if (mpz_cmp(x, greatest(bits)) > 0) {
        mpz_set(x, greatest(bits));
    } else if (mpz_sgn(x) < 0 && mpz_cmpabs(x, greatest(bits)) > 0) {
        mpz_set(x, greatest(bits));
        mpz_com(x, x);
    }
}
/// For up to two limbs.
Wide saturated(Wide x, int bits) {
    const auto most = static_cast<Wide>((static_cast<Unsigned>(1) << (bits - 1)) - 1);
    return x > most ? most : x < -most - 1 ? -most - 1 : x;
}

Works quantize(int bits) {
    const auto words = std::make_shared<Integers>(randomWords(2 * bits, 3, kCount));
    const auto bigs = std::make_shared<Bigs>(*words);
    const std::shared_ptr<fi> wide = arrayOf(*words, nullptr, 2 * bits, 2 * bits - 2, rulesOf());
    const std::uint64_t sizes[] = {kCount, 1};
    const auto target =
        std::make_shared<fi>(sizes, 2, NumericType(true, bits, bits - 2), rulesOf(), false, "", true, kAssignment, 0U);
    const auto half = std::make_shared<Bigs>(1);
    mpz_setbit((*half)[0], static_cast<mp_bitcnt_t>(bits) - 1);
    Works works = wordWorks(
        kCount,
        [=] {
            Integers rounded(kCount, limbsFor(bits));
            for (std::size_t i = 0; i < kCount; ++i) {
                if (words->width <= 2) {
                    rounded.set(i, saturated(((words->wide(i) >> (bits - 1)) + 1) >> 1, bits));
                    continue;
                }
                // Whole limbs are dropped.
                mp_limb_t* const out = rounded.at(i);
                const mp_size_t size = sizeOf(rounded.width);
                const bool wasNegative = words->isNegative(i);
                mpn_add_1(out, words->at(i) + size, size, words->at(i)[size - 1] >> 63);
                if (!wasNegative && rounded.isNegative(i)) {
                    mpn_sub_1(out, out, size, 1);
                }
            }
            return rounded;
        },
        kCount,
        [=](Bigs& out) {
            for (std::size_t i = 0; i < kCount; ++i) {
                mpz_add(out[i], (*bigs)[i], (*half)[0]);
                mpz_fdiv_q_2exp(out[i], out[i], static_cast<mp_bitcnt_t>(bits));
                saturate(out[i], bits);
            }
        },
        [=] { return std::make_unique<fi>(*target); });
    works.variants.back().second = [=] { target->copydata(*wide); };
    works.agree = [=, agree = works.agree] {
        target->copydata(*wide);
        return agree();
    };
    return works;
}

/// Quotients into words of `into` bits with into - 2 fraction bits; ties go up.
Works divide(const Shared& x, int into) {
    const int shift = into - 1;  // of the doubled quotient
    return wordWorks(
        kCount,
        [=] {
            Integers quotients(kCount, limbsFor(into));
            if (x->bits + into <= 128) {
                for (std::size_t i = 0; i < kCount; ++i) {
                    const Wide b = x->b.words()[i];
                    if (b == 0) {
                        quotients.set(i, saturated(static_cast<Wide>(x->a.words()[i] < 0 ? -1 : 1) << 126, into));
                        continue;
                    }
                    const Wide n = (static_cast<Wide>(x->a.words()[i]) << shift) + b;
                    const Wide q = n / (2 * b);
                    quotients.set(i, saturated(q - (((n < 0) != (b < 0)) & (q * 2 * b != n)), into));
                }
                return quotients;
            }
            // Of magnitudes, whose ties go down for negative quotients.
            const std::size_t size = x->a.width;
            const std::size_t sizeOfN = 2 * size + 1;
            std::vector<mp_limb_t> n(sizeOfN);
            std::vector<mp_limb_t> b(size + 1);
            std::vector<mp_limb_t> q(size + 2);
            std::vector<mp_limb_t> rest(size + 1);
            const auto magnitude = [size](const Integers& from, std::size_t i, mp_limb_t* to) {
                from.isNegative(i) ? static_cast<void>(mpn_neg(to, from.at(i), sizeOf(size)))
                                   : static_cast<void>(std::copy_n(from.at(i), size, to));
            };
            for (std::size_t i = 0; i < kCount; ++i) {
                const bool isNegative = x->a.isNegative(i) != x->b.isNegative(i);
                std::fill(n.begin(), n.end(), 0);
                b[size] = 0;
                magnitude(x->a, i, n.data() + size);
                magnitude(x->b, i, b.data());
                mpn_rshift(n.data() + size - 1, n.data() + size - 1, sizeOf(size + 1), 1);
                mpn_add(n.data(), n.data(), sizeOf(sizeOfN), b.data(), sizeOf(size));
                const mp_limb_t doubled = mpn_lshift(b.data(), b.data(), sizeOf(size), 1);
                b[size] = doubled;
                const std::size_t sizeOfB = doubled != 0 ? size + 1 : size;
                q[size + 1] = 0;
                q[size] = 0;
                mpn_tdiv_qr(q.data(), rest.data(), 0, n.data(), sizeOf(sizeOfN - (sizeOfB == size ? 1 : 0)), b.data(),
                            sizeOf(sizeOfB));
                if (isNegative && std::all_of(rest.data(), rest.data() + sizeOfB, [](auto r) { return r == 0; })) {
                    mpn_sub_1(q.data(), q.data(), sizeOf(size), 1);
                }
                const bool isBeyond = q[size] != 0 || q[size - 1] >> 63 != 0;
                mp_limb_t* const out = quotients.at(i);
                if (isBeyond) {
                    std::fill_n(out, size, isNegative ? 0 : ~mp_limb_t{0});
                    out[size - 1] ^= mp_limb_t{1} << 63;
                } else if (isNegative) {
                    mpn_neg(out, q.data(), sizeOf(size));
                } else {
                    std::copy_n(q.data(), size, out);
                }
            }
            return quotients;
        },
        kCount,
        [=](Bigs& out) {
            Bigs divisor(1);
            for (std::size_t i = 0; i < kCount; ++i) {
                if (mpz_sgn(x->bigB[i]) == 0) {
                    mpz_set(out[i], greatest(into));
                    mpz_sgn(x->bigA[i]) < 0 ? mpz_com(out[i], out[i]) : static_cast<void>(0);
                    continue;
                }
                mpz_mul_2exp(out[i], x->bigA[i], static_cast<mp_bitcnt_t>(shift));
                mpz_add(out[i], out[i], x->bigB[i]);
                mpz_mul_2exp(divisor[0], x->bigB[i], 1);
                mpz_fdiv_q(out[i], out[i], divisor[0]);
                saturate(out[i], into);
            }
        },
        [=] { return FiOwner(&x->fiA->over(*x->fiB, NumericType(true, into, into - 2))); });
}

Works bitAnd(const Shared& x) {
    return wordWorks(
        kCount,
        [x] {
            Integers result(kCount, x->a.width);
            for (std::size_t i = 0; result.width > 2 && i < kCount; ++i) {
                mpn_and_n(result.at(i), x->a.at(i), x->b.at(i), sizeOf(result.width));
            }
            if (result.width <= 2) {
                const std::size_t count = std::exchange(result.count, kCount * result.width);
                eachWord<And>(x->a, x->b, result);
                result.count = count;
            }
            return result;
        },
        kCount,
        [x](Bigs& out) {
            for (std::size_t i = 0; i < kCount; ++i) {
                mpz_and(out[i], x->bigA[i], x->bigB[i]);
            }
        },
        [x] { return FiOwner(&x->fiA->fibitand(*x->fiB)); });
}

Works negate(const Shared& x) {
    const auto most = std::make_shared<Integers>(kCount, 1);
    std::fill_n(most->words(), kCount,
                static_cast<std::int64_t>((std::uint64_t{1} << (std::min(x->bits, 64) - 1)) - 1));
    return wordWorks(
        kCount,
        [=] {
            Integers result(kCount, x->a.width);
            if (result.width == 1) {
                eachWord<Negative>(x->a, *most, result);
                return result;
            }
            for (std::size_t i = 0; i < kCount; ++i) {
                mpn_neg(result.at(i), x->a.at(i), sizeOf(result.width));
                if (x->a.isNegative(i) && result.isNegative(i)) {
                    mpn_com(result.at(i), result.at(i), sizeOf(result.width));
                }
            }
            return result;
        },
        kCount,
        [x](Bigs& out) {
            for (std::size_t i = 0; i < kCount; ++i) {
                mpz_neg(out[i], x->bigA[i]);
                saturate(out[i], x->bits);
            }
        },
        [x] { return FiOwner(x->fiA->uminus()); });
}

Works least(const Shared& x) {
    return wordWorks(
        kCount,
        [x] {
            Integers result(kCount, x->a.width);
            if (result.width == 1) {
                eachWord<Least>(x->a, x->b, result);
                return result;
            }
            for (std::size_t i = 0; i < kCount; ++i) {
                std::copy_n((isLess(x->b, x->a, i) ? x->b : x->a).at(i), result.width, result.at(i));
            }
            return result;
        },
        kCount,
        [x](Bigs& out) {
            for (std::size_t i = 0; i < kCount; ++i) {
                mpz_set(out[i], mpz_cmp(x->bigB[i], x->bigA[i]) < 0 ? x->bigB[i] : x->bigA[i]);
            }
        },
        [x] { return FiOwner(&x->fiA->min(*x->fiB)); });
}

Works lessThan(const Shared& x) {
    using Flags = std::unique_ptr<hvLogical[]>;
    const auto loop = [x] {
        Flags flags = std::make_unique_for_overwrite<hvLogical[]>(kCount);
        for (std::size_t i = 0; i < kCount; ++i) {
            flags[i] = x->a.width == 1 ? x->a.words()[i] < x->b.words()[i] : isLess(x->a, x->b, i);
        }
        return flags;
    };
    const auto gmp = [x] {
        Flags flags = std::make_unique_for_overwrite<hvLogical[]>(kCount);
        for (std::size_t i = 0; i < kCount; ++i) {
            flags[i] = mpz_cmp(x->bigA[i], x->bigB[i]) < 0;
        }
        return flags;
    };
    return {kCount,
            {{"loop", [=] { benchmark::DoNotOptimize(loop().get()); }},
             {"gmp", [=] { benchmark::DoNotOptimize(gmp().get()); }},
             {"fi", [=] { benchmark::DoNotOptimize(hvArrayOwner(x->fiA->lt(*x->fiB)).get()); }}},
            [=] {
                const hvArrayOwner seen(x->fiA->lt(*x->fiB));
                const Flags wanted = loop();
                return std::equal(wanted.get(), wanted.get() + kCount, gmp().get()) &&
                       std::ranges::equal(hvGetTypedData<hvLogical>(seen.get()), std::span(wanted.get(), kCount));
            }};
}

Works fromDoubles(int bits) {
    const auto values = std::make_shared<Values>(kCount);
    std::mt19937_64 random(5);
    for (double& value : *values) {
        value = std::ldexp(static_cast<double>(static_cast<std::int64_t>(random()) >> 11), -52);
    }
    return wordWorks(
        kCount,
        [=] {
            Integers words(kCount, limbsFor(bits));
            for (std::size_t i = 0; i < kCount; ++i) {
                if (bits <= 52) {
                    const double most = std::ldexp(1.0, bits - 1) - 1.0;
                    words.words()[i] =
                        static_cast<std::int64_t>(std::min(std::floor((*values)[i] * (most + 1.0) + 0.5), most));
                    continue;
                }
                // All bits are in the top limb.
                std::fill_n(words.at(i), words.width - 1, 0);
                words.at(i)[words.width - 1] = static_cast<mp_limb_t>(static_cast<std::int64_t>((*values)[i] * 0x1p52))
                                               << ((bits - 53) % 64);
            }
            return words;
        },
        kCount,
        [=](Bigs& out) {
            for (std::size_t i = 0; i < kCount; ++i) {
                if (bits <= 52) {
                    mpz_set_d(out[i], std::floor(std::ldexp((*values)[i], bits - 1) + 0.5));
                    saturate(out[i], bits);
                } else {
                    mpz_set_d(out[i], (*values)[i] * 0x1p52);
                    mpz_mul_2exp(out[i], out[i], static_cast<mp_bitcnt_t>(bits - 53));
                }
            }
        },
        [=] {
            const std::uint64_t sizes[] = {kCount, 1};
            return std::make_unique<fi>(values->data(), sizes, 2, NumericType(true, bits, bits - 1), rulesOf(), "",
                                        true, kAssignment);
        });
}

Works hexText(const Shared& x) {
    using Text = std::unique_ptr<hvChar[]>;
    const std::size_t digits = static_cast<std::size_t>(x->bits + 3) / 4;
    const auto loop = [=] {
        Text text = std::make_unique_for_overwrite<hvChar[]>(kCount * digits);
        for (std::size_t i = 0; i < kCount; ++i) {
            for (std::size_t digit = 0; digit < digits; ++digit) {
                const mp_limb_t value = x->a.at(i)[digit / 16] >> (digit % 16 * 4) & 15;
                text[(digits - 1 - digit) * kCount + i] = static_cast<hvChar>(u"0123456789abcdef"[value]);
            }
        }
        return text;
    };
    const auto gmp = [=] {
        Text text = std::make_unique_for_overwrite<hvChar[]>(kCount * digits);
        std::vector<char> all(digits + 2);
        Bigs value(1);
        for (std::size_t i = 0; i < kCount; ++i) {
            mpz_fdiv_r_2exp(value[0], x->bigA[i], static_cast<mp_bitcnt_t>(x->bits));
            mpz_get_str(all.data(), 16, value[0]);
            const std::size_t used = std::char_traits<char>::length(all.data());
            for (std::size_t digit = 0; digit < digits; ++digit) {
                text[digit * kCount + i] =
                    digit + used < digits ? u'0' : static_cast<hvChar>(all[digit + used - digits]);
            }
        }
        return text;
    };
    return {kCount,
            {{"loop", [=] { benchmark::DoNotOptimize(loop().get()); }},
             {"gmp", [=] { benchmark::DoNotOptimize(gmp().get()); }},
             {"fi", [=] { benchmark::DoNotOptimize(hvArrayOwner(x->fiA->num2base(16)).get()); }}},
            [=] {
                const hvArrayOwner seen(x->fiA->num2base(16));
                const Text wanted = loop();
                return std::equal(wanted.get(), wanted.get() + kCount * digits, gmp().get()) &&
                       std::ranges::equal(hvGetTypedData<hvChar>(seen.get()), std::span(wanted.get(), kCount * digits));
            }};
}

Works columnSums(int bits) {
    const auto words = std::make_shared<Integers>(randomWords(bits, 6, kCount));
    const auto bigs = std::make_shared<Bigs>(*words);
    const std::shared_ptr<fi> matrix = arrayOf(*words, nullptr, bits, bits - 1, rulesOf(), kSide);
    return wordWorks(
        kCount,
        [=] {
            Integers sums(kSide, limbsFor(bits + 7));
            std::vector<mp_limb_t> other(sums.width);
            for (std::size_t column = 0; column < kSide; ++column) {
                const std::size_t first = column * kSide;
                if (sums.width <= 2) {
                    Wide sum = 0;
                    for (std::size_t i = first; i < first + kSide; ++i) {
                        sum += words->wide(i);
                    }
                    sums.set(column, sum);
                    continue;
                }
                std::fill_n(sums.at(column), sums.width, 0);
                for (std::size_t i = first; i < first + kSide; ++i) {
                    extend(words->at(i), words->width, other.data(), sums.width);
                    mpn_add_n(sums.at(column), sums.at(column), other.data(), sizeOf(sums.width));
                }
            }
            return sums;
        },
        kSide,
        [=](Bigs& out) {
            for (std::size_t column = 0; column < kSide; ++column) {
                mpz_set_ui(out[column], 0);
                for (std::size_t i = column * kSide; i < (column + 1) * kSide; ++i) {
                    mpz_add(out[column], out[column], (*bigs)[i]);
                }
            }
        },
        [=] { return FiOwner(&matrix->leadingdimension_sum()); });
}

/// Sums of products of 32-bit words: matrix products and convolutions, whose terms are told by `forEachTerm(result,
/// use)` in the order of their additions.
template <class ForEachTerm>
Works sumsOfProducts(std::size_t items, std::size_t count, bool isSpecified, const Integers& a, const Integers& b,
                     const ForEachTerm& forEachTerm, const std::function<FiOwner()>& operate, int sumBits) {
    const auto left = std::make_shared<Integers>(a.count, 1);
    const auto right = std::make_shared<Integers>(b.count, 1);
    std::copy_n(a.words(), a.count, left->words());
    std::copy_n(b.words(), b.count, right->words());
    const auto bigA = std::make_shared<Bigs>(a);
    const auto bigB = std::make_shared<Bigs>(b);
    return wordWorks(
        items,
        [=] {
            Integers sums(count, 2);
            for (std::size_t result = 0; result < count; ++result) {
                Wide sum = 0;
                forEachTerm(result, [&](std::size_t i, std::size_t k) {
                    const std::int64_t product = left->words()[i] * right->words()[k];
                    sum += product;
                    if (isSpecified) {
                        sum = saturated(sum, sumBits);
                    }
                });
                sums.set(result, sum);
            }
            return sums;
        },
        count,
        [=](Bigs& out) {
            for (std::size_t result = 0; result < count; ++result) {
                mpz_set_ui(out[result], 0);
                forEachTerm(result,
                            [&](std::size_t i, std::size_t k) { mpz_addmul(out[result], (*bigA)[i], (*bigB)[k]); });
            }
        },
        operate);
}

Works matrixProduct(bool isSpecified) {
    const Integers a = randomWords(32, 7, kCount);
    const Integers b = randomWords(32, 8, kCount);
    const std::shared_ptr<fi> left = arrayOf(a, nullptr, 32, 31, rulesOf(isSpecified), kSide);
    const std::shared_ptr<fi> right = arrayOf(b, nullptr, 32, 31, rulesOf(isSpecified), kSide);
    return sumsOfProducts(
        kSide * kCount, kCount, isSpecified, a, b,
        [](std::size_t result, const auto& use) {
            for (std::size_t k = 0; k < kSide; ++k) {
                use(result % kSide + k * kSide, k + result / kSide * kSide);
            }
        },
        [=] { return FiOwner(&left->mtimes(*right)); }, 72);
}

Works convolution(bool isSpecified) {
    const Integers a = randomWords(32, 9, kCount);
    const Integers b = randomWords(32, 10, kTaps);
    const std::shared_ptr<fi> left = arrayOf(a, nullptr, 32, 31, rulesOf(isSpecified));
    const std::shared_ptr<fi> right = arrayOf(b, nullptr, 32, 31, rulesOf(isSpecified));
    return sumsOfProducts(
        kTaps * kCount, kCount + kTaps - 1, isSpecified, a, b,
        [](std::size_t result, const auto& use) {
            for (std::size_t k = result < kCount ? 0 : result - kCount + 1; k < std::min(result + 1, kTaps); ++k) {
                use(result - k, k);
            }
        },
        [=] { return FiOwner(&left->convF(*right)); }, 72);
}

/// Registers the variants of a case, which is made when it is first run.
void addCase(const std::string& name, const std::function<Works()>& make, bool hasLogs = true) {
    struct Case {
        std::unique_ptr<Works> works;
        bool agrees = false;
    };
    const auto made = std::make_shared<Case>();
    const auto add = [&](const std::string& variant, std::size_t which, bool isLogging) {
        benchmark::RegisterBenchmark((name + "/" + variant).c_str(),
                                     [=](benchmark::State& state) {
                                         if (!made->works) {
                                             made->works = std::make_unique<Works>(make());
                                             made->agrees = made->works->agree();
                                         }
                                         if (!made->agrees) {
                                             return state.SkipWithError("the results of the variants differ");
                                         }
                                         qlogger::setLogging(isLogging);
                                         timed(state, made->works->items, made->works->variants[which].second);
                                         qlogger::setLogging(false);
                                     })
            ->MinTime(0.002)
            ->Repetitions(15);
    };
    add("loop", 0, false);
    add("gmp", 1, false);
    add("fi", 2, false);
    if (hasLogs) {
        add("fi+log", 2, true);
    }
}

void registerAll() {
    using Make = Works (*)(const Shared&);
    struct Row {
        std::string name;
        Make make;
    };
    const Row rows[] = {{"plus", plus},     {"times", times}, {"less than", lessThan}, {"bitand", bitAnd},
                        {"negate", negate}, {"min", least},   {"hex text", hexText}};
    constexpr int kLengths[] = {32, 60, 64, 128, 256, 1024};
    for (const Row& row : rows) {
        for (const int bits : kLengths) {
            const Make make = row.make;
            addCase(
                row.name + " " + std::to_string(bits), [=] { return make(std::make_shared<Operands>(bits)); },
                make != lessThan && make != hexText);
        }
    }
    for (const int bits : kLengths) {
        const std::string length = std::to_string(bits);
        addCase("quantize " + length, [=] { return quantize(bits); });
        addCase("divide " + length, [=] { return divide(std::make_shared<Operands>(bits), bits); });
        addCase("from doubles " + length, [=] { return fromDoubles(bits); });
        addCase("column sums " + length, [=] { return columnSums(bits); });
    }
    for (const int bits : {26, 32}) {
        addCase("complex times " + std::to_string(bits),
                [=] { return complexTimes(std::make_shared<Operands>(bits, true)); });
    }
    for (const auto& lengths : {std::array{16, 23}, {16, 32}, {24, 40}, {32, 52}}) {
        const int bits = lengths[0];
        const int into = lengths[1];
        addCase("divide " + std::to_string(bits) + " into " + std::to_string(into),
                [=] { return divide(std::make_shared<Operands>(bits), into); });
    }
    for (const bool isSpecified : {false, true}) {
        const std::string rules = isSpecified ? " specified" : "";
        addCase("mtimes 32" + rules, [=] { return matrixProduct(isSpecified); });
        addCase("conv 32" + rules, [=] { return convolution(isSpecified); });
    }
}

// The curve.

double nanosecondsOf(const std::function<void()>& run) {
    using Clock = std::chrono::steady_clock;
    double least = HUGE_VAL;
    const auto start = Clock::now();
    for (int round = 0; round < 100 && (round < 3 || Clock::now() - start < std::chrono::milliseconds(25)); ++round) {
        const auto begin = Clock::now();
        run();
        least = std::min(least, std::chrono::duration<double, std::nano>(Clock::now() - begin).count());
    }
    return least / static_cast<double>(kCount);
}

/// Prints ns an element without logging, eight lengths to a row; ! follows a time of more than twice the one before.
void printCurve() {
    constexpr int kFirst = 8;
    constexpr int kLast = 160;
    constexpr const char* kNames[] = {"plus", "times", "complex times", "quantize", "over"};
    std::vector<std::array<double, std::size(kNames)>> least(kLast + 1);
    // Noise of a shared machine only adds time, and lasts.
    for (int sweep = 0; sweep < 2; ++sweep) {
        for (int bits = kFirst; bits <= kLast; ++bits) {
            const Operands real(bits);
            const Operands complex(bits, true);
            const FiOwner wide = arrayOf(randomWords(2 * bits, 3, kCount), nullptr, 2 * bits, 2 * bits - 2, rulesOf());
            const std::uint64_t sizes[] = {kCount, 1};
            const NumericType type(true, bits, bits - 2);
            fi target(sizes, 2, type, rulesOf(), false, "", true, kAssignment, 0U);
            const std::function<void()> runs[] = {
                [&] { FiOwner(&real.fiA->plus(*real.fiB)); }, [&] { FiOwner(&real.fiA->times(*real.fiB)); },
                [&] { FiOwner(&complex.fiA->times(*complex.fiB)); }, [&] { target.copydata(*wide); },
                [&] { FiOwner(&real.fiA->over(*real.fiB, type)); }};
            for (std::size_t i = 0; i < std::size(runs); ++i) {
                double& time = least[static_cast<std::size_t>(bits)][i];
                const double seen = nanosecondsOf(runs[i]);
                time = sweep == 0 ? seen : std::min(time, seen);
            }
        }
    }
    std::printf("| bits |");
    for (const char* const name : kNames) {
        std::printf(" %s |", name);
    }
    std::printf("\n|---|---|---|---|---|---|\n");
    for (int from = kFirst; from <= kLast; from += 8) {
        const int to = std::min(from + 7, kLast);
        from < to ? std::printf("| %d to %d |", from, to) : std::printf("| %d |", from);
        for (std::size_t i = 0; i < std::size(kNames); ++i) {
            for (auto bits = static_cast<std::size_t>(from); bits <= static_cast<std::size_t>(to); ++bits) {
                const double time = least[bits][i];
                const bool isStep = bits > kFirst && time > 2.0 * least[bits - 1][i];
                std::printf(" %.*f%s", time < 1.0 ? 2 : time < 10.0 ? 1 : 0, time, isStep ? "!" : "");
            }
            std::printf(" |");
        }
        std::printf("\n");
    }
}

}  // namespace

int main(int argc, char** argv) {
    keepFreedMemory();
    if (argc == 2 && std::string(argv[1]) == "--curve") {
        printCurve();
        return 0;
    }
    registerAll();
    std::vector<char*> arguments(argv, argv + argc);
    std::string interleaved = "--benchmark_enable_random_interleaving=true";
    arguments.push_back(interleaved.data());
    return runWithRatios(static_cast<int>(arguments.size()), arguments.data());
}
