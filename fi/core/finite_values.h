// The check of whole arrays of values for NaN and infinity.
#pragma once

#include <cstdint>
#include <type_traits>

#include "descriptors/NumericType.h"
#include "quantization/array_kernels.h"

namespace tolvane::detail {

/// As NumericType::checkNaNInf, which looks at one value after the other.
template <class T>
void checkNaNInf(EmbeddedTypeSystem::NumericType::DataTypeEnum dataType, const T* values, std::uint64_t count) {
    if constexpr (std::is_same_v<T, double>) {
        if (arraykernels::areFinite(values, count)) {
            return;
        }
    }
    EmbeddedTypeSystem::NumericType::checkNaNInf(dataType, values, count);
}

}  // namespace tolvane::detail
