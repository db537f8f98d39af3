// The loops of quantization/integer_blocks.h over integers of one or two limbs, compiled for several instruction sets.
#pragma once

#include <gmp.h>

#include <cstddef>
#include <cstdint>

#include "quantization/integer_blocks.h"

namespace tolvane::detail::integers {

/// The width of the longest integers that these loops take.
constexpr std::size_t kLoopWidth = 2;

/// How a block is forced into a format.
struct Task {
    const Format& format;
    int shift;  // bits to be dropped, or to be added if negative
    bool saturates;
};

/// What the rounding of a block met.
struct Met {
    std::uint64_t minusZeros = 0;  // new ones
    std::uint64_t underflows = 0;
    std::uint64_t overflows = 0;
    std::uint64_t overflowing = 0;  // a bit for each
};

/// Doubles between a lower bound and below an upper one, times a power of two, are integers.
struct DoubleRange {
    double toInteger;
    double least;
    double bound;
};

struct KeyRange {
    std::int64_t greatest;
    std::int64_t least;
};

/// Words of one limb as an operand of a whole array.
struct WordOperand {
    const mp_limb_t* limbs;
    std::size_t step;
    unsigned shift = 0;
};

/// The loops of an instruction set. Counts are of integers, up to a block; a width is that of all limbs but factors.
struct IntegerLoops {
    /// Sets integers of two limbs to words of one.
    void (*widen)(const mp_limb_t* from, std::size_t count, bool isSigned, mp_limb_t* to);
    /// Stores the lower limbs of integers of two.
    void (*narrow)(const mp_limb_t* from, std::size_t count, mp_limb_t* to);
    bool (*areWithin)(const double* values, std::size_t count, const DoubleRange& range);
    /// Sets integers to doubles times a factor; returns whether there is a zero.
    bool (*fromDoubles)(const double* values, std::size_t count, double toInteger, std::size_t width, mp_limb_t* out);
    /// Sets doubles to integers of one limb times a factor.
    void (*toDoubles)(const mp_limb_t* from, std::size_t count, double toValue, double* out);
    void (*shiftLeft)(mp_limb_t* x, std::size_t count, std::size_t width, unsigned shift);
    /// Sets `out` to products of factors of another width; `step` is 1, or 0 for one right factor. Returns whether
    /// there is a zero. Factors of two limbs have products of two.
    bool (*multiply)(const mp_limb_t* a, const mp_limb_t* b, std::size_t step, std::size_t count,
                     std::size_t factorWidth, std::size_t width, mp_limb_t* out);
    /// Adds products of factors of one limb, or subtracts them.
    void (*accumulate)(Sign sign, const mp_limb_t* a, const mp_limb_t* b, std::size_t count, std::size_t width,
                       mp_limb_t* total);
    /// Adds integers times 2^shift, or subtracts them.
    void (*combine)(Sign sign, const mp_limb_t* x, unsigned shift, std::size_t count, std::size_t width,
                    mp_limb_t* total);
    /// Sets words of one limb to a 2^aShift + b 2^bShift, or the difference, and to products a b, of words of one limb,
    /// any number of them. A step is 1, or 0 for an operand that stands for all.
    void (*combineWords)(Sign sign, const WordOperand& a, const WordOperand& b, std::uint64_t count, mp_limb_t* out);
    void (*multiplyWords)(const WordOperand& a, const WordOperand& b, std::uint64_t count, mp_limb_t* out);
    /// The same for words from -2^31 to 2^31 - 1.
    void (*multiplyHalves)(const WordOperand& a, const WordOperand& b, std::uint64_t count, mp_limb_t* out);
    /// Returns the greatest and the least of what 64 bits of each integer are as integers, from bit `shift` of a limb
    /// on, and sets `keys` to these unless the width is 1.
    KeyRange (*watch)(const mp_limb_t* x, std::size_t count, std::size_t width, std::size_t limb, unsigned shift,
                      std::int64_t* keys);
    /// A bit for each key that has a value.
    std::uint64_t (*placesOf)(const std::int64_t* keys, std::size_t count, std::int64_t value);
    /// Rounds integers and forces them into a format.
    void (*quantize)(const Task& task, mp_limb_t* x, std::size_t count, std::size_t width, Met& met);
    /// The same for finite doubles, into words of one limb and up to 63 bits without a sign; `toInteger` brings them to
    /// the format's units. Returns false, and has done nothing, if a double is too great for these loops.
    bool (*quantizeDoubles)(const Task& task, const double* values, std::size_t count, double toInteger, mp_limb_t* out,
                            Met& met);
};

/// Those of the best instruction set that the processor has.
const IntegerLoops& integerLoops();

}  // namespace tolvane::detail::integers
