// The rational oracle of products and of sums of products: the inputs, counts and results of each quantizer involved.
#pragma once

#include <algorithm>

#include "tests/support/exact_arrays.h"
#include "tests/support/random_arrays_of_fi.h"

using ArithmeticMode = fimath::ArithmeticModeEnum;
inline constexpr auto kFull = ArithmeticMode::FullPrecision;
inline constexpr auto kKeepLSB = ArithmeticMode::KeepLSB;
inline constexpr auto kKeepMSB = ArithmeticMode::KeepMSB;
inline constexpr auto kSpecify = ArithmeticMode::SpecifyPrecision;
inline constexpr ArithmeticMode kArithmeticModes[] = {kFull, kKeepLSB, kKeepMSB, kSpecify};

/// A place where values are quantized, with its counts and extremes.
struct Stage {
    NumericType type;
    Rounding rounding;
    bool wraps;
    Counts counts{};
    Rational max{};
    Rational min{};

    Rational operator()(const Rational& x) {
        const Rational y = quantized(x, type, rounding, wraps);
        const Rational word = rounded(scaled(x, -type.getFixedExponent()), rounding);
        max = counts.operations == 0 || y > max ? y : max;
        min = counts.operations == 0 || y < min ? y : min;
        counts.operations += 1;
        counts.overflows += scaled(word, type.getFixedExponent()) != y;
        counts.underflows += word == 0 && x != 0;
        return y;
    }
};

/// The significant bits of a cell for words of the given length: those of a double, or one bit more than the word.
inline int cellBits(int wordBits) {
    return wordBits <= 52 ? 53 : wordBits + 1;
}

struct Element {
    Rational re;
    Rational im;
};

inline Element elementOf(const KnownArray& known, std::size_t index) {
    const auto at = [&](const std::vector<Integer>& words) {
        return words.empty() ? Rational(0) : scaled(Rational(words[index]), known.type.getFixedExponent());
    };
    return {at(known.re), at(known.im)};
}

/// The product of two elements as the registers compute it: products into one stage, their sums into the other.
struct ProductOracle {
    Stage product;
    Stage sum;
    bool castsBeforeSum;
    int workBits;  // of the cells that sum complex products

    Element operator()(const Element& a, bool aIsComplex, const Element& b, bool bIsComplex) {
        if (!aIsComplex || !bIsComplex) {
            const Rational re = product(a.re * b.re);
            const Rational imag = aIsComplex ? Rational(a.im * b.re) : Rational(a.re * b.im);
            return {re, aIsComplex || bIsComplex ? product(imag) : Rational(0)};
        }
        const auto combine = [&](const Rational& left, const Rational& right, int sign) {
            Rational x = product(left);
            Rational y = product(right);
            if (castsBeforeSum) {
                x = sum(x);
                y = sum(y);
            }
            return sum(atPrecision(x + y * sign, workBits));
        };
        const Rational re = combine(a.re * b.re, a.im * b.im, -1);
        return {re, combine(a.im * b.re, a.re * b.im, 1)};
    }
};

/// The running sum of products, in a register that takes the sum so far or in the result itself.
struct SumOracle {
    Stage stage;
    bool castsBeforeSum;
    bool castsSumSoFar;
    int workBits;

    Element operator()(const Element& soFar, const Element& term, bool isComplex) {
        const auto combine = [&](Rational x, Rational y) {
            if (castsBeforeSum) {
                x = castsSumSoFar ? stage(x) : x;
                y = stage(y);
            }
            return stage(atPrecision(x + y, workBits));
        };
        return {combine(soFar.re, term.re), isComplex ? combine(soFar.im, term.im) : Rational(0)};
    }
};

/// The parameters of a random product: types, rules, complexity.
struct ProductCase {
    explicit ProductCase(Random& random) {
        for (NumericType& type : types) {
            type = randomFixedType(random, random.oneIn(2) ? 200 : 26, false);
        }
        for (bool& is : isComplex) {
            is = random.oneIn(2);
        }
        rounding = random.pick(kRoundings);
        wraps = random.oneIn(2);
        rules = rulesOf(rounding, wraps);
        const int fullBits = types[0].getWordLength() + types[1].getWordLength();
        const int point = -(types[0].getFixedExponent() + types[1].getFixedExponent());
        rules.setProductMode(random.pick(kArithmeticModes));
        rules.setSumMode(random.pick(kArithmeticModes));
        // A register with more bits than the product has its bounds rounded to the work cells.
        rules.setProductWordLength(random.between(1, fullBits));
        rules.setProductFractionLength(point - random.between(-6, 20));
        rules.setMaxProductWordLength(500);
        rules.setSumWordLength(random.between(1, random.oneIn(2) ? 50 : 220));
        rules.setSumFractionLength(point - random.between(-6, 20));
        rules.setMaxSumWordLength(500);
        // A double that takes a sum with a wider term rounds twice; casting keeps terms as narrow as the sum.
        rules.setCastBeforeSum(random.oneIn(2) || fullBits > 52);
        seed = random.seed();
    }

    bool areBothComplex() const { return isComplex[0] && isComplex[1]; }
    bool isAnyComplex() const { return isComplex[0] || isComplex[1]; }
    Stage stage(const NumericType& type) const { return {type, rounding, wraps}; }
    /// The precision of complex work cells, for a sum register of the given type.
    ProductOracle oracle(const NumericType& product, const NumericType& sum) const {
        const int workBits =
            cellBits(std::max(sum.getWordLength(), types[0].getWordLength() + 1 + types[1].getWordLength()));
        return {stage(product), stage(sum), rules.getCastBeforeSum(), workBits};
    }
    std::string description() const {
        std::ostringstream out;
        out << "seed " << seed << ": " << types[0].tostring("a") << (isComplex[0] ? " complex, " : ", ")
            << types[1].tostring("b") << (isComplex[1] ? " complex, " : ", ") << rules.toString();
        return out.str();
    }

    NumericType types[2];
    bool isComplex[2] = {false, false};
    fimath rules = rulesOf();
    Rounding rounding = Rounding::nearest;
    bool wraps = false;
    std::uint64_t seed = 0;
};

inline ::testing::AssertionResult holds(const fi& array, const std::vector<Element>& wanted) {
    if (array.numel() != wanted.size()) {
        return ::testing::AssertionFailure() << array.numel() << " elements instead of " << wanted.size();
    }
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const Rational re = exactValue(array.real(i));
        const Rational im = exactValue(array.imag(i));
        if (re != wanted[i].re || im != wanted[i].im) {
            return ::testing::AssertionFailure() << "element " << i << ": " << text(re) << " + i " << text(im)
                                                 << ", not " << text(wanted[i].re) << " + i " << text(wanted[i].im);
        }
    }
    return ::testing::AssertionSuccess();
}

inline Counts countsOf(const qlogger& log) {
    return {log.getNoverflows(), log.getNunderflows(), log.getNoperations()};
}

/// Rules for products and sums.
inline fimath mathRules(ArithmeticMode productMode, ArithmeticMode sumMode, int productBits = 32, int productPoint = 30,
                        int sumBits = 32, int sumPoint = 30) {
    fimath rules = rulesOf();
    rules.setProductMode(productMode);
    rules.setProductWordLength(productBits);
    rules.setProductFractionLength(productPoint);
    rules.setSumMode(sumMode);
    rules.setSumWordLength(sumBits);
    rules.setSumFractionLength(sumPoint);
    return rules;
}
