// Loops over arrays by blocks of integers: how operands are read, results stored and places noted.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "program/array_access.h"
#include "program/fixed_log.h"

namespace tolvane::detail {

using integers::Arena;
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

/// A place where blocks are quantized, and what it tells the logs when it ends.
class Place {
 public:
    /// Values of an extent are to come, in a width of no less than `neededBits`.
    explicit Place(const fixed_format& format);
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    int neededBits(const integers::Extent& x) const { return integers::neededBits(mFormat, x); }
    integers::Extent extent() const { return integers::extentOf(mFormat.grid); }
    /// Of the words that come out.
    const fixed_type& type() const { return mPublic.type(); }
    /// Makes room; call it before the first block.
    void open(std::size_t width);
    void quantize(Block& block, std::size_t count);
    /// The number of integers, from the first on, that `quantize` would leave as they are. Changes `scratch`.
    std::size_t kept(const Block& block, std::size_t count, Block& scratch) const;
    /// Sets the block to finite doubles; needs a width for one bit more than the words.
    void quantize(const double* values, std::size_t count, Block& block);
    /// Hands over to the logs.
    void close();

 private:
    struct Extremes {
        std::vector<mp_limb_t> least;
        std::vector<mp_limb_t> greatest;
        int exponent = 0;
        bool isAny = false;
    };
    void addCounts(const integers::Notes& notes, std::size_t count);
    void note(Extremes& extremes, const Block& block, std::size_t count);
    void join(Extremes& extremes, const integers::Notes& notes, int exponent);
    value_range rangeOf(const Extremes& extremes) const;
    int bitsNeeded(const value_range& before) const;

    fixed_format mPublic;
    std::uint64_t mRandom = 0;
    integers::Format mFormat;
    std::size_t mWidth = 0;
    bool mIsLogged = false;
    Extremes mBefore;
    Extremes mAfter;
    value_range mDoublesBefore;
    bool mHasDoubles = false;
    std::vector<mp_limb_t> mNotes;
    std::uint64_t mValues = 0;
    std::uint64_t mOverflows = 0;
    std::uint64_t mUnderflows = 0;
};

}  // namespace tolvane::detail
