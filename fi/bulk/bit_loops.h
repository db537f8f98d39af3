// Bit operations on the stored integers of doubles, on vectors.
//
// Elements that are stored integers of their type take part as two's complement words; the others take the rules of
// single elements (numbers/bit_words.h), one by one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "host/export.h"
#include "numbers/bit_words.h"

namespace tolvane::detail::bitloops {

enum class Operation { conjunction, disjunction, exclusion };

// The result has an element for each on the left, and may be the left side itself.

/// Combines each element of `left` with the one of `right`, or with the only one there.
void combine(Operation operation, std::span<const double> left, std::span<const double> right, double* out,
             const WordFormat& format);

/// Stores the complements; `mask` has the bits of a word.
void complement(std::span<const double> elements, double* out, std::uint64_t mask, const WordFormat& format);

/// Stores the elements with the bit at a position of the word, which counts from 1, set or cleared.
TOLVANE_API void setBit(std::span<const double> elements, double* out, int position, bool value,
                        const WordFormat& format);

}  // namespace tolvane::detail::bitloops
