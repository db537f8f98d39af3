// Integers of many bits, a block at a time: what the array code computes with where doubles are too short.
//
// A block holds up to 64 integers times one power of two, each in two's complement in the same number of limbs, its
// width, and the signs of those that are zero. The operations don't check that results fit: callers choose the width by
// `Extent`, which follows the values through the same operations.
#pragma once

#include <gmp.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "descriptors/embedded.h"
#include "numbers/host_memory.h"
#include "numbers/wordarray.h"
#include "numbers/words.h"
#include "quantization/quantizer.h"

namespace tolvane::detail::integers {

constexpr std::size_t kBlock = 64;

/// What is known of integers: all lie from -2^bits, or 0, to 2^bits - 1, times 2^exponent.
struct Extent {
    int exponent = 0;
    int bits = 0;
    bool hasSign = true;
};

struct Block {
    mp_limb_t* limbs = nullptr;
    std::uint64_t negativeZeros = 0;  // a bit for each integer
    Extent extent;
};

enum class Sign { plus, minus };

/// The memory of blocks of one width.
template <template <class> class Allocator>
class ArenaOf {
 public:
    ArenaOf(std::size_t width, std::size_t blocks) : mStep(width * kBlock), mLimbs(mStep * blocks) {}
    Block next() { return {mLimbs.data() + mStep * mUsed++, 0, {}}; }

 private:
    std::size_t mStep;
    std::vector<mp_limb_t, Allocator<mp_limb_t>> mLimbs;
    std::size_t mUsed = 0;
};
/// Raises "fixedpoint:fi:outofmemory".
using Arena = ArenaOf<WorkAllocator>;

/// Roundings and overflows that quantizers don't have.
enum class MoreRounding : std::uint8_t {
    none,
    nearestZero,
    nearestDown,
    nearestOdd,
    awayFromZero,
    jam,
    addSign,
    stochastic
};
enum class MoreOverflow : std::uint8_t { none, symmetric, zero, keepSign };

/// A fixed-point format: the words of `grid`, how values are rounded to them and what becomes of those beyond.
struct Format {
    WordGrid grid;
    embedded::RoundModeEnum round;
    embedded::OverflowModeEnum overflow;
    // In place of those, unless they are none.
    MoreRounding moreRounding = MoreRounding::none;
    MoreOverflow moreOverflow = MoreOverflow::none;
    std::uint64_t* random = nullptr;  // the state of the random numbers of stochastic rounding

