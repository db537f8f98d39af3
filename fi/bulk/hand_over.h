// What runs noted is handed over to the logs of their places.
#pragma once

#include <cstdint>
#include <functional>

#include "fi/bulk/lane_loops.h"
#include "fi/bulk/matrix.h"
#include "fi/bulk/runs.h"

namespace tolvane::detail::arraymatrix {

/// What the places met in all runs. The extremes and counts are noted by the loops; how often each place meets a value
/// follows from the number of terms.
struct Record {
    Record(const Plan& plan, std::uint64_t terms, std::uint64_t parts);

    std::uint64_t products = 0;
    std::uint64_t pairs = 0;
    std::uint64_t totals = 0;
    std::uint64_t mathOperations = 0;
    laneloops::RunNotes notes;
};

/// Results in the order of the element steps: columns of a matrix, elements of a convolution or sums of columns.
struct Stretches {
    std::uint64_t count;
    std::uint64_t length;   // of a stretch
    std::uint64_t entries;  // of each result in either part
    Result results;
    /// Computes a range again and notes it.
    std::function<void(std::uint64_t begin, std::uint64_t end, laneloops::RunNotes& notes)> run;
    /// The same by the element steps, for results that are zero.
    const ByElements& byElements;
};

/// Hands the record over. Each lane met its values in the order of the element steps, so zeros of one sign in all lanes
/// settle the sign.
void handOver(Record& record, const Plan& plan, const Stretches& stretches);

}  // namespace tolvane::detail::arraymatrix
