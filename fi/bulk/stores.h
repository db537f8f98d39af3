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
        bool isNegative;
    };

    /// Whether the element steps can be replaced.
    static bool serve(const fi& source, const fi& target);
    ArrayStores(const fi& source, fi& target);
    static tolvane::detail::Tally emptyTally() { return {}; }

    /// Carries out a block of moves, and joins what is counted to the tally.
    void store(const Moves& moves, tolvane::detail::Tally& tally);
    /// The first zero that was counted in the order of the element steps, of the block stored last.
    std::optional<Zero> firstZero(const Moves& moves) const;
    /// Whether elements that are only moved can be copied.
    static bool canCopy() { return true; }
    /// Copies the element from + i * step to `to(i)`, for each i below the count.
    template <class To>
    void copy(std::uint64_t from, std::uint64_t step, std::uint64_t count, const To& to) const;
    void copyRun(std::uint64_t from, std::uint64_t to, std::uint64_t count) const;
    /// Adds what a later block counted, whose first zero `firstZero` finds.
    template <class Tally, class FindZero>
    static void append(Tally block, const qlogger& log, Tally& total, FindZero&& firstZero);
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

template <class Tally, class FindZero>
void fi::ArrayStores::append(Tally block, const qlogger& log, Tally& total, FindZero&& firstZero) {
    if (block.isOpenFor(log)) {
        block.settle(firstZero().isNegative);
    }
    total.append(block);
}

template <class To>
void fi::ArrayStores::copy(std::uint64_t from, std::uint64_t step, std::uint64_t count, const To& to) const {
    for (const Part& part : {mReal, mImag}) {
        for (std::uint64_t i = 0; part.target != nullptr && i < count; ++i) {
            part.target[to(i)] = part.source == nullptr ? 0.0 : part.source[from + i * step];
        }
    }
}