    bool hasMore() const { return moreRounding != MoreRounding::none || moreOverflow != MoreOverflow::none; }
};

// Extents of the results of the operations below.

Extent extentOf(const WordGrid& grid);
Extent productOf(const Extent& a, const Extent& b);
Extent sumOf(Sign sign, const Extent& a, const Extent& b);
/// Of values that are rounded to a format, before those beyond it are forced into it.
Extent roundedOf(const Format& format, const Extent& x);
/// Whether all values of the extent are of the format.
bool covers(const Format& format, const Extent& x);
/// Whether a float of `precision` bits that is rounded and forced into the format by the quantizer's steps comes to the
/// same as the integer it holds: with what the steps add to it, it must not take more bits.
bool isExactInFloats(const Format& format, const Extent& x, int precision);
/// The bits that all integers fit in on the way from the extent to the format.
int neededBits(const Format& format, const Extent& x);
/// The bits, sign included, that all integers of the extent fit in.
constexpr int neededBits(const Extent& x) {
    return x.bits + 1;
}
constexpr std::size_t widthFor(int neededBits) {
    return static_cast<std::size_t>(neededBits + WordGrid::kLimbBits - 1) / WordGrid::kLimbBits;
}

/// The format of a quantizer with `isFixedPoint`.
inline Format formatOf(const quantizer& q) {
    return {{-q.getFractionlength(), q.getWordlength(), q.isSignedFixed()}, q.getRoundMode(), q.getOverflowMode()};
}

/// What a place noted of a block of values.
struct Notes {
    mp_limb_t* greatest;  // of the width
    mp_limb_t* least;
    unsigned zeros = 0;  // the signs of the zeros, as Tally::Zeros, if an extreme is zero
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;
    std::uint64_t overflowing = 0;  // a bit for each integer
};

/// Returns a negative number, 0 or a positive one, as a is less than, equal to or greater than b.
int compare(const mp_limb_t* a, const mp_limb_t* b, std::size_t width);

// Loading and storing.

/// Loads words; a width of no less than theirs, and a limb more for unsigned ones that fill all of theirs.
void load(const WordSpan& words, std::uint64_t begin, std::size_t count, std::size_t width, Block& out);
/// The same for words at any places.
void gather(const WordSpan& words, const std::uint64_t* places, std::size_t count, std::size_t width, Block& out);
/// Whether all values are integers of the extent, which has up to 62 bits.
bool areWithin(std::span<const double> values, const Extent& extent);
/// Loads such values.
void load(const double* values, std::size_t count, const Extent& extent, std::size_t width, Block& out);
/// Makes all integers of the block equal to the first.
void spread(std::size_t count, std::size_t width, Block& block);
/// Stores integers that are words of the array, of their exponent, `stride` elements apart.
void store(const Block& block, std::size_t count, std::size_t width, wordarray& words, std::uint64_t begin,
           std::uint64_t stride = 1);
/// The same at any places.
void scatter(const Block& block, const std::uint64_t* places, std::size_t count, std::size_t width, wordarray& words);
/// Stores integers of up to 53 bits.
void store(const Block& block, std::size_t count, std::size_t width, double* values, std::uint64_t stride = 1);
/// Integers of an array as a block, which is only read; of words with no sign above the top limb if they are unsigned.
Block view(const WordSpan& words, std::uint64_t begin, std::size_t count);
/// A part of a block.
Block slice(const Block& block, std::size_t first, std::size_t width);

// Whole arrays of exact words of one limb, whose results are such words: false if operands or results aren't. A single
// word stands for all.

/// Sets all words to sums or differences.
bool combine(Sign sign, const WordSpan& a, const WordSpan& b, wordarray& out);
/// Sets all words to products.
bool multiply(const WordSpan& a, const WordSpan& b, wordarray& out);

// Arithmetic. Zeros have the signs that IEEE sums, differences and products rounded to nearest have.

void copy(const Block& from, std::size_t count, std::size_t width, Block& to);
/// Gives the block an exponent that is no greater than its own.
void align(int exponent, std::size_t count, std::size_t width, Block& block);
/// Sets `out` to products of factors of another width, from which it is separate.
void multiply(const Block& a, const Block& b, std::size_t count, std::size_t factorWidth, std::size_t width,
              Block& out);
/// The same for one right factor.
struct Factor {
    Block value;  // its first integer
};
void multiply(const Block& a, const Factor& b, std::size_t count, std::size_t factorWidth, std::size_t width,
              Block& out);
/// Adds such products to a total of the same exponent, or subtracts them, where no zero has a sign that matters and the
/// extent of the total holds all sums. `scratch` is a block of the width.
void accumulate(Sign sign, const Block& a, const Factor& b, std::size_t count, std::size_t factorWidth,
                std::size_t width, Block& scratch, Block& total);
/// Adds x to the total, or subtracts it. The total takes the lesser exponent.
void combine(Sign sign, const Block& x, std::size_t count, std::size_t width, Block& total);
/// Adds the first integer of `start`, and all before it, to each integer. The width holds the sums.
void sumAlong(const Block& start, std::size_t count, std::size_t width, Block& block);
/// How quotients are rounded before a format rounds them: by nothing, or as floats of a precision, which are rounded to
/// nearest. `doubts` has a bit for each quotient that such a float may take to another side of a half of a unit.
struct QuotientRounding {
    /// The bits below the last place of a format that a quotient has for its rounding.
    int guardBits = 2;
    int precision = 0;
    std::uint64_t doubts = 0;
    static QuotientRounding toFloats(int precision) { return {32, precision}; }
};
/// The extent of quotients by integers that aren't zero, as integers of an exponent.
Extent quotientOf(const Extent& a, const Extent& b, int exponent);
/// The bits that dividend and divisor fit in when they are brought to quotients of an exponent.
int bitsToDivide(const Extent& a, const Extent& b, int exponent);
/// A bit for each integer that is zero.
std::uint64_t zerosOf(const Block& block, std::size_t count, std::size_t width);
/// Sets `out` to quotients that have the exponent: rounded down, and odd where something was cut off, so that they
/// round at any of the bits above the last two like the quotients themselves. Where b is zero, the quotient is any
/// value. Scales a or b, and sets divisors of zero to another value.
void divide(Block& a, Block& b, int exponent, std::uint64_t zeros, std::size_t count, std::size_t width, Block& out,
            QuotientRounding& rounding);
/// Moves the integers without a bit in the mask to the front and back.
std::size_t compress(std::uint64_t mask, std::size_t count, std::size_t width, Block& block);
void expand(std::uint64_t mask, std::size_t count, std::size_t width, Block& block);
/// Sets the integers of the mask to a bound of the format, as the sign of `values`, which aren't negative if zero,
/// says.
void setBounds(const Format& format, const Block& values, std::uint64_t mask, std::size_t count, std::size_t width,
               Block& out);
/// Negates; zeros change their sign.
void negate(std::size_t count, std::size_t width, Block& block);
/// Forces the values into the format; notes nothing if `notes` is null.
void quantize(const Format& format, std::size_t count, std::size_t width, Block& block, Notes* notes);
/// Sets the block to finite doubles forced into the format. The width has a bit more than the words.
void quantize(const Format& format, const double* values, std::size_t count, std::size_t width, Block& out,
              Notes* notes);
/// The extremes and zeros of values that stay as they are.
void watch(const Block& block, std::size_t count, std::size_t width, Notes& notes);

}  // namespace tolvane::detail::integers
