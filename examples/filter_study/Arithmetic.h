// The words of a fixed-point filter: coefficients, data, products and sums, with the rounding and overflow of products
// and sums.
//
// All words are signed. Types follow the host: a product or sum is kept in full, keeps its least or its most
// significant bits in a word of a given length, or has its own word and fraction.
#pragma once

#include <compare>
#include <cstddef>
#include <string>

#include "examples/studies/Format.h"

namespace filterstudy {

using study::Overflow;
using study::Round;

/// Bit 0 of the word weighs 2^-fraction.
struct Word {
    int bits = 16;
    int fraction = 15;
    auto operator<=>(const Word&) const = default;  // NOLINT(modernize-use-nullptr)
};

/// "s16,15"
std::string nameOf(Word word);

enum class Keep { Full, Lsb, Msb, Specified };

/// The mode by its name in the host's rules: "FullPrecision", "KeepLSB", "KeepMSB", "SpecifyPrecision".
const char* nameOf(Keep keep);

/// How a product or a sum gets its word: `bits` is used in all modes except Full, `fraction` in Specified.
struct Keeping {
    Keep keep = Keep::Full;
    Word word{};
    auto operator<=>(const Keeping&) const = default;  // NOLINT(modernize-use-nullptr)
};

struct Arithmetic {
    Word coefficient;
    Word data;
    Keeping product;
    Keeping sum;
    Round round = Round::Nearest;  // of products and sums; coefficients and data are rounded to nearest
    Overflow overflow = Overflow::Saturate;
    auto operator<=>(const Arithmetic&) const = default;  // NOLINT(modernize-use-nullptr)
};

Word productWord(const Arithmetic& arithmetic);

/// The word of a sum of `terms` products, which is the filter's output.
Word sumWord(const Arithmetic& arithmetic, std::size_t terms);

/// Returns ceil(log2(terms)), the growth of a sum in full.
int growthBits(std::size_t terms);

/// The hardware cost of the words, in cells of about one full adder: coefficient bits times data bits for the
/// multiplier, and the bits of the product and of the sum register.
int costOf(const Arithmetic& arithmetic, std::size_t terms);

}  // namespace filterstudy
