// The sizes of an array in each dimension. Up to two are kept in place, as most arrays have.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <utility>
#include <vector>

namespace tolvane::detail {

class Dimensions {
 public:
    Dimensions() = default;
    Dimensions(std::initializer_list<std::uint64_t> sizes) : Dimensions(std::span(sizes.begin(), sizes.size())) {}
    template <class Iterator>
    Dimensions(Iterator first, Iterator last) : Dimensions(std::span<const std::uint64_t>(first, last)) {}
    Dimensions(const std::vector<std::uint64_t>& sizes) : Dimensions(std::span(sizes)) {}
    Dimensions(const Dimensions& other) : Dimensions(std::span(other.data(), other.size())) {}
    Dimensions(Dimensions&& other) noexcept : mCount(std::exchange(other.mCount, 0)), mSizes(other.mSizes) {}
    Dimensions& operator=(Dimensions other) noexcept {
        std::swap(mCount, other.mCount);
        std::swap(mSizes, other.mSizes);
        return *this;
    }
    ~Dimensions() {
        if (mCount > kInPlace) {
            delete[] mSizes.elsewhere;
        }
    }

    std::size_t size() const { return mCount; }
    bool empty() const { return mCount == 0; }
    std::uint64_t* data() { return mCount > kInPlace ? mSizes.elsewhere : mSizes.inPlace; }
    const std::uint64_t* data() const { return mCount > kInPlace ? mSizes.elsewhere : mSizes.inPlace; }
    std::uint64_t* begin() { return data(); }
    std::uint64_t* end() { return data() + mCount; }
    const std::uint64_t* begin() const { return data(); }
    const std::uint64_t* end() const { return data() + mCount; }
    std::uint64_t& operator[](std::size_t i) { return data()[i]; }
    std::uint64_t operator[](std::size_t i) const { return data()[i]; }
    std::uint64_t& front() { return *data(); }
    std::uint64_t front() const { return *data(); }

 private:
    static constexpr std::size_t kInPlace = 2;

    explicit Dimensions(std::span<const std::uint64_t> sizes) : mCount(sizes.size()) {
        if (mCount > kInPlace) {
            mSizes.elsewhere = new std::uint64_t[mCount];
        }
        std::ranges::copy(sizes, data());
    }

    std::size_t mCount = 0;
    union {
        std::uint64_t inPlace[kInPlace];
        std::uint64_t* elsewhere;
    } mSizes = {{0, 0}};
};

}  // namespace tolvane::detail
