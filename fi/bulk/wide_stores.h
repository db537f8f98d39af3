// Assignment of many elements at once where words have too many bits for doubles: the values, counts and extremes of
// `operator=` on one element after the other, for arrays without slope and bias.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "fi/bulk/stores.h"
#include "fi/bulk/wide_operands.h"
#include "quantization/integer_tally.h"

/// As ArrayStores, on blocks of integers.
class fi::WideStores {
 public:
    using Moves = ArrayStores::Moves;
    using Zero = ArrayStores::Zero;
    using Tally = tolvane::detail::integers::IntegerTally;

    enum class Extent { whole, some };

    /// Gives nothing, and has changed nothing, where integers don't do. If all elements of the target will be stored
    /// (`whole`), it gives up the old ones.
    static std::optional<WideStores> of(const fi& source, fi& target, Extent extent);

    /// Assigns all elements of the source, which are as many as the target's. Returns false as `of` gives nothing.
    static bool assign(const fi& source, fi& target);

    /// The limbs that the integers need.
    std::size_t width() const { return mWidth; }
    /// To be called before stores, with no less than `width()` limbs.
    void open(std::size_t width);
    Tally emptyTally() const { return Tally(mWidth); }

    void store(const Moves& moves, Tally& tally) { storeMoves(moves, false, tally); }
    /// The same for a run of source elements to a run of targets, of which only the first are set.
    void storeRun(const Moves& moves, Tally& tally) { storeMoves(moves, true, tally); }
    std::optional<Zero> firstZero(const Moves& moves) const;

    /// Whether `copy` can move the words as they are.
    bool canCopy() const;
    /// Copies the element from + i * step to `to(i)`, for each i below the count.
    template <class To>
    void copy(std::uint64_t from, std::uint64_t step, std::uint64_t count, const To& to);
    void copyRun(std::uint64_t from, std::uint64_t to, std::uint64_t count);

 private:
    struct Part {
        tolvane::detail::wide::Source source;
        tolvane::detail::wide::Target target;
        bool isZeros;
        bool isCounted;
    };

    void storeMoves(const Moves& moves, bool isFromRun, Tally& tally);
    void storePart(Part& part, const Moves& moves, bool isFromRun, Tally& tally);

    static constexpr std::size_t kBlocks = 3;  // a value, and one for each part

    tolvane::detail::integers::Format mFormat;
    std::vector<Part> mParts;
    std::size_t mWidth = 0;
    std::optional<tolvane::detail::integers::Arena> mArena;
    tolvane::detail::integers::Block mValue;
};

template <class To>
void fi::WideStores::copy(std::uint64_t from, std::uint64_t step, std::uint64_t count, const To& to) {
    for (Part& part : mParts) {
        tolvane::detail::wordarray& words = *part.target.words();
        if (part.isZeros) {
            for (std::uint64_t i = 0; i < count; ++i) {
                words.clearRun(to(i), 1);
            }
        } else {
            words.copyEach(
                *part.source.words(), count, [=](std::uint64_t i) { return from + i * step; }, to);
        }
    }
}
