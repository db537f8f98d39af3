// Bit operations on whole arrays that hold words of many bits, on their limbs.
//
// Each function gives what the element operation gives for all elements; it returns false, and has changed nothing, if
// the part isn't made of words of the type. Positions count from 1 and are within the word.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "descriptors/NumericType.h"
#include "fi/bulk/bit_loops.h"
#include "host/export.h"
#include "numbers/number.h"

namespace tolvane::detail::wide {

using bitloops::Operation;
using EmbeddedTypeSystem::NumericType;

/// Combines each element with one of `others`, or with the only one there.
bool combineBits(Operation operation, number& part, const number& others, bool isScalar, const NumericType& type);
bool complement(number& part, const NumericType& type);
/// Sets or clears a bit of each element, or the same bit of all.
TOLVANE_API bool setBits(number& part, const std::vector<int>& positions, const std::vector<bool>& values,
                         const NumericType& type);
TOLVANE_API bool getBits(const number& part, const std::vector<int>& positions, std::span<std::uint8_t> bits,
                         const NumericType& type);

}  // namespace tolvane::detail::wide
