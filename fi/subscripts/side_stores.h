// The stores of an assignment in blocks, from one array or from two.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "fi/bulk/stores.h"
#include "fi/subscripts/assignment.h"

/// Stores elements into a target, for arrays that array stores serve.
class fi::SideStores {
 public:
    /// `left` is null if elements that come from the left side stay unchanged.
    SideStores(const fi* left, const fi& right, fi& target);

    static constexpr std::size_t kBlock = ArrayStores::Moves::kMost;

    /// Stores by a block of a plan, whose first value is for the element `begin`.
    void addPlan(std::span<const double> block, std::uint64_t begin);
    /// Stores the elements `source`, `source + step`, ... of a side at places behind all earlier ones.
    void add(Assignment::From from, std::uint64_t source, std::uint64_t step, const tolvane::detail::Stretch& places);
    /// Hands over what was counted. Leaves the current elements where the element steps do, unless `isPlainMove`.
    void finish(bool isPlainMove);

 private:
    /// One of the two arrays and what a block takes from it.
    struct Side {
        Side(const fi& from, fi& to);

        bool takeAll(std::span<const double> positions, std::uint64_t begin);
        void takeSome(std::span<const double> block, double sign, std::uint64_t begin);
        void copy(std::uint64_t first, std::uint64_t step, const tolvane::detail::Stretch& places) const;
        static void copyPart(const double* from, std::uint64_t step, double* to,
                             const tolvane::detail::Stretch& places);
        void noteLast();

        const fi& source;
        bool isCopied;  // values move as they are, and nothing is counted
        const double* real;
        const double* imag;  // null for zeros
        double* toReal;
        double* toImag;  // null if the target is real
        ArrayStores stores;
        ArrayStores::Moves moves;
        std::uint64_t lastFrom = 0;
        std::optional<std::uint64_t> lastTo;
    };

    bool runSide(bool isRight, std::span<const double> block, std::uint64_t begin);
    void runMixed(std::span<const double> block, std::uint64_t begin);
    std::span<const double> negated(std::span<const double> block);
    void store();
    ArrayStores::Zero firstZero() const;
    void setCurrentElements();

    const qlogger& mLog;
    tolvane::detail::Tally mTotal;
    fi& mTarget;
    Side mRight;
    std::optional<Side> mLeft;
    std::array<double, kBlock> mNegated;
};
