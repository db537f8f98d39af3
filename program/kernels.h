// Loops over arrays by blocks of integers: how operands are read, results stored and places noted.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "numbers/interruption.h"
#include "program/array_access.h"
#include "program/fixed_log.h"
#include "quantization/short_words.h"

namespace tolvane::detail {

using Arena = integers::ArenaOf<std::allocator>;
using integers::Block;
using integers::kBlock;

/// One part of an operand, by blocks. A single element stands for as many as are asked for.
class PartReader {
 public:
    PartReader(const wordarray& words, Arena& arena, std::size_t width)
        : mWords(words.span()), mWidth(width), mBlock(arena.next()) {
        if (mWords.count == 1) {
            integers::load(mWords, 0, 1, width, mBlock);
            integers::spread(kBlock, width, mBlock);
        }
    }
    /// Elements from a multiple of 64 on; the caller may not change the block.
    const Block& block(std::uint64_t begin, std::size_t count) {
        if (mWords.count != 1) {
            integers::load(mWords, begin, count, mWidth, mBlock);
        }
        return mBlock;
    }

 private:
    WordSpan mWords;
    std::size_t mWidth;
    Block mBlock;
};

/// A type that exact results of two arrays need; one beyond the limit of growth raises "tolvane:array:growth".
fixed_type grown(const fixed_type& type, const fixed_array& a, const fixed_array& b);

/// Sets bytes to 1 where elements are equal, or in order, by value, else to 0; shapes are broadcast, and `out` has a
/// byte for each element of `commonShape`. Order needs real numbers.
void compare(integers::Order order, const fixed_array& a, const fixed_array& b, std::span<std::uint8_t> out);
/// The same as a list.
std::vector<bool> areEqual(const fixed_array& a, const fixed_array& b);
std::vector<bool> areLess(const fixed_array& a, const fixed_array& b);

/// Calls `step(begin, count)` for each block of elements.
template <class Step>
void forEachBlock(std::uint64_t count, const Step& step) {
    for (std::uint64_t begin = 0; begin < count; begin += kBlock) {
        step(begin, static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, count - begin)));
    }
}

inline void store(Block& block, std::size_t count, std::size_t width, wordarray& words, std::uint64_t begin) {
    block.negativeZeros = 0;  // exact numbers have one zero
    integers::store(block, count, width, words, begin);
}

/// Sets an integer to a value as a multiple of 2^exponent. The width holds it.
void setInteger(const exact_value& value, int exponent, std::size_t width, mp_limb_t* integer);

/// The least word length at which no value of a range overflows, with the fraction and rounding of the format. The
/// values are multiples of 2^unit; if it isn't known, those of each extreme are taken, which may come to a longer word
/// for a rounding that depends on what is cut off.
int bitsNeeded(const fixed_format& format, const value_range& values, std::optional<int> unit = std::nullopt);

/// Tells the logs that lived at a moment of values which a place has quantized; they came as integers times 2^unit.
void addRecord(const fixed_format& format, int unit, const value_range& before, const value_range& after,
               std::uint64_t values, std::uint64_t overflows, std::uint64_t underflows, std::uint64_t moment,
               const code_location& where = {});

/// A place where blocks are quantized, and what it tells the logs when it ends.
class Place {
 public:
    /// Values of an extent are to come, in a width of no less than `neededBits`. `where` is the program's call.
    explicit Place(const fixed_format& format, const code_location& where = {});
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place();
    int neededBits(const integers::Extent& x) const;
    integers::Extent extent() const { return integers::extentOf(mFormat.grid); }
    /// Of the words that come out.
    const fixed_type& type() const { return mType; }
    /// Whether a log asked for more than ranges and counts.
    bool hasMore() const { return mMore != nullptr; }
    /// The values have no type: what `add_sign` depends on, the places that are cut off, are those of each value.
    void takeValues();
    /// Makes room; call it before the first block.
    void open(std::size_t width);
    /// All blocks have one exponent.
    void quantize(Block& block, std::size_t count);
    /// The number of integers, from the first on, that `quantize` would leave as they are. Changes `scratch`.
    std::size_t kept(const Block& block, std::size_t count, Block& scratch) const;
    /// Whether nothing is noted, and all values of an extent stay as they are.
    bool leaves(const integers::Extent& x) const;
    /// Sets `out` to words in one loop, and returns true; or does nothing and returns false if they aren't for that.
    /// Open the place before.
    bool quantizeAll(const WordSpan& x, mp_limb_t* out);
    /// The same for finite doubles.
    bool quantizeAll(std::span<const double> x, mp_limb_t* out);
    /// Whether doubles may be quantized as they are.
    bool takesDoubles() const { return !hasMore() && !mFormat.hasMore(); }
    /// Sets the block to finite doubles; needs a width for one bit more than the words.
    void quantize(const double* values, std::size_t count, Block& block);
    /// Hands over to the logs, and calls those who want to hear of overflows. Raises what they raise, so call it when
    /// nothing else is to be done; for several places of an operation, once for all of them.
    void close() { close({this}); }
    /// Null pointers are allowed. Places of one name count as one.
    static void close(std::span<const Place* const> places);
    static void close(std::initializer_list<const Place*> places) { close(std::span(places.begin(), places.size())); }

 private:
    struct Extremes {
        std::vector<mp_limb_t> least;
        std::vector<mp_limb_t> greatest;
        int exponent = 0;
        bool isAny = false;
    };
    struct DoubleRange {
        double least;
        double greatest;
    };
    struct More;
    void startMore();
    void quantizeWithMore(Block& block, std::size_t count);
    void addCounts(const integers::Notes& notes, std::size_t count);
    template <class Value>
    void take(const integers::ShortNotes<Value>& notes, std::size_t count);
    void join(Extremes& extremes, std::int64_t least, std::int64_t greatest, int exponent);
    void join(const DoubleRange& range);
    void note(Extremes& extremes, const Block& block, std::size_t count);
    void join(Extremes& extremes, const integers::Notes& notes, int exponent);
    value_range rangeOf(const Extremes& extremes) const;
    place_record record() const;

    fixed_format mSpecified;
    fixed_type mType;
    code_location mWhere;
    std::uint64_t mRandom = 0;
    integers::Format mFormat;  // in force
    std::uint64_t mMoment;
    bool mIsLogged;
    std::size_t mWidth = 0;
    Extremes mBefore;
    Extremes mAfter;
    std::optional<DoubleRange> mDoublesBefore;
    std::vector<mp_limb_t> mNotes;
    std::uint64_t mValues = 0;
    std::uint64_t mOverflows = 0;
    std::uint64_t mUnderflows = 0;
    std::unique_ptr<More> mMore;
};

// Whole parts of arrays through a place, which they open. `out` has the grid of the place's type and as many words as
// there are values; it may be memory that exists.

void castWords(const WordSpan& x, Place& place, wordarray& out);
/// For a place that takes doubles, which are finite.
void castDoubles(std::span<const double> x, Place& place, wordarray& out);
/// Integers of 8 to 64 bits.
template <class Int>
void castIntegers(std::span<const Int> x, Place& place, wordarray& out);

}  // namespace tolvane::detail
