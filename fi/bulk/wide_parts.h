// Operands and results with both their parts, real and imaginary, for array code on integers of many bits.
#pragma once

#include <cstdint>
#include <optional>

#include "fi/bulk/wide_operands.h"
#include "fi/fi.h"

namespace tolvane::detail::wide {

/// An operand; a real one has no imaginary part.
struct Operand {
    /// As Source::of.
    static std::optional<Operand> of(const fi& x, std::uint64_t count, bool isScalar);
    /// Of an array by itself, in which one element is no scalar for others.
    static std::optional<Operand> of(const fi& x) { return of(x, x.numel(), x.numel() == 1); }

    /// An extent of all values.
    integers::Extent extent() const;
    int neededBits() const;

    Source real;
    std::optional<Source> imag;
};

/// A result.
struct Results {
    /// As Target::of.
    static std::optional<Results> of(fi& x);
    /// As Target::ofSums.
    static std::optional<Results> ofSums(fi& x);

    /// The real part, or the imaginary one.
    Target& part(std::size_t i) { return i == 0 ? real : *imag; }
    std::uint64_t count() const { return array->numel(); }
    void clear();
    /// Whether the parts are still what they were after elements have been set one by one.
    bool areHeld() const;

    const fi* array;
    Target real;
    std::optional<Target> imag;
};

}  // namespace tolvane::detail::wide
