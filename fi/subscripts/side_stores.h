// The stores of an assignment in blocks, from one array or from two.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "fi/bulk/stores.h"
#include "fi/subscripts/assignment.h"

/// Stores elements into a target.
class fi::SideStores {
 public:
    static constexpr std::size_t kBlock = ArrayStores::Moves::kMost;

    /// For arrays of doubles or of words; null for arrays that only element steps store. `left` is null if elements
    /// that come from the left side stay unchanged.
    static std::unique_ptr<SideStores> of(const fi* left, const fi& right, fi& target);

    virtual ~SideStores() = default;
    /// Stores by a block of a plan, whose first value is for the element `begin`.
    virtual void addPlan(std::span<const double> block, std::uint64_t begin) = 0;
    /// Stores the elements `source`, `source + step`, ... of a side at places behind all earlier ones.
    virtual void add(Assignment::From from, std::uint64_t source, std::uint64_t step,
                     const tolvane::detail::Stretch& places) = 0;
    /// Hands over what was counted. Leaves the current elements where the element steps do, except after plain moves of
    /// doubles.
    virtual void finish(bool isPlainMove) = 0;

 protected:
    SideStores() = default;

 private:
    template <class Stores>
    class By;
};
