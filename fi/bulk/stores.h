// Assignment of many elements at once: the values, counts and extremes of `operator=` on one element after the other.
//
// For arrays of doubles without slope and bias; equal types with slope and bias are moved where nothing is counted.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "fi/fi.h"
#include "quantization/tally.h"

/// The stores of elements of one array into another one, which shares no elements with it. The target is complex if the
/// source is.
class fi::ArrayStores {
 public:
    /// A block of moves: element from[i] of the source goes to element to[i] of the target, for ascending i.
    struct Moves {
        static constexpr std::size_t kMost = 512;

        void add(std::uint64_t source, std::uint64_t place) {
            from[count] = source;
            to[count++] = place;
        }

        std::array<std::uint64_t, kMost> from;
        std::array<std::uint64_t, kMost> to;  // only the first is set for a run
        std::size_t count = 0;
        bool isRun = false;  // the targets are adjacent elements
    };
    /// An entry that is zero and was counted.
    struct Zero {
        std::uint64_t place;  // of its element in the target
        double value;
    };

    /// Whether the element steps can be replaced.
    static bool serve(const fi& source, const fi& target);
    ArrayStores(const fi& source, fi& target);

    /// Carries out a block of moves, and joins what is counted to the tally.
    void store(const Moves& moves, tolvane::detail::Tally& tally);
    /// The first zero that was counted in the order of the element steps, of the block stored last.
    std::optional<Zero> firstZero(const Moves& moves) const;
    /// Adds what a later block counted, whose first zero `firstZero` finds.
    template <class FindZero>
    static void append(const tolvane::detail::Tally& block, const qlogger& log, tolvane::detail::Tally& total,
                       FindZero&& firstZero);
    // For stores of one source: carry out a block of moves, and hand over what all blocks counted.
    void store(const Moves& moves);
    void handOver();

 private:
    struct Part {
        const double* source;  // null for zeros
        double* target;        // null for a part that doesn't exist
        bool isPlain = false;  // neither quantized nor counted
    };

    void storePart(const Part& part, const Moves& moves, tolvane::detail::Tally& tally);

    const quantizer& mQuantizer;
    bool mIsEqualType;
    bool mCounts;
    bool mQuantizes;
    Part mReal;
    Part mImag;
    tolvane::detail::Tally mTotal;
    std::array<double, Moves::kMost> mValues;
};

template <class FindZero>
void fi::ArrayStores::append(const tolvane::detail::Tally& block, const qlogger& log, tolvane::detail::Tally& total,
                             FindZero&& firstZero) {
    tolvane::detail::Tally settled = block;
    if (settled.isOpenFor(log)) {
        settled.settle(firstZero().value);
    }
    total.append(settled);
}
