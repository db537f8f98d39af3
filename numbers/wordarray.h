// An array of words on one grid, with the signs of its zeros: the form that an mpnumber has while all its elements are
// integers of one format.
#pragma once

#include <mpfr.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "host/export.h"
#include "numbers/host_memory.h"
#include "numbers/words.h"

namespace tolvane::detail {

class TOLVANE_API wordarray {
 public:
    /// Makes `count` zeros. Raises "fixedpoint:fi:outofmemory", as every function that needs memory does, before
    /// anything has changed.
    wordarray(std::uint64_t count, const WordGrid& grid);
    /// Leaves the words uninitialised: write all of them before any is read.
    enum class Uninitialised {};
    wordarray(std::uint64_t count, const WordGrid& grid, Uninitialised tag);
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

    /// For loops that write whole arrays: all words, and the signs of up to 64 zeros from an index on, the first one's
    /// lowest.
    mp_limb_t* limbs() { return mLimbs.get(); }
    void setNegativeZeros(std::uint64_t index, std::size_t count, std::uint64_t signs);
    void setNegativeZero(std::uint64_t index, bool isNegative);
    void clearNegativeZeros() { mNegativeZeros.reset(); }
    /// Takes the limbs as words of another grid with as many.
    void setGrid(const WordGrid& grid) { mGrid = grid; }

    // Moves of words from another array of the same grid.

    /// Copies adjacent words.
    void copyRun(const WordSpan& source, std::uint64_t from, std::uint64_t to, std::uint64_t count);
    void copySignsOfZeros(const WordSpan& source, std::uint64_t from, std::uint64_t to, std::uint64_t count);
    /// Copies the word from(i) to to(i) for each i below the count.
    template <class From, class To>
    void copyEach(const WordSpan& source, std::uint64_t count, const From& from, const To& to);
    /// Sets adjacent words to 0.
    void clearRun(std::uint64_t to, std::uint64_t count);

    /// Keeps the first elements; new ones are zero.
    void resize(std::uint64_t count);
    /// Brings the elements into an order: element i becomes what was at order[i].
    void permute(std::span<const std::uint64_t> order);

 private:
    bool hasNegativeZero(std::uint64_t index) const { return span().hasNegativeZero(index); }
    void makeNegativeZeros();
    template <std::size_t limbs, class From, class To>
    void copyLimbs(const mp_limb_t* source, std::uint64_t count, const From& from, const To& to);

    WordGrid mGrid;
    std::size_t mLimbsPerWord;
    std::uint64_t mCount;
    HostMemory<mp_limb_t> mLimbs;
    HostMemory<std::uint64_t> mNegativeZeros;  // null while there are none
};

template <std::size_t limbs, class From, class To>
void wordarray::copyLimbs(const mp_limb_t* source, std::uint64_t count, const From& from, const To& to) {
    mp_limb_t* const out = mLimbs.get();
    const std::size_t size = limbs == 0 ? mLimbsPerWord : limbs;
    for (std::uint64_t i = 0; i < count; ++i) {
        std::copy_n(source + from(i) * size, size, out + to(i) * size);
    }
}

template <class From, class To>
void wordarray::copyEach(const WordSpan& source, std::uint64_t count, const From& from, const To& to) {
    switch (mLimbsPerWord) {
        case 1:
            copyLimbs<1>(source.limbs, count, from, to);
            break;
        case 2:
            copyLimbs<2>(source.limbs, count, from, to);
            break;
        case 4:
            copyLimbs<4>(source.limbs, count, from, to);
            break;
        default:
            copyLimbs<0>(source.limbs, count, from, to);
    }
    for (std::uint64_t i = 0; (source.negativeZeros || mNegativeZeros) && i < count; ++i) {
        setNegativeZero(to(i), source.hasNegativeZero(from(i)));
    }
}

}  // namespace tolvane::detail
