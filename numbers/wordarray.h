// An array of words on one grid, with the signs of its zeros: the form that an mpnumber has while all its elements are
// integers of one format.
#pragma once

#include <mpfr.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "numbers/host_memory.h"
#include "numbers/words.h"

namespace tolvane::detail {

class wordarray {
 public:
    /// Makes `count` zeros. Raises "fixedpoint:fi:outofmemory", as every function that needs memory does, before
    /// anything has changed.
    wordarray(std::uint64_t count, const WordGrid& grid);
    /// Copies `count` words from `start` on, all within the source.
    wordarray(const wordarray& source, std::uint64_t start, std::uint64_t count);
    /// Copies words to a grid of the same exponent that has all their values.
    wordarray(const wordarray& source, const WordGrid& grid);
    wordarray(wordarray&&) noexcept = default;
    wordarray& operator=(wordarray&&) noexcept = default;

    const WordGrid& grid() const { return mGrid; }
    WordSpan span() const { return {mLimbs.get(), mNegativeZeros.get(), mCount, mGrid}; }
    std::span<const mp_limb_t> word(std::uint64_t index) const {
        return {mLimbs.get() + index * mLimbsPerWord, mLimbsPerWord};
    }
    std::span<mp_limb_t> word(std::uint64_t index) { return {mLimbs.get() + index * mLimbsPerWord, mLimbsPerWord}; }
    bool isZero(std::uint64_t index) const;
    /// Whether the element is below zero, or -0.
    bool isNegative(std::uint64_t index) const;

    /// Sets `out`, which has the bits for any word, to an element.
    void load(std::uint64_t index, mpfr_ptr out) const;
    double toDouble(std::uint64_t index) const;
    /// Stores a value and returns true if it lies on the grid and within the words; otherwise changes nothing.
    bool store(std::uint64_t index, mpfr_srcptr value);

    /// For loops that write whole arrays: all words, and the signs of 64 zeros from 64 * unit on.
    mp_limb_t* limbs() { return mLimbs.get(); }
    void setNegativeZeros(std::uint64_t unit, std::uint64_t signs);
    void setNegativeZero(std::uint64_t index, bool isNegative);
    void clearNegativeZeros() { mNegativeZeros.reset(); }
    /// Takes the limbs as words of another grid with as many.
    void setGrid(const WordGrid& grid) { mGrid = grid; }

    /// Keeps the first elements; new ones are zero.
    void resize(std::uint64_t count);
    /// Brings the elements into an order: element i becomes what was at order[i].
    void permute(std::span<const std::uint64_t> order);

 private:
    bool hasNegativeZero(std::uint64_t index) const {
        return mNegativeZeros && (mNegativeZeros.get()[index / 64] >> (index % 64) & 1U) != 0;
    }
    void makeNegativeZeros();
    void take(const wordarray& source, std::uint64_t start, std::uint64_t count);

    WordGrid mGrid;
    std::size_t mLimbsPerWord;
    std::uint64_t mCount;
    HostMemory<mp_limb_t> mLimbs;
    HostMemory<std::uint64_t> mNegativeZeros;  // null while there are none
};

}  // namespace tolvane::detail
