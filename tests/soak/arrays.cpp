// Operations on arrays of the interface for programs: words of up to 60 bits beside integers of 128 bits, and words of
// up to 600 bits beside GMP's integers.
#include <algorithm>
#include <array>
#include <numeric>
#include <optional>
#include <vector>

#include "program/tolvane.h"
#include "tests/soak/arrays.h"

namespace soak {
namespace {

using tolvane::array_shape;
using tolvane::fixed_array;

/// The pieces of a case that all operations draw in the same order.
template <class Integer>
class Arrays {
 public:
    static constexpr bool kIsWide = std::is_same_v<Integer, mpz_class>;
    using Made = Operand<Integer>;

    explicit Arrays(const Case& oneCase)
        : draw(oneCase.seed),
          mWindow(oneCase.window),
          mSize(static_cast<std::size_t>(kIsWide ? draw.between(20, 300) : draw.between(500, 12000))) {
        constexpr int kLongest = 5000;
        tolvane::set_most_bits(kLongest);
    }

    std::size_t first() const { return mWindow.begin(mSize); }
    std::size_t count() const { return mWindow.end(mSize) - first(); }
    void limitSize(std::size_t most) { mSize = std::min(mSize, most); }
    Made operand(int mostBits, bool mayBeScalar = false) {
        return operand(drawnType<Integer>(draw, mostBits), mayBeScalar);
    }
    Made operand(const fixed_type& type, bool mayBeScalar = false) {
        const std::uint64_t seed = draw.bits();
        const bool isScalar = mayBeScalar && draw.oneIn(6);
        return Made(type, seed, isScalar ? 0 : first(), isScalar ? 1 : count());
    }
    /// A format for exact values of a type, near its range and its last places.
    fixed_format formatNear(const fixed_type& type, bool addsSign = true) {
        const int bits = std::clamp(draw.oneIn(3) ? type.bits + draw.between(-3, 3) : draw.between(1, type.bits + 4), 1,
                                    kIsWide ? 700 : 62);
        const int top = type.bits - type.fraction + draw.between(-3, 3);
        const int fraction = draw.oneIn(3) ? type.fraction - draw.between(-3, 8) : bits - top;
        const int far = kIsWide ? 600 : 50;
        rounding rule = draw.of(kRoundings);
        while (!addsSign && rule == rounding::add_sign) {
            rule = draw.of(kRoundings);
        }
        return {{draw.oneIn(2), bits, std::clamp(fraction, type.fraction - far, type.fraction + far)},
                rule,
                draw.of(kOverflows)};
    }
    template <class ExpectedAt, class Describe>
    Outcome compare(const fixed_array& seen, int fraction, std::size_t size, const ExpectedAt& expectedAt,
                    const Describe& describe) const {
        return compared<Integer>(seen, fraction, size, first(), expectedAt, describe);
    }

    Draw draw;

