// Arrays of wide words, as words and as floats, and whether two arrays show the same.
#pragma once

#include <algorithm>
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

/// How the words of an array are drawn: all are short or at most `used` bits long, of one sign or both, and with many
/// or few zeros of either sign, bounds and neighbours of bounds.
struct WordStyle {
    int used;
    int signs;  // both, plus, minus
    int zeros;  // one in that many
    int bounds;

    static WordStyle draw(Random& random, int bits) {
        constexpr int kRates[] = {2, 6, 12, 1000};
        return {random.oneIn(2) ? bits : random.between(1, bits), std::max(random.between(-1, 2), 0),
                random.pick(kRates), random.oneIn(2) ? 5 : 1000};
    }
};

/// Sets the current element to a word of a type.
inline void storeWord(number& entry, Random& random, const NumericType& type, const WordStyle& style) {
    if (random.oneIn(style.zeros)) {
        entry.setvalue(random.oneIn(2) ? 0.0 : -0.0);
        return;
    }
    const int bits = type.getWordLength();
    const bool isNegative = type.isSigned() && (style.signs == 0 ? random.oneIn(2) : style.signs == 2);
    // Below the sign either all bits are alike, or some are random and those above like the sign.
    const bool isBound = random.oneIn(style.bounds);
    const bool isSet = random.oneIn(2);
    const int used = random.oneIn(2) ? style.used : random.between(1, style.used);
    std::vector<std::uint32_t> chunks(static_cast<std::size_t>(bits + 31) / 32);
    for (int bit = 0; bit < bits; ++bit) {
        const bool isOfSign = (type.isSigned() && bit == bits - 1) || (!isBound && bit >= used);
        const bool isOne = isOfSign ? isNegative : isBound ? isSet : random.oneIn(2);
        chunks[static_cast<std::size_t>(bit) / 32] |= static_cast<std::uint32_t>(isOne) << (bit % 32);
    }
    if (isBound && random.oneIn(3)) {
        chunks.front() ^= 1;
    }
    entry.setvalue(chunks.data(), static_cast<int>(chunks.size()), type.isSigned(), bits, 1.0, type.getFixedExponent(),
                   0.0);
}

/// Makes an array of random words.
inline std::unique_ptr<fi> arrayOfWords(Random& random, const NumericType& type, const fimath& rules,
                                        const Sizes& sizes, bool isComplex, bool isLocal = true) {
    auto made = std::make_unique<fi>(sizes.data(), sizes.size(), type, rules, isComplex, "", isLocal,
                                     Operation::Assignment, 0U);
    forEachPart(*made, [&](number& part) {
        const WordStyle style = WordStyle::draw(random, type.getWordLength());
        for (std::uint64_t i = 0; i < made->numel(); ++i) {
            storeWord(part[i], random, type, style);
        }
    });
    made->setIndex(0);
    made->resetLogging();
    return made;
}

/// Whether an element is below zero, or -0.
inline bool hasMinus(const number& x) {
    return x.asDouble() ? std::signbit(x.todouble()) : x.isnegative();
}
/// Whether elements have the same value and sign, even if they are zeros.
inline bool isSameElement(const number& a, const number& b) {
    return a.myisnan() ? b.myisnan() : a == b && hasMinus(a) == hasMinus(b);
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

/// Writes what can be seen of an array.
inline void show(std::ostream& out, const fi& array) {
    const std::uint64_t cursor = array.getIndex();
    out << fieldsOf(array.getNumericType()) << ' ' << array.getM() << " by " << array.getN() << ", at " << cursor
        << ", " << logOf(array.getQlogger()) << '\n';
    forEachPart(array, [&](number& part) {
        for (std::uint64_t i = 0; i < array.numel(); ++i) {
            char digits[400];
            number copy(0.0, part[i].getprecision(), true);
            mpfr_snprintf(digits, sizeof digits, " %Ra", copy.setvalue(part).body().asMp()->getelement());
            out << (part.iszero() ? hasMinus(part) ? " -0" : " 0" : digits);
        }
        out << '\n';
    });
    array.setIndex(cursor);
}
/// Writes the bytes of a host array, and frees it.
inline void show(std::ostream& out, hvArray* made) {
    const hvArrayOwner array(made);
    out << hvGetM(made) << " by " << hvGetN(made) << ':';
    for (const void* const data : {hvGetData(made), hvIsChar(made) ? nullptr : hvGetImagData(made)}) {
        const auto* const bytes = static_cast<const unsigned char*>(data);
        for (std::size_t i = 0; bytes && i < hvGetNumberOfElements(made) * hvGetElementSize(made); ++i) {
            out << ' ' << static_cast<int>(bytes[i]);
        }
    }
    out << '\n';
}
