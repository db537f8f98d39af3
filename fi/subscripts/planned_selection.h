// Plans, which the host's subscripts make and which programs may pass: host arrays of doubles that name the source
// element for each position of a result.
#pragma once

#include <cstdint>
#include <span>

#include "fi/subscripts/places.h"
#include "host/hv.h"

namespace tolvane::detail {

/// Raises "fixedpoint:fi:subsref:double_index" for an array of another class.
std::span<const double> planValues(const hvArray* plan);

/// Raises the host's error unless each value names an element: from `lowest` to below `end`, truncated.
void checkPlan(std::span<const double> values, double lowest, double end);

inline std::uint64_t planPosition(double value) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
}

inline Sizes planDimensions(const hvArray* plan) {
    const auto dims = hvGetDims(plan);
    return {dims.begin(), dims.end()};
}

/// The elements that a plan names, of an array of `count`. Raises as `planValues`. Values are checked when they are
/// walked: all of them before the first visit if `checksFirst`.
class PlannedSelection final : public Selection {
 public:
    PlannedSelection(const hvArray* plan, std::uint64_t count, bool checksFirst);
    PlannedSelection(hvArrayOwner plan, std::uint64_t count, bool checksFirst);
    void walk(const VisitStretch& visit) const override;

 private:
    hvArrayOwner mOwned;
    std::span<const double> mValues;
    std::uint64_t mCount;
    bool mChecksFirst;
};

}  // namespace tolvane::detail
