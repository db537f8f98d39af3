// The grids of the entries of an array.
#pragma once

#include <optional>

#include "descriptors/NumericType.h"
#include "numbers/mpnumber.h"
#include "numbers/number.h"
#include "numbers/words.h"
#include "quantization/quantizer.h"

namespace tolvane::detail {

/// The grid on which the values of a type lie, for types whose entries are integers; otherwise one without bits.
inline WordGrid gridOf(const EmbeddedTypeSystem::NumericType& type) {
    if (!type.isFixed() || type.isSlopeBiasScaled()) {
        return {};
    }
    return {type.getFixedExponent(), type.getWordLength(), type.isSigned()};
}

/// The grid of the words of a quantizer, which needn't be those of the type of its array; otherwise one without bits.
inline WordGrid gridOf(const quantizer& q) {
    if (!q.isFixedPoint()) {
        return {};
    }
    return {-q.getFractionlength(), q.getWordlength(), q.isSignedFixed()};
}

/// The words of a part, if it holds words of a usual grid.
inline std::optional<WordSpan> wordsOf(const number& part, const WordGrid& grid) {
    const mpnumber* const words = part.asWords();
    return words && grid.isUsual() && *words->grid() == grid ? std::optional(words->words()) : std::nullopt;
}

}  // namespace tolvane::detail
