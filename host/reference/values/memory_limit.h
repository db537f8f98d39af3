// Limits on the memory that a command takes for arrays.
//
// While a limit lives, the allocations of its thread that pass through bsMalloc and bsCalloc fail beyond it, as if
// there were no memory. So whatever holds when memory runs out holds here, and the command that ends with that error
// can find out by `reached` that it was the limit. Blocks below 4 KiB are free, and freed blocks are not given back:
// what a command takes bounds its time as well.
#pragma once

#include <cstddef>
#include <cstdint>

namespace hostref {

class MemoryLimit {
 public:
    static constexpr std::uint64_t kNone = UINT64_MAX;
    static constexpr std::size_t kFreeBytes = 4096;

    /// The most bytes of one block, and of all of them together.
    MemoryLimit(std::uint64_t ofOne, std::uint64_t ofAll) noexcept;
    ~MemoryLimit();
    MemoryLimit(const MemoryLimit&) = delete;
    MemoryLimit& operator=(const MemoryLimit&) = delete;

    enum class Reached : std::uint8_t { none, one, all };
    Reached reached() const { return mReached; }
    /// The bytes that were asked for then: of the block, or of all.
    std::uint64_t bytesAskedFor() const { return mAskedFor; }

    /// Counts a block that is about to be allocated; false if a limit of this thread is against it.
    static bool allows(std::size_t bytes) noexcept;

 private:
    bool add(std::uint64_t bytes) noexcept;

    std::uint64_t mOfOne;
    std::uint64_t mOfAll;
    std::uint64_t mTaken = 0;
    std::uint64_t mAskedFor = 0;
    Reached mReached = Reached::none;
    MemoryLimit* mOuter;
};

}  // namespace hostref
