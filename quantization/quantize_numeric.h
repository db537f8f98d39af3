// Quantizes whole arrays of numbers to arrays of doubles, in one call.
//
// There are two ways: through the stored words of a fixed-point type, without an object and in several threads, and
// through a quantizer, in order and with counting. Both return the values as doubles.
#pragma once

#include <cstddef>
#include <span>

#include "descriptors/NumericType.h"
#include "descriptors/embedded.h"
#include "host/export.h"

class quantizer;
struct hvArray;

/// Rounds each value exactly to the fixed-point type and stores its real-world value: NaN gives the bias, as does an
/// infinity that wraps. `out` has the length of `in` and is the same memory or separate from it. Nothing is counted.
/// From 501 elements on, if `isParallel`, the work is shared among threads; the results are the same. Raises
/// "fixedpoint:quantizer:wordlengthtoobig" and "fixedpoint:quantizer:wordlengthtoosmall".
TOLVANE_API void quantizeThroughWords(std::span<const double> in, std::span<double> out,
                                      const EmbeddedTypeSystem::NumericType& type, embedded::RoundModeEnum round,
                                      embedded::OverflowModeEnum overflow, bool isParallel);

/// The number of elements of the largest array that is quantized in one thread.
inline constexpr std::size_t kGreatestSerialCount = 500;

/// Quantizes the real parts of a host array in order, then the imaginary ones, as numbers of the quantizer's precision,
/// and counts. Returns a new double array, which the caller owns, of the same size and complexity. Raises
/// "fixedpoint:quantizer:quantize:notnumeric" if the elements aren't numbers, logicals or characters, and
/// "fixedpoint:quantizer:quantize:numericonly" for 64-bit integers and characters.
TOLVANE_API hvArray* quantizeNumeric(const quantizer& q, const hvArray* values);
