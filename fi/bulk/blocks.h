// What array code that works block by block shares: operands by blocks, and logs as they were before a block.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "logging/qlogger.h"
#include "numbers/number.h"

namespace tolvane::detail::arrayblocks {

constexpr std::size_t kBlock = 1024;
using Block = std::array<double, kBlock>;

/// One part of an operand, real or imaginary, by blocks.
class Source {
 public:
    /// `values` null stands for a part that is all zero.
    Source(const double* values, bool isScalar, std::size_t count) : mValues(values), mMoves(values && !isScalar) {
        if (!mMoves) {
            mFilled = std::make_unique_for_overwrite<Block>();
            std::fill_n(mFilled->begin(), std::min(count, kBlock), values ? *values : 0.0);
        }
    }
    std::span<const double> block(std::size_t begin, std::size_t count) const {
        return {mMoves ? mValues + begin : mFilled->data(), count};
    }

 private:
    const double* mValues;
    bool mMoves;
    std::unique_ptr<Block> mFilled;
};

/// A log as it was, for a block that is done again.
class LogState {
 public:
    explicit LogState(const qlogger& log)
        : mLog(log),
          mMax(log.getMax()),
          mMin(log.getMin()),
          mOverflows(log.getNoverflows()),
          mUnderflows(log.getNunderflows()),
          mOperations(log.getNoperations()) {}
    void restore() const {
        mLog.setMax(mMax);
        mLog.setMin(mMin);
        mLog.setNoverflows(mOverflows);
        mLog.setNunderflows(mUnderflows);
        mLog.setNoperations(mOperations);
    }
    /// Whether an extreme has become a zero since then.
    bool extremeBecameZero() const {
        return (mLog.getMax().iszero() && !mMax.iszero()) || (mLog.getMin().iszero() && !mMin.iszero());
    }
    /// Whether an extreme can still become a zero.
    static bool mayMeetZero(const qlogger& log) { return log.getMax().isnegative() || log.getMin().sign() > 0; }

 private:
    const qlogger& mLog;
    number mMax;
    number mMin;
    std::uint64_t mOverflows;
    std::uint64_t mUnderflows;
    std::uint64_t mOperations;
};

}  // namespace tolvane::detail::arrayblocks
