// Whole arrays of words of one limb in one loop: quantizing them and doubles, moving them, comparing them. The loops
// are compiled for several instruction sets.
//
// The functions that return a bool return false, and have done nothing, where a format or a type isn't for these loops;
// quantization/integer_blocks.h takes all of them, and gives the same words and counts. No zero has a sign here. A
// result may be the memory of an operand of the same size.
#pragma once

#include <gmp.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "numbers/words.h"
#include "quantization/integer_blocks.h"

namespace tolvane::detail::integers {

/// What a pass over values noted: their least and greatest, those of the words they became, and counts.
template <class Value>
struct ShortNotes {
    Value least;
    Value greatest;
    std::int64_t leastWord;
    std::int64_t greatestWord;
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;
};

/// Sets `out` to words that are forced into a format, whose unit isn't 2^64 times theirs or less than a 2^64th; notes
/// nothing if `notes` is null or there are no words.
bool quantize(const Format& format, const WordSpan& x, mp_limb_t* out, ShortNotes<std::int64_t>* notes);
/// The same for finite doubles, and formats of up to 51 bits besides a sign whose unit isn't greater than 1.
bool quantize(const Format& format, std::span<const double> x, mp_limb_t* out, ShortNotes<double>* notes);

/// Sets `out` to the doubles nearest to words; for exponents of 900 in size at most.
bool toDoubles(const WordSpan& x, double* out);
/// Bits of words of one limb, as integers: `count` of them, up to 62, or for 0 all from the first on, with the sign.
struct BitRange {
    int first = 0;
    int count = 0;
};
void toDoubles(const WordSpan& x, const BitRange& bits, double* out);
/// Adds doubles, whole and less than 2^63 in size, times 2^shift to integers of one or two limbs.
void addDoubles(std::span<const double> x, int shift, std::size_t limbs, mp_limb_t* out);
/// Sets `out` to integers of up to 32 bits.
template <class Int>
void widen(std::span<const Int> x, mp_limb_t* out);

enum class Order { less, lessOrEqual, equal };
/// Sets bytes to 1 where values are in an order, else to 0; a single word stands for all. Needs words whose values fit
/// in one limb with the lesser exponent of the two.
bool compare(Order order, const WordSpan& a, const WordSpan& b, std::uint64_t count, std::uint8_t* out);

}  // namespace tolvane::detail::integers
