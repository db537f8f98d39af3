// What places make of exact rationals, and random arrays and formats: the oracle of the tests of this folder.
#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "program/tolvane.h"
#include "tests/support/rational.h"

namespace tolvane::oracle {

inline Rational rationalOf(const exact_value& value) {
    Integer size;
    const auto& limbs = value.magnitude();
    mpz_import(size.get_mpz_t(), limbs.size(), -1, sizeof(std::uint64_t), 0, 0, limbs.data());
    return scaled(Rational(value.is_negative() ? Integer(-size) : size), value.exponent());
}

inline std::vector<Rational> rationalsOf(const fixed_array& x) {
    std::vector<Rational> values;
    for (std::size_t i = 0; i < x.size(); ++i) {
        values.push_back(rationalOf(x.at(i)));
    }
    return values;
}

inline Integer leastWord(const fixed_type& type) {
    return type.is_signed ? Integer(-(Integer(1) << static_cast<unsigned>(type.bits - 1))) : Integer(0);
}
inline Integer greatestWord(const fixed_type& type) {
    return (Integer(1) << static_cast<unsigned>(type.bits - (type.is_signed ? 1 : 0))) - 1;
}

/// What becomes of an exact value at a place.
struct Quantized {
    Rational value;
    bool overflows;
    Integer rounded;
};

inline Integer roundedBy(const Rational& x, rounding rule) {
    const Integer low = floorOf(x);
    const Rational rest = x - low;
    const int half = rest == 0 ? -2 : sgn(Rational(rest - Rational(1, 2)));
    const bool isOdd = mpz_odd_p(low.get_mpz_t()) != 0;
    bool up = false;
    switch (rule) {
        case rounding::ceil:
            up = half > -2;
            break;
        case rounding::floor:
            break;
        case rounding::toward_zero:
            up = half > -2 && sgn(x) < 0;
            break;
        case rounding::away_from_zero:
            up = half > -2 && sgn(x) > 0;
            break;
        case rounding::nearest:
            up = half >= 0;
            break;
        case rounding::nearest_down:
            up = half > 0;
            break;
        case rounding::nearest_away:
            up = half > 0 || (half == 0 && sgn(x) > 0);
            break;
        case rounding::nearest_zero:
            up = half > 0 || (half == 0 && sgn(x) < 0);
            break;
        case rounding::convergent:
            up = half > 0 || (half == 0 && isOdd);
            break;
        case rounding::nearest_odd:
            up = half > 0 || (half == 0 && !isOdd);
            break;
        case rounding::jam:
            up = half > -2 && !isOdd;
            break;
        case rounding::add_sign:
            up = sgn(x) < 0;
            break;
        default:
            break;
    }
    return up ? Integer(low + 1) : low;
}

/// `cutsBits` tells whether values have places below the format's.
inline Quantized quantized(const Rational& x, const fixed_format& format, bool cutsBits) {
    const fixed_type& type = format.type();
    const Rational units = scaled(x, type.fraction);
    const Integer whole = !cutsBits ? floorOf(units) : roundedBy(units, format.rounding());
    const Integer least = leastWord(type);
    const Integer greatest = greatestWord(type);
    const bool isSymmetric = format.overflow() == overflow::symmetric && type.is_signed;
    const bool overflows = whole < (isSymmetric ? Integer(least + 1) : least) || whole > greatest;
    Integer word = whole;
    if (overflows) {
        Integer modulus = Integer(1) << static_cast<unsigned>(type.bits);
        switch (format.overflow()) {
            case overflow::saturate:
                word = sgn(x) < 0 ? least : greatest;
                break;
            case overflow::symmetric:
                word = sgn(x) < 0 ? (type.is_signed ? Integer(-greatest) : least) : greatest;
                break;
            case overflow::zero:
                word = 0;
                break;
            case overflow::wrap:
            case overflow::keep_sign:
                if (format.overflow() == overflow::keep_sign && type.is_signed) {
                    modulus /= 2;
                }
                mpz_fdiv_r(word.get_mpz_t(), whole.get_mpz_t(), modulus.get_mpz_t());
                if (format.overflow() == overflow::keep_sign && type.is_signed) {
                    word = sgn(x) < 0 ? Integer(word - modulus) : word;
                } else if (word > greatest) {
                    word -= modulus;
                }
                break;
        }
    }
    return {scaled(Rational(word), -type.fraction), overflows, whole};
}

inline fixed_type randomType(Random& random, int mostBits = 200) {
    const int bits = random.oneIn(3)   ? random.between(1, 16)
                     : random.oneIn(2) ? random.between(17, std::min(70, mostBits))
                                       : random.between(17, mostBits);
    return fixed_type{random.oneIn(2), bits, random.between(-10, bits + 10)};
}

/// Bounds, small values, and any words.
inline fixed_array randomArray(Random& random, const fixed_type& type, std::size_t count) {
    std::vector<exact_value> values;
    for (std::size_t i = 0; i < count; ++i) {
        const Integer least = leastWord(type);
        const Integer span = greatestWord(type) - least + 1;
        Integer word;
        switch (random.between(0, 4)) {
            case 0:
                word = least + random.between(0, 1);
                break;
            case 1:
                word = greatestWord(type) - random.between(0, 1);
                break;
            case 2:
                word = random.between(type.is_signed ? -3 : 0, 3);
                break;
            default:
                for (int k = 0; k < 4; ++k) {
                    word = (word << 64U) + Integer(std::to_string(random.word()));
                }
                mpz_fdiv_r(word.get_mpz_t(), word.get_mpz_t(), span.get_mpz_t());
                word += least;
        }
        word = word < least ? least : word > greatestWord(type) ? greatestWord(type) : word;
        std::vector<std::uint64_t> limbs(mpz_sizeinbase(word.get_mpz_t(), 2) / 64 + 2);
        const Integer size = abs(word);
        mpz_export(limbs.data(), nullptr, -1, sizeof(std::uint64_t), 0, 0, size.get_mpz_t());
        const exact_value magnitude = exact_value::from_words(limbs.data(), limbs.size(), false, -type.fraction);
        values.push_back(sgn(word) < 0 ? -magnitude : magnitude);
    }
    return fixed_array(values, type);
}

inline constexpr rounding kAllRoundings[] = {rounding::ceil,           rounding::convergent,   rounding::toward_zero,
                                             rounding::floor,          rounding::nearest,      rounding::nearest_away,
                                             rounding::nearest_zero,   rounding::nearest_down, rounding::nearest_odd,
                                             rounding::away_from_zero, rounding::jam,          rounding::add_sign};
inline constexpr overflow kAllOverflows[] = {overflow::saturate, overflow::wrap, overflow::symmetric, overflow::zero,
                                             overflow::keep_sign};

inline fixed_format randomFormat(Random& random, std::string name = {}) {
    return fixed_format(randomType(random), random.pick(kAllRoundings), random.pick(kAllOverflows), std::move(name));
}

/// The id of the error that an action raises, empty if it raises none.
template <class Action>
std::string idOf(const Action& action) {
    try {
        action();
        return "";
    } catch (const error& raised) {
        return raised.id();
    }
}

}  // namespace tolvane::oracle
