// Bit operations on the stored integers of doubles, in place, on vectors.
//
// Elements that are stored integers of their type take part as two's complement words; the others take the rules of
// single elements (numbers/bit_words.h), one by one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "numbers/bit_words.h"

namespace tolvane::detail::bitloops {

enum class Operation { conjunction, disjunction, exclusion };

/// Combines each element of `left` with the one of `right`, or with the only one there.
void combine(Operation operation, std::span<double> left, std::span<const double> right, const WordFormat& format);

/// Replaces all elements by their complements; `mask` has the bits of a word.
void complement(std::span<double> elements, std::uint64_t mask, const WordFormat& format);

/// Sets or clears the bit at a position of the word, which counts from 1, in all elements.
void setBit(std::span<double> elements, int position, bool value, const WordFormat& format);

}  // namespace tolvane::detail::bitloops
