// What the loops of quantization/short_words.cpp are told, which is compiled once for each instruction set.
#pragma once

#include <cstddef>
#include <cstdint>

#include "quantization/word_limits.h"

namespace tolvane::detail::integers {

/// How words are forced into a format of words between two bounds.
struct WordTask {
    int shift;  // bits to be dropped, or to be added if negative
    int unusedBits;
    std::int64_t least;
    std::int64_t greatest;
};

/// The same for doubles.
struct DoubleTask {
    WordLimits limits;
    WordTask words;  // of the rounded ones, whose shift is 0
};

struct CompareOperand {
    const std::int64_t* words;
    std::size_t step;  // 0 for one word that stands for all
    int shift;
};
struct CompareTask {
    CompareOperand left;
    CompareOperand right;
};

enum class Forced { saturated, wrappedSigned, wrappedUnsigned };

}  // namespace tolvane::detail::integers
