// Arrays drawn for a case, with their words as integers of the model, and their comparison.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "program/tolvane.h"
#include "tests/soak/model.h"
#include "tests/soak/soak.h"

namespace soak {

inline constexpr rounding kRoundings[] = {rounding::ceil,           rounding::convergent,   rounding::toward_zero,
                                          rounding::floor,          rounding::nearest,      rounding::nearest_away,
                                          rounding::nearest_zero,   rounding::nearest_down, rounding::nearest_odd,
                                          rounding::away_from_zero, rounding::jam,          rounding::add_sign};
inline constexpr overflow kOverflows[] = {overflow::saturate, overflow::wrap, overflow::symmetric, overflow::zero,
                                          overflow::keep_sign};

/// Words of 1 bit to the most, many of them short or at the seams of machine words, with the point near the word.
template <class Integer>
fixed_type drawnType(Draw& draw, int mostBits) {
    static constexpr int kSeams[] = {1, 2, 31, 32, 33, 52, 53, 54, 63, 64, 65, 127, 128, 129, 192, 256, 512};
    int bits = draw.oneIn(3) ? draw.between(1, 20) : draw.oneIn(3) ? draw.of(kSeams) : draw.between(1, mostBits);
    bits = std::min(bits, mostBits);
    return {draw.oneIn(2), bits, draw.oneIn(3) ? 0 : draw.between(-10, 30)};
}

/// A word of a type from a seed: any bits, runs of equal bits, or an edge.
template <class Integer>
Integer drawnWord(const fixed_type& type, std::uint64_t seed) {
    const std::uint64_t drawn = mixed(seed);
    Integer pattern;
    if constexpr (std::is_same_v<Integer, mpz_class>) {
        std::uint64_t limbs[12];
        const auto count = static_cast<std::size_t>(type.bits + 63) / 64;
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint64_t bits = mixed(drawn + i);
            limbs[i] = (drawn & 3U) != 0 ? bits : (bits & 1U) != 0 ? ~std::uint64_t{0} : 0;
        }
        mpz_import(pattern.get_mpz_t(), count, -1, sizeof limbs[0], 0, 0, limbs);
        pattern = Words<Integer>::lowBits(pattern, type.bits);
    } else {
        pattern = Integer(drawn >> (64 - type.bits));
    }
    if ((drawn & 0x70U) == 0) {
        const Integer edges[] = {Integer(0), Integer(1), timesPower<Integer>(Integer(1), type.bits) - 1,
                                 timesPower<Integer>(Integer(1), type.bits - 1)};
        pattern = edges[drawn >> 8 & 3U];
    }
    return wordOf<Integer>(Words<Integer>::lowBits(pattern, type.bits), type);
}

inline std::size_t limbsPerWord(const fixed_type& type) {
    return static_cast<std::size_t>(type.bits + 63) / 64;
}

template <class Integer>
void putLimbs(const Integer& word, std::size_t count, std::vector<std::uint64_t>& limbs) {
    if constexpr (std::is_same_v<Integer, mpz_class>) {
        const mpz_class pattern = Words<Integer>::lowBits(word, static_cast<int>(count) * 64);
        const std::size_t begin = limbs.size();
        limbs.resize(begin + count);
        mpz_export(limbs.data() + begin, nullptr, -1, sizeof(std::uint64_t), 0, 0, pattern.get_mpz_t());
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            limbs.push_back(static_cast<std::uint64_t>(i < 2 ? word >> (64 * i) : (word < 0 ? -1 : 0)));
        }
    }
}

template <class Integer>
Integer fromLimbs(const std::uint64_t* limbs, std::size_t count, bool isSigned) {
    if constexpr (std::is_same_v<Integer, mpz_class>) {
        Integer word;
        mpz_import(word.get_mpz_t(), count, -1, sizeof(std::uint64_t), 0, 0, limbs);
        if (isSigned && limbs[count - 1] >> 63 != 0) {
            word -= timesPower<Integer>(Integer(1), static_cast<int>(count) * 64);
        }
        return word;
    } else {
        if (count == 1) {
            return isSigned ? Integer(static_cast<std::int64_t>(limbs[0])) : Integer(limbs[0]);
        }
        return static_cast<Integer>(static_cast<UnsignedInt128>(limbs[1]) << 64 | limbs[0]);
    }
}

template <class Integer>
class Operand {
 public:
    /// Elements from `first` on.
    Operand(const fixed_type& type_, std::uint64_t seed, std::size_t first, std::size_t count) : type(type_) {
        std::vector<std::uint64_t> limbs;
        mWords.reserve(count);
        limbs.reserve(count * limbsPerWord(type));
        for (std::size_t i = 0; i < count; ++i) {
            mWords.push_back(drawnWord<Integer>(type, seed + (first + i) * 0x2545F4914F6CDD1DU));
            putLimbs<Integer>(mWords.back(), limbsPerWord(type), limbs);
        }
        array = tolvane::from_limbs(limbs, type);
    }

    std::size_t size() const { return mWords.size(); }
    /// A single word stands for all.
    const Integer& at(std::size_t i) const { return mWords[mWords.size() == 1 ? 0 : i]; }
    std::string describe(std::size_t i) const {
        return mWords.empty() ? "none" : textOf<Integer>(at(i)) + " of " + type.text();
    }

    fixed_type type;
    tolvane::fixed_array array;

 private:
    std::vector<Integer> mWords;
};

/// Compares an array with integers times 2^-fraction; `first` is the place of the first element in its case.
template <class Integer, class ExpectedAt, class Describe>
Outcome compared(const tolvane::fixed_array& seen, int fraction, std::size_t size, std::size_t first,
                 const ExpectedAt& expectedAt, const Describe& describe) {
    if (seen.size() != size) {
        return mismatch(first, describe(0), " has ", seen.size(), " elements, expected ", size);
    }
    const fixed_type type = seen.type();
    const auto limbs = limbs_of(seen);
    const std::size_t each = limbsPerWord(type);
    if (limbs.size() != size * each) {
        return mismatch(first, describe(0), " has ", limbs.size(), " limbs");
    }
    const int up = type.fraction - fraction;
    const Words<Integer> words(type, overflow::wrap);
    for (std::size_t i = 0; i < size; ++i) {
        const Integer word = fromLimbs<Integer>(limbs.data() + i * each, each, type.is_signed);
        const Integer expected = expectedAt(i);
        const bool isEqual = up == 0  ? word == expected
                             : up > 0 ? word == timesPower<Integer>(expected, up)
                                      : timesPower<Integer>(word, -up) == expected;
        if (!isEqual) {
            return mismatch(first + i, describe(i), " gives ", textOf<Integer>(word), " of ", type, ", expected ",
                            textOf<Integer>(expected), " times 2^-", fraction);
        }
        if (!words.has(word)) {
            return mismatch(first + i, describe(i), " gives ", textOf<Integer>(word), ", which isn't a word of ", type);
        }
    }
    return {size, {}, 0};
}

}  // namespace soak
