// Operands of array code that works block by block.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <span>

namespace tolvane::detail::arrayblocks {

constexpr std::size_t kBlock = 1024;
using Block = std::array<double, kBlock>;

/// One part of an operand, real or imaginary, by blocks.
class Source {
 public:
    /// `values` null stands for a part that is all zero.
    Source(const double* values, bool isScalar, std::size_t count) : mValues(values), mMoves(values && !isScalar) {
        if (!mMoves && count > 0) {
            const std::size_t length = std::min(count, kBlock);
            mFilled = std::make_unique_for_overwrite<double[]>(length);
            std::fill_n(mFilled.get(), length, values ? *values : 0.0);
        }
    }
    std::span<const double> block(std::size_t begin, std::size_t count) const {
        return {mMoves ? mValues + begin : mFilled.get(), count};
    }

 private:
    const double* mValues;
    bool mMoves;
    std::unique_ptr<double[]> mFilled;
};

}  // namespace tolvane::detail::arrayblocks
