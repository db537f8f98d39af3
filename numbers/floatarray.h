// An array of MPFR floats in one allocation, accessed through an array of pointers, which sorting permutes. A float
// whose precision is changed gets an allocation of its own.
#pragma once

#include <mpfr.h>

#include <cstdint>
#include <span>

#include "numbers/host_memory.h"

namespace tolvane::detail {

class floatarray {
 public:
    /// Makes `count` zeros. Raises "fixedpoint:fi:outofmemory", as every function that needs memory does, before
    /// anything has changed.
    floatarray(std::uint64_t count, mpfr_prec_t precision);
    ~floatarray();
    floatarray(floatarray&& other) noexcept;
    floatarray& operator=(floatarray&& other) noexcept;

    std::uint64_t count() const { return mCount; }
    /// Null if there are none.
    mpfr_ptr* elements() const { return mElements; }
    mpfr_ptr operator[](std::uint64_t index) const { return mElements[index]; }
    /// Copies the first elements into an array of that count, whose others are zero.
    floatarray resized(std::uint64_t count, mpfr_prec_t precision) const;
    /// Rounds an element to another precision, in a float with its own allocation.
    void replace(std::uint64_t index, mpfr_prec_t precision);

 private:
    bool isInBlock(mpfr_srcptr element) const;

    std::uint64_t mCount;
    std::uint64_t mBlockBytes = 0;
    HostMemory<std::byte> mBlock;  // the pointers, then each float with its significand
    mpfr_ptr* mElements = nullptr;
    bool mHasReplaced = false;  // whether an element has its own allocation
};

}  // namespace tolvane::detail
