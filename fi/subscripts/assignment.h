// What an assignment by subscripts stores, and where.
//
// An assignment takes elements of the right side and, if it makes the array grow, of the old array, which is its left
// side. They are stored in the order of their places in the target, on which logs depend.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "fi/fi.h"
#include "fi/subscripts/places.h"
#include "host/hv.h"

/// The moves of an assignment, named by a plan of the host or by subscripts.
class fi::Assignment {
 public:
    enum class From { left, right };
    /// Receives a move of the element `source` of one side to the element `place` of the target.
    using Step = std::function<void(From side, std::uint64_t source, std::uint64_t place)>;

    Assignment() = default;
    virtual ~Assignment() = default;
    Assignment(const Assignment&) = delete;
    Assignment& operator=(const Assignment&) = delete;

    /// Refers to the plan.
    static std::unique_ptr<Assignment> byPlan(const hvArray* plan);
    static std::unique_ptr<Assignment> byPlan(hvArrayOwner plan);
    /// Refers to the indices; `dims` are trimmed. If the array doesn't grow, names no elements of the left side. Null
    /// if the host has to read the subscripts, as for growth other than by whole slices behind the old ones.
    static std::unique_ptr<Assignment> bySubscripts(std::span<const hvArray* const> indices,
                                                    std::span<const std::uint64_t> dims,
                                                    std::span<const std::uint64_t> rightDims);

    /// Raises an error for a plan that isn't one of doubles, or that names elements that one side doesn't have.
    virtual void check(const fi& left, const fi& right) const = 0;
    /// The dimensions of a target that is larger than the left side, and the size of any target.
    virtual tolvane::detail::Sizes dims() const = 0;
    virtual std::uint64_t count() const = 0;
    virtual bool usesRight() const = 0;
    /// Whether the two sides give every element of the target.
    virtual bool isWhole() const = 0;
    // All moves, in the order of their places.
    virtual void run(SideStores& stores) const = 0;
    virtual void forEach(const Step& step) const = 0;

 private:
    class Planned;
    class Placed;
    class Appending;
};
