// The grids of the entries of an array.
#pragma once

#include "descriptors/NumericType.h"
#include "numbers/words.h"

namespace tolvane::detail {

/// The grid on which the values of a type lie, for types whose entries are integers; otherwise one without bits.
inline WordGrid gridOf(const EmbeddedTypeSystem::NumericType& type) {
    if (!type.isFixed() || type.isSlopeBiasScaled()) {
        return {};
    }
    return {type.getFixedExponent(), type.getWordLength(), type.isSigned()};
}

}  // namespace tolvane::detail
