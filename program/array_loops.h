// Loops over words of one limb and over plain numbers, compiled for several instruction sets.
#pragma once

#include <cstddef>
#include <cstdint>

#include "program/array_memory.h"

namespace tolvane::detail {

/// Words times 2^shift. A step is 1, or 0 for one word that stands for all.
struct ComparedWords {
    const std::uint64_t* words;
    std::size_t step;
    unsigned shift;
};

struct ArrayLoops {
    /// Sets a byte for each pair to 1 if it is in a relation, or to 0. The words still fit a limb when shifted.
    void (*compare)(Relation relation, const ComparedWords& a, const ComparedWords& b, bool areSigned,
                    std::size_t count, std::uint8_t* out);
    /// Sets doubles to words times a unit.
    void (*toDoubles)(const std::uint64_t* words, std::size_t count, bool areSigned, double unit, double* out);
    /// Whether all limbs are words of so many bits.
    bool (*areWords)(const std::uint64_t* limbs, std::size_t count, int bits, bool areSigned);
    /// Sets limbs to integers, in two's complement if signed.
    void (*toLimbs)(const PlainIntegers& integers, std::size_t first, std::size_t count, std::uint64_t* out);
    /// All bits in which an integer of 64 bits differs from its sign, those of all of them together.
    std::uint64_t (*magnitudes)(const std::uint64_t* limbs, std::size_t count, bool areSigned);
    /// Whether no double is infinite or no number.
    bool (*areFinite)(const double* values, std::size_t count);
};

/// Those of the best instruction set that the processor has.
const ArrayLoops& arrayLoops();

}  // namespace tolvane::detail
