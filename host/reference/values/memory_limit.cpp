#include "host/reference/values/memory_limit.h"

namespace hostref {

namespace {

/// The innermost limit of each thread.
constinit thread_local MemoryLimit* sInnermost = nullptr;

}  // namespace

MemoryLimit::MemoryLimit(std::uint64_t ofOne, std::uint64_t ofAll) noexcept
    : mOfOne(ofOne), mOfAll(ofAll), mOuter(sInnermost) {
    sInnermost = this;
}

MemoryLimit::~MemoryLimit() {
    sInnermost = mOuter;
}

bool MemoryLimit::add(std::uint64_t bytes) noexcept {
    if (bytes > mOfOne) {
        mReached = Reached::one;
        mAskedFor = bytes;
        return false;
    }
    std::uint64_t taken = 0;
    if (__builtin_add_overflow(mTaken, bytes, &taken) || taken > mOfAll) {
        mReached = Reached::all;
        mAskedFor = taken;
        return false;
    }
    mTaken = taken;
    return true;
}

bool MemoryLimit::allows(std::size_t bytes) noexcept {
    if (bytes < kFreeBytes) {
        return true;
    }
    for (MemoryLimit* limit = sInnermost; limit != nullptr; limit = limit->mOuter) {
        if (!limit->add(bytes)) {
            return false;
        }
    }
    return true;
}

}  // namespace hostref