 private:
    Window mWindow;
    std::size_t mSize;
};

/// x * 2^-fraction forced into a format.
template <rounding kRule, class Integer>
Integer quantized(const Integer& x, int fraction, const fixed_format& format, const Words<Integer>& words) {
    return words.forced(roundedPower<kRule, true, Integer>(x, fraction - format.type().fraction));
}

constexpr int kShortBits = 58;
constexpr int kWideBits = 600;
template <class Integer>
constexpr int kMostBits = std::is_same_v<Integer, mpz_class> ? kWideBits : kShortBits;

// Element by element.

enum class Exact : int { sum, difference, product, negation, absolute, scaled, constant, maximum, minimum, count };

template <class Integer>
Outcome exactOperations(const Case& oneCase) {
    using I = Integer;
    Arrays<I> of(oneCase);
    const auto kind = Exact(of.draw.between(0, static_cast<int>(Exact::count) - 1));
    const auto a = of.operand(kMostBits<I>, true);
    const auto b = of.operand(kMostBits<I>, true);
    const int places = of.draw.between(-30, 30);
    const int constant = of.draw.between(-1000, 1000);
    const int shared = std::max(a.type.fraction, b.type.fraction);
    const int upA = shared - a.type.fraction;
    const int upB = shared - b.type.fraction;
    const std::size_t size = std::max(a.size(), b.size());
    const auto leftAt = [&](std::size_t i) { return timesPower<I>(a.at(i), upA); };
    const auto rightAt = [&](std::size_t i) { return timesPower<I>(b.at(i), upB); };
    const auto describe = [&](std::size_t i) {
        static constexpr const char* kNames[] = {"+",      "-",        "*",       "negated", "abs",
                                                 "scaled", "constant", "maximum", "minimum"};
        return std::string(kNames[static_cast<int>(kind)]) + " of " + a.describe(i) + " and " + b.describe(i) +
               ", places " + std::to_string(places) + ", constant " + std::to_string(constant);
    };
    switch (kind) {
        case Exact::sum:
            return of.compare(
                a.array + b.array, shared, size, [&](std::size_t i) { return I(leftAt(i) + rightAt(i)); }, describe);
        case Exact::difference:
            return of.compare(
                a.array - b.array, shared, size, [&](std::size_t i) { return I(leftAt(i) - rightAt(i)); }, describe);
        case Exact::product:
            return of.compare(
                a.array * b.array, a.type.fraction + b.type.fraction, size,
                [&](std::size_t i) { return I(a.at(i) * b.at(i)); }, describe);
        case Exact::negation:
            return of.compare(
                -a.array, a.type.fraction, a.size(), [&](std::size_t i) { return I(-a.at(i)); }, describe);
        case Exact::absolute:
            return of.compare(
                abs(a.array), a.type.fraction, a.size(),
                [&](std::size_t i) { return a.at(i) < 0 ? I(-a.at(i)) : a.at(i); }, describe);
        case Exact::scaled:
            return of.compare(
                scaled(a.array, places), a.type.fraction - places, a.size(), [&](std::size_t i) { return a.at(i); },
                describe);
        case Exact::constant: {
            const int point = std::max(a.type.fraction, 0);
            return of.compare(
                constant - a.array, point, a.size(),
                [&](std::size_t i) {
                    return I(timesPower<I>(I(constant), point) - timesPower<I>(a.at(i), point - a.type.fraction));
                },
                describe);
        }
        case Exact::maximum:
            return of.compare(
                maximum(a.array, b.array), shared, size,
                [&](std::size_t i) { return std::max<I>(leftAt(i), rightAt(i)); }, describe);
        case Exact::minimum:
        case Exact::count:
            break;
    }
    return of.compare(
        minimum(a.array, b.array), shared, size, [&](std::size_t i) { return std::min<I>(leftAt(i), rightAt(i)); },
        describe);
}

/// Sums and products of complex arrays.
template <class Integer>
Outcome complexOperations(const Case& oneCase) {
    using I = Integer;
    Arrays<I> of(oneCase);
    constexpr int kMost = std::is_same_v<I, mpz_class> ? kWideBits : 54;
    const fixed_type typeA = drawnType<I>(of.draw, kMost);
    const fixed_type typeB = drawnType<I>(of.draw, kMost);
    const auto a = of.operand(typeA);
    const auto ai = of.operand(typeA);
    const auto b = of.operand(typeB);
    const auto bi = of.operand(typeB);
    const fixed_array left = complex_of(a.array, ai.array);
    const fixed_array right = complex_of(b.array, bi.array);
    const auto describe = [&](std::size_t i) {
        return "complex " + a.describe(i) + " i " + ai.describe(i) + " and " + b.describe(i) + " i " + bi.describe(i);
    };
    const fixed_array product = left * right;
    const int fraction = typeA.fraction + typeB.fraction;
    Outcome outcome = of.compare(
        product.real(), fraction, a.size(), [&](std::size_t i) { return I(a.at(i) * b.at(i) - ai.at(i) * bi.at(i)); },
        describe);
    if (outcome.mismatch.empty()) {
        outcome = of.compare(
            product.imag(), fraction, a.size(),
            [&](std::size_t i) { return I(a.at(i) * bi.at(i) + ai.at(i) * b.at(i)); }, describe);
    }
    if (outcome.mismatch.empty()) {
        // The sum of all products.
        I real = 0;
        I imag = 0;
        for (std::size_t i = 0; i < a.size(); ++i) {
            real += a.at(i) * b.at(i) - ai.at(i) * bi.at(i);
            imag += a.at(i) * bi.at(i) + ai.at(i) * b.at(i);
        }
        const fixed_array total = dot(left, right);
        for (const bool isImag : {false, true}) {
            Outcome all = compared<I>(
                isImag ? total.imag() : total.real(), fraction, 1, of.first(),
                [&](std::size_t /*i*/) { return isImag ? imag : real; },
                [&](std::size_t /*i*/) { return "complex dot of " + typeA.text() + " and " + typeB.text(); });
            if (!all.mismatch.empty()) {
                return all;
            }
        }
        outcome.checked *= 2;
    }
    return outcome;
}

enum class Formed : int { cast, quotient, shift, count };

template <class Integer>
Outcome formedOperations(const Case& oneCase) {
    using I = Integer;
    Arrays<I> of(oneCase);
    const auto kind = Formed(of.draw.between(0, static_cast<int>(Formed::count) - 1));
    const auto a = of.operand(kMostBits<I>, true);
    if (kind == Formed::quotient) {
        const auto b = of.operand(kMostBits<I> * 3 / 4, true);
        // The first place of a quotient is that of its operands, more or less.
        const fixed_type near{true, a.type.bits,
                              a.type.bits - (a.type.bits - a.type.fraction - (b.type.bits - b.type.fraction))};
        const fixed_format format = of.formatNear(near, false);
        const int up = format.type().fraction + b.type.fraction - a.type.fraction;
        const std::size_t size = std::max(a.size(), b.size());
        for (std::size_t i = 0; i < b.size(); ++i) {
            if (b.at(i) == 0) {
                return {};
            }
        }
        if (!Arrays<I>::kIsWide && (a.type.bits + up > 125 || b.type.bits - up > 125)) {
            return {};
        }
        const Words<I> words(format.type(), format.overflow());
        const fixed_array made = divide(a.array, b.array, format);
        return withRounding(format.rounding(), [&](auto rule) {
            return of.compare(
                made, format.type().fraction, size,
                [&](std::size_t i) {
                    return words.forced(roundedRatio<decltype(rule)::value, I>(
                        timesPower<I>(a.at(i), std::max(up, 0)), timesPower<I>(b.at(i), std::max(-up, 0))));
                },
                [&](std::size_t i) { return a.describe(i) + " over " + b.describe(i) + " in " + format.text(); });
        });
    }
    const fixed_format format = of.formatNear(a.type);
    const int places = kind == Formed::shift ? of.draw.between(0, 5) : 0;
    const fixed_array made = kind == Formed::shift ? shift_left(a.array, places, format) : cast(a.array, format);
    const Words<I> words(format.type(), format.overflow());
    // A shift moves the point, so an array's places are those of its type moved.
    return withRounding(format.rounding(), [&](auto rule) {
        return of.compare(
            made, format.type().fraction, a.size(),
            [&](std::size_t i) {
                return quantized<decltype(rule)::value, I>(a.at(i), a.type.fraction - places, format, words);
            },
            [&](std::size_t i) { return a.describe(i) + " << " + std::to_string(places) + " in " + format.text(); });
    });
}

enum class Bits : int { both, either, one, none, slice, joined, get, set, left, right, logical, rotated, read, count };

template <class Integer>
Outcome bitOperations(const Case& oneCase) {
    using I = Integer;
    Arrays<I> of(oneCase);
    const auto kind = Bits(of.draw.between(0, static_cast<int>(Bits::count) - 1));
    const auto a = of.operand(kMostBits<I>);
    const auto b = kind == Bits::joined
                       ? of.operand(kMostBits<I>, true)
                       : of.operand(fixed_type{of.draw.oneIn(2), a.type.bits, of.draw.between(-9, 9)}, true);
    const int bits = a.type.bits;
    const int low = of.draw.between(0, bits - 1);
    const int high = of.draw.between(low, bits - 1);
    const int places = of.draw.between(0, bits + 3);
    const bool isOn = of.draw.oneIn(2);
    const auto describe = [&](std::size_t i) {
        static constexpr const char* kNames[] = {"and", "or",   "xor",   "not",     "slice",   "concat",     "get",
                                                 "set", "left", "right", "logical", "rotated", "reinterpret"};
        return std::string(kNames[static_cast<int>(kind)]) + " of " + a.describe(i) + " and " + b.describe(i) +
               ", bits " + std::to_string(high) + " to " + std::to_string(low) + ", places " + std::to_string(places) +
               ", on " + std::to_string(isOn ? 1 : 0);
    };
    const auto left = [&](std::size_t i) { return patternOf<I>(a.at(i), a.type); };
    const auto right = [&](std::size_t i) { return patternOf<I>(b.at(i), b.type); };
    const I mask = timesPower<I>(I(1), bits) - 1;
    const auto compareWords = [&](const fixed_array& seen, const fixed_type& type, const auto& patternAt) {
        if (seen.type() != type) {
            return mismatch(of.first(), describe(0), " has type ", seen.type(), ", expected ", type);
        }
        return of.compare(
            seen, type.fraction, a.size(), [&](std::size_t i) { return wordOf<I>(patternAt(i), type); }, describe);
    };
    switch (kind) {
        case Bits::both:
            return compareWords(and_bits(a.array, b.array), a.type,
                                [&](std::size_t i) { return I(left(i) & right(i)); });
        case Bits::either:
            return compareWords(or_bits(a.array, b.array), a.type,
                                [&](std::size_t i) { return I(left(i) | right(i)); });
        case Bits::one:
            return compareWords(xor_bits(a.array, b.array), a.type,
                                [&](std::size_t i) { return I(left(i) ^ right(i)); });
        case Bits::none:
            return compareWords(not_bits(a.array), a.type, [&](std::size_t i) { return I(mask - left(i)); });
        case Bits::slice:
            return compareWords(slice_bits(a.array, high, low), {false, high - low + 1, 0}, [&](std::size_t i) {
                return Words<I>::lowBits(floorOfPower<I>(left(i), low), high - low + 1);
            });
        case Bits::joined:
            return compareWords(concat_bits(a.array, b.array), {false, bits + b.type.bits, 0},
                                [&](std::size_t i) { return I(timesPower<I>(left(i), b.type.bits) + right(i)); });
        case Bits::get:
            return compareWords(get_bit(a.array, low), {false, 1, 0},
                                [&](std::size_t i) { return I(floorOfPower<I>(left(i), low) & I(1)); });
        case Bits::set:
            return compareWords(set_bit(a.array, low, isOn), a.type, [&](std::size_t i) {
                const I bit = timesPower<I>(I(1), low);
                const I old = I(floorOfPower<I>(left(i), low) & I(1)) * bit;
                return I(left(i) - old + (isOn ? bit : I(0)));
            });
        case Bits::left:
            return compareWords(shift_left(a.array, places), a.type,
                                [&](std::size_t i) { return patternOf<I>(timesPower<I>(left(i), places), a.type); });
        case Bits::right:
            return compareWords(shift_right(a.array, places), a.type,
                                [&](std::size_t i) { return patternOf<I>(floorOfPower<I>(a.at(i), places), a.type); });
        case Bits::logical:
            return compareWords(shift_right_logical(a.array, places), a.type,
                                [&](std::size_t i) { return floorOfPower<I>(left(i), places); });
        case Bits::rotated: {
            const int up = (isOn ? places : bits * 4 - places) % bits;
            return compareWords(rotate_bits(a.array, isOn ? places : -places), a.type, [&](std::size_t i) {
                return I(patternOf<I>(timesPower<I>(left(i), up), a.type) + floorOfPower<I>(left(i), bits - up));
            });
        }
        case Bits::read:
        case Bits::count:
            break;
    }
    return compareWords(reinterpret(a.array, b.type), b.type, left);
}

/// Flags and counts of elements: comparisons, and the zeros and ones of words.
template <class Integer>
Outcome flagOperations(const Case& oneCase) {
    using I = Integer;
    Arrays<I> of(oneCase);
    of.limitSize(3000);
    const auto a = of.operand(kMostBits<I>);
    auto b = of.operand(of.draw.oneIn(2) ? a.type : drawnType<I>(of.draw, kMostBits<I>), true);
    const int shared = std::max(a.type.fraction, b.type.fraction);
    const std::vector<bool> seen[] = {is_equal(a.array, b.array),   is_not_equal(a.array, b.array),
                                      is_less(a.array, b.array),    is_less_equal(a.array, b.array),
                                      is_greater(a.array, b.array), is_greater_equal(a.array, b.array)};
    const std::vector<int> counts[] = {leading_zeros(a.array), leading_signs(a.array), trailing_zeros(a.array),
                                       count_ones(a.array)};
    for (std::size_t i = 0; i < a.size(); ++i) {
        const I left = timesPower<I>(a.at(i), shared - a.type.fraction);
        const I right = timesPower<I>(b.at(i), shared - b.type.fraction);
        const bool expected[] = {left == right, left != right, left<right, left <= right, left> right, left >= right};
        for (std::size_t k = 0; k < std::size(seen); ++k) {
            if (seen[k][i] != expected[k]) {
                return mismatch(of.first() + i, "comparison ", k, " of ", a.describe(i), " and ", b.describe(i), " is ",
                                seen[k][i]);
            }
        }
        std::string bits;
        for (int place = a.type.bits - 1; place >= 0; --place) {
            bits += isOdd(floorOfPower<I>(a.at(i), place)) ? '1' : '0';
        }
        const auto length = bits.size();
        const int wanted[] = {static_cast<int>(std::min(bits.find('1'), length)),
                              static_cast<int>(std::min(bits.find(bits[0] == '1' ? '0' : '1'), length)) - 1,
                              bits.rfind('1') == std::string::npos ? static_cast<int>(length)
                                                                   : static_cast<int>(length - 1 - bits.rfind('1')),
                              static_cast<int>(std::count(bits.begin(), bits.end(), '1'))};
        for (std::size_t k = 0; k < std::size(counts); ++k) {
            if (counts[k][i] != wanted[k]) {
                return mismatch(of.first() + i, "count ", k, " of ", a.describe(i), " is ", counts[k][i], ", expected ",
                                wanted[k]);
            }
        }
    }
    return {a.size() * (std::size(seen) + std::size(counts)), {}, 0};
}

/// Square roots: the floor of a root by GMP, and its rest.
template <class Integer>
Outcome roots(const Case& oneCase) {
    using I = Integer;
    Arrays<I> of(oneCase);
    of.limitSize(400);
    fixed_type type = drawnType<I>(of.draw, kMostBits<I>);
    type.is_signed = false;
    const auto a = of.operand(type);
    const fixed_format format = of.formatNear({false, type.bits / 2 + 1, type.fraction / 2}, false);
    const Words<mpz_class> words(format.type(), format.overflow());
    const fixed_array made = sqrt(a.array, format);
    return withRounding(format.rounding(), [&](auto rule) {
        return compared<mpz_class>(
            made, format.type().fraction, a.size(), of.first(),
            [&](std::size_t i) {
                // The root of x 2^-f in steps of 2^-g is that of x 2^(2g - f): two more places tell the rest.
                const int up = 2 * (format.type().fraction + 2) - a.type.fraction;
                const mpz_class x(textOf<I>(a.at(i)));
                const mpz_class radicand = up >= 0 ? timesPower<mpz_class>(x, up) : floorOfPower<mpz_class>(x, -up);
                mpz_class root = sqrt(radicand);
                const bool isExact = root * root == radicand && (up >= 0 || timesPower<mpz_class>(radicand, -up) == x);
                root = root * 2 + (isExact ? 0 : 1);  // what lies between two places lies between their doubles
                return words.forced(roundedPower<decltype(rule)::value, false, mpz_class>(root, 3));
            },
            [&](std::size_t i) { return "root of " + a.describe(i) + " in " + format.text(); });
    });
}

// Sums.

template <class Integer>
struct Terms {
    std::optional<fixed_format> product;
    std::optional<fixed_format> sum;
};

/// Sums of products, term by term: the value and its fraction.
template <class Integer>
class Accumulator {
    using I = Integer;

