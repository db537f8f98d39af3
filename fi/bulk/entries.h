// Loops over all entries of one part of an array: a tight loop where the part holds doubles, the element operation
// otherwise. Both leave the cursor of the part where it was. Parts with words have loops of their own (wide_values.h,
// wide_bits.h).
#pragma once

#include <cstdint>
#include <span>

#include "fi/bulk/wide_values.h"
#include "numbers/number.h"

namespace tolvane::detail::entries {

/// Calls `step` with the part, its cursor on one entry after the other.
template <class Step>
void walk(number& part, Step&& step) {
    const std::uint64_t cursor = part.getIndex();
    for (std::uint64_t i = 0; i < part.numel(); ++i) {
        step(part[i]);
    }
    part.setIndex(cursor);
}

/// Replaces every entry by `onDouble` of it, or calls `onElement`, which does the same to one element of any kind.
template <class DoubleRule, class Step>
void change(number& part, DoubleRule&& onDouble, Step&& onElement) {
    if (doublenumber* doubles = part.asDouble()) {
        for (double& x : doubles->elements()) {
            x = onDouble(x);
        }
        return;
    }
    walk(part, onElement);
}

/// Whether the part holds one double for each of `count` elements; that of a column view holds those of its root.
inline bool isInDoubles(const number& part, std::uint64_t count) {
    return part.asDouble() && part.numel() == count;
}
/// The entries if `isInDoubles`, else nothing.
inline std::span<const double> doublesOf(const number& part, std::uint64_t count) {
    return isInDoubles(part, count) ? part.asDouble()->elements() : std::span<const double>();
}
inline std::span<double> doublesOf(number& part, std::uint64_t count) {
    return isInDoubles(part, count) ? part.asDouble()->elements() : std::span<double>();
}

inline void negate(number& part) {
    if (wide::negate(part)) {
        return;
    }
    // Subtracting from -0.0 turns the sign of every value, zeros included.
    change(
        part, [](double x) { return -0.0 - x; }, [](number& x) { x.negate(); });
}

}  // namespace tolvane::detail::entries
