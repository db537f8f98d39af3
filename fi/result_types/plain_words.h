// Types of which arrays can be made at any time with the same result: their checks pass under all settings, and
// doubles hold their words.
#pragma once

#include "fi/fi.h"

namespace tolvane::detail {

inline bool isPlainWord(const EmbeddedTypeSystem::NumericType& type) {
    const int wordBits = type.getWordLength();
    return type.getDataType() == fi::DataTypeEnum::Fixed && type.getScaling() == fi::ScalingEnum::BinaryPoint &&
           wordBits > 0 && static_cast<unsigned>(wordBits) <= doublenumber::kScalarPrecision;
}

/// Whether entries of that precision are doubles.
inline bool areEntriesDoubles(unsigned precision) {
    return precision <= doublenumber::kScalarPrecision;
}

/// Whether numbers made by default are.
inline bool areDefaultNumbersDoubles() {
    return areEntriesDoubles(number::getDefaultPrecision()) && !number::getDefaultForceMultiplePrecision();
}

}  // namespace tolvane::detail