 public:
    Accumulator(int fraction, const tolvane::sum_formats& formats) : mFraction(fraction), mFormats(formats) {
        if (formats.product) {
            mProducts.emplace(formats.product->type(), formats.product->overflow());
            mFraction = formats.product->type().fraction;
        }
        mTermFraction = mFraction;
        mTotalFraction = mFraction;
        if (formats.sum) {
            mSums.emplace(formats.sum->type(), formats.sum->overflow());
            mTotalFraction = formats.sum->type().fraction;
        }
        mGivenFraction = fraction;
    }
    int fraction() const { return mTotalFraction; }
    void clear() { mTotal = 0; }
    void add(const I& product) {
        I term = product;
        if (mProducts) {
            term = withRounding(mFormats.product->rounding(), [&](auto rule) {
                return quantized<decltype(rule)::value, I>(product, mGivenFraction, *mFormats.product, *mProducts);
            });
        }
        if (!mSums) {
            mTotal += term;
            return;
        }
        const int shared = std::max(mTermFraction, mTotalFraction);
        const I exact = timesPower<I>(term, shared - mTermFraction) + timesPower<I>(mTotal, shared - mTotalFraction);
        mTotal = withRounding(mFormats.sum->rounding(), [&](auto rule) {
            return quantized<decltype(rule)::value, I>(exact, shared, *mFormats.sum, *mSums);
        });
    }
    const I& total() const { return mTotal; }

