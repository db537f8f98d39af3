// Arrays of wide words, as words and as floats, and whether two arrays show the same.
#pragma once

#include <cmath>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "numbers/mpnumber.h"
#include "tests/support/logs_of_fi.h"

inline number& partOf(const fi& array, bool isImaginary) {
    return const_cast<number&>(isImaginary ? array.imag() : array.real());
}
template <class Visit>
void forEachPart(const fi& array, const Visit& visit) {
    visit(partOf(array, false));
    if (array.iscomplex()) {
        visit(partOf(array, true));
    }
}

inline bool isInWords(const fi& array) {
    bool all = true;
    forEachPart(array, [&all](const number& part) { all = all && part.asWords() != nullptr; });
    return all;
}
/// Turns words into floats, with which elements then work.
inline void turnIntoFloats(const fi& array) {
    forEachPart(array, [](number& part) {
        if (mpnumber* const words = part.asWords()) {
            words->getmodifiableelement();
        }
    });
}

/// Sets the current element to a word of any length up to that of the type, a bound or its neighbour, or a zero of
/// either sign.
inline void storeWord(number& entry, Random& random, const NumericType& type) {
    const int bits = type.getWordLength();
    const int kind = random.between(0, 9);
    if (kind == 0) {
        entry.setvalue(random.oneIn(2) ? 0.0 : -0.0);
        return;
    }
    const bool isNegative = type.isSigned() && random.oneIn(2);
    // All bits below the sign are set, or none, or those of a random word above which all are like the sign.
    const bool isUniform = kind == 1;
    const bool isSet = random.oneIn(2);
    const int used = kind < 6 ? bits : random.between(1, bits);
    std::vector<std::uint32_t> chunks(static_cast<std::size_t>(bits + 31) / 32);
    for (int bit = 0; bit < bits; ++bit) {
        const bool isOfSign = (type.isSigned() && bit == bits - 1) || (!isUniform && bit >= used - 1);
        const bool isOne = isOfSign ? isNegative : isUniform ? isSet : random.oneIn(2);
        chunks[static_cast<std::size_t>(bit) / 32] |= static_cast<std::uint32_t>(isOne) << (bit % 32);
    }
    if (kind == 2) {
        chunks.front() ^= 1;
    }
    entry.setvalue(chunks.data(), static_cast<int>(chunks.size()), type.isSigned(), bits, 1.0, type.getFixedExponent(),
                   0.0);
}

/// Whether elements have the same value and sign, also those of zeros.
inline bool isSameElement(const number& a, const number& b) {
    const auto isNegative = [](const number& x) { return x.asDouble() ? std::signbit(x.todouble()) : x.isnegative(); };
    return a.myisnan() ? b.myisnan() : a == b && isNegative(a) == isNegative(b);
}

/// What differs between two arrays, or an empty text. Words stay words.
inline std::string differenceOf(const fi& seen, const fi& wanted) {
    std::ostringstream out;
    if (fieldsOf(seen.getNumericType()) != fieldsOf(wanted.getNumericType())) {
        out << "type " << fieldsOf(seen.getNumericType()) << ", not " << fieldsOf(wanted.getNumericType());
    } else if (sizesOf(seen) != sizesOf(wanted) || seen.iscomplex() != wanted.iscomplex()) {
        out << seen.getM() << " by " << seen.getN() << (seen.iscomplex() ? " complex" : "") << ", not " << wanted.getM()
            << " by " << wanted.getN() << (wanted.iscomplex() ? " complex" : "");
    } else if (!(logOf(seen.getQlogger()) == logOf(wanted.getQlogger()))) {
        out << "log " << logOf(seen.getQlogger()) << "; not " << logOf(wanted.getQlogger());
    } else if (seen.getIndex() != wanted.getIndex()) {
        out << "at " << seen.getIndex() << ", not " << wanted.getIndex();
    }
    const std::uint64_t cursors[] = {seen.getIndex(), wanted.getIndex()};
    for (std::uint64_t i = 0; out.view().empty() && i < seen.numel(); ++i) {
        if (!isSameElement(seen.real(i), wanted.real(i)) || !isSameElement(seen.imag(i), wanted.imag(i))) {
            out << "element " << i << ": " << text(seen.realdouble(i)) << " + i " << text(seen.imagdouble(i))
                << ", not " << text(wanted.realdouble(i)) << " + i " << text(wanted.imagdouble(i));
        }
    }
    seen.setIndex(cursors[0]);
    wanted.setIndex(cursors[1]);
    return out.str();
}
