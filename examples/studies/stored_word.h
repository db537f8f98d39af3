// The stored word of a sample, computed from the bits of the double with integers only.
//
// It shares no code with the library, so that words written by the quantizer can be compared with it bit for bit. It
// follows the documented rules: `nearest`, `round` and `convergent` take the floor of a double sum with one half, and
// a float format compares with its greatest value before it rounds.
#pragma once

#include <cstdint>

#include "examples/studies/Format.h"

namespace study {

/// Returns the word of a finite sample of at most 2^256 in magnitude, in two's complement or as a float's bit pattern;
/// bits above the word are 0.
std::uint64_t storedWord(double sample, const Format& format);

/// Returns the greatest fraction length at which both ends of a signal, after rounding, fit the word. For unsigned
/// words, samples below zero are ignored. A silent signal gets full scale 1.
int coveringFraction(double smallest, double greatest, Kind kind, int wordBits, Round round);

}  // namespace study
