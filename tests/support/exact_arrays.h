// Arrays of exact rationals: random values of a type, and columns that hold them.
#pragma once

#include <memory>
#include <vector>

#include "tests/support/arrays_of_fi.h"

/// Rounds to a number of significant bits, ties to even, like a work cell of that many bits.
inline Rational atPrecision(const Rational& value, int bits) {
    if (value == 0) {
        return value;
    }
    const int shift = leadingExponent(value) - (bits - 1);
    return scaled(Rational(rounded(scaled(value, -shift), Rounding::convergent)), shift);
}

/// An exact value of the type.
inline Rational randomValue(Random& random, const NumericType& type) {
    Integer word = random.integer(type.getWordLength());
    if (type.isSigned()) {
        Integer half;
        mpz_setbit(half.get_mpz_t(), static_cast<mp_bitcnt_t>(type.getWordLength() - 1));
        word -= half;
    }
    return scaled(Rational(word), type.getFixedExponent());
}

/// The entries of an array, column by column; no imaginary ones for a real array.
struct Part {
    std::vector<Rational> re;
    std::vector<Rational> im;
};

/// A column of exactly these stored values, which must fit the cells of the type.
inline std::unique_ptr<fi> arrayOf(const Part& part, const NumericType& type, const fimath& rules) {
    const Sizes sizes{part.re.size(), 1};
    auto made =
        std::make_unique<fi>(sizes.data(), 2, type, rules, !part.im.empty(), "", true, Operation::Assignment, 0);
    const auto put = [&](const number& entry, const Rational& value) {
        auto& target = const_cast<number&>(entry);
        if (target.asDouble()) {
            target.setvalue(nearestDouble(value));
        } else {
            target.setvalue(makeNumber(value, static_cast<unsigned>(type.getWordLength())));
        }
    };
    for (std::size_t i = 0; i < part.re.size(); ++i) {
        put(made->real(i), part.re[i]);
        if (!part.im.empty()) {
            put(made->imag(i), part.im[i]);
        }
    }
    made->setIndex(0);
    return made;
}
