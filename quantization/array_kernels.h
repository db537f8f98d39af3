// Loops over whole arrays of doubles, compiled for several instruction sets, of which one is chosen for the processor.
//
// They apply the rules of quantization/fixed_rules.inl.h and float_rules.inl.h and so give the same results, in every
// bit, as the stored quantize function of a quantizer gives element by element. `in` and `out` hold `count` doubles and
// are the same or disjoint.
#pragma once

#include <cstddef>
#include <cstdint>

#include "descriptors/embedded.h"
#include "host/export.h"
#include "quantization/fixed_limits.h"
#include "quantization/float_limits.h"
#include "quantization/tally.h"
#include "quantization/word_limits.h"

namespace tolvane::detail::arraykernels {

/// The part of a quantizer's description that selects a loop.
struct Selection {
    embedded::QuantizerModeEnum mode;
    embedded::RoundModeEnum round;
    embedded::OverflowModeEnum overflow;
};

/// Whether the processor has an instruction set on which the loops are exact; otherwise they must not be called.
bool areAvailable();

/// Quantizes the array in mode fixed or ufixed (the limits are valid), or in one of the modes that use only bounds:
/// double, none, boolean and the scaled doubles. What they do is noted in
/// `tally`, all but the number of values, unless it is null.
void quantizeArray(Selection selection, const FixedDoubleLimits& limits, const double* in, double* out,
                   std::size_t count, Tally* tally);
/// As above, in the modes float and single.
void quantizeFloatArray(Selection selection, const FloatDoubleLimits& limits, const double* in, double* out,
                        std::size_t count, Tally* tally);

/// Whether all values are finite; for any processor.
TOLVANE_API bool areFinite(const double* values, std::size_t count);

/// The part of a conversion to stored words that selects a loop; the code is from 0 to 6.
struct WordSelection {
    int roundCode;
    bool saturates;
    bool isSigned;
};
/// Replaces each double by the value of the stored word to which it is converted (quantization/word_conversion.h).
void quantizeThroughWords(WordSelection selection, const WordLimits& limits, const double* in, double* out,
                          std::size_t count);

}  // namespace tolvane::detail::arraykernels
