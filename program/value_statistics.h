// What logs ask of single values: how large they are, and what quantizing does to them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "program/fixed_log.h"
#include "quantization/integer_blocks.h"

namespace tolvane::detail {

/// Counts integers by their lengths.
class MagnitudeCounts {
 public:
    void add(const integers::Block& block, std::size_t count, std::size_t width);
    /// Of integers times 2^exponent.
    magnitude_histogram histogram(int exponent) const;

 private:
    std::uint64_t mZeros = 0;
    std::vector<std::array<std::uint64_t, 2>> mCounts;  // those that aren't below zero, and the others, by length - 1
    std::vector<mp_limb_t> mMagnitude;
};

/// Sums differences of blocks of one width, all of the same two exponents.
class ErrorSums {
 public:
    void add(const integers::Block& before, const integers::Block& after, std::size_t count, std::size_t width);
    error_sums sums() const;

 private:
    void open(const integers::Block& before, const integers::Block& after, std::size_t width);
    void addShort(const integers::Block& before, const integers::Block& after, std::size_t count, std::size_t width);
    void addLong(const integers::Block& before, const integers::Block& after, std::size_t count, std::size_t width);

    // Errors are in units of 2^mExponent, as integers of mWidth limbs; values in units of 2^mBeforeExponent.
    int mExponent = 0;
    int mBeforeExponent = 0;
    std::array<unsigned, 2> mShifts{};  // from before and after to errors
    std::size_t mWidth = 0;
    std::vector<mp_limb_t> mGreatest;
    std::vector<mp_limb_t> mSum;  // with a sign, and a limb more than an error
    std::vector<mp_limb_t> mSquares;
    std::vector<mp_limb_t> mSignalSquares;
    std::vector<mp_limb_t> mScratch;
};

}  // namespace tolvane::detail
