// Random fixed-point arrays together with their contents, as big integers made without code of the library.
#pragma once

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/arrays_of_fi.h"

using FiOwner = std::unique_ptr<fi>;
using Integers = std::vector<Integer>;

inline Integer twoToThe(int bits) {
    Integer result;
    mpz_setbit(result.get_mpz_t(), static_cast<mp_bitcnt_t>(bits));
    return result;
}

/// The value modulo 2^bits, nonnegative.
inline Integer residue(const Integer& value, int bits) {
    Integer result;
    mpz_fdiv_r_2exp(result.get_mpz_t(), value.get_mpz_t(), static_cast<mp_bitcnt_t>(bits));
    return result;
}

/// An array and the stored integers in it.
struct KnownArray {
    NumericType type;
    Integers re;
    Integers im;  // empty for a real array
    FiOwner array;

    std::string description() const {
        std::ostringstream out;
        out << type.tostring("type") << (im.empty() ? " real" : " complex") << " of " << re.size() << ':';
        for (const Integers* part : {&re, &im}) {
            for (const Integer& word : *part) {
                out << ' ' << word.get_str(16);
            }
            out << (part == &re && !im.empty() ? " + i" : "");
        }
        return out.str();
    }
};

/// A stored integer of the type; its bounds occur about once in eight.
inline Integer randomWord(Random& random, const NumericType& type) {
    const int bits = type.getWordLength();
    Integer word =
        random.oneIn(8) ? (random.oneIn(2) ? Integer(0) : Integer(twoToThe(bits) - 1)) : random.integer(bits);
    return type.isSigned() ? Integer(word - twoToThe(bits - 1)) : word;
}

inline KnownArray randomArray(Random& random, const NumericType& type, const Sizes& sizes, bool isComplex,
                              const fimath& rules, bool isLocal = true, unsigned precision = 0) {
    KnownArray known{type, {}, {}, nullptr};
    known.array = std::make_unique<fi>(sizes.data(), sizes.size(), type, rules, isComplex, "", isLocal,
                                       Operation::Assignment, precision);
    const auto wordBits = static_cast<unsigned>(type.getWordLength());
    for (std::uint64_t i = 0; i < known.array->numel(); ++i) {
        const auto store = [&](Integers& words, const number& entry) {
            words.push_back(randomWord(random, type));
            const Rational value = scaled(Rational(words.back()), type.getFixedExponent());
            const_cast<number&>(entry).setvalue(makeNumber(value, wordBits));
        };
        store(known.re, known.array->real(i));
        if (isComplex) {
            store(known.im, known.array->imag(i));
        }
    }
    known.array->setIndex(0);
    return known;
}

/// Compares the entries of a part with integers times 2^exponent.
inline ::testing::AssertionResult holdsWords(const fi& array, bool isImaginary, const Integers& words, int exponent) {
    if (array.numel() != words.size()) {
        return ::testing::AssertionFailure() << array.numel() << " elements instead of " << words.size();
    }
    for (std::size_t i = 0; i < words.size(); ++i) {
        const Rational seen = exactValue(isImaginary ? array.imag(i) : array.real(i));
        const Rational wanted = scaled(Rational(words[i]), exponent);
        if (seen != wanted) {
            return ::testing::AssertionFailure() << (isImaginary ? "imaginary" : "real") << " element " << i << ": "
                                                 << text(seen) << ", not " << text(wanted);
        }
    }
    return ::testing::AssertionSuccess();
}
inline ::testing::AssertionResult holdsWords(const fi& array, const Integers& re, const Integers& im, int exponent) {
    if (!re.empty() && array.iscomplex() == im.empty()) {
        return ::testing::AssertionFailure() << (array.iscomplex() ? "complex" : "real");
    }
    const auto real = holdsWords(array, false, re, exponent);
    return !real || im.empty() ? real : holdsWords(array, true, im, exponent);
}
/// Whether a known array still holds its initial contents.
inline ::testing::AssertionResult isUnchanged(const KnownArray& known) {
    if (fieldsOf(known.array->getNumericType()) != fieldsOf(known.type)) {
        return ::testing::AssertionFailure() << "type " << fieldsOf(known.array->getNumericType());
    }
    return holdsWords(*known.array, known.re, known.im, known.type.getFixedExponent());
}

/// The two's-complement word with the given number of bits.
inline Integer wrapped(const Integer& value, bool isSigned, int bits) {
    const Integer rest = residue(value, bits);
    return isSigned && mpz_tstbit(rest.get_mpz_t(), static_cast<mp_bitcnt_t>(bits - 1)) != 0
               ? Integer(rest - twoToThe(bits))
               : rest;
}
