// Shared by the fuzz targets: reading values from the fuzzer's bytes, and a check that prints its case and stops.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <span>
#include <string>

/// Takes values from the input in turn; after its end everything is zero.
class FuzzInput {
 public:
    FuzzInput(const std::uint8_t* data, std::size_t size) : mRest(data, size) {}

    bool isEmpty() const { return mRest.empty(); }
    template <class Value>
    Value take() {
        Value value{};
        const std::size_t count = std::min(sizeof value, mRest.size());
        if (count != 0) {
            std::memcpy(&value, mRest.data(), count);
        }
        mRest = mRest.subspan(count);
        return value;
    }
    /// A whole number in [low, high].
    int between(int low, int high) {
        const auto span = static_cast<std::uint32_t>(high - low) + 1;
        return low + static_cast<int>(take<std::uint32_t>() % span);
    }
    std::string rest() {
        const std::string text(mRest.begin(), mRest.end());
        mRest = {};
        return text;
    }

 private:
    std::span<const std::uint8_t> mRest;
};

/// Stops the fuzzer with a text if a property does not hold; `describe` returns something that can be printed.
template <class Describe>
void require(bool holds, const char* property, Describe&& describe) {
    if (!holds) {
        std::cerr << "violated: " << property << "\ncase: " << describe() << std::endl;
        std::abort();
    }
}
