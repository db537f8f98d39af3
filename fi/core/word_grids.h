// The grids of the entries of an array.
#pragma once

#include <optional>

#include "descriptors/NumericType.h"
#include "numbers/mpnumber.h"
#include "numbers/number.h"
#include "numbers/words.h"

namespace tolvane::detail {

/// The grid on which the values of a type lie, for types whose entries are integers; otherwise one without bits.
inline WordGrid gridOf(const EmbeddedTypeSystem::NumericType& type) {
    if (!type.isFixed() || type.isSlopeBiasScaled()) {
        return {};
    }
    return {type.getFixedExponent(), type.getWordLength(), type.isSigned()};
}

/// Whether there is a grid, and floats and sums of exponents and lengths don't leave their range.
inline bool isUsual(const WordGrid& grid) {
    constexpr int kGreatestExponent = 1 << 20;
    return grid.bits > 0 && grid.exponent <= kGreatestExponent && grid.exponent >= -kGreatestExponent;
}

/// The words of a part, if it holds words of the type and that has a usual grid.
inline std::optional<WordSpan> wordsOfType(const number& part, const EmbeddedTypeSystem::NumericType& type) {
    const mpnumber* const words = part.asWords();
    return words && isUsual(*words->grid()) && *words->grid() == gridOf(type) ? std::optional(words->words())
                                                                              : std::nullopt;
}

}  // namespace tolvane::detail
