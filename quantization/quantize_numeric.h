// Whole arrays of numbers into arrays of quantized doubles, in one call.
//
// Two ways: through the stored words of a fixed-point type, without an object and in several threads, and through a
// quantizer, in order and with counting. Both give the values back as doubles.
#pragma once

#include <cstddef>
#include <span>

#include "descriptors/NumericType.h"
#include "descriptors/embedded.h"
#include "host/export.h"

class quantizer;
struct hvArray;

/// Rounds each value exactly into the fixed-point type and stores its real-world value: NaN gives the bias, an infinity
/// that wraps too. `out` has the length of `in` and is the same memory or separate from it. Nothing is counted. From
/// 501 elements on, and when `isParallel`, the work is shared among threads; the results are the same. Raises
/// "fixedpoint:quantizer:wordlengthtoobig" and "fixedpoint:quantizer:wordlengthtoosmall".
TOLVANE_API void quantizeThroughWords(std::span<const double> in, std::span<double> out,
                                      const EmbeddedTypeSystem::NumericType& type, embedded::RoundModeEnum round,
                                      embedded::OverflowModeEnum overflow, bool isParallel);

/// The elements of the greatest array that is quantized in one thread.
inline constexpr std::size_t greatestSerialCount = 500;

/// Quantizes the real parts of a host array in order, then the imaginary ones, as numbers of the quantizer's precision,
/// and counts. Returns a new double array, which the caller owns, of the same size and complexity. Raises
/// "fixedpoint:quantizer:quantize:notnumeric" where the elements are no numbers, logicals or characters, and
/// "fixedpoint:quantizer:quantize:numericonly" for 64-bit integers and characters.
TOLVANE_API hvArray* quantizeNumeric(const quantizer& q, const hvArray* values);
