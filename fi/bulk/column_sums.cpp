#include <algorithm>

#include "fi/bulk/hand_over.h"
#include "fi/bulk/matrix.h"
#include "fi/bulk/runs.h"

namespace tolvane::detail::arraymatrix {

using laneloops::kLaneMultiple;
using laneloops::RunNotes;
using laneloops::Treatment;

bool sumColumns(const Operand& x, std::uint64_t rows, std::uint64_t columns, const quantizer& sum, bool castsBeforeSum,
                const Result& result, const ByElements& byElements) {
    const Quantizers quantizers{sum, sum, sum, false, castsBeforeSum, false, nullptr, false};
    const Range range = rangeOf(x, rows * columns);
    const bool isExact = provesSums(range, rows, quantizers);
    Plan plan(quantizers);
    const auto parts = [&](const auto& step) {
        step(x.real, result.real);
        if (x.imag) {
            step(x.imag, result.imag);
        }
    };
    if (!plan.counts && isExact) {
        parts([&](const double* values, double* sums) {
            for (std::uint64_t column = 0; column < columns; ++column) {
                sums[column] = laneloops::sumExact(values + column * rows, rows);
            }
        });
        return true;
    }
    if (!sum.hasFixedKernel() && (plan.counts || !sum.keepsValues())) {
        return false;
    }
    plan.places.treatment = isExact || sum.keepsValues() ? Treatment::keep : Treatment::quantize;
    plan.places.rule = laneloops::ruleOf(sum);
    plan.places.sum = sum.getDoubleLimits();
    plan.places.castsSum = castsBeforeSum;
    plan.places.keepsProducts = true;
    plan.hasOneZero = !range.hasSign && (isExact || plan.places.rule.overflow == embedded::OverflowModeEnum::Saturate);
    // A chain of single values takes less time than a vector of few lanes.
    constexpr std::uint64_t kFewColumns = 4;
    const bool isChain = columns <= kFewColumns && range.isOnGrid && sum.hasFixedKernel();
    const auto runChains = [&](std::uint64_t first, std::uint64_t last, RunNotes* notes) {
        parts([&](const double* values, double* sums) {
            for (std::uint64_t column = first; column < last; ++column) {
                sums[column] = laneloops::accumulateChain(plan.places, values + column * rows, rows, 0.0, notes);
            }
        });
    };
    const auto runLanes = [&](std::uint64_t first, std::uint64_t last, RunNotes* notes) {
        constexpr std::size_t kTerms = 64;
        double panel[kTerms * kLaneMultiple];
        const double one = 1.0;
        parts([&](const double* values, double* sums) {
            if (notes && plan.places.treatment == Treatment::keep) {
                laneloops::accumulateColumns(plan.places, values + first * rows, rows, sums + first, last - first,
                                             notes);
                return;
            }
            std::fill(sums + first, sums + last, 0.0);
            for (std::uint64_t column = first; column < last; column += kLaneMultiple) {
                const std::size_t lanes = std::min<std::size_t>(kLaneMultiple, last - column);
                for (std::uint64_t row = 0; row < rows; row += kTerms) {
                    const std::size_t terms = std::min<std::size_t>(kTerms, rows - row);
                    pack(values + column * rows + row, static_cast<std::ptrdiff_t>(rows), 1, lanes, terms, panel);
                    const double* const factor = notes ? nullptr : &one;
                    laneloops::accumulate(plan.places, {panel, static_cast<std::ptrdiff_t>(kLaneMultiple), factor, 0},
                                          terms, nullptr, sums + column, lanes, notes);
                }
            }
        });
    };
    const auto run = [&](std::uint64_t first, std::uint64_t last, RunNotes* notes) {
        isChain ? runChains(first, last, notes) : runLanes(first, last, notes);
    };
    Record record(plan, rows * columns, x.imag ? 2 : 1);
    record.products = 0;
    run(0, columns, plan.counts ? &record.notes : nullptr);
    if (plan.counts) {
        handOver(
            record, plan,
            {columns, isChain ? 1 : kLaneMultiple, 1, result,
             [&](std::uint64_t begin, std::uint64_t end, RunNotes& notes) { run(begin, end, &notes); }, byElements});
    }
    return true;
}

}  // namespace tolvane::detail::arraymatrix