 private:
    int mFraction;
    int mGivenFraction = 0;
    int mTermFraction = 0;
    int mTotalFraction = 0;
    tolvane::sum_formats mFormats;
    std::optional<Words<I>> mProducts;
    std::optional<Words<I>> mSums;
    I mTotal = 0;
};

std::string formatsText(const tolvane::sum_formats& formats) {
    return (formats.product ? ", products " + formats.product->text() : "") +
           (formats.sum ? ", sums " + formats.sum->text() : "");
}

enum class Sum : int { all, running, dot, convolution, matrix, mean, count };

template <class Integer>
Outcome sums(const Case& oneCase) {
    using I = Integer;
    Arrays<I> of(oneCase);
    const auto kind = Sum(of.draw.between(0, static_cast<int>(Sum::count) - 1));
    const int most = Arrays<I>::kIsWide ? kWideBits : 40;
    const bool hasProducts = kind != Sum::all && kind != Sum::running && kind != Sum::mean;
    const auto a = of.operand(most);
    const auto draws = [&](const fixed_type& type) { return of.formatNear(type); };
    tolvane::sum_formats formats;
    const fixed_type typeB = drawnType<I>(of.draw, most);
    fixed_type term = a.type;
    if (hasProducts) {
        term = {true, a.type.bits + typeB.bits, a.type.fraction + typeB.fraction};
        if (of.draw.oneIn(2)) {
            formats.product = draws(term);
            term = formats.product->type();
        }
    }
    if (kind != Sum::mean && of.draw.oneIn(2)) {
        formats.sum = draws({true, term.bits + 5, term.fraction});
    }
    const auto describe = [&](std::size_t i) {
        static constexpr const char* kNames[] = {"sum", "cumsum", "dot", "conv", "matmul", "mean"};
        return std::string(kNames[static_cast<int>(kind)]) + " of " + std::to_string(a.size()) + " elements of " +
               a.type.text() + " with " + typeB.text() + formatsText(formats) + ", result " + std::to_string(i) +
               ", first element " + (a.size() == 0 ? "none" : a.describe(0));
    };
    Accumulator<I> total(hasProducts ? a.type.fraction + typeB.fraction : a.type.fraction, formats);
    const auto one = [&](const fixed_array& seen) {
        return compared<I>(
            seen, total.fraction(), 1, 0, [&](std::size_t /*i*/) { return total.total(); }, describe);
    };
    switch (kind) {
        case Sum::all: {
            for (std::size_t i = 0; i < a.size(); ++i) {
                total.add(a.at(i));
            }
            Outcome outcome = one(sum(a.array, formats));
            outcome.checked *= a.size();
            return outcome;
        }
        case Sum::running: {
            const fixed_array seen = cumsum(a.array, 0, formats.sum);
            return compared<I>(
                seen, total.fraction(), a.size(), 0,
                [&](std::size_t i) {
                    total.add(a.at(i));
                    return total.total();
                },
                describe);
        }
        case Sum::dot: {
            const auto b = of.operand(typeB);
            for (std::size_t i = 0; i < a.size(); ++i) {
                total.add(I(a.at(i) * b.at(i)));
            }
            Outcome outcome = one(dot(a.array, b.array, formats));
            outcome.checked *= a.size();
            return outcome;
        }
        case Sum::convolution: {
            if (a.size() == 0) {
                return {};
            }
            const std::size_t taps = static_cast<std::size_t>(of.draw.between(1, Arrays<I>::kIsWide ? 12 : 40));
            const Operand<I> h(typeB, of.draw.bits(), 0, taps);
            const fixed_array seen = conv(a.array, h.array, formats);
            Outcome outcome = compared<I>(
                seen, total.fraction(), a.size() + taps - 1, 0,
                [&](std::size_t n) {
                    total.clear();
                    for (std::size_t k = n < a.size() ? 0 : n - a.size() + 1; k < taps && k <= n; ++k) {
                        total.add(I(h.at(k) * a.at(n - k)));
                    }
                    return total.total();
                },
                describe);
            outcome.checked *= taps;
            return outcome;
        }
        case Sum::matrix: {
            const std::size_t inner = static_cast<std::size_t>(of.draw.between(1, 20));
            const std::size_t columns = static_cast<std::size_t>(of.draw.between(1, 8));
            const std::size_t rows = a.size() / inner / (Arrays<I>::kIsWide ? 2 : 10);
            const Operand<I> b(typeB, of.draw.bits(), 0, inner * columns);
            const fixed_array left =
                sliced(a.array, {tolvane::index_range(0, static_cast<std::ptrdiff_t>(rows * inner))});
            const fixed_array seen = matmul(left.reshaped({rows, inner}), b.array.reshaped({inner, columns}), formats);
            Outcome outcome = compared<I>(
                seen, total.fraction(), rows * columns, 0,
                [&](std::size_t place) {
                    total.clear();
                    for (std::size_t k = 0; k < inner; ++k) {
                        total.add(I(a.at(place / columns * inner + k) * b.at(k * columns + place % columns)));
                    }
                    return total.total();
                },
                describe);
            outcome.checked *= inner;
            return outcome;
        }
        case Sum::mean:
        case Sum::count:
            break;
    }
    if (a.size() == 0) {
        return {};
    }
    const fixed_format format = of.formatNear(a.type, false);
    for (std::size_t i = 0; i < a.size(); ++i) {
        total.add(a.at(i));
    }
    const int up = format.type().fraction - a.type.fraction;
    const Words<I> words(format.type(), format.overflow());
    I expected = withRounding(format.rounding(), [&](auto rule) {
        return words.forced(
            roundedRatio<decltype(rule)::value, I>(timesPower<I>(total.total(), std::max(up, 0)),
                                                   timesPower<I>(I(static_cast<int>(a.size())), std::max(-up, 0))));
    });
    Outcome outcome = compared<I>(
        mean(a.array, format), format.type().fraction, 1, 0, [&](std::size_t /*i*/) { return expected; },
        [&](std::size_t i) { return describe(i) + " in " + format.text(); });
    outcome.checked *= a.size();
    return outcome;
}

// Order and places.

/// A matrix cut, turned, joined, written to and sorted, beside a vector that is moved element by element.
template <class Integer>
Outcome moves(const Case& oneCase) {
    using I = Integer;
    using Places = std::vector<std::size_t>;
    Arrays<I> of(oneCase);
    of.limitSize(2000);
    const auto a = of.operand(kMostBits<I>);
    if (a.size() == 0) {
        return {};
    }
    const std::size_t columns = std::min(a.size(), static_cast<std::size_t>(of.draw.between(1, 30)));
    const std::size_t rows = a.size() / columns;
    const std::size_t size = rows * columns;
    const fixed_array whole = sliced(a.array, {tolvane::index_range(0, static_cast<std::ptrdiff_t>(size))});
    const fixed_array matrix = whole.reshaped({rows, columns});
    std::string about;
    // Compares with the elements at these places of a.
    const auto check = [&](const fixed_array& seen, const Places& places, const char* name) {
        Outcome outcome = compared<I>(
            seen, a.type.fraction, places.size(), of.first(), [&](std::size_t i) { return a.at(places[i]); },
            [&](std::size_t i) {
                return std::string(name) + about + " of " + std::to_string(rows) + " by " + std::to_string(columns) +
                       ": element " + std::to_string(i) + " of " + a.type.text();
            });
        return outcome;
    };
    struct Range {
        std::optional<std::ptrdiff_t> begin;
        std::optional<std::ptrdiff_t> end;
        std::ptrdiff_t step;
    };
    const auto drawRange = [&](std::size_t axis) {
        const int most = static_cast<int>(axis) + 3;
        Range range{std::nullopt, std::nullopt, of.draw.between(1, 4) * (of.draw.oneIn(3) ? -1 : 1)};
        if (!of.draw.oneIn(3)) {
            range.begin = of.draw.between(-most, most);
        }
        if (!of.draw.oneIn(3)) {
            range.end = of.draw.between(-most, most);
        }
        about += " [" + (range.begin ? std::to_string(*range.begin) : "") + ":" +
                 (range.end ? std::to_string(*range.end) : "") + ":" + std::to_string(range.step) + "]";
        return range;
    };
    // What a slice names, by trying each index in the order of the step.
    const auto named = [](const Range& range, std::size_t axis) {
        const auto size_ = static_cast<std::ptrdiff_t>(axis);
        const auto bound = [size_](std::ptrdiff_t at) { return at < 0 ? at + size_ : at; };
        Places places;
        if (range.step > 0) {
            const std::ptrdiff_t begin = std::max<std::ptrdiff_t>(range.begin ? bound(*range.begin) : 0, 0);
            const std::ptrdiff_t end = range.end ? bound(*range.end) : size_;
            for (std::ptrdiff_t i = begin; i < end && i < size_; i += range.step) {
                places.push_back(static_cast<std::size_t>(i));
            }
        } else {
            const std::ptrdiff_t begin = std::min(range.begin ? bound(*range.begin) : size_ - 1, size_ - 1);
            const std::ptrdiff_t end = range.end ? std::max<std::ptrdiff_t>(bound(*range.end), -1) : -1;
            for (std::ptrdiff_t i = begin; i > end && i >= 0; i += range.step) {
                places.push_back(static_cast<std::size_t>(i));
            }
        }
        return places;
    };
    const Range ranges[] = {drawRange(rows), drawRange(columns)};
    Places cut;
    for (const std::size_t row : named(ranges[0], rows)) {
        for (const std::size_t column : named(ranges[1], columns)) {
            cut.push_back(row * columns + column);
        }
    }
    const std::vector<tolvane::index_range> slices = {{ranges[0].begin, ranges[0].end, ranges[0].step},
                                                      {ranges[1].begin, ranges[1].end, ranges[1].step}};
    Outcome outcome = check(sliced(matrix, slices), cut, "slice");
    std::uint64_t checked = outcome.checked;
    const auto next = [&](const fixed_array& seen, const Places& places, const char* name) {
        if (outcome.mismatch.empty()) {
            outcome = check(seen, places, name);
            checked += outcome.checked;
        }
    };
    // Writing the slice's own mirror image into it.
    if (!cut.empty()) {
        fixed_array written = matrix;
        const fixed_array part = sliced(matrix, slices);
        put_slice(written, slices, flip(part, 1));
        Places places(size);
        std::iota(places.begin(), places.end(), 0);
        const std::size_t across = part.shape()[1];
        for (std::size_t i = 0; i < cut.size(); ++i) {
            places[cut[i]] = cut[i / across * across + across - 1 - i % across];
        }
        next(written, places, "put_slice");
    }
    Places turned;
    for (std::size_t i = 0; i < size; ++i) {
        turned.push_back(i % rows * columns + i / rows);
    }
    next(transpose(matrix), turned, "transpose");
    Places taken;
    tolvane::index_list list;
    std::vector<bool> mask(size);
    Places kept;
    for (std::size_t i = 0; i < size; ++i) {
        const int place = of.draw.between(-static_cast<int>(size), static_cast<int>(size) - 1);
        list.push_back(place);
        taken.push_back(static_cast<std::size_t>(place < 0 ? place + static_cast<int>(size) : place));
        mask[i] = of.draw.oneIn(2);
        if (mask[i]) {
            kept.push_back(i);
        }
    }
    next(take(whole, list), taken, "take");
    next(masked(whole, mask), kept, "masked");
    Places mirrored(size);
    for (std::size_t i = 0; i < size; ++i) {
        mirrored[i] = size - 1 - i;
    }
    Places joined(size);
    std::iota(joined.begin(), joined.end(), 0);
    joined.insert(joined.end(), mirrored.begin(), mirrored.end());
    next(tolvane::concatenate({whole, flip(whole, 0)}), joined, "concatenate");
    Places chosen;
    for (std::size_t i = 0; i < size; ++i) {
        chosen.push_back(mask[i] ? i : mirrored[i]);
    }
    next(where(mask, whole, flip(whole)), chosen, "where");
    // Order, with the places of equal elements as they were.
    Places sorted(size);
    std::iota(sorted.begin(), sorted.end(), 0);
    std::stable_sort(sorted.begin(), sorted.end(), [&](std::size_t x, std::size_t y) { return a.at(x) < a.at(y); });
    next(sort(whole), sorted, "sort");
    const tolvane::index_list order = argsort(whole);
    if (outcome.mismatch.empty() &&
        !std::equal(sorted.begin(), sorted.end(), order.begin(), order.end(),
                    [](std::size_t x, std::ptrdiff_t y) { return x == static_cast<std::size_t>(y); })) {
        outcome = mismatch(of.first(), "argsort of ", a.type);
    }
    // Sums of a row and a column of other types, broadcast.
    if (outcome.mismatch.empty()) {
        const Operand<I> row(drawnType<I>(of.draw, kMostBits<I>), of.draw.bits(), 0, columns);
        const Operand<I> column(row.type, of.draw.bits(), 0, rows);
        const int shared = std::max(a.type.fraction, row.type.fraction);
        const fixed_array seen = (matrix + row.array) + column.array.reshaped({rows, 1});
        outcome = compared<I>(
            seen, shared, size, of.first(),
            [&](std::size_t i) {
                return I(timesPower<I>(a.at(i), shared - a.type.fraction) +
                         timesPower<I>(I(row.at(i % columns) + column.at(i / columns)), shared - row.type.fraction));
            },
            [&](std::size_t i) { return "broadcast sum, element " + std::to_string(i) + " of " + a.describe(i); });
        checked += outcome.checked;
    }
    outcome.checked = checked;
    return outcome;
}

}  // namespace

std::span<const Unit> arrayUnits() {
    static constexpr Unit kUnits[] = {
        {"exact", "elements", 1, exactOperations<Int128>},
        {"exact-wide", "elements", 1, exactOperations<mpz_class>},
        {"complex", "elements", 0.3, complexOperations<Int128>},
        {"complex-wide", "elements", 0.3, complexOperations<mpz_class>},
        {"formed", "elements", 1, formedOperations<Int128>},
        {"formed-wide", "elements", 1, formedOperations<mpz_class>},
        {"bits", "elements", 0.5, bitOperations<Int128>},
        {"bits-wide", "elements", 0.5, bitOperations<mpz_class>},
        {"flags", "elements", 0.5, flagOperations<Int128>},
        {"flags-wide", "elements", 0.5, flagOperations<mpz_class>},
        {"roots", "elements", 0.3, roots<Int128>},
        {"roots-wide", "elements", 0.3, roots<mpz_class>},
        {"sums", "elements", 1, sums<Int128>},
        {"sums-wide", "elements", 1, sums<mpz_class>},
        {"moves", "elements", 0.5, moves<Int128>},
        {"moves-wide", "elements", 0.5, moves<mpz_class>},
    };
    return kUnits;
}

}  // namespace soak
