#include "numbers/floatarray.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <utility>

namespace tolvane::detail {

namespace {

/// A float and its significand in one block of memory.
std::uint64_t floatBytes(mpfr_prec_t precision) {
    return sizeof(__mpfr_struct) + mpfr_custom_get_size(precision);
}

/// Makes a zero of the precision in memory of that many `floatBytes`.
mpfr_ptr placeFloat(void* memory, mpfr_prec_t precision) {
    auto* const value = static_cast<mpfr_ptr>(memory);
    void* const significand = value + 1;
    mpfr_custom_init(significand, precision);
    mpfr_custom_init_set(value, MPFR_ZERO_KIND, 0, precision, significand);
    return value;
}

}  // namespace

floatarray::floatarray(std::uint64_t count, mpfr_prec_t precision) : mCount(count) {
    if (count == 0) {
        return;
    }
    const std::uint64_t bytesOfOne = floatBytes(precision);
    if (__builtin_mul_overflow(count, sizeof(mpfr_ptr) + bytesOfOne, &mBlockBytes)) {
        raiseOutOfMemory();
    }
    mBlock.reset(static_cast<std::byte*>(allocateHostBytes(mBlockBytes)));
    mElements = reinterpret_cast<mpfr_ptr*>(mBlock.get());
    std::byte* place = mBlock.get() + count * sizeof(mpfr_ptr);
    for (std::uint64_t i = 0; i < count; ++i, place += bytesOfOne) {
        mElements[i] = placeFloat(place, precision);
    }
}

floatarray::~floatarray() {
    for (std::uint64_t i = 0; mHasReplaced && i < mCount; ++i) {
        if (!isInBlock(mElements[i])) {
            services().release(mElements[i]);
        }
    }
}

floatarray::floatarray(floatarray&& other) noexcept
    : mCount(std::exchange(other.mCount, 0)),
      mBlockBytes(std::exchange(other.mBlockBytes, 0)),
      mBlock(std::move(other.mBlock)),
      mElements(std::exchange(other.mElements, nullptr)),
      mHasReplaced(std::exchange(other.mHasReplaced, false)) {}

floatarray& floatarray::operator=(floatarray&& other) noexcept {
    std::swap(mCount, other.mCount);
    std::swap(mBlockBytes, other.mBlockBytes);
    std::swap(mBlock, other.mBlock);
    std::swap(mElements, other.mElements);
    std::swap(mHasReplaced, other.mHasReplaced);
    return *this;
}

bool floatarray::isInBlock(mpfr_srcptr element) const {
    const std::byte* const start = mBlock.get();
    const auto* const place = reinterpret_cast<const std::byte*>(element);
    return std::greater_equal<>()(place, start) && std::less<>()(place, start + mBlockBytes);
}

floatarray floatarray::resized(std::uint64_t count, mpfr_prec_t precision) const {
    floatarray fresh(count, precision);
    for (std::uint64_t i = 0; i < std::min(count, mCount); ++i) {
        mpfr_set(fresh[i], mElements[i], MPFR_RNDN);
    }
    return fresh;
}

void floatarray::replace(std::uint64_t index, mpfr_prec_t precision) {
    const mpfr_ptr wider = placeFloat(allocateHostBytes(floatBytes(precision)), precision);
    mpfr_set(wider, mElements[index], MPFR_RNDN);
    if (!isInBlock(mElements[index])) {
        services().release(mElements[index]);
    }
    mElements[index] = wider;
    mHasReplaced = true;
}

}  // namespace tolvane::detail
