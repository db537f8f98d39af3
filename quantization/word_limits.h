// The stored words of a fixed-point type as plain doubles, for loops over arrays that give the same results as the
// word-level conversion (quantization/word_conversion.h), bit for bit.
#pragma once

#include <optional>

#include "descriptors/NumericType.h"

namespace tolvane::detail {

/// Words are in units of the lowest bit.
struct WordLimits {
    double scale = 1.0;         // 2^-F
    double inverseScale = 1.0;  // 2^F
    double greatest = 0.0;      // as a word gives it: rounded to nearest
    double least = 0.0;
    double modulus = 1.0;  // 2^word length
    double inverseModulus = 1.0;
};

/// Returns the limits of a type of 1 bit or more if the rules on doubles (quantization/word_rules.inl.h) give the same
/// results as the words for every value; word_limits.cpp has the proof.
std::optional<WordLimits> wordLimitsOf(const EmbeddedTypeSystem::NumericType& type, int roundCode, bool saturates);

}  // namespace tolvane::detail
