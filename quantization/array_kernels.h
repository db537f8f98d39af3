// Loops over whole arrays of doubles, compiled for several instruction sets and chosen once for the processor at hand.
//
// They apply the rules of quantization/fixed_rules.inl.h and float_rules.inl.h and so give, in every bit, what the
// stored quantize function of a quantizer gives element by element. `in` and `out` hold `count` doubles and are the
// same or disjoint.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "descriptors/embedded.h"
#include "quantization/fixed_limits.h"
#include "quantization/float_limits.h"
#include "quantization/word_limits.h"

namespace arraykernels {

/// What a pass saw. The extremes are those of the quantized values, infinities of the other end when it saw none but
/// NaN; a zero extreme may have either sign.
struct Statistics {
    double greatest = -std::numeric_limits<double>::infinity();
    double least = std::numeric_limits<double>::infinity();
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;
};

/// The part of a quantizer's description that picks a loop.
struct Selection {
    embedded::QuantizerModeEnum mode;
    embedded::RoundModeEnum round;
    embedded::OverflowModeEnum overflow;
};

/// Whether the processor has an instruction set that the loops are exact on; without it they must not be called.
bool areAvailable();

/// Quantizes the array in mode fixed or ufixed (the limits are valid), or in one of the modes that take bounds alone:
/// double, none, boolean and the scaled doubles. With `statistics` null nothing is counted.
void quantizeArray(Selection selection, const FixedDoubleLimits& limits, const double* in, double* out,
                   std::size_t count, Statistics* statistics);
/// As above, in the modes float and single.
void quantizeFloatArray(Selection selection, const FloatDoubleLimits& limits, const double* in, double* out,
                        std::size_t count, Statistics* statistics);

/// The part of a conversion to stored words that picks a loop; the code is one of 0 to 6.
struct WordSelection {
    int roundCode;
    bool saturates;
    bool isSigned;
};
/// Gives each double the value of the stored word that it is converted to (quantization/word_conversion.h).
void quantizeThroughWords(WordSelection selection, const WordLimits& limits, const double* in, double* out,
                          std::size_t count);

}  // namespace arraykernels
