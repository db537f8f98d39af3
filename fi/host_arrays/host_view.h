// Entries as the elements of a new host array, by a conversion from double.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <type_traits>
#include <vector>

#include "fi/fi.h"
#include "host/hv.h"
#include "host/hv_optional.h"

namespace tolvane::detail {

/// Sets each element to `convert` of the entry at the same position; the cursor doesn't move.
template <class T, class Convert>
void convertEntries(const number& entries, std::span<T> out, Convert convert) {
    if (const doublenumber* doubles = entries.asDouble()) {
        const auto in = doubles->elements().first(out.size());
        if constexpr (std::is_same_v<Convert, std::identity>) {
            std::copy_n(in.data(), in.size(), out.data());
        } else {
            std::ranges::transform(in, out.begin(), convert);
        }
        return;
    }
    const std::uint64_t cursor = entries.getIndex();
    for (std::size_t i = 0; i < out.size(); ++i) {
        out[i] = convert(entries[i].todouble());
    }
    entries.setIndex(cursor);
}

/// Makes a numeric array of which every number will be set: without zeros, if the host can.
inline hvArrayOwner numericArrayToFill(std::span<const std::size_t> dims, hvClassID classId, hvComplexity complexity) {
    const auto create = hvCreateUnsetNumericArray != nullptr ? hvCreateUnsetNumericArray : hvCreateNumericArray;
    return hvArrayOwner(create(dims.size(), dims.data(), classId, complexity));
}

/// Makes an array of the dimensions of the source, and of its complexity unless it is logical; `fill` sets the elements
/// of a part. The caller owns it.
template <class T, class Fill>
hvArray* hostViewBy(const fi& source, hvClassID classId, Fill fill) {
    const std::vector<std::size_t> dims(source.dims(), source.dims() + source.ndims());
    hvArrayOwner result(classId == hvLOGICAL_CLASS
                            ? hvCreateLogicalArray(dims.size(), dims.data())
                            : numericArrayToFill(dims, classId, source.getComplexity()).release());
    fill(source.real(), hvGetTypedData<T>(result.get()));
    fill(source.imag(), hvGetTypedImagData<T>(result.get()));
    return result.release();
}

/// As `hostViewBy`, element by element.
template <class T, class Convert>
hvArray* hostView(const fi& source, hvClassID classId, Convert convert) {
    return hostViewBy<T>(source, classId, [&convert](const number& entries, std::span<T> out) {
        convertEntries(entries, out, convert);
    });
}

}  // namespace tolvane::detail
