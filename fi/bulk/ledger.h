// The bookkeeping of array code that computes block by block and logs like the element steps.
//
// A log keeps the sign of the first zero it met where an extreme is zero. Where that depends on the order of the values
// within a block, the element steps compute the block instead.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

#include "logging/qlogger.h"

namespace tolvane::detail {

/// Runs the element steps on a range of elements.
using ByElements = std::function<void(std::uint64_t begin, std::uint64_t end)>;

/// The places of an operation with what their logs have yet to be given. A tally has `append`, `isOpenAfter` and
/// `handTo`; an empty one is copied for each place.
template <class PlaceTally, std::size_t places>
class Ledger {
 public:
    using Noted = std::array<const PlaceTally*, places>;

    Ledger(const std::array<const qlogger*, places>& logs, const PlaceTally& empty)
        : mLogs(logs), mEmpty(empty), mTotals(fill(empty, std::make_index_sequence<places>())) {}

    /// Adds what a block noted, unless the sign of a zero extreme depends on the order of the steps within the block.
    bool append(const Noted& noted) {
        for (std::size_t i = 0; i < places; ++i) {
            if (mTotals[i].isOpenAfter(*noted[i], *mLogs[i])) {
                return false;
            }
        }
        for (std::size_t i = 0; i < places; ++i) {
            mTotals[i].append(*noted[i]);
        }
        return true;
    }
    void handOver() {
        for (std::size_t i = 0; i < places; ++i) {
            mTotals[i].handTo(*mLogs[i]);
            mTotals[i] = mEmpty;
        }
    }

 private:
    template <std::size_t... indices>
    static std::array<PlaceTally, places> fill(const PlaceTally& empty, std::index_sequence<indices...>) {
        return {(static_cast<void>(indices), empty)...};
    }

    std::array<const qlogger*, places> mLogs;
    PlaceTally mEmpty;
    std::array<PlaceTally, places> mTotals;
};

}  // namespace tolvane::detail
